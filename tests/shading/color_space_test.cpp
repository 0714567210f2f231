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

// One colour at a time: component 0 lands in byte 2; rgb keeps each word's
// low byte while gray weighs whole words (306, 601, 117 of 1024) and wraps in
// the byte store. CMYK keeps the three-word layout C-K, M-K, K that callers
// rely on, component 3 untouched.
TEST(DeviceRgbColorSpace, SingleColours) {
    CPDFCSDeviceRGB cs;
    struct Case {
        uint32_t c0, c1, c2;
        uint32_t rgba;  // as the little-endian word 0xAARRGGBB
        uint8_t gray;
        uint32_t cmyk[3];
    };
    // clang-format off
    const Case cases[] = {
        {255, 0, 0, 0xffff0000, 76, {0, 255, 0}},  // Y - K never shows
        {255, 255, 255, 0xffffffff, 255, {0, 0, 0}},
        {100, 150, 200, 0xff6496c8, 140, {100, 50, 55}},
        {0x1ff, 0, 0, 0xffff0000, 152, {0, 255, 0}},
        {256, 256, 256, 0xff000000, 0, {0, 0, 255}},  // gray 256 wraps to 0
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.c0 << " " << c.c1 << " " << c.c2);
        _KXRGBA p;
        uint8_t g = 0;
        PDF_COLOR cmyk = color_of(7, 7, 7, 0x1234);
        cs.get_rgb(color_of(c.c0, c.c1, c.c2), p);
        cs.get_gray(color_of(c.c0, c.c1, c.c2), g);
        cs.get_cmyk(color_of(c.c0, c.c1, c.c2), cmyk);
        EXPECT_EQ(word_of(p), c.rgba);
        EXPECT_EQ(g, c.gray);
        const uint32_t want_cmyk[4] = {c.cmyk[0], c.cmyk[1], c.cmyk[2], 0x1234};
        EXPECT_EQ(std::memcmp(cmyk.m_comps, want_cmyk, sizeof want_cmyk), 0);
    }
}

// len counts source bytes; a partial last step still makes a whole pixel.
TEST(DeviceRgbColorSpace, BatchLoopShape) {
    CPDFCSDeviceRGB cs;
    uint8_t src[48];
    for (int i = 0; i < 48; ++i) src[i] = static_cast<uint8_t>(10 + i);
    struct Case {
        int step;  // bytes a pixel: 3 rgb, 6 rgb2, 12 rgb4
        int32_t len;
        int pixels;
    };
    const Case cases[] = {{3, 4, 2}, {3, 6, 2}, {3, 0, 0}, {3, -5, 0}, {6, 7, 2}, {12, 13, 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "step " << c.step << " len " << c.len);
        _KXRGBA dst[5];
        std::memset(dst, 0x5a, sizeof dst);
        if (c.step == 3) cs.batch_rgb(dst, src, c.len);
        if (c.step == 6) cs.batch_rgb2(dst, src, c.len);
        if (c.step == 12) cs.batch_rgb4(dst, src, c.len);
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
