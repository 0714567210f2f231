// The function-based shading: what load reads, the domain test, the mapping
// from device pixels to domain points, the two stores with the gray form's
// row-first alpha, and bands against renders a few rows at a time.
#include "shading/shading_func.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "shading/bitmap.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Canvas;
using testing::kOne;
using testing::ShadingPtr;

// Functions of two inputs: 10 is orange (1, 0.5, 0) everywhere; 11 gives
// x / 100, y / 100 and (x + y) / 200, so neighbouring pixels differ; 12 gives
// x / 100 alone.
class FuncDoc : public testing::Doc {
public:
    FuncDoc() {
        const char* const programs[][2] = {
            {"[0 1 0 1 0 1]", "{ pop pop 1 0.5 0 }"},
            {"[0 1 0 1 0 1]", "{ 0.01 mul exch 0.01 mul exch 2 copy add 0.5 mul }"},
            {"[0 1]", "{ pop 0.01 mul }"}};
        for (int k = 0; k < 3; ++k) {
            const std::string program = programs[k][1];
            add(10 + k, "<< /FunctionType 4 /Domain [-1000 1000 -1000 1000] /Range " +
                            std::string(programs[k][0]) + " /Length " +
                            std::to_string(program.size()) + " >>\nstream\n" + program +
                            "\nendstream");
        }
    }
    CPDFShadingFunc* get(ShadingPtr& holder, const std::string& entries,
                         const char* space = "/DeviceRGB") {
        return load<CPDFShadingFunc>(
            holder, "<< /ShadingType 1 /ColorSpace " + std::string(space) + " " + entries + " >>");
    }
};

_KXMATRIX scale(double sx, double sy) {
    return {KXFIX::from_raw(static_cast<int64_t>(sx * kOne)), KXFIX{0}, KXFIX{0},
            KXFIX::from_raw(static_cast<int64_t>(sy * kOne)), KXFIX{0}, KXFIX{0}};
}

const _KXPOINT kOrigin = {0, 0};

TEST(FuncShadingLoad, DomainMatrixFunction) {
    FuncDoc doc;
    doc.add(1, "[-2 3 1 4]");
    doc.add(2, "[2 0 0 2 10 20]");
    struct Case {
        const char* entries;
        int64_t domain[4];
        int64_t matrix_e;
        int32_t func_count;
    };
    // clang-format off
    const Case cases[] = {
        {"", {0, kOne, 0, kOne}, 0, 1},                       // no Function: one null entry
        {"/Domain 1 0 R /Matrix 2 0 R", {-2 * kOne, 3 * kOne, kOne, 4 * kOne}, 10 * kOne, 1},
        {"/Domain [0 1 2 3 4 5]", {0, kOne, 2 * kOne, 3 * kOne}, 0, 1},  // past four: ignored
        {"/Domain [0 /a 1 (b)] /Function []", {0, 0, kOne, 0}, 0, 0},    // non-numbers: 0
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.get(holder, c.entries);
        ASSERT_NE(s, nullptr);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(s->m_domain[i].m_raw, c.domain[i]) << i;
        EXPECT_EQ(s->m_matrix.e.m_raw, c.matrix_e);
        EXPECT_EQ(s->m_func_count, c.func_count);
    }
}

// All four bounds belong to the domain; one raw unit beyond any of them is
// outside and all zeros. A short or unreadable Domain has no inside at all.
TEST(FuncShadingColour, DomainEdges) {
    FuncDoc doc;
    const int64_t x0 = -2 * kOne, x1 = 3 * kOne, y0 = kOne, y1 = 4 * kOne, mx = 0, my = 2 * kOne;
    struct Case {
        const char* domain;
        int64_t x, y;
        bool inside;
    };
    // clang-format off
    const Case cases[] = {
        {"[-2 3 1 4]", x0, my, true},  {"[-2 3 1 4]", x0 - 1, my, false},
        {"[-2 3 1 4]", x1, my, true},  {"[-2 3 1 4]", x1 + 1, my, false},
        {"[-2 3 1 4]", mx, y0, true},  {"[-2 3 1 4]", mx, y0 - 1, false},
        {"[-2 3 1 4]", mx, y1, true},  {"[-2 3 1 4]", mx, y1 + 1, false},
        {"[-2 3 1 4]", INT64_MIN, my, false},
        {"[0 1]", 0, 0, false},        {"/Unit", kOne / 2, kOne / 2, false},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.domain << " at " << c.x << ", " << c.y);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.get(holder, std::string("/Function 10 0 R /Domain ") + c.domain);
        ASSERT_NE(s, nullptr);
        _KXRGBA rgba = {9, 9, 9, 9};
        s->get_rgba(KXFIX::from_raw(c.x), KXFIX::from_raw(c.y), rgba);
        const _KXRGBA want = c.inside ? _KXRGBA{0, 128, 255, 255} : _KXRGBA{0, 0, 0, 0};
        EXPECT_EQ(std::memcmp(&rgba, &want, 4), 0);
    }
}

// How outputs become components: one function delivers all of them, several
// one each, missing outputs are zeros, and a gray space reads output 0 only.
// At (60, 20) function 11 gives 0.6, 0.2, 0.4, far from a rounding step.
TEST(FuncShadingColour, OutputsToComponents) {
    FuncDoc doc;
    struct Case {
        const char* function;
        const char* space;
        _KXRGBA expected;
    };
    const Case cases[] = {
        {"11 0 R", "/DeviceRGB", {102, 51, 153, 255}},
        {"[12 0 R 10 0 R 12 0 R]", "/DeviceRGB", {153, 255, 153, 255}},
        {"12 0 R", "/DeviceRGB", {0, 0, 153, 255}},
        {"11 0 R", "/DeviceGray", {153, 153, 153, 255}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.function << " " << c.space);
        ShadingPtr holder;
        CPDFShadingFunc* s =
            doc.get(holder, std::string("/Domain [0 100 0 100] /Function ") + c.function, c.space);
        ASSERT_NE(s, nullptr);
        _KXRGBA rgba;
        s->get_rgba(KXFIX::from_int(60), KXFIX::from_int(20), rgba);
        EXPECT_EQ(std::memcmp(&rgba, &c.expected, 4), 0);
    }
}

// A pixel's point is its corner taken back through the device matrix and
// then through Matrix: with Matrix [1 0 0 1 5 0] and a device scale of 2,
// domain [0 1] holds device columns 10 to 12 (through Matrix first it would
// be 5 to 7). The origin shifts the device positions.
TEST(FuncShadingRender, DeviceThenMatrixInverse) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s =
        doc.get(holder, "/Domain [0 1 0 100] /Matrix [1 0 0 1 5 0] /Function 10 0 R");
    ASSERT_NE(s, nullptr);
    const int32_t cases[][3] = {{0, 10, 12}, {7, 3, 5}, {-4, 14, 16}};  // origin x, first, last
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        Canvas<CKXBmp8> mask(20, 1, 20, 255);
        Canvas<CKXBmp32> dst(20, 1, 84, 0xab);
        ASSERT_EQ(s->render_to_bmp(scale(2, 2), _KXPOINT{c[0], 0}, mask.bmp, dst.bmp), 1);
        for (int32_t x = 0; x < 20; ++x)
            EXPECT_EQ(dst.px(x, 0, 4)[3], x >= c[1] && x <= c[2] ? 254 : 0) << x;
        EXPECT_EQ(dst.px(20, 0, 4)[0], 0xab);
    }
}

// Coverage 0 leaves a pixel as it was. In colour a covered pixel carries
// (coverage * 255) >> 8 and one outside the domain is cleared to zeros; the
// gray form tests each pixel's own coverage to decide whether to paint, but
// scales alpha by the coverage of its row's first pixel.
TEST(FuncShadingRender, CoverageAndGrayRowFirstAlpha) {
    FuncDoc doc;
    ShadingPtr holder;
    // Orange: gray (255 * 306 + 128 * 601) >> 10 = 151.
    CPDFShadingFunc* s = doc.get(holder, "/Domain [0 3 0 10] /Function 10 0 R");
    ASSERT_NE(s, nullptr);
    struct Case {
        uint8_t coverage[5];
        uint8_t alpha[5], gray_alpha[5];  // 0xab: untouched
    };
    // clang-format off
    const Case cases[] = {
        {{0, 1, 128, 255, 255}, {0xab, 0, 127, 254, 0}, {0xab, 0, 0, 0, 0}},
        {{128, 255, 1, 0, 255}, {127, 254, 0, 0xab, 0}, {127, 127, 127, 0xab, 0}},
        {{255, 0, 128, 255, 1}, {254, 0xab, 127, 254, 0}, {254, 0xab, 254, 254, 0}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "first coverage " << int{c.coverage[0]});
        // Row 0 is fully covered: the rule is per row, not per bitmap.
        Canvas<CKXBmp8> mask(5, 2, 8, 255);
        std::memcpy(mask.px(0, 1, 1), c.coverage, 5);
        Canvas<CKXBmp32> colour(5, 2, 24, 0xab);
        Canvas<CKXBmpGray> gray(5, 2, 12, 0xab);
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, mask.bmp, colour.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), kOrigin, mask.bmp, gray.bmp), 1);
        for (int32_t x = 0; x < 5; ++x) {
            SCOPED_TRACE(x);
            const bool inside = x <= 3, painted = c.coverage[x] != 0;
            EXPECT_EQ(colour.px(x, 1, 4)[3], c.alpha[x]);
            EXPECT_EQ(colour.px(x, 1, 4)[2], !painted ? 0xab : inside ? 255 : 0);
            EXPECT_EQ(gray.px(x, 1, 2)[0], !painted ? 0xab : inside ? 151 : 0);
            EXPECT_EQ(gray.px(x, 1, 2)[1], c.gray_alpha[x]);
            EXPECT_EQ(gray.px(x, 0, 2)[1], inside ? 254 : 0);
        }
    }
}

// What the document can leave without meaning paints nothing, and sizes that
// differ return 0: the pictures stay exactly as they were. Singular matrices
// on either side go on with the inversion's markers.
TEST(FuncShadingRender, UnpaintableShadingsTouchNothing) {
    FuncDoc doc;
    struct Case {
        const char* entries;
        const char* space;
        int32_t mask_width;
        int32_t result;
    };
    // clang-format off
    const Case cases[] = {
        {"", "/DeviceRGB", 4, 1},
        {"/Function 7", "/DeviceRGB", 4, 1},
        {"/Function [10 0 R 99 0 R 10 0 R]", "/DeviceRGB", 4, 1},
        {"/Function 10 0 R", "/NoSuchSpace", 4, 1},
        {"/Function 10 0 R", "/DeviceRGB", 5, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.entries << " " << c.space << " " << c.mask_width);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.get(holder, c.entries, c.space);
        ASSERT_NE(s, nullptr);
        Canvas<CKXBmp8> mask(c.mask_width, 3, 8, 255);
        Canvas<CKXBmp32> colour(4, 3, 20, 0xab);
        Canvas<CKXBmpGray> gray(4, 3, 10, 0xab);
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, mask.bmp, colour.bmp), c.result);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), kOrigin, mask.bmp, gray.bmp), c.result);
        EXPECT_EQ(colour.bytes, std::vector<uint8_t>(colour.bytes.size(), 0xab));
        EXPECT_EQ(gray.bytes, std::vector<uint8_t>(gray.bytes.size(), 0xab));
    }
    const _KXMATRIX singular = {KXFIX{0}, KXFIX::from_int(1), KXFIX{0},
                                KXFIX{0}, KXFIX{0},           KXFIX{0}};
    for (const char* matrix : {"", "/Matrix [1 2 2 4 0 0]"}) {
        SCOPED_TRACE(matrix);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.get(holder, std::string(matrix) + " /Function 11 0 R");
        ASSERT_NE(s, nullptr);
        Canvas<CKXBmp8> mask(9, 9, 9, 255);
        Canvas<CKXBmp32> colour(9, 9, 36, 0);
        const _KXPOINT origin = {-2147483647, 2147483600};
        EXPECT_EQ(s->render_to_bmp(singular, origin, mask.bmp, colour.bmp), 1);
    }
}

// Each pixel is computed by itself, so a render cut into bands is byte for
// byte the picture painted three rows at a time (never banded).
TEST(FuncShadingRender, BandsMatchRowByRow) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s = doc.get(holder, "/Domain [0 100 0 100] /Function 11 0 R");
    ASSERT_NE(s, nullptr);
    const int32_t sizes[][2] = {{101, 400}, {1000, 103}, {1, 40001}};
    for (const auto& size : sizes) {
        const int32_t w = size[0], h = size[1];
        SCOPED_TRACE(::testing::Message() << w << "x" << h);
        Canvas<CKXBmp8> mask(w, h, w + 3, 0);
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x)
                *mask.px(x, y, 1) = (x * 7 + y * 13) % 5 == 0 ? 0 : 40 + (x + y) % 200;
        // Shading 0..100 spans the bitmap.
        const _KXMATRIX to_device = scale(w / 100.0, h / 100.0);
        Canvas<CKXBmp32> whole(w, h, 4 * w + 5, 0xab), strips(w, h, 4 * w + 5, 0xab);
        Canvas<CKXBmpGray> whole_gray(w, h, 2 * w + 5, 0xab), strips_gray(w, h, 2 * w + 5, 0xab);
        ASSERT_EQ(s->render_to_bmp(to_device, kOrigin, mask.bmp, whole.bmp), 1);
        ASSERT_EQ(s->render_to_bmpg(to_device, kOrigin, mask.bmp, whole_gray.bmp), 1);
        for (int32_t y = 0; y < h; y += 3) {
            const int32_t rows = h - y < 3 ? h - y : 3;
            CKXBmp8 m(mask.px(0, y, 1), w, rows, mask.bmp.m_stride);
            CKXBmp32 d(strips.px(0, y, 4), w, rows, strips.bmp.m_stride);
            CKXBmpGray g(strips_gray.px(0, y, 2), w, rows, strips_gray.bmp.m_stride);
            ASSERT_EQ(s->render_to_bmp(to_device, _KXPOINT{0, y}, m, d), 1);
            ASSERT_EQ(s->render_to_bmpg(to_device, _KXPOINT{0, y}, m, g), 1);
        }
        EXPECT_TRUE(whole.bytes == strips.bytes);
        EXPECT_TRUE(whole_gray.bytes == strips_gray.bytes);
    }
}

}  // namespace
}  // namespace shadepaint
