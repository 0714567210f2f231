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

TEST(AxialLoad, ReciprocalAndPreShift) {
    Doc doc;
    doc.add(1, "[0 0 100 0]");
    struct Case {
        const char* coords;
        int32_t shift;
        int64_t scale;
    };
    // clang-format off
    const Case cases[] = {
        {"[0 0 100 0]", 0, 671088},            // 2^52 / raw(100.0)
        {"1 0 R", 0, 671088},
        {"[100 0 0 0]", 0, -671088},           // the sign of the difference
        {"[0 0 0 -100]", 0, -671088},          // vertical upward
        {"[0 0 100 100]", 0, 3355},            // 1 / 20000, truncated
        {"[0 0 1000 1000]", 8, 2199023},       // from the shifted differences
        {"[0 0 255.5 1]", 0, 1027},            // below 256.0
        {"[0 0 256 1]", 8, 67107840},
        {"[0 0 1 -70000]", 16, 58822525},      // class from y, sign ignored
        {"[0 0 20000000 1]", 24, 47223665},
        {"[0 0 100000 0]", 0, 671},            // never shifted when horizontal
        {"[3 4 3 4]", 0, 0},                   // zero length: nothing to divide
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.coords);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(std::string("/Coords ") + c.coords));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_shift, c.shift);
        EXPECT_EQ(s->m_scale.m_raw, c.scale);
    }
}

TEST(AxialLoad, DomainExtendAndCoords) {
    Doc doc;
    doc.add(1, "[0.25 0.75]");
    doc.add(2, "true");
    struct Case {
        const char* entries;
        int64_t t0, t1;
        int32_t start, end;
        int64_t scale;
    };
    // clang-format off
    const Case cases[] = {
        {"/Coords [0 0 100 0]", 0, kOne, 0, 0, 671088},
        {"/Domain [0.25 0.75]", kOne / 4, 3 * kOne / 4, 0, 0, 0},  // no Coords: zero axis
        {"/Domain 1 0 R", kOne / 4, 3 * kOne / 4, 0, 0, 0},
        {"/Domain [1 0]", kOne, 0, 0, 0, 0},
        {"/Domain [2 0 R 3]", 0, 3 * kOne, 0, 0, 0},  // no number reads as 0
        {"/Domain [5]", 5 * kOne, 0, 0, 0, 0},        // a missing item too
        {"/Domain /Bad", 0, 0, 0, 0, 0},
        {"/Extend [true false]", 0, kOne, 1, 0, 0},
        {"/Extend [false 2 0 R]", 0, kOne, 0, 1, 0},
        {"/Extend [1 1]", 0, kOne, 0, 0, 0},          // numbers are no booleans
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
        EXPECT_EQ(s->m_scale.m_raw, c.scale);
    }
    // Held as a stream, the shading reads the stream's dictionary.
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(
        holder,
        "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0] /Length 0 >>\n"
        "stream\n\nendstream");
    ASSERT_NE(s, nullptr);
    EXPECT_NE(s->m_cs, nullptr);
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
        {axial("/Function 1 0 R /Domain [1 0]"), 0, 255, 255},
        {axial("/Function [1 0 R]"), 255, 0, 255},
        {"<< /ShadingType 2 /Function 1 0 R >>", 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, c.text);
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_func_count, 1);
        EXPECT_EQ(s->m_ramp[0].r, c.first_red);
        EXPECT_EQ(s->m_ramp[255].r, c.last_red);
        for (int i = 0; i < 256; ++i) EXPECT_EQ(s->m_ramp[i].a, c.alpha);
    }
}

TEST(AxialPosition, WorkedPoints) {
    Doc doc;
    struct Case {
        const char* coords;
        int64_t x, y;  // whole units
        int64_t t;
    };
    const Case cases[] = {
        {"[0 0 100 0]", 50, 0, 33554400},
        {"[0 0 100 0]", 100, 0, 67108800},
        {"[0 0 100 0]", 50, 123, 33554400},
        {"[0 0 100 100]", 50, 50, 33550000},
        {"[0 0 1000 1000]", 500, 500, 33554428},
        {"[0 0 1000 1000]", 1000, 1000, 67108856},
        {"[0 0 0 0]", 77, 5, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.coords << " at " << c.x << ", " << c.y);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(std::string("/Coords ") + c.coords));
        ASSERT_NE(s, nullptr);
        const KXFIX x = KXFIX::from_raw(c.x * kOne), y = KXFIX::from_raw(c.y * kOne);
        EXPECT_EQ((s->m_shift ? s->get_pos_mul(x, y) : s->get_pos(x, y)).m_raw, c.t);
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
    const char* const domains[] = {"[0 1]",     "[0.25 0.75]", "[0 2]",    "[1 0]",
                                   "[0.5 0.5]", "[-1 0.5]",    "[0.7 0.2]"};
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
                    const uint8_t* p = dst.m_data + 4 * i;
                    EXPECT_EQ(p[0], e.b) << "x " << i - 1;
                    EXPECT_EQ(p[1], e.g) << "x " << i - 1;
                    EXPECT_EQ(p[2], e.r) << "x " << i - 1;
                    EXPECT_EQ(p[3], e.a ? 254 : 0) << "x " << i - 1;
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
// crosses a run of columns.
TEST(AxialRender, EveryLoopFollowsThePixelRule) {
    Doc doc;
    const char* const coords[] = {"[0 0 530 0]", "[3 -2 3 9]", "[0 0 100 5]", "[0 0 400 9]",
                                  "[530 4 0 4]"};
    const _KXMATRIX matrices[] = {
        _KXMATRIX::identity(),
        {KXFIX::from_raw(2 * kOne), KXFIX{0}, KXFIX{0}, KXFIX::from_raw(kOne / 2),
         KXFIX::from_raw(-3 * kOne), KXFIX::from_raw(kOne / 3)},
        {KXFIX{0}, KXFIX::from_raw(kOne), KXFIX::from_raw(-kOne), KXFIX{0},
         KXFIX::from_raw(9 * kOne), KXFIX{0}},  // a quarter turn
        {KXFIX::from_raw(kOne), KXFIX::from_raw(kOne / 7), KXFIX::from_raw(kOne / 5),
         KXFIX::from_raw(kOne), KXFIX{0}, KXFIX{0}},
    };
    const int32_t w = 530, h = 9;
    CKXBmp8 mask(w, h);
    for (int32_t j = 0; j < h; ++j) {
        for (int32_t i = 0; i < w; ++i) {
            uint8_t c = 255;
            if ((i / 8 + j) % 5 == 1) c = static_cast<uint8_t>(i * 37 + j);
            if ((i / 8 + j) % 7 == 3 && i % 3 == 0) c = 0;
            mask.m_data[j * w + i] = c;
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
            KXFIX cx = KXFIX::from_raw(kOne), cy{0}, rx{0}, ry = KXFIX::from_raw(kOne);
            inv.transform_delta(cx, cy);
            inv.transform_delta(rx, ry);
            KXFIX sx = KXFIX::from_int(origin.x), sy = KXFIX::from_int(origin.y);
            inv.transform_point(sx, sy);
            CKXBmp32 colour(w, h);
            CKXBmpGray gray(w, h);
            std::memset(colour.m_data, 0x77, static_cast<size_t>(w) * h * 4);
            std::memset(gray.m_data, 0x77, static_cast<size_t>(w) * h * 2);
            ASSERT_EQ(s->render_to_bmp(matrix, origin, mask, colour), 1);
            ASSERT_EQ(s->render_to_bmpg(matrix, origin, mask, gray), 1);
            for (int32_t j = 0; j < h; ++j) {
                for (int32_t i = 0; i < w; ++i) {
                    const uint32_t m = mask.m_data[j * w + i];
                    const uint8_t* p = colour.m_data + 4 * (j * w + i);
                    const uint8_t* g = gray.m_data + 2 * (j * w + i);
                    if (m == 0) {
                        ASSERT_EQ(p[0] & p[1] & p[2] & p[3] & g[0] & g[1], 0x77) << i << "," << j;
                        continue;
                    }
                    const _KXRGBA e = expected_colour(*s, sx + rx.mul_int(j) + cx.mul_int(i),
                                                      sy + ry.mul_int(j) + cy.mul_int(i));
                    const uint8_t alpha = static_cast<uint8_t>((m * e.a) >> 8);
                    ASSERT_EQ(p[0], e.b) << i << "," << j;
                    ASSERT_EQ(p[1], e.g) << i << "," << j;
                    ASSERT_EQ(p[2], e.r) << i << "," << j;
                    ASSERT_EQ(p[3], alpha) << i << "," << j;
                    ASSERT_EQ(g[0], (e.r * 306 + e.g * 601 + e.b * 117) >> 10) << i << "," << j;
                    ASSERT_EQ(g[1], alpha) << i << "," << j;
                }
            }
        }
    }
}

// Rows are addressed by each bitmap's own stride and never past the width;
// a size mismatch returns 0, and bitmaps without storage paint nothing.
TEST(AxialRender, StridesSizesAndStorage) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [0 0 10 3] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    const _KXMATRIX m = _KXMATRIX::identity();
    const int w = 7, h = 9;
    Canvas<CKXBmp8> mask(w, h, w + 5, 0xee);  // gaps that would read as coverage
    Canvas<CKXBmp32> wide(w, h, 4 * w + 12, 0xcd);
    Canvas<CKXBmpGray> gray(w, h, 2 * w + 6, 0xcd);
    Canvas<CKXBmp32> tight(w, h, 4 * w, 0xcd);
    ASSERT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask.bmp, wide.bmp), 1);
    ASSERT_EQ(s->render_to_bmpg(m, _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
    ASSERT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask.bmp, tight.bmp), 1);
    for (int y = 0; y < h; ++y) {
        EXPECT_EQ(std::memcmp(wide.px(0, y, 4), tight.px(0, y, 4), 4 * w), 0);
        for (int i = 4 * w; i < 4 * w + 12; ++i) EXPECT_EQ(wide.px(0, y, 4)[i], 0xcd);
        for (int i = 2 * w; i < 2 * w + 6; ++i) EXPECT_EQ(gray.px(0, y, 2)[i], 0xcd);
    }
    struct Case {
        int mw, mh, dw, dh;
        int32_t result;
    };
    const Case cases[] = {{5, 5, 6, 5, 0}, {5, 5, 5, 6, 0}, {6, 5, 5, 5, 0},
                          {5, 4, 5, 5, 0}, {0, 0, 0, 0, 1}, {0, 5, 0, 5, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << c.mw << "x" << c.mh << " onto " << c.dw << "x" << c.dh);
        Canvas<CKXBmp8> cm(c.mw, c.mh, c.mw + 1, 255);
        Canvas<CKXBmp32> cd(c.dw, c.dh, 4 * c.dw + 4, 0x5a);
        Canvas<CKXBmpGray> cg(c.dw, c.dh, 2 * c.dw + 2, 0x5a);
        EXPECT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, cm.bmp, cd.bmp), c.result);
        EXPECT_EQ(s->render_to_bmpg(m, _KXPOINT{0, 0}, cm.bmp, cg.bmp), c.result);
        for (uint8_t b : cd.bytes) EXPECT_EQ(b, 0x5a);
        for (uint8_t b : cg.bytes) EXPECT_EQ(b, 0x5a);
    }
    std::vector<uint8_t> bytes(64 * 64 * 4, 0x42);
    CKXBmp8 full_mask(bytes.data(), 64, 64, 64), no_mask(nullptr, 64, 64, 64);
    CKXBmp32 dst(bytes.data(), 64, 64, 256), no_dst(nullptr, 64, 64, 256);
    EXPECT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, no_mask, dst), 1);
    EXPECT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, full_mask, no_dst), 1);
    for (uint8_t b : bytes) ASSERT_EQ(b, 0x42);
}

// Sizes around the banding thresholds, rendered by the entry point and as one
// band by the worker. Bands restart from an exact transform of their first
// row where an unbanded run keeps adding row steps, so the pictures may
// differ by one ramp step where positions drifted apart; never in the first
// band, nor anywhere in a bitmap too small to band.
TEST(AxialRender, BandedMatchesUnbanded) {
    Doc doc;
    const _KXMATRIX turned = {KXFIX::from_raw(55009271),          KXFIX::from_raw(38474460),
                              KXFIX::from_raw(-38474460),         KXFIX::from_raw(55009271),
                              KXFIX::from_raw(12 * kOne + 12345), KXFIX::from_raw(-7 * kOne)};
    const _KXMATRIX scaled = {KXFIX::from_raw(2 * kOne), KXFIX{0}, KXFIX{0},
                              KXFIX::from_raw(kOne / 2), KXFIX{0}, KXFIX{0}};
    struct Case {
        int32_t w, h;
        bool banded;
    };
    // 5000 x 8 is exactly 40000 pixels: not banded.
    const Case sizes[] = {{100, 400, false}, {101, 400, true}, {6000, 7, false},
                          {5000, 8, false},  {5001, 8, true},  {1000, 103, true}};
    const _KXPOINT origin = {-40, 3};
    for (const char* coords : {"[-30 10 700 90]", "[-30 10 700 10]"}) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(
            holder, axial(std::string("/Coords ") + coords + " /Extend [true true]"));
        ASSERT_NE(s, nullptr);
        index_ramp(*s);
        for (const _KXMATRIX& m : {turned, scaled}) {
            for (const Case& c : sizes) {
                SCOPED_TRACE(::testing::Message() << coords << " " << c.w << "x" << c.h);
                CKXBmp8 mask(c.w, c.h);
                for (int32_t i = 0; i < c.w * c.h; ++i)
                    mask.m_data[i] = i % 3 == 0 ? 0 : static_cast<uint8_t>(255 - i % 7);
                CKXBmp32 dst(c.w, c.h), ref(c.w, c.h);
                ASSERT_EQ(s->render_to_bmp(m, origin, mask, dst), 1);
                _KXMATRIX inv = m;
                inv.do_invert();
                PDF_RENDER_BAND band = {s,
                                        mask.m_data,
                                        c.w,
                                        ref.m_data,
                                        4 * c.w,
                                        c.w,
                                        c.h,
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
                const int32_t exact_rows = c.banded ? c.h >> 2 : c.h;
                for (int32_t i = 0; i < c.w * c.h; ++i) {
                    const uint8_t* a = dst.m_data + 4 * i;
                    const uint8_t* b = ref.m_data + 4 * i;
                    if (std::memcmp(a, b, 4) == 0) continue;
                    ASSERT_GE(i / c.w, exact_rows) << "pixel " << i;
                    ASSERT_TRUE(a[0] == b[0] && a[1] == b[1] && a[3] == b[3]) << "pixel " << i;
                    ASSERT_LE(std::abs(a[2] - b[2]), 1) << "pixel " << i;
                }
            }
        }
    }
}

}  // namespace
}  // namespace shadepaint
