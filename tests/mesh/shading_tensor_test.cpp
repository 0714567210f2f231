// Tensor patch surface evaluation and painting, on patch records built by
// hand.
#include "mesh/shading_tensor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "mesh/patch_test_util.h"
#include "numeric/kxmatrix.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;
using namespace shadepaint::patchtest;
using Group = CPDFShadingTensor::_group;

constexpr _KXRGBA kRed = {0, 0, 255, 255};
constexpr _KXRGBA kSolid[4] = {kRed, kRed, kRed, kRed};
constexpr _KXRGBA kQuad[4] = {{0, 0, 255, 255}, {0, 255, 0, 255}, {255, 0, 0, 255}, {0, 0, 0, 255}};

int64_t bval(int r, int i) {
    return CPDFShadingTensor::ms_bval[r * CPDFShadingTensor::kBvalSteps + i].m_raw;
}

// The Bernstein weights at t = i / 16: exact, symmetric, and a partition of
// one in every column; a second init leaves them alone.
TEST(TensorTable, BernsteinWeights) {
    CPDFShadingTensor::init();
    ASSERT_EQ(CPDFShadingTensor::ms_init, 1);
    struct Case {
        int r, i;
        int64_t value;
    };
    // clang-format off
    const Case cases[] = {
        {0, 0, 0x4000000}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0},
        {0, 1, 0x34bc000}, {1, 1, 0xa8c000}, {2, 1, 0xb4000}, {3, 1, 0x4000},
        {0, 8, 0x800000}, {1, 8, 0x1800000}, {2, 8, 0x1800000}, {3, 8, 0x800000},
        {0, 16, 0}, {1, 16, 0}, {2, 16, 0}, {3, 16, 0x4000000},
        {2, 15, 0xa8c000},
    };
    // clang-format on
    for (const Case& c : cases) EXPECT_EQ(bval(c.r, c.i), c.value) << c.r << "," << c.i;
    for (int i = 0; i <= 16; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(bval(0, i) + bval(1, i) + bval(2, i) + bval(3, i), kKxOne);
        for (int r = 0; r < 4; ++r) EXPECT_EQ(bval(r, i), bval(3 - r, 16 - i)) << r;
    }
    CPDFShadingTensor::ms_bval[5] = KXFIX::from_raw(1);
    CPDFShadingTensor::init();
    EXPECT_EQ(bval(0, 5), 1);
    CPDFShadingTensor::ms_bval[5] = KXFIX::from_raw(0x14cc000);
}

// get_xy at the corners gives the corner points, exactly within 4.0 and with
// the low 12 bits of the raw value cleared beyond; the first index runs
// along u (the net's rows).
TEST(TensorSurface, CornersAndCentre) {
    CPDFShadingTensor::init();
    CPDFShadingTensor s(nullptr);
    Group g = tensor_box(0, 0, 1, 1, kSolid);
    g.m_pts[0] = pt_raw(raw(1.5) + 7, raw(-3.25) + 3);
    g.m_pts[3] = pt_raw(raw(100) + 0x1fff, raw(-200) - 0x1fff);
    g.m_pts[12] = pt_raw(raw(-4), raw(4));
    g.m_pts[15] = pt_raw(raw(4) + 1, raw(2));
    struct Case {
        int iu, iv, k;
        int64_t x, y;
    };
    const Case cases[] = {
        {0, 0, 0, raw(1.5) + 7, raw(-3.25) + 3},
        {0, 16, 3, raw(100) + 0x1000, raw(-200) - 0x2000},
        {16, 0, 12, raw(-4), raw(4)},
        {16, 16, 15, raw(4), raw(2)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.k);
        KXFIX x, y;
        s.get_xy(&g, c.iu, c.iv, x, y);
        EXPECT_EQ(x.m_raw, c.x);
        EXPECT_EQ(y.m_raw, c.y);
    }
    // A net of one point is that point everywhere: the weights sum to one.
    Group same = g;
    for (auto& p : same.m_pts) p = pt(1, 2);
    for (int iu = 0; iu <= 16; ++iu) {
        for (int iv = 0; iv <= 16; ++iv) {
            KXFIX x, y;
            s.get_xy(&same, iu, iv, x, y);
            ASSERT_EQ(x.m_raw, raw(1)) << iu << "," << iv;
            ASSERT_EQ(y.m_raw, raw(2)) << iu << "," << iv;
        }
    }
}

// Grid colours: the corners exactly, then two truncating steps through an
// intermediate byte.
TEST(TensorGrid, Colours) {
    Group g = tensor_box(0, 0, 1, 1, kQuad);
    g.m_rgba[0].a = 9;
    struct Case {
        int i, j;
        _KXRGBA c;
        const char* why;
    };
    const Case cases[] = {
        {0, 0, {0, 0, 255, 255}, "corner 0, alpha 255 whatever is stored"},
        {0, 16, {0, 255, 0, 255}, "corner 1"},
        {16, 16, {255, 0, 0, 255}, "corner 2"},
        {16, 0, {0, 0, 0, 255}, "corner 3"},
        {8, 0, {0, 0, 127, 255}, "halfway from 255 to 0 along u: (8 * 255) >> 4"},
        {0, 8, {0, 127, 127, 255}, "halfway along v"},
        {1, 1, {0, 14, 224, 255}, "red: low 239, high 0; green: low 0, high 239"},
        {8, 8, {63, 63, 63, 255}, "the centre: each byte 127 on one side, then halved"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(word(g.get_rgba(c.i, c.j)), word(c.c));
    }
}

// Below 6.0 device units of corner-box width plus height a patch is one
// quadrilateral between its corners; from 6.0 on it is the 16 by 16 grid. A
// net whose sides bulge far beyond the corners shows which one was painted.
TEST(TensorRender, SixUnitThreshold) {
    CPDFShadingTensor::init();
    struct Case {
        int64_t less;  // taken off the v = 1 corners' y
        bool grid;
    };
    for (const Case& c : {Case{0, true}, Case{1, false}}) {
        SCOPED_TRACE(c.grid);
        // Corners within 4.0 keep every raw unit through the identity.
        Group g = tensor_box(-1.5, -1.5, 1.5, 1.5, kSolid);
        g.m_pts[3].y.m_raw -= c.less;
        g.m_pts[15].y.m_raw -= c.less;
        g.m_pts[1] = pt(-9.5, -0.5);  // the u = 0 side bulges to x = -7.5
        g.m_pts[2] = pt(-9.5, 0.5);
        g.m_rgba[0].a = 0;  // kept by the single path only
        CPDFShadingTensor s(nullptr);
        set_groups(s, std::vector<Group>{g});
        Mask mask(24, 24);
        Canvas32 canvas(24, 24);
        // Pixel (i, j) is device (i - 12, j - 12).
        EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {-12, -12}, mask.bmp, canvas.bmp), 1);
        EXPECT_EQ(canvas.colour(7, 12).a != 0, c.grid);  // in the bulge
        EXPECT_NE(canvas.colour(12, 12).a, 0);           // inside the corners
        // The grid paints alpha 255; the path interpolates the stored 0.
        EXPECT_EQ(canvas.colour(11, 11).a >= 252, c.grid);
    }
}

// Control points anywhere in the fixed-point range, under matrices that scale
// by billions: nothing is written outside the bitmap.
TEST(TensorRender, ExtremeCoordinatesStayInside) {
    CPDFShadingTensor::init();
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    std::mt19937_64 rng(seed);
    const int64_t extremes[] = {INT64_MIN, INT64_MAX, 0, -1, int64_t{1} << 62, raw(8)};
    for (int round = 0; round < 24; ++round) {
        Group g = tensor_box(0, 0, 8, 8, kQuad);
        for (auto& p : g.m_pts) {
            p.x.m_raw = (rng() & 1) ? extremes[rng() % 6] : static_cast<int64_t>(rng());
            p.y.m_raw =
                (rng() & 1) ? extremes[rng() % 6] : static_cast<int64_t>(rng() >> (rng() % 64));
        }
        const double k = (round % 3 == 0) ? 1e9 : (round % 3 == 1 ? 1 : -3e4);
        CPDFShadingTensor s(nullptr);
        set_groups(s, std::vector<Group>{g, tensor_box(1, 1, 7, 7, kQuad)});
        Mask mask(12, 10);
        Canvas32 c(12, 10);
        CanvasGray cg(12, 10);
        EXPECT_EQ(s.render_to_bmp(scale(k, k, 3, 2), {-2, 1}, mask.bmp, c.bmp), 1);
        EXPECT_EQ(s.render_to_bmpg(scale(k, -k), {-2, 1}, mask.bmp, cg.bmp), 1);
        EXPECT_TRUE(c.guards_intact());
        EXPECT_TRUE(cg.guards_intact());
    }
}

}  // namespace
