#include "shading/color_space.h"

#include <gtest/gtest.h>

#include <cstring>

namespace shadepaint {
namespace {

PDF_COLOR color_of(uint32_t c0, uint32_t c1, uint32_t c2, uint32_t c3 = 0) {
    PDF_COLOR c;
    for (uint32_t& v : c.m_comps) v = 0xdeadbeef;
    c.m_comps[0] = c0;
    c.m_comps[1] = c1;
    c.m_comps[2] = c2;
    c.m_comps[3] = c3;
    return c;
}

uint32_t word_of(const _KXRGBA& p) {
    uint32_t w;
    std::memcpy(&w, &p, 4);
    return w;
}

TEST(DeviceRgbColorSpace, SingleColours) {
    CPDFCSDeviceRGB cs;
    struct Case {
        uint32_t c0, c1, c2;
        uint32_t rgba;  // as the little-endian word 0xAARRGGBB
        uint8_t gray;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {255, 0, 0, 0xffff0000, 76, "component 0 lands in byte 2"},
        {255, 255, 255, 0xffffffff, 255, "weights add up to 1024"},
        {0, 0, 255, 0xff0000ff, 29, "blue weight 117"},
        {0x1ff, 0, 0, 0xffff0000, 152, "rgb keeps the low byte, gray weighs the whole word"},
        {256, 256, 256, 0xff000000, 256 & 255, "gray of 256s wraps in the byte store"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        _KXRGBA p;
        uint8_t g = 0;
        cs.get_rgb(color_of(c.c0, c.c1, c.c2), p);
        cs.get_gray(color_of(c.c0, c.c1, c.c2), g);
        EXPECT_EQ(word_of(p), c.rgba);
        EXPECT_EQ(g, c.gray);
    }
}

// The layout C-K, M-K, K with component 3 untouched is relied on by callers.
TEST(DeviceRgbColorSpace, CmykKeepsItsThreeWordLayout) {
    CPDFCSDeviceRGB cs;
    struct Case {
        uint32_t c0, c1, c2;
        uint32_t out[3];
    };
    const Case cases[] = {
        {255, 255, 255, {0, 0, 0}},
        {0, 0, 0, {0, 0, 255}},
        {255, 0, 0, {0, 255, 0}},  // C 0, M 255, Y 255, K 0: Y - K never shows
        {100, 150, 200, {100, 50, 55}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.c0 << " " << c.c1 << " " << c.c2);
        PDF_COLOR out = color_of(7, 7, 7, 0x1234);
        cs.get_cmyk(color_of(c.c0, c.c1, c.c2), out);
        EXPECT_EQ(out.m_comps[0], c.out[0]);
        EXPECT_EQ(out.m_comps[1], c.out[1]);
        EXPECT_EQ(out.m_comps[2], c.out[2]);
        EXPECT_EQ(out.m_comps[3], 0x1234u);
    }
}

// len counts source bytes; a partial last step still makes a whole pixel.
TEST(DeviceRgbColorSpace, BatchLoopShape) {
    CPDFCSDeviceRGB cs;
    uint8_t src[48];
    for (int i = 0; i < 48; ++i) src[i] = static_cast<uint8_t>(10 + i);
    struct Case {
        int kind;  // 0 rgb, 1 rgb2, 2 rgb4
        int32_t len;
        int pixels;
        int step;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {0, 4, 2, 3, "second pixel from bytes 3, 4, 5"},
        {0, 6, 2, 3, "exact multiple"},
        {0, 1, 1, 3, "one byte still makes a pixel"},
        {0, 0, 0, 3, "zero length writes nothing"},
        {0, -5, 0, 3, "negative length writes nothing"},
        {1, 7, 2, 6, "two-byte samples use the first three bytes of six"},
        {2, 13, 2, 12, "four-byte samples use the first three bytes of twelve"},
        {2, 36, 3, 12, "exact multiple of twelve"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        _KXRGBA dst[5];
        std::memset(dst, 0x5a, sizeof dst);
        if (c.kind == 0) cs.batch_rgb(dst, src, c.len);
        if (c.kind == 1) cs.batch_rgb2(dst, src, c.len);
        if (c.kind == 2) cs.batch_rgb4(dst, src, c.len);
        for (int p = 0; p < 5; ++p) {
            const uint8_t* s = src + p * c.step;
            const uint32_t want =
                p < c.pixels ? 0xff000000u | s[0] << 16 | s[1] << 8 | s[2] : 0x5a5a5a5au;
            EXPECT_EQ(word_of(dst[p]), want) << "pixel " << p;
        }
    }
}

}  // namespace
}  // namespace shadepaint
