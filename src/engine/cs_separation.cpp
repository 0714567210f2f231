// Separation and DeviceN. A colour is turned into tints (component byte over
// 255, rounded to the nearest raw unit), the tint transform maps them into
// the alternate space, and its outputs are clamped to bytes by the system's
// one colour clamp. Inputs and outputs live in sixteen-entry stack arrays,
// zero-filled: a function that reads more inputs than the space has tints
// sees zeros, one that writes fewer outputs than the alternate space has
// components leaves zeros, and nothing is kept in the object, so band
// workers may call get_rgb and get_gray at once.
#include "engine/cs_separation.h"

#include <cstring>
#include <new>

#include "engine/cs_family.h"
#include "engine/cs_parse_p.h"
#include "object/obj_access_p.h"
#include "shading/color_space_p.h"
#include "shading/function.h"

namespace shadepaint {

namespace {
static_assert(CPDFFunction::kMaxInputs >= detail::kCsMaxComps,
              "every tint must fit the function's input array");
static_assert(CPDFFunction::kMaxOutputs >= detail::kCsMaxComps,
              "every alternate component must fit the function's output array");

bool valid_alternate(const CPDFCSBase* alt) {
    return alt && alt->m_family != kCsFamilyIndexed && alt->m_family != kCsFamilySeparation &&
           alt->m_family != kCsFamilyDeviceN && alt->m_comp_count >= 1 &&
           alt->m_comp_count <= detail::kCsMaxComps;
}

bool is_name(const char* name, const char* want) { return std::strcmp(name, want) == 0; }
}  // namespace

KXFIX CPDFCSSeparation::tint_of(uint32_t byte) {
    // 255 is odd and kKxOne a power of two, so no quotient lies on a half.
    return KXFIX::from_raw((static_cast<int64_t>(byte & 255u) * kKxOne + 127) / 255);
}

CPDFCSSeparation* CPDFCSSeparation::create(uint32_t family, int32_t comps, int32_t colorant,
                                           CPDFCSBase* alt, CPDFFunction* func) {
    const bool named = colorant == kColorantNamed;
    if (!named || !valid_alternate(alt) || !func) {
        delete alt;
        delete func;
        alt = nullptr;
        func = nullptr;
        if (named) return nullptr;
    }
    auto* cs = new (std::nothrow) CPDFCSSeparation();
    if (!cs) {
        delete alt;
        delete func;
        return nullptr;
    }
    if (comps < 1) comps = 1;
    if (comps > detail::kCsMaxComps) comps = detail::kCsMaxComps;
    cs->m_family = family;
    cs->m_comp_count = comps;
    cs->m_colorant =
        named ? kColorantNamed : (colorant == kColorantAll ? kColorantAll : kColorantNone);
    cs->m_alt = alt;
    cs->m_func = func;
    return cs;
}

CPDFCSSeparation::~CPDFCSSeparation() {
    delete m_alt;
    delete m_func;
}

CPDFCSBase* CPDFCSSeparation::load_separation(const CPDFArray* arr, CPDFXRefTable* xref,
                                              int32_t depth) {
    if (!arr || arr->m_count < 4) return nullptr;
    ScopedObj holder;
    const char* name = detail::name_of(detail::resolve(detail::array_at(arr, 1), xref, holder.obj));
    if (!name) return nullptr;
    // All and None ignore the alternate space and the function, so a broken
    // one doesn't cost them their colour.
    if (is_name(name, "All")) return create(kCsFamilySeparation, 1, kColorantAll, nullptr, nullptr);
    if (is_name(name, "None"))
        return create(kCsFamilySeparation, 1, kColorantNone, nullptr, nullptr);
    CPDFCSBase* alt = detail::parse_cs(detail::array_at(arr, 2), xref, depth + 1);
    CPDFFunction* func = alt ? CPDFFunction::parse_func(detail::array_at(arr, 3), xref) : nullptr;
    return create(kCsFamilySeparation, 1, kColorantNamed, alt, func);
}

CPDFCSBase* CPDFCSSeparation::load_device_n(const CPDFArray* arr, CPDFXRefTable* xref,
                                            int32_t depth) {
    if (!arr || arr->m_count < 4) return nullptr;
    ScopedObj names_holder;
    const CPDFObj* names = detail::resolve(detail::array_at(arr, 1), xref, names_holder.obj);
    const CPDFArray* list = names ? detail::local_array(*names) : nullptr;
    // More colorants than a PDF_COLOR holds would be cut short silently and
    // paint with the wrong tints: refused, like an empty list.
    if (!list || list->m_count < 1 || list->m_count > detail::kCsMaxComps) return nullptr;
    bool all_none = true;
    for (int32_t i = 0; i < list->m_count; ++i) {
        ScopedObj holder;
        const char* name =
            detail::name_of(detail::resolve(detail::array_at(list, i), xref, holder.obj));
        if (!name) return nullptr;
        if (!is_name(name, "None")) all_none = false;
    }
    if (all_none) return create(kCsFamilyDeviceN, list->m_count, kColorantNone, nullptr, nullptr);
    CPDFCSBase* alt = detail::parse_cs(detail::array_at(arr, 2), xref, depth + 1);
    CPDFFunction* func = alt ? CPDFFunction::parse_func(detail::array_at(arr, 3), xref) : nullptr;
    return create(kCsFamilyDeviceN, list->m_count, kColorantNamed, alt, func);
}

void CPDFCSSeparation::alt_color(const PDF_COLOR& c, PDF_COLOR& out) const {
    KXFIX in[CPDFFunction::kMaxInputs] = {};
    KXFIX res[CPDFFunction::kMaxOutputs] = {};
    for (int32_t i = 0; i < m_comp_count; ++i) in[i] = tint_of(c.m_comps[i]);
    m_func->evaluate(in, res);
    for (int32_t i = 0; i < m_alt->m_comp_count; ++i) out.m_comps[i] = res[i].to_byte();
}

void CPDFCSSeparation::get_rgb(const PDF_COLOR& c, _KXRGBA& rgba) const {
    if (m_colorant == kColorantNamed) {
        PDF_COLOR a;
        alt_color(c, a);
        m_alt->get_rgb(a, rgba);
        return;
    }
    const uint8_t v =
        m_colorant == kColorantAll ? static_cast<uint8_t>(255u - (c.m_comps[0] & 255u)) : 255;
    rgba.r = rgba.g = rgba.b = v;
    rgba.a = 255;
}

void CPDFCSSeparation::get_gray(const PDF_COLOR& c, uint8_t& gray) const {
    _KXRGBA rgba;
    get_rgb(c, rgba);
    gray = detail::gray_of(rgba.r, rgba.g, rgba.b);
}

void CPDFCSSeparation::get_cmyk(const PDF_COLOR& c, PDF_COLOR& out) const {
    if (m_colorant == kColorantNamed) {
        PDF_COLOR a;
        alt_color(c, a);
        m_alt->get_cmyk(a, out);
        return;
    }
    out.m_comps[0] = out.m_comps[1] = out.m_comps[2] = 0;
    out.m_comps[3] = m_colorant == kColorantAll ? (c.m_comps[0] & 255u) : 0;
}

void CPDFCSSeparation::get_default_color(PDF_COLOR& color) const {
    for (int32_t i = 0; i < m_comp_count; ++i) color.m_comps[i] = 255;
}

void CPDFCSSeparation::batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 1);
}

void CPDFCSSeparation::batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const {
    detail::batch_gray_of(*this, dst, src, len);
}

void CPDFCSSeparation::batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 2);
}

void CPDFCSSeparation::batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 4);
}

}  // namespace shadepaint
