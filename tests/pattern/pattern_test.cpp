// Patterns: the factory's choice of type, the shading pattern's load with its
// shading, matrix and graphics state, ownership of the shading, and every
// allocation failing in turn.
#include "pattern/pattern.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
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

struct PatternDeleter {
    void operator()(CPDFPattern* p) const { delete p; }
};
using PatternPtr = std::unique_ptr<CPDFPattern, PatternDeleter>;

constexpr int64_t kOne = kKxOne;

// A document with the objects the cases below refer to: 3 is a red-to-blue
// axial shading, 8 one that fails to load.
class PatternDoc {
public:
    CPDFXRefTable xref;

    PatternDoc() {
        const char* const objects[] = {
            "<< /PatternType 1 /PaintType 1 /Length 0 >>\nstream\nendstream",
            "7",
            ("<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 10 0] /Extend [true true]"
             " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >> >>"),
            "1",
            "",
            "[2 0 0 2 10 20]",
            "<< /CA 0.5 /BM /Multiply >>",
            "<< /ShadingType 2 /ColorSpace /NoSuchSpace /Coords (x) /Function 9 >>"};
        for (int32_t k = 0; k < 8; ++k)
            if (*objects[k]) test::add_object(xref, k + 1, objects[k]);
    }
    PatternPtr make(const std::string& text) {
        test::TestObj o(text.c_str());
        return PatternPtr(CPDFPattern::parser_pattern(&xref, o.get()));
    }
    // A loaded shading pattern, or null with a failure.
    CPDFPatShading* load(PatternPtr& holder, const std::string& text) {
        holder = make(text);
        auto* p = dynamic_cast<CPDFPatShading*>(holder.get());
        EXPECT_NE(p, nullptr) << text;
        if (p) p->load();
        return p;
    }
};

// The factory's choice by PatternType (a real rounds, halves up; anything
// else is a shading pattern); no pattern from what is no dictionary. Each
// result is deleted unloaded. The pattern keeps its own copy of the object.
TEST(PatternFactory, TypeByPatternType) {
    PatternDoc doc;
    struct Case {
        const char* text;
        uint32_t type;  // 0: no pattern
    };
    // clang-format off
    const Case cases[] = {
        {"5", 0}, {"2 0 R", 0}, {"99 0 R", 0}, {"[<< /PatternType 1 >>]", 0},
        {"<< >>", 2}, {"<< /PatternType 1 >>", 1}, {"1 0 R", 1}, {"<< /PatternType 4 0 R >>", 1},
        {"<< /PatternType 1.4 >>", 1}, {"<< /PatternType 1.5 >>", 2}, {"<< /PatternType 0.6 >>", 1},
        {"<< /PatternType 0 >>", 2}, {"<< /PatternType /Tiling >>", 2},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        PatternPtr p = doc.make(c.text);
        ASSERT_EQ(p != nullptr, c.type != 0);
        if (!p) continue;
        EXPECT_EQ(p->m_type, c.type);
        EXPECT_EQ(p->m_loaded, 0u);
        EXPECT_EQ(dynamic_cast<CPDFPatTiling*>(p.get()) != nullptr, c.type == 1);
    }
    EXPECT_EQ(CPDFPattern::parser_pattern(&doc.xref, nullptr), nullptr);
    PatternPtr p;
    {
        test::TestObj o("<< /PatternType 2 /Shading 3 0 R /Matrix [1 0 0 1 5 5] >>");
        p.reset(CPDFPattern::parser_pattern(&doc.xref, o.get()));
        ASSERT_NE(p, nullptr);
        EXPECT_NE(p->m_obj.m_dict, o->m_dict);
    }
    p->load();  // from its copy, the source gone
    EXPECT_NE(static_cast<CPDFPatShading*>(p.get())->m_shading, nullptr);
    EXPECT_EQ(static_cast<CPDFPatShading*>(p.get())->m_matrix.e.m_raw, 5 * kOne);
}

// What load makes of Shading, Matrix and ExtGState. A shading whose own load
// fails is kept (it paints what it can); one that can't be made leaves null.
TEST(PatShadingLoad, Entries) {
    PatternDoc doc;
    struct Case {
        const char* text;
        uint32_t shading_type;  // 0: m_shading stays null
        int64_t matrix_a;
        int64_t stroke_alpha;  // -1: no state
    };
    // clang-format off
    const Case cases[] = {
        {"<< /Shading 3 0 R >>", 2, kOne, -1},
        {"<< /Shading 42 /Matrix 6 0 R >>", 0, 2 * kOne, -1},
        {"<< /Shading 99 0 R /Matrix [2 0 0] >>", 0, kOne, -1},
        {"<< /Shading << /ShadingType 9 >> /ExtGState 7 0 R >>", 0, kOne, kOne / 2},
        {"<< /Shading 8 0 R /ExtGState << /CA 0.25 >> >>", 2, kOne, kOne / 4},
        {"<< /Shading << /ShadingType 1 >> /ExtGState 5 >>", 1, kOne, kOne},
        {"<< /Matrix [2 0 0 2 10 20] >>", 0, 2 * kOne, -1},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        PatternPtr holder;
        CPDFPatShading* p = doc.load(holder, c.text);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->m_matrix.a.m_raw, c.matrix_a);
        ASSERT_EQ(p->m_extgstate != nullptr, c.stroke_alpha >= 0);
        if (p->m_extgstate) {
            EXPECT_EQ(p->m_extgstate->m_stroke_alpha.m_raw, c.stroke_alpha);
        }
        ASSERT_EQ(p->m_shading ? p->m_shading->m_type : 0u, c.shading_type);
        if (!p->m_shading) continue;
        EXPECT_EQ(p->m_shading->m_loaded, 1u);
        std::vector<uint8_t> mask(16, 255), dst(64, 0);
        CKXBmp8 m(mask.data(), 4, 4, 4);
        CKXBmp32 d(dst.data(), 4, 4, 16);
        EXPECT_EQ(p->m_shading->render_to_bmp(p->m_matrix, {0, 0}, m, d), 1);
    }
}

// A second load makes nothing new; with m_borrowed set the pattern leaves
// the shading to its owner.
TEST(PatShadingLoad, SecondLoadAndBorrowedShading) {
    PatternDoc doc;
    PatternPtr holder;
    CPDFPatShading* p = doc.load(holder, "<< /Shading 3 0 R /ExtGState 7 0 R >>");
    ASSERT_NE(p, nullptr);
    CPDFShading* shading = p->m_shading;
    CPDFExtGState* state = p->m_extgstate;
    ASSERT_NE(shading, nullptr);
    p->load();
    EXPECT_EQ(p->m_shading, shading);
    EXPECT_EQ(p->m_extgstate, state);
    p->m_borrowed = 1;
    holder.reset();
    std::vector<uint8_t> mask(4, 255), dst(16, 0);
    CKXBmp8 m(mask.data(), 4, 1, 4);
    CKXBmp32 d(dst.data(), 4, 1, 16);
    EXPECT_EQ(shading->render_to_bmp(_KXMATRIX::identity(), {0, 0}, m, d), 1);
    EXPECT_EQ(dst[2], 255);  // red at the axis start: still alive
    delete shading;
}

// Every allocation of factory, load and delete failing in turn: no crash and
// no leak, and once the failure comes late enough the pattern is the one a
// load without failures makes.
std::vector<uint8_t> make_and_load(CPDFXRefTable& xref, const CPDFObj* obj) {
    std::vector<uint8_t> out;
    PatternPtr holder(CPDFPattern::parser_pattern(&xref, obj));
    if (!holder) return out;
    holder->load();
    auto* p = static_cast<CPDFPatShading*>(holder.get());
    if (p->m_extgstate) out.push_back(static_cast<uint8_t>(p->m_extgstate->m_blend_mode));
    if (!p->m_shading) return out;
    std::vector<uint8_t> mask(12, 255);
    out.resize(out.size() + 48);
    CKXBmp8 m(mask.data(), 4, 3, 4);
    CKXBmp32 d(out.data() + out.size() - 48, 4, 3, 16);
    EXPECT_EQ(p->m_shading->render_to_bmp(p->m_matrix, {0, 0}, m, d), 1);
    return out;
}

TEST(PatShadingLoad, AllocationFailures) {
    PatternDoc doc;
    test::TestObj o(
        "<< /PatternType 2 /Shading 3 0 R /Matrix [1 0 0 1 2 0]"
        " /ExtGState << /ca 0.5 /BM [/Foo /Screen] >> >>");
    const std::vector<uint8_t> reference = make_and_load(doc.xref, o.get());
    ASSERT_EQ(reference.size(), 49u);
    ASSERT_EQ(reference[0], kBlendScreen);
    int32_t first_complete = -1;
    for (int32_t n = 0; n < 200; ++n) {
        SCOPED_TRACE(n);
        test::AllocFailGuard guard(n);
        const bool complete = make_and_load(doc.xref, o.get()) == reference;
        if (complete && first_complete < 0) first_complete = n;
        EXPECT_TRUE(complete || first_complete < 0);
    }
    EXPECT_GE(first_complete, 1);
    EXPECT_LT(first_complete, 100);
}

}  // namespace
}  // namespace shadepaint
