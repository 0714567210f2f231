// The load every shading shares (ColorSpace, Background, BBox) and the
// function table helpers of the loaders.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "shading/color_space.h"
#include "shading/shading.h"
#include "shading/shading_axial.h"
#include "shading/shading_p.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Doc;
using testing::kOne;
using testing::ShadingPtr;
using testing::TestConst;
using testing::TestLinear;

struct Rgba {
    int r, g, b, a;
};

void expect_rgba(const _KXRGBA& c, Rgba e) {
    EXPECT_EQ(c.r, e.r);
    EXPECT_EQ(c.g, e.g);
    EXPECT_EQ(c.b, e.b);
    EXPECT_EQ(c.a, e.a);
}

TEST(ShadingLoad, ReadsBackgroundInTheSpacesComponents) {
    Doc doc;
    doc.add(1, "[1 0.5 0]");
    doc.add(2, "0.25");
    struct Case {
        const char* entries;
        Rgba rgba;
        int gray;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"/ColorSpace /DeviceRGB /Background [1 0.5 0]", {255, 128, 0, 255}, 151, "halves round up"},
        {"/ColorSpace /DeviceRGB /Background [2 -1 0.5 7]", {255, 0, 128, 255}, 90, "clamped; extra element ignored"},
        {"/ColorSpace /DeviceRGB /Background 1 0 R", {255, 128, 0, 255}, 151, "array by reference"},
        {"/ColorSpace /DeviceRGB /Background [2 0 R 2 0 R 2 0 R]", {64, 64, 64, 255}, 64, "elements by reference"},
        {"/ColorSpace /DeviceRGB /Background [0.000000001 0.999 1]", {0, 255, 255, 255}, 178, "clamp edges"},
        {"/ColorSpace /DeviceGray /Background [0.5 1 1]", {128, 128, 128, 255}, 128, "gray reads one element"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.entries) + ": " + c.why);
        ShadingPtr s = doc.make(std::string("<< /ShadingType 4 ") + c.entries + " >>");
        ASSERT_NE(s, nullptr);
        s->load();
        ASSERT_NE(s->m_cs, nullptr);
        EXPECT_EQ(s->m_has_background, 1u);
        expect_rgba(s->m_bg_rgba, c.rgba);
        EXPECT_EQ(s->m_bg_gray, c.gray);
    }
}

// The four components of CMYK are read, and handed to the space as they are.
TEST(ShadingLoad, ReadsAllFourCmykComponents) {
    Doc doc;
    ShadingPtr s =
        doc.make("<< /ShadingType 5 /ColorSpace /DeviceCMYK /Background [0 1 0.5 0.2] >>");
    ASSERT_NE(s, nullptr);
    s->load();
    ASSERT_NE(s->m_cs, nullptr);
    ASSERT_EQ(s->m_cs->m_comp_count, 4);
    PDF_COLOR c = {};
    c.m_comps[0] = 0;
    c.m_comps[1] = 255;
    c.m_comps[2] = 128;
    c.m_comps[3] = 51;
    _KXRGBA rgba;
    s->m_cs->get_rgb(c, rgba);
    uint8_t gray;
    s->m_cs->get_gray(c, gray);
    EXPECT_EQ(s->m_has_background, 1u);
    expect_rgba(s->m_bg_rgba, {rgba.r, rgba.g, rgba.b, 255});
    EXPECT_EQ(s->m_bg_gray, gray);
}

// A Background that can't be read against the space counts as absent: no
// flag, the zero words stay, and nothing outside the array is read.
TEST(ShadingLoad, UnreadableBackgroundIsAbsent) {
    Doc doc;
    doc.add(1, "/Red");
    const char* const cases[] = {
        "/ColorSpace /DeviceRGB /Background [1 0]",      // shorter than the space
        "/ColorSpace /DeviceRGB /Background []",         // empty
        "/ColorSpace /DeviceRGB /Background 1",          // a number
        "/ColorSpace /DeviceRGB /Background 1 0 R",      // resolves to no array
        "/ColorSpace /DeviceRGB /Background 9 0 R",      // resolves to nothing
        "/ColorSpace /DeviceGray /Background null",      // null
        "/Background [1 1 1]",                           // no colour space
        "/ColorSpace /NoSuchSpace /Background [1 1 1]",  // a colour space that failed
    };
    for (const char* entries : cases) {
        SCOPED_TRACE(entries);
        ShadingPtr s = doc.make(std::string("<< /ShadingType 2 ") + entries + " >>");
        ASSERT_NE(s, nullptr);
        s->load();
        EXPECT_EQ(s->m_has_background, 0u);
        expect_rgba(s->m_bg_rgba, {0, 0, 0, 0});
        EXPECT_EQ(s->m_bg_gray, 0);
    }
}

// Spaces of 2 and of 5 or more components read no element: the colour is all
// zeros, and it still counts as a Background if the array is long enough.
TEST(ShadingLoad, TwoOrFiveComponentsReadNothing) {
    Doc doc;
    struct Case {
        const char* space;
        const char* background;
        uint32_t has;
    };
    // clang-format off
    const Case cases[] = {
        {"[/DeviceN [/None /None] /DeviceRGB null]", "[1 1]", 1},
        {"[/DeviceN [/None /None] /DeviceRGB null]", "[1]", 0},
        {"[/DeviceN [/None /None /None /None /None] /DeviceRGB null]", "[1 1 1 1 1 1]", 1},
        {"[/DeviceN [/None /None /None /None /None] /DeviceRGB null]", "[1 1 1 1]", 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.space) + " " + c.background);
        ShadingPtr s = doc.make(std::string("<< /ShadingType 2 /ColorSpace ") + c.space +
                                " /Background " + c.background + " >>");
        ASSERT_NE(s, nullptr);
        s->load();
        ASSERT_NE(s->m_cs, nullptr);
        EXPECT_EQ(s->m_has_background, c.has);
        if (!c.has) continue;
        PDF_COLOR zeros = {};
        _KXRGBA rgba;
        uint8_t gray;
        s->m_cs->get_rgb(zeros, rgba);
        s->m_cs->get_gray(zeros, gray);
        expect_rgba(s->m_bg_rgba, {rgba.r, rgba.g, rgba.b, 255});
        EXPECT_EQ(s->m_bg_gray, gray);
    }
}

TEST(ShadingLoad, MissingColorSpaceLeavesNone) {
    Doc doc;
    ShadingPtr s = doc.make("<< /ShadingType 2 /Coords [0 0 1 0] >>");
    ASSERT_NE(s, nullptr);
    s->load();
    EXPECT_EQ(s->m_loaded, 1u);
    EXPECT_EQ(s->m_cs, nullptr);
}

TEST(ShadingLoad, ReadsBBox) {
    Doc doc;
    doc.add(1, "[1 2 3 4]");
    struct Case {
        const char* entries;
        int64_t left, top, right, bottom;
    };
    const int64_t big = _KXRECTF().left.m_raw, small = _KXRECTF().right.m_raw;
    // clang-format off
    const Case cases[] = {
        {"/BBox [1 2 3 4]", kOne, 2 * kOne, 3 * kOne, 4 * kOne},
        {"/BBox 1 0 R", kOne, 2 * kOne, 3 * kOne, 4 * kOne},
        {"/BBox [3 4 1 2]", 3 * kOne, 4 * kOne, kOne, 2 * kOne},  // kept as read
        {"", big, big, small, small},                               // absent: inverted
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr s = doc.make(std::string("<< /ShadingType 6 ") + c.entries + " >>");
        ASSERT_NE(s, nullptr);
        s->load();
        EXPECT_EQ(s->m_bbox.left.m_raw, c.left);
        EXPECT_EQ(s->m_bbox.top.m_raw, c.top);
        EXPECT_EQ(s->m_bbox.right.m_raw, c.right);
        EXPECT_EQ(s->m_bbox.bottom.m_raw, c.bottom);
    }
}

// Every type's load runs once: the second call reads nothing again (a second
// colour space or function table would leak or replace the first).
TEST(ShadingLoad, SecondLoadChangesNothing) {
    Doc doc;
    for (int type = 1; type <= 7; ++type) {
        SCOPED_TRACE(type);
        ShadingPtr s = doc.make("<< /ShadingType " + std::to_string(type) +
                                " /ColorSpace /DeviceRGB /Background [1 0 0] /Coords [0 0 1 0]"
                                " /Function << /FunctionType 2 /Domain [0 1] /N 1 >> >>");
        ASSERT_NE(s, nullptr);
        s->load();
        const CPDFCSBase* cs = s->m_cs;
        ASSERT_NE(cs, nullptr);
        s->m_bg_rgba.g = 7;  // a mark that a second reading would overwrite
        s->load();
        EXPECT_EQ(s->m_cs, cs);
        EXPECT_EQ(s->m_bg_rgba.g, 7);
    }
}

// Functions: reading, evaluating, building a ramp.

TEST(ShadingFunctions, ReadsArraysAndSingles) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>");
    doc.add(2, "[1 0 R 1 0 R]");
    struct Case {
        const char* entry;  // text of the value, "" for a missing key
        int32_t count;
        std::vector<bool> parsed;
    };
    // clang-format off
    const Case cases[] = {
        {"1 0 R", 1, {true}},
        {"[1 0 R 1 0 R 1 0 R]", 3, {true, true, true}},
        {"2 0 R", 2, {true, true}},
        {"[1 0 R /Bad 1 0 R]", 3, {true, false, true}},
        {"[]", 0, {}},
        {"/Bad", 1, {false}},
        {"", 1, {false}},  // missing: one entry from the empty value
        {"9 0 R", 1, {false}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entry);
        ScopedObj o;
        const std::string text = c.entry;
        if (!text.empty()) {
            ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
        }
        CPDFFunction** funcs = nullptr;
        int32_t count = -1;
        detail::read_functions(&doc.xref, text.empty() ? nullptr : &o.obj, funcs, count);
        ASSERT_NE(funcs, nullptr);
        EXPECT_EQ(count, c.count);
        for (int32_t i = 0; i < count && i < static_cast<int32_t>(c.parsed.size()); ++i)
            EXPECT_EQ(funcs[i] != nullptr, c.parsed[static_cast<size_t>(i)]) << i;
        detail::free_functions(funcs, count);
        EXPECT_EQ(funcs, nullptr);
        EXPECT_EQ(count, 0);
    }
}

// A table that can't be allocated is null; for an array its count stays the
// array's length (the loaders then evaluate nothing).
TEST(ShadingFunctions, FailedTableKeepsTheArrayCount) {
    Doc doc;
    const std::string text = "[1 2 3]";
    ScopedObj o;
    ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
    bool kept_count = false;
    for (int32_t n = 0; n < 4; ++n) {
        SCOPED_TRACE(n);
        CPDFFunction** funcs = nullptr;
        int32_t count = 0;
        kx_alloc_fail_after(n);
        detail::read_functions(&doc.xref, &o.obj, funcs, count);
        kx_alloc_fail_after(-1);
        if (!funcs && count == 3) kept_count = true;
        detail::free_functions(funcs, count);
    }
    EXPECT_TRUE(kept_count);
}

// Function k of several writes from place k on; places beyond a colour's
// sixteen components are not evaluated, and a function with many outputs at a
// late place stays inside the output array.
TEST(ShadingFunctions, EvaluatesEachFunctionAtItsPlace) {
    std::vector<int64_t> seen;
    TestConst one({1, 2, 3});
    TestConst a({10}), b({20}), c({30, 31});
    TestConst many(std::vector<int64_t>(CPDFFunction::kMaxOutputs, 5), &seen);
    KXFIX in[CPDFFunction::kMaxInputs] = {KXFIX::from_raw(42)};

    KXFIX out[detail::kFuncOutputSlots] = {};
    CPDFFunction* single[] = {&one};
    detail::eval_functions(single, 1, in, out);
    EXPECT_EQ(out[0].m_raw, 1);
    EXPECT_EQ(out[2].m_raw, 3);

    KXFIX out2[detail::kFuncOutputSlots] = {};
    CPDFFunction* three[] = {&a, nullptr, &c, &b};
    detail::eval_functions(three, 4, in, out2);
    EXPECT_EQ(out2[0].m_raw, 10);
    EXPECT_EQ(out2[1].m_raw, 0);  // null entry skipped
    EXPECT_EQ(out2[2].m_raw, 30);
    EXPECT_EQ(out2[3].m_raw, 20);  // function 3 overwrites the second output of 2

    KXFIX out3[detail::kFuncOutputSlots] = {};
    std::vector<CPDFFunction*> twenty(20, &many);
    detail::eval_functions(twenty.data(), 20, in, out3);
    EXPECT_EQ(seen.size(), static_cast<size_t>(detail::kFuncPlaces));
    EXPECT_EQ(seen[0], 42);
    EXPECT_EQ(out3[detail::kFuncOutputSlots - 2].m_raw, 5);

    detail::eval_functions(nullptr, 3, in, out3);  // a failed table: nothing
}

TEST(ShadingFunctions, RampStepsTruncateTowardZero) {
    struct Case {
        int64_t t0, t1;
        int32_t i;
        int64_t t;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {0, kOne, 0, 0, "first step is t0"},
        {0, kOne, 1, 263172, "0x4000000 / 255 = 263172.01"},
        {0, kOne, 128, 33686018, "just above 0.5"},
        {0, kOne, 255, kOne, "last step is t1"},
        {kOne, 0, 1, kOne - 263172, "descending: toward zero, not down"},
        {kOne, 0, 255, 0, "descending ends at t1"},
        {kOne / 4, 3 * kOne / 4, 255, 3 * kOne / 4, "other domain"},
        {-kOne, kOne, 1, -kOne + 526344, "negative start"},
        {INT64_MIN / 2, INT64_MAX / 2, 255, -4575515932008349569, "product wraps, defined"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(detail::ramp_input(KXFIX::from_raw(c.t0), KXFIX::from_raw(c.t1), c.i).m_raw, c.t)
            << c.t;
    }
}

TEST(ShadingFunctions, RampEvaluatesEveryStepInOrder) {
    std::vector<int64_t> seen;
    TestConst f({0, kOne, kOne / 2}, &seen);
    CPDFFunction* funcs[] = {&f};
    CPDFCSDeviceRGB rgb;
    _KXRGBA ramp[256];
    uint8_t gray[256];
    detail::build_ramp(&rgb, funcs, 1, KXFIX::from_raw(kOne), KXFIX{0}, ramp, gray);
    ASSERT_EQ(seen.size(), 256u);
    for (int32_t i = 0; i < 256; ++i)
        EXPECT_EQ(seen[static_cast<size_t>(i)],
                  detail::ramp_input(KXFIX::from_raw(kOne), KXFIX{0}, i).m_raw);
    expect_rgba(ramp[17], {0, 255, 128, 255});
    EXPECT_EQ(gray[17], (255 * 601 + 128 * 117) >> 10);
}

// The output array is cleared once, not between steps: a step that delivers
// fewer outputs than the space has components keeps the earlier ones.
TEST(ShadingFunctions, RampOutputsCarryOverBetweenSteps) {
    class FewerLater : public CPDFFunction {
    public:
        int32_t evaluate(const KXFIX* in, KXFIX* out) const override {
            out[0] = in[0];
            if (in[0].m_raw == 0) out[1] = out[2] = KXFIX::from_raw(kOne);
            return 1;
        }
    } f;
    CPDFFunction* funcs[] = {&f};
    CPDFCSDeviceRGB rgb;
    _KXRGBA ramp[256];
    detail::build_ramp(&rgb, funcs, 1, KXFIX{0}, KXFIX::from_raw(kOne), ramp, nullptr);
    expect_rgba(ramp[0], {0, 255, 255, 255});
    expect_rgba(ramp[200], {200, 255, 255, 255});
}

TEST(ShadingFunctions, RampFromSeveralFunctionsEqualsOneWithSeveralOutputs) {
    TestLinear r({kOne}), g({kOne / 2}), b({-kOne});
    TestLinear all({kOne, kOne / 2, -kOne});
    CPDFFunction* three[] = {&r, &g, &b};
    CPDFFunction* one[] = {&all};
    CPDFCSDeviceRGB rgb;
    _KXRGBA a[256], c[256];
    detail::build_ramp(&rgb, three, 3, KXFIX{0}, KXFIX::from_raw(kOne), a, nullptr);
    detail::build_ramp(&rgb, one, 1, KXFIX{0}, KXFIX::from_raw(kOne), c, nullptr);
    for (int i = 0; i < 256; ++i) {
        SCOPED_TRACE(i);
        expect_rgba(a[i], {c[i].r, c[i].g, c[i].b, 255});
        EXPECT_EQ(a[i].r, i);
    }
}

TEST(ShadingFunctions, RampWithoutColourSpaceWritesNothing) {
    TestLinear f({kOne});
    CPDFFunction* funcs[] = {&f};
    _KXRGBA ramp[256] = {};
    detail::build_ramp(nullptr, funcs, 1, KXFIX{0}, KXFIX::from_raw(kOne), ramp, nullptr);
    for (const _KXRGBA& c : ramp) expect_rgba(c, {0, 0, 0, 0});
}

}  // namespace
}  // namespace shadepaint
