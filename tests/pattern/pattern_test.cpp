// Patterns: the factory's choice of type, the shading pattern's load with its
// shading, matrix and graphics state, ownership of the shading, and every
// allocation failing in turn.
#include "pattern/pattern.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/ext_gstate.h"
#include "engine/xref_table.h"
#include "object/pdf_obj.h"
#include "pattern/pat_shading.h"
#include "pattern/pat_tiling.h"
#include "shading/bitmap.h"
#include "shading/shading.h"
#include "shading/shading_axial.h"
#include "shading/shading_func.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

struct PatternDeleter {
    void operator()(CPDFPattern* p) const { delete p; }
};
using PatternPtr = std::unique_ptr<CPDFPattern, PatternDeleter>;

constexpr int64_t kOne = kKxOne;

constexpr char kAxial[] =
    "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 10 0] /Extend [true true]"
    " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >> >>";

// A document with the objects the cases below refer to.
class PatternDoc {
public:
    CPDFXRefTable xref;

    PatternDoc() {
        add(1, "<< /PatternType 1 /PaintType 1 /Length 0 >>\nstream\nendstream");
        add(2, "7");
        add(3, kAxial);
        add(4, "1");
        add(5, "<< /PatternType 2 /Shading 3 0 R >>");
        add(6, "[2 0 0 2 10 20]");
        add(7, "<< /CA 0.5 /BM /Multiply >>");
        add(8, "<< /ShadingType 2 /ColorSpace /NoSuchSpace /Coords (x) /Function 9 >>");
    }
    void add(int32_t num, const std::string& text) {
        ASSERT_TRUE(xref.set_object(num, text.data(), text.size())) << text;
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

TEST(PatternFactory, TypeByPatternType) {
    PatternDoc doc;
    struct Case {
        const char* text;
        int32_t type;  // 0: no pattern
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"5", 0, "a number"},
        {"2 0 R", 0, "a reference to a number"},
        {"99 0 R", 0, "a reference to nothing"},
        {"/Pattern", 0, "a name"},
        {"[<< /PatternType 1 >>]", 0, "an array"},
        {"<< >>", 2, "empty dictionary"},
        {"<< /Type /Pattern >>", 2, "no PatternType"},
        {"<< /PatternType 2 >>", 2, "2"},
        {"<< /PatternType 1 >>", 1, "1"},
        {"1 0 R", 1, "a tiling stream behind a reference"},
        {"<< /PatternType 4 0 R >>", 1, "the type itself behind a reference"},
        {"<< /PatternType 2.0 >>", 2, "2.0"},
        {"<< /PatternType 1.0 >>", 1, "1.0 as a real"},
        {"<< /PatternType 1.4 >>", 1, "1.4 rounds to 1"},
        {"<< /PatternType 1.5 >>", 2, "1.5 rounds to 2"},
        {"<< /PatternType 0.6 >>", 1, "0.6 rounds to 1"},
        {"<< /PatternType 0 >>", 2, "0"},
        {"<< /PatternType 3 >>", 2, "3"},
        {"<< /PatternType -1 >>", 2, "-1"},
        {"<< /PatternType /Tiling >>", 2, "no number"},
        {"<< /PatternType 99 0 R >>", 2, "a reference to nothing"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + ": " + c.why);
        PatternPtr p = doc.make(c.text);
        if (c.type == 0) {
            EXPECT_EQ(p, nullptr);
            continue;
        }
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->m_type, static_cast<uint32_t>(c.type));
        EXPECT_EQ(p->m_loaded, 0u);
        EXPECT_EQ(p->m_xref, &doc.xref);
        if (c.type == 1) {
            EXPECT_NE(dynamic_cast<CPDFPatTiling*>(p.get()), nullptr);
        } else {
            EXPECT_NE(dynamic_cast<CPDFPatShading*>(p.get()), nullptr);
        }
    }
    EXPECT_EQ(CPDFPattern::parser_pattern(&doc.xref, nullptr), nullptr);
}

// The pattern keeps a deep copy of the resolved object, not the caller's.
TEST(PatternFactory, KeepsOwnCopy) {
    PatternDoc doc;
    PatternPtr p;
    {
        test::TestObj o("<< /PatternType 2 /Shading 3 0 R /Matrix [1 0 0 1 5 5] >>");
        p.reset(CPDFPattern::parser_pattern(&doc.xref, o.get()));
        ASSERT_NE(p, nullptr);
        EXPECT_TRUE(test::same_value(p->m_obj, *o));
        EXPECT_NE(p->m_obj.m_dict, o->m_dict);
    }
    // The source is gone; the pattern still loads from its copy.
    p->load();
    auto* s = static_cast<CPDFPatShading*>(p.get());
    EXPECT_NE(s->m_shading, nullptr);
    EXPECT_EQ(s->m_matrix.e.m_raw, 5 * kOne);

    PatternPtr t = doc.make("1 0 R");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->m_obj.m_tag, kObjStream);
}

// Deleting before load: nothing was made, nothing is released twice.
TEST(PatternFactory, DeleteBeforeLoad) {
    PatternDoc doc;
    for (const char* text : {"5 0 R", "1 0 R", "<< /PatternType 1 >>"}) {
        SCOPED_TRACE(text);
        PatternPtr p = doc.make(text);
        ASSERT_NE(p, nullptr);
        if (auto* s = dynamic_cast<CPDFPatShading*>(p.get())) {
            EXPECT_EQ(s->m_shading, nullptr);
            EXPECT_EQ(s->m_extgstate, nullptr);
        }
    }
}

// What load makes of the Shading entry. A shading whose own load fails is
// kept (it paints what it can); one that can't be made leaves null.
TEST(PatShadingLoad, ShadingEntry) {
    PatternDoc doc;
    struct Case {
        const char* text;
        uint32_t shading_type;  // 0: m_shading stays null
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"<< /PatternType 2 /Shading 3 0 R >>", 2, "by reference"},
        {"<< /PatternType 2 >>", 0, "missing"},
        {"<< /PatternType 2 /Shading 42 >>", 0, "a number"},
        {"<< /PatternType 2 /Shading 2 0 R >>", 0, "a reference to a number"},
        {"<< /PatternType 2 /Shading 99 0 R >>", 0, "a reference to nothing"},
        {"<< /PatternType 2 /Shading << /ShadingType 9 >> >>", 0, "no such ShadingType"},
        {"<< /PatternType 2 /Shading 8 0 R >>", 2, "a shading that fails to load"},
        {"<< /PatternType 2 /Shading << /ShadingType 1 >> >>", 1, "a bare function-based"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + ": " + c.why);
        PatternPtr holder;
        CPDFPatShading* p = doc.load(holder, c.text);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->m_loaded, 1u);
        if (c.shading_type == 0) {
            EXPECT_EQ(p->m_shading, nullptr);
            continue;
        }
        ASSERT_NE(p->m_shading, nullptr);
        EXPECT_EQ(p->m_shading->m_type, c.shading_type);
        EXPECT_EQ(p->m_shading->m_loaded, 1u);
        // Loaded or not, the shading renders without harm.
        std::vector<uint8_t> mask(16, 255), dst(64, 0);
        CKXBmp8 m(mask.data(), 4, 4, 4);
        CKXBmp32 d(dst.data(), 4, 4, 16);
        EXPECT_EQ(p->m_shading->render_to_bmp(p->m_matrix, {0, 0}, m, d), 1);
    }
}

TEST(PatShadingLoad, MatrixAndExtGState) {
    PatternDoc doc;
    const _KXMATRIX id = _KXMATRIX::identity();
    const _KXMATRIX m2 = {KXFIX::from_int(2),  KXFIX{0},           KXFIX{0}, KXFIX::from_int(2),
                          KXFIX::from_int(10), KXFIX::from_int(20)};
    struct Case {
        const char* text;
        _KXMATRIX matrix;
        bool extgstate;
        int64_t stroke_alpha;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"<< /Shading 3 0 R >>", id, false, 0, "neither: identity, no state"},
        {"<< /Shading 3 0 R /Matrix [2 0 0 2 10 20] >>", m2, false, 0, "direct matrix"},
        {"<< /Shading 3 0 R /Matrix 6 0 R >>", m2, false, 0, "matrix by reference"},
        {"<< /Shading 3 0 R /Matrix [2 0 0] >>", id, false, 0, "short matrix"},
        {"<< /Shading 3 0 R /ExtGState 7 0 R >>", id, true, kOne / 2, "state by reference"},
        {"<< /Shading 3 0 R /ExtGState << /CA 0.25 >> >>", id, true, kOne / 4, "direct state"},
        {"<< /Shading 3 0 R /ExtGState 5 >>", id, true, kOne, "a state that is no dictionary"},
        {"<< /Matrix [2 0 0 2 10 20] /ExtGState 7 0 R >>", m2, true, kOne / 2,
         "read without a shading too"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + ": " + c.why);
        PatternPtr holder;
        CPDFPatShading* p = doc.load(holder, c.text);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(std::memcmp(&p->m_matrix, &c.matrix, sizeof(_KXMATRIX)), 0);
        ASSERT_EQ(p->m_extgstate != nullptr, c.extgstate);
        if (c.extgstate) {
            EXPECT_EQ(p->m_extgstate->m_stroke_alpha.m_raw, c.stroke_alpha);
        }
    }
}

// A second load creates nothing new: the first shading and state stay.
TEST(PatShadingLoad, SecondLoadKeepsFirst) {
    PatternDoc doc;
    PatternPtr holder;
    CPDFPatShading* p = doc.load(holder, "<< /Shading 3 0 R /ExtGState 7 0 R >>");
    ASSERT_NE(p, nullptr);
    CPDFShading* shading = p->m_shading;
    CPDFExtGState* state = p->m_extgstate;
    ASSERT_NE(shading, nullptr);
    ASSERT_NE(state, nullptr);
    p->load();
    EXPECT_EQ(p->m_shading, shading);
    EXPECT_EQ(p->m_extgstate, state);
}

// With m_borrowed set the pattern leaves the shading to its owner.
TEST(PatShadingLoad, BorrowedShadingOutlivesPattern) {
    PatternDoc doc;
    PatternPtr holder;
    CPDFPatShading* p = doc.load(holder, "<< /Shading 3 0 R >>");
    ASSERT_NE(p, nullptr);
    CPDFShading* shading = p->m_shading;
    ASSERT_NE(shading, nullptr);
    p->m_borrowed = 1;
    holder.reset();
    // Still alive: it renders, and then its owner deletes it.
    std::vector<uint8_t> mask(4, 255), dst(16, 0);
    CKXBmp8 m(mask.data(), 4, 1, 4);
    CKXBmp32 d(dst.data(), 4, 1, 16);
    EXPECT_EQ(shading->render_to_bmp(_KXMATRIX::identity(), {0, 0}, m, d), 1);
    EXPECT_EQ(dst[2], 255);  // red at the axis start
    delete shading;
}

// Every allocation of factory, load and delete failing in turn, for a
// shading pattern with an axial shading and one with a function-based one:
// no crash and no leak, and once the failure comes late enough the pattern
// is the one a load without failures makes.
struct Outcome {
    bool has_shading = false;
    std::vector<uint8_t> picture;
    bool has_state = false;
    int64_t fill_alpha = 0;
    int32_t blend_mode = -1;

    bool operator==(const Outcome& o) const {
        return has_shading == o.has_shading && picture == o.picture && has_state == o.has_state &&
               fill_alpha == o.fill_alpha && blend_mode == o.blend_mode;
    }
};

Outcome make_and_load(CPDFXRefTable& xref, const CPDFObj* obj) {
    Outcome out;
    PatternPtr holder(CPDFPattern::parser_pattern(&xref, obj));
    if (!holder) return out;
    holder->load();
    auto* p = static_cast<CPDFPatShading*>(holder.get());
    if (p->m_shading) {
        out.has_shading = true;
        std::vector<uint8_t> mask(12, 255);
        out.picture.assign(48, 0);
        CKXBmp8 m(mask.data(), 4, 3, 4);
        CKXBmp32 d(out.picture.data(), 4, 3, 16);
        EXPECT_EQ(p->m_shading->render_to_bmp(p->m_matrix, {0, 0}, m, d), 1);
    }
    if (p->m_extgstate) {
        out.has_state = true;
        out.fill_alpha = p->m_extgstate->m_fill_alpha.m_raw;
        out.blend_mode = p->m_extgstate->m_blend_mode;
    }
    return out;
}

constexpr int32_t kFailureRuns = 200;

TEST(PatShadingLoad, AllocationFailures) {
    PatternDoc doc;
    doc.add(20, "<< /FunctionType 2 /Domain [0 1] /C0 [0 1 0] /C1 [1 0 1] /N 1 >>");
    doc.add(21, "<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [0 10 0 10] /Function 20 0 R >>");
    doc.add(22, "<< /ca 0.5 /BM [/Foo /Screen] >>");
    for (const char* text : {"<< /PatternType 2 /Shading 3 0 R /Matrix [1 0 0 1 2 0]"
                             " /ExtGState << /ca 0.5 /BM [/Screen] >> >>",
                             "<< /PatternType 2 /Shading 21 0 R /ExtGState 22 0 R >>"}) {
        SCOPED_TRACE(text);
        test::TestObj o(text);
        const Outcome reference = make_and_load(doc.xref, o.get());
        ASSERT_TRUE(reference.has_shading && reference.has_state);
        ASSERT_EQ(reference.blend_mode, kBlendScreen);
        // Past the last allocation every run is complete; the fixed count
        // reaches well beyond it, so no late failure point is skipped.
        int32_t first_complete = -1;
        for (int32_t n = 0; n < kFailureRuns; ++n) {
            SCOPED_TRACE(n);
            test::AllocFailGuard guard(n);
            const bool complete = make_and_load(doc.xref, o.get()) == reference;
            if (complete && first_complete < 0) first_complete = n;
            EXPECT_TRUE(complete || first_complete < 0);
        }
        EXPECT_GE(first_complete, 1);
        EXPECT_LT(first_complete, kFailureRuns / 2);
    }
}

}  // namespace
}  // namespace shadepaint
