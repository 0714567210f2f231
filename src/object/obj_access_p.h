// The reading idioms every loader repeats: dereference into a local value,
// coercion to numbers, booleans, arrays and dictionaries. Each gives exactly
// the result of writing the idiom out at its place of use.
#pragma once

#include <cstdint>

#include "engine/xref_table.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "object/pdf_obj.h"

namespace shadepaint::detail {

// Dictionary lookup of a tag 7 or 9 value; null for anything else.
inline const CPDFObj* dict_find(const CPDFObj& holder, const char* key) {
    const CPDFDictionary* d = holder.dict();
    return d ? d->find(key) : nullptr;
}

// Resolves src into local (which must be empty): a reference through the table
// when there is one, anything else as a deep copy. A null src leaves it empty.
inline void deref(CPDFXRefTable* xref, const CPDFObj* src, CPDFObj& local) {
    local.free();
    if (!src) return;
    if (xref && src->m_tag == kObjRef) {
        PDF_REF ref = src->m_ref;
        xref->get_entity(local, ref);
    } else {
        local.copy_from(src);
    }
}

inline bool is_direct_number(const CPDFObj* o) { return (o->m_tag & ~1u) == kObjInt; }

inline KXFIX direct_fix(const CPDFObj* o) {
    return o->m_tag == kObjInt ? KXFIX::from_int(o->m_int) : o->m_fix;
}
inline int32_t direct_int(const CPDFObj* o) {
    return o->m_tag == kObjInt ? o->m_int : o->m_fix.round_int();
}

inline KXFIX obj_to_fix(CPDFXRefTable* xref, const CPDFObj* o) {
    if (!o) return KXFIX{0};
    if (is_direct_number(o)) return direct_fix(o);
    ScopedObj l;
    deref(xref, o, l.obj);
    return is_direct_number(&l.obj) ? direct_fix(&l.obj) : KXFIX{0};
}

inline int32_t obj_to_int(CPDFXRefTable* xref, const CPDFObj* o) {
    if (!o) return 0;
    if (is_direct_number(o)) return direct_int(o);
    ScopedObj l;
    deref(xref, o, l.obj);
    return is_direct_number(&l.obj) ? direct_int(&l.obj) : 0;
}

inline int32_t obj_to_bool(CPDFXRefTable* xref, const CPDFObj* o) {
    if (!o) return 0;
    if (o->m_tag == kObjBool) return o->m_int;
    ScopedObj l;
    deref(xref, o, l.obj);
    return l.obj.m_tag == kObjBool ? l.obj.m_int : 0;
}

// Element i of an array, or null past its end.
inline const CPDFObj* array_at(const CPDFArray* a, int32_t i) {
    if (!a || !a->m_items || i < 0 || i >= a->m_count) return nullptr;
    return &a->m_items[i];
}

inline const CPDFArray* local_array(const CPDFObj& local) {
    return local.m_tag == kObjArray ? local.m_array : nullptr;
}

}  // namespace shadepaint::detail
