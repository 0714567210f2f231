#include "shading/bitmap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "test_objects.h"

namespace shadepaint {
namespace {

// Sizes the owning constructor refuses (a stride short of the row, a
// negative size, a row beyond 32 bits, more than 2 GiB) and a failed
// allocation leave the empty 0 x 0 bitmap without data.
TEST(Bitmap, OwningConstructorRefusals) {
    // clang-format off
    const int32_t cases[][4] = {  // width, height, stride, no memory
        {7, 3, 27, 0}, {-1, 3, 0, 0}, {600000000, 1, 0, 0}, {16384, 32769, 0, 0}, {16, 16, 0, 1}};
    // clang-format on
    for (const auto& c : cases) {
        const test::AllocFailGuard fail(c[3] ? 0 : -1);
        CKXBmp32 b(c[0], c[1], c[2]);
        EXPECT_TRUE(!b.m_data && !b.m_width && !b.m_height && !b.m_stride) << c[0] << " x " << c[1];
    }
}

// Picture pixel (i, j) takes the coverage of mask pixel (i + dx, j + dy), 0
// beyond the mask, and its alpha becomes (coverage * alpha) >> 8: full
// coverage of an opaque pixel gives 254. Colour bytes and the bytes past a
// row stay.
TEST(Bitmap, ApplyMaskScalesAlphaOnlyAtTheOffset) {
    const int32_t offsets[][2] = {{0, 0}, {1, 1}, {2, 0}, {-1, -1}, {INT32_MAX, INT32_MIN}};
    // 3 x 3, stride 4; the padding would read as coverage.
    uint8_t mbytes[12] = {0, 1, 128, 99, 255, 64, 200, 99, 30, 40, 50, 99};
    CKXBmp8 mask(mbytes, 3, 3, 4);
    for (const auto& o : offsets) {
        SCOPED_TRACE(::testing::Message() << o[0] << ", " << o[1]);
        std::vector<uint8_t> px(2 * 16, 0xee);
        for (int k = 0; k < 6; ++k) px[(k / 3) * 16 + (k % 3) * 4 + 3] = 255;
        CKXBmp32(px.data(), 3, 2, 16).apply_mask(mask, o[0], o[1]);
        for (int k = 0; k < 32; ++k) {
            const int64_t mx = k % 16 / 4 + int64_t{o[0]}, my = k / 16 + int64_t{o[1]};
            const bool in = mx >= 0 && mx < 3 && my >= 0 && my < 3;
            const int alpha = ((in ? mbytes[my * 4 + mx] : 0) * 255) >> 8;
            EXPECT_EQ(px[k], k % 4 == 3 && k % 16 < 12 ? alpha : 0xee) << "byte " << k;
        }
    }
    // Gray scales its alpha byte alike; apply_mask2 also clears the gray
    // where the coverage is 0. A mask without data covers nothing, and a
    // picture without data is left alone.
    uint8_t gp[8] = {77, 255, 77, 255, 77, 255, 77, 255},
            gp2[8] = {77, 255, 77, 255, 77, 255, 77, 255};
    CKXBmpGray(gp, 4, 1, 8).apply_mask(mask, 0, 0);
    CKXBmpGray(gp2, 4, 1, 8).apply_mask2(mask, 0, 0);
    const uint8_t want[8] = {77, 0, 77, 0, 77, 127, 77, 0}, want2[8] = {0, 0, 77, 0, 77, 127, 0, 0};
    EXPECT_TRUE(!std::memcmp(gp, want, 8) && !std::memcmp(gp2, want2, 8));
    uint8_t one[4] = {1, 2, 3, 255};
    CKXBmp32(one, 1, 1, 4).apply_mask(CKXBmp8(nullptr, 0, 0, 0), 0, 0);
    EXPECT_EQ(one[3], 0);
    CKXBmp32(nullptr, 5, 5, 20).apply_mask(mask, 0, 0);
}

}  // namespace
}  // namespace shadepaint
