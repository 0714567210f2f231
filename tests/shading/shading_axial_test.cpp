// The axial shading: what load makes of the keys, and the pixel rules through
// the render entry points.
#include "shading/shading_axial.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "shading/bitmap.h"
#include "shading/render_band.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Canvas;
using testing::Doc;
using testing::kOne;
using testing::ShadingPtr;

std::string axial(const std::string& entries) {
    return "<< /ShadingType 2 /ColorSpace /DeviceRGB " + entries + " >>";
}

// A ramp whose red byte is its index and whose green and blue tell a ramp
// pixel from the background.
void index_ramp(CPDFShadingAxial& s) {
    for (int i = 0; i < 256; ++i) s.m_ramp[i] = _KXRGBA{200, 100, static_cast<uint8_t>(i), 255};
}

// The pre-shift class from the larger coordinate difference (256, 65536 and
// 2^24 units, sign ignored; never on an axis parallel to a coordinate axis),
// the reciprocal from the shifted differences, and a position at each.
TEST(AxialLoad, ShiftScaleAndPosition) {
    Doc doc;
    struct Case {
        const char* coords;
        int32_t shift;
        int64_t scale;
        int64_t x, y, t;  // x, y in whole units
    };
    // clang-format off
    const Case cases[] = {
        {"[0 0 100 0]", 0, 671088, 50, 123, 33554400},   // 2^52 / raw(100.0); y unused
        {"[0 0 100 0]", 0, 671088, 100, 0, 67108800},
        {"[100 0 0 0]", 0, -671088, 50, 0, 33554400},
        {"[0 0 100 100]", 0, 3355, 50, 50, 33550000},     // 1 / 20000, truncated
        {"[0 0 255.5 1]", 0, 1027, 0, 0, 0},
        {"[0 0 256 1]", 8, 67107840, 0, 0, 0},
        {"[0 0 1000 1000]", 8, 2199023, 500, 500, 33554428},
        {"[0 0 1000 1000]", 8, 2199023, 1000, 1000, 67108856},
        {"[0 0 1 -70000]", 16, 58822525, 0, 0, 0},
        {"[0 0 20000000 1]", 24, 47223665, 0, 0, 0},
        {"[0 0 100000 0]", 0, 671, 0, 0, 0},
        {"[3 4 3 4]", 0, 0, 77, 5, 0},                    // zero length: nothing to divide
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.coords << " at " << c.x << ", " << c.y);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(std::string("/Coords ") + c.coords));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_shift, c.shift);
        EXPECT_EQ(s->m_scale.m_raw, c.scale);
        const KXFIX x = KXFIX::from_int(static_cast<int32_t>(c.x));
        const KXFIX y = KXFIX::from_int(static_cast<int32_t>(c.y));
        EXPECT_EQ((s->m_shift ? s->get_pos_mul(x, y) : s->get_pos(x, y)).m_raw, c.t);
    }
}

// Malformed Domain and Extend read missing or non-number items as 0 and
// false; a shading held as a stream reads the stream's dictionary.
TEST(AxialLoad, DomainAndExtend) {
    Doc doc;
    doc.add(2, "true");
    struct Case {
        const char* entries;
        int64_t t0, t1;
        int32_t start, end;
    };
    // clang-format off
    const Case cases[] = {
        {"/Domain [1 0]", kOne, 0, 0, 0},
        {"/Domain [2 0 R 3]", 0, 3 * kOne, 0, 0},
        {"/Domain [5]", 5 * kOne, 0, 0, 0},
        {"/Domain /Bad", 0, 0, 0, 0},
        {"/Extend [false 2 0 R]", 0, kOne, 0, 1},
        {"/Extend [1 1]", 0, kOne, 0, 0},          // numbers are no booleans
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(c.entries));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_t0.m_raw, c.t0);
        EXPECT_EQ(s->m_t1.m_raw, c.t1);
        EXPECT_EQ(s->m_extend_start, c.start);
        EXPECT_EQ(s->m_extend_end, c.end);
    }
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(
        holder, "<< /ShadingType 2 /Coords [0 0 100 0] /Length 0 >>\nstream\n\nendstream");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->m_scale.m_raw, 671088);
}

// Through a real function: red at the start of the domain, blue at its end; a
// reversed Domain builds the ramp backwards; without a colour space the ramp
// stays transparent.
TEST(AxialLoad, RampFromAFunction) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    struct Case {
        std::string text;
        int first_red, last_red, alpha;
    };
    const Case cases[] = {
        {axial("/Function 1 0 R"), 255, 0, 255},
        {axial("/Function [1 0 R] /Domain [1 0]"), 0, 255, 255},
        {"<< /ShadingType 2 /Function 1 0 R >>", 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, c.text);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_ramp[0].r, c.first_red);
        EXPECT_EQ(s->m_ramp[255].r, c.last_red);
        EXPECT_EQ(s->m_ramp[0].a | s->m_ramp[255].a, c.alpha);
    }
}

// The rules of Domain and Extend as they are stated: t compared with the raw
// domain ends, both tests when the ends are equal, the flags tied to t0 and
// t1 rather than to the ends of the axis.
bool shows_background(int64_t t, int64_t t0, int64_t t1, bool start, bool end) {
    if (t0 <= t1 && ((t < t0 && !start) || (t > t1 && !end))) return true;
    if (t0 >= t1 && ((t > t0 && !start) || (t < t1 && !end))) return true;
    return false;
}

// The colour that a pixel at shading point (x, y) must show.
_KXRGBA expected_colour(const CPDFShadingAxial& s, KXFIX x, KXFIX y) {
    const KXFIX t = s.m_shift ? s.get_pos_mul(x, y) : s.get_pos(x, y);
    if (shows_background(t.m_raw, s.m_t0.m_raw, s.m_t1.m_raw, s.m_extend_start, s.m_extend_end))
        return s.m_bg_rgba;
    return s.m_ramp[t.to_byte()];
}

// One row across [0 0 100 0] from x = -1 to 101 for every kind of domain and
// both flags: the unmapped comparison ([0.25 0.75] paints entries 64 to 191,
// [0 2] shows 255 beyond the axis), reversed and single-valued domains, and
// pixels outside written with the background word or zero.
TEST(AxialRender, DomainAndExtend) {
    Doc doc;
    const char* const domains[] = {"[0.25 0.75]", "[0 2]", "[1 0]", "[0.5 0.5]", "[0.7 0.2]"};
    const char* const extends[] = {"[false false]", "[true false]", "[false true]", "[true true]"};
    CKXBmp8 mask(103, 1);
    std::memset(mask.m_data, 255, 103);
    for (const char* domain : domains) {
        for (const char* extend : extends) {
            for (const char* background : {"", " /Background [0 1 0]"}) {
                SCOPED_TRACE(::testing::Message() << domain << " " << extend << background);
                ShadingPtr holder;
                auto* s = doc.load<CPDFShadingAxial>(
                    holder, axial(std::string("/Coords [0 0 100 0] /Domain ") + domain +
                                  " /Extend " + extend + background));
                ASSERT_NE(s, nullptr);
                index_ramp(*s);
                CKXBmp32 dst(103, 1);
                ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{-1, 0}, mask, dst), 1);
                for (int i = 0; i < 103; ++i) {
                    const _KXRGBA e = expected_colour(*s, KXFIX::from_int(i - 1), KXFIX{0});
                    const uint8_t want[4] = {e.b, e.g, e.r, static_cast<uint8_t>(e.a ? 254 : 0)};
                    EXPECT_EQ(std::memcmp(dst.m_data + 4 * i, want, 4), 0) << "x " << i - 1;
                }
            }
        }
    }
}

// Every loop the render may choose (one colour a row, rows that repeat, a
// slanted axis without rotation, the general loop), in colour and in gray,
// against the pixel rule at the running coordinates: pixel (i, j) lies at the
// start plus j row steps plus i column steps. The mask mixes fully covered
// groups, partial coverage and holes, which must stay untouched; the width
// crosses a run of columns; rows are addressed by each bitmap's own stride
// and the bytes past a row stay.
TEST(AxialRender, EveryLoopFollowsThePixelRule) {
    Doc doc;
    const char* const coords[] = {"[0 0 530 0]", "[3 -2 3 9]", "[0 0 100 5]", "[0 0 400 9]",
                                  "[530 4 0 4]"};
    const KXFIX one = KXFIX::from_raw(kOne), zero{0};
    const _KXMATRIX matrices[] = {
        _KXMATRIX::identity(),
        {one.mul_int(2), zero, zero, KXFIX::from_raw(kOne / 2), one.mul_int(-3),
         KXFIX::from_raw(kOne / 3)},
        {zero, one, -one, zero, one.mul_int(9), zero},  // a quarter turn
        {one, KXFIX::from_raw(kOne / 7), KXFIX::from_raw(kOne / 5), one, zero, zero},
    };
    const int32_t w = 530, h = 9;
    Canvas<CKXBmp8> mask(w, h, w + 3, 0xee);  // gaps that would read as coverage
    for (int32_t j = 0; j < h; ++j) {
        for (int32_t i = 0; i < w; ++i) {
            uint8_t c = 255;
            if ((i / 8 + j) % 5 == 1) c = static_cast<uint8_t>(i * 37 + j);
            if ((i / 8 + j) % 7 == 3 && i % 3 == 0) c = 0;
            *mask.px(i, j, 1) = c;
        }
    }
    const _KXPOINT origin = {-12, 2};
    for (const char* c : coords) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(
            holder,
            axial(std::string("/Coords ") + c + " /Extend [true false] /Background [0 0 1]"));
        ASSERT_NE(s, nullptr);
        index_ramp(*s);
        for (const _KXMATRIX& matrix : matrices) {
            SCOPED_TRACE(::testing::Message() << "Coords " << c << " matrix a " << matrix.a.m_raw
                                              << " b " << matrix.b.m_raw);
            _KXMATRIX inv = matrix;
            inv.do_invert();
            KXFIX cx = one, cy{0}, rx{0}, ry = one;
            inv.transform_delta(cx, cy);
            inv.transform_delta(rx, ry);
            KXFIX sx = KXFIX::from_int(origin.x), sy = KXFIX::from_int(origin.y);
            inv.transform_point(sx, sy);
            Canvas<CKXBmp32> colour(w, h, 4 * w + 8, 0x77);
            Canvas<CKXBmpGray> gray(w, h, 2 * w + 4, 0x77);
            ASSERT_EQ(s->render_to_bmp(matrix, origin, mask.bmp, colour.bmp), 1);
            ASSERT_EQ(s->render_to_bmpg(matrix, origin, mask.bmp, gray.bmp), 1);
            for (int32_t j = 0; j < h; ++j) {
                ASSERT_EQ(colour.px(w, j, 4)[7] & gray.px(w, j, 2)[3], 0x77) << "row " << j;
                for (int32_t i = 0; i < w; ++i) {
                    const uint32_t m = *mask.px(i, j, 1);
                    const uint8_t* p = colour.px(i, j, 4);
                    const uint8_t* g = gray.px(i, j, 2);
                    _KXRGBA e = expected_colour(*s, sx + rx.mul_int(j) + cx.mul_int(i),
                                                sy + ry.mul_int(j) + cy.mul_int(i));
                    const uint8_t alpha = static_cast<uint8_t>((m * e.a) >> 8);
                    const uint8_t want[4] = {e.b, e.g, e.r, alpha};
                    const uint8_t want_gray[2] = {
                        static_cast<uint8_t>((e.r * 306 + e.g * 601 + e.b * 117) >> 10), alpha};
                    const uint8_t untouched[4] = {0x77, 0x77, 0x77, 0x77};
                    ASSERT_EQ(std::memcmp(p, m ? want : untouched, 4), 0) << i << "," << j;
                    ASSERT_EQ(std::memcmp(g, m ? want_gray : untouched, 2), 0) << i << "," << j;
                }
            }
        }
    }
}

// Sizes on both sides of the banding threshold, rendered by the entry point
// and as one band by the worker. Bands restart from an exact transform of
// their first row where an unbanded run keeps adding row steps, so the
// pictures may differ by one ramp step where positions drifted apart; never
// in the first band, nor anywhere in a bitmap too small to band.
TEST(AxialRender, BandedMatchesUnbanded) {
    Doc doc;
    const _KXMATRIX m = {KXFIX::from_raw(55009271),          KXFIX::from_raw(38474460),
                         KXFIX::from_raw(-38474460),         KXFIX::from_raw(55009271),
                         KXFIX::from_raw(12 * kOne + 12345), KXFIX::from_raw(-7 * kOne)};
    _KXMATRIX inv = m;
    inv.do_invert();
    const _KXPOINT origin = {-40, 3};
    const int32_t sizes[][2] = {{5000, 8}, {101, 400}, {1000, 103}};  // first: not banded
    for (const char* coords : {"[-30 10 700 90]", "[-30 10 700 10]"}) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(
            holder, axial(std::string("/Coords ") + coords + " /Extend [true true]"));
        ASSERT_NE(s, nullptr);
        index_ramp(*s);
        for (const auto& size : sizes) {
            const int32_t w = size[0], h = size[1];
            SCOPED_TRACE(::testing::Message() << coords << " " << w << "x" << h);
            CKXBmp8 mask(w, h);
            for (int32_t i = 0; i < w * h; ++i)
                mask.m_data[i] = i % 3 == 0 ? 0 : static_cast<uint8_t>(255 - i % 7);
            CKXBmp32 dst(w, h), ref(w, h);
            ASSERT_EQ(s->render_to_bmp(m, origin, mask, dst), 1);
            PDF_RENDER_BAND band = {s,
                                    mask.m_data,
                                    w,
                                    ref.m_data,
                                    4 * w,
                                    w,
                                    h,
                                    KXFIX::from_raw(kOne),
                                    KXFIX{0},
                                    KXFIX{0},
                                    KXFIX::from_raw(kOne),
                                    KXFIX::from_int(origin.x),
                                    KXFIX::from_int(origin.y)};
            inv.transform_delta(band.m_col_dx, band.m_col_dy);
            inv.transform_delta(band.m_row_dx, band.m_row_dy);
            inv.transform_point(band.m_start_x, band.m_start_y);
            CPDFShadingAxial::CallbackRender(&band);
            const int32_t exact_rows = w * h > 40000 ? h >> 2 : h;
            for (int32_t i = 0; i < w * h; ++i) {
                const uint8_t* a = dst.m_data + 4 * i;
                const uint8_t* b = ref.m_data + 4 * i;
                if (std::memcmp(a, b, 4) == 0) continue;
                ASSERT_GE(i / w, exact_rows) << "pixel " << i;
                ASSERT_TRUE(a[0] == b[0] && a[1] == b[1] && a[3] == b[3]) << "pixel " << i;
                ASSERT_LE(std::abs(a[2] - b[2]), 1) << "pixel " << i;
            }
        }
    }
}

}  // namespace
}  // namespace shadepaint
