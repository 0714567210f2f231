// Reading an ExtGState dictionary. Every value may be a reference and is
// resolved here. A value of the wrong kind is treated as if its key were
// missing, so the renderer keeps what it had; out-of-range alphas clamp to
// 0..1, and a negative line width, which PDF doesn't allow, is ignored.
//
// BM may be a name or an array of names. For an array the first name that
// is a blend mode counts, as PDF asks of a reader that doesn't know every
// name; a BM without any known name is Normal.
#include "engine/ext_gstate.h"

#include <cstring>

#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "object/pdf_obj.h"

namespace shadepaint {

namespace {

// clang-format off
struct BlendName {
    const char* name;
    PDF_BLEND_MODE mode;
};
constexpr BlendName kBlendNames[] = {
    {"Normal", kBlendNormal},         {"Compatible", kBlendNormal},
    {"Multiply", kBlendMultiply},     {"Screen", kBlendScreen},
    {"Overlay", kBlendOverlay},       {"Darken", kBlendDarken},
    {"Lighten", kBlendLighten},       {"ColorDodge", kBlendColorDodge},
    {"ColorBurn", kBlendColorBurn},   {"HardLight", kBlendHardLight},
    {"SoftLight", kBlendSoftLight},   {"Difference", kBlendDifference},
    {"Exclusion", kBlendExclusion},   {"Hue", kBlendHue},
    {"Saturation", kBlendSaturation}, {"Color", kBlendColor},
    {"Luminosity", kBlendLuminosity},
};
// clang-format on

// The number under key, resolved; false when the key is missing or holds no
// number.
bool read_number(CPDFXRefTable* xref, const CPDFDictionary& dict, const char* key, KXFIX& out) {
    const CPDFObj* entry = dict.find(key);
    if (!entry) return false;
    ScopedObj l;
    detail::deref(xref, entry, l.obj);
    if (!detail::is_direct_number(&l.obj)) return false;
    out = detail::direct_fix(&l.obj);
    return true;
}

KXFIX clamp_unit(KXFIX v) {
    if (v.m_raw < 0) return KXFIX{0};
    if (v.m_raw > kKxOne) return KXFIX::from_raw(kKxOne);
    return v;
}

// The blend mode of a resolved name, or -1.
int32_t mode_of_value(const CPDFObj& v) {
    if (v.m_tag != kObjName || !v.m_name) return -1;
    return CPDFExtGState::blend_mode_of(v.m_name);
}

// The blend mode a BM value selects, or -1 when the value is neither a name
// nor an array.
int32_t read_blend_mode(CPDFXRefTable* xref, const CPDFObj* entry) {
    ScopedObj l;
    detail::deref(xref, entry, l.obj);
    if (l.obj.m_tag == kObjName) {
        const int32_t mode = mode_of_value(l.obj);
        return mode < 0 ? kBlendNormal : mode;
    }
    const CPDFArray* a = detail::local_array(l.obj);
    if (!a) return -1;
    for (int32_t i = 0; i < a->m_count; ++i) {
        ScopedObj item;
        detail::deref(xref, detail::array_at(a, i), item.obj);
        const int32_t mode = mode_of_value(item.obj);
        if (mode >= 0) return mode;
    }
    return kBlendNormal;
}

}  // namespace

int32_t CPDFExtGState::blend_mode_of(const char* name) {
    if (!name) return -1;
    for (const BlendName& b : kBlendNames) {
        if (std::strcmp(name, b.name) == 0) return b.mode;
    }
    return -1;
}

int32_t CPDFExtGState::load(CPDFXRefTable* xref, const CPDFObj* obj) {
    m_present = 0;
    m_stroke_alpha = KXFIX::from_raw(kKxOne);
    m_fill_alpha = KXFIX::from_raw(kKxOne);
    m_blend_mode = kBlendNormal;
    m_soft_mask = 0;
    m_line_width = KXFIX::from_raw(kKxOne);

    ScopedObj l;
    detail::deref(xref, obj, l.obj);
    if (l.obj.m_tag != kObjDict || !l.obj.m_dict) return 0;
    const CPDFDictionary& dict = *l.obj.m_dict;

    KXFIX v;
    if (read_number(xref, dict, "CA", v)) {
        m_stroke_alpha = clamp_unit(v);
        m_present |= kHasStrokeAlpha;
    }
    if (read_number(xref, dict, "ca", v)) {
        m_fill_alpha = clamp_unit(v);
        m_present |= kHasFillAlpha;
    }
    if (const CPDFObj* bm = dict.find("BM")) {
        const int32_t mode = read_blend_mode(xref, bm);
        if (mode >= 0) {
            m_blend_mode = static_cast<PDF_BLEND_MODE>(mode);
            m_present |= kHasBlendMode;
        }
    }
    if (const CPDFObj* smask = dict.find("SMask")) {
        ScopedObj m;
        detail::deref(xref, smask, m.obj);
        const bool is_none =
            m.obj.m_tag == kObjName && m.obj.m_name && std::strcmp(m.obj.m_name, "None") == 0;
        const bool is_mask = (m.obj.m_tag == kObjDict || m.obj.m_tag == kObjStream) && m.obj.dict();
        if (is_none || is_mask) {
            m_soft_mask = is_mask ? 1 : 0;
            m_present |= kHasSoftMask;
        }
    }
    if (read_number(xref, dict, "LW", v) && v.m_raw >= 0) {
        m_line_width = v;
        m_present |= kHasLineWidth;
    }
    return 1;
}

}  // namespace shadepaint
