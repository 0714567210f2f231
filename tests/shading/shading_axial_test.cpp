// The axial shading: what load makes of the keys, and the pixel rules through
// the render entry points.
#include "shading/shading_axial.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "shading_test_util.h"

namespace shadepaint {
namespace {

using namespace testing;

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
    // clang-format off
    struct Case { const char* coords; int32_t shift; int64_t scale; int32_t x, y; int64_t t; };
    const Case cases[] = {
        {"[0 0 100 0]", 0, 671088, 50, 123, 33554400},  // 2^52 / raw(100.0); y unused
        {"[100 0 0 0]", 0, -671088, 50, 0, 33554400},
        {"[0 0 100 100]", 0, 3355, 50, 50, 33550000},  // 1 / 20000, truncated
        {"[0 0 255.5 1]", 0, 1027, 0, 0, 0},
        {"[0 0 256 1]", 8, 67107840, 0, 0, 0},
        {"[0 0 1000 1000]", 8, 2199023, 1000, 1000, 67108856},
        {"[0 0 1 -70000]", 16, 58822525, 0, 0, 0},
        {"[0 0 20000000 1]", 24, 47223665, 0, 0, 0},
        {"[0 0 100000 0]", 0, 671, 0, 0, 0},
        {"[3 4 3 4]", 0, 0, 77, 5, 0}};  // zero length: nothing to divide
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.coords << " at " << c.x << ", " << c.y);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(std::string("/Coords ") + c.coords));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_shift, c.shift);
        EXPECT_EQ(s->m_scale.m_raw, c.scale);
        const KXFIX x = KXFIX::from_int(c.x), y = KXFIX::from_int(c.y);
        EXPECT_EQ((s->m_shift ? s->get_pos_mul(x, y) : s->get_pos(x, y)).m_raw, c.t);
    }
}

// Malformed Domain and Extend read missing or non-number items as 0 and
// false; a reversed Domain builds the ramp backwards, and without a colour
// space the ramp stays transparent.
TEST(AxialLoad, DomainExtendAndRamp) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    doc.add(2, "true");
    const std::pair<std::string, std::vector<int64_t>> cases[] = {
        // t0, t1, the Extend flags, the first and last ramp words (0xAARRGGBB)
        {axial("/Domain [2 0 R 3]"), {0, 3 * kOne, 0, 0, 0xff000000, 0xff000000}},
        {axial("/Domain [5] /Extend [false 2 0 R]"), {5 * kOne, 0, 0, 1, 0xff000000, 0xff000000}},
        {axial("/Domain /Bad /Extend [1 1]"), {0, 0, 0, 0, 0xff000000, 0xff000000}},
        {axial("/Function [1 0 R] /Domain [1 0]"), {kOne, 0, 0, 0, 0xff0000ff, 0xffff0000}},
        {"<< /ShadingType 2 /Function 1 0 R >>", {0, kOne, 0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, c.first);
        ASSERT_NE(s, nullptr);
        uint32_t first, last;
        std::memcpy(&first, &s->m_ramp[0], 4);
        std::memcpy(&last, &s->m_ramp[255], 4);
        EXPECT_EQ(std::vector<int64_t>({s->m_t0.m_raw, s->m_t1.m_raw, s->m_extend_start,
                                        s->m_extend_end, first, last}),
                  c.second)
            << c.first;
    }
}

// Every loop the render may choose (one colour a row, rows that repeat, a
// slanted axis without rotation, the general loop), in colour and in gray,
// with kinds of Domain and Extend, against the pixel rule at the running
// coordinates: pixel (i, j) lies at the start plus j row steps plus i column
// steps, and shows the ramp entry of its position unmapped ([0.25 0.75]
// paints entries 64 to 191) or, outside Domain and Extend, the background
// word (zero without Background). The mask mixes fully covered groups,
// partial coverage and holes, which stay untouched; the width crosses a run
// of columns; rows follow each bitmap's stride, and the bytes past a row stay.
TEST(AxialRender, EveryLoopFollowsThePixelRule) {
    Doc doc;
    const _KXMATRIX matrices[] = {
        kIdentity,
        {fix(2), KXFIX{0}, KXFIX{0}, fix(0.5), fix(-3), fix(1.0 / 3)},
        {fix(1), fix(1.0 / 7), fix(1.0 / 5), fix(1), KXFIX{0}, KXFIX{0}},
    };
    // clang-format off
    const char* const settings[] = {
        "/Domain [0.25 0.75] /Extend [true false] /Background [0 0 1]",
        "/Domain [0.7 0.2] /Extend [true false] /Background [0 0 1]",
        "/Domain [0.5 0.5] /Extend [false true] /Background [0 0 1]",
        "/Domain [0 2] /Extend [false true]", "/Domain [0.7 0.2] /Extend [false true]",
        "/Domain [0.5 0.5] /Extend [true true]"};
    // clang-format on
    const int32_t w = 530, h = 9;
    Canvas<CKXBmp8> mask(w, h, w + 3, 0xee);  // gaps that would read as coverage
    for (int32_t j = 0; j < h; ++j)
        for (int32_t i = 0; i < w; ++i)
            *mask.px(i, j, 1) = (i / 8 + j) % 7 == 3 && i % 3 == 0 ? 0
                                : (i / 8 + j) % 5 == 1 ? static_cast<uint8_t>(i * 37 + j)
                                                       : 255;
    const _KXPOINT origin = {-12, 2};
    for (const char* coords : {"[256 4 0 4]", "[3 -2 3 9]", "[0 0 100 5]", "[0 0 400 9]"}) {
        for (const char* setting : settings) {
            ShadingPtr holder;
            auto* s = doc.load<CPDFShadingAxial>(
                holder, axial(std::string("/Coords ") + coords + " " + setting));
            ASSERT_NE(s, nullptr);
            index_ramp(*s);
            for (const _KXMATRIX& m : matrices) {
                SCOPED_TRACE(::testing::Message()
                             << coords << " " << setting << " matrix " << &m - matrices);
                Canvas<CKXBmp32> colour(w, h, 4 * w + 8, 0x77);
                Canvas<CKXBmpGray> gray(w, h, 2 * w + 4, 0x77);
                ASSERT_EQ(s->render_to_bmp(m, origin, mask.bmp, colour.bmp), 1);
                ASSERT_EQ(s->render_to_bmpg(m, origin, mask.bmp, gray.bmp), 1);
                const PDF_RENDER_BAND b = whole_band(s, m, origin, mask.bmp, nullptr, 0);
                for (int32_t j = 0; j < h; ++j) {
                    ASSERT_EQ(colour.px(w, j, 4)[7] & gray.px(w, j, 2)[3], 0x77) << "row " << j;
                    for (int32_t i = 0; i < w; ++i) {
                        const uint32_t cov = *mask.px(i, j, 1);
                        const KXFIX x = b.m_start_x + b.m_row_dx.mul_int(j) + b.m_col_dx.mul_int(i);
                        const KXFIX y = b.m_start_y + b.m_row_dy.mul_int(j) + b.m_col_dy.mul_int(i);
                        const KXFIX t = s->m_shift ? s->get_pos_mul(x, y) : s->get_pos(x, y);
                        const _KXRGBA e =
                            shows_background(*s, t.m_raw) ? s->m_bg_rgba : s->m_ramp[t.to_byte()];
                        const auto alpha = static_cast<uint8_t>((cov * e.a) >> 8);
                        const auto g =
                            static_cast<uint8_t>((e.r * 306 + e.g * 601 + e.b * 117) >> 10);
                        const uint8_t want[4] = {e.b, e.g, e.r, alpha}, want_gray[2] = {g, alpha};
                        const uint8_t untouched[4] = {0x77, 0x77, 0x77, 0x77};
                        ASSERT_TRUE(!std::memcmp(colour.px(i, j, 4), cov ? want : untouched, 4) &&
                                    !std::memcmp(gray.px(i, j, 2), cov ? want_gray : untouched, 2))
                            << i << "," << j;
                    }
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
    const _KXPOINT origin = {-40, 3};
    ShadingPtr holder;
    auto* s =
        doc.load<CPDFShadingAxial>(holder, axial("/Coords [-30 10 700 90] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    index_ramp(*s);
    const int32_t sizes[][2] = {{5000, 8}, {101, 400}, {1000, 103}};  // the first unbanded
    for (const auto& [w, h] : sizes) {
        SCOPED_TRACE(::testing::Message() << w << "x" << h);
        CKXBmp8 mask(w, h);
        for (int32_t i = 0; i < w * h; ++i)
            mask.m_data[i] = i % 3 == 0 ? 0 : static_cast<uint8_t>(255 - i % 7);
        CKXBmp32 dst(w, h), ref(w, h);
        ASSERT_EQ(s->render_to_bmp(kSkewed, origin, mask, dst), 1);
        PDF_RENDER_BAND band = whole_band(s, kSkewed, origin, mask, ref.m_data, 4 * w);
        CPDFShadingAxial::CallbackRender(&band);
        const int32_t exact_rows = w * h > 40000 ? h >> 2 : h;
        for (int32_t i = 0; i < w * h; ++i) {
            const uint8_t *a = dst.m_data + 4 * i, *b = ref.m_data + 4 * i;
            if (std::memcmp(a, b, 4) == 0) continue;
            ASSERT_TRUE(i / w >= exact_rows && a[0] == b[0] && a[1] == b[1] && a[3] == b[3] &&
                        std::abs(a[2] - b[2]) <= 1)
                << "pixel " << i;
        }
    }
}

}  // namespace
}  // namespace shadepaint
