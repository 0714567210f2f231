// Coons patch mesh load: the stream into self-contained patch records.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/patch_test_util.h"
#include "mesh/shading_coons.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;
using namespace shadepaint::patchtest;
using Group = CPDFShadingCoons::_group;

// Coordinates of 8 bits over Decode 0 to 255: a raw field r is the point r.0.
const std::string kKeys =
    "/ShadingType 6 /ColorSpace /DeviceRGB /BitsPerCoordinate 8 /BitsPerComponent 8 "
    "/Decode [0 255 0 255 0 1 0 1 0 1]";

// A patch of the stream: the flag, then point k of those read at (x0 + k,
// y0 + k) and colour k at (r0 + 10 k, r0 + 10 k + 1, r0 + 10 k + 2).
void patch(Bits& b, int flag_bits, uint32_t flag, int x0, int y0, int r0) {
    b.put(flag, flag_bits);
    const int points = (flag & 3) == 0 ? 12 : 8;
    const int colours = (flag & 3) == 0 ? 4 : 2;
    for (int k = 0; k < points; ++k) b.put(static_cast<uint32_t>(x0 + k), 8).put(y0 + k, 8);
    for (int k = 0; k < colours; ++k)
        for (int c = 0; c < 3; ++c) b.put(static_cast<uint32_t>(r0 + 10 * k + c), 8);
    b.align();
}

int px(const Group& g, int k) { return static_cast<int>(g.m_pts[k].x.m_raw >> kKxFracBits); }

// Flags 1 to 3 take the previous patch's side walked in the same direction,
// and both the colour and the colour word of its two corners; flags 4 to 7
// count by their two low bits.
TEST(CoonsLoad, SharedEdgesAndCorners) {
    Bits b;
    patch(b, 8, 4, 10, 50, 1);    // flag 0
    patch(b, 8, 5, 100, 0, 200);  // 1: points 4-11 at 100..107, colours 200, 210
    patch(b, 8, 6, 200, 0, 220);  // 2
    patch(b, 8, 7, 300, 0, 240);  // 3
    MeshDoc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingCoons>(holder, kKeys + " /BitsPerFlag 8", b.bytes);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->m_group_count, 4);
    struct Expect {
        int x[12];
        int red[4];
        const char* why;
    };
    // clang-format off
    const Expect expect[] = {
        {{10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21}, {1, 11, 21, 31}, "read whole"},
        {{13, 14, 15, 16, 100, 101, 102, 103, 104, 105, 106, 107}, {11, 21, 200, 210},
         "flag 1: points 3-6, corners 1 and 2"},
        {{102, 103, 104, 105, 200, 201, 202, 203, 204, 205, 206, 207}, {200, 210, 220, 230},
         "flag 2: points 6-9, corners 2 and 3"},
        {{205, 206, 207, 102, 44, 45, 46, 47, 48, 49, 50, 51}, {230, 200, 240, 250},
         "flag 3: points 9, 10, 11, 0, corners 3 and 0"},
    };
    // clang-format on
    for (int r = 0; r < 4; ++r) {
        SCOPED_TRACE(expect[r].why);
        const Group& g = s->m_groups[r];
        for (int k = 0; k < 12; ++k) EXPECT_EQ(px(g, k), expect[r].x[k] & 255) << k;
        for (int k = 0; k < 4; ++k) {
            EXPECT_EQ(g.m_clr[k].m_comps[0], static_cast<uint32_t>(expect[r].red[k])) << k;
            EXPECT_EQ(g.m_clr[k].m_comps[2], static_cast<uint32_t>(expect[r].red[k] + 2)) << k;
            EXPECT_EQ(word(g.m_rgba[k]), word(rgba(static_cast<uint8_t>(expect[r].red[k]),
                                                   static_cast<uint8_t>(expect[r].red[k] + 1),
                                                   static_cast<uint8_t>(expect[r].red[k] + 2))))
                << k;
        }
    }
}

// The flag is BitsPerFlag bits at a byte boundary, and the first point
// follows it directly; a missing BitsPerFlag reads no bits and every patch is
// a new one.
TEST(CoonsLoad, FlagWidths) {
    {
        SCOPED_TRACE("2-bit flags: 0xC0 starts a flag 3, its point at bit 2");
        Bits b;
        patch(b, 2, 0, 10, 10, 0);
        patch(b, 2, 3, 77, 10, 0);
        // 2 + 12 * 16 + 4 * 24 bits: the second patch starts at byte 37.
        EXPECT_EQ(static_cast<uint8_t>(b.bytes[37]) >> 6, 3);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingCoons>(holder, kKeys + " /BitsPerFlag 2", b.bytes);
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_group_count, 2);
        EXPECT_EQ(px(s->m_groups[1], 0), 19);  // point 9 of the first
        EXPECT_EQ(px(s->m_groups[1], 4), 77);
    }
    {
        SCOPED_TRACE("no BitsPerFlag");
        Bits b;
        patch(b, 0, 0, 10, 10, 0);
        patch(b, 0, 0, 40, 10, 0);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingCoons>(holder, kKeys, b.bytes);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_bits_flag, 0);
        ASSERT_EQ(s->m_group_count, 2);
        EXPECT_EQ(px(s->m_groups[1], 0), 40);
    }
}

// The store grows by four records at a time, never by doubling.
TEST(CoonsLoad, GrowsByFour) {
    for (const auto& [patches, cap] : std::vector<std::pair<int, int>>{{4, 4}, {5, 8}, {9, 12}}) {
        SCOPED_TRACE(patches);
        Bits b;
        for (int k = 0; k < patches; ++k) patch(b, 8, 0, k, k, k);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingCoons>(holder, kKeys + " /BitsPerFlag 8", b.bytes);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_group_count, patches);
        EXPECT_EQ(s->m_group_cap, cap);
    }
}

// A first patch that continues nothing takes its shared side and corners
// from a record of zeros.
TEST(CoonsLoad, FirstPatchContinuesZeros) {
    for (uint32_t flag = 1; flag <= 3; ++flag) {
        SCOPED_TRACE(flag);
        Bits b;
        patch(b, 8, flag, 30, 30, 100);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingCoons>(holder, kKeys + " /BitsPerFlag 8", b.bytes);
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_group_count, 1);
        const Group& g = s->m_groups[0];
        for (int k = 0; k < 4; ++k) EXPECT_EQ(g.m_pts[k].x.m_raw | g.m_pts[k].y.m_raw, 0);
        EXPECT_EQ(word(g.m_rgba[0]) | word(g.m_rgba[1]), 0u);
        EXPECT_EQ(g.m_clr[1].m_comps[0], 0u);
        EXPECT_EQ(px(g, 4), 30);
        EXPECT_EQ(word(g.m_rgba[2]), word(rgba(100, 101, 102)));
    }
}

// Data that ends one byte into a patch: that byte is its flag, every later
// field reads all ones, and the record is stored like any other.
TEST(CoonsLoad, CutOffLastPatch) {
    Bits b;
    patch(b, 8, 0, 1, 1, 1);
    b.put(0, 8);
    MeshDoc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingCoons>(holder, kKeys + " /BitsPerFlag 8", b.bytes);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->m_group_count, 2);
    const Group& g = s->m_groups[1];
    // 0xFFFFFFFF as an 8-bit field lands outside the Decode range (the product
    // with the scale wraps to -1.0 here).
    EXPECT_TRUE(g.m_pts[0].x.m_raw < 0 || g.m_pts[0].x.m_raw > raw(255)) << g.m_pts[0].x.m_raw;
    for (int k = 0; k < 4; ++k) EXPECT_EQ(word(g.m_rgba[k]), word(rgba(255, 255, 255))) << k;
}

// Tails that no read can consume would repeat the same patch forever: they
// end load at once, as running out of memory would, with no patches.
TEST(CoonsLoad, TailThatNothingConsumes) {
    struct Case {
        const char* keys;
        std::string body;
    };
    const Case cases[] = {
        {"/ShadingType 6 /ColorSpace /DeviceRGB /BitsPerCoordinate 0 /BitsPerComponent 0 "
         "/Decode [0 1 0 1 0 1 0 1 0 1]",
         std::string(3, '\x55')},
        {"/ShadingType 6 /ColorSpace /DeviceRGB /BitsPerCoordinate 32 /BitsPerComponent 16 "
         "/BitsPerFlag 16 /Decode [0 1 0 1 0 1 0 1 0 1]",
         std::string(1, '\x55')},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        const auto start = std::chrono::steady_clock::now();
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingCoons>(holder, c.keys, c.body);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_group_count, 0);
        EXPECT_EQ(s->m_group_cap, 0);
        EXPECT_EQ(s->m_groups, nullptr);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }
}

// Dictionaries the reader can't serve load no patches and leave a shading
// that renders as empty and deletes cleanly.
TEST(CoonsLoad, BadDictionariesLoadNothing) {
    const std::string rest = " /BitsPerFlag 8";
    struct Case {
        std::string keys;
        const char* why;
    };
    const Case cases[] = {
        {"/ShadingType 6 /ColorSpace /DeviceRGB /BitsPerCoordinate -1 /BitsPerComponent 8 "
         "/Decode [0 1 0 1 0 1 0 1 0 1]",
         "negative coordinate width"},
        {kKeys + " /BitsPerComponent 4000000000", "absurd component width"},
        {"/ShadingType 6 /BitsPerCoordinate 8 /BitsPerComponent 8 /Decode [0 1 0 1]",
         "no colour space"},
        {"/ShadingType 6 /ColorSpace /DeviceRGB /BitsPerCoordinate 8 /BitsPerComponent 8",
         "no Decode"},
        {kKeys + " /Function 5", "a Function that is none"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Bits b;
        patch(b, 8, 0, 1, 1, 1);
        MeshDoc doc;
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingCoons>(holder, rest + " " + c.keys, b.bytes);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_loaded, 1u);
        EXPECT_EQ(s->m_group_count, 0);
        Mask mask(4, 4);
        Canvas32 canvas(4, 4);
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, canvas.bmp), 0);
    }
}

// Every allocation of the factory, load, render and delete may fail: the
// shading stays safe, and a run that gets all it asks for paints the whole
// picture.
TEST(CoonsLoad, AllocationFailures) {
    AllocGuard guard;
    Bits b;
    patch(b, 8, 0, 2, 2, 10);
    patch(b, 8, 1, 14, 9, 90);
    patch(b, 8, 2, 6, 12, 150);
    const std::string keys = kKeys + " /BitsPerFlag 8";
    MeshDoc doc;
    doc.add(keys, b.bytes);
    const auto paint = [&](Canvas32& canvas) {
        ShadingPtr s = doc.shading();
        if (!s) return -1;
        s->load();
        Mask mask(24, 24);
        return s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, canvas.bmp);
    };
    Canvas32 reference(24, 24);
    ASSERT_EQ(paint(reference), 1);
    bool complete = false;
    for (int32_t n = 0; n < 200 && !complete; ++n) {
        SCOPED_TRACE(n);
        Canvas32 canvas(24, 24);
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
