// Coons patch subdivision and painting, on patch records built by hand.
#include "mesh/shading_coons.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/patch_test_util.h"
#include "numeric/kxmatrix.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;
using namespace shadepaint::patchtest;
using Group = CPDFShadingCoons::_group;

constexpr _KXRGBA kRed = {0, 0, 255, 255};
constexpr _KXRGBA kQuad[4] = {{0, 0, 255, 255}, {0, 255, 0, 255}, {255, 0, 0, 255}, {0, 0, 0, 255}};
constexpr _KXRGBA kSolid[4] = {kRed, kRed, kRed, kRed};
// Red under full coverage: (255 * 255) >> 8 is 254.
constexpr _KXRGBA kRedMasked = {0, 0, 255, 254};

struct KXFreeDeleter {
    void operator()(_KXPOINTF* p) const { KXFree(p); }
};

// The step rule looks at the device box of each curve's control points:
// width plus height over 16 (u) or 8 (v), rounded up. A scale of 8 keeps
// every raw unit of the shading-space sizes below.
TEST(CoonsSteps, BoxThresholds) {
    struct Case {
        int64_t w, h;  // box in shading space, raw
        double scale;
        int ut, vt;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {raw(2), raw(2), 8, 1, 2, "16.0 exactly: one u step, but two v steps"},
        {raw(2) + 2, raw(1), 8, 2, 1, "16.0 plus 16 raw: two u steps; 8.0: one v step"},
        {raw(2), raw(1) + 1, 8, 1, 2, "8.0 plus 8 raw: two v steps"},
        {15, 7, 1, 0, 0, "below 16 and 8 raw units: no steps"},
        {16, 8, 1, 1, 1, "16 and 8 raw units: one step each"},
        {raw(2), raw(2), 0, 0, 0, "a matrix that scales by zero"},
        {raw(5000), raw(5000), 1, 313, 625, "5000 units: counts beyond the clamp of the renderer"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const Group g = coons_box_raw(0, 0, c.w, c.h, kSolid);
        EXPECT_EQ(g.get_ut(scale(c.scale, c.scale)), c.ut);
        EXPECT_EQ(g.get_vt(scale(c.scale, c.scale)), c.vt);
    }
}

// Each direction takes the larger of its two curves, and a curve counts by
// the box of its control points, not of its samples.
TEST(CoonsSteps, LargerCurveDecides) {
    Group g = coons_box(0, 0, 1, 1, kSolid);
    const _KXMATRIX m = scale(16, 16);
    g.m_pts[4].y = fx(3);  // the u curve at v = 1 bulges: box 16 by 32
    EXPECT_EQ(g.get_ut(m), 3);
    EXPECT_EQ(g.get_vt(m), 2);
    g.m_pts[8].x = fx(-1);  // the v curve at u = 1: box 32 by 16
    EXPECT_EQ(g.get_vt(m), 6);
}

// The curves are sampled as one de Casteljau step divided by N, then the
// quadratic form divided by N squared; the plain cubic would give 10 and 20
// on the straight line, and -262 and 262 on the wave.
TEST(CoonsCurves, DivisionOrderAndLayout) {
    struct Case {
        int64_t p[4];  // x of the u curve at v = 0: points 0, 11, 10, 9
        int n;
        std::vector<int64_t> samples;
    };
    const Case cases[] = {
        {{0, 10, 20, 30}, 3, {0, 9, 19, 30}},
        {{0, 1000, -1000, 0}, 7, {0, 261, 261, 104, -104, -261, -261, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.n);
        Group g = coons_box_raw(0, 0, 0, 0, kSolid);
        g.m_pts[0].x = KXFIX::from_raw(c.p[0]);
        g.m_pts[11].x = KXFIX::from_raw(c.p[1]);
        g.m_pts[10].x = KXFIX::from_raw(c.p[2]);
        g.m_pts[9].x = KXFIX::from_raw(c.p[3]);
        g.m_pts[5].y = KXFIX::from_raw(77);  // marks the u curve at v = 1
        const int m = 2;
        std::unique_ptr<_KXPOINTF, KXFreeDeleter> curves(
            g.get_points_all(c.n, m, _KXMATRIX::identity()));
        ASSERT_NE(curves, nullptr);
        const _KXPOINTF* all = curves.get();
        for (int i = 0; i <= c.n; ++i) {
            EXPECT_EQ(all[c.n + 1 + i].x.m_raw, c.samples[static_cast<size_t>(i)]) << i;
            EXPECT_EQ(all[c.n + 1 + i].y.m_raw, 0) << i;
        }
        // First the u curve at v = 1 (3, 4, 5, 6): only it sees point 5.
        EXPECT_NE(all[1].y.m_raw, 0);
        // The v curves (0-3, then 9-6) start at points 0 and 9.
        EXPECT_EQ(all[2 * c.n + 2].x.m_raw, c.p[0]);
        EXPECT_EQ(all[2 * c.n + m + 3].x.m_raw, c.p[3]);
    }
}

// The four corners of the grid come out exact, whatever the curves in
// between, and alpha is 255 whatever the corners hold.
TEST(CoonsGrid, CornersExact) {
    Group g = coons_box(0, 0, 3, 2, kQuad);
    for (int k = 0; k < 12; ++k) g.m_pts[k].x = g.m_pts[k].x + KXFIX::from_raw(977 * k * k);
    for (int k = 0; k < 4; ++k) g.m_rgba[k].a = static_cast<uint8_t>(k * 60);
    const _KXMATRIX m = {fx(3.7), fx(0.3), fx(-1.1), fx(2.9), fx(11.5), fx(-3.25)};
    const int n = 7, mm = 5;
    std::unique_ptr<_KXPOINTF, KXFreeDeleter> curves(g.get_points_all(n, mm, m));
    ASSERT_NE(curves, nullptr);
    struct Case {
        int i, j, point, colour;
    };
    const Case cases[] = {{0, 0, 0, 0}, {0, mm, 3, 1}, {n, mm, 6, 2}, {n, 0, 9, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.point);
        _KXPOINTF expected = g.m_pts[c.point];
        m.transform_point(expected);
        _KXPOINTF p;
        _KXRGBA colour;
        g.get_at(c.i, n, c.j, mm, curves.get(), p, colour);
        EXPECT_EQ(p.x.m_raw, expected.x.m_raw);
        EXPECT_EQ(p.y.m_raw, expected.y.m_raw);
        _KXRGBA want = g.m_rgba[c.colour];
        want.a = 255;
        EXPECT_EQ(word(colour), word(want));
    }
    // Inside, one division over the bilinear form: (2 * 255 * 2) / 9 of red
    // from corner 0 alone at (1, 1) of 3 by 3.
    std::unique_ptr<_KXPOINTF, KXFreeDeleter> small(g.get_points_all(3, 3, m));
    _KXPOINTF p;
    _KXRGBA colour;
    g.get_at(1, 3, 1, 3, small.get(), p, colour);
    EXPECT_EQ(colour.r, (2 * 2 * 255) / 9);
    EXPECT_EQ(colour.g, (1 * 2 * 255) / 9);
    EXPECT_EQ(colour.b, (1 * 1 * 255) / 9);
}

// ---------------------------------------------------------------------------
// Painting.

// A flat patch covers exactly the pixels whose centres lie in its box: the
// cells meet without gaps and without spilling, colour and gray alike.
TEST(CoonsRender, FlatPatchFillsItsBox) {
    CPDFShadingCoons s(nullptr);
    set_groups(s, std::vector<Group>{coons_box(2, 3, 30, 21, kSolid)});
    Mask mask(32, 24);
    Canvas32 colour(32, 24);
    CanvasGray gray(32, 24);
    ASSERT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, colour.bmp), 1);
    ASSERT_EQ(s.render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, gray.bmp), 1);
    for (int32_t y = 0; y < 24; ++y) {
        for (int32_t x = 0; x < 32; ++x) {
            SCOPED_TRACE(::testing::Message() << x << "," << y);
            const bool inside = x >= 2 && x < 30 && y >= 3 && y < 21;
            if (inside) {
                EXPECT_TRUE(near_below(colour.colour(x, y), kRedMasked));
                EXPECT_TRUE(
                    near_below({gray.px(x, y)[0], 0, 0, gray.px(x, y)[1]}, {76, 0, 0, 254}));
            } else {
                EXPECT_EQ(word(colour.colour(x, y)), 0u);
                EXPECT_EQ(gray.px(x, y)[1], 0);
            }
        }
    }
    EXPECT_TRUE(colour.guards_intact());
    EXPECT_TRUE(gray.guards_intact());
}

// Device coordinates become 1/128 pixel by truncation: a top side one raw
// unit short of 128/128 lies at 127/128, inside row 0, whose pixels along it
// are painted; at 128/128 it lies on the row boundary and row 0 stays empty.
// Rounding would put both on the boundary.
TEST(CoonsRender, CoordinatesTruncateTo128th) {
    const int64_t boundary = int64_t{128} << 19;
    for (const int64_t top : {boundary - 1, boundary}) {
        SCOPED_TRACE(top);
        CPDFShadingCoons s(nullptr);
        set_groups(s, std::vector<Group>{coons_box_raw(0, top, raw(4), raw(4), kSolid)});
        Mask mask(4, 4);
        Canvas32 c(4, 4);
        s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, c.bmp);
        EXPECT_EQ(c.colour(1, 0).a != 0, top < boundary);
        EXPECT_NE(c.colour(1, 1).a, 0);
    }
}

// Two patches share a side bent into the second, which cuts it into more
// steps (its far side is longer): the chords of the first patch then run
// inside those of the second, and the sliver between them must not show.
TEST(CoonsRender, SharedSideCutDifferentlyLeavesNoHole) {
    Group a = coons_box(4, 4, 30, 60, kSolid), b = coons_box(30, 4, 60, 60, kSolid);
    for (const int k : {7, 8}) a.m_pts[k].x = fx(36);
    for (const int k : {1, 2}) b.m_pts[k].x = fx(36);
    for (const int k : {7, 8}) b.m_pts[k].x = fx(100);
    ASSERT_NE(a.get_vt(_KXMATRIX::identity()), b.get_vt(_KXMATRIX::identity()));
    CPDFShadingCoons s(nullptr);
    set_groups(s, std::vector<Group>{a, b});
    Mask mask(64, 64);
    Canvas32 c(64, 64);
    ASSERT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, c.bmp), 1);
    int holes = 0;
    for (int32_t y = 4; y < 60; ++y)
        for (int32_t x = 4; x < 60; ++x) holes += c.colour(x, y).a == 0;
    EXPECT_EQ(holes, 0);
}

// Without patches the whole destination, padding included, is cleared and the
// result is 0; the mask is not applied and its size does not matter.
TEST(CoonsRender, EmptyShadingClears) {
    CPDFShadingCoons s(nullptr);
    Mask mask(1, 1);
    {
        Canvas32 c(5, 3, 3, 0x77);  // 3 rows of 23 bytes: 17 words, 1 byte left
        EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, c.bmp), 0);
        for (size_t i = 0; i < 68; ++i) ASSERT_EQ(c.bytes[i], 0) << i;
        EXPECT_EQ(c.bytes[68], Canvas32::kGuard);
        EXPECT_EQ(c.bytes[69], Canvas32::kGuard);
    }
    {
        CanvasGray c(1, 3, 1, 0x77);  // 3 rows of 3 bytes: 9 bytes, not 10
        EXPECT_EQ(s.render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, c.bmp), 0);
        for (size_t i = 0; i < 9; ++i) ASSERT_EQ(c.bytes[i], 0) << i;
        EXPECT_EQ(c.bytes[9], CanvasGray::kGuard);
    }
    {
        CKXBmp32 none(nullptr, 4, 4, 16);
        CKXBmpGray negative(nullptr, 4, 4, -8);
        EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, none), 0);
        EXPECT_EQ(s.render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, negative), 0);
    }
}

// Patches that are all skipped paint nothing, but the mask still limits the
// picture and the result is 1.
TEST(CoonsRender, SkippedPatchesStillApplyMask) {
    struct Case {
        _KXMATRIX m;
        Group g;
        const char* why;
    };
    const Case cases[] = {
        {scale(0, 0), coons_box(0, 0, 8, 8, kSolid), "a matrix that scales by zero"},
        {scale(1, 1), coons_box_raw(0, 0, 15, raw(8), kSolid), "u curves below 16 raw units"},
        {scale(1, 1), coons_box_raw(0, 0, int64_t{3} << 60, raw(8), kSolid),
         "a u count that wraps below zero"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        CPDFShadingCoons s(nullptr);
        set_groups(s, std::vector<Group>{c.g});
        Mask mask(8, 8, 200);
        Canvas32 canvas(8, 8, 3, 0x80);
        EXPECT_EQ(s.render_to_bmp(c.m, {0, 0}, mask.bmp, canvas.bmp), 1);
        for (int32_t y = 0; y < 8; ++y)
            for (int32_t x = 0; x < 8; ++x) ASSERT_EQ(word(canvas.colour(x, y)), 0x64808080u);
        EXPECT_TRUE(canvas.guards_intact());
    }
}

// A unit patch scaled to a million pixels a side gets the clamped 256 by 256
// cells; the small bitmap inside it is covered completely.
TEST(CoonsRender, HugePatchClampsCells) {
    const Group g = coons_box(0, 0, 1, 1, kSolid);
    const _KXMATRIX m = scale(1 << 20, 1 << 20, -(1 << 19), -(1 << 19));
    EXPECT_GT(g.get_ut(m), 256);
    EXPECT_GT(g.get_vt(m), 256);
    CPDFShadingCoons s(nullptr);
    set_groups(s, std::vector<Group>{g});
    Mask mask(16, 16);
    Canvas32 c(16, 16);
    EXPECT_EQ(s.render_to_bmp(m, {0, 0}, mask.bmp, c.bmp), 1);
    for (int32_t y = 0; y < 16; ++y)
        for (int32_t x = 0; x < 16; ++x) ASSERT_TRUE(near_below(c.colour(x, y), kRedMasked));
    EXPECT_TRUE(c.guards_intact());
}

// Control points anywhere in the fixed-point range, under matrices that scale
// by billions: everything wraps, nothing is written outside the bitmap.
TEST(CoonsRender, ExtremeCoordinatesStayInside) {
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    std::mt19937_64 rng(seed);
    const int64_t extremes[] = {INT64_MIN, INT64_MAX, 0, -1, int64_t{1} << 62, raw(8)};
    for (int round = 0; round < 3; ++round) {
        Group g = coons_box(0, 0, 8, 8, kQuad);
        for (auto& p : g.m_pts) {
            p.x.m_raw = (rng() & 1) ? extremes[rng() % 6] : static_cast<int64_t>(rng());
            p.y.m_raw =
                (rng() & 1) ? extremes[rng() % 6] : static_cast<int64_t>(rng() >> (rng() % 64));
        }
        const double k = (round % 3 == 0) ? 1e9 : (round % 3 == 1 ? 1 : -3e4);
        CPDFShadingCoons s(nullptr);
        set_groups(s, std::vector<Group>{g, coons_box(1, 1, 7, 7, kQuad)});
        Mask mask(8, 4);
        Canvas32 c(8, 4);
        CanvasGray cg(8, 4);
        EXPECT_EQ(s.render_to_bmp(scale(k, k, 3, 2), {-2, 1}, mask.bmp, c.bmp), 1);
        EXPECT_EQ(s.render_to_bmpg(scale(k, -k), {-2, 1}, mask.bmp, cg.bmp), 1);
        EXPECT_TRUE(c.guards_intact());
        EXPECT_TRUE(cg.guards_intact());
    }
}

// The row buffer and the curve array can fail to grow: the picture ends
// there, nothing is written through null, the mask is still applied.
TEST(CoonsRender, ScratchFailureEndsPicture) {
    AllocGuard guard;
    CPDFShadingCoons s(nullptr);
    set_groups(
        s, std::vector<Group>{coons_box(0, 0, 10, 10, kSolid), coons_box(0, 0, 20, 20, kSolid)});
    Mask mask(24, 24);
    Canvas32 reference(24, 24);
    s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, reference.bmp);
    bool complete = false;
    for (int32_t n = 0; n < 64 && !complete; ++n) {
        SCOPED_TRACE(n);
        Canvas32 c(24, 24);
        kx_alloc_fail_after(n);
        EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, c.bmp), 1);
        kx_alloc_fail_after(-1);
        EXPECT_TRUE(c.guards_intact());
        complete = c.bytes == reference.bytes;
    }
    EXPECT_TRUE(complete);
}

}  // namespace
