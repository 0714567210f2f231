#include "shading/bitmap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "engine/kxalloc.h"

namespace shadepaint {
namespace {

struct SizeCase {
    int kind;                                    // bytes per pixel: 1, 2 or 4
    int32_t width, height, stride, want_stride;  // want_stride -1: refused
    const char* why;
};

template <class Bmp>
void check_size(const SizeCase& c) {
    Bmp b(c.width, c.height, c.stride);
    if (c.want_stride < 0) {
        EXPECT_EQ(b.m_data, nullptr);
        EXPECT_EQ(b.m_width | b.m_height | b.m_stride, 0);
        return;
    }
    ASSERT_NE(b.m_data, nullptr);
    EXPECT_EQ(b.m_stride, c.want_stride);
    const size_t bytes = static_cast<size_t>(b.m_stride) * static_cast<size_t>(c.height);
    for (size_t i = 0; i < bytes; ++i) ASSERT_EQ(b.m_data[i], 0) << "byte " << i;
    std::memset(b.m_data, 0xab, bytes);  // likely to come back to the next case
}

// Sizes the owning constructor accepts or refuses (refused: the empty 0 x 0
// bitmap without data). New pixels and padding are zero even when the block
// comes back dirty from the case before.
TEST(Bitmap, OwningConstructorSizes) {
    // clang-format off
    const SizeCase cases[] = {
        {1, 7, 3, 0, 7, "stride 0: tight rows"},     {2, 7, 3, 0, 14, "tight gray rows"},
        {4, 9, 5, 40, 40, "a wider stride is kept"}, {4, 9, 5, 40, 40, "the same block again"},
        {4, 7, 3, 28, 28, "exactly the row"},        {4, 7, 3, 27, -1, "one byte short"},
        {2, 7, 3, -14, -1, "negative stride"},       {1, -1, 3, 0, -1, "negative width"},
        {4, 600000000, 1, 0, -1, "row beyond 32 bits"},
        {1, 65536, 32769, 0, -1, "more than 2 GiB"}, {1, 0, 0, 0, 0, "empty but valid"},
    };
    // clang-format on
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.why);
        if (c.kind == 1) check_size<CKXBmp8>(c);
        if (c.kind == 2) check_size<CKXBmpGray>(c);
        if (c.kind == 4) check_size<CKXBmp32>(c);
    }
    kx_alloc_fail_after(0);
    CKXBmpGray failed(16, 16);
    kx_alloc_fail_after(-1);
    EXPECT_EQ(failed.m_data, nullptr);
    EXPECT_EQ(failed.m_width | failed.m_height, 0);
    // Memory on the stack: a bitmap that freed it would trip the sanitizer.
    uint8_t pixels[36] = {};
    CKXBmp32 borrowed(pixels, 2, 3, 12);
    EXPECT_EQ(borrowed.m_data, pixels);
}

// Alpha becomes (coverage * alpha) >> 8, colour bytes stay: full coverage of
// an opaque pixel gives 254.
TEST(Bitmap, ApplyMaskScalesAlphaOnly) {
    // clang-format off
    const uint8_t cases[][3] = {  // coverage, alpha, result
        {0, 255, 0}, {1, 255, 0}, {128, 255, 127}, {255, 255, 254}, {255, 128, 127},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << int{c[0]} << " on " << int{c[1]});
        uint8_t m = c[0];
        CKXBmp8 mask(&m, 1, 1, 1);
        uint8_t px[4] = {10, 20, 30, c[1]}, gp[2] = {77, c[1]};
        CKXBmp32 bmp(px, 1, 1, 4);
        CKXBmpGray gray(gp, 1, 1, 2);
        bmp.apply_mask(mask, 0, 0);
        gray.apply_mask(mask, 0, 0);
        const uint8_t want[4] = {10, 20, 30, c[2]}, want_gray[2] = {77, c[2]};
        EXPECT_EQ(std::memcmp(px, want, 4), 0);
        EXPECT_EQ(std::memcmp(gp, want_gray, 2), 0);
    }
    // apply_mask2 clears the gray byte only where coverage is 0.
    uint8_t m[3] = {0, 1, 255};
    CKXBmp8 mask(m, 3, 1, 3);
    uint8_t gp[6] = {90, 255, 91, 255, 92, 255};
    CKXBmpGray gray(gp, 3, 1, 6);
    gray.apply_mask2(mask, 0, 0);
    const uint8_t want[6] = {0, 0, 91, 0, 92, 254};
    EXPECT_EQ(std::memcmp(gp, want, 6), 0);
    // A mask applied to itself squares its coverage (the gray mesh path).
    uint8_t sq[5] = {255, 128, 16, 15, 0};
    CKXBmp8 self(sq, 5, 1, 5);
    self.apply_mask(self, 0, 0);
    const uint8_t want_sq[5] = {254, 64, 1, 0, 0};
    EXPECT_EQ(std::memcmp(sq, want_sq, 5), 0);
}

// Picture pixel (i, j) reads mask pixel (i + dx, j + dy); beyond the mask
// the coverage is 0. Bytes past the row and colour bytes stay.
TEST(Bitmap, ApplyMaskOffsetsAndOutsideTheMask) {
    const int32_t offsets[][2] = {{0, 0}, {1, 1}, {2, 0}, {-1, -1}, {INT32_MAX, INT32_MIN}};
    uint8_t mbytes[3 * 4];  // 3 x 3, stride 4; the padding would read as coverage
    for (int i = 0; i < 12; ++i) mbytes[i] = static_cast<uint8_t>(100 + 10 * i);
    CKXBmp8 mask(mbytes, 3, 3, 4);
    for (const auto& o : offsets) {
        SCOPED_TRACE(::testing::Message() << o[0] << ", " << o[1]);
        std::vector<uint8_t> px(2 * 16, 0xee);
        for (int k = 0; k < 6; ++k) px[(k / 3) * 16 + (k % 3) * 4 + 3] = 255;
        CKXBmp32 bmp(px.data(), 3, 2, 16);
        bmp.apply_mask(mask, o[0], o[1]);
        for (int j = 0; j < 2; ++j) {
            for (int i = 0; i < 3; ++i) {
                const int64_t mx = int64_t{i} + o[0], my = int64_t{j} + o[1];
                const int cov = (mx >= 0 && mx < 3 && my >= 0 && my < 3) ? mbytes[my * 4 + mx] : 0;
                EXPECT_EQ(px[j * 16 + i * 4 + 3], (cov * 255) >> 8) << i << "," << j;
                EXPECT_EQ(px[j * 16 + i * 4], 0xee);
            }
            for (int k = 12; k < 16; ++k) EXPECT_EQ(px[j * 16 + k], 0xee) << "padding";
        }
    }
    // A mask without data covers nothing; a picture without data is not touched.
    CKXBmp8 no_mask(nullptr, 0, 0, 0);
    uint8_t one[4] = {1, 2, 3, 255};
    CKXBmp32 bmp(one, 1, 1, 4);
    bmp.apply_mask(no_mask, 0, 0);
    EXPECT_EQ(one[3], 0);
    CKXBmp32 empty(nullptr, 5, 5, 20);
    empty.apply_mask(mask, 0, 0);
}

}  // namespace
}  // namespace shadepaint
