// The axial shading: load (axis, reciprocal, Domain, Extend, ramp) and the
// pixel rules through the render entry points.
#include "shading/shading_axial.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "shading/bitmap.h"
#include "shading/render_band.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Canvas;
using testing::Doc;
using testing::kOne;
using testing::ShadingPtr;

// A ramp whose red byte is its index, so that a pixel tells which entry it
// shows; green 100 and blue 200 tell a ramp pixel from a background one.
void index_ramp(CPDFShadingAxial& s) {
    for (int i = 0; i < 256; ++i) s.m_ramp[i] = _KXRGBA{200, 100, static_cast<uint8_t>(i), 255};
}

std::string axial(const std::string& entries) {
    return "<< /ShadingType 2 /ColorSpace /DeviceRGB " + entries + " >>";
}

TEST(AxialLoad, ReciprocalAndPreShift) {
    Doc doc;
    doc.add(1, "[0 0 100 0]");
    struct Case {
        const char* coords;
        int32_t shift;
        int64_t scale;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"[0 0 100 0]", 0, 671088, "horizontal: 2^52 / raw(100.0)"},
        {"1 0 R", 0, 671088, "by reference"},
        {"[100 0 0 0]", 0, -671088, "runs left: sign of the difference"},
        {"[0 0 0 -100]", 0, -671088, "vertical upward: negative"},
        {"[5 0 5 100]", 0, 671088, "vertical"},
        {"[0 0 100 100]", 0, 3355, "1 / 20000, truncated"},
        {"[0 0 1000 1000]", 8, 2199023, "class 8, reciprocal of shifted values"},
        {"[0 0 255.5 1]", 0, 1027, "below 256.0: class 0"},
        {"[0 0 256 1]", 8, 67107840, "256.0: class 8"},
        {"[0 0 1 -70000]", 16, 58822525, "class from y, sign ignored"},
        {"[0 0 20000000 1]", 24, 47223665, "class 24"},
        {"[0 0 100000 0]", 0, 671, "horizontal: never pre-shifted"},
        {"[0 0 0 0]", 0, 0, "zero length: nothing to divide"},
        {"[3 4 3 4]", 0, 0, "zero length elsewhere"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.coords) + ": " + c.why);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(std::string("/Coords ") + c.coords));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_shift, c.shift);
        EXPECT_EQ(s->m_scale.m_raw, c.scale);
        EXPECT_EQ(s->m_dx.m_raw, (s->m_coords.right - s->m_coords.left).m_raw);
        EXPECT_EQ(s->m_dy.m_raw, (s->m_coords.bottom - s->m_coords.top).m_raw);
    }
}

TEST(AxialLoad, DomainAndExtend) {
    Doc doc;
    doc.add(1, "[0.25 0.75]");
    doc.add(2, "true");
    struct Case {
        const char* entries;
        int64_t t0, t1;
        int32_t start, end;
    };
    // clang-format off
    const Case cases[] = {
        {"", 0, kOne, 0, 0},
        {"/Domain [0.25 0.75]", kOne / 4, 3 * kOne / 4, 0, 0},
        {"/Domain 1 0 R", kOne / 4, 3 * kOne / 4, 0, 0},
        {"/Domain [1 0]", kOne, 0, 0, 0},
        {"/Domain [2 0 R 3]", 0, 3 * kOne, 0, 0},  // a non-number reads as 0
        {"/Domain [5]", 5 * kOne, 0, 0, 0},       // missing item reads as 0
        {"/Domain /Bad", 0, 0, 0, 0},
        {"/Extend [true false]", 0, kOne, 1, 0},
        {"/Extend [false 2 0 R]", 0, kOne, 0, 1},
        {"/Extend [1 1]", 0, kOne, 0, 0},        // numbers are no booleans
        {"/Extend [true]", 0, kOne, 1, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder,
                                             axial(std::string("/Coords [0 0 1 0] ") + c.entries));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_t0.m_raw, c.t0);
        EXPECT_EQ(s->m_t1.m_raw, c.t1);
        EXPECT_EQ(s->m_extend_start, c.start);
        EXPECT_EQ(s->m_extend_end, c.end);
    }
}

// A shading without Coords has a zero-length axis; one held as a stream reads
// the stream's dictionary.
TEST(AxialLoad, MissingCoordsAndStreamForm) {
    Doc doc;
    ShadingPtr a;
    auto* s = doc.load<CPDFShadingAxial>(a, axial("/Domain [0 2]"));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->m_coords.left.m_raw | s->m_coords.top.m_raw | s->m_coords.right.m_raw |
                  s->m_coords.bottom.m_raw,
              0);
    EXPECT_EQ(s->m_scale.m_raw, 0);
    EXPECT_EQ(s->m_t1.m_raw, 2 * kOne);
    ShadingPtr b;
    s = doc.load<CPDFShadingAxial>(
        b,
        "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0] /Length 0 >>\nstream\n"
        "\nendstream");
    ASSERT_NE(s, nullptr);
    EXPECT_NE(s->m_cs, nullptr);
    EXPECT_EQ(s->m_scale.m_raw, 671088);
}

// End to end through a real function: red at the start of the domain, blue at
// its end, and a reversed Domain builds the ramp backwards.
TEST(AxialLoad, RampFromAFunction) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    struct Case {
        const char* entries;
        int first_red, last_red;
    };
    const Case cases[] = {
        {"/Function 1 0 R", 255, 0},
        {"/Function 1 0 R /Domain [1 0]", 0, 255},
        {"/Function [1 0 R]", 255, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder,
                                             axial(std::string("/Coords [0 0 1 0] ") + c.entries));
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_func_count, 1);
        ASSERT_NE(s->m_funcs[0], nullptr);
        EXPECT_EQ(s->m_ramp[0].r, c.first_red);
        EXPECT_EQ(s->m_ramp[255].r, c.last_red);
        EXPECT_EQ(s->m_ramp[0].b, 255 - c.first_red);
        for (int i = 0; i < 256; ++i) EXPECT_EQ(s->m_ramp[i].a, 255);
    }
}

// Without a colour space nothing can be made of the functions: the ramp stays
// transparent, and covered pixels become transparent black.
TEST(AxialLoad, NoColourSpaceLeavesATransparentRamp) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(
        holder,
        "<< /ShadingType 2 /Coords [0 0 1 0] /Function << /FunctionType 2 /Domain [0 1] "
        "/N 1 >> >>");
    ASSERT_NE(s, nullptr);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(s->m_ramp[i].a, 0);
}

TEST(AxialPosition, WorkedPoints) {
    Doc doc;
    struct Case {
        const char* coords;
        double x, y;
        int64_t t;
    };
    // clang-format off
    const Case cases[] = {
        {"[0 0 100 0]", 50, 0, 33554400},
        {"[0 0 100 0]", 100, 0, 67108800},
        {"[0 0 100 0]", 50, 123, 33554400},  // y plays no part
        {"[0 0 100 100]", 50, 50, 33550000},
        {"[0 0 1000 1000]", 500, 500, 33554428},
        {"[0 0 1000 1000]", 1000, 1000, 67108856},
        {"[0 0 0 0]", 77, 5, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.coords << " at " << c.x << ", " << c.y);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder, axial(std::string("/Coords ") + c.coords));
        ASSERT_NE(s, nullptr);
        const KXFIX x = KXFIX::from_raw(static_cast<int64_t>(c.x * kOne));
        const KXFIX y = KXFIX::from_raw(static_cast<int64_t>(c.y * kOne));
        EXPECT_EQ((s->m_shift ? s->get_pos_mul(x, y) : s->get_pos(x, y)).m_raw, c.t);
    }
}

// One row along a horizontal axis [0 0 100 0] from x = -1 to 101, identity
// matrix: pixel i sits at x = i - 1.
struct Row {
    std::vector<_KXRGBA> px;
};

Row render_row(CPDFShadingAxial& s) {
    CKXBmp8 mask(103, 1);
    for (int i = 0; i < 103; ++i) mask.m_data[i] = 255;
    CKXBmp32 dst(103, 1);
    EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), _KXPOINT{-1, 0}, mask, dst), 1);
    Row r;
    for (int i = 0; i < 103; ++i) {
        const uint8_t* p = dst.m_data + 4 * i;
        r.px.push_back(_KXRGBA{p[0], p[1], p[2], p[3]});
    }
    return r;
}

// The rules of Domain and Extend as they are stated: both tests when the
// domain ends are equal, the flags tied to t0 and t1 rather than to the axis.
bool shows_background(int64_t t, int64_t t0, int64_t t1, bool start, bool end) {
    if (t0 <= t1) {
        if (t < t0 && !start) return true;
        if (t > t1 && !end) return true;
    }
    if (t0 >= t1) {
        if (t > t0 && !start) return true;
        if (t < t1 && !end) return true;
    }
    return false;
}

TEST(AxialRender, DomainAndExtendAgainstTheirRules) {
    Doc doc;
    const char* const domains[] = {"[0 1]",     "[0.25 0.75]", "[0 2]",    "[1 0]",
                                   "[0.5 0.5]", "[-1 0.5]",    "[0.7 0.2]"};
    const char* const extends[] = {"[false false]", "[true false]", "[false true]", "[true true]"};
    for (const char* domain : domains) {
        for (const char* extend : extends) {
            for (const bool background : {false, true}) {
                SCOPED_TRACE(::testing::Message()
                             << "Domain " << domain << " Extend " << extend
                             << (background ? " with" : " without") << " Background");
                ShadingPtr holder;
                auto* s = doc.load<CPDFShadingAxial>(
                    holder,
                    axial(std::string("/Coords [0 0 100 0] /Domain ") + domain + " /Extend " +
                          extend + (background ? " /Background [0 1 0]" : "")));
                ASSERT_NE(s, nullptr);
                index_ramp(*s);
                const Row row = render_row(*s);
                for (int i = 0; i < 103; ++i) {
                    const KXFIX x = KXFIX::from_int(i - 1);
                    const KXFIX t = s->get_pos(x, KXFIX{0});
                    const _KXRGBA& p = row.px[static_cast<size_t>(i)];
                    if (shows_background(t.m_raw, s->m_t0.m_raw, s->m_t1.m_raw, s->m_extend_start,
                                         s->m_extend_end)) {
                        // The background word, or zero; the pixel is written.
                        EXPECT_EQ(p.g, background ? 255 : 0) << "x " << i - 1;
                        EXPECT_EQ(p.r, 0) << "x " << i - 1;
                        EXPECT_EQ(p.a, background ? 254 : 0) << "x " << i - 1;
                    } else {
                        EXPECT_EQ(p.g, 100) << "x " << i - 1;
                        EXPECT_EQ(p.r, t.to_byte()) << "x " << i - 1;
                        EXPECT_EQ(p.a, 254) << "x " << i - 1;
                    }
                }
            }
        }
    }
}

// The worked pixels of the horizontal axis, and the unmapped domain: with
// [0.25 0.75] the painted part shows the middle entries of the ramp, with
// [0 2] the far half shows entry 255.
TEST(AxialRender, WorkedPixels) {
    Doc doc;
    struct Case {
        const char* entries;
        int x;
        int red;  // -1: background
    };
    // clang-format off
    const Case cases[] = {
        {"", -1, -1}, {"", 0, 0}, {"", 50, 127}, {"", 100, 255}, {"", 101, -1},
        {"/Extend [true true]", -1, 0}, {"/Extend [true true]", 101, 255},
        {"/Domain [0.25 0.75]", 25, -1},  // t falls just short of 0.25
        {"/Domain [0.25 0.75]", 26, 66},
        {"/Domain [0.25 0.75]", 75, 191},
        {"/Domain [0.25 0.75]", 76, -1},
        {"/Domain [0 2]", 101, 255},
        {"/Domain [1 0] /Extend [true false]", 101, 255},  // start flag guards t above 1
        {"/Domain [1 0] /Extend [true false]", -1, -1},
        {"/Domain [1 0] /Extend [false true]", -1, 0},
        {"/Domain [0.5 0.5] /Extend [true false]", 10, -1},
        {"/Domain [0.5 0.5] /Extend [true true]", 10, 25},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.entries << " x " << c.x);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(
            holder, axial(std::string("/Coords [0 0 100 0] ") + c.entries));
        ASSERT_NE(s, nullptr);
        index_ramp(*s);
        const _KXRGBA p = render_row(*s).px[static_cast<size_t>(c.x + 1)];
        if (c.red < 0) {
            EXPECT_EQ(p.a, 0);
            EXPECT_EQ(p.g, 0);
        } else {
            EXPECT_EQ(p.g, 100);
            EXPECT_EQ(p.r, c.red);
        }
    }
}

// A zero-length axis puts every pixel at 0: entry 0 with the usual domain.
TEST(AxialRender, ZeroLengthAxisShowsTheFirstEntry) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [7 7 7 7]"));
    ASSERT_NE(s, nullptr);
    index_ramp(*s);
    for (const _KXRGBA& p : render_row(*s).px) {
        EXPECT_EQ(p.g, 100);
        EXPECT_EQ(p.r, 0);
    }
}

// Coverage multiplies alpha without rounding; coverage 0 leaves the pixel
// exactly as it was, in both forms.
TEST(AxialRender, CoverageScalesAlpha) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [0 0 4 0] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    for (int i = 0; i < 256; ++i) s->m_ramp[i] = _KXRGBA{10, 20, 30, 255};
    struct Case {
        uint8_t coverage;
        int alpha;  // -1: untouched
    };
    const Case cases[] = {{0, -1}, {1, 0}, {2, 1}, {128, 127}, {254, 253}, {255, 254}};
    const int n = static_cast<int>(sizeof(cases) / sizeof(cases[0]));
    Canvas<CKXBmp8> mask(n, 1, n, 0);
    for (int i = 0; i < n; ++i) mask.bytes[static_cast<size_t>(i)] = cases[i].coverage;
    Canvas<CKXBmp32> dst(n, 1, 4 * n, 0xab);
    Canvas<CKXBmpGray> gray(n, 1, 2 * n, 0xab);
    EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
    EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
    const int expected_gray = (30 * 306 + 20 * 601 + 10 * 117) >> 10;
    for (int i = 0; i < n; ++i) {
        SCOPED_TRACE(static_cast<int>(cases[i].coverage));
        const uint8_t* p = dst.px(i, 0, 4);
        const uint8_t* g = gray.px(i, 0, 2);
        if (cases[i].alpha < 0) {
            EXPECT_EQ(p[0] & p[1] & p[2] & p[3], 0xab);
            EXPECT_EQ(g[0] & g[1], 0xab);
            continue;
        }
        EXPECT_EQ(p[0], 10);
        EXPECT_EQ(p[1], 20);
        EXPECT_EQ(p[2], 30);
        EXPECT_EQ(p[3], cases[i].alpha);
        EXPECT_EQ(g[0], expected_gray);
        EXPECT_EQ(g[1], cases[i].alpha);
    }
}

// The gray form stores the weighted sum of the colour word, from the colour
// ramp; Background goes the same way, and no Background gives gray 0, alpha 0.
TEST(AxialRender, GrayFromTheColourWord) {
    Doc doc;
    struct Case {
        const char* entries;
        _KXRGBA word;  // ramp entries, b g r a
        int gray;
        int alpha;
    };
    // clang-format off
    const Case cases[] = {
        {"/Extend [true true]", {0, 0, 255, 255}, 76, 254},    // red
        {"/Extend [true true]", {0, 255, 0, 255}, 149, 254},   // green
        {"/Extend [true true]", {255, 0, 0, 255}, 29, 254},    // blue
        {"/Extend [true true]", {255, 255, 255, 255}, 255, 254},
        {"/Domain [5 6] /Background [1 1 1]", {0, 0, 0, 255}, 255, 254},
        {"/Domain [5 6]", {255, 255, 255, 255}, 0, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(holder,
                                             axial(std::string("/Coords [0 0 4 0] ") + c.entries));
        ASSERT_NE(s, nullptr);
        for (int i = 0; i < 256; ++i) s->m_ramp[i] = c.word;
        CKXBmp8 mask(3, 2);
        for (int i = 0; i < 6; ++i) mask.m_data[i] = 255;
        CKXBmpGray dst(3, 2);
        ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, dst), 1);
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(dst.m_data[2 * i], c.gray);
            EXPECT_EQ(dst.m_data[2 * i + 1], c.alpha);
        }
    }
}

// Row addressing goes by each bitmap's own stride and never past the width:
// the bytes between rows keep their fill.
TEST(AxialRender, WideStridesLeaveTheGapsAlone) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [0 0 10 3] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    index_ramp(*s);
    const int w = 7, h = 9;
    Canvas<CKXBmp8> mask(w, h, w + 5, 0xee);  // the gaps read as coverage if touched
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) *mask.px(x, y, 1) = 255;
    Canvas<CKXBmp32> dst(w, h, 4 * w + 12, 0xcd);
    Canvas<CKXBmpGray> gray(w, h, 2 * w + 6, 0xcd);
    Canvas<CKXBmp32> tight(w, h, 4 * w, 0xcd);
    const _KXMATRIX m = _KXMATRIX::identity();
    ASSERT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask.bmp, dst.bmp), 1);
    ASSERT_EQ(s->render_to_bmpg(m, _KXPOINT{0, 0}, mask.bmp, gray.bmp), 1);
    ASSERT_EQ(s->render_to_bmp(m, _KXPOINT{0, 0}, mask.bmp, tight.bmp), 1);
    for (int y = 0; y < h; ++y) {
        for (int i = 4 * w; i < 4 * w + 12; ++i) EXPECT_EQ(*(dst.px(0, y, 4) + i), 0xcd);
        for (int i = 2 * w; i < 2 * w + 6; ++i) EXPECT_EQ(*(gray.px(0, y, 2) + i), 0xcd);
        for (int x = 0; x < w; ++x) {
            for (int k = 0; k < 4; ++k) EXPECT_EQ(dst.px(x, y, 4)[k], tight.px(x, y, 4)[k]);
        }
    }
    EXPECT_EQ(dst.bytes.back(), 0xcd);
}

TEST(AxialRender, SizeMismatchTouchesNothing) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [0 0 10 0] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    struct Case {
        int mw, mh, dw, dh;
        int32_t result;
    };
    const Case cases[] = {
        {5, 5, 6, 5, 0}, {5, 5, 5, 6, 0}, {6, 5, 5, 5, 0}, {5, 4, 5, 5, 0},
        {0, 0, 0, 0, 1}, {0, 5, 0, 5, 1}, {5, 0, 5, 0, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << c.mw << "x" << c.mh << " onto " << c.dw << "x" << c.dh);
        Canvas<CKXBmp8> mask(c.mw, c.mh, c.mw + 1, 255);
        Canvas<CKXBmp32> dst(c.dw, c.dh, 4 * c.dw + 4, 0x5a);
        Canvas<CKXBmpGray> gray(c.dw, c.dh, 2 * c.dw + 2, 0x5a);
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, dst.bmp),
                  c.result);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask.bmp, gray.bmp),
                  c.result);
        for (uint8_t b : dst.bytes) EXPECT_EQ(b, 0x5a);
        for (uint8_t b : gray.bytes) EXPECT_EQ(b, 0x5a);
    }
}

// Every loop the render may choose (one colour a row, rows that repeat, a
// slanted axis without rotation, the general loop) against the pixel rule
// applied to the running coordinates: x and y of pixel (i, j) are the band
// start plus j row steps plus i column steps. The mask mixes fully covered
// groups, partial coverage and holes; the width crosses a run of columns.
TEST(AxialRender, EveryLoopFollowsThePixelRule) {
    Doc doc;
    const char* const coords[] = {"[0 0 530 0]", "[3 -2 3 9]", "[0 0 100 5]", "[0 0 400 9]",
                                  "[530 4 0 4]"};
    const _KXMATRIX matrices[] = {
        _KXMATRIX::identity(),
        {KXFIX::from_raw(2 * kOne), KXFIX{0}, KXFIX{0}, KXFIX::from_raw(kOne / 2),
         KXFIX::from_raw(-3 * kOne), KXFIX::from_raw(kOne / 3)},
        {KXFIX{0}, KXFIX::from_raw(kOne), KXFIX::from_raw(-kOne), KXFIX{0},
         KXFIX::from_raw(9 * kOne), KXFIX{0}},  // a quarter turn
        {KXFIX::from_raw(kOne), KXFIX::from_raw(kOne / 7), KXFIX::from_raw(kOne / 5),
         KXFIX::from_raw(kOne), KXFIX{0}, KXFIX{0}},
    };
    const int32_t w = 530, h = 9;
    CKXBmp8 mask(w, h);
    for (int32_t j = 0; j < h; ++j) {
        for (int32_t i = 0; i < w; ++i) {
            const int32_t group = i / 8;
            uint8_t c = 255;
            if ((group + j) % 5 == 1) c = static_cast<uint8_t>(i * 37 + j);  // partial, some 0
            if ((group + j) % 7 == 3 && i % 3 == 0) c = 0;
            mask.m_data[j * w + i] = c;
        }
    }
    const _KXPOINT origin = {-12, 2};
    for (const char* c : coords) {
        ShadingPtr holder;
        auto* s = doc.load<CPDFShadingAxial>(
            holder,
            axial(std::string("/Coords ") + c + " /Extend [true false] /Background [0 0 1]"));
        ASSERT_NE(s, nullptr);
        index_ramp(*s);
        for (size_t mi = 0; mi < sizeof(matrices) / sizeof(matrices[0]); ++mi) {
            SCOPED_TRACE(::testing::Message() << "Coords " << c << " matrix " << mi);
            _KXMATRIX inv = matrices[mi];
            inv.do_invert();
            KXFIX cx = KXFIX::from_raw(kOne), cy{0}, rx{0}, ry = KXFIX::from_raw(kOne);
            inv.transform_delta(cx, cy);
            inv.transform_delta(rx, ry);
            KXFIX sx = KXFIX::from_int(origin.x), sy = KXFIX::from_int(origin.y);
            inv.transform_point(sx, sy);
            CKXBmp32 colour(w, h);
            CKXBmpGray gray(w, h);
            std::memset(colour.m_data, 0x77, static_cast<size_t>(w) * h * 4);
            std::memset(gray.m_data, 0x77, static_cast<size_t>(w) * h * 2);
            ASSERT_EQ(s->render_to_bmp(matrices[mi], origin, mask, colour), 1);
            ASSERT_EQ(s->render_to_bmpg(matrices[mi], origin, mask, gray), 1);
            for (int32_t j = 0; j < h; ++j) {
                for (int32_t i = 0; i < w; ++i) {
                    const uint32_t m = mask.m_data[j * w + i];
                    const uint8_t* p = colour.m_data + 4 * (j * w + i);
                    const uint8_t* g = gray.m_data + 2 * (j * w + i);
                    if (m == 0) {
                        ASSERT_EQ(p[0] & p[1] & p[2] & p[3] & g[0] & g[1], 0x77) << i << "," << j;
                        continue;
                    }
                    const KXFIX x = sx + rx.mul_int(j) + cx.mul_int(i);
                    const KXFIX y = sy + ry.mul_int(j) + cy.mul_int(i);
                    const KXFIX t = s->m_shift ? s->get_pos_mul(x, y) : s->get_pos(x, y);
                    _KXRGBA e = s->m_bg_rgba;
                    if (!shows_background(t.m_raw, s->m_t0.m_raw, s->m_t1.m_raw, s->m_extend_start,
                                          s->m_extend_end))
                        e = s->m_ramp[t.to_byte()];
                    const uint8_t alpha = static_cast<uint8_t>((m * e.a) >> 8);
                    ASSERT_EQ(p[0], e.b) << i << "," << j;
                    ASSERT_EQ(p[1], e.g) << i << "," << j;
                    ASSERT_EQ(p[2], e.r) << i << "," << j;
                    ASSERT_EQ(p[3], alpha) << i << "," << j;
                    ASSERT_EQ(g[0], (e.r * 306 + e.g * 601 + e.b * 117) >> 10) << i << "," << j;
                    ASSERT_EQ(g[1], alpha) << i << "," << j;
                }
            }
        }
    }
}

// Bitmaps of a size but without storage have nothing to paint: the call goes
// through and reads nothing.
TEST(AxialRender, BitmapsWithoutStorage) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [0 0 10 0] /Extend [true true]"));
    ASSERT_NE(s, nullptr);
    std::vector<uint8_t> bytes(64 * 64 * 4, 0x42);
    CKXBmp8 no_mask(nullptr, 64, 64, 64);
    CKXBmp8 mask(bytes.data(), 64, 64, 64);
    CKXBmp32 no_dst(nullptr, 64, 64, 256);
    CKXBmp32 dst(bytes.data(), 64, 64, 256);
    CKXBmpGray no_gray(nullptr, 64, 64, 128);
    EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, no_mask, dst), 1);
    EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, no_dst), 1);
    EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, no_gray), 1);
    for (uint8_t b : bytes) ASSERT_EQ(b, 0x42);
}

// The picture of a whole bitmap painted as one band from the origin, as an
// unbanded run would paint it: the reference for banded runs.
std::vector<uint8_t> one_band(const CPDFShadingAxial& s, const _KXMATRIX& matrix,
                              const _KXPOINT& origin, const CKXBmp8& mask, int32_t w, int32_t h) {
    std::vector<uint8_t> out(static_cast<size_t>(w) * static_cast<size_t>(h) * 4, 0);
    _KXMATRIX inv = matrix;
    inv.do_invert();
    PDF_RENDER_BAND band;
    band.m_shading = &s;
    band.m_mask_row = mask.m_data;
    band.m_mask_stride = mask.m_stride;
    band.m_dst_row = out.data();
    band.m_dst_stride = 4 * w;
    band.m_width = w;
    band.m_height = h;
    band.m_col_dx = KXFIX::from_raw(kOne);
    band.m_col_dy = KXFIX{0};
    inv.transform_delta(band.m_col_dx, band.m_col_dy);
    band.m_row_dx = KXFIX{0};
    band.m_row_dy = KXFIX::from_raw(kOne);
    inv.transform_delta(band.m_row_dx, band.m_row_dy);
    band.m_start_x = KXFIX::from_int(origin.x);
    band.m_start_y = KXFIX::from_int(origin.y);
    inv.transform_point(band.m_start_x, band.m_start_y);
    CPDFShadingAxial::CallbackRender(&band);
    return out;
}

// Sizes around the banding thresholds, rendered by the entry point (banded or
// not) and as one band. Bands restart from an exact transform of their first
// row, so pictures may differ by a ramp step where the running position of
// an unbanded run has drifted; the first band, and any unbanded bitmap, match
// byte for byte. A checkerboard mask keeps coverage 0 in play.
TEST(AxialRender, BandedMatchesUnbanded) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(
        holder, axial("/Coords [-30 10 700 90] /Extend [true true] /Background [0 0 1]"));
    ASSERT_NE(s, nullptr);
    ASSERT_NE(s->m_shift, 0);
    index_ramp(*s);
    // A rotation and scale whose inverse steps are not exact.
    const _KXMATRIX skewed = {KXFIX::from_raw(55009271),          KXFIX::from_raw(38474460),
                              KXFIX::from_raw(-38474460),         KXFIX::from_raw(55009271),
                              KXFIX::from_raw(12 * kOne + 12345), KXFIX::from_raw(-7 * kOne)};
    const _KXMATRIX scaled = {KXFIX::from_raw(2 * kOne), KXFIX{0}, KXFIX{0},
                              KXFIX::from_raw(kOne / 2), KXFIX{0}, KXFIX{0}};
    struct Case {
        int32_t w, h;
        bool banded;
    };
    const Case sizes[] = {{100, 400, false}, {101, 400, true},  {6000, 7, false}, {5000, 8, false},
                          {5001, 8, true},   {1000, 103, true}, {200, 200, false}};
    for (const _KXMATRIX& m : {skewed, scaled}) {
        for (const Case& c : sizes) {
            SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h);
            CKXBmp8 mask(c.w, c.h);
            for (int32_t y = 0; y < c.h; ++y)
                for (int32_t x = 0; x < c.w; ++x)
                    mask.m_data[y * c.w + x] =
                        (x + y) % 3 == 0 ? 0 : static_cast<uint8_t>(255 - y % 7);
            const _KXPOINT origin = {-40, 3};
            const std::vector<uint8_t> ref = one_band(*s, m, origin, mask, c.w, c.h);
            CKXBmp32 dst(c.w, c.h);
            ASSERT_EQ(s->render_to_bmp(m, origin, mask, dst), 1);
            const int32_t first_band_rows = c.banded ? (c.h >> 2) : c.h;
            int32_t differing = 0;
            for (int32_t i = 0; i < c.w * c.h; ++i) {
                const uint8_t* a = dst.m_data + 4 * i;
                const uint8_t* b = ref.data() + 4 * i;
                if (std::memcmp(a, b, 4) == 0) continue;
                ++differing;
                ASSERT_GE(i / c.w, first_band_rows) << "pixel " << i;
                // Only the position may differ: both are ramp pixels one step apart.
                ASSERT_EQ(a[0], 200);
                ASSERT_EQ(b[0], 200);
                ASSERT_EQ(a[3], b[3]);
                ASSERT_LE(std::abs(a[2] - b[2]), 1) << "pixel " << i;
            }
            EXPECT_LE(differing, c.w * c.h / 100);
        }
    }
}

// The gray form is the colour form through the gray weights, pixel for
// pixel, banded too.
TEST(AxialRender, GrayTwinMatchesColour) {
    Doc doc;
    ShadingPtr holder;
    auto* s = doc.load<CPDFShadingAxial>(holder, axial("/Coords [0 0 300 50] /Background [0 1 1]"));
    ASSERT_NE(s, nullptr);
    for (int i = 0; i < 256; ++i)
        s->m_ramp[i] = _KXRGBA{static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i / 2),
                               static_cast<uint8_t>(i), 255};
    const int32_t w = 301, h = 150;
    CKXBmp8 mask(w, h);
    for (int32_t i = 0; i < w * h; ++i) mask.m_data[i] = static_cast<uint8_t>(i * 7);
    CKXBmp32 colour(w, h);
    CKXBmpGray gray(w, h);
    const _KXMATRIX m = {KXFIX::from_raw(kOne),
                         KXFIX::from_raw(kOne / 3),
                         KXFIX{0},
                         KXFIX::from_raw(kOne),
                         KXFIX{0},
                         KXFIX{0}};
    ASSERT_EQ(s->render_to_bmp(m, _KXPOINT{-20, -20}, mask, colour), 1);
    ASSERT_EQ(s->render_to_bmpg(m, _KXPOINT{-20, -20}, mask, gray), 1);
    for (int32_t i = 0; i < w * h; ++i) {
        const uint8_t* c = colour.m_data + 4 * i;
        const uint8_t* g = gray.m_data + 2 * i;
        if (mask.m_data[i] == 0) {
            ASSERT_EQ(c[3] | g[1], 0) << i;  // untouched, still the zero fill
            continue;
        }
        ASSERT_EQ(g[0], (c[2] * 306 + c[1] * 601 + c[0] * 117) >> 10) << i;
        ASSERT_EQ(g[1], c[3]) << i;
    }
}

}  // namespace
}  // namespace shadepaint
