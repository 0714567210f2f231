// The pattern factory. Only PatternType is read, as an integer with reals
// rounded: 1.4 is a tiling pattern, 1.5 a shading pattern. Every other value,
// and a dictionary without the key, gives a shading pattern.
#include "pattern/pattern.h"

#include <new>

#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "pattern/pat_shading.h"
#include "pattern/pat_tiling.h"

namespace shadepaint {

namespace {
constexpr int32_t kTilingPatternType = 1;
}  // namespace

CPDFPattern::CPDFPattern(uint32_t type, CPDFXRefTable* xref) : m_type(type), m_xref(xref) {
    m_obj.init_empty();
}

CPDFPattern::~CPDFPattern() { m_obj.free(); }

CPDFPattern* CPDFPattern::parser_pattern(CPDFXRefTable* xref, const CPDFObj* obj) {
    ScopedObj l;
    detail::deref(xref, obj, l.obj);
    const CPDFDictionary* dict = l.obj.dict();
    if (!dict) return nullptr;
    CPDFPattern* p = nullptr;
    if (detail::obj_to_int(xref, dict->find("PatternType")) == kTilingPatternType)
        p = new (std::nothrow) CPDFPatTiling(xref);
    else
        p = new (std::nothrow) CPDFPatShading(xref);
    if (!p) return nullptr;
    p->m_obj.copy_from(&l.obj);
    return p;
}

}  // namespace shadepaint
