// Bitmap storage and the final mask pass.
//
// apply_mask limits a finished picture by the mask: each pixel's alpha becomes
// (coverage * alpha) >> 8, the same product the per-pixel shadings use, so a
// mesh or fan painted at alpha 255 ends at 254 under full coverage like every
// other shading, and pixels of coverage 0 end fully transparent. Mask pixels
// outside the mask's bounds (after the x, y offset) count as coverage 0.
#include "shading/bitmap.h"

#include <cstring>

#include "engine/kxalloc.h"

namespace shadepaint {

namespace {
constexpr int64_t kMaxBitmapBytes = int64_t{1} << 31;

// Row y of the mask, or null outside it.
inline const uint8_t* mask_row(const CKXBmp8& mask, int64_t y) {
    if (!mask.m_data || y < 0 || y >= mask.m_height) return nullptr;
    return mask.m_data + static_cast<int64_t>(y) * mask.m_stride;
}

inline uint8_t coverage(const uint8_t* row, const CKXBmp8& mask, int64_t x) {
    if (!row || x < 0 || x >= mask.m_width) return 0;
    return row[x];
}

// Calls fn(pixel_pointer, coverage) for every pixel of the picture.
template <int kBytes, class Fn>
void for_each_masked(CKXBmp& bmp, const CKXBmp8& mask, int32_t x, int32_t y, Fn fn) {
    if (!bmp.m_data) return;
    for (int32_t j = 0; j < bmp.m_height; ++j) {
        uint8_t* p = bmp.m_data + static_cast<int64_t>(j) * bmp.m_stride;
        const uint8_t* m = mask_row(mask, int64_t{y} + j);
        for (int32_t i = 0; i < bmp.m_width; ++i, p += kBytes) fn(p, coverage(m, mask, int64_t{x} + i));
    }
}
}  // namespace

CKXBmp::CKXBmp(int32_t width, int32_t height, int32_t stride, int32_t pixel_bytes) {
    if (width < 0 || height < 0) return;
    int64_t row = int64_t{width} * pixel_bytes;
    if (stride == 0) stride = static_cast<int32_t>(row > INT32_MAX ? 0 : row);
    if (stride < row || row > INT32_MAX) return;
    int64_t total = int64_t{stride} * height;
    if (total > kMaxBitmapBytes) return;
    auto* p = static_cast<uint8_t*>(KXAlloc(static_cast<size_t>(total)));
    if (!p) return;
    std::memset(p, 0, static_cast<size_t>(total));
    m_data = p;
    m_width = width;
    m_height = height;
    m_stride = stride;
    m_owned = true;
}

CKXBmp::CKXBmp(uint8_t* data, int32_t width, int32_t height, int32_t stride)
    : m_data(data), m_width(width), m_height(height), m_stride(stride) {}

CKXBmp::~CKXBmp() {
    if (m_owned) KXFree(m_data);
}

void CKXBmp8::apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) {
    // Receiver and argument may be one bitmap: the product with itself is what
    // the gray mesh path asks for.
    for_each_masked<1>(*this, mask, x, y,
                       [](uint8_t* p, uint8_t m) { *p = static_cast<uint8_t>((m * *p) >> 8); });
}

void CKXBmp32::apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) {
    for_each_masked<4>(*this, mask, x, y,
                       [](uint8_t* p, uint8_t m) { p[3] = static_cast<uint8_t>((m * p[3]) >> 8); });
}

void CKXBmpGray::apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) {
    for_each_masked<2>(*this, mask, x, y,
                       [](uint8_t* p, uint8_t m) { p[1] = static_cast<uint8_t>((m * p[1]) >> 8); });
}

void CKXBmpGray::apply_mask2(const CKXBmp8& mask, int32_t x, int32_t y) {
    // Also clears the gray of uncovered pixels, so that a picture that was
    // pre-filled (the radial background) leaves nothing outside the mask.
    for_each_masked<2>(*this, mask, x, y, [](uint8_t* p, uint8_t m) {
        p[1] = static_cast<uint8_t>((m * p[1]) >> 8);
        if (m == 0) p[0] = 0;
    });
}

}  // namespace shadepaint
