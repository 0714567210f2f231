// Shared by the shading tests: shadings loaded from PDF object text, bitmaps
// over test-owned memory, and one-band renders.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/xref_table.h"
#include "shading/bitmap.h"
#include "shading/render_band.h"
#include "shading/shading.h"

namespace shadepaint::testing {

inline constexpr int64_t kOne = kKxOne;
inline KXFIX fix(double v) { return KXFIX::from_raw(static_cast<int64_t>(v * kOne)); }

inline const _KXMATRIX kIdentity = _KXMATRIX::identity();
inline constexpr _KXPOINT kOrigin = {0, 0};

// Deleted through the virtual destructor, as the engine deletes shadings.
using ShadingPtr = std::unique_ptr<CPDFShading>;

// A matrix with rotation and skew, whose inverse has no short binary
// fractions: running coordinates drift from exact ones.
// clang-format off
inline const _KXMATRIX kSkewed = {KXFIX{55009271}, KXFIX{38474460}, KXFIX{-38474460},
                                  KXFIX{55009271}, KXFIX{12 * kOne + 12345}, KXFIX{-7 * kOne}};
// clang-format on

// Whether position t shows the background of an axial or radial shading, by
// the rules as they are stated: t compared with the raw Domain ends
// (unmapped), both tests when the ends are equal, the Extend flags tied to t0
// and t1 rather than to the ends of the axis.
template <class Shading>
bool shows_background(const Shading& s, int64_t t) {
    const int64_t t0 = s.m_t0.m_raw, t1 = s.m_t1.m_raw;
    const bool start = s.m_extend_start, end = s.m_extend_end;
    return (t0 <= t1 && ((t < t0 && !start) || (t > t1 && !end))) ||
           (t0 >= t1 && ((t > t0 && !start) || (t < t1 && !end)));
}

// A document of indirect objects given as text.
struct Doc {
    CPDFXRefTable xref;

    void add(int32_t num, const std::string& text) {
        ASSERT_TRUE(xref.set_object(num, text.data(), text.size())) << text;
    }
    // The factory's result for an object given as text, loaded, or null. The
    // text's value is freed first, so the shading must have made its own copy.
    template <class T>
    T* load(ShadingPtr& holder, const std::string& text) {
        {
            ScopedObj o;
            EXPECT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj)) << text;
            holder.reset(CPDFShading::parser_shading(&xref, &o.obj));
        }
        T* s = dynamic_cast<T*>(holder.get());
        if (s) s->load();
        return s;
    }
};

// Pixels in a vector, so that tests see the bytes around and between rows.
template <class Bmp>
struct Canvas {
    std::vector<uint8_t> bytes;
    Bmp bmp;
    Canvas(int32_t width, int32_t height, int32_t stride, uint8_t fill)
        : bytes(static_cast<size_t>(stride * height) + 1, fill),
          bmp(bytes.data(), width, height, stride) {}
    uint8_t* px(int32_t x, int32_t y, int32_t bytes_per_pixel) {
        return bytes.data() + y * bmp.m_stride + x * bytes_per_pixel;
    }
};

// The whole mask as one band, started from the exact transform of its first
// pixel as an unbanded render is.
inline PDF_RENDER_BAND whole_band(const CPDFShading* s, const _KXMATRIX& matrix,
                                  const _KXPOINT& origin, const CKXBmp8& mask, uint8_t* dst,
                                  int32_t dst_stride) {
    _KXMATRIX inv = matrix;
    inv.do_invert();
    // clang-format off
    PDF_RENDER_BAND b = {s, mask.m_data, mask.m_stride, dst, dst_stride, mask.m_width,
                         mask.m_height, fix(1), KXFIX{0}, KXFIX{0}, fix(1),
                         KXFIX::from_int(origin.x), KXFIX::from_int(origin.y)};
    // clang-format on
    inv.transform_delta(b.m_col_dx, b.m_col_dy);
    inv.transform_delta(b.m_row_dx, b.m_row_dy);
    inv.transform_point(b.m_start_x, b.m_start_y);
    return b;
}

}  // namespace shadepaint::testing
