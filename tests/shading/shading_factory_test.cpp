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
#include "shading/shading_axial.h"
#include "shading/shading_func.h"
#include "shading/shading_radial.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::Doc;
using testing::ShadingPtr;

// What the factory makes of an object: null, or the class of its type (a
// real type rounds, halves up); never loaded, always with its own copy of the
// resolved dictionary. Each result is deleted unloaded through the base (the
// sanitizer build checks the release).
TEST(ShadingFactory, TypeDecidesTheClass) {
    Doc doc;
    doc.add(1, "<< /ShadingType 2 /Coords [0 0 1 0] >>");
    doc.add(2, "3");
    doc.add(3, "/Two");
    doc.add(4, "<< /ShadingType 6 /Length 3 >>\nstream\nabc\nendstream");
    EXPECT_EQ(CPDFShading::parser_shading(&doc.xref, nullptr), nullptr);
    struct Case {
        const char* text;
        const std::type_info* cls;  // null: no shading
    };
    // clang-format off
    const Case cases[] = {
        {"null", nullptr}, {"5", nullptr}, {"/ShadingType", nullptr}, {"[/ShadingType 2]", nullptr},
        {"<< >>", nullptr}, {"<< /ShadingType 0 >>", nullptr}, {"<< /ShadingType 8 >>", nullptr},
        {"<< /ShadingType -1 >>", nullptr}, {"<< /ShadingType 0.4 >>", nullptr},
        {"<< /ShadingType 7.5 >>", nullptr}, {"<< /ShadingType /Axial >>", nullptr},
        {"<< /ShadingType 3 0 R >>", nullptr}, {"<< /ShadingType 9 0 R >>", nullptr},
        {"9 0 R", nullptr}, {"2 0 R", nullptr},
        {"<< /ShadingType 0.5 >>", &typeid(CPDFShadingFunc)},
        {"<< /ShadingType 2 >>", &typeid(CPDFShadingAxial)},
        {"<< /ShadingType 3 >>", &typeid(CPDFShadingRadial)},
        {"<< /ShadingType 4 >>", &typeid(CPDFShadingFreeForm)},
        {"<< /ShadingType 5 >>", &typeid(CPDFShadingLatticeForm)},
        {"<< /ShadingType 6 >>", &typeid(CPDFShadingCoons)},
        {"<< /ShadingType 7.4 >>", &typeid(CPDFShadingTensor)},
        {"1 0 R", &typeid(CPDFShadingAxial)},
        {"<< /ShadingType 2 0 R >>", &typeid(CPDFShadingRadial)},
        {"4 0 R", &typeid(CPDFShadingCoons)},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        ShadingPtr s = doc.make(c.text);
        if (!c.cls) {
            EXPECT_EQ(s, nullptr);
            continue;
        }
        ASSERT_NE(s, nullptr);
        const CPDFShading& made = *s;
        EXPECT_EQ(typeid(made), *c.cls);
        EXPECT_EQ(s->m_xref, &doc.xref);
        EXPECT_EQ(s->m_loaded, 0u);
        ASSERT_NE(s->m_obj.dict(), nullptr);
        EXPECT_NE(s->m_obj.dict()->find("ShadingType"), nullptr);
    }
    // The tensor's weight table is filled before its first shading exists.
    EXPECT_EQ(CPDFShadingTensor::ms_init, 1);
    EXPECT_EQ(CPDFShadingTensor::ms_bval[CPDFShadingTensor::kBvalSteps + 8].m_raw, 0x1800000);
}

// The copy is the shading's own, and a shading made without a table still
// reads what needs no resolving.
TEST(ShadingFactory, OwnCopyAndNoTable) {
    ScopedObj o;
    const std::string text = "<< /ShadingType 2 /Coords [0 0 10 0] /BBox [0 0 5 5] >>";
    ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj));
    ShadingPtr s(CPDFShading::parser_shading(nullptr, &o.obj));
    ASSERT_NE(s, nullptr);
    o.obj.free();
    s->load();
    EXPECT_EQ(s->m_bbox.right.m_raw, 5 * testing::kOne);
    EXPECT_EQ(static_cast<CPDFShadingAxial*>(s.get())->m_dx.m_raw, 10 * testing::kOne);
}

// Every allocation of making, loading and deleting may fail; what is left
// renders and deletes cleanly (the sanitizer build checks for leaks), and
// once the budget is no longer exhausted the picture is the undisturbed one.
TEST(ShadingFactory, SurvivesEveryFailedAllocation) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    doc.add(2, "[0 0.5 1]");
    const std::string texts[] = {
        "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 16 0] /Background 2 0 R"
        " /BBox [0 0 16 16] /Domain [0 1] /Extend [true true] /Function 1 0 R >>",
        "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 16 16] /Function [1 0 R 1 0 R] >>",
        "<< /ShadingType 1 /ColorSpace /DeviceRGB /Background [1 1 1] /Domain [0 16 0 16]"
        " /Function [1 0 R 1 0 R 1 0 R] >>",
        "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [0 0 0 0 0 1] /Function 1 0 R >>",
        "<< /ShadingType 4 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 5 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 6 /ColorSpace /DeviceRGB >>",
        "<< /ShadingType 7 /ColorSpace /DeviceRGB >>",
    };
    CKXBmp8 mask(16, 16);
    std::memset(mask.m_data, 255, 16 * 16);
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
        bool reached_end = false;
        for (int32_t n = 0; n < 1000 && !reached_end; ++n) {
            SCOPED_TRACE(n);
            kx_alloc_fail_after(n);
            ShadingPtr s(CPDFShading::parser_shading(&doc.xref, &o.obj));
            if (s) s->load();
            void* probe = KXAlloc(1);
            kx_alloc_fail_after(-1);
            CKXBmp32 check(16, 16);
            const int32_t result =
                s ? s->render_to_bmp(_KXMATRIX::identity(), _KXPOINT{0, 0}, mask, check) : -1;
            if (probe) {
                KXFree(probe);
                reached_end = true;
                EXPECT_EQ(result, ref_result);
                EXPECT_EQ(std::memcmp(check.m_data, reference.m_data, 16 * 16 * 4), 0);
            }
        }
        EXPECT_TRUE(reached_end);
    }
}

}  // namespace
}  // namespace shadepaint
