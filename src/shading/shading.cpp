// The shading factory, the load that all types share, and the function table
// helpers of the loaders.
//
// The factory reads nothing but ShadingType. Types 2 and 3 carry their colour
// ramps inside the object and come from KXAlloc through their own create();
// their class operator delete hands them back to KXFree, so the owner deletes
// every type the same way, through the virtual destructor.
//
// Background is read in the colour space's own component order and is the one
// place where a document array is read against a count taken from elsewhere:
// an array shorter than that count, a value that is no array, or a missing
// colour space count as no Background, so nothing outside the array is read.
#include "shading/shading.h"

#include <cstddef>
#include <cstdint>
#include <new>

#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "mesh/shading_coons.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "mesh/shading_tensor.h"
#include "object/obj_access_p.h"
#include "shading/color_space.h"
#include "shading/function.h"
#include "shading/shading_axial.h"
#include "shading/shading_func.h"
#include "shading/shading_p.h"
#include "shading/shading_radial.h"

namespace shadepaint {

namespace {
constexpr uint32_t kMaxShadingType = 7;

// The colour of a Background array whose colour space has n components, read
// in the order the components are listed, last first. Spaces of 2 or of 5 and
// more components read nothing and keep zeros.
bool read_background(CPDFXRefTable* xref, const CPDFArray* a, int32_t n, PDF_COLOR& color) {
    if (!a || a->m_count < n) return false;
    if (n != 1 && n != 3 && n != 4) return true;
    for (int32_t i = n - 1; i >= 0; --i)
        color.m_comps[i] = detail::obj_to_fix(xref, detail::array_at(a, i)).to_byte();
    return true;
}
}  // namespace

CPDFShading::CPDFShading(uint32_t type, CPDFXRefTable* xref) : m_type(type), m_xref(xref) {
    m_obj.init_empty();
}

CPDFShading::~CPDFShading() {
    delete m_cs;
    m_cs = nullptr;
    m_obj.free();
}

CPDFShading* CPDFShading::parser_shading(CPDFXRefTable* xref, const CPDFObj* obj) {
    ScopedObj l;
    detail::deref(xref, obj, l.obj);
    const CPDFDictionary* dict = l.obj.dict();
    if (!dict) return nullptr;
    const CPDFObj* type_entry = dict->find("ShadingType");
    if (!type_entry) return nullptr;
    // A real rounds: 0.4 is 0, 6.6 is 7. Below 1 wraps above the limit.
    const uint32_t type = static_cast<uint32_t>(detail::obj_to_int(xref, type_entry));
    if (type - 1 > kMaxShadingType - 1) return nullptr;

    CPDFShading* s = nullptr;
    switch (type) {
        case 1:
            s = new (std::nothrow) CPDFShadingFunc(xref);
            break;
        case 2:
            s = CPDFShadingAxial::create(xref);
            break;
        case 3:
            s = CPDFShadingRadial::create(xref);
            break;
        case 4:
            s = new (std::nothrow) CPDFShadingFreeForm(xref);
            break;
        case 5:
            s = new (std::nothrow) CPDFShadingLatticeForm(xref);
            break;
        case 6:
            s = new (std::nothrow) CPDFShadingCoons(xref);
            break;
        default:
            CPDFShadingTensor::init();
            s = new (std::nothrow) CPDFShadingTensor(xref);
            break;
    }
    if (!s) return nullptr;
    s->m_obj.copy_from(&l.obj);
    return s;
}

void CPDFShading::load() {
    const CPDFDictionary* dict = m_obj.dict();
    if (!dict) return;
    m_cs = CPDFCSBase::parser_cs(dict->find(CPDFDictionary::sm_tag_cs), m_xref);

    if (const CPDFObj* bg = dict->find("Background")) {
        ScopedObj l;
        detail::deref(m_xref, bg, l.obj);
        PDF_COLOR color = {};
        if (m_cs &&
            read_background(m_xref, detail::local_array(l.obj), m_cs->m_comp_count, color)) {
            m_has_background = 1;
            m_cs->get_rgb(color, m_bg_rgba);
            m_bg_rgba.a = 255;
            m_cs->get_gray(color, m_bg_gray);
        }
    }

    if (const CPDFObj* bbox = dict->find(CPDFDictionary::sm_tag_bbok))
        detail::read_rect(m_xref, m_bbox, bbox);
}

namespace detail {

void read_functions(CPDFXRefTable* xref, const CPDFObj* entry, CPDFFunction**& funcs,
                    int32_t& count) {
    ScopedObj l;
    deref(xref, entry, l.obj);
    if (const CPDFArray* a = local_array(l.obj)) {
        const int32_t n = a->m_count > 0 ? a->m_count : 0;
        count = n;
        if (static_cast<size_t>(n) > SIZE_MAX / sizeof(CPDFFunction*)) return;
        funcs =
            static_cast<CPDFFunction**>(KXAlloc(sizeof(CPDFFunction*) * static_cast<size_t>(n)));
        if (!funcs) return;
        for (int32_t i = 0; i < n; ++i) funcs[i] = CPDFFunction::parse_func(array_at(a, i), xref);
        return;
    }
    funcs = static_cast<CPDFFunction**>(KXAlloc(sizeof(CPDFFunction*)));
    if (!funcs) return;
    funcs[0] = CPDFFunction::parse_func(&l.obj, xref);
    count = 1;
}

void free_functions(CPDFFunction**& funcs, int32_t& count) {
    if (funcs) {
        for (int32_t i = 0; i < count; ++i) delete funcs[i];
        KXFree(funcs);
    }
    funcs = nullptr;
    count = 0;
}

void eval_functions(CPDFFunction* const* funcs, int32_t count, const KXFIX* in, KXFIX* out) {
    if (!funcs) return;
    if (count == 1) {
        if (funcs[0]) funcs[0]->evaluate(in, out);
        return;
    }
    const int32_t places = count < kFuncPlaces ? count : kFuncPlaces;
    for (int32_t k = 0; k < places; ++k) {
        if (funcs[k]) funcs[k]->evaluate(in, out + k);
    }
}

void build_ramp(const CPDFCSBase* cs, CPDFFunction* const* funcs, int32_t count, KXFIX t0, KXFIX t1,
                _KXRGBA* ramp, uint8_t* gray) {
    if (!cs) return;
    KXFIX in[CPDFFunction::kMaxInputs] = {};
    // Not cleared between steps: a function that delivers fewer outputs than
    // the space has components leaves the rest as an earlier step (or the
    // start, zero) had them.
    KXFIX out[kFuncOutputSlots] = {};
    PDF_COLOR color = {};
    const int32_t comps = cs->m_comp_count < kColorComps ? cs->m_comp_count : kColorComps;
    for (int32_t i = 0; i < kRampSize; ++i) {
        in[0] = ramp_input(t0, t1, i);
        eval_functions(funcs, count, in, out);
        for (int32_t j = 0; j < comps; ++j) color.m_comps[j] = out[j].to_byte();
        cs->get_rgb(color, ramp[i]);
        ramp[i].a = 255;
        if (gray) cs->get_gray(color, gray[i]);
    }
}

}  // namespace detail

}  // namespace shadepaint
