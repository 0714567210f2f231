#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <typeinfo>

#include "engine/kxalloc.h"
#include "mesh/shading_coons.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "mesh/shading_tensor.h"
#include "object/pdf_dictionary.h"
#include "shading/shading.h"
#include "shading/shading_axial.h"
#include "shading/shading_func.h"
#include "shading/shading_radial.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Doc;
using testing::ShadingPtr;

TEST(ShadingFactory, RejectsWhatIsNoShading) {
    Doc doc;
    doc.add(1, "<< /ShadingType 2 >>");
    doc.add(2, "2");
    doc.add(3, "/Two");
    EXPECT_EQ(CPDFShading::parser_shading(&doc.xref, nullptr), nullptr);
    struct Case {
        const char* text;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {"null", "no value"},
        {"5", "a number"},
        {"/ShadingType", "a name"},
        {"(abc)", "a string"},
        {"[/ShadingType 2]", "an array"},
        {"<< >>", "empty dictionary"},
        {"<< /shadingtype 2 >>", "keys are case sensitive"},
        {"<< /ShadingType 0 >>", "below the first type"},
        {"<< /ShadingType 8 >>", "above the last type"},
        {"<< /ShadingType -1 >>", "negative wraps above the limit"},
        {"<< /ShadingType -2147483648 >>", "most negative"},
        {"<< /ShadingType 0.4 >>", "rounds to 0"},
        {"<< /ShadingType 7.5 >>", "rounds half up to 8"},
        {"<< /ShadingType /Axial >>", "a name reads as 0"},
        {"<< /ShadingType 3 0 R >>", "reference to a name"},
        {"<< /ShadingType 9 0 R >>", "reference that resolves to nothing"},
        {"<< /ShadingType null >>", "null"},
        {"9 0 R", "reference that resolves to nothing"},
        {"2 0 R", "reference to a number"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + ": " + c.why);
        EXPECT_EQ(doc.make(c.text), nullptr);
    }
}

TEST(ShadingFactory, BuildsTheClassOfEachType) {
    Doc doc;
    doc.add(1, "<< /ShadingType 2 /Coords [0 0 1 0] >>");
    doc.add(2, "3");
    doc.add(3, "<< /ShadingType 6 /Length 3 >>\nstream\nabc\nendstream");
    struct Case {
        const char* text;
        uint32_t type;
        const std::type_info& cls;
    };
    // clang-format off
    const Case cases[] = {
        {"<< /ShadingType 1 >>", 1, typeid(CPDFShadingFunc)},
        {"<< /ShadingType 2 >>", 2, typeid(CPDFShadingAxial)},
        {"<< /ShadingType 3 >>", 3, typeid(CPDFShadingRadial)},
        {"<< /ShadingType 4 >>", 4, typeid(CPDFShadingFreeForm)},
        {"<< /ShadingType 5 >>", 5, typeid(CPDFShadingLatticeForm)},
        {"<< /ShadingType 6 >>", 6, typeid(CPDFShadingCoons)},
        {"<< /ShadingType 7 >>", 7, typeid(CPDFShadingTensor)},
        {"<< /ShadingType 6.6 >>", 7, typeid(CPDFShadingTensor)},
        {"<< /ShadingType 7.4 >>", 7, typeid(CPDFShadingTensor)},
        {"<< /ShadingType 0.5 >>", 1, typeid(CPDFShadingFunc)},
        {"1 0 R", 2, typeid(CPDFShadingAxial)},
        {"<< /ShadingType 2 0 R >>", 3, typeid(CPDFShadingRadial)},
        {"3 0 R", 6, typeid(CPDFShadingCoons)},
        {"<< /ShadingType 4 /Length 0 >>\nstream\n\nendstream", 4, typeid(CPDFShadingFreeForm)},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ShadingPtr s = doc.make(c.text);
        ASSERT_NE(s, nullptr);
        const CPDFShading& made = *s;
        EXPECT_EQ(typeid(made), c.cls);
        EXPECT_EQ(s->m_type, c.type);
        EXPECT_EQ(s->m_xref, &doc.xref);
        EXPECT_EQ(s->m_loaded, 0u);
        EXPECT_EQ(s->m_cs, nullptr);
        // The object is the shading's own copy, resolved, of the same kind.
        ASSERT_NE(s->m_obj.dict(), nullptr);
        EXPECT_NE(s->m_obj.dict()->find("ShadingType"), nullptr);
        // Deleted unloaded, through the base: each kind's release runs.
    }
}

TEST(ShadingFactory, KeepsAnIndependentCopy) {
    Doc doc;
    ScopedObj o;
    const std::string text = "<< /ShadingType 2 /Coords [0 0 10 0] >>";
    ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
    ShadingPtr s(CPDFShading::parser_shading(&doc.xref, &o.obj));
    ASSERT_NE(s, nullptr);
    EXPECT_NE(s->m_obj.m_dict, o.obj.m_dict);
    o.obj.free();
    s->load();
    EXPECT_EQ(static_cast<CPDFShadingAxial*>(s.get())->m_dx.m_raw, 10 * testing::kOne);
}

TEST(ShadingFactory, WorksWithoutTable) {
    ScopedObj o;
    const std::string text = "<< /ShadingType 2 /Coords [0 0 10 0] /BBox [0 0 5 5] >>";
    ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
    ShadingPtr s(CPDFShading::parser_shading(nullptr, &o.obj));
    ASSERT_NE(s, nullptr);
    s->load();
    EXPECT_EQ(s->m_bbox.right.m_raw, 5 * testing::kOne);
    EXPECT_EQ(static_cast<CPDFShadingAxial*>(s.get())->m_dx.m_raw, 10 * testing::kOne);
}

// Every allocation that making, loading and deleting a shading does may
// fail; each must leave a shading that loads, renders and deletes cleanly
// (the sanitizer build checks for leaks).
TEST(ShadingFactory, SurvivesEveryFailedAllocation) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    doc.add(2, "[0 0.5 1]");
    const std::string texts[] = {
        "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 16 0] /Background 2 0 R"
        " /BBox [0 0 16 16] /Domain [0 1] /Extend [true true] /Function 1 0 R >>",
        "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 16 16] /Function [1 0 R 1 0 R "
        "1 0 R] >>",
        "<< /ShadingType 1 /ColorSpace /DeviceRGB /Background [1 1 1] >>",
        "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [0 0 0 0 0 1] /Function 1 0 R >>",
        "<< /ShadingType 4 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 5 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 6 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 7 /ColorSpace /DeviceRGB >>",
    };
    CKXBmp8 mask(16, 16);
    for (int32_t i = 0; i < 16 * 16; ++i) mask.m_data[i] = 255;
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        ScopedObj o;
        ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
        CKXBmp32 reference(16, 16);
        int32_t ref_result = -1;
        {
            ShadingPtr s(CPDFShading::parser_shading(&doc.xref, &o.obj));
            ASSERT_NE(s, nullptr);
            s->load();
            ref_result = s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, reference);
        }
        // The budget grows until an attempt no longer exhausts it.
        bool reached_end = false;
        for (int32_t n = 0; n < 1000 && !reached_end; ++n) {
            SCOPED_TRACE(n);
            kx_alloc_fail_after(n);
            ShadingPtr s(CPDFShading::parser_shading(&doc.xref, &o.obj));
            if (s) s->load();
            void* probe = KXAlloc(1);
            kx_alloc_fail_after(-1);
            CKXBmp32 check(16, 16);
            // Whatever a failure left behind still renders (the result may
            // tell that nothing could be painted) and deletes.
            const int32_t result =
                s ? s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, check) : -1;
            if (probe) {
                KXFree(probe);
                reached_end = true;
                ASSERT_NE(s, nullptr);
                EXPECT_EQ(result, ref_result);
                EXPECT_EQ(std::memcmp(check.m_data, reference.m_data, 16 * 16 * 4), 0);
            }
        }
        EXPECT_TRUE(reached_end) << "no budget gave the undisturbed picture";
    }
}

// The factory fills the weight table before the first tensor shading exists.
TEST(ShadingFactory, TensorWeightsAreFilledByTheFactory) {
    Doc doc;
    ShadingPtr s = doc.make("<< /ShadingType 7 >>");
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(CPDFShadingTensor::ms_init, 1);
    const KXFIX* w = CPDFShadingTensor::ms_bval;
    constexpr int32_t n = CPDFShadingTensor::kBvalSteps;
    struct Case {
        int32_t row, i;
        int64_t raw;
    };
    // clang-format off
    const Case cases[] = {
        {0, 0, 0x4000000}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0},
        {0, 1, 0x34bc000}, {1, 1, 0xa8c000}, {2, 1, 0xb4000}, {3, 1, 0x4000},
        {0, 8, 0x800000}, {1, 8, 0x1800000}, {2, 8, 0x1800000}, {3, 8, 0x800000},
        {0, 16, 0}, {1, 16, 0}, {2, 16, 0}, {3, 16, 0x4000000},
        {2, 15, 0xa8c000},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "row " << c.row << " i " << c.i);
        EXPECT_EQ(w[n * c.row + c.i].m_raw, c.raw);
    }
    for (int32_t i = 0; i < n; ++i) {
        SCOPED_TRACE(i);
        // A partition of one, and symmetric: (r, i) is (3 - r, 16 - i).
        EXPECT_EQ(w[i].m_raw + w[n + i].m_raw + w[2 * n + i].m_raw + w[3 * n + i].m_raw,
                  testing::kOne);
        for (int32_t r = 0; r < 4; ++r)
            EXPECT_EQ(w[n * r + i].m_raw, w[n * (3 - r) + (n - 1 - i)].m_raw);
    }
    // A second init finds the table filled and leaves it as it is.
    KXFIX before[4 * n];
    std::memcpy(before, w, sizeof(before));
    CPDFShadingTensor::init();
    EXPECT_EQ(std::memcmp(before, w, sizeof(before)), 0);
}

}  // namespace
}  // namespace shadepaint
