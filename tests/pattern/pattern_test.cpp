// Patterns: the factory's choice of type, the shading pattern's load with its
// shading, matrix and graphics state, ownership of the shading, and every
// allocation failing in turn.
#include "pattern/pattern.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/ext_gstate.h"
#include "engine/xref_table.h"
#include "pattern/pat_shading.h"
#include "pattern/pat_tiling.h"
#include "shading/bitmap.h"
#include "shading/shading.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using PatternPtr = std::unique_ptr<CPDFPattern>;

// Objects the cases refer to: 1 a tiling pattern stream, 3 a red-to-blue axial
// shading, 6 a matrix, 7 a graphics state, 8 a shading that fails to load.
// The source object is gone before anything reads the pattern's own copy.
class PatternTest : public testing::Test {
protected:
    PatternTest() {
        // clang-format off
        const char* const objects[] = {
            "<< /PatternType 1 /PaintType 1 /Length 0 >>\nstream\nendstream", "7",
            ("<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 10 0] /Extend [true true]"
             " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >> >>"),
            "1", "null", "[2 0 0 2 10 20]", "<< /CA 0.5 /BM /Multiply >>",
            "<< /ShadingType 2 /ColorSpace /NoSuchSpace /Coords (x) /Function 9 >>"};
        // clang-format on
        for (int32_t k = 0; k < 8; ++k) test::add_object(xref, k + 1, objects[k]);
    }
    PatternPtr make(const char* text) {
        return PatternPtr(CPDFPattern::parser_pattern(&xref, test::TestObj(text).get()));
    }
    CPDFXRefTable xref;
};

// A 4x3 full-coverage paint: the 48 bytes of the result, or none when refused.
std::vector<uint8_t> paint(CPDFShading* s, const _KXMATRIX& matrix) {
    std::vector<uint8_t> mask(12, 255), out(48, 0);
    CKXBmp8 m(mask.data(), 4, 3, 4);
    CKXBmp32 d(out.data(), 4, 3, 16);
    if (s->render_to_bmp(matrix, {0, 0}, m, d) != 1) out.clear();
    return out;
}

// PatternType read as an integer, reals rounded with halves up: exactly 1 is
// tiling, anything else (missing, 0, no number) shading. No dictionary, no
// pattern. Each result is deleted unloaded, with its factory defaults.
TEST_F(PatternTest, FactoryTypeByPatternType) {
    // clang-format off
    const struct { const char* text; uint32_t type; } cases[] = {  // type 0: no pattern
        {"5", 0}, {"2 0 R", 0}, {"<< >>", 2}, {"<< /PatternType 1 >>", 1}, {"1 0 R", 1},
        {"<< /PatternType 4 0 R >>", 1}, {"<< /PatternType 1.4 >>", 1},
        {"<< /PatternType 1.5 >>", 2}, {"<< /PatternType /Tiling >>", 2},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        PatternPtr p = make(c.text);
        ASSERT_EQ(p ? p->m_type : 0u, c.type);
        if (!p) continue;
        EXPECT_TRUE(!p->m_loaded && p->m_bbox.left > p->m_bbox.right) << "unloaded, box inverted";
        auto* t = dynamic_cast<CPDFPatTiling*>(p.get());
        auto* s = dynamic_cast<CPDFPatShading*>(p.get());
        EXPECT_TRUE(c.type == 1 ? t && t->m_paint_type == 1 && t->m_tiling_type == 1
                                : s && !s->m_shading && !s->m_extgstate && !s->m_borrowed);
    }
    EXPECT_EQ(CPDFPattern::parser_pattern(&xref, nullptr), nullptr);
}

// A Shading that makes no shading leaves m_shading null while Matrix and
// ExtGState are still read; one whose own load fails is kept and paints what
// it can. Any ExtGState entry makes a state, defaults when it is no dictionary.
// A second load makes nothing new, and a shading lent out with m_borrowed
// outlives the pattern.
TEST_F(PatternTest, ShadingPatternLoad) {
    // clang-format off
    const struct { const char* text; uint32_t type; int64_t matrix_a, stroke_alpha; } cases[] = {
        {"<< /Shading 3 0 R /ExtGState 5 >>", 2, kKxOne, kKxOne},
        {"<< /Shading 42 /Matrix 6 0 R >>", 0, 2 * kKxOne, -1},  // -1: no state
        {"<< /Shading << /ShadingType 9 >> /ExtGState 7 0 R >>", 0, kKxOne, kKxOne / 2},
        {"<< /Shading 8 0 R /ExtGState << /CA 0.25 >> >>", 2, kKxOne, kKxOne / 4},
        {"<< /Matrix [2 0 0 2 10 20] >>", 0, 2 * kKxOne, -1},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        PatternPtr holder = make(c.text);
        auto* p = static_cast<CPDFPatShading*>(holder.get());
        p->load();
        const CPDFShading* first = p->m_shading;
        p->load();
        EXPECT_EQ(p->m_shading, first);
        EXPECT_EQ(p->m_matrix.a.m_raw, c.matrix_a);
        EXPECT_EQ(p->m_extgstate ? p->m_extgstate->m_stroke_alpha.m_raw : -1, c.stroke_alpha);
        ASSERT_EQ(p->m_shading ? p->m_shading->m_type : 0u, c.type);
        if (!p->m_shading) continue;
        p->m_borrowed = 1;
        std::unique_ptr<CPDFShading> lent(p->m_shading);
        holder.reset();
        EXPECT_EQ(paint(lent.get(), _KXMATRIX::identity()).size(), 48u);
    }
}

// Factory, load and paint as bytes: the pixels, then the blend mode.
std::vector<uint8_t> make_and_load(CPDFXRefTable& xref, const CPDFObj* obj) {
    PatternPtr holder(CPDFPattern::parser_pattern(&xref, obj));
    auto* p = static_cast<CPDFPatShading*>(holder.get());
    if (p) p->load();
    if (!p || !p->m_shading || !p->m_extgstate) return {};
    std::vector<uint8_t> out = paint(p->m_shading, p->m_matrix);
    out.push_back(static_cast<uint8_t>(p->m_extgstate->m_blend_mode));
    return out;
}

// Every allocation failing in turn: no crash and no leak, and once the failure
// comes late enough the pattern is the one a load without failures makes.
TEST_F(PatternTest, ShadingPatternUnderAllocationFailure) {
    test::TestObj o(
        "<< /PatternType 2 /Shading 3 0 R /Matrix [1 0 0 1 2 0]"
        " /ExtGState << /ca 0.5 /BM [/Foo /Screen] >> >>");
    const std::vector<uint8_t> reference = make_and_load(xref, o.get());
    ASSERT_EQ(reference.size(), 49u);
    ASSERT_EQ(reference[48], kBlendScreen) << "BM: the first known name of the array";
    int32_t first_complete = -1;
    for (int32_t n = 0; n < 200; ++n) {
        test::AllocFailGuard guard(n);
        const bool complete = make_and_load(xref, o.get()) == reference;
        if (complete && first_complete < 0) first_complete = n;
        EXPECT_TRUE(complete || first_complete < 0) << "failing allocation " << n;
    }
    EXPECT_TRUE(first_complete >= 1 && first_complete < 100) << first_complete;
}

}  // namespace
}  // namespace shadepaint
