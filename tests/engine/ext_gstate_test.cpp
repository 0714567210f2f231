// Reading an ExtGState dictionary: each key's value, its fallbacks, and
// references at every level.
#include "engine/ext_gstate.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <utility>

#include "test_objects.h"

namespace shadepaint {
namespace {

constexpr int64_t kOne = kKxOne;
constexpr uint32_t kCA = CPDFExtGState::kHasStrokeAlpha, kca = CPDFExtGState::kHasFillAlpha;
constexpr uint32_t kBM = CPDFExtGState::kHasBlendMode, kSM = CPDFExtGState::kHasSoftMask;
constexpr uint32_t kLW = CPDFExtGState::kHasLineWidth;

// Each load starts from PDF's initial state, whatever was read before; a
// value of the wrong kind counts as absent.
TEST(ExtGState, Values) {
    CPDFXRefTable xref;
    // clang-format off
    for (const auto& [num, text] : {std::pair{1, "0.25"}, {2, "/Multiply"}, {3, "<< /S /Alpha >>"},
                                    {4, "<< /CA 0.5 /LW 3 >>"}, {5, "[/Bogus 2 0 R]"}})
        test::add_object(xref, num, text);
    const struct {
        const char* text; int32_t result; uint32_t present; int64_t stroke_alpha, fill_alpha;
        int32_t blend; uint32_t soft_mask; int64_t line_width;
    } cases[] = {
        {"<< >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne},
        {"4 0 R", 1, kCA | kLW, kOne / 2, kOne, kBlendNormal, 0, 3 * kOne},
        {"<< /CA 2 /ca -0.5 >>", 1, kCA | kca, kOne, 0, kBlendNormal, 0, kOne},  // clamped
        {"<< /CA /Half /ca 1 0 R >>", 1, kca, kOne, kOne / 4, kBlendNormal, 0, kOne},
        {"<< /BM [/Bogus /HardLight /Screen] >>", 1, kBM, kOne, kOne, kBlendHardLight, 0, kOne},
        {"<< /BM 5 0 R >>", 1, kBM, kOne, kOne, kBlendMultiply, 0, kOne},
        {"<< /BM [/Bogus] /SMask 3 0 R >>", 1, kBM | kSM, kOne, kOne, kBlendNormal, 1, kOne},
        {"<< /BM 3 /SMask 99 0 R /LW -2 >>", 1, 0, kOne, kOne, kBlendNormal, 0, kOne},
        {"<< /SMask /None /LW 0 >>", 1, kSM | kLW, kOne, kOne, kBlendNormal, 0, 0},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        test::TestObj o(c.text), earlier("<< /CA 0.1 /ca 0.1 /BM /Hue /SMask << >> /LW 9 >>");
        CPDFExtGState gs;
        ASSERT_EQ(gs.load(&xref, earlier.get()), 1);
        EXPECT_EQ(gs.load(&xref, o.get()), c.result);
        EXPECT_EQ(std::tuple(gs.m_present, gs.m_stroke_alpha.m_raw, gs.m_fill_alpha.m_raw,
                             int32_t{gs.m_blend_mode}, gs.m_soft_mask, gs.m_line_width.m_raw),
                  std::tuple(c.present, c.stroke_alpha, c.fill_alpha, c.blend, c.soft_mask,
                             c.line_width));
    }
    // Without a table direct values still read and references find nothing.
    test::TestObj o("<< /CA 0.5 /ca 1 0 R >>");
    CPDFExtGState gs;
    EXPECT_EQ(gs.load(nullptr, o.get()), 1);
    EXPECT_EQ(gs.m_present, kCA);
    EXPECT_EQ(gs.load(&xref, nullptr), 0);
}

}  // namespace
}  // namespace shadepaint
