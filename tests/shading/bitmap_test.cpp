#include "shading/bitmap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "engine/kxalloc.h"

namespace shadepaint {
namespace {

enum class Kind { k8, k32, kGray };

struct SizeCase {
    Kind kind;
    int32_t width, height, stride;
    bool ok;  // false: the empty 0 x 0 bitmap without data
    int32_t want_stride;
    const char* why;
};

template <class Bmp>
void check_size(const SizeCase& c) {
    Bmp bmp(c.width, c.height, c.stride);
    if (!c.ok) {
        EXPECT_EQ(bmp.m_data, nullptr);
        EXPECT_EQ(bmp.m_width, 0);
        EXPECT_EQ(bmp.m_height, 0);
        EXPECT_EQ(bmp.m_stride, 0);
        return;
    }
    ASSERT_NE(bmp.m_data, nullptr);
    EXPECT_EQ(bmp.m_width, c.width);
    EXPECT_EQ(bmp.m_height, c.height);
    EXPECT_EQ(bmp.m_stride, c.want_stride);
}

TEST(Bitmap, OwningConstructorSizes) {
    // clang-format off
    const SizeCase cases[] = {
        {Kind::k8,    7, 3, 0,  true, 7,  "stride 0 means tight rows of one byte"},
        {Kind::k32,   7, 3, 0,  true, 28, "tight rows of four bytes"},
        {Kind::kGray, 7, 3, 0,  true, 14, "tight rows of two bytes"},
        {Kind::k32,   7, 3, 32, true, 32, "a wider stride is kept"},
        {Kind::k32,   7, 3, 28, true, 28, "a stride of exactly the row"},
        {Kind::k32,   7, 3, 27, false, 0, "a stride one byte short of the row"},
        {Kind::kGray, 7, 3, -14, false, 0, "negative stride"},
        {Kind::k8,   -1, 3, 0,  false, 0, "negative width"},
        {Kind::k8,    3, -1, 0, false, 0, "negative height"},
        {Kind::k32, 600000000, 1, 0, false, 0, "row beyond 32 bits"},
        {Kind::k8,  65536, 32769, 0, false, 0, "more than 2 GiB in all"},
        {Kind::k8,    0, 0, 0,  true, 0,  "zero size is a valid, empty picture"},
    };
    // clang-format on
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.why);
        switch (c.kind) {
            case Kind::k8:
                check_size<CKXBmp8>(c);
                break;
            case Kind::k32:
                check_size<CKXBmp32>(c);
                break;
            case Kind::kGray:
                check_size<CKXBmpGray>(c);
                break;
        }
    }
}

TEST(Bitmap, NewPixelsAndPaddingAreZero) {
    // A block just freed with garbage in it is likely to come back: the
    // constructor must clear it, padding included.
    for (int round = 0; round < 2; ++round) {
        CKXBmp32 bmp(9, 5, 40);
        ASSERT_NE(bmp.m_data, nullptr);
        const size_t bytes = size_t{40} * 5;
        for (size_t i = 0; i < bytes; ++i) ASSERT_EQ(bmp.m_data[i], 0) << "byte " << i;
        std::memset(bmp.m_data, 0xab, bytes);
    }
}

TEST(Bitmap, FailedAllocationGivesEmptyBitmap) {
    kx_alloc_fail_after(0);
    CKXBmpGray bmp(16, 16);
    kx_alloc_fail_after(-1);
    EXPECT_EQ(bmp.m_data, nullptr);
    EXPECT_EQ(bmp.m_width, 0);
    EXPECT_EQ(bmp.m_height, 0);
}

TEST(Bitmap, BorrowedMemoryIsNotFreed) {
    // On the stack: a bitmap that freed it would crash, or trip the sanitizer.
    uint8_t pixels[3 * 12] = {};
    {
        CKXBmp32 bmp(pixels, 2, 3, 12);
        EXPECT_EQ(bmp.m_data, pixels);
        EXPECT_EQ(bmp.m_stride, 12);
    }
    CKXBmp8 mask(pixels, 3, 3, 12);
    EXPECT_EQ(mask.m_width, 3);
}

// A 4 x 1 mask with the coverages that matter: none, least, half, full.
struct MaskCase {
    uint8_t coverage;
    uint8_t alpha;
    uint8_t want;
    const char* why;
};
// clang-format off
const MaskCase kMaskCases[] = {
    {0,   255, 0,   "coverage 0 clears alpha"},
    {1,   255, 0,   "coverage 1 truncates to 0"},
    {128, 255, 127, "half coverage"},
    {255, 255, 254, "full coverage still loses one step: no rounding, no special case"},
    {255, 128, 127, "full coverage on half alpha"},
    {200, 0,   0,   "alpha 0 stays 0"},
};
// clang-format on

TEST(Bitmap, ApplyMaskScalesAlphaOnly) {
    for (const MaskCase& c : kMaskCases) {
        SCOPED_TRACE(c.why);
        uint8_t m = c.coverage;
        CKXBmp8 mask(&m, 1, 1, 1);

        uint8_t px[4] = {10, 20, 30, c.alpha};
        CKXBmp32 bmp(px, 1, 1, 4);
        bmp.apply_mask(mask, 0, 0);
        EXPECT_EQ(px[0], 10);
        EXPECT_EQ(px[1], 20);
        EXPECT_EQ(px[2], 30);
        EXPECT_EQ(px[3], c.want);

        uint8_t gp[2] = {77, c.alpha};
        CKXBmpGray gray(gp, 1, 1, 2);
        gray.apply_mask(mask, 0, 0);
        EXPECT_EQ(gp[0], 77);
        EXPECT_EQ(gp[1], c.want);
    }
}

TEST(Bitmap, ApplyMask2ClearsGrayOnlyOutsideTheMask) {
    uint8_t m[3] = {0, 1, 255};
    CKXBmp8 mask(m, 3, 1, 3);
    uint8_t gp[6] = {90, 255, 91, 255, 92, 255};
    CKXBmpGray gray(gp, 3, 1, 6);
    gray.apply_mask2(mask, 0, 0);
    const uint8_t want[6] = {0, 0, 91, 0, 92, 254};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(gp[i], want[i]) << "byte " << i;
}

TEST(Bitmap, ApplyMaskOfAMaskOnItself) {
    // The gray mesh path squares the coverage this way.
    uint8_t m[5] = {255, 128, 16, 15, 0};
    CKXBmp8 mask(m, 5, 1, 5);
    mask.apply_mask(mask, 0, 0);
    const uint8_t want[5] = {254, 64, 1, 0, 0};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(m[i], want[i]) << "pixel " << i;
}

TEST(Bitmap, ApplyMaskOffsetsAndOutsideTheMask) {
    // Picture 3 x 2 with padding; mask 3 x 3 whose pixel (x, y) has coverage
    // 10 * (y * 3 + x) + 100. With offset (x, y) picture pixel (i, j) reads mask
    // pixel (i + x, j + y); beyond the mask the coverage is 0.
    struct Case {
        int32_t dx, dy;
        const char* why;
    };
    const Case cases[] = {{0, 0, "no offset"},
                          {1, 1, "inside, shifted"},
                          {2, 0, "right columns fall outside"},
                          {-1, -1, "negative offsets read before the mask"},
                          {100000, 0, "far outside"},
                          {INT32_MAX, INT32_MIN, "offsets at the 32-bit limits"}};
    uint8_t mbytes[3 * 4];
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            mbytes[y * 4 + x] = static_cast<uint8_t>(10 * (y * 3 + x) + 100);
    CKXBmp8 mask(mbytes, 3, 3, 4);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        std::vector<uint8_t> px(2 * 16, 0xee);  // stride 16: 12 bytes of pixels, 4 of padding
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 3; ++i) px[j * 16 + i * 4 + 3] = 255;
        CKXBmp32 bmp(px.data(), 3, 2, 16);
        bmp.apply_mask(mask, c.dx, c.dy);
        for (int j = 0; j < 2; ++j) {
            for (int i = 0; i < 3; ++i) {
                int64_t mx = int64_t{i} + c.dx, my = int64_t{j} + c.dy;
                int cov = (mx >= 0 && mx < 3 && my >= 0 && my < 3) ? mbytes[my * 4 + mx] : 0;
                EXPECT_EQ(px[j * 16 + i * 4 + 3], (cov * 255) >> 8) << i << "," << j;
                EXPECT_EQ(px[j * 16 + i * 4], 0xee);
            }
            for (int k = 12; k < 16; ++k) EXPECT_EQ(px[j * 16 + k], 0xee) << "padding";
        }
    }
}

TEST(Bitmap, ApplyMaskWithEmptyMaskOrPicture) {
    CKXBmp8 no_mask(nullptr, 0, 0, 0);
    uint8_t px[4] = {1, 2, 3, 255};
    CKXBmp32 bmp(px, 1, 1, 4);
    bmp.apply_mask(no_mask, 0, 0);
    EXPECT_EQ(px[3], 0);

    uint8_t m = 255;
    CKXBmp8 mask(&m, 1, 1, 1);
    CKXBmp32 empty(nullptr, 5, 5, 20);  // no memory at all: must not be touched
    empty.apply_mask(mask, 0, 0);
}

}  // namespace
}  // namespace shadepaint
