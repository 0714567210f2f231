// The factory, the load that every shading shares (ColorSpace, Background,
// BBox) and the ramp steps of the loaders.
#include "shading/shading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/shading_coons.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "mesh/shading_tensor.h"
#include "shading/shading_axial.h"
#include "shading/shading_func.h"
#include "shading/shading_p.h"
#include "shading/shading_radial.h"
#include "shading_test_util.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using namespace testing;

// What the factory makes of an object: null, or the class of its type (a
// real type rounds, halves up; below 1 wraps above the limit).
TEST(ShadingFactory, TypeDecidesTheClass) {
    Doc doc;
    doc.add(1, "<< /ShadingType 2 /Coords [0 0 1 0] >>");
    doc.add(2, "3");
    doc.add(4, "<< /ShadingType 6 /Length 3 >>\nstream\nabc\nendstream");
    EXPECT_EQ(CPDFShading::parser_shading(&doc.xref, nullptr), nullptr);
    // clang-format off
    const std::pair<const char*, const std::type_info*> cases[] = {
        {"5", nullptr}, {"<< /ShadingType 0 >>", nullptr}, {"<< /ShadingType 8 >>", nullptr},
        {"<< /ShadingType -1 >>", nullptr}, {"<< /ShadingType 0.4 >>", nullptr},
        {"<< /ShadingType 7.5 >>", nullptr}, {"<< /ShadingType /Axial >>", nullptr},
        {"9 0 R", nullptr}, {"1 0 R", &typeid(CPDFShadingAxial)},
        {"4 0 R", &typeid(CPDFShadingCoons)}, {"<< /ShadingType 0.5 >>", &typeid(CPDFShadingFunc)},
        {"<< /ShadingType 2 0 R >>", &typeid(CPDFShadingRadial)},
        {"<< /ShadingType 4 >>", &typeid(CPDFShadingFreeForm)},
        {"<< /ShadingType 5 >>", &typeid(CPDFShadingLatticeForm)},
        {"<< /ShadingType 7.4 >>", &typeid(CPDFShadingTensor)}};
    // clang-format on
    for (const auto& c : cases) {
        const test::TestObj o(c.first);
        const ShadingPtr s(CPDFShading::parser_shading(&doc.xref, o.get()));
        const CPDFShading* made = s.get();
        EXPECT_TRUE(made ? c.second && typeid(*made) == *c.second : !c.second) << c.first;
    }
}

// Every allocation of making and loading may fail, for every loader; what is
// left renders in colour and gray and deletes cleanly, and once the budget is
// no longer exhausted the picture is the undisturbed one. A second load reads
// nothing again.
TEST(ShadingFactory, SurvivesEveryFailedAllocation) {
    Doc doc;
    doc.add(1, "<< /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [0 0 1] /N 1 >>");
    const std::string rgb = "<< /ColorSpace /DeviceRGB /Extend [true true] /ShadingType ";
    // clang-format off
    const std::string texts[] = {
        rgb + "2 /Coords [0 0 16 0] /Background [0 0.5 1] /BBox [0 0 16 16] /Function 1 0 R >>",
        rgb + "2 /Coords [0 0 16 16] /Function [1 0 R 1 0 R] >>",
        rgb + "1 /Background [1 1 1] /Domain [0 16 0 16] /Function [1 0 R 1 0 R 1 0 R] >>",
        rgb + "3 /Coords [5 5 0 5 5 9] /Background [0 0 1] /Function [1 0 R 1 0 R] >>",
        rgb + "3 /Coords [3 5 1 7 5 4] /Background [0 0 1] /Function [1 0 R 1 0 R] >>",
        rgb + "4 >>", rgb + "5 >>", rgb + "6 >>", rgb + "7 >>"};
    // clang-format on
    Canvas<CKXBmp8> mask(16, 16, 16, 255);
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const test::TestObj o(text.c_str());
        ShadingPtr s(CPDFShading::parser_shading(&doc.xref, o.get()));
        ASSERT_NE(s, nullptr);
        s->load();
        const CPDFCSBase* cs = s->m_cs;
        s->load();
        EXPECT_EQ(s->m_cs, cs);
        CKXBmp32 reference(16, 16);
        const int32_t want = s->render_to_bmp(kIdentity, kOrigin, mask.bmp, reference);
        for (int32_t n = 0, done = 0; !done; ++n) {
            ASSERT_LT(n, 1000);
            s.reset();
            kx_alloc_fail_after(n);
            s.reset(CPDFShading::parser_shading(&doc.xref, o.get()));
            if (s) s->load();
            void* probe = KXAlloc(1);  // null while the budget is exhausted
            kx_alloc_fail_after(-1);
            done = probe != nullptr;
            KXFree(probe);
            CKXBmp32 check(16, 16);
            CKXBmpGray gray(16, 16);
            const int32_t got = s ? s->render_to_bmp(kIdentity, kOrigin, mask.bmp, check) : -1;
            EXPECT_EQ(s ? s->render_to_bmpg(kIdentity, kOrigin, mask.bmp, gray) : -1, got) << n;
            EXPECT_TRUE(!done ||
                        (got == want && !std::memcmp(check.m_data, reference.m_data, 1024)));
        }
    }
}

// Background is clamped to bytes; a value that can't be read against the
// space (no array, too short, no space) counts as absent; spaces of 2 or of
// 5 and more components read nothing but still count. BBox is kept as read,
// by reference too; without one it stays inverted.
TEST(ShadingLoad, BackgroundAndBBox) {
    Doc doc;
    doc.add(1, "[1 2 3 4]");
    doc.add(2, "0.25");
    const int64_t none = _KXRECTF().left.m_raw;
    const std::pair<std::string, std::vector<int64_t>> cases[] = {
        // has Background, its colour word (0xAARRGGBB; -1: not checked), its
        // gray, and the BBox's left
        {"/ColorSpace /DeviceRGB /Background [2 -1 0.5 7] /BBox 1 0 R", {1, 0xffff0080, 90, kOne}},
        {"/ColorSpace /DeviceRGB /Background [2 0 R 2 0 R 2 0 R]", {1, 0xff404040, 64, none}},
        {"/ColorSpace /DeviceGray /Background [0.5 1 1]", {1, 0xff808080, 128, none}},
        {"/ColorSpace [/DeviceN [/None /None] /DeviceRGB null] /Background [1 1]",
         {1, -1, -1, none}},
        {"/ColorSpace /DeviceRGB /Background [1 0] /BBox [3 4 1 2]", {0, 0, 0, 3 * kOne}},
        {"/ColorSpace /DeviceRGB /Background /Red", {0, 0, 0, none}},
        {"/Background [1 1 1]", {0, 0, 0, none}}};
    for (const auto& c : cases) {
        ShadingPtr holder;
        const CPDFShading* s =
            doc.load<CPDFShading>(holder, "<< /ShadingType 2 " + c.first + " >>");
        ASSERT_NE(s, nullptr);
        uint32_t word;
        std::memcpy(&word, &s->m_bg_rgba, 4);
        const bool colour = c.second[1] >= 0;
        EXPECT_EQ(std::vector<int64_t>({s->m_has_background, colour ? int64_t{word} : -1,
                                        colour ? s->m_bg_gray : -1, s->m_bbox.left.m_raw}),
                  c.second)
            << c.first;
    }
}

// Shadings like the gallery's and hostile ones, through a set of matrices and
// an origin whose row sums wrap: each call returns 1, writes nothing outside
// the picture, and ends however large the shading gets on the device. What
// the document leaves without meaning paints nothing, and sizes that differ
// return 0 and touch nothing. A focal point inside the end circle with both
// ends extended covers the picture, but for single pixels where neighbouring
// pieces' shared rays round apart.
TEST(ShadingRender, GalleryAndHostileCases) {
    Doc doc;
    doc.add(1, "1 0 R");
    doc.add(10, "<< /FunctionType 2 /Domain [-9 9] /C0 [1 0.5 0] /C1 [1 0.5 0] /N 1 >>");
    const std::string radial = "3 /ColorSpace /DeviceRGB ", func = "1 /ColorSpace /DeviceRGB ";
    // clang-format off
    const std::pair<std::string, int> cases[] = {
        // the entries, and the per mille of the picture painted under the page
        // matrix (-1: nothing at all under any matrix)
        {radial + "/Coords [38 60 0 50 50 40] /Extend [true true]", 999},
        {radial + "/Coords [25 40 8 65 55 22] /Extend [true true] /Background [0.2 0.3 0.4]", 1000},
        {radial + "/Coords [0 0 -10 20 0 -30] /Extend [true true]", 0},
        {radial + "/Coords [5 5 3 5 5 -3] /Extend [true true] /Background [1 0 0]", 0},
        {radial + "/Coords [5 5 3 5 5 3] /Extend [true true] /Background [1 0 0]", -1},
        {radial + "/Coords [0 0 1 1000000000 -1000000000 2000000000] /Extend [true true]", 0},
        {radial + "/Coords [0 0 1 0.00001 0 1.00001] /Extend [true true]", 0},
        {radial + "/Coords 1 0 R /Domain 1 0 R /Extend 1 0 R /Function 1 0 R", 0},
        {radial + "/Coords [1 2 3 4 5 6] /Domain /X /Extend 5 /Function [1 2] /Background [1 0]", 0},
        {func, -1},  // no Function: one null entry
        {func + "/Function [10 0 R 99 0 R 10 0 R]", -1},
        {"1 /ColorSpace /NoSuchSpace /Function 10 0 R", -1},
        {func + "/Matrix [1 2 2 4 0 0] /Function 10 0 R", 0}};
    const KXFIX o{0}, tiny{1};
    const _KXMATRIX matrices[] = {
        {fix(1.28), o, o, fix(-1.28), o, fix(128)} /* a page */, {o, o, o, o, o, o},
        {fix(1), fix(2), fix(2), fix(4), fix(3), fix(3)} /* singular */, {tiny, o, o, tiny, o, o},
        {fix(1e7), o, o, fix(1e7), fix(-5e7), fix(-5e7)},
        {fix(2000), fix(1500), fix(-1500), fix(2000), fix(10), fix(10)}};
    // clang-format on
    constexpr int32_t kSide = 128, kGuard = 64;
    Canvas<CKXBmp8> mask(kSide, kSide, kSide, 255);
    for (const auto& c : cases) {
        ShadingPtr holder;
        const CPDFShading* s = doc.load<CPDFShading>(holder, "<< /ShadingType " + c.first + " >>");
        ASSERT_NE(s, nullptr);
        for (const _KXPOINT origin : {kOrigin, _KXPOINT{-2147483647, 2147483600}}) {
            for (const _KXMATRIX& m : matrices) {
                SCOPED_TRACE(::testing::Message()
                             << c.first << ", matrix " << &m - matrices << ", origin " << origin.x);
                std::vector<uint8_t> colour(kGuard + 4 * kSide * kSide + kGuard, 0xee);
                std::vector<uint8_t> gray(kGuard + 2 * kSide * kSide + kGuard, 0xee);
                std::fill(colour.begin() + kGuard, colour.end() - kGuard, 0);
                const std::vector<uint8_t> colour_before = colour, gray_before = gray;
                for (int32_t w : {kSide - 1, kSide}) {  // a width that differs from the mask's
                    CKXBmp32 dst(colour.data() + kGuard, w, kSide, 4 * kSide);
                    CKXBmpGray gdst(gray.data() + kGuard, w, kSide, 2 * kSide);
                    EXPECT_EQ(s->render_to_bmp(m, origin, mask.bmp, dst), w == kSide ? 1 : 0);
                    EXPECT_EQ(s->render_to_bmpg(m, origin, mask.bmp, gdst), w == kSide ? 1 : 0);
                    EXPECT_TRUE((colour == colour_before && gray == gray_before) ||
                                (w == kSide && c.second >= 0))
                        << w;
                }
                for (const std::vector<uint8_t>* v : {&colour, &gray})
                    EXPECT_EQ(std::count(v->begin(), v->begin() + kGuard, 0xee) +
                                  std::count(v->end() - kGuard, v->end(), 0xee),
                              2 * kGuard);
                if (&m != matrices || origin.x || c.second <= 0) continue;
                int painted = 0;
                for (int32_t i = 0; i < kSide * kSide; ++i)
                    painted += colour[kGuard + 4 * i + 3] != 0;
                EXPECT_GE(painted * 1000, c.second * kSide * kSide) << painted;
            }
        }
    }
}

// Step i of a ramp is t0 + (t1 - t0) * i / 255, truncated toward zero.
TEST(ShadingFunctions, RampSteps) {
    // clang-format off
    const int64_t cases[][4] = {  // t0, t1, i, the step's input
        {0, kOne, 1, 263172}, {0, kOne, 255, kOne}, {kOne, 0, 1, kOne - 263172},  // toward zero
        {INT64_MIN / 2, INT64_MAX / 2, 255, -4575515932008349569}};  // the product wraps
    // clang-format on
    for (const auto& c : cases) {
        const auto i = static_cast<int32_t>(c[2]);
        EXPECT_EQ(detail::ramp_input(KXFIX::from_raw(c[0]), KXFIX::from_raw(c[1]), i).m_raw, c[3])
            << c[0] << " " << c[1] << " " << c[2];
    }
}

}  // namespace
}  // namespace shadepaint
