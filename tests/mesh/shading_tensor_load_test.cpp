// Tensor patch mesh load: the spiral read order, the shared edges and the
// corners a continuation patch leaves unset.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/patch_test_util.h"
#include "mesh/shading_tensor.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;
using namespace shadepaint::patchtest;
using Group = CPDFShadingTensor::_group;

// 8-bit coordinates over Decode 0 to 255: a raw field r is the point r.0.
const std::string kKeys =
    "/ShadingType 7 /ColorSpace /DeviceRGB /BitsPerCoordinate 8 /BitsPerComponent 8 "
    "/BitsPerFlag 8 /Decode [0 255 0 255 0 1 0 1 0 1]";

// A patch of the stream: the flag, then the points in read order at x = x0,
// x0 + 1, ... (y = 200 + x), then the colours, colour k at (r0 + 10 k, r0 +
// 10 k + 1, r0 + 10 k + 2).
void patch(Bits& b, uint32_t flag, int x0, int r0) {
    b.put(flag, 8);
    const int points = (flag & 3) == 0 ? 16 : 12;
    const int colours = (flag & 3) == 0 ? 4 : 2;
    for (int k = 0; k < points; ++k)
        b.put(static_cast<uint32_t>(x0 + k), 8).put(static_cast<uint32_t>(200 + x0 + k), 8);
    for (int k = 0; k < colours; ++k)
        for (int c = 0; c < 3; ++c) b.put(static_cast<uint32_t>(r0 + 10 * k + c), 8);
    b.align();
}

int px(const Group& g, int k) { return static_cast<int>(g.m_pts[k].x.m_raw >> kKxFracBits); }

// Points numbered 1 to 16 in stream order fill the grid as a spiral from the
// outside in; a continuation patch's row 0 is a side of the one before.
TEST(TensorLoad, SpiralAndSharedSides) {
    struct Case {
        uint32_t flag;
        int row0[4];
        int clr[2];  // corners of the first patch that the new one shares
    };
    const Case cases[] = {{1, {4, 5, 6, 7}, {1, 2}},
                          {2, {7, 8, 9, 10}, {2, 3}},
                          {3, {10, 11, 12, 1}, {3, 0}},
                          {7, {10, 11, 12, 1}, {3, 0}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flag);
        Bits b;
        patch(b, 4, 1, 10);  // flag 4 counts as 0
        patch(b, c.flag, 101, 100);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingTensor>(holder, kKeys, b.bytes);
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_group_count, 2);
        const Group& first = s->m_groups[0];
        // clang-format off
        const int grid[16] = {1,  2,  3,  4,
                              12, 13, 14, 5,
                              11, 16, 15, 6,
                              10, 9,  8,  7};
        // clang-format on
        for (int k = 0; k < 16; ++k) {
            EXPECT_EQ(px(first, k), grid[k]) << k;
            EXPECT_EQ(first.m_pts[k].y.m_raw >> kKxFracBits, 200 + grid[k]) << k;
        }
        const Group& next = s->m_groups[1];
        for (int k = 0; k < 4; ++k) EXPECT_EQ(px(next, k), c.row0[k]) << k;
        // The twelve read points take read positions 5 to 16.
        for (int k = 4; k < 16; ++k) EXPECT_EQ(px(next, k), 96 + grid[k]) << k;
        // Shared corners bring their colours, but not their colour words.
        for (int k = 0; k < 2; ++k) {
            EXPECT_EQ(next.m_clr[k].m_comps[0], first.m_clr[c.clr[k]].m_comps[0]) << k;
            EXPECT_EQ(next.m_clr[k].m_comps[2], first.m_clr[c.clr[k]].m_comps[2]) << k;
            EXPECT_EQ(word(next.m_rgba[k]), 0u) << k;
        }
        EXPECT_EQ(word(next.m_rgba[2]), word(rgba(100, 101, 102)));
        EXPECT_EQ(word(next.m_rgba[3]), word(rgba(110, 111, 112)));
        EXPECT_EQ(word(first.m_rgba[3]), word(rgba(40, 41, 42)));
    }
}

// A patch of the stream from a net: its points in read order (the first four
// only for flag 0) as whole numbers, and the red of the colours it reads.
void net_patch(Bits& b, uint32_t flag, const Group& g, const std::vector<int>& red) {
    static constexpr int kReadOrder[16] = {0, 1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4, 5, 6, 10, 9};
    b.put(flag, 8);
    for (int n = flag == 0 ? 0 : 4; n < 16; ++n) {
        const _KXPOINTF& p = g.m_pts[kReadOrder[n]];
        b.put(static_cast<uint32_t>(p.x.m_raw >> kKxFracBits), 8);
        b.put(static_cast<uint32_t>(p.y.m_raw >> kKxFracBits), 8);
    }
    for (const int r : red) b.put(static_cast<uint32_t>(r), 8).put(0, 8).put(0, 8);
    b.align();
}

// The unset corners of a continuation patch are painted as they are, 0 with
// alpha 0: black at the grid's side, transparent in the single path.
TEST(TensorLoad, ContinuationCornersPaintZero) {
    CPDFShadingTensor::init();
    Bits b;
    net_patch(b, 0, tensor_box(0, 0, 12, 12, {}), {255, 255, 255, 255});
    // Flag 2 continues row 3 (x = 12, y from 12 to 0); the new patch reaches
    // x = 24, its corners 0 and 1 on x = 12 unset, 2 and 3 red.
    Group next = tensor_box(12, 12, 24, 0, {});
    net_patch(b, 2, next, {255, 255});
    MeshDoc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingTensor>(holder, kKeys, b.bytes);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->m_group_count, 2);
    EXPECT_EQ(px(s->m_groups[1], 0), 12);
    EXPECT_EQ(px(s->m_groups[1], 15), 24);
    Mask mask(26, 14);
    {
        SCOPED_TRACE("grid: 24 units of width plus height");
        Canvas32 canvas(26, 14);
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, canvas.bmp), 1);
        const _KXRGBA side = canvas.colour(12, 6);
        EXPECT_LT(side.r + side.g + side.b, 30);
        EXPECT_GE(side.a, 252);
        EXPECT_GE(canvas.colour(23, 6).r, 200);
    }
    {
        SCOPED_TRACE("single path: 4.8 units");
        Canvas32 canvas(26, 14);
        ASSERT_EQ(s->render_to_bmp(scale(0.2, 0.2), {0, 0}, mask.bmp, canvas.bmp), 1);
        const _KXRGBA side = canvas.colour(2, 1);
        EXPECT_LT(side.a, 60);
        EXPECT_GE(canvas.colour(4, 1).a, 150);
    }
}

// The store grows by four cleared records; a first patch that continues
// nothing takes zeros.
TEST(TensorLoad, GrowthAndFirstContinuation) {
    for (const auto& [patches, cap] : std::vector<std::pair<int, int>>{{4, 4}, {5, 8}, {9, 12}}) {
        SCOPED_TRACE(patches);
        Bits b;
        patch(b, 1, 50, 60);
        for (int k = 1; k < patches; ++k) patch(b, 0, k, k);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingTensor>(holder, kKeys, b.bytes);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_group_count, patches);
        EXPECT_EQ(s->m_group_cap, cap);
        const Group& g = s->m_groups[0];
        for (int k = 0; k < 4; ++k) EXPECT_EQ(g.m_pts[k].x.m_raw | g.m_pts[k].y.m_raw, 0) << k;
        EXPECT_EQ(g.m_clr[0].m_comps[0] | g.m_clr[1].m_comps[0], 0u);
        EXPECT_EQ(px(g, 7), 50);
    }
}

// Streams without a whole patch: none at all, a tail that no read can
// consume (no patches, at once), a cut-off last patch (stored).
TEST(TensorLoad, ShortAndStuckStreams) {
    struct Case {
        std::string keys;
        std::string body;
        int32_t patches;
        const char* why;
    };
    Bits whole;
    patch(whole, 0, 1, 1);
    const Case cases[] = {
        {kKeys, "", 0, "no bytes"},
        {kKeys, whole.bytes + std::string(1, '\x01'), 2, "one byte of a second patch"},
        {"/ShadingType 7 /ColorSpace /DeviceGray /BitsPerCoordinate 0 /BitsPerComponent 0 "
         "/Decode [0 1 0 1 0 1]",
         std::string(5, '\x10'), 0, "nothing is ever read"},
        {"/ShadingType 7 /ColorSpace /DeviceGray /BitsPerCoordinate 24 /BitsPerComponent 32 "
         "/BitsPerFlag 32 /Decode [0 1 0 1 0 1]",
         std::string(2, '\x10'), 0, "every field is wider than the tail"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingTensor>(holder, c.keys, c.body);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_group_count, c.patches);
        if (c.patches == 0) {
            EXPECT_EQ(s->m_groups, nullptr);
            EXPECT_EQ(s->m_group_cap, 0);
        }
    }
}

// Every allocation of the factory, load, render and delete may fail: the
// shading stays safe, and a run that gets all it asks for paints the whole
// picture.
TEST(TensorLoad, AllocationFailures) {
    AllocGuard guard;
    Bits b;
    patch(b, 0, 2, 10);
    patch(b, 1, 14, 90);
    patch(b, 3, 6, 150);
    MeshDoc doc;
    doc.add(kKeys, b.bytes);
    const auto paint = [&](Canvas32& canvas) {
        ShadingPtr s = doc.shading();
        if (!s) return -1;
        s->load();
        Mask mask(40, 40);
        return s->render_to_bmp(scale(0.125, 0.125), {0, 0}, mask.bmp, canvas.bmp);
    };
    Canvas32 reference(40, 40);
    ASSERT_EQ(paint(reference), 1);
    bool complete = false;
    for (int32_t n = 0; n < 200 && !complete; ++n) {
        SCOPED_TRACE(n);
        Canvas32 canvas(40, 40);
        kx_alloc_fail_after(n);
        const int result = paint(canvas);
        kx_alloc_fail_after(-1);
        // An empty shading clears the padding too, but never past the bitmap.
        EXPECT_TRUE(result == 1 ? canvas.guards_intact() : canvas.bytes.back() == Canvas32::kGuard);
        complete = result == 1 && canvas.bytes == reference.bytes;
    }
    EXPECT_TRUE(complete);
}

}  // namespace
