// The function-based shading: the domain test, the mapping from device pixels
// to domain points, the two stores with the gray form's row-first alpha, and
// what paints nothing.
#include "shading/shading_func.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "shading_test_util.h"

namespace shadepaint {
namespace {

using namespace testing;

// Function 10 is orange (1, 0.5, 0) everywhere; 12 to 14 give one output
// each of the same orange.
struct FuncDoc : Doc {
    FuncDoc() {
        add(10, "<< /FunctionType 2 /Domain [-1000 1000] /C0 [1 0.5 0] /C1 [1 0.5 0] /N 1 >>");
        add(12, "<< /FunctionType 2 /Domain [-9 9] /C0 [1] /C1 [1] /N 1 >>");
        add(13, "<< /FunctionType 2 /Domain [-9 9] /C0 [0.5] /C1 [0.5] /N 1 >>");
        add(14, "<< /FunctionType 2 /Domain [-9 9] /C0 [0] /C1 [0] /N 1 >>");
    }
    CPDFShadingFunc* get(ShadingPtr& holder, const std::string& entries) {
        return load<CPDFShadingFunc>(holder,
                                     "<< /ShadingType 1 /ColorSpace /DeviceRGB " + entries + " >>");
    }
};

// All four bounds belong to the domain; one raw unit beyond any of them is
// outside and all zeros. Items past four are ignored and non-numbers read as
// 0; a short or unreadable Domain has no inside at all. Function k of several
// writes component k.
TEST(FuncShadingColour, DomainEdges) {
    FuncDoc doc;
    doc.add(1, "[-2 3 1 4]");
    const int64_t x0 = -2 * kOne, x1 = 3 * kOne, y0 = kOne, y1 = 4 * kOne, my = 2 * kOne;
    // clang-format off
    struct Case { const char* domain; int64_t x, y; bool inside; };
    const Case cases[] = {
        {"1 0 R", x0, my, true}, {"1 0 R", x0 - 1, my, false}, {"1 0 R", x1, my, true},
        {"1 0 R", x1 + 1, my, false}, {"1 0 R", 0, y0, true}, {"1 0 R", 0, y0 - 1, false},
        {"1 0 R", 0, y1, true}, {"1 0 R", 0, y1 + 1, false}, {"[/a 1 0 (b) 9]", kOne, 0, true},
        {"[/a 1 0 (b) 9]", kOne, 1, false}, {"[0 1]", 0, 0, false}, {"/Unit", 0, 0, false}};
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.domain << " at " << c.x << ", " << c.y);
        ShadingPtr holder;
        CPDFShadingFunc* s =
            doc.get(holder, std::string("/Function [12 0 R 13 0 R 14 0 R] /Domain ") + c.domain);
        ASSERT_NE(s, nullptr);
        _KXRGBA rgba = {9, 9, 9, 9};
        s->get_rgba(KXFIX::from_raw(c.x), KXFIX::from_raw(c.y), rgba);
        const _KXRGBA want = c.inside ? _KXRGBA{0, 128, 255, 255} : _KXRGBA{0, 0, 0, 0};
        EXPECT_EQ(std::memcmp(&rgba, &want, 4), 0);
    }
}

// A pixel's point is its corner, after the origin, taken back through the
// device matrix and then through Matrix: device column x is domain point
// (x - 4) / 2 - 5 here, so pixels 0 to 3 lie inside and 4 outside (through
// Matrix first, or without the origin, none would). Coverage 0 leaves a pixel
// as it was. In colour a covered pixel carries (coverage * 255) >> 8 and one
// outside the domain is cleared to zeros; the gray form tests each pixel's
// own coverage to decide whether to paint, but scales alpha by the coverage
// of its row's first pixel. The bitmap is tall enough to be banded: rows 7000
// and 7001 of the caller's band straddle the domain's edge.
TEST(FuncShadingRender, MappingCoverageAndGrayRowFirstAlpha) {
    FuncDoc doc;
    doc.add(2, "[1 0 0 1 5 0]");
    ShadingPtr holder;
    // Orange: gray (255 * 306 + 128 * 601) >> 10 = 151.
    CPDFShadingFunc* s = doc.get(holder, "/Domain [-7 -5.5 0 7000] /Matrix 2 0 R /Function 10 0 R");
    ASSERT_NE(s, nullptr);
    const _KXMATRIX device = {fix(2), KXFIX{0}, KXFIX{0}, fix(1), KXFIX{0}, KXFIX{0}};
    const _KXPOINT origin = {-4, 0};
    // clang-format off
    const uint8_t cases[][3][5] = {  // coverage, colour alpha, gray alpha (0xab: untouched)
        {{0, 1, 128, 255, 255}, {0xab, 0, 127, 254, 0}, {0xab, 0, 0, 0, 0}},
        {{128, 255, 1, 0, 255}, {127, 254, 0, 0xab, 0}, {127, 127, 127, 0xab, 0}}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "first coverage " << int{c[0][0]});
        // Row 0 is fully covered: the rule is per row, not per bitmap.
        Canvas<CKXBmp8> mask(5, 8001, 8, 255);
        std::memcpy(mask.px(0, 1, 1), c[0], 5);
        Canvas<CKXBmp32> colour(5, 8001, 24, 0xab);
        Canvas<CKXBmpGray> gray(5, 8001, 12, 0xab);
        ASSERT_EQ(s->render_to_bmp(device, origin, mask.bmp, colour.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(device, origin, mask.bmp, gray.bmp), 1);
        for (int32_t x = 0; x < 5; ++x) {
            SCOPED_TRACE(x);
            const bool inside = x <= 3, painted = c[0][x] != 0;
            EXPECT_EQ(colour.px(x, 1, 4)[3], c[1][x]);
            EXPECT_EQ(colour.px(x, 1, 4)[2], !painted ? 0xab : inside ? 255 : 0);
            EXPECT_EQ(gray.px(x, 1, 2)[0], !painted ? 0xab : inside ? 151 : 0);
            EXPECT_EQ(gray.px(x, 1, 2)[1], c[2][x]);
            EXPECT_EQ(gray.px(x, 0, 2)[1], inside ? 254 : 0);
            EXPECT_EQ(colour.px(x, 7000, 4)[3] | colour.px(x, 7001, 4)[3] << 8, inside ? 254 : 0);
        }
    }
}

}  // namespace
}  // namespace shadepaint
