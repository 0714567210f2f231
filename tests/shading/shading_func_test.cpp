// The function-based shading: what load reads, the domain test, the mapping
// from device pixels to domain points, the two stores with the gray form's
// row-first alpha, and bands against single-threaded renders.
#include "shading/shading_func.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/function.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

constexpr int64_t kOne = kKxOne;

// A calculator function stream as indirect object text, its Length counted.
std::string calculator(const char* domain, const char* range, const std::string& program) {
    return "<< /FunctionType 4 /Domain " + std::string(domain) + " /Range " + range + " /Length " +
           std::to_string(program.size()) + " >>\nstream\n" + program + "\nendstream";
}

// Objects 10 and up: functions of two inputs.
// 10: orange everywhere (1, 0.5, 0).
// 11: r = x / 100, g = y / 100, b = (x + y) / 200: every pixel of a picture
//     up to 100 x 100 is told apart from its neighbours.
// 12: a single output, x / 100.
// 13: a gray wedge, one output, 1 - x.
class FuncDoc {
public:
    CPDFXRefTable xref;

    FuncDoc() {
        add(10, calculator("[-1000 1000 -1000 1000]", "[0 1 0 1 0 1]", "{ pop pop 1 0.5 0 }"));
        add(11, calculator("[-1000 1000 -1000 1000]", "[0 1 0 1 0 1]",
                           "{ 0.01 mul exch 0.01 mul exch 2 copy add 0.5 mul }"));
        add(12, calculator("[-1000 1000 -1000 1000]", "[0 1]", "{ pop 0.01 mul }"));
        add(13, calculator("[0 1 0 1]", "[0 1]", "{ pop 1 exch sub }"));
    }
    void add(int32_t num, const std::string& text) {
        ASSERT_TRUE(xref.set_object(num, text.data(), text.size())) << text;
    }
    // The loaded shading of a dictionary given as text; null (with a failure)
    // when it is no function-based shading.
    CPDFShadingFunc* load(ShadingPtr& holder, const std::string& text) {
        ScopedObj o;
        EXPECT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj)) << text;
        holder.reset(CPDFShading::parser_shading(&xref, &o.obj));
        auto* s = dynamic_cast<CPDFShadingFunc*>(holder.get());
        EXPECT_NE(s, nullptr) << text;
        if (s) s->load();
        return s;
    }
};

std::string shading(const std::string& entries) {
    return "<< /ShadingType 1 /ColorSpace /DeviceRGB " + entries + " >>";
}

_KXMATRIX matrix(double a, double b, double c, double d, double e, double f) {
    auto fx = [](double v) { return KXFIX::from_raw(static_cast<int64_t>(v * kOne)); };
    return {fx(a), fx(b), fx(c), fx(d), fx(e), fx(f)};
}

// Bitmaps over vectors, with a stride wider than the row so that bytes
// between rows are watched too.
struct Pictures {
    int32_t width, height;
    int32_t mask_stride, dst_stride;
    std::vector<uint8_t> mask_bytes, dst_bytes;
    CKXBmp8 mask;
    CKXBmp32 dst;

    Pictures(int32_t w, int32_t h, uint8_t coverage, uint8_t fill = 0xab, int32_t pixel = 4)
        : width(w),
          height(h),
          mask_stride(w + 3),
          dst_stride(w * pixel + 5),
          mask_bytes(static_cast<size_t>(mask_stride) * h, coverage),
          dst_bytes(static_cast<size_t>(dst_stride) * h, fill),
          mask(mask_bytes.data(), w, h, mask_stride),
          dst(dst_bytes.data(), w, h, dst_stride) {}
    uint8_t* px(int32_t x, int32_t y, int32_t pixel = 4) {
        return dst_bytes.data() + static_cast<size_t>(y) * dst_stride + x * pixel;
    }
    uint8_t& cover(int32_t x, int32_t y) {
        return mask_bytes[static_cast<size_t>(y) * mask_stride + x];
    }
};

struct GrayPictures : Pictures {
    CKXBmpGray gray;
    GrayPictures(int32_t w, int32_t h, uint8_t coverage, uint8_t fill = 0xab)
        : Pictures(w, h, coverage, fill, 2), gray(dst_bytes.data(), w, h, dst_stride) {}
};

const _KXPOINT kOrigin = {0, 0};

TEST(FuncShadingLoad, DomainMatrixFunction) {
    FuncDoc doc;
    doc.add(1, "[-2 3 1 4]");
    doc.add(2, "[2 0 0 2 10 20]");
    struct Case {
        const char* entries;
        int64_t domain[4];
        _KXMATRIX matrix;
        int32_t func_count;
        const char* why;
    };
    const _KXMATRIX id = _KXMATRIX::identity();
    const _KXMATRIX m2 = matrix(2, 0, 0, 2, 10, 20);
    // clang-format off
    const Case cases[] = {
        {"/Function 10 0 R", {0, kOne, 0, kOne}, id, 1, "missing Domain and Matrix: unit square, identity"},
        {"/Domain [-2 3 1 4] /Function 10 0 R", {-2 * kOne, 3 * kOne, kOne, 4 * kOne}, id, 1, "x0 x1 y0 y1"},
        {"/Domain 1 0 R /Matrix 2 0 R /Function 10 0 R", {-2 * kOne, 3 * kOne, kOne, 4 * kOne}, m2, 1, "both by reference"},
        {"/Matrix [2 0 0 2 10 20] /Function [12 0 R 12 0 R 12 0 R]", {0, kOne, 0, kOne}, m2, 3, "three functions"},
        {"/Domain [0 1 2 3 4 5] /Function 10 0 R", {0, kOne, 2 * kOne, 3 * kOne}, id, 1, "items past four are ignored"},
        {"/Domain [0 /a 1 (b)] /Function 10 0 R", {0, 0, kOne, 0}, id, 1, "non-numbers read as 0"},
        {"", {0, kOne, 0, kOne}, id, 1, "missing Function: one entry from nothing"},
        {"/Function []", {0, kOne, 0, kOne}, id, 0, "empty array: no entries"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.entries) + ": " + c.why);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.load(holder, shading(c.entries));
        ASSERT_NE(s, nullptr);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(s->m_domain[i].m_raw, c.domain[i]) << i;
        EXPECT_EQ(std::memcmp(&s->m_matrix, &c.matrix, sizeof(_KXMATRIX)), 0);
        EXPECT_EQ(s->m_func_count, c.func_count);
        ASSERT_TRUE(s->m_funcs != nullptr || c.func_count == 0);
    }
}

// A short or missing Domain leaves no point inside, whatever the point.
TEST(FuncShadingLoad, UnusableDomainHasNoInside) {
    FuncDoc doc;
    for (const char* domain : {"[0 1]", "5", "/Unit", "[]", "9 0 R"}) {
        SCOPED_TRACE(domain);
        ShadingPtr holder;
        CPDFShadingFunc* s =
            doc.load(holder, shading(std::string("/Function 10 0 R /Domain ") + domain));
        ASSERT_NE(s, nullptr);
        for (int64_t x : {INT64_MIN, int64_t{0}, kOne / 2, int64_t{kKxMaxRaw}}) {
            _KXRGBA c = {1, 2, 3, 4};
            s->get_rgba(KXFIX::from_raw(x), KXFIX::from_raw(x), c);
            EXPECT_EQ(c.r | c.g | c.b | c.a, 0) << x;
        }
    }
}

// All four bounds belong to the domain; one raw unit beyond any of them is
// outside and all zeros.
TEST(FuncShadingColour, DomainEdges) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s = doc.load(holder, shading("/Domain [-2 3 1 4] /Function 10 0 R"));
    ASSERT_NE(s, nullptr);
    const int64_t x0 = -2 * kOne, x1 = 3 * kOne, y0 = kOne, y1 = 4 * kOne, mx = kOne / 2,
                  my = 2 * kOne;
    struct Case {
        int64_t x, y;
        bool inside;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {x0, my, true, "x0"},          {x0 - 1, my, false, "just left of x0"},
        {x1, my, true, "x1"},          {x1 + 1, my, false, "just right of x1"},
        {mx, y0, true, "y0"},          {mx, y0 - 1, false, "just below y0"},
        {mx, y1, true, "y1"},          {mx, y1 + 1, false, "just above y1"},
        {x0, y0, true, "corner"},      {x1 + 1, y1 + 1, false, "beyond the far corner"},
        {INT64_MIN, my, false, "far out"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        _KXRGBA rgba = {9, 9, 9, 9};
        s->get_rgba(KXFIX::from_raw(c.x), KXFIX::from_raw(c.y), rgba);
        if (c.inside) {
            EXPECT_EQ(rgba.r, 255);
            EXPECT_EQ(rgba.g, 128);
            EXPECT_EQ(rgba.b, 0);
            EXPECT_EQ(rgba.a, 255);
        } else {
            EXPECT_EQ(rgba.r | rgba.g | rgba.b | rgba.a, 0);
        }
    }
}

// How outputs become components: one function delivers all of them, several
// one each, missing outputs are zeros, and a gray space reads output 0 only.
TEST(FuncShadingColour, OutputsToComponents) {
    FuncDoc doc;
    // Function 11 gives 0.6, 0.2, 0.4 here: 153, 51 and 102, far from a
    // rounding step.
    const int64_t px = 60 * kOne, py = 20 * kOne;
    struct Case {
        const char* shading;
        _KXRGBA expected;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [0 100 0 100] /Function 11 0 R >>",
         {102, 51, 153, 255}, "one function, three outputs"},
        {"<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [0 100 0 100]"
         " /Function [12 0 R 10 0 R 12 0 R] >>",
         {153, 255, 153, 255}, "three functions: output 0 of each"},
        {"<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [0 100 0 100] /Function 12 0 R >>",
         {0, 0, 153, 255}, "too few outputs: the rest are 0"},
        {"<< /ShadingType 1 /ColorSpace /DeviceGray /Domain [0 100 0 100] /Function 11 0 R >>",
         {153, 153, 153, 255}, "gray: output 0 only"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.load(holder, c.shading);
        ASSERT_NE(s, nullptr);
        _KXRGBA rgba;
        s->get_rgba(KXFIX::from_raw(px), KXFIX::from_raw(py), rgba);
        EXPECT_EQ(rgba.r, c.expected.r);
        EXPECT_EQ(rgba.g, c.expected.g);
        EXPECT_EQ(rgba.b, c.expected.b);
        EXPECT_EQ(rgba.a, c.expected.a);
    }
}

// Pixel corners at whole shading units: with Domain [2 5 1 3] and identity
// matrices, columns 2 to 5 and rows 1 to 3 are inside, their neighbours out.
TEST(FuncShadingRender, PixelsAtDomainEdges) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s = doc.load(holder, shading("/Domain [2 5 1 3] /Function 10 0 R"));
    ASSERT_NE(s, nullptr);
    Pictures p(8, 5, 255);
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, p.mask, p.dst), 1);
    for (int32_t y = 0; y < 5; ++y) {
        for (int32_t x = 0; x < 8; ++x) {
            SCOPED_TRACE(std::to_string(x) + "," + std::to_string(y));
            const bool inside = x >= 2 && x <= 5 && y >= 1 && y <= 3;
            const uint8_t* q = p.px(x, y);
            const uint8_t orange[4] = {0, 128, 255, 254};
            const uint8_t cleared[4] = {0, 0, 0, 0};
            EXPECT_EQ(std::memcmp(q, inside ? orange : cleared, 4), 0);
        }
    }
    // Bytes between rows are left alone.
    for (int32_t y = 0; y < 5; ++y) EXPECT_EQ(p.px(8, y)[0], 0xab);
}

// The point of a pixel is its corner taken back through the device matrix
// and then through Matrix: with Matrix [1 0 0 1 5 0] and a device scale of 2,
// domain [0 1] holds device columns 10 to 12. (Through Matrix first it would
// be columns 5 to 7.) The origin shifts the device positions.
TEST(FuncShadingRender, DeviceThenMatrixInverse) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s =
        doc.load(holder, shading("/Domain [0 1 0 100] /Matrix [1 0 0 1 5 0] /Function 10 0 R"));
    ASSERT_NE(s, nullptr);
    struct Case {
        int32_t origin_x;
        int32_t first, last;
    };
    for (const Case& c : {Case{0, 10, 12}, Case{7, 3, 5}, Case{-4, 14, 16}}) {
        SCOPED_TRACE(c.origin_x);
        Pictures p(20, 1, 255);
        const _KXPOINT origin = {c.origin_x, 0};
        ASSERT_EQ(s->render_to_bmp(matrix(2, 0, 0, 2, 0, 0), origin, p.mask, p.dst), 1);
        for (int32_t x = 0; x < 20; ++x)
            EXPECT_EQ(p.px(x, 0)[3], x >= c.first && x <= c.last ? 254 : 0) << x;
    }
}

// Coverage 0 leaves the pixel as it was; a covered pixel outside the domain is
// cleared to zeros; covered pixels inside carry (coverage * 255) >> 8.
TEST(FuncShadingRender, CoverageInColour) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s = doc.load(holder, shading("/Domain [0 3 0 1] /Function 10 0 R"));
    ASSERT_NE(s, nullptr);
    Pictures p(5, 1, 0);
    const uint8_t coverage[5] = {0, 1, 128, 255, 255};
    for (int32_t x = 0; x < 5; ++x) p.cover(x, 0) = coverage[x];
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, p.mask, p.dst), 1);
    const uint8_t want[5][4] = {
        {0xab, 0xab, 0xab, 0xab}, {0, 128, 255, 0}, {0, 128, 255, 127},
        {0, 128, 255, 254},       {0, 0, 0, 0},  // column 4 lies beyond x1 = 3
    };
    for (int32_t x = 0; x < 5; ++x) EXPECT_EQ(std::memcmp(p.px(x, 0), want[x], 4), 0) << x;
}

// The gray form tests each pixel's own coverage to decide whether to paint,
// but scales alpha by the coverage of the row's first pixel.
TEST(FuncShadingRender, GrayAlphaFromRowFirstCoverage) {
    FuncDoc doc;
    ShadingPtr holder;
    // Orange: gray (255 * 306 + 128 * 601) >> 10 = 151.
    CPDFShadingFunc* s = doc.load(holder, shading("/Domain [0 10 0 10] /Function 10 0 R"));
    ASSERT_NE(s, nullptr);
    struct Case {
        uint8_t coverage[3];
        uint8_t colour_alpha[3];
        uint8_t gray_alpha[3];
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{0, 255, 255}, {0xab, 254, 254}, {0xab, 0, 0}, "first 0: gray written, alpha 0"},
        {{128, 255, 1}, {127, 254, 0}, {127, 127, 127}, "first 128 for all three"},
        {{255, 0, 128}, {254, 0xab, 127}, {254, 0xab, 254}, "a 0 in the row still skips"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Pictures colour(3, 2, 0);
        GrayPictures gray(3, 2, 0);
        for (int32_t x = 0; x < 3; ++x) {
            colour.cover(x, 1) = gray.cover(x, 1) = c.coverage[x];
            // Row 0 is fully covered: the rule is per row, not per bitmap.
            colour.cover(x, 0) = gray.cover(x, 0) = 255;
        }
        ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, colour.mask, colour.dst), 1);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), kOrigin, gray.mask, gray.gray), 1);
        for (int32_t x = 0; x < 3; ++x) {
            SCOPED_TRACE(x);
            EXPECT_EQ(colour.px(x, 1)[3], c.colour_alpha[x]);
            EXPECT_EQ(gray.px(x, 1, 2)[0], c.coverage[x] ? 151 : 0xab);
            EXPECT_EQ(gray.px(x, 1, 2)[1], c.gray_alpha[x]);
            EXPECT_EQ(gray.px(x, 0, 2)[0], 151);
            EXPECT_EQ(gray.px(x, 0, 2)[1], 254);
        }
    }
}

// What the document can leave without meaning paints nothing: the pictures
// stay exactly as they were, and the call still succeeds.
TEST(FuncShadingRender, UnpaintableShadingsTouchNothing) {
    FuncDoc doc;
    // clang-format off
    const char* const cases[] = {
        "<< /ShadingType 1 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 1 /ColorSpace /DeviceRGB /Function 7 >>",
        "<< /ShadingType 1 /ColorSpace /DeviceRGB /Function [] >>",
        "<< /ShadingType 1 /ColorSpace /DeviceRGB /Function [10 0 R 99 0 R 10 0 R] >>",
        "<< /ShadingType 1 /Function 10 0 R >>",
        "<< /ShadingType 1 /ColorSpace /NoSuchSpace /Function 10 0 R >>",
    };
    // clang-format on
    for (const char* text : cases) {
        SCOPED_TRACE(text);
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.load(holder, text);
        ASSERT_NE(s, nullptr);
        Pictures colour(4, 3, 255);
        GrayPictures gray(4, 3, 255);
        const std::vector<uint8_t> before = colour.dst_bytes;
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, colour.mask, colour.dst), 1);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), kOrigin, gray.mask, gray.gray), 1);
        EXPECT_EQ(colour.dst_bytes, before);
        EXPECT_EQ(gray.dst_bytes, std::vector<uint8_t>(gray.dst_bytes.size(), 0xab));
    }
}

// Sizes that differ by one return 0 and touch nothing; empty bitmaps of equal
// size return 1.
TEST(FuncShadingRender, Sizes) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s = doc.load(holder, shading("/Domain [0 100 0 100] /Function 10 0 R"));
    ASSERT_NE(s, nullptr);
    struct Case {
        int32_t mw, mh, dw, dh, result;
    };
    for (const Case& c : {Case{4, 3, 5, 3, 0}, Case{4, 3, 4, 2, 0}, Case{0, 0, 0, 0, 1},
                          Case{-3, 2, -3, 2, 1}, Case{3, -2, 3, -2, 1}}) {
        SCOPED_TRACE(std::to_string(c.mw) + "x" + std::to_string(c.mh));
        std::vector<uint8_t> mask(64, 255), dst(256, 0xab);
        CKXBmp8 m(mask.data(), c.mw, c.mh, 8);
        CKXBmp32 d(dst.data(), c.dw, c.dh, 32);
        CKXBmpGray g(dst.data(), c.dw, c.dh, 32);
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, m, d), c.result);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), kOrigin, m, g), c.result);
        EXPECT_EQ(dst, std::vector<uint8_t>(256, 0xab));
    }
}

// Singular matrices on either side go on with the inversion's markers: no
// crash, no undefined behaviour, status 1.
TEST(FuncShadingRender, SingularMatrices) {
    FuncDoc doc;
    struct Case {
        const char* matrix_entry;
        _KXMATRIX device;
    };
    const Case cases[] = {
        {"", matrix(0, 0, 0, 0, 0, 0)},
        {"", matrix(1, 2, 2, 4, 3, 3)},
        {"/Matrix [1 2 2 4 0 0]", _KXMATRIX::identity()},
        {"/Matrix [0 0 0 0 5 5]", matrix(0, 1, 0, 0, 0, 0)},
        {"/Matrix [1000000000 0 0 0.000000001 0 0]", matrix(1e6, 0, 0, 1e-6, 1e6, -1e6)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.matrix_entry);
        ShadingPtr holder;
        CPDFShadingFunc* s =
            doc.load(holder, shading(std::string(c.matrix_entry) + " /Function 11 0 R"));
        ASSERT_NE(s, nullptr);
        Pictures colour(9, 9, 255);
        GrayPictures gray(9, 9, 255);
        const _KXPOINT origin = {-2147483647, 2147483600};
        EXPECT_EQ(s->render_to_bmp(c.device, origin, colour.mask, colour.dst), 1);
        EXPECT_EQ(s->render_to_bmpg(c.device, origin, gray.mask, gray.gray), 1);
    }
}

// A mask with coverage varying by pixel, the same for every render of a size.
void pattern_mask(Pictures& p) {
    for (int32_t y = 0; y < p.height; ++y)
        for (int32_t x = 0; x < p.width; ++x)
            p.cover(x, y) =
                static_cast<uint8_t>((x * 7 + y * 13) % 5 == 0 ? 0 : 40 + (x + y) % 200);
}

// Each pixel is computed by itself, so a render cut into bands is byte for
// byte the picture painted a few rows at a time (never banded below 8 rows).
TEST(FuncShadingRender, BandsMatchRowByRow) {
    FuncDoc doc;
    ShadingPtr holder;
    CPDFShadingFunc* s = doc.load(holder, shading("/Domain [0 100 0 100] /Function 11 0 R"));
    ASSERT_NE(s, nullptr);
    struct Case {
        int32_t width, height;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {100, 400, "exactly 40000 pixels: caller alone"},
        {101, 400, "40400 pixels: four bands of 100 rows"},
        {6000, 7, "42000 pixels but 7 rows: caller alone"},
        {5000, 8, "four bands of two rows"},
        {1000, 103, "workers 25 rows, caller 28"},
        {1, 40001, "one column, banded"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Pictures whole(c.width, c.height, 0);
        GrayPictures whole_gray(c.width, c.height, 0);
        pattern_mask(whole);
        pattern_mask(whole_gray);
        // Shading 0..100 spans the bitmap, so the picture shows the whole
        // domain.
        const _KXMATRIX to_device = matrix(c.width / 100.0, 0, 0, c.height / 100.0, 0, 0);
        ASSERT_EQ(s->render_to_bmp(to_device, kOrigin, whole.mask, whole.dst), 1);
        ASSERT_EQ(s->render_to_bmpg(to_device, kOrigin, whole_gray.mask, whole_gray.gray), 1);

        // The same rows, three at a time, through the origin.
        Pictures strips(c.width, c.height, 0);
        GrayPictures strips_gray(c.width, c.height, 0);
        pattern_mask(strips);
        pattern_mask(strips_gray);
        for (int32_t y = 0; y < c.height; y += 3) {
            const int32_t rows = c.height - y < 3 ? c.height - y : 3;
            const size_t mo = static_cast<size_t>(y) * strips.mask_stride;
            const size_t d_off = static_cast<size_t>(y) * strips.dst_stride;
            CKXBmp8 m(strips.mask_bytes.data() + mo, c.width, rows, strips.mask_stride);
            CKXBmp32 d(strips.dst_bytes.data() + d_off, c.width, rows, strips.dst_stride);
            CKXBmp8 mg(strips_gray.mask_bytes.data() + mo, c.width, rows, strips.mask_stride);
            CKXBmpGray g(
                strips_gray.dst_bytes.data() + static_cast<size_t>(y) * strips_gray.dst_stride,
                c.width, rows, strips_gray.dst_stride);
            const _KXPOINT origin = {0, y};
            ASSERT_EQ(s->render_to_bmp(to_device, origin, m, d), 1);
            ASSERT_EQ(s->render_to_bmpg(to_device, origin, mg, g), 1);
        }
        EXPECT_TRUE(whole.dst_bytes == strips.dst_bytes);
        EXPECT_TRUE(whole_gray.dst_bytes == strips_gray.dst_bytes);
    }
}

// A shading held as a stream reads its dictionary like any other.
TEST(FuncShadingLoad, StreamShading) {
    FuncDoc doc;
    doc.add(5,
            "<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [0 2 0 2] /Function 10 0 R "
            "/Length 0 >>\nstream\nendstream");
    ScopedObj ref;
    ASSERT_TRUE(CPDFXRefTable::parse_object("5 0 R", 5, ref.obj));
    ShadingPtr holder(CPDFShading::parser_shading(&doc.xref, &ref.obj));
    auto* s = dynamic_cast<CPDFShadingFunc*>(holder.get());
    ASSERT_NE(s, nullptr);
    s->load();
    EXPECT_EQ(s->m_domain[1].m_raw, 2 * kOne);
    Pictures p(4, 1, 255);
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), kOrigin, p.mask, p.dst), 1);
    EXPECT_EQ(p.px(2, 0)[3], 254);
    EXPECT_EQ(p.px(3, 0)[3], 0);
}

// Every allocation of a load failing in turn: the shading stays safe to
// render and delete, and paints either nothing or the full picture.
TEST(FuncShadingLoad, AllocationFailures) {
    FuncDoc doc;
    const std::string text = shading("/Domain [0 4 0 4] /Function [12 0 R 10 0 R 12 0 R]");
    Pictures reference(4, 2, 255);
    {
        ShadingPtr holder;
        CPDFShadingFunc* s = doc.load(holder, text);
        ASSERT_NE(s, nullptr);
        s->render_to_bmp(_KXMATRIX::identity(), kOrigin, reference.mask, reference.dst);
    }
    // Past the last allocation every run is complete; the fixed count reaches
    // well beyond it, so no late failure point is skipped.
    constexpr int32_t kRuns = 120;
    int32_t first_complete = -1;
    for (int32_t n = 0; n < kRuns; ++n) {
        SCOPED_TRACE(n);
        ScopedObj o;
        ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
        test::AllocFailGuard guard(n);
        ShadingPtr holder(CPDFShading::parser_shading(&doc.xref, &o.obj));
        if (!holder) continue;
        holder->load();
        Pictures p(4, 2, 255);
        EXPECT_EQ(holder->render_to_bmp(_KXMATRIX::identity(), kOrigin, p.mask, p.dst), 1);
        const bool untouched = p.dst_bytes == std::vector<uint8_t>(p.dst_bytes.size(), 0xab);
        const bool complete = p.dst_bytes == reference.dst_bytes;
        if (complete && first_complete < 0) first_complete = n;
        EXPECT_TRUE(first_complete < 0 ? untouched || complete : complete);
    }
    EXPECT_GE(first_complete, 1);
    EXPECT_LT(first_complete, kRuns / 2);
}

}  // namespace
}  // namespace shadepaint
