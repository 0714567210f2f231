// The load every shading shares (ColorSpace, Background, BBox) and the
// function table helpers of the loaders.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "shading/color_space.h"
#include "shading/shading_p.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Doc;
using testing::kOne;
using testing::ShadingPtr;
using testing::TestConst;

// Background is read in the space's component order and clamped to bytes; a
// value that can't be read against the space (no array, too short, no space)
// counts as absent; spaces of 2 and of 5 or more components read nothing and
// keep zeros, which still count.
TEST(ShadingLoad, BackgroundAndBBox) {
    Doc doc;
    doc.add(1, "[1 2 3 4]");
    doc.add(2, "0.25");
    doc.add(3, "/Red");
    const std::string n2 = "/ColorSpace [/DeviceN [/None /None] /DeviceRGB null]";
    const std::string n5 = "/ColorSpace [/DeviceN [/None /None /None /None /None] /DeviceRGB null]";
    struct Case {
        std::string entries;
        int r, g, b, a, gray;  // r -1: the colour of zero components
    };
    // clang-format off
    const Case cases[] = {
        {"/ColorSpace /DeviceRGB /Background [1 0.5 0]", 255, 128, 0, 255, 151},
        {"/ColorSpace /DeviceRGB /Background [2 -1 0.5 7]", 255, 0, 128, 255, 90},
        {"/ColorSpace /DeviceRGB /Background [2 0 R 2 0 R 2 0 R]", 64, 64, 64, 255, 64},
        {"/ColorSpace /DeviceGray /Background [0.5 1 1]", 128, 128, 128, 255, 128},
        {n2 + " /Background [1 1]", -1, 0, 0, 255, 0},
        {"/ColorSpace /DeviceRGB /Background [1 0]", 0, 0, 0, 0, 0},
        {"/ColorSpace /DeviceRGB /Background 3 0 R", 0, 0, 0, 0, 0},
        {"/Background [1 1 1]", 0, 0, 0, 0, 0},
        {n5 + " /Background [1 1 1 1]", 0, 0, 0, 0, 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entries);
        ShadingPtr s = doc.make("<< /ShadingType 2 " + c.entries + " >>");
        ASSERT_NE(s, nullptr);
        s->load();
        EXPECT_EQ(s->m_has_background, c.a ? 1u : 0u);
        _KXRGBA e = {static_cast<uint8_t>(c.b), static_cast<uint8_t>(c.g),
                     static_cast<uint8_t>(c.r), static_cast<uint8_t>(c.a)};
        uint8_t gray = static_cast<uint8_t>(c.gray);
        if (c.r < 0) {
            ASSERT_NE(s->m_cs, nullptr);
            const PDF_COLOR zeros = {};
            s->m_cs->get_rgb(zeros, e);
            s->m_cs->get_gray(zeros, gray);
            e.a = 255;
        }
        EXPECT_EQ(std::memcmp(&s->m_bg_rgba, &e, 4), 0);
        EXPECT_EQ(s->m_bg_gray, gray);
    }
    // BBox is kept as read, by reference too; without one it stays inverted.
    const _KXRECTF none;
    struct BoxCase {
        const char* bbox;
        int64_t left, bottom;
    };
    const BoxCase boxes[] = {{"/BBox 1 0 R", kOne, 4 * kOne},
                             {"/BBox [3 4 1 2]", 3 * kOne, 2 * kOne},
                             {"", none.left.m_raw, none.bottom.m_raw}};
    for (const BoxCase& c : boxes) {
        SCOPED_TRACE(c.bbox);
        ShadingPtr s = doc.make(std::string("<< /ShadingType 2 ") + c.bbox + " >>");
        ASSERT_NE(s, nullptr);
        s->load();
        EXPECT_EQ(s->m_bbox.left.m_raw, c.left);
        EXPECT_EQ(s->m_bbox.bottom.m_raw, c.bottom);
    }
}

// Every type's load runs once: a second reading would replace (and leak) the
// colour space and overwrite what was read. Meshes are given as streams.
TEST(ShadingLoad, SecondLoadChangesNothing) {
    Doc doc;
    for (int type = 1; type <= 7; ++type) {
        SCOPED_TRACE(type);
        ShadingPtr s = doc.make("<< /ShadingType " + std::to_string(type) +
                                " /ColorSpace /DeviceRGB /Background [1 0 0] /Coords [0 0 1 0]"
                                " /Function << /FunctionType 2 /Domain [0 1] /N 1 >>" +
                                (type >= 4 ? " /Length 0 >>\nstream\n\nendstream" : " >>"));
        ASSERT_NE(s, nullptr);
        s->load();
        const CPDFCSBase* cs = s->m_cs;
        s->m_bg_rgba.g = 7;
        s->load();
        EXPECT_EQ(s->m_cs, cs);
        EXPECT_EQ(s->m_bg_rgba.g, 7);
    }
}

TEST(ShadingFunctions, ReadsArraysAndSingles) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>");
    doc.add(2, "[1 0 R 1 0 R]");
    struct Case {
        const char* entry;  // "" for a missing key
        std::vector<bool> parsed;
    };
    const Case cases[] = {
        {"1 0 R", {true}}, {"2 0 R", {true, true}}, {"[1 0 R /Bad 1 0 R]", {true, false, true}},
        {"[]", {}},        {"", {false}},           {"9 0 R", {false}},
    };
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
        ASSERT_EQ(count, static_cast<int32_t>(c.parsed.size()));
        for (int32_t i = 0; i < count; ++i)
            EXPECT_EQ(funcs[i] != nullptr, c.parsed[static_cast<size_t>(i)]) << i;
        detail::free_functions(funcs, count);
        EXPECT_EQ(funcs, nullptr);
        EXPECT_EQ(count, 0);
    }
    // A table that can't be allocated is null; for an array the count stays
    // the array's length.
    ScopedObj o;
    ASSERT_TRUE(CPDFXRefTable::parse_object("[1 2 3]", 7, o.obj));
    bool kept_count = false;
    for (int32_t n = 0; n < 4; ++n) {
        CPDFFunction** funcs = nullptr;
        int32_t count = 0;
        kx_alloc_fail_after(n);
        detail::read_functions(&doc.xref, &o.obj, funcs, count);
        kx_alloc_fail_after(-1);
        kept_count = kept_count || (!funcs && count == 3);
        detail::free_functions(funcs, count);
    }
    EXPECT_TRUE(kept_count);
}

// Function k of several writes from place k on. Places beyond a colour's
// components are not evaluated, a function with many outputs at a late place
// stays inside the output array, and null entries are skipped.
TEST(ShadingFunctions, EvaluatesEachFunctionAtItsPlace) {
    std::vector<int64_t> seen;
    TestConst a({10}), b({20}), c({30, 31});
    TestConst many(std::vector<int64_t>(CPDFFunction::kMaxOutputs, 5), &seen);
    const KXFIX in[CPDFFunction::kMaxInputs] = {KXFIX::from_raw(42)};
    KXFIX out[detail::kFuncOutputSlots] = {};
    CPDFFunction* four[] = {&a, nullptr, &c, &b};
    detail::eval_functions(four, 4, in, out);
    EXPECT_EQ(out[0].m_raw, 10);
    EXPECT_EQ(out[1].m_raw, 0);
    EXPECT_EQ(out[2].m_raw, 30);
    EXPECT_EQ(out[3].m_raw, 20);  // the later function wins
    std::vector<CPDFFunction*> twenty(20, &many);
    detail::eval_functions(twenty.data(), 20, in, out);
    EXPECT_EQ(seen, std::vector<int64_t>(detail::kFuncPlaces, 42));
    detail::eval_functions(nullptr, 3, in, out);  // a failed table evaluates nothing
}

// Step i of a ramp is t0 + (t1 - t0) * i / 255, truncated toward zero, and
// every step is evaluated in order.
TEST(ShadingFunctions, RampSteps) {
    // clang-format off
    const int64_t cases[][4] = {  // t0, t1, i, t
        {0, kOne, 1, 263172}, {0, kOne, 255, kOne},
        {kOne, 0, 1, kOne - 263172},  // toward zero, not down
        {INT64_MIN / 2, INT64_MAX / 2, 255, -4575515932008349569},  // the product wraps
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(detail::ramp_input(KXFIX::from_raw(c[0]), KXFIX::from_raw(c[1]),
                                     static_cast<int32_t>(c[2]))
                      .m_raw,
                  c[3])
            << c[0] << " " << c[1] << " " << c[2];
    }
    std::vector<int64_t> seen;
    TestConst f({0, kOne, kOne / 2}, &seen);
    CPDFFunction* funcs[] = {&f};
    CPDFCSDeviceRGB rgb;
    _KXRGBA ramp[256];
    uint8_t gray[256];
    detail::build_ramp(&rgb, funcs, 1, KXFIX::from_raw(kOne), KXFIX{0}, ramp, gray);
    ASSERT_EQ(seen.size(), 256u);
    EXPECT_EQ(seen[1], kOne - 263172);
    EXPECT_EQ(seen[255], 0);
    EXPECT_EQ(ramp[17].g, 255);
    EXPECT_EQ(ramp[17].b, 128);
    EXPECT_EQ(ramp[17].a, 255);
    EXPECT_EQ(gray[17], (255 * 601 + 128 * 117) >> 10);
}

// The output array is cleared once, not between steps: a step that delivers
// fewer outputs than the space has components keeps the earlier ones. And
// without a colour space nothing is written.
TEST(ShadingFunctions, RampOutputsCarryOver) {
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
    _KXRGBA ramp[256] = {};
    detail::build_ramp(nullptr, funcs, 1, KXFIX{0}, KXFIX::from_raw(kOne), ramp, nullptr);
    EXPECT_EQ(ramp[9].a, 0);
    detail::build_ramp(&rgb, funcs, 1, KXFIX{0}, KXFIX::from_raw(kOne), ramp, nullptr);
    EXPECT_EQ(ramp[0].r, 0);
    EXPECT_EQ(ramp[200].r, 200);
    EXPECT_EQ(ramp[200].g, 255);
    EXPECT_EQ(ramp[200].b, 255);
}

}  // namespace
}  // namespace shadepaint
