// The radial shading: the concentric pixels, the fan's numbers, what its
// wedges and Extend pieces paint, the Background passes, hostile input.
#include "shading/shading_radial.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "mesh/path_crender2.h"
#include "shading/radial_geom_p.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using namespace testing;

// Colour and gray ramps from black to white: under the default Domain every
// byte of an entry is its index.
std::string radial(const std::string& entries) {
    return "<< /ShadingType 3 /ColorSpace /DeviceRGB /Function << /FunctionType 2 /Domain [0 1]"
           " /C0 [0 0 0] /C1 [1 1 1] /N 1 >> " +
           entries + " >>";
}

// ---------------------------------------------------------------------------
// Concentric case.

TEST(RadialConcentric, ScaleDistanceAndPosition) {
    // clang-format off
    struct Case { double r0, r1; int64_t k; double x, y; int64_t d, t; int index; };
    const Case cases[] = {
        {0, 100, 171798691, 50, 0, fix(50).m_raw, 33554431, 127},    // exact on an axis
        {0, 100, 171798691, -30, 40, fix(50).m_raw, 33554431, 127},  // exact in floats too
        {0, 100, 171798691, 1, 1, 94906264, 949062, 4},              // sqrt(2) in floats
        {0, 100, 171798691, 100, 0, fix(100).m_raw, 67108863, 255},  // just under 1.0
        {10, 100, 190887435, 5, 0, fix(5).m_raw, -3728271, 0},       // inside the start circle
        {20, 10, -1717986918, 10, 0, fix(10).m_raw, 67108960, 255},  // shrinking
        {0, -100, -171798691, 50, 0, fix(50).m_raw, -33554432, 0},   // negative radius
        // x^2 fused into the sum, rounded once: the square rounded first gives 41420092.
        {0, 1, 17179869184, 25702696 / 67108864.0, 32480690 / 67108864.0, 41420088, 41420088, 157}};
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << "r " << c.r0 << " to " << c.r1 << " at " << c.x << ", " << c.y);
        const KXFIX k = detail::concentric_scale(fix(c.r0), fix(c.r1));
        const KXFIX d = detail::concentric_distance(fix(c.x), fix(c.y));
        const KXFIX t = detail::concentric_pos(d, fix(c.r0), k);
        EXPECT_EQ(std::vector<int64_t>({k.m_raw, d.m_raw, t.m_raw, t.to_byte()}),
                  std::vector<int64_t>({c.k, c.d, c.t, c.index}));
    }
}

// One row through the common centre (10, 0) from x = -45 to 65: every pixel
// lies on the axis, so its position is exact, and radius differences of 64
// and -32 put some exactly on the Domain ends. Domain and Extend are tested
// as they read, unmapped. Coverage 0 writes too: the colour word becomes 0, the
// gray byte the background gray with its alpha kept. Covered pixels take gray
// from the colour ramp, not the gray one, and scale alpha without rounding.
TEST(RadialConcentric, RowThroughTheCentre) {
    Doc doc;
    constexpr int32_t kFirst = -45, kWidth = 111;
    const uint8_t coverage[4] = {0, 1, 128, 255};
    Canvas<CKXBmp8> mask(kWidth, 1, kWidth, 0);
    for (int32_t i = 0; i < kWidth; ++i) *mask.px(i, 0, 1) = coverage[i % 4];
    for (const char* coords : {"[10 0 0 10 0 64]", "[10 0 48 10 0 16]"}) {
        for (const char* domain : {"[0.25 0.75]", "[1 0]", "[0.5 0.5]"}) {
            for (int extend = 0; extend < 4; ++extend) {
                const std::string text =
                    radial(std::string("/Coords ") + coords + " /Domain " + domain + " /Extend [" +
                           (extend & 1 ? "true " : "false ") + (extend & 2 ? "true]" : "false]") +
                           " /Background [0 1 0]");
                SCOPED_TRACE(text);
                ShadingPtr holder;
                auto* s = doc.load<CPDFShadingRadial>(holder, text);
                ASSERT_NE(s, nullptr);
                std::memset(s->m_ramp_gray, 0x77, sizeof s->m_ramp_gray);  // not to be read
                Canvas<CKXBmp32> dst(kWidth, 1, 4 * kWidth, 0xab);
                Canvas<CKXBmpGray> gray(kWidth, 1, 2 * kWidth, 0xab);
                ASSERT_EQ(s->render_to_bmp(kIdentity, {kFirst, 0}, mask.bmp, dst.bmp), 1);
                ASSERT_EQ(s->render_to_bmpg(kIdentity, {kFirst, 0}, mask.bmp, gray.bmp), 1);
                const KXFIX k = detail::concentric_scale(s->m_r0, s->m_r1);
                for (int32_t i = 0; i < kWidth; ++i) {
                    const KXFIX d = KXFIX::from_int(std::abs(kFirst + i - 10));
                    const KXFIX t = detail::concentric_pos(d, s->m_r0, k);
                    const _KXRGBA e =
                        shows_background(*s, t.m_raw) ? s->m_bg_rgba : s->m_ramp[t.to_byte()];
                    const uint32_t cov = coverage[i % 4];
                    const auto alpha = static_cast<uint8_t>((cov * 255) >> 8);
                    const auto g = static_cast<uint8_t>((e.r * 306 + e.g * 601 + e.b * 117) >> 10);
                    const uint8_t want[4] = {e.b, e.g, e.r, alpha}, zero[4] = {};
                    const uint8_t want_gray[2] = {cov ? g : s->m_bg_gray,
                                                  cov ? alpha : uint8_t{0xab}};
                    ASSERT_TRUE(!std::memcmp(dst.px(i, 0, 4), cov ? want : zero, 4) &&
                                !std::memcmp(gray.px(i, 0, 2), want_gray, 2))
                        << "x " << i;
                }
            }
        }
    }
}

// ---------------------------------------------------------------------------
// General case.

// Wedges a half turn: the rounded mean of the device bound's width and height,
// held to 20..180, the low 32 bits of a huge count deciding.
TEST(RadialFan, StepCounts) {
    // clang-format off
    const double cases[][3] = {  // width, height, steps
        {19, 19, 20}, {20, 20, 20}, {21, 21, 21}, {41, 40, 41}, {40, 40.98, 40},
        {180, 180, 180}, {181, 181, 180}, {3e9, 3e9, 20}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c[0] << " x " << c[1]);
        const _KXRECTF bound = {fix(-7), fix(3), fix(-7) + fix(c[0]), fix(3) + fix(c[1])};
        EXPECT_EQ(detail::fan_steps(bound), static_cast<int32_t>(c[2]));
    }
    const int32_t inverted = detail::fan_steps(_KXRECTF());  // negative extent
    EXPECT_TRUE(inverted >= detail::kFanMinSteps && inverted <= detail::kFanMaxSteps);
}

// 100 x 100 pixels, identity, apex (0, 50). Along the axis the wedges run
// from entry 0 on the start circle to 255 on the end one, in colour and gray.
// Past the smaller circle the start's Extend piece is a tip to the apex, in
// entry 0; the gray fan has no Extend.
TEST(RadialFan, WedgesRunFromStartToEnd) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(
        holder, radial("/Coords [30 50 10 60 50 20] /Extend [true false]"));
    ASSERT_NE(s, nullptr);
    Canvas<CKXBmp8> mask(100, 100, 100, 255);
    Canvas<CKXBmp32> dst(100, 100, 400, 0);
    Canvas<CKXBmpGray> gray(100, 100, 200, 0);
    ASSERT_EQ(s->render_to_bmp(kIdentity, kOrigin, mask.bmp, dst.bmp), 1);
    ASSERT_EQ(s->render_to_bmpg(kIdentity, kOrigin, mask.bmp, gray.bmp), 1);
    const uint8_t tip[4] = {0, 0, 0, 254};
    EXPECT_EQ(std::memcmp(dst.px(10, 50, 4), tip, 4), 0);  // between the apex and the circles
    EXPECT_EQ(dst.px(95, 50, 4)[3] | gray.px(10, 50, 2)[1] | gray.px(95, 50, 2)[1], 0);
    for (int x = 41; x < 79; ++x) {
        EXPECT_NEAR(dst.px(x, 49, 4)[2], (x + 0.5 - 40) / 40 * 255, 4) << x;
        EXPECT_NEAR(gray.px(x, 49, 2)[0], (x + 0.5 - 40) / 40 * 255, 4) << x;
    }
}

// Direct calls, apex (-30, 0), on 100 x 100 pixels: p alone picks the side,
// a column when |dx| is the greater, else a row (the top one when dy is
// below 1); q's line is followed to the same side.
TEST(RadialFan, OpenPieceSides) {
    Doc doc;
    ShadingPtr holder;
    auto* s =
        doc.load<CPDFShadingRadial>(holder, radial("/Coords [0 0 10 30 0 20] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    const _KXPOINTF apex = {fix(-30), fix(0)};
    // clang-format off
    const int cases[][13] = {  // origin y, p, q, two device pixels inside (entry 255), two outside
        {0, 50, 0, 50, 10, 75, 12, 99, 15, 75, 14, 99, 17},           // column 100, py 0, qy 16.25
        {-100, -20, -40, -10, -40, 2, -90, 0, -99, 5, -70, 30, -99},  // top row, px -5, qx 20
        {0, 10, 40, 10, -5, 2, 20, 30, 90, 50, 20, 99, 5}};  // |dx| = |dy|: a row, q behind it
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "p " << c[1] << ", " << c[2]);
        Canvas<CKXBmp32> dst(100, 100, 400, 0);
        CKXPathCRender2 path;
        s->render_extern1(&dst.bmp, path, _KXPOINT{0, c[0]}, _KXPOINTF{fix(c[1]), fix(c[2])},
                          _KXPOINTF{fix(c[3]), fix(c[4])}, &apex);
        for (int k = 5; k < 13; k += 2) {
            const uint8_t* px = dst.px(c[k], c[k + 1] - c[0], 4);
            EXPECT_TRUE(k < 9 ? px[2] >= 254 && px[3] : !px[3]) << c[k] << ", " << c[k + 1];
        }
    }
}

// Circles far from the bitmap, so no polygon reaches it: each pixel shows
// what the Background passes make of it. Colour: alpha 0 takes the word,
// 1 to 249 blend toward the background's blue alone and turn opaque, 250 up
// stay; row padding goes through too, and a background alpha below 3 skips
// the pass. Gray: the background is laid on every pixel first.
TEST(RadialFan, BackgroundPasses) {
    Doc doc;
    const uint8_t alphas[7] = {0, 1, 100, 249, 250, 255, 0};  // the last: row padding
    // clang-format off
    const uint8_t blended[2][7][4] = {  // after the pass and the mask
        {{0, 128, 255, 254}, {0, 0, 0, 254}, {3, 7, 11, 254}, {9, 19, 29, 254},
         {10, 20, 30, 249}, {10, 20, 30, 254}, {0, 128, 255, 255}},
        {{255, 0, 0, 2}, {254, 254, 254, 254}, {159, 163, 167, 254}, {16, 26, 36, 254},
         {10, 20, 30, 249}, {10, 20, 30, 254}, {255, 0, 0, 3}}};
    const std::pair<const char*, uint8_t> cases[] = {  // a Background, its alpha set by hand
        {"/Background [1 0.5 0]", 255}, {"/Background [0 0 1]", 3},
        {"/Background [0 0 1]", 2}, {"", 0}};
    // clang-format on
    for (int n = 0; n < 4; ++n) {
        SCOPED_TRACE(::testing::Message() << cases[n].first << " alpha " << +cases[n].second);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder, radial(std::string("/Coords [1000 1000 1 1010 1000 2] ") + cases[n].first));
        ASSERT_NE(s, nullptr);
        if (n < 3) s->m_bg_rgba.a = cases[n].second;
        Canvas<CKXBmp8> mask(6, 1, 6, 255);
        Canvas<CKXBmp32> dst(6, 1, 28, 0);
        Canvas<CKXBmpGray> gray(6, 1, 14, 0);
        for (int x = 0; x < 7; ++x) {
            const uint8_t px[4] = {10, 20, 30, alphas[x]}, g[2] = {7, 200};
            std::memcpy(dst.px(x, 0, 4), px, 4);
            std::memcpy(gray.px(x, 0, 2), g, 2);
        }
        ASSERT_EQ(s->render_to_bmp(kIdentity, kOrigin, mask.bmp, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(kIdentity, kOrigin, mask.bmp, gray.bmp), 1);
        for (int x = 0; x < 7; ++x) {
            const uint8_t kept[4] = {10, 20, 30, static_cast<uint8_t>((alphas[x] * 255) >> 8)};
            EXPECT_EQ(std::memcmp(dst.px(x, 0, 4), n < 2 ? blended[n][x] : kept, 4), 0) << x;
            EXPECT_EQ(gray.px(x, 0, 2)[0], n < 3 ? s->m_bg_gray : 7);
            EXPECT_EQ(gray.px(x, 0, 2)[1], (n < 3 ? 255 : 200) * (x < 6 ? 255 : 256) >> 8);
        }
        EXPECT_EQ(dst.bytes.back(), 0);
    }
}

}  // namespace
}  // namespace shadepaint
