// The colour-space factory and the engine's spaces, with inputs written as PDF
// object text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/cs_family.h"
#include "engine/cs_separation.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using CsPtr = std::unique_ptr<CPDFCSBase>;

// The objects the spaces below refer to.
void fill(CPDFXRefTable& xref) {
    // clang-format off
    const std::pair<int32_t, const char*> objects[] = {
        {1, "[/Indexed 1 0 R 0 <00>]"}, {2, "[/Separation /Spot 2 0 R 1]"}, {3, "3 0 R"},
        {4, "/DeviceCMYK"}, {5, "[/Indexed /DeviceRGB 0 <000000>]"},
        // ICC profiles: /N decides, else the Alternate; 8 leads back to itself.
        {6, "<< /N 3 /Alternate /DeviceGray /Length 0 >> stream\nendstream"},
        {7, "<< /Alternate /DeviceCMYK /Length 0 >> stream\nendstream"},
        {8, "<< /N 1 /Alternate 9 0 R /Length 0 >> stream\nendstream"}, {9, "[/ICCBased 8 0 R]"},
        {10, "<< /N 2 /Length 0 >> stream\nendstream"},
        {11, "<< /N /Three /Alternate /DeviceRGB /Length 0 >> stream\nendstream"},
        {12, "<< /Length 6 >> stream\n\xff\x01\x01\x01\xff\x01\nendstream"},
        {13, "<< /Length 2 >> stream\n\x10\x20\nendstream"},
        // Identity tint transforms of one and three components.
        {20, "<</FunctionType 4 /Domain [0 1] /Range [0 1] /Length 3>>stream\n{ }\nendstream"},
        {21, "<</FunctionType 4 /Domain [0 1 0 1 0 1] /Range [0 1 0 1 0 1] /Length 3>>stream\n"
             "{ }\nendstream"},
    };
    // clang-format on
    for (const auto& [num, text] : objects) test::add_object(xref, num, text);
}

CsPtr parse_cs(CPDFXRefTable& xref, const char* text) {
    test::TestObj o(text);
    return CsPtr(CPDFCSBase::parser_cs(o.get(), &xref));
}

// 0xRRGGBB of get_rgb; the alpha byte must be 255.
uint32_t rgb_of(const CPDFCSBase& cs, const PDF_COLOR& c) {
    _KXRGBA p{1, 2, 3, 4};
    cs.get_rgb(c, p);
    EXPECT_EQ(p.a, 255);
    return static_cast<uint32_t>(p.r) << 16 | static_cast<uint32_t>(p.g) << 8 | p.b;
}

TEST(ColorSpaceParse, FamiliesAndRejects) {
    CPDFXRefTable xref;
    fill(xref);
    const std::string nones = "/None /None /None /None /None /None /None /None ";
    const std::string n16 = "[/DeviceN [" + nones + nones + "] /DeviceGray 1]";
    const std::string n17 = "[/DeviceN [/None " + nones + nones + "] /DeviceGray 1]";
    const uint32_t gray = kCsFamilyDeviceGray, rgb = kCsFamilyDeviceRGB, cmyk = kCsFamilyDeviceCMYK;
    // clang-format off
    const struct { const char* text; uint32_t family; int32_t comps; } cases[] = {
        {"/G", gray, 1}, {"/RGB", rgb, 3}, {"/CMYK", cmyk, 4}, {"4 0 R", cmyk, 4},
        {"[/CalRGB << /WhitePoint [0.9505 1 1.089] >>]", rgb, 3}, {"[/ICCBased 6 0 R]", rgb, 3},
        {"[/ICCBased 7 0 R]", cmyk, 4}, {"[/ICCBased 11 0 R]", rgb, 3}, {"9 0 R", gray, 1},
        {"[/I /G 1 <ff00>]", kCsFamilyIndexed, 1}, {"[/Lab << >>]", kCsFamilyLab, 3},
        {"[/Separation /All /DeviceGray 1]", kCsFamilySeparation, 1},
        {n16.c_str(), kCsFamilyDeviceN, 16},
        // Rejected: family 0. References that only ever lead to themselves end.
        {"/Pattern", 0, 0}, {"/CalRGB", 0, 0}, {"/Foo", 0, 0}, {"[]", 0, 0}, {"42", 0, 0},
        {"99 0 R", 0, 0}, {"[/ICCBased 9 0 R]", 0, 0}, {"[/ICCBased 10 0 R]", 0, 0},
        {"[/Lab 5]", 0, 0}, {"[/Indexed /DeviceRGB 1]", 0, 0}, {"1 0 R", 0, 0}, {"2 0 R", 0, 0},
        {"3 0 R", 0, 0}, {"[/Indexed 5 0 R 0 <00>]", 0, 0}, {"[/Indexed /Pattern 0 <00>]", 0, 0},
        {"[/Separation /Spot /DeviceGray 1]", 0, 0}, {"[/DeviceN [] /DeviceGray 1]", 0, 0},
        {n17.c_str(), 0, 0},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        CsPtr cs = parse_cs(xref, c.text);
        ASSERT_EQ(cs != nullptr, c.family != 0);
        if (cs) {
            EXPECT_EQ(cs->m_family, c.family);
            EXPECT_EQ(cs->m_comp_count, c.comps);
        }
    }
    EXPECT_EQ(CPDFCSBase::parser_cs(nullptr, &xref), nullptr);
}

// CMYK subtracts ink and black together and clips; an RGB base gives C-K, M-K,
// K and leaves the fourth component. Indexed clamps the index to hival and
// hival to 255, and a short table reads 0. Separation /All is gray 255 - tint
// and K = tint whatever the transform; /None is the paper; outputs the
// transform leaves out are 0. Lab bytes are L * 2.55, a + 128 and b + 128 on
// a Range of -128..127; each result is within a step of the reference colour
// noted beside it.
TEST(ColorSpaces, Conversions) {
    CPDFXRefTable xref;
    fill(xref);
    const char* d65 = "[/Lab << /WhitePoint [0.95047 1 1.08883] /Range [-128 127 -128 127] >>]";
    const char* d50 = "[/Lab << /WhitePoint [0.9642 1 0.8249] /Range [-128 127 -128 127] >>]";
    const char* bad = "[/Lab << /WhitePoint [0 1 -1] /Range [-128 127 -128 127] >>]";
    // clang-format off
    const struct {
        const char* space; PDF_COLOR in; uint32_t rgb; uint32_t gray; uint32_t cmyk[4];
    } cases[] = {
        {"/G", {{0x180}}, 0x808080, 128, {0, 0, 0, 127}},
        {"/CMYK", {{100, 200, 50, 100}}, 0x370069, 28, {100, 200, 50, 100}},
        {"[/Indexed /DeviceRGB 1 <ff0000 00ff00>]", {{2}}, 0x00ff00, 149, {255, 0, 0, 7}},
        {"[/Indexed /DeviceRGB 1 <ff0000 00>]", {{1}}, 0x000000, 0, {0, 0, 255, 7}},
        {"[/Indexed /DeviceRGB 1000 <ff0000>]", {{255}}, 0x000000, 0, {0, 0, 255, 7}},
        {"[/Indexed /DeviceRGB 1 12 0 R]", {{1}}, 0x01ff01, 150, {254, 0, 0, 7}},
        {"[/Indexed /DeviceGray 3 13 0 R]", {{1}}, 0x202020, 32, {0, 0, 0, 223}},
        {"[/DeviceN [/A /B /C] /DeviceRGB 21 0 R]", {{10, 20, 30}}, 0x0a141e, 18,
         {20, 10, 225, 7}},
        {"[/Separation /S /DeviceRGB 20 0 R]", {{200}}, 0xc80000, 59, {0, 200, 55, 7}},
        {"[/Separation /All /DeviceGray 20 0 R]", {{200}}, 0x373737, 55, {0, 0, 0, 200}},
        {"[/Separation /None /DeviceGray 1]", {{255}}, 0xffffff, 255, {0, 0, 0, 0}},
        {d65, {{51, 128, 128}}, 0x303030, 48, {0, 0, 0, 207}},  // Y 0.02989: sRGB 48.3
        {d50, {{138, 209, 198}}, 0xff0000, 76, {0, 255, 255, 0}},  // sRGB red
        {d50, {{167, 141, 185}}, 0xc89532, 152, {0, 51, 150, 55}},  // ochre 0xc89632
        {bad, {{138, 209, 198}}, 0xff0000, 76, {0, 255, 255, 0}},  // read as D50
        {"[/Lab << >>]", {{255, 128, 128}}, 0xfffffe, 254, {0, 0, 1, 0}},  // D50, a, b -100..100
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.space);
        CsPtr cs = parse_cs(xref, c.space);
        ASSERT_NE(cs, nullptr);
        EXPECT_EQ(rgb_of(*cs, c.in), c.rgb);
        uint8_t g = 1;
        cs->get_gray(c.in, g);
        EXPECT_EQ(g, c.gray);
        PDF_COLOR out{{7, 7, 7, 7}};
        cs->get_cmyk(c.in, out);
        EXPECT_EQ(std::vector<uint32_t>(out.m_comps, out.m_comps + 4),
                  std::vector<uint32_t>(c.cmyk, c.cmyk + 4));
        // The batch loops over two samples of one, two or four bytes a
        // component, of which the leading bytes count, give the same pixels.
        const int32_t n = cs->m_comp_count;
        _KXRGBA want, px[8];
        uint8_t src[32] = {}, gray[4] = {};
        PDF_COLOR low{};
        for (int32_t i = 0; i < n; ++i) low.m_comps[i] = c.in.m_comps[i] & 255;
        cs->get_rgb(low, want);
        cs->get_gray(low, g);
        for (int width : {1, 2, 4}) {
            for (int32_t i = 0; i < n; ++i)
                src[i] = src[n * width + i] = static_cast<uint8_t>(low.m_comps[i]);
            std::fill(px, px + 8, _KXRGBA{1, 2, 3, 4});
            if (width == 1) cs->batch_rgb(px, src, 2 * n);
            if (width == 2) cs->batch_rgb2(px, src, 4 * n);
            if (width == 4) cs->batch_rgb4(px, src, 8 * n);
            EXPECT_TRUE(!std::memcmp(&px[0], &want, 4) && !std::memcmp(&px[1], &want, 4)) << width;
            if (width == 1) cs->batch_gray(gray, src, 2 * n);
            std::fill(src, src + 32, 0);
        }
        EXPECT_TRUE(gray[0] == g && gray[1] == 255 && gray[2] == g && gray[3] == 255);
    }
}

// A byte is the tint byte / 255 to the nearest raw unit, and every byte comes
// back through an identity transform.
TEST(SeparationColorSpace, Tints) {
    EXPECT_EQ(CPDFCSSeparation::tint_of(1).m_raw, 263172);      // 263172.016 rounded
    EXPECT_EQ(CPDFCSSeparation::tint_of(128).m_raw, 33686018);  // 33686018.008
    EXPECT_EQ(CPDFCSSeparation::tint_of(0x17f).m_raw, CPDFCSSeparation::tint_of(0x7f).m_raw);
    CPDFXRefTable xref;
    fill(xref);
    CsPtr echo = parse_cs(xref, "[/Separation /S /DeviceGray 20 0 R]");
    ASSERT_NE(echo, nullptr);
    for (uint32_t b = 0; b < 256; ++b) {
        uint8_t g = 0;
        echo->get_gray(PDF_COLOR{{b}}, g);
        ASSERT_EQ(g, b) << "byte " << b;
    }
}

// Each allocation of a parse may fail: the outcome is usable or null, and
// nothing leaks (the sanitizer build checks).
TEST(ColorSpaceParse, AllocationFailuresLeakNothing) {
    CPDFXRefTable xref;
    fill(xref);
    for (const char* text : {"[/Indexed /DeviceRGB 1 12 0 R]", "[/Lab << >>]",
                             "[/DeviceN [/A /B /C] /DeviceRGB 21 0 R]"}) {
        SCOPED_TRACE(text);
        test::TestObj o(text);
        for (int32_t n = 0; n < 40; ++n) {
            test::AllocFailGuard fail(n);
            CsPtr cs(CPDFCSBase::parser_cs(o.get(), &xref));
            uint8_t g;
            if (cs) cs->get_gray(PDF_COLOR{{255, 255, 255, 255}}, g);
        }
        EXPECT_NE(parse_cs(xref, text), nullptr);
    }
}

}  // namespace
}  // namespace shadepaint
