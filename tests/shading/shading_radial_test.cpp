// The radial shading: load, the concentric pixels, the fan's numbers, what
// its wedges and Extend pieces paint, the Background passes, hostile input.
#include "shading/shading_radial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/path_crender2.h"
#include "shading/bitmap.h"
#include "shading/radial_geom_p.h"
#include "shading/render_band.h"
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

KXFIX fix(double v) { return KXFIX::from_raw(static_cast<int64_t>(v * kOne)); }

// Red and gray are the entry's index; green 100 and blue 200 tell a ramp
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

TEST(RadialLoad, CoordsDomainExtend) {
    Doc doc;
    doc.add(1, "[1 2 3 4 5 6]");
    doc.add(2, "7.5");
    struct Case {
        const char* entries;
        double coords[6];
        double t0, t1;
        int32_t start, end;
    };
    // clang-format off
    const Case cases[] = {
        {"/Coords [10 20 0 10.0 20 30]", {10, 20, 0, 10, 20, 30}, 0, 1, 0, 0},
        {"/Coords 1 0 R", {1, 2, 3, 4, 5, 6}, 0, 1, 0, 0},
        {"/Coords [2 0 R 0 -5 1 1 -2.5]", {7.5, 0, -5, 1, 1, -2.5}, 0, 1, 0, 0},  // kept negative
        {"/Coords [1 2 3]", {1, 2, 3, 0, 0, 0}, 0, 1, 0, 0},  // the rest reads as 0
        {"/Coords [1 /X 3 true 5 6]", {1, 0, 3, 0, 5, 6}, 0, 1, 0, 0},
        {"/Coords /Bad /Domain [1 0] /Extend [true false]", {0, 0, 0, 0, 0, 0}, 1, 0, 1, 0},
        {"/Domain [5] /Extend [1 true]", {0, 0, 0, 0, 0, 0}, 5, 0, 0, 1},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(c.entries));
        ASSERT_NE(s, nullptr);
        const KXFIX got[6] = {s->m_x0, s->m_y0, s->m_r0, s->m_x1, s->m_y1, s->m_r1};
        for (int i = 0; i < 6; ++i) EXPECT_EQ(got[i].m_raw, fix(c.coords[i]).m_raw) << i;
        EXPECT_EQ(s->m_t0.m_raw, fix(c.t0).m_raw);
        EXPECT_EQ(s->m_t1.m_raw, fix(c.t1).m_raw);
        EXPECT_EQ(s->m_extend_start, c.start);
        EXPECT_EQ(s->m_extend_end, c.end);
    }
}

// Both ramps come from one colour per step: get_rgb (alpha 255) and the
// colour space's get_gray. A failed function evaluates nothing: black.
TEST(RadialLoad, ColourAndGrayRamps) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    struct Case {
        const char* entries;
        _KXRGBA first, last;
        int first_gray, last_gray;
    };
    // clang-format off
    const Case cases[] = {
        {"/Function 1 0 R", {0, 0, 255, 255}, {255, 0, 0, 255}, 76, 29},
        {"/Function [1 0 R] /Domain [1 0]", {255, 0, 0, 255}, {0, 0, 255, 255}, 29, 76},
        {"/Function [<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>"
         " << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [1] /N 1 >>]",
         {0, 255, 0, 255}, {0, 255, 255, 255}, 149, 225},
        {"/Function /Nonsense", {0, 0, 0, 255}, {0, 0, 0, 255}, 0, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(c.entries));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(std::memcmp(&s->m_ramp[0], &c.first, 4), 0);
        EXPECT_EQ(std::memcmp(&s->m_ramp[255], &c.last, 4), 0);
        EXPECT_EQ(s->m_ramp_gray[0], c.first_gray);
        EXPECT_EQ(s->m_ramp_gray[255], c.last_gray);
    }
    // Without a colour space no colour can be made: both ramps stay zero. A
    // shading held as a stream reads the stream's dictionary.
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(
        holder,
        "<< /ShadingType 3 /Coords [0 0 0 0 0 9] /Function 1 0 R /Length 0 >>\n"
        "stream\nendstream");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->m_r1.m_raw, fix(9).m_raw);
    EXPECT_EQ(s->m_ramp[255].a | s->m_ramp_gray[255], 0);
}

// Every allocation of the factory and load fails in turn; whatever is left
// renders in both cases and forms and deletes without a leak.
TEST(RadialLoad, EachAllocationMayFail) {
    Doc doc;
    for (const char* coords : {"[5 5 0 5 5 9]", "[3 5 1 7 5 4]"}) {
        const std::string text =
            radial(std::string("/Coords ") + coords +
                   " /Extend [true true] /Background [0 0 1] /Function ["
                   "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>"
                   " << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [0] /N 2 >>]");
        ScopedObj obj;
        ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), obj.obj));
        bool completed = false;
        for (int32_t n = 0; n < 200 && !completed; ++n) {
            SCOPED_TRACE(::testing::Message() << coords << ", allocations allowed: " << n);
            kx_alloc_fail_after(n);
            ShadingPtr holder(CPDFShading::parser_shading(&doc.xref, &obj.obj));
            if (holder) holder->load();
            kx_alloc_fail_after(-1);
            const auto* s = dynamic_cast<CPDFShadingRadial*>(holder.get());
            if (!s) continue;
            completed = s->m_funcs && s->m_funcs[0] && s->m_funcs[1] && s->m_cs;
            Canvas<CKXBmp8> mask(12, 10, 12, 255);
            Canvas<CKXBmp32> dst(12, 10, 48, 0);
            Canvas<CKXBmpGray> gray(12, 10, 24, 0);
            const _KXMATRIX m = _KXMATRIX::identity();
            EXPECT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
            EXPECT_EQ(s->render_to_bmpg(m, _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
        }
        EXPECT_TRUE(completed);
    }
}

// ---------------------------------------------------------------------------
// Concentric case.

TEST(RadialConcentric, ScaleDistanceAndPosition) {
    struct Case {
        double r0, r1;
        int64_t k;
        double x, y;
        int64_t d, t;
        int index;
    };
    // clang-format off
    const Case cases[] = {
        {0, 100, 171798691, 50, 0, fix(50).m_raw, 33554431, 127},   // exact on an axis
        {0, 100, 171798691, 0, -50, fix(50).m_raw, 33554431, 127},
        {0, 100, 171798691, -30, 40, fix(50).m_raw, 33554431, 127}, // exact in floats too
        {0, 100, 171798691, 1, 1, 94906264, 949062, 4},              // sqrt(2) in floats
        {0, 100, 171798691, 100, 0, fix(100).m_raw, 67108863, 255},  // just under 1.0
        {10, 100, 190887435, 5, 0, fix(5).m_raw, -3728271, 0},        // inside the start circle
        {20, 10, -1717986918, 20, 0, fix(20).m_raw, 0, 0},            // shrinking: 0 on the start
        {20, 10, -1717986918, 10, 0, fix(10).m_raw, 67108960, 255},
        {0, -100, -171798691, 50, 0, fix(50).m_raw, -33554432, 0},   // negative radius
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << "r " << c.r0 << " to " << c.r1 << " at " << c.x << ", " << c.y);
        const KXFIX k = detail::concentric_scale(fix(c.r0), fix(c.r1));
        EXPECT_EQ(k.m_raw, c.k);
        const KXFIX d = detail::concentric_distance(fix(c.x), fix(c.y));
        EXPECT_EQ(d.m_raw, c.d);
        const KXFIX t = detail::concentric_pos(d, fix(c.r0), k);
        EXPECT_EQ(t.m_raw, c.t);
        EXPECT_EQ(t.to_byte(), c.index);
    }
}

// The fused square sum off the axes is fmaf's single rounding, whether it
// takes the exact double path or the call: pixels a long way out along one
// axis and just off it push the two magnitudes apart.
TEST(RadialConcentric, FusedSquareAddIsFma) {
    const uint64_t seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    std::mt19937_64 rng(seed);
    for (int i = 0; i < 200000; ++i) {
        // Raw values of any magnitude from 2^-26 up to 2^40, either sign.
        const auto coordinate = [&rng] {
            const int64_t raw = static_cast<int64_t>(rng() >> (rng() % 64 | 1));
            return KXFIX::from_raw(rng() & 1 ? raw : -raw).to_float();
        };
        const float x = coordinate(), y = coordinate();
        ASSERT_EQ(float_bits(detail::fused_square_add(x, y * y)), float_bits(std::fma(x, x, y * y)))
            << x << ", " << y;
    }
}

// One row through the common centre (10, 0) from x = -45 to 65: every pixel
// is on the axis, so the expected position is exact. Domain and Extend are
// tested as they read, unmapped.
TEST(RadialConcentric, DomainAndExtendPerPixel) {
    Doc doc;
    const auto background = [](int64_t t, int64_t t0, int64_t t1, bool start, bool end) {
        if (t0 <= t1 && ((t < t0 && !start) || (t > t1 && !end))) return true;
        return t0 >= t1 && ((t > t0 && !start) || (t < t1 && !end));
    };
    constexpr int32_t kFirst = -45, kWidth = 111;
    for (const char* coords : {"[10 0 10 10 0 50]", "[10 0 40 10 0 5]"}) {
        for (const char* domain : {"[0 1]", "[0.25 0.75]", "[1 0]", "[0.5 0.5]", "[-1 0.5]"}) {
            for (int extend = 0; extend < 4; ++extend) {
                const std::string text =
                    radial(std::string("/Coords ") + coords + " /Domain " + domain +
                           (extend & 1 ? " /Extend [true " : " /Extend [false ") +
                           (extend & 2 ? "true]" : "false]") + " /Background [0 1 0]");
                SCOPED_TRACE(text);
                ShadingPtr holder;
                auto* s = doc.load<CPDFShadingRadial>(holder, text);
                ASSERT_NE(s, nullptr);
                index_ramps(*s);
                Canvas<CKXBmp8> mask(kWidth, 1, kWidth, 255);
                Canvas<CKXBmp32> dst(kWidth, 1, 4 * kWidth, 0);
                ASSERT_EQ(
                    s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{kFirst, 0}, mask.bmp, dst.bmp),
                    1);
                const KXFIX k = KXFIX::from_raw((int64_t{1} << 60) / (s->m_r1 - s->m_r0).m_raw);
                for (int32_t i = 0; i < kWidth; ++i) {
                    const KXFIX d = KXFIX::from_int(std::abs(kFirst + i - 10));
                    const KXFIX t = KXFIX::from_raw(((d - s->m_r0) * k).m_raw >> 8);
                    const uint8_t* p = dst.px(i, 0, 4);
                    const bool bg = background(t.m_raw, s->m_t0.m_raw, s->m_t1.m_raw,
                                               s->m_extend_start, s->m_extend_end);
                    ASSERT_EQ(p[1], bg ? 255 : 100) << "x " << kFirst + i;
                    ASSERT_EQ(p[2], bg ? 0 : t.to_byte()) << "x " << kFirst + i;
                    ASSERT_EQ(p[3], 254);
                }
            }
        }
    }
}

// Coverage 0 writes too: the colour word becomes 0; the gray byte becomes the
// background gray and the alpha stays. Covered pixels take gray from the
// colour ramp, not the gray one, and scale alpha without rounding.
TEST(RadialConcentric, CoverageAndUncoveredWrites) {
    Doc doc;
    const uint8_t coverage[] = {0, 1, 128, 255};
    const int alpha[] = {-1, 0, 127, 254};
    for (const auto& bg : {std::pair{"", 0}, std::pair{"/Background [1 0 0]", 76}}) {
        SCOPED_TRACE(bg.first);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder, radial(std::string("/Coords [0 0 0 0 0 100] /Extend [true true] ") + bg.first));
        ASSERT_NE(s, nullptr);
        for (int i = 0; i < 256; ++i) s->m_ramp[i] = _KXRGBA{10, 20, 30, 255};
        std::memset(s->m_ramp_gray, 0x77, sizeof(s->m_ramp_gray));
        Canvas<CKXBmp8> mask(4, 1, 4, 0);
        std::memcpy(mask.bytes.data(), coverage, 4);
        Canvas<CKXBmp32> dst(4, 1, 16, 0xab);
        Canvas<CKXBmpGray> gray(4, 1, 8, 0xab);
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
        for (int i = 0; i < 4; ++i) {
            SCOPED_TRACE(::testing::Message() << "coverage " << int{coverage[i]});
            const uint8_t* p = dst.px(i, 0, 4);
            const uint8_t* g = gray.px(i, 0, 2);
            const bool uncovered = alpha[i] < 0;
            EXPECT_EQ(p[0], uncovered ? 0 : 10);
            EXPECT_EQ(p[2], uncovered ? 0 : 30);
            EXPECT_EQ(p[3], uncovered ? 0 : alpha[i]);
            EXPECT_EQ(g[0], uncovered ? bg.second : (30 * 306 + 20 * 601 + 10 * 117) >> 10);
            EXPECT_EQ(g[1], uncovered ? 0xab : alpha[i]);
        }
    }
}

// The whole bitmap as one band by the worker, from an exact start: the
// reference for the entry point.
template <class Bmp>
std::vector<uint8_t> one_band(const CPDFShadingRadial& s, const _KXMATRIX& matrix,
                              const CKXBmp8& mask, int32_t w, int32_t h) {
    constexpr int32_t kBytes = std::is_same_v<Bmp, CKXBmp32> ? 4 : 2;
    std::vector<uint8_t> out(static_cast<size_t>(w) * static_cast<size_t>(h) * kBytes, 9);
    _KXMATRIX inv = matrix;
    inv.do_invert();
    inv.e -= s.m_x0;
    inv.f -= s.m_y0;
    PDF_RENDER_BAND band = {&s,     mask.m_data, mask.m_stride, out.data(), kBytes * w, w,     h,
                            fix(1), KXFIX{0},    KXFIX{0},      fix(1),     fix(-40),   fix(3)};
    inv.transform_delta(band.m_col_dx, band.m_col_dy);
    inv.transform_delta(band.m_row_dx, band.m_row_dy);
    inv.transform_point(band.m_start_x, band.m_start_y);
    (kBytes == 4 ? CPDFShadingRadial::CallbackRender : CPDFShadingRadial::CallbackRenderG)(&band);
    return out;
}

// Sizes around the banding thresholds. Later bands restart from an exact
// transform, so they may differ from one band by a ramp step where the
// running position drifted; the first band and unbanded bitmaps match byte
// for byte. Gray is the colour through the gray weights, pixel for pixel.
TEST(RadialConcentric, BandsAndTwins) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(
        holder, radial("/Coords [40 -20 5 40 -20 300] /Extend [false true] /Background [0 0 1]"));
    ASSERT_NE(s, nullptr);
    index_ramps(*s);
    const _KXMATRIX skewed = {KXFIX::from_raw(55009271),
                              KXFIX::from_raw(38474460),
                              KXFIX::from_raw(-38474460),
                              KXFIX::from_raw(55009271),
                              fix(12.01),
                              fix(-7)};
    struct Case {
        int32_t w, h;
        bool banded;
    };
    for (const Case& c : {Case{100, 400, false}, Case{101, 400, true}, Case{6000, 7, false},
                          Case{5000, 8, true}, Case{1000, 103, true}}) {
        SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h);
        CKXBmp8 mask(c.w, c.h);
        for (int32_t i = 0; i < c.w * c.h; ++i)
            mask.m_data[i] = i % 3 == 0 ? 0 : static_cast<uint8_t>(255 - i % 7);
        const std::vector<uint8_t> ref = one_band<CKXBmp32>(*s, skewed, mask, c.w, c.h);
        const std::vector<uint8_t> ref_gray = one_band<CKXBmpGray>(*s, skewed, mask, c.w, c.h);
        Canvas<CKXBmp32> dst(c.w, c.h, 4 * c.w, 9);
        Canvas<CKXBmpGray> gray(c.w, c.h, 2 * c.w, 9);
        ASSERT_EQ(s->render_to_bmp(skewed, _KXPOINT{-40, 3}, mask, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(skewed, _KXPOINT{-40, 3}, mask, gray.bmp), 1);
        const int32_t exact_rows = c.banded ? (c.h >> 2) : c.h;
        int32_t differing = 0;
        for (int32_t i = 0; i < c.w * c.h; ++i) {
            const uint8_t* a = dst.bytes.data() + 4 * i;
            const uint8_t* g = gray.bytes.data() + 2 * i;
            ASSERT_EQ(g[0],
                      mask.m_data[i] ? (a[2] * 306 + a[1] * 601 + a[0] * 117) >> 10 : s->m_bg_gray)
                << i;
            ASSERT_EQ(g[1], mask.m_data[i] ? a[3] : 9) << i;
            if (std::memcmp(a, ref.data() + 4 * i, 4) == 0) {
                ASSERT_EQ(std::memcmp(g, ref_gray.data() + 2 * i, 2), 0) << i;
                continue;
            }
            ++differing;
            ASSERT_GE(i / c.w, exact_rows) << "pixel " << i;
            // A ramp step, or a pixel that drifted across the start circle.
            if (a[0] == 200 && ref[4 * i] == 200) {
                ASSERT_LE(std::abs(a[2] - ref[4 * i + 2]), 1);
            }
        }
        EXPECT_LE(differing, c.w * c.h / 100);
    }
}

// ---------------------------------------------------------------------------
// General case.

TEST(RadialFan, StepCounts) {
    struct Case {
        double w, h;
        int32_t n;
    };
    // clang-format off
    const Case cases[] = {
        {10, 10, 20}, {19, 19, 20}, {20, 20, 20}, {21, 21, 21},  // the floor
        {41, 40, 41}, {40, 40.98, 40},                           // halves round up
        {179, 179, 179}, {180, 180, 180}, {181, 181, 180}, {1000, 500, 180},  // the cap
        {0, 0, 20}, {3e9, 3e9, 20},  // low 32 bits of a huge count
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.w << " x " << c.h);
        _KXRECTF bound = {fix(-7), fix(3), fix(-7) + fix(c.w), fix(3) + fix(c.h)};
        EXPECT_EQ(detail::fan_steps(bound), c.n);
    }
    const int32_t inverted = detail::fan_steps(_KXRECTF());  // negative extent
    EXPECT_GE(inverted, detail::kFanMinSteps);
    EXPECT_LE(inverted, detail::kFanMaxSteps);
}

// Circles (0, 0, 10) and (30, 0, 20): apex (-30, 0); the axis angle is 0 in
// colour and 2 pi in gray, which adds the turn always.
TEST(RadialFan, AxisAngleAndApex) {
    EXPECT_EQ(float_bits(detail::kFanPi), 0x40490fdbu);
    EXPECT_EQ(float_bits(detail::kFanTwoPi), 0x40c90fdbu);
    const float pi = detail::kFanPi, two_pi = detail::kFanTwoPi, down = std::atan2(-1.0f, 0.0f);
    const struct {
        double dx, dy;
        float colour, gray;
    } cases[] = {
        {30, 0, 0.0f, two_pi}, {-30, 0, pi, pi + two_pi}, {0, -9, down + two_pi, down + two_pi}};
    for (const auto& c : cases) {
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
}

// The ramp index a pixel shows, or -1 where no ramp entry was painted.
int shown(Canvas<CKXBmp32>& c, int x, int y) {
    const uint8_t* p = c.px(x, y, 4);
    return p[3] >= 254 && p[1] == 100 ? p[2] : -1;
}

// 100 x 100 pixels, identity, apex (0, 50). Along the axis the wedges run
// from 0 on the start circle to 255 on the end one. Past the smaller circle
// an Extend piece is a tip to the apex, past the larger one it runs out of
// the picture, in entry 0 or 255 (which the converter's split truncation
// may take to 254). The gray fan has no Extend.
TEST(RadialFan, WedgesAndExtendPieces) {
    Doc doc;
    struct Case {
        const char* entries;
        int behind;  // at (10, 50), between apex and circles
        int beyond;  // at (95, 50) and (95, 62), past the circles
    };
    // clang-format off
    const Case cases[] = {
        {"/Coords [30 50 10 60 50 20]", -1, -1},
        {"/Coords [30 50 10 60 50 20] /Extend [true false]", 0, -1},
        {"/Coords [30 50 10 60 50 20] /Extend [true true]", 0, 255},
        {"/Coords [60 50 20 30 50 10] /Extend [true false]", -1, 0},    // open start
        {"/Coords [60 50 20 30 50 10] /Extend [false true]", 255, -1},  // tip at the end
        {"/Coords [30 50 10 60 50 10] /Extend [true true]", -1, -1},    // equal radii
        {"/Coords [30 50 0 60 50 20] /Extend [true false]", -1, -1},    // start circle is the apex
    };
    // clang-format on
    const auto expect_entry = [](int got, int want) {
        if (want < 0) {
            EXPECT_EQ(got, -1);
            return;
        }
        EXPECT_GE(got, want == 0 ? 0 : 254);
        EXPECT_LE(got, want);
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(c.entries));
        ASSERT_NE(s, nullptr);
        index_ramps(*s);
        Canvas<CKXBmp8> mask(100, 100, 100, 255);
        Canvas<CKXBmp32> dst(100, 100, 400, 0);
        Canvas<CKXBmpGray> gray(100, 100, 200, 0);
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
        expect_entry(shown(dst, 10, 50), c.behind);
        expect_entry(shown(dst, 95, 50), c.beyond);
        expect_entry(shown(dst, 95, 62), c.beyond);
        EXPECT_EQ(shown(dst, 95, 95), -1);  // outside the cone
        EXPECT_EQ(gray.px(10, 50, 2)[1] | gray.px(95, 50, 2)[1], 0);
        // Along the axis, unless the end's pieces cover the end circle, as the
        // larger circles past it do.
        if (&c - cases > 1) continue;
        for (int x = 41; x < 79; ++x) {
            EXPECT_NEAR(shown(dst, x, 49), (x + 0.5 - 40) / 40 * 255, 4) << x;
            EXPECT_NEAR(gray.px(x, 49, 2)[0], (x + 0.5 - 40) / 40 * 255, 4) << x;
        }
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
    index_ramps(*s);
    const _KXPOINTF apex = {fix(-30), fix(0)};
    using XY = std::pair<int, int>;
    struct Case {
        _KXPOINT origin;
        _KXPOINTF p, q;
        std::vector<XY> inside, outside;  // device pixels
    };
    const Case cases[] = {
        // dx 80, dy 0: column 100, py 0, qy 130 * 10 / 80 = 16.25.
        {{0, 0},
         {fix(50), fix(0)},
         {fix(50), fix(10)},
         {{75, 5}, {75, 12}, {99, 15}},
         {{75, 14}, {45, 5}, {99, 17}}},
        // dx 10, dy -40: the top row -100, px -5, qx 20.
        {{0, -100},
         {fix(-20), fix(-40)},
         {fix(-10), fix(-40)},
         {{2, -90}, {0, -99}},
         {{5, -70}, {30, -99}}},
        // |dx| equal to |dy|: the bottom row 100, px 70, qx 95.
        {{0, 0},
         {fix(10), fix(40)},
         {fix(20), fix(40)},
         {{70, 90}, {61, 90}, {90, 99}},
         {{59, 90}, {84, 90}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "p " << c.p.x.to_float() << ", " << c.p.y.to_float());
        Canvas<CKXBmp32> dst(100, 100, 400, 0);
        CKXPathCRender2 path;
        s->render_extern1(&dst.bmp, path, c.origin, c.p, c.q, &apex);
        for (const XY& xy : c.inside)
            EXPECT_GE(dst.px(xy.first - c.origin.x, xy.second - c.origin.y, 4)[2], 254)
                << xy.first << ", " << xy.second;
        for (const XY& xy : c.outside)
            EXPECT_EQ(dst.px(xy.first - c.origin.x, xy.second - c.origin.y, 4)[3], 0)
                << xy.first << ", " << xy.second;
    }
    // The start piece of this growing cone is the tip p, q, apex.
    Canvas<CKXBmp32> tip(100, 100, 400, 0);
    CKXPathCRender2 path;
    s->render_extern0(&tip.bmp, path, _KXPOINT{-50, -50}, _KXPOINTF{fix(-10), fix(-10)},
                      _KXPOINTF{fix(-10), fix(10)}, &apex);
    EXPECT_EQ(shown(tip, 35, 50), 0);   // device (-15, 0)
    EXPECT_EQ(shown(tip, 35, 60), -1);  // device (-15, 10)
    EXPECT_EQ(shown(tip, 45, 50), -1);  // device (-5, 0), past p and q
}

// Circles far from the bitmap, so no polygon reaches it: each pixel shows
// what the Background passes make of it. Colour: alpha 0 takes the word,
// 1 to 249 blend toward the background's blue alone and turn opaque, 250 up
// stay; row padding goes through too, and a background alpha below 3 skips
// the pass. Gray: the background is laid on every pixel first.
TEST(RadialFan, BackgroundPasses) {
    Doc doc;
    const uint8_t alphas[] = {0, 1, 100, 249, 250, 255};
    struct Case {
        const char* background;
        int bg_alpha;            // set by hand; 0 keeps 255
        uint8_t expected[7][4];  // six pixels (alpha after the mask), then the padding
    };
    // clang-format off
    const Case cases[] = {
        {"/Background [1 0.5 0]", 0, {{0, 128, 255, 254}, {0, 0, 0, 254}, {3, 7, 11, 254},
         {9, 19, 29, 254}, {10, 20, 30, 249}, {10, 20, 30, 254}, {0, 128, 255, 255}}},
        {"/Background [0 0 1]", 0, {{255, 0, 0, 254}, {254, 254, 254, 254}, {159, 163, 167, 254},
         {16, 26, 36, 254}, {10, 20, 30, 249}, {10, 20, 30, 254}, {255, 0, 0, 255}}},
        {"/Background [0 0 1]", 3, {{255, 0, 0, 2}, {254, 254, 254, 254}, {159, 163, 167, 254},
         {16, 26, 36, 254}, {10, 20, 30, 249}, {10, 20, 30, 254}, {255, 0, 0, 3}}},
        {"/Background [0 0 1]", 2, {{10, 20, 30, 0}, {10, 20, 30, 0}, {10, 20, 30, 99},
         {10, 20, 30, 248}, {10, 20, 30, 249}, {10, 20, 30, 254}, {10, 20, 30, 0}}},
        {"", 0, {{10, 20, 30, 0}, {10, 20, 30, 0}, {10, 20, 30, 99},
         {10, 20, 30, 248}, {10, 20, 30, 249}, {10, 20, 30, 254}, {10, 20, 30, 0}}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.background << " alpha " << c.bg_alpha);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder, radial(std::string("/Coords [1000 1000 1 1010 1000 2] ") + c.background));
        ASSERT_NE(s, nullptr);
        if (c.bg_alpha) s->m_bg_rgba.a = static_cast<uint8_t>(c.bg_alpha);
        Canvas<CKXBmp8> mask(6, 2, 6, 255);
        Canvas<CKXBmp32> dst(6, 2, 28, 0);
        Canvas<CKXBmpGray> gray(6, 2, 14, 0);
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 7; ++x) {
                const uint8_t px[4] = {10, 20, 30, x < 6 ? alphas[x] : uint8_t{0}};
                std::memcpy(dst.px(x, y, 4), px, 4);
                gray.px(x, y, 2)[0] = 7;
                gray.px(x, y, 2)[1] = 200;
            }
        }
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
        const bool bg = *c.background != 0;
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 7; ++x) {
                const uint8_t* p = dst.px(x, y, 4);
                EXPECT_EQ(std::memcmp(p, c.expected[x], 4), 0)
                    << "pixel " << x << ": " << int{p[0]} << " " << int{p[1]} << " " << int{p[2]}
                    << " " << int{p[3]};
                const int gray_alpha = bg ? 255 : 200;
                EXPECT_EQ(gray.px(x, y, 2)[0], bg ? s->m_bg_gray : 7);
                EXPECT_EQ(gray.px(x, y, 2)[1], x < 6 ? (gray_alpha * 255) >> 8 : gray_alpha);
            }
        }
        EXPECT_EQ(dst.bytes.back(), 0);
    }
    // A byte count that is no multiple of the step leaves its last bytes: one
    // word of six bytes, one pair of three.
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(
        holder, radial("/Coords [1000 1000 1 1010 1000 2] /Background [0 0 1]"));
    ASSERT_NE(s, nullptr);
    Canvas<CKXBmp8> mask(1, 1, 1, 255);
    Canvas<CKXBmp32> dst(1, 1, 6, 0);
    Canvas<CKXBmpGray> gray(1, 1, 3, 0);
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
    ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
    EXPECT_EQ(dst.bytes, (std::vector<uint8_t>{255, 0, 0, 254, 0, 0, 0}));
    EXPECT_EQ(gray.bytes, (std::vector<uint8_t>{s->m_bg_gray, 254, 0, 0}));
}

// One circle paints nothing at all, even with a Background and both ends
// extended; a size mismatch touches nothing either, in both cases.
TEST(RadialRender, TouchesNothing) {
    Doc doc;
    struct Case {
        const char* coords;
        int32_t w;
        int32_t result;
    };
    for (const Case& c : {Case{"[5 5 3 5 5 3]", 9, 1}, Case{"[0 0 0 0 0 0]", 9, 1},
                          Case{"[0 0 1 0 0 9]", 10, 0}, Case{"[0 0 1 3 0 9]", 10, 0}}) {
        SCOPED_TRACE(c.coords);
        ShadingPtr holder;
        auto* s =
            doc.load<CPDFShadingRadial>(holder, radial(std::string("/Coords ") + c.coords +
                                                       " /Extend [true true] /Background [1 0 0]"));
        ASSERT_NE(s, nullptr);
        Canvas<CKXBmp8> mask(9, 9, 10, 255);
        Canvas<CKXBmp32> dst(c.w, 9, 40, 0x5a);
        Canvas<CKXBmpGray> gray(c.w, 9, 20, 0x5a);
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp),
                  c.result);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp),
                  c.result);
        for (uint8_t v : dst.bytes) ASSERT_EQ(v, 0x5a);
        for (uint8_t v : gray.bytes) ASSERT_EQ(v, 0x5a);
    }
}

// Cases like the gallery's and hostile ones, through a set of matrices: each
// call returns 1, writes nothing outside the destination, and ends however
// large the circles get on the device. A focal point inside the end circle
// with both ends extended covers the picture, but for single pixels where
// neighbouring pieces' shared rays round apart.
TEST(RadialRender, GalleryAndHostileCases) {
    Doc doc;
    doc.add(1, "1 0 R");
    // clang-format off
    const struct {
        const char* entries;
        int min_painted;  // per mille of the picture under the page matrix
    } cases[] = {
        {"/Coords [38 60 0 50 50 40] /Extend [true true]", 999},
        {"/Coords [40 55 8 50 50 40]", 300},
        {"/Coords [15 50 0 50 50 35] /Extend [true false]", 300},
        {"/Coords [25 40 8 65 55 22] /Extend [true true] /Background [0.2 0.3 0.4]", 1000},
        {"/Coords [30 35 15 70 65 15] /Extend [true true]", 150},
        {"/Coords [0 0 -10 20 0 -30] /Extend [true true]", 0},
        {"/Coords [5 5 3 5 5 -3] /Extend [true true] /Background [1 0 0]", 0},
        {"/Coords [0 0 1 1000000000 -1000000000 2000000000] /Extend [true true]", 0},
        {"/Coords [1000000000 1000000000 1000000000 -1000000000 -1000000000 5]", 0},
        {"/Coords [0 0 1 0.00001 0 1.00001] /Extend [true true]", 0},
        {"/Coords 1 0 R /Domain 1 0 R /Extend 1 0 R /Function 1 0 R", 0},
        {"/Coords [1 2 3 4 5 6] /Domain /X /Extend 5 /Function [1 2] /Background [1 0]", 0},
    };
    const _KXMATRIX matrices[] = {
        {fix(1.28), KXFIX{0}, KXFIX{0}, fix(-1.28), KXFIX{0}, fix(128)},  // a page
        {KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}},      // singular
        {fix(1), fix(2), fix(2), fix(4), fix(3), fix(3)},                  // singular, skewed
        {fix(1e7), KXFIX{0}, KXFIX{0}, fix(1e7), fix(-5e7), fix(-5e7)},    // huge
        {fix(2000), fix(1500), fix(-1500), fix(2000), fix(10), fix(10)},
        {KXFIX::from_raw(1), KXFIX{0}, KXFIX{0}, KXFIX::from_raw(1), KXFIX{0}, KXFIX{0}},
    };
    // clang-format on
    constexpr int32_t kSide = 128, kGuard = 64;
    std::vector<uint8_t> coverage(kSide * kSide, 255);
    CKXBmp8 mask(coverage.data(), kSide, kSide, kSide);
    for (const auto& c : cases) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(c.entries));
        ASSERT_NE(s, nullptr);
        for (const _KXMATRIX& m : matrices) {
            SCOPED_TRACE(::testing::Message() << c.entries << ", matrix " << &m - matrices);
            std::vector<uint8_t> colour(kGuard + 4 * kSide * kSide + kGuard, 0xee);
            std::vector<uint8_t> gray(kGuard + 2 * kSide * kSide + kGuard, 0xee);
            std::fill(colour.begin() + kGuard, colour.end() - kGuard, 0);
            CKXBmp32 dst(colour.data() + kGuard, kSide, kSide, 4 * kSide);
            CKXBmpGray gdst(gray.data() + kGuard, kSide, kSide, 2 * kSide);
            EXPECT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask, dst), 1);
            EXPECT_EQ(s->render_to_bmpg(m, _KXPOINT{0, 0}, mask, gdst), 1);
            for (int32_t i = 0; i < kGuard; ++i) {
                ASSERT_EQ(colour[i], 0xee);
                ASSERT_EQ(colour[colour.size() - 1 - i], 0xee);
                ASSERT_EQ(gray[i], 0xee);
                ASSERT_EQ(gray[gray.size() - 1 - i], 0xee);
            }
            if (&m != matrices) continue;
            int painted = 0;
            for (int32_t i = 0; i < kSide * kSide; ++i) painted += dst.m_data[4 * i + 3] != 0;
            EXPECT_GE(painted * 1000, c.min_painted * kSide * kSide) << painted;
        }
    }
}

}  // namespace
}  // namespace shadepaint
