// The colour-space factory and the engine's spaces, with inputs written as PDF
// object text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "engine/cs_device_cmyk.h"
#include "engine/cs_device_gray.h"
#include "engine/cs_family.h"
#include "engine/cs_indexed.h"
#include "engine/cs_lab.h"
#include "engine/cs_separation.h"
#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "object/pdf_obj.h"
#include "shading/function.h"

namespace shadepaint {
namespace {

using CsPtr = std::unique_ptr<CPDFCSBase>;

// A document of numbered objects and a colour space parsed against it.
class Doc {
public:
    // From a literal, whose zero bytes (in stream bodies) count.
    template <size_t N>
    void obj(int32_t num, const char (&text)[N]) {
        ASSERT_TRUE(xref.set_object(num, text, N - 1)) << text;
    }
    CsPtr parse(const std::string& text) {
        ScopedObj o;
        EXPECT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj)) << text;
        return CsPtr(CPDFCSBase::parser_cs(&o.obj, &xref));
    }
    CPDFXRefTable xref;
};

PDF_COLOR color_of(uint32_t c0, uint32_t c1 = 0, uint32_t c2 = 0, uint32_t c3 = 0) {
    PDF_COLOR c;
    for (uint32_t& v : c.m_comps) v = 0;
    c.m_comps[0] = c0;
    c.m_comps[1] = c1;
    c.m_comps[2] = c2;
    c.m_comps[3] = c3;
    return c;
}

// 0xRRGGBB of get_rgb; the alpha byte must be 255 and is checked here.
uint32_t rgb_of(const CPDFCSBase& cs, const PDF_COLOR& c) {
    _KXRGBA p{1, 2, 3, 4};
    cs.get_rgb(c, p);
    EXPECT_EQ(p.a, 255);
    return static_cast<uint32_t>(p.r) << 16 | static_cast<uint32_t>(p.g) << 8 | p.b;
}

TEST(ColorSpaceParse, FamiliesAndRejects) {
    Doc doc;
    doc.obj(5, "<< /N 3 /Length 0 >> stream\nendstream");
    doc.obj(7, "<< /N 2 /Length 0 >> stream\nendstream");
    doc.obj(8, "<< /N 3 /Alternate /DeviceGray /Length 0 >> stream\nendstream");
    doc.obj(9, "<< /Alternate /DeviceCMYK /Length 0 >> stream\nendstream");
    doc.obj(10, "/DeviceCMYK");
    doc.obj(11, "[/Indexed /DeviceRGB 0 <000000>]");
    // An ICCBased space whose Alternate leads back to itself: the walk ends
    // and /N decides.
    doc.obj(12, "[/ICCBased 13 0 R]");
    doc.obj(13, "<< /N 1 /Alternate 12 0 R /Length 0 >> stream\nendstream");
    doc.obj(14, "14 0 R");
    doc.obj(15, "<< /N /Three /Alternate /DeviceRGB /Length 0 >> stream\nendstream");
    doc.obj(1, "[/Indexed 1 0 R 0 <00>]");
    doc.obj(2, "[/Separation /Spot 2 0 R 1]");
    doc.obj(3, "[/ICCBased 4 0 R]");
    doc.obj(4, "<< /Alternate 3 0 R /Length 0 >> stream\nendstream");
    struct Case {
        const char* text;
        uint32_t family;  // 0: null expected
        int32_t comps;
    };
    // clang-format off
    const Case cases[] = {
        {"/G", kCsFamilyDeviceGray, 1},               {"/RGB", kCsFamilyDeviceRGB, 3},
        {"/DeviceCMYK", kCsFamilyDeviceCMYK, 4},      {"/CMYK", kCsFamilyDeviceCMYK, 4},
        {"[/DeviceRGB]", kCsFamilyDeviceRGB, 3},      {"10 0 R", kCsFamilyDeviceCMYK, 4},
        {"[/CalGray << /WhitePoint [0.9505 1 1.089] >>]", kCsFamilyDeviceGray, 1},
        {"[/CalRGB << /WhitePoint [0.9505 1 1.089] >>]", kCsFamilyDeviceRGB, 3},
        {"[/ICCBased 5 0 R]", kCsFamilyDeviceRGB, 3},
        {"[/ICCBased 8 0 R]", kCsFamilyDeviceRGB, 3},  // Alternate disagrees with /N
        {"[/ICCBased 9 0 R]", kCsFamilyDeviceCMYK, 4}, // Alternate without /N
        {"[/ICCBased 15 0 R]", kCsFamilyDeviceRGB, 3}, // /N no count
        {"[/ICCBased 12 0 R]", 0, 0},                  // a stream is required, not an array
        {"12 0 R", kCsFamilyDeviceGray, 1},
        {"[/Indexed /DeviceRGB 1 <ff0000>]", kCsFamilyIndexed, 1},
        {"[/I /G 1 <ff00>]", kCsFamilyIndexed, 1},
        {"[/Separation /All /DeviceGray 1]", kCsFamilySeparation, 1},
        {"[/DeviceN [/None /None /None /None /None /None /None /None /None /None /None /None "
         "/None /None /None /None] /DeviceGray 1]",
         kCsFamilyDeviceN, 16},
        {"[/Lab << >>]", kCsFamilyLab, 3},
        // Not colour spaces of a shading, or not colour spaces at all.
        {"/Pattern", 0, 0},                 {"/CalRGB", 0, 0},
        {"/Foo", 0, 0},                     {"[]", 0, 0},
        {"42", 0, 0},                       {"99 0 R", 0, 0},
        {"[/ICCBased 7 0 R]", 0, 0},        {"[/Lab 5]", 0, 0},
        {"[/Indexed /DeviceRGB 1]", 0, 0},
        // References that only ever lead to themselves must end.
        {"14 0 R", 0, 0},                   {"1 0 R", 0, 0},
        {"2 0 R", 0, 0},                    {"[/Indexed 3 0 R 0 <00>]", 0, 0},
        {"[/Indexed 11 0 R 0 <00>]", 0, 0}, {"[/Indexed /Pattern 0 <00>]", 0, 0},
        {"[/Separation /Spot /DeviceGray 1]", 0, 0},  // 1 is no function
        {"[/DeviceN [] /DeviceGray 1]", 0, 0},
        {"[/DeviceN [/None /None /None /None /None /None /None /None /None /None /None /None "
         "/None /None /None /None /None] /DeviceGray 1]", 0, 0},  // 17 colorants
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        CsPtr cs = doc.parse(c.text);
        if (c.family == 0) {
            EXPECT_EQ(cs, nullptr);
            continue;
        }
        ASSERT_NE(cs, nullptr);
        EXPECT_EQ(cs->m_family, c.family);
        EXPECT_EQ(cs->m_comp_count, c.comps);
    }
    EXPECT_EQ(CPDFCSBase::parser_cs(nullptr, &doc.xref), nullptr);
}

TEST(DeviceSpaces, Conversions) {
    CPDFCSDeviceGray gray;
    CPDFCSDeviceCMYK cmyk;
    struct Case {
        const CPDFCSBase* cs;
        PDF_COLOR in;
        uint32_t rgb;
        uint8_t gray;
        uint32_t cmyk[4];
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {&gray, color_of(0x180), 0x808080, 128, {0, 0, 0, 127}, "gray reads its low byte"},
        {&cmyk, color_of(255, 0, 0, 0), 0x00ffff, 178, {255, 0, 0, 0}, "cyan"},
        {&cmyk, color_of(100, 200, 50, 100), 0x370069, 28, {100, 200, 50, 100},
         "ink and black add and clip"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(rgb_of(*c.cs, c.in), c.rgb);
        uint8_t g = 1;
        c.cs->get_gray(c.in, g);
        EXPECT_EQ(g, c.gray);
        PDF_COLOR out = color_of(9, 9, 9, 9);
        c.cs->get_cmyk(c.in, out);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(out.m_comps[i], c.cmyk[i]) << "component " << i;
    }
}

TEST(IndexedColorSpace, LookupStaysInsideTheTable) {
    Doc doc;
    doc.obj(3, "<< /Length 6 >> stream\n\xff\x00\x00\x00\xff\x00\nendstream");
    doc.obj(4, "<ff0000 00ff00>");
    doc.obj(5, "<< /Length 2 >> stream\n\x10\x20\nendstream");
    struct Case {
        const char* text;
        uint32_t index;
        uint32_t rgb;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"[/Indexed /DeviceRGB 1 <ff0000 00ff00>]", 2, 0x00ff00, "above hival clamps to hival"},
        {"[/Indexed /DeviceRGB 1 <ff0000 00>]", 1, 0x000000, "short string reads zeros"},
        {"[/Indexed /DeviceRGB 1000 <ff0000>]", 255, 0x000000, "hival above 255 clamps to 255"},
        {"[/Indexed /DeviceRGB 1 3 0 R]", 1, 0x00ff00, "table from a stream"},
        {"[/Indexed /DeviceGray 3 5 0 R]", 1, 0x202020, "gray base, short stream"},
        {"[/Indexed [/DeviceN [/None] /DeviceGray 1] 0 <80>]", 0, 0xffffff, "DeviceN base"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        CsPtr cs = doc.parse(c.text);
        ASSERT_NE(cs, nullptr);
        EXPECT_EQ(rgb_of(*cs, color_of(c.index)), c.rgb);
    }
}

// Echoes its inputs to its outputs, so the tints arrive in the alternate
// space unchanged but for the clamp to bytes.
class EchoFunction : public CPDFFunction {
public:
    explicit EchoFunction(int32_t n) {
        m_inputs = n;
        m_outputs = n;
    }
    int32_t evaluate(const KXFIX* in, KXFIX* out) const override {
        for (int32_t i = 0; i < m_outputs; ++i) out[i] = in[i];
        return 1;
    }
};

TEST(SeparationColorSpace, TintsRoundTripEveryByte) {
    EXPECT_EQ(CPDFCSSeparation::tint_of(0).m_raw, 0);
    EXPECT_EQ(CPDFCSSeparation::tint_of(255).m_raw, kKxOne);
    EXPECT_EQ(CPDFCSSeparation::tint_of(1).m_raw, 263172);      // 263172.016 rounded
    EXPECT_EQ(CPDFCSSeparation::tint_of(128).m_raw, 33686018);  // 33686018.008
    EXPECT_EQ(CPDFCSSeparation::tint_of(0x17f).m_raw, CPDFCSSeparation::tint_of(0x7f).m_raw);

    std::unique_ptr<CPDFCSSeparation> cs(
        CPDFCSSeparation::create(kCsFamilySeparation, 1, CPDFCSSeparation::kColorantNamed,
                                 new CPDFCSDeviceGray(), new EchoFunction(1)));
    ASSERT_NE(cs, nullptr);
    for (uint32_t b = 0; b < 256; ++b) {
        uint8_t g = 0;
        cs->get_gray(color_of(b), g);
        ASSERT_EQ(g, b) << "byte " << b;
    }
}

TEST(SeparationColorSpace, ColorantsAndShortOutputs) {
    // DeviceN of three colorants into RGB; a one-output function into RGB
    // leaves green and blue at zero.
    std::unique_ptr<CPDFCSSeparation> three(
        CPDFCSSeparation::create(kCsFamilyDeviceN, 3, CPDFCSSeparation::kColorantNamed,
                                 new CPDFCSDeviceRGB(), new EchoFunction(3)));
    std::unique_ptr<CPDFCSSeparation> short_out(
        CPDFCSSeparation::create(kCsFamilySeparation, 1, CPDFCSSeparation::kColorantNamed,
                                 new CPDFCSDeviceRGB(), new EchoFunction(1)));
    Doc doc;
    CsPtr all = doc.parse("[/Separation /All /DeviceGray 1]");
    CsPtr none = doc.parse("[/Separation /None /DeviceGray 1]");
    CsPtr spot = doc.parse(
        "[/Separation /Spot /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
        "/C0 [0 0 0 0] /C1 [0 1 0 0] /N 1 >>]");
    ASSERT_TRUE(three && short_out && all && none && spot);
    struct Case {
        const CPDFCSBase* cs;
        PDF_COLOR in;
        uint32_t rgb;
        uint32_t cmyk[4];
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {three.get(), color_of(10, 20, 30), 0x0a141e, {245 - 225, 235 - 225, 225, 7},
         "tints through the alternate RGB space"},
        {short_out.get(), color_of(200), 0xc80000, {0, 200, 55, 7}, "missing outputs are 0"},
        {all.get(), color_of(255), 0x000000, {0, 0, 0, 255}, "All at full tint is black"},
        {none.get(), color_of(255), 0xffffff, {0, 0, 0, 0}, "None leaves the paper"},
        {spot.get(), color_of(51), 0xffccff, {0, 51, 0, 0}, "a parsed tint transform"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(rgb_of(*c.cs, c.in), c.rgb);
        PDF_COLOR out = color_of(7, 7, 7, 7);
        c.cs->get_cmyk(c.in, out);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(out.m_comps[i], c.cmyk[i]) << "component " << i;
    }
    PDF_COLOR def = color_of(1, 1, 1, 1);
    three->get_default_color(def);
    EXPECT_EQ(def.m_comps[2], 255u);
    EXPECT_EQ(def.m_comps[3], 1u);
}

TEST(LabColorSpace, ReferenceColours) {
    Doc doc;
    const std::string d65 =
        "[/Lab << /WhitePoint [0.95047 1 1.08883] /Range [-128 127 -128 127] >>]";
    const std::string d50 = "[/Lab << /WhitePoint [0.9642 1 0.8249] /Range [-128 127 -128 127] >>]";
    struct Case {
        std::string text;
        double l, a, b;  // Lab; a and b on the -128..127 range
        uint32_t rgb;
        int tolerance;  // per channel, for colours off the byte grid
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {d65, 100, 0, 0, 0xffffff, 0, "white under D65"},
        {d50, 0, 0, 0, 0x000000, 0, "black"},
        {d65, 20, 0, 0, 0x303030, 0, "dark gray: Y 0.02989, sRGB 48.3"},
        {d50, 54.29, 81, 70, 0xff0000, 3, "sRGB red under D50"},
        {d50, 65.68, 13, 57, 0xc89632, 3, "ochre under D50"},
        {"[/Lab << /WhitePoint [0 1 -1] /Range [-128 127 -128 127] >>]", 54.29, 81, 70,
         0xff0000, 3, "unusable white point reads as D50"},
        {"[/Lab << >>]", 100, 0, 0, 0xffffff, 1, "defaults: D50, a and b over -100..100"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        CsPtr cs = doc.parse(c.text);
        ASSERT_NE(cs, nullptr);
        const bool wide = c.text.find("Range") != std::string::npos;
        const double lo = wide ? -128 : -100, span = wide ? 255 : 200;
        const PDF_COLOR in = color_of(static_cast<uint32_t>(std::lround(c.l * 2.55)),
                                      static_cast<uint32_t>(std::lround((c.a - lo) / span * 255)),
                                      static_cast<uint32_t>(std::lround((c.b - lo) / span * 255)));
        const uint32_t got = rgb_of(*cs, in);
        for (int shift = 0; shift < 24; shift += 8) {
            const int g = static_cast<int>(got >> shift & 255);
            const int w = static_cast<int>(c.rgb >> shift & 255);
            EXPECT_LE(std::abs(g - w), c.tolerance) << "got " << std::hex << got;
        }
    }
}

// batch_* run the per-colour conversion over a run of samples; both must
// give the same bytes in every space, for every sample width.
TEST(ColorSpaceBatch, MatchesSingleColours) {
    Doc doc;
    const CsPtr spaces[] = {
        doc.parse("/DeviceRGB"),
        doc.parse("/DeviceGray"),
        doc.parse("/DeviceCMYK"),
        doc.parse("[/Indexed /DeviceRGB 2 <102030 405060 708090>]"),
        doc.parse("[/Lab << >>]"),
        doc.parse("[/Separation /All /DeviceGray 1]"),
        CsPtr(CPDFCSSeparation::create(kCsFamilyDeviceN, 2, CPDFCSSeparation::kColorantNamed,
                                       new CPDFCSDeviceRGB(), new EchoFunction(2))),
    };
    uint8_t src[96];
    for (int i = 0; i < 96; ++i) src[i] = static_cast<uint8_t>(i * 37 + 5);
    for (const CsPtr& cs : spaces) {
        ASSERT_NE(cs, nullptr);
        const int32_t n = cs->m_comp_count;
        for (int width : {1, 2, 4}) {
            // One byte past a whole number of samples: a last partial sample.
            const int32_t len = n * width * 3 + 1;
            SCOPED_TRACE(testing::Message() << "family " << cs->m_family << " width " << width);
            _KXRGBA px[5];
            uint8_t gray[10];
            std::memset(px, 0, sizeof px);
            std::memset(gray, 0, sizeof gray);
            if (width == 1) cs->batch_rgb(px, src, len);
            if (width == 2) cs->batch_rgb2(px, src, len);
            if (width == 4) cs->batch_rgb4(px, src, len);
            if (width == 1) cs->batch_gray(gray, src, len);
            for (int p = 0; p < 4; ++p) {
                PDF_COLOR c = color_of(0);
                for (int32_t i = 0; i < n; ++i) c.m_comps[i] = src[p * n * width + i];
                _KXRGBA want;
                cs->get_rgb(c, want);
                EXPECT_EQ(std::memcmp(&px[p], &want, 4), 0) << "pixel " << p;
                if (width != 1) continue;
                uint8_t g = 0;
                cs->get_gray(c, g);
                EXPECT_EQ(gray[2 * p], g) << "pixel " << p;
                EXPECT_EQ(gray[2 * p + 1], 255) << "pixel " << p;
            }
            EXPECT_EQ(px[4].a, 0) << "a fifth pixel was written";
        }
    }
}

// Every allocation of a parse may fail; each outcome must be usable or null,
// and nothing may leak (the sanitizer build checks).
TEST(ColorSpaceParse, AllocationFailuresLeakNothing) {
    Doc doc;
    doc.obj(3, "<ff0000 00ff00>");
    doc.obj(4, "[/Indexed 5 0 R 1 3 0 R]");
    doc.obj(5, "/DeviceRGB");
    doc.obj(6, "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>");
    // The last two need the exponential function kind of the function parser.
    for (const char* text :
         {"4 0 R", "[/Lab << /WhitePoint [0.9505 1 1.089] >>]",
          "[/Separation /Spot /DeviceGray 6 0 R]", "[/DeviceN [/A /B] /DeviceRGB 6 0 R]"}) {
        SCOPED_TRACE(text);
        ScopedObj o;
        ASSERT_TRUE(CPDFXRefTable::parse_object(text, std::strlen(text), o.obj));
        for (int32_t n = 0; n < 40; ++n) {
            kx_alloc_fail_after(n);
            CsPtr cs(CPDFCSBase::parser_cs(&o.obj, &doc.xref));
            kx_alloc_fail_after(-1);
            if (!cs) continue;
            uint8_t g;
            cs->get_gray(color_of(255, 255, 255, 255), g);
        }
        EXPECT_NE(CsPtr(CPDFCSBase::parser_cs(&o.obj, &doc.xref)), nullptr);
    }
}

}  // namespace
}  // namespace shadepaint
