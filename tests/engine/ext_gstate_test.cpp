// Reading an ExtGState dictionary: each key's value, its fallbacks, and
// references at every level.
#include "engine/ext_gstate.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "engine/xref_table.h"
#include "object/pdf_obj.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

constexpr int64_t kOne = kKxOne;
constexpr uint32_t kCA = CPDFExtGState::kHasStrokeAlpha;
constexpr uint32_t kca = CPDFExtGState::kHasFillAlpha;
constexpr uint32_t kBM = CPDFExtGState::kHasBlendMode;
constexpr uint32_t kSM = CPDFExtGState::kHasSoftMask;
constexpr uint32_t kLW = CPDFExtGState::kHasLineWidth;

TEST(ExtGState, Values) {
    CPDFXRefTable xref;
    test::add_object(xref, 1, "0.25");
    test::add_object(xref, 2, "/Multiply");
    test::add_object(xref, 3, "<< /Type /Mask /S /Luminosity >>");
    test::add_object(xref, 4, "<< /CA 0.5 /LW 3 >>");
    test::add_object(xref, 5, "[/Bogus 2 0 R]");
    struct Case {
        const char* text;
        int32_t result;
        uint32_t present;
        int64_t stroke_alpha, fill_alpha;
        int32_t blend;
        uint32_t soft_mask;
        int64_t line_width;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"<< >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne, "empty: PDF's initial state"},
        {"4 0 R", 1, kCA | kLW, kOne / 2, kOne, kBlendNormal, 0, 3 * kOne, "by reference"},
        {"5", 0, 0, kOne, kOne, kBlendNormal, 0, kOne, "no dictionary"},
        {"99 0 R", 0, 0, kOne, kOne, kBlendNormal, 0, kOne, "a reference to nothing"},
        {"<< /CA 0.5 /ca 1 0 R >>", 1, kCA | kca, kOne / 2, kOne / 4, kBlendNormal, 0, kOne, "alphas, one by reference"},
        {"<< /CA 2 /ca -0.5 >>", 1, kCA | kca, kOne, 0, kBlendNormal, 0, kOne, "alphas clamp to 0..1"},
        {"<< /CA /Half /ca (x) >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne, "no numbers: absent"},
        {"<< /BM /Screen >>", 1, kBM, kOne, kOne, kBlendScreen, 0, kOne, "a name"},
        {"<< /BM [/Luminosity /Screen] >>", 1, kBM, kOne, kOne, kBlendLuminosity, 0, kOne, "array: first name"},
        {"<< /BM [/Bogus /HardLight] >>", 1, kBM, kOne, kOne, kBlendHardLight, 0, kOne, "array: first known name"},
        {"<< /BM 5 0 R >>", 1, kBM, kOne, kOne, kBlendMultiply, 0, kOne, "array by reference, name by reference"},
        {"<< /BM [/Bogus] >>", 1, kBM, kOne, kOne, kBlendNormal, 0, kOne, "no known name: Normal"},
        {"<< /BM 3 >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne, "neither name nor array: absent"},
        {"<< /SMask /None >>", 1, kSM, kOne, kOne, kBlendNormal, 0, kOne, "None: set, no mask"},
        {"<< /SMask 3 0 R >>", 1, kSM, kOne, kOne, kBlendNormal, 1, kOne, "a mask dictionary"},
        {"<< /SMask 99 0 R >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne, "a mask that isn't there"},
        {"<< /LW 0 >>", 1, kLW, kOne, kOne, kBlendNormal, 0, 0, "width 0, the thinnest line"},
        {"<< /LW -2 >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne, "negative width: absent"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + ": " + c.why);
        test::TestObj o(c.text);
        CPDFExtGState gs;
        // A state read before is forgotten.
        test::TestObj earlier("<< /CA 0.1 /ca 0.1 /BM /Hue /SMask << >> /LW 9 >>");
        ASSERT_EQ(gs.load(&xref, earlier.get()), 1);
        EXPECT_EQ(gs.load(&xref, o.get()), c.result);
        EXPECT_EQ(gs.m_present, c.present);
        EXPECT_EQ(gs.m_stroke_alpha.m_raw, c.stroke_alpha);
        EXPECT_EQ(gs.m_fill_alpha.m_raw, c.fill_alpha);
        EXPECT_EQ(gs.m_blend_mode, c.blend);
        EXPECT_EQ(gs.m_soft_mask, c.soft_mask);
        EXPECT_EQ(gs.m_line_width.m_raw, c.line_width);
    }
    CPDFExtGState gs;
    EXPECT_EQ(gs.load(&xref, nullptr), 0);
    EXPECT_EQ(gs.load(nullptr, nullptr), 0);
}

// Without a table, direct values still read and references resolve to nothing.
TEST(ExtGState, NoTable) {
    test::TestObj o("<< /CA 0.5 /ca 1 0 R /BM [2 0 R /Darken] >>");
    CPDFExtGState gs;
    EXPECT_EQ(gs.load(nullptr, o.get()), 1);
    EXPECT_EQ(gs.m_present, kCA | kBM);
    EXPECT_EQ(gs.m_stroke_alpha.m_raw, kOne / 2);
    EXPECT_EQ(gs.m_blend_mode, kBlendDarken);
}

}  // namespace
}  // namespace shadepaint
