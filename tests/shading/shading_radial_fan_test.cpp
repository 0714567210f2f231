// The general radial case: the fan's numbers, what its wedges and Extend
// pieces paint, the Background passes, and hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "mesh/path_crender2.h"
#include "shading/bitmap.h"
#include "shading/radial_geom_p.h"
#include "shading/shading_radial.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Canvas;
using testing::Doc;
using testing::kOne;
using testing::ShadingPtr;

std::string radial(const std::string& entries) {
    return "<< /ShadingType 3 /ColorSpace /DeviceRGB " + entries + " >>";
}

// Red (and gray) is the entry's index; green 100 and blue 200 tell a ramp
// pixel from anything else.
void index_ramps(CPDFShadingRadial& s) {
    for (int i = 0; i < 256; ++i) {
        s.m_ramp[i] = _KXRGBA{200, 100, static_cast<uint8_t>(i), 255};
        s.m_ramp_gray[i] = static_cast<uint8_t>(i);
    }
}

uint32_t float_bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

KXFIX fix(double v) { return KXFIX::from_raw(static_cast<int64_t>(v * kOne)); }

TEST(RadialFan, StepCounts) {
    struct Case {
        double w, h;
        int32_t n;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {10, 10, 20, "raised to the floor"},
        {19, 19, 20, "just below the floor"},
        {20, 20, 20, "the floor"},
        {21, 21, 21, "just above the floor"},
        {41, 40, 41, "a mean of 40.5 rounds up"},
        {40, 40.98, 40, "a mean of 40.49 rounds down"},
        {179, 179, 179, "just below the cap"},
        {180, 180, 180, "the cap"},
        {181, 181, 180, "just above the cap"},
        {1000, 500, 180, "cut to the cap"},
        {0, 0, 20, "a point"},
        {3e9, 3e9, 20, "low 32 bits of a huge count wrap below the floor"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.w << " x " << c.h << ": " << c.why);
        _KXRECTF bound;
        bound.left = fix(-7);
        bound.top = fix(3);
        bound.right = bound.left + fix(c.w);
        bound.bottom = bound.top + fix(c.h);
        EXPECT_EQ(detail::fan_steps(bound), c.n);
    }
    // An inverted bound has a negative extent; unsigned shifts keep the count
    // in range.
    const int32_t inverted = detail::fan_steps(_KXRECTF());
    EXPECT_GE(inverted, detail::kFanMinSteps);
    EXPECT_LE(inverted, detail::kFanMaxSteps);
}

TEST(RadialFan, AxisAngleApexAndCircleBound) {
    EXPECT_EQ(float_bits(detail::kFanPi), 0x40490fdbu);
    EXPECT_EQ(float_bits(detail::kFanTwoPi), 0x40c90fdbu);
    struct Case {
        double dx, dy;
        float colour, gray;
    };
    const float pi = detail::kFanPi, two_pi = detail::kFanTwoPi;
    const Case cases[] = {
        {30, 0, 0.0f, two_pi},
        {-30, 0, pi, pi + two_pi},
        {0, 30, std::atan2(30.0f, 0.0f), std::atan2(30.0f, 0.0f) + two_pi},
        {0, -30, std::atan2(-30.0f, 0.0f) + two_pi, std::atan2(-30.0f, 0.0f) + two_pi},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "axis " << c.dx << ", " << c.dy);
        EXPECT_EQ(float_bits(detail::fan_axis_angle(fix(c.dx), fix(c.dy), false)),
                  float_bits(c.colour));
        EXPECT_EQ(float_bits(detail::fan_axis_angle(fix(c.dx), fix(c.dy), true)),
                  float_bits(c.gray));
    }

    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(holder, radial("/Coords [0 0 10 30 0 20]"));
    ASSERT_NE(s, nullptr);
    const _KXPOINTF apex = detail::fan_apex(*s);
    EXPECT_EQ(apex.x.m_raw, fix(-30).m_raw);
    EXPECT_EQ(apex.y.m_raw, 0);
    const _KXRECTF box = detail::fan_circle_bound(*s);
    EXPECT_EQ(box.left.m_raw, fix(-10).m_raw);
    EXPECT_EQ(box.top.m_raw, fix(-20).m_raw);
    EXPECT_EQ(box.right.m_raw, fix(50).m_raw);
    EXPECT_EQ(box.bottom.m_raw, fix(20).m_raw);
}

// A 100 x 100 picture with the identity at origin (0, 0), fully covered.
struct Picture {
    Canvas<CKXBmp32> colour{100, 100, 400, 0};
    Canvas<CKXBmpGray> gray{100, 100, 200, 0};

    void render(const CPDFShadingRadial& s) {
        Canvas<CKXBmp8> mask(100, 100, 100, 255);
        EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, colour.bmp), 1);
        EXPECT_EQ(s.render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
    }
    // The ramp index a colour pixel shows, or -1 when no ramp entry was painted.
    int index(int x, int y) {
        const uint8_t* p = colour.px(x, y, 4);
        return p[3] == 254 && p[1] == 100 ? p[2] : -1;
    }
    int gray_index(int x, int y) {
        const uint8_t* p = gray.px(x, y, 2);
        return p[1] == 254 ? p[0] : -1;
    }
};

// Along the axis in front of the circles the index runs from 0 on the start
// circle to 255 on the end one; nothing is painted beyond the circles.
TEST(RadialFan, WedgesRunFromCircleToCircle) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(holder, radial("/Coords [30 50 10 60 50 20]"));
    ASSERT_NE(s, nullptr);
    index_ramps(*s);
    Picture pic;
    pic.render(*s);
    for (int x = 41; x < 79; ++x) {
        SCOPED_TRACE(x);
        // Pixel centre x + 0.5 between the front points 40 and 80.
        const double expected = (x + 0.5 - 40) / 40 * 255;
        EXPECT_NEAR(pic.index(x, 49), expected, 4);
        EXPECT_NEAR(pic.gray_index(x, 49), expected, 4);
    }
    for (const auto& xy : {std::pair{5, 50}, std::pair{95, 50}, std::pair{50, 90}}) {
        EXPECT_EQ(pic.colour.px(xy.first, xy.second, 4)[3], 0);
        EXPECT_EQ(pic.gray.px(xy.first, xy.second, 2)[1], 0);
    }
}

// A flat piece carries one value at every corner, but the converter's split
// truncation at row boundaries may take 255 down to 254; 0 stays 0.
void expect_entry(int got, int expected) {
    if (expected < 0) {
        EXPECT_EQ(got, -1);
    } else {
        EXPECT_GE(got, expected == 0 ? 0 : 254);
        EXPECT_LE(got, expected);
    }
}

// Past the smaller circle an Extend piece is a tip to the apex, past the
// larger one it runs out of the picture; both in one flat end colour, and
// only in colour.
TEST(RadialFan, ExtendPieces) {
    Doc doc;
    struct Case {
        const char* entries;
        int behind;  // index at (10, 50), between the apex (0, 50) and the circles; -1 none
        int beyond;  // index at (95, 50) and (95, 62), past the circles
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"/Coords [30 50 10 60 50 20]", -1, -1, "no Extend"},
        {"/Coords [30 50 10 60 50 20] /Extend [true false]", 0, -1, "growing: tip at the start"},
        {"/Coords [30 50 10 60 50 20] /Extend [false true]", -1, 255, "growing: open end"},
        {"/Coords [30 50 10 60 50 20] /Extend [true true]", 0, 255, "growing: both"},
        {"/Coords [60 50 20 30 50 10] /Extend [true false]", -1, 0, "shrinking: open start"},
        {"/Coords [60 50 20 30 50 10] /Extend [false true]", 255, -1, "shrinking: tip at the end"},
        {"/Coords [30 50 10 60 50 10] /Extend [true true]", -1, -1, "equal radii: no apex"},
        {"/Coords [30 50 0 60 50 20] /Extend [true false]", -1, -1, "start circle is the apex"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.entries << ": " << c.why);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(c.entries));
        ASSERT_NE(s, nullptr);
        index_ramps(*s);
        Picture pic;
        pic.render(*s);
        expect_entry(pic.index(10, 50), c.behind);
        expect_entry(pic.index(95, 50), c.beyond);
        expect_entry(pic.index(95, 62), c.beyond);
        // Outside the cone.
        EXPECT_EQ(pic.index(95, 95), -1);
        EXPECT_EQ(pic.index(3, 70), -1);
        // The gray fan ends at the circles.
        EXPECT_EQ(pic.gray_index(10, 50), -1);
        EXPECT_EQ(pic.gray_index(95, 50), -1);
    }
}

// Direct calls with the points of one piece, circles (0, 0, 10) and (30, 0,
// 20) under the identity, apex (-30, 0), on a 100 x 100 bitmap.
TEST(RadialFan, OpenPieceMeetsTheSideItsFirstPointChooses) {
    Doc doc;
    ShadingPtr holder;
    auto* s =
        doc.load<CPDFShadingRadial>(holder, radial("/Coords [0 0 10 30 0 20] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    index_ramps(*s);
    const _KXPOINTF apex = {fix(-30), fix(0)};
    struct Case {
        _KXPOINT origin;
        _KXPOINTF p, q;
        std::vector<std::pair<int, int>> inside, outside;  // device pixels
        const char* why;
    };
    const Case cases[] = {
        // dx 80, dy 0: a column, E = 100, py 0; qy = (130 * 10) / 80 = 16.25.
        {{0, 0},
         {fix(50), fix(0)},
         {fix(50), fix(10)},
         {{75, 5}, {75, 12}, {99, 15}},
         {{75, 14}, {45, 5}, {99, 17}},
         "ray along the axis: the right side"},
        // dx 10, dy -40: a row, E = origin.y = -100 since dy is below 1;
        // px -5, qx 20.
        {{0, -100},
         {fix(-20), fix(-40)},
         {fix(-10), fix(-40)},
         {{2, -90}, {0, -99}},
         {{5, -70}, {30, -99}},
         "ray going up: the top row"},
        // |dx| equal to |dy|: a row, E = origin.y + height = 100; px 70, qx 95.
        {{0, 0},
         {fix(10), fix(40)},
         {fix(20), fix(40)},
         {{70, 90}, {61, 90}, {90, 99}},
         {{59, 90}, {84, 90}},
         "diagonal ray: the bottom row"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Canvas<CKXBmp32> dst(100, 100, 400, 0);
        CKXPathCRender2 path;
        s->render_extern1(&dst.bmp, path, c.origin, c.p, c.q, &apex);
        for (const auto& xy : c.inside) {
            SCOPED_TRACE(::testing::Message() << "inside " << xy.first << ", " << xy.second);
            const uint8_t* px = dst.px(xy.first - c.origin.x, xy.second - c.origin.y, 4);
            EXPECT_GE(px[2], 254);
            EXPECT_EQ(px[3], 255);
        }
        for (const auto& xy : c.outside) {
            SCOPED_TRACE(::testing::Message() << "outside " << xy.first << ", " << xy.second);
            EXPECT_EQ(dst.px(xy.first - c.origin.x, xy.second - c.origin.y, 4)[3], 0);
        }
    }
    // The start piece of a growing cone is a tip: here p, q and the apex.
    Canvas<CKXBmp32> tip(100, 100, 400, 0);
    CKXPathCRender2 path;
    s->render_extern0(&tip.bmp, path, _KXPOINT{-50, -50}, _KXPOINTF{fix(-10), fix(-10)},
                      _KXPOINTF{fix(-10), fix(10)}, &apex);
    EXPECT_EQ(tip.px(35, 50, 4)[2], 0);  // device (-15, 0): entry 0
    EXPECT_EQ(tip.px(35, 50, 4)[3], 255);
    EXPECT_EQ(tip.px(35, 60, 4)[3], 0);  // device (-15, 10)
    EXPECT_EQ(tip.px(45, 50, 4)[3], 0);  // device (-5, 0), past p and q
}

// Degenerate pieces paint nothing or something bounded, never outside dst.
TEST(RadialFan, DegeneratePiecesStayInside) {
    Doc doc;
    ShadingPtr holder;
    auto* s =
        doc.load<CPDFShadingRadial>(holder, radial("/Coords [0 0 10 30 0 20] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    const _KXPOINTF apex = {fix(-30), fix(0)};
    struct Case {
        _KXPOINTF p, q;
        const _KXPOINTF* apex;
        bool may_paint;
        const char* why;
    };
    const Case cases[] = {
        {apex, {fix(50), fix(10)}, &apex, false, "p on the apex: nothing opened"},
        {{fix(50), fix(0)}, {fix(-30), fix(5)}, &apex, true, "q straight above the apex"},
        {{fix(50), fix(0)}, {fix(50), fix(10)}, nullptr, false, "no apex"},
        {{fix(1e9), fix(-1e9)}, {fix(-1e9), fix(1e9)}, &apex, true, "far outside"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Canvas<CKXBmp32> dst(50, 40, 204, 0);
        CKXPathCRender2 path;
        s->render_extern1(&dst.bmp, path, _KXPOINT{0, -20}, c.p, c.q, c.apex);
        s->render_extern1(nullptr, path, _KXPOINT{0, -20}, c.p, c.q, c.apex);
        int painted = 0;
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 50; ++x) painted += dst.px(x, y, 4)[3] != 0;
            for (int k = 200; k < 204; ++k) EXPECT_EQ(dst.px(0, y, 4)[k], 0);
        }
        if (!c.may_paint) {
            EXPECT_EQ(painted, 0);
        }
        EXPECT_EQ(dst.bytes.back(), 0);
    }
}

// Circles far away from the bitmap: no polygon reaches it, so each pixel
// shows what the Background pass makes of its alpha.
constexpr char kFarAway[] = "/Coords [1000 1000 1 1010 1000 2] ";

TEST(RadialFan, BackgroundBlendsTowardItsBlue) {
    Doc doc;
    const uint8_t alphas[] = {0, 1, 100, 249, 250, 255, 0};
    const uint8_t coverage[] = {255, 255, 255, 255, 255, 255, 0};
    struct Case {
        const char* entries;
        int min_alpha;  // m_bg_rgba.a set by hand; 0 leaves it
        // b, g, r, a of each pixel after the pass and the mask
        uint8_t expected[7][4];
        uint8_t padding[4];
    };
    // clang-format off
    const Case cases[] = {
        {"/Background [1 0.5 0]", 0,
         {{0, 128, 255, 254}, {0, 0, 0, 254}, {3, 7, 11, 254}, {9, 19, 29, 254},
          {10, 20, 30, 249}, {10, 20, 30, 254}, {0, 128, 255, 0}},
         {0, 128, 255, 255}},
        {"/Background [0 0 1]", 0,
         {{255, 0, 0, 254}, {254, 254, 254, 254}, {159, 163, 167, 254}, {16, 26, 36, 254},
          {10, 20, 30, 249}, {10, 20, 30, 254}, {255, 0, 0, 0}},
         {255, 0, 0, 255}},
        {"/Background [0 0 1]", 3,
         {{255, 0, 0, 2}, {254, 254, 254, 254}, {159, 163, 167, 254}, {16, 26, 36, 254},
          {10, 20, 30, 249}, {10, 20, 30, 254}, {255, 0, 0, 0}},
         {255, 0, 0, 3}},
        {"/Background [0 0 1]", 2,
         {{10, 20, 30, 0}, {10, 20, 30, 0}, {10, 20, 30, 99}, {10, 20, 30, 248},
          {10, 20, 30, 249}, {10, 20, 30, 254}, {10, 20, 30, 0}},
         {10, 20, 30, 0}},
        {"", 0,
         {{10, 20, 30, 0}, {10, 20, 30, 0}, {10, 20, 30, 99}, {10, 20, 30, 248},
          {10, 20, 30, 249}, {10, 20, 30, 254}, {10, 20, 30, 0}},
         {10, 20, 30, 0}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.entries << " background alpha " << c.min_alpha);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(std::string(kFarAway) + c.entries));
        ASSERT_NE(s, nullptr);
        if (c.min_alpha) s->m_bg_rgba.a = static_cast<uint8_t>(c.min_alpha);
        // Seven pixels and one word of padding a row, two rows.
        Canvas<CKXBmp8> mask(7, 2, 7, 0);
        Canvas<CKXBmp32> dst(7, 2, 32, 0);
        for (int y = 0; y < 2; ++y) {
            std::memcpy(mask.px(0, y, 1), coverage, 7);
            for (int x = 0; x < 8; ++x) {
                uint8_t* p = dst.px(x, y, 4);
                p[0] = 10;
                p[1] = 20;
                p[2] = 30;
                p[3] = x < 7 ? alphas[x] : 0;
            }
        }
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 7; ++x) {
                SCOPED_TRACE(::testing::Message() << "alpha " << int{alphas[x]} << " row " << y);
                EXPECT_EQ(std::memcmp(dst.px(x, y, 4), c.expected[x], 4), 0)
                    << int{dst.px(x, y, 4)[0]} << " " << int{dst.px(x, y, 4)[1]} << " "
                    << int{dst.px(x, y, 4)[2]} << " " << int{dst.px(x, y, 4)[3]};
            }
            // Row padding goes through the pass too; the mask never reaches it.
            EXPECT_EQ(std::memcmp(dst.px(7, y, 4), c.padding, 4), 0);
        }
        EXPECT_EQ(dst.bytes.back(), 0);
    }
}

// The gray fan lays the background down first, on every pixel and the
// padding, and draws over it; without a Background nothing is laid down.
TEST(RadialFan, GrayBackgroundIsLaidFirst) {
    Doc doc;
    struct Case {
        const char* entries;
        uint8_t far_pixel[2];
        uint8_t padding[2];
    };
    const Case cases[] = {
        {"/Background [0 1 0]", {149, 254}, {149, 255}},
        {"", {7, 199}, {7, 200}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder, radial(std::string("/Coords [8 8 2 14 8 4] /Extend [true true] ") + c.entries));
        ASSERT_NE(s, nullptr);
        index_ramps(*s);
        Canvas<CKXBmp8> mask(20, 16, 20, 255);
        Canvas<CKXBmpGray> dst(20, 16, 42, 0);
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 21; ++x) {
                dst.px(x, y, 2)[0] = 7;
                dst.px(x, y, 2)[1] = 200;
            }
        }
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        EXPECT_EQ(dst.px(0, 15, 2)[0], c.far_pixel[0]);
        EXPECT_EQ(dst.px(0, 15, 2)[1], c.far_pixel[1]);
        EXPECT_EQ(dst.px(20, 3, 2)[0], c.padding[0]);
        EXPECT_EQ(dst.px(20, 3, 2)[1], c.padding[1]);
        // A pixel between the circles on the axis shows the gray ramp.
        EXPECT_EQ(dst.px(14, 8, 2)[1], 254);
        EXPECT_NEAR(dst.px(14, 8, 2)[0], (14.5 - 10) / 8 * 255, 8);
    }
}

// A focal point inside the end circle with both ends extended covers the
// whole picture: the tips close on the focal point, the open pieces fill
// everything outside the end circle. Shared rays of neighbouring pieces may
// leave single pixels out where their crossings round apart.
TEST(RadialFan, FocalInsideWithExtendCoversThePicture) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(holder,
                                          radial("/Coords [38 60 0 50 50 40] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    const _KXMATRIX m = {fix(2.56), KXFIX{0}, KXFIX{0}, fix(-2.56), KXFIX{0}, fix(256)};
    Canvas<CKXBmp8> mask(256, 256, 256, 255);
    Canvas<CKXBmp32> dst(256, 256, 1024, 0);
    ASSERT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
    int unpainted = 0;
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) unpainted += dst.px(x, y, 4)[3] == 0;
    EXPECT_LE(unpainted, 256 * 256 / 1000);
}

// Hostile values, rendered in both forms through a matrix set: each call
// returns 1 and writes nothing outside the destination's bytes, and the
// largest fan stays bounded however large its circles get.
TEST(RadialRender, BadInputStaysInside) {
    Doc doc;
    doc.add(1, "1 0 R");
    // clang-format off
    const char* const entries[] = {
        "/Coords [0 0 -10 20 0 -30] /Extend [true true]",
        "/Coords [0 0 10 20 0 -30] /Extend [true true]",
        "/Coords [0 0 0 20 0 0] /Extend [true true]",
        "/Coords [5 5 0 5 5 0.0001] /Extend [true true]",
        "/Coords [5 5 3 5 5 -3] /Extend [true true] /Background [1 0 0]",
        "/Coords [5 5 3 5.000001 5 3] /Extend [true true] /Background [0 1 0]",
        "/Coords [0 0 1 1000000000 -1000000000 2000000000] /Extend [true true] /Background [0 0 1]",
        "/Coords [1000000000 1000000000 1000000000 -1000000000 -1000000000 5] /Extend [true true]",
        "/Coords [0 0 1 0.00001 0 1.00001] /Extend [true true]",
        "/Coords [1 2 3] /Extend [true true]",
        "/Coords 1 0 R /Domain 1 0 R /Extend 1 0 R /Function 1 0 R",
        "/Coords [1 2 3 4 5 6] /Domain [1] /Extend [true]",
        "/Coords [1 2 3 4 5 6] /Domain /X /Extend 5 /Function [1 2]",
        "/Coords [1 2 3 4 5 6] /Function []",
        "/Coords [3 3 1 6 3 2] /Background [1 0]",
    };
    const std::string no_space = "<< /ShadingType 3 /Coords [3 3 1 6 3 2] /Extend [true true] >>";
    const _KXMATRIX matrices[] = {
        _KXMATRIX::identity(),
        {KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}},  // singular
        {fix(1), fix(2), fix(2), fix(4), fix(3), fix(3)},              // singular, skewed
        {fix(1e7), KXFIX{0}, KXFIX{0}, fix(1e7), fix(-5e7), fix(-5e7)},  // huge scale
        {fix(2000), fix(1500), fix(-1500), fix(2000), fix(10), fix(10)},
        {fix(-3), KXFIX{0}, KXFIX{0}, fix(-3), fix(30), fix(30)},
        {KXFIX::from_raw(1), KXFIX{0}, KXFIX{0}, KXFIX::from_raw(1), KXFIX{0}, KXFIX{0}},
    };
    // clang-format on
    constexpr int32_t kW = 23, kH = 17, kGuard = 64;
    std::vector<std::string> texts = {no_space};
    for (const char* e : entries) texts.push_back(radial(e));
    for (const std::string& e : texts) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, e);
        ASSERT_NE(s, nullptr);
        for (size_t k = 0; k < sizeof(matrices) / sizeof(matrices[0]); ++k) {
            SCOPED_TRACE(::testing::Message() << e << ", matrix " << k);
            std::vector<uint8_t> colour(kGuard + 4 * kW * kH + kGuard, 0xee);
            std::vector<uint8_t> gray(kGuard + 2 * kW * kH + kGuard, 0xee);
            std::vector<uint8_t> coverage(static_cast<size_t>(kW) * kH, 255);
            coverage[7] = 0;
            CKXBmp8 mask(coverage.data(), kW, kH, kW);
            CKXBmp32 dst(colour.data() + kGuard, kW, kH, 4 * kW);
            CKXBmpGray gdst(gray.data() + kGuard, kW, kH, 2 * kW);
            EXPECT_EQ(s->render_to_bmp(matrices[k], _KXPOINT{-3, 4}, mask, dst), 1);
            EXPECT_EQ(s->render_to_bmpg(matrices[k], _KXPOINT{-3, 4}, mask, gdst), 1);
            for (int32_t i = 0; i < kGuard; ++i) {
                ASSERT_EQ(colour[static_cast<size_t>(i)], 0xee);
                ASSERT_EQ(colour[colour.size() - 1 - static_cast<size_t>(i)], 0xee);
                ASSERT_EQ(gray[static_cast<size_t>(i)], 0xee);
                ASSERT_EQ(gray[gray.size() - 1 - static_cast<size_t>(i)], 0xee);
            }
        }
    }
}

}  // namespace
}  // namespace shadepaint
