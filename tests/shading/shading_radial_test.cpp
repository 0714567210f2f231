// The radial shading: load (circles, Domain, Extend, both ramps), the
// dispatch, and the concentric case pixel by pixel.
#include "shading/shading_radial.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "engine/kxalloc.h"
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

// Red is the entry's index; green 100 and blue 200 tell a ramp pixel from a
// background one.
void index_ramp(CPDFShadingRadial& s) {
    for (int i = 0; i < 256; ++i) s.m_ramp[i] = _KXRGBA{200, 100, static_cast<uint8_t>(i), 255};
}

int64_t raw(double v) { return static_cast<int64_t>(v * kOne); }

TEST(RadialLoad, CoordsDomainExtend) {
    Doc doc;
    doc.add(1, "[1 2 3 4 5 6]");
    doc.add(2, "7.5");
    doc.add(3, "[0.25 0.75]");
    doc.add(4, "true");
    struct Case {
        const char* entries;
        double coords[6];
        int64_t t0, t1;
        int32_t start, end;
    };
    // clang-format off
    const Case cases[] = {
        {"/Coords [10 20 0 10 20 30]", {10, 20, 0, 10, 20, 30}, 0, kOne, 0, 0},
        {"/Coords [10.0 20 0.0 10 20.0 30]", {10, 20, 0, 10, 20, 30}, 0, kOne, 0, 0},
        {"/Coords 1 0 R", {1, 2, 3, 4, 5, 6}, 0, kOne, 0, 0},
        {"/Coords [2 0 R 0 -5 1 1 -2.5]", {7.5, 0, -5, 1, 1, -2.5}, 0, kOne, 0, 0},  // kept negative
        {"/Coords [1 2 3]", {1, 2, 3, 0, 0, 0}, 0, kOne, 0, 0},  // short: the rest reads as 0
        {"/Coords [1 /X (s) 4 true 6 7]", {1, 0, 0, 4, 0, 6}, 0, kOne, 0, 0},
        {"/Coords /Bad", {0, 0, 0, 0, 0, 0}, 0, kOne, 0, 0},
        {"", {0, 0, 0, 0, 0, 0}, 0, kOne, 0, 0},
        {"/Domain [0.25 0.75]", {0, 0, 0, 0, 0, 0}, kOne / 4, 3 * kOne / 4, 0, 0},
        {"/Domain 3 0 R", {0, 0, 0, 0, 0, 0}, kOne / 4, 3 * kOne / 4, 0, 0},
        {"/Domain [1 0]", {0, 0, 0, 0, 0, 0}, kOne, 0, 0, 0},
        {"/Domain [5]", {0, 0, 0, 0, 0, 0}, 5 * kOne, 0, 0, 0},
        {"/Domain null", {0, 0, 0, 0, 0, 0}, 0, 0, 0, 0},
        {"/Extend [true false]", {0, 0, 0, 0, 0, 0}, 0, kOne, 1, 0},
        {"/Extend [false 4 0 R]", {0, 0, 0, 0, 0, 0}, 0, kOne, 0, 1},
        {"/Extend [1 1]", {0, 0, 0, 0, 0, 0}, 0, kOne, 0, 0},  // numbers are no booleans
        {"/Extend true", {0, 0, 0, 0, 0, 0}, 0, kOne, 0, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(holder, radial(c.entries));
        ASSERT_NE(s, nullptr);
        const KXFIX got[6] = {s->m_x0, s->m_y0, s->m_r0, s->m_x1, s->m_y1, s->m_r1};
        for (int i = 0; i < 6; ++i) EXPECT_EQ(got[i].m_raw, raw(c.coords[i])) << "item " << i;
        EXPECT_EQ(s->m_t0.m_raw, c.t0);
        EXPECT_EQ(s->m_t1.m_raw, c.t1);
        EXPECT_EQ(s->m_extend_start, c.start);
        EXPECT_EQ(s->m_extend_end, c.end);
    }
}

// Both ramps come from the same colours: the colour one through get_rgb
// (alpha 255), the gray one through the colour space's get_gray.
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
        {"/Function [1 0 R]", {0, 0, 255, 255}, {255, 0, 0, 255}, 76, 29},
        {"/Function 1 0 R /Domain [1 0]", {255, 0, 0, 255}, {0, 0, 255, 255}, 29, 76},
        // Three one-output functions, each writing its own component.
        {"/Function [<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>"
         " << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [1] /N 1 >>"
         " << /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [0] /N 1 >>]",
         {0, 255, 0, 255}, {0, 255, 255, 255}, 149, 225},
        // The function failed: nothing is evaluated, the outputs stay zero.
        {"", {0, 0, 0, 255}, {0, 0, 0, 255}, 0, 0},
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
        for (int i = 0; i < 256; ++i) ASSERT_EQ(s->m_ramp[i].a, 255) << i;
    }
}

// Without a colour space no colour can be made: both ramps stay zero, and
// the shading still renders and deletes cleanly.
TEST(RadialLoad, NoColourSpaceLeavesZeroRamps) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(
        holder,
        "<< /ShadingType 3 /Coords [0 0 0 0 0 10] /Extend [true true]"
        " /Function << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [0] /N 1 >> >>");
    ASSERT_NE(s, nullptr);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(s->m_ramp[i].a, 0);
        EXPECT_EQ(s->m_ramp_gray[i], 0);
    }
}

TEST(RadialLoad, SecondLoadChangesNothing) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(holder, radial("/Coords [1 2 3 4 5 6]"));
    ASSERT_NE(s, nullptr);
    s->m_x0 = KXFIX::from_int(99);
    s->m_ramp[3].r = 7;
    s->load();
    EXPECT_EQ(s->m_x0.m_raw, raw(99));
    EXPECT_EQ(s->m_ramp[3].r, 7);
}

// Every allocation of a factory call and load fails in turn: each outcome
// renders, concentric and general, and deletes without a leak.
TEST(RadialLoad, EachAllocationMayFail) {
    Doc doc;
    const std::string texts[] = {
        radial("/Coords [5 5 0 5 5 9] /Extend [true true] /Background [0 0 1]"
               " /Function [<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>"
               " << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [0] /N 1 >>"
               " << /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 2 >>]"),
        radial("/Coords [3 5 1 7 5 4] /Extend [true true] /Background [0 1 0]"
               " /Function << /FunctionType 2 /Domain [0 1] /C0 [0 0 0] /C1 [1 1 1] /N 1 >>"),
    };
    for (const std::string& text : texts) {
        ScopedObj obj;
        ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), obj.obj));
        bool completed = false;
        for (int32_t n = 0; n < 200 && !completed; ++n) {
            SCOPED_TRACE(::testing::Message() << "allocations allowed: " << n);
            kx_alloc_fail_after(n);
            ShadingPtr holder(CPDFShading::parser_shading(&doc.xref, &obj.obj));
            if (holder) holder->load();
            kx_alloc_fail_after(-1);
            if (!holder) continue;
            const auto* s = dynamic_cast<CPDFShadingRadial*>(holder.get());
            ASSERT_NE(s, nullptr);
            completed = s->m_func_count > 0 && s->m_funcs && s->m_funcs[0] && s->m_cs;
            CKXBmp8 mask(12, 10);
            std::memset(mask.m_data, 255, 120);
            CKXBmp32 dst(12, 10);
            CKXBmpGray gray(12, 10);
            EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, dst), 1);
            EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, gray), 1);
        }
        EXPECT_TRUE(completed) << text;
    }
}

// ---------------------------------------------------------------------------
// Concentric case.

TEST(RadialConcentric, ScaleDistanceAndPosition) {
    struct Case {
        double r0, r1;
        int64_t k;
        double x, y;
        int64_t d;
        int64_t t;
        int index;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {0, 100, 171798691, 50, 0, raw(50), 33554431, 127, "on the x axis: exact, t just under 0.5"},
        {0, 100, 171798691, 0, -50, raw(50), 33554431, 127, "on the y axis: |y|"},
        {0, 100, 171798691, -30, 40, raw(50), 33554431, 127, "off the axes, exact in floats"},
        {0, 100, 171798691, 1, 1, 94906264, 949062, 4, "sqrt(2) in single precision"},
        {0, 100, 171798691, 100, 0, raw(100), 67108863, 255, "end circle: just under 1.0"},
        {0, 100, 171798691, 101, 0, raw(101), 67779952, 255, "beyond: above 1.0"},
        {10, 100, 190887435, 5, 0, raw(5), -3728271, 0, "inside the start circle: negative"},
        {20, 10, -1717986918, 20, 0, raw(20), 0, 0, "shrinking: t 0 on the start circle"},
        {20, 10, -1717986918, 10, 0, raw(10), 67108960, 255, "shrinking: t rises inward"},
        {20, 10, -1717986918, 25, 0, raw(25), -33554480, 0, "shrinking: outside is negative"},
        {0, -100, -171798691, 50, 0, raw(50), -33554432, 0, "negative radius: t runs negative"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << c.why << ": r " << c.r0 << " to " << c.r1 << " at " << c.x << ", " << c.y);
        const KXFIX k =
            detail::concentric_scale(KXFIX::from_raw(raw(c.r0)), KXFIX::from_raw(raw(c.r1)));
        EXPECT_EQ(k.m_raw, c.k);
        const KXFIX d =
            detail::concentric_distance(KXFIX::from_raw(raw(c.x)), KXFIX::from_raw(raw(c.y)));
        EXPECT_EQ(d.m_raw, c.d);
        const KXFIX t = detail::concentric_pos(d, KXFIX::from_raw(raw(c.r0)), k);
        EXPECT_EQ(t.m_raw, c.t);
        EXPECT_EQ(t.to_byte(), c.index);
    }
}

// One row through the common centre (10, 0), from x = -45 to 65 with the
// identity: every pixel sits on the axis, so its distance is exact.
constexpr int32_t kRowFirstX = -45;
constexpr int32_t kRowWidth = 111;

std::vector<_KXRGBA> render_row(const CPDFShadingRadial& s) {
    CKXBmp8 mask(kRowWidth, 1);
    std::memset(mask.m_data, 255, kRowWidth);
    CKXBmp32 dst(kRowWidth, 1);
    EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), _KXPOINT{kRowFirstX, 0}, mask, dst), 1);
    std::vector<_KXRGBA> px(kRowWidth);
    std::memcpy(px.data(), dst.m_data, 4 * kRowWidth);
    return px;
}

// The stated Domain and Extend tests, written out as they read.
bool shows_background(int64_t t, int64_t t0, int64_t t1, bool start, bool end) {
    if (t0 <= t1 && ((t < t0 && !start) || (t > t1 && !end))) return true;
    if (t0 >= t1 && ((t > t0 && !start) || (t < t1 && !end))) return true;
    return false;
}

TEST(RadialConcentric, DomainAndExtendPerPixel) {
    Doc doc;
    const char* const coords[] = {"[10 0 10 10 0 50]", "[10 0 40 10 0 5]"};
    const char* const domains[] = {"[0 1]", "[0.25 0.75]", "[1 0]", "[0.5 0.5]", "[-1 0.5]"};
    const char* const extends[] = {"[false false]", "[true false]", "[false true]", "[true true]"};
    for (const char* coord : coords) {
        for (const char* domain : domains) {
            for (const char* extend : extends) {
                for (const bool background : {false, true}) {
                    SCOPED_TRACE(::testing::Message()
                                 << "Coords " << coord << " Domain " << domain << " Extend "
                                 << extend << (background ? " with" : " without") << " Background");
                    ShadingPtr holder;
                    auto* s = doc.load<CPDFShadingRadial>(
                        holder,
                        radial(std::string("/Coords ") + coord + " /Domain " + domain +
                               " /Extend " + extend + (background ? " /Background [0 1 0]" : "")));
                    ASSERT_NE(s, nullptr);
                    index_ramp(*s);
                    const std::vector<_KXRGBA> row = render_row(*s);
                    const KXFIX k = KXFIX::from_raw((int64_t{1} << 60) / (s->m_r1 - s->m_r0).m_raw);
                    for (int32_t i = 0; i < kRowWidth; ++i) {
                        const int32_t x = kRowFirstX + i;
                        const KXFIX d = KXFIX::from_int(std::abs(x - 10));
                        const KXFIX t = KXFIX::from_raw(((d - s->m_r0) * k).m_raw >> 8);
                        const _KXRGBA& p = row[static_cast<size_t>(i)];
                        if (shows_background(t.m_raw, s->m_t0.m_raw, s->m_t1.m_raw,
                                             s->m_extend_start, s->m_extend_end)) {
                            ASSERT_EQ(p.g, background ? 255 : 0) << "x " << x;
                            ASSERT_EQ(p.r, 0) << "x " << x;
                            ASSERT_EQ(p.a, background ? 254 : 0) << "x " << x;
                        } else {
                            ASSERT_EQ(p.g, 100) << "x " << x;
                            ASSERT_EQ(p.r, t.to_byte()) << "x " << x;
                            ASSERT_EQ(p.a, 254) << "x " << x;
                        }
                    }
                }
            }
        }
    }
}

// Coverage 0 writes too: the colour word becomes 0, the gray byte becomes the
// background gray while the alpha byte stays. Covered pixels scale alpha
// without rounding.
TEST(RadialConcentric, CoverageAndUncoveredWrites) {
    Doc doc;
    struct Case {
        const char* background;
        int gray_uncovered;
    };
    const Case backgrounds[] = {{"", 0}, {"/Background [1 0 0]", 76}, {"/Background [1 1 1]", 255}};
    const uint8_t coverage[] = {0, 1, 2, 128, 255, 0};
    const int alpha[] = {-1, 0, 1, 127, 254, -1};
    for (const Case& b : backgrounds) {
        SCOPED_TRACE(b.background);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder,
            radial(std::string("/Coords [0 0 0 0 0 100] /Extend [true true] ") + b.background));
        ASSERT_NE(s, nullptr);
        for (int i = 0; i < 256; ++i) s->m_ramp[i] = _KXRGBA{10, 20, 30, 255};
        // The gray ramp plays no part here: the gray comes from the colour word.
        std::memset(s->m_ramp_gray, 0x77, sizeof(s->m_ramp_gray));
        Canvas<CKXBmp8> mask(6, 1, 6, 0);
        std::memcpy(mask.bytes.data(), coverage, 6);
        Canvas<CKXBmp32> dst(6, 1, 24, 0xab);
        Canvas<CKXBmpGray> gray(6, 1, 12, 0xab);
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
        const int expected_gray = (30 * 306 + 20 * 601 + 10 * 117) >> 10;
        for (int i = 0; i < 6; ++i) {
            SCOPED_TRACE(::testing::Message() << "coverage " << int{coverage[i]});
            const uint8_t* p = dst.px(i, 0, 4);
            const uint8_t* g = gray.px(i, 0, 2);
            if (alpha[i] < 0) {
                EXPECT_EQ(p[0] | p[1] | p[2] | p[3], 0);
                EXPECT_EQ(g[0], b.gray_uncovered);
                EXPECT_EQ(g[1], 0xab);
                continue;
            }
            EXPECT_EQ(p[0], 10);
            EXPECT_EQ(p[1], 20);
            EXPECT_EQ(p[2], 30);
            EXPECT_EQ(p[3], alpha[i]);
            EXPECT_EQ(g[0], expected_gray);
            EXPECT_EQ(g[1], alpha[i]);
        }
        EXPECT_EQ(dst.bytes.back(), 0xab);
        EXPECT_EQ(gray.bytes.back(), 0xab);
    }
}

// Centres and radii all equal: nothing at all is written, not even with a
// Background and both ends extended, in either form.
TEST(RadialRender, OneCircleTouchesNothing) {
    Doc doc;
    for (const char* coords : {"[5 5 3 5 5 3]", "[0 0 0 0 0 0]", "[1 2 -4 1 2 -4]"}) {
        SCOPED_TRACE(coords);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder,
            radial(std::string("/Coords ") + coords + " /Extend [true true] /Background [1 0 0]"));
        ASSERT_NE(s, nullptr);
        Canvas<CKXBmp8> mask(9, 9, 10, 255);
        Canvas<CKXBmp32> dst(9, 9, 40, 0x5a);
        Canvas<CKXBmpGray> gray(9, 9, 20, 0x5a);
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
        for (uint8_t v : dst.bytes) ASSERT_EQ(v, 0x5a);
        for (uint8_t v : gray.bytes) ASSERT_EQ(v, 0x5a);
    }
}

TEST(RadialRender, SizeMismatchTouchesNothing) {
    Doc doc;
    for (const char* coords : {"[0 0 1 0 0 9]", "[0 0 1 3 0 9]"}) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingRadial>(
            holder, radial(std::string("/Coords ") + coords + " /Background [1 0 0]"));
        ASSERT_NE(s, nullptr);
        struct Case {
            int mw, mh, dw, dh;
        };
        for (const Case& c : {Case{5, 5, 6, 5}, Case{5, 5, 5, 6}, Case{6, 5, 5, 5}}) {
            SCOPED_TRACE(::testing::Message() << coords << " " << c.mw << "x" << c.mh << " onto "
                                              << c.dw << "x" << c.dh);
            Canvas<CKXBmp8> mask(c.mw, c.mh, c.mw, 255);
            Canvas<CKXBmp32> dst(c.dw, c.dh, 4 * c.dw, 0x5a);
            Canvas<CKXBmpGray> gray(c.dw, c.dh, 2 * c.dw, 0x5a);
            EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp),
                      0);
            EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp),
                      0);
            for (uint8_t v : dst.bytes) ASSERT_EQ(v, 0x5a);
            for (uint8_t v : gray.bytes) ASSERT_EQ(v, 0x5a);
        }
    }
}

// The whole bitmap painted as one band by the worker, from an exact start:
// the reference for the entry point, banded or not.
template <class Bmp>
std::vector<uint8_t> one_band(const CPDFShadingRadial& s, const _KXMATRIX& matrix,
                              const _KXPOINT& origin, const CKXBmp8& mask, int32_t w, int32_t h,
                              uint8_t fill) {
    constexpr int32_t kBytes = std::is_same_v<Bmp, CKXBmp32> ? 4 : 2;
    std::vector<uint8_t> out(static_cast<size_t>(w) * static_cast<size_t>(h) * kBytes, fill);
    _KXMATRIX inv = matrix;
    inv.do_invert();
    inv.e -= s.m_x0;
    inv.f -= s.m_y0;
    PDF_RENDER_BAND band;
    band.m_shading = &s;
    band.m_mask_row = mask.m_data;
    band.m_mask_stride = mask.m_stride;
    band.m_dst_row = out.data();
    band.m_dst_stride = kBytes * w;
    band.m_width = w;
    band.m_height = h;
    band.m_col_dx = KXFIX::from_raw(kOne);
    band.m_col_dy = KXFIX{0};
    inv.transform_delta(band.m_col_dx, band.m_col_dy);
    band.m_row_dx = KXFIX{0};
    band.m_row_dy = KXFIX::from_raw(kOne);
    inv.transform_delta(band.m_row_dx, band.m_row_dy);
    band.m_start_x = KXFIX::from_int(origin.x);
    band.m_start_y = KXFIX::from_int(origin.y);
    inv.transform_point(band.m_start_x, band.m_start_y);
    if constexpr (kBytes == 4)
        CPDFShadingRadial::CallbackRender(&band);
    else
        CPDFShadingRadial::CallbackRenderG(&band);
    return out;
}

// Sizes around the banding thresholds. Bands restart from an exact transform
// of their first row, so later bands may differ from the one-band picture by
// a ramp step where the running position has drifted; the first band, and
// any bitmap that isn't banded, match byte for byte. Uncovered pixels are
// written in every band. Gray matches colour through the gray weights.
TEST(RadialConcentric, BandsAndTwins) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingRadial>(
        holder, radial("/Coords [40 -20 5 40 -20 300] /Extend [false true] /Background [0 0 1]"));
    ASSERT_NE(s, nullptr);
    index_ramp(*s);
    const _KXMATRIX skewed = {KXFIX::from_raw(55009271),          KXFIX::from_raw(38474460),
                              KXFIX::from_raw(-38474460),         KXFIX::from_raw(55009271),
                              KXFIX::from_raw(12 * kOne + 12345), KXFIX::from_raw(-7 * kOne)};
    struct Case {
        int32_t w, h;
        bool banded;
    };
    const Case sizes[] = {
        {100, 400, false}, {101, 400, true}, {6000, 7, false}, {5000, 8, true}, {1000, 103, true}};
    for (const Case& c : sizes) {
        SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h);
        CKXBmp8 mask(c.w, c.h);
        for (int32_t i = 0; i < c.w * c.h; ++i)
            mask.m_data[i] = i % 3 == 0 ? 0 : static_cast<uint8_t>(255 - i % 7);
        const _KXPOINT origin = {-40, 3};
        const std::vector<uint8_t> ref = one_band<CKXBmp32>(*s, skewed, origin, mask, c.w, c.h, 9);
        const std::vector<uint8_t> ref_gray =
            one_band<CKXBmpGray>(*s, skewed, origin, mask, c.w, c.h, 9);
        Canvas<CKXBmp32> dst(c.w, c.h, 4 * c.w, 9);
        Canvas<CKXBmpGray> gray(c.w, c.h, 2 * c.w, 9);
        ASSERT_EQ(s->render_to_bmp(skewed, origin, mask, dst.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(skewed, origin, mask, gray.bmp), 1);
        const int32_t first_band_rows = c.banded ? (c.h >> 2) : c.h;
        int32_t differing = 0;
        for (int32_t i = 0; i < c.w * c.h; ++i) {
            const uint8_t* a = dst.bytes.data() + 4 * i;
            const uint8_t* b = ref.data() + 4 * i;
            const uint8_t* g = gray.bytes.data() + 2 * i;
            if (mask.m_data[i] == 0) {
                ASSERT_EQ(a[0] | a[1] | a[2] | a[3], 0) << i;
                ASSERT_EQ(g[0], s->m_bg_gray) << i;
                ASSERT_EQ(g[1], 9) << i;
                continue;
            }
            ASSERT_EQ(g[0], (a[2] * 306 + a[1] * 601 + a[0] * 117) >> 10) << i;
            ASSERT_EQ(g[1], a[3]) << i;
            if (std::memcmp(a, b, 4) == 0) {
                ASSERT_EQ(std::memcmp(g, ref_gray.data() + 2 * i, 2), 0) << i;
                continue;
            }
            ++differing;
            ASSERT_GE(i / c.w, first_band_rows) << "pixel " << i;
            ASSERT_EQ(a[3], b[3]);
            // Two ramp pixels a step apart, or a pixel on the start circle's
            // edge that drifted across it.
            if (a[0] == 200 && b[0] == 200) {
                ASSERT_LE(std::abs(a[2] - b[2]), 1) << "pixel " << i;
            }
        }
        EXPECT_LE(differing, c.w * c.h / 100);
    }
}

}  // namespace
}  // namespace shadepaint
