// Rectangles and matrices from PDF arrays. A direct array and anything else
// (usually a reference) take different paths with different fallbacks:
//   input                         rect           matrix
//   null object                   unchanged      identity
//   direct array, too short       all zero       identity
//   direct array                  elements       elements, zero linear part -> 1.0
//   other, resolving to an array  elements       elements
//   other, not an array           inverted       identity
// A resolved array that is too short (or has no element table) is read like a
// too-short direct one, so no memory outside an array is ever read and a
// matrix is never left half-written.
#include <cstdint>

#include "engine/xref_table.h"
#include "object/obj_access_p.h"

namespace shadepaint {

namespace {
bool has_elements(const CPDFArray* a, int32_t n) { return a && a->m_items && a->m_count >= n; }

// Fills n fields from the array's elements, in field order, each at once.
void read_fields(CPDFXRefTable* xref, const CPDFArray* a, KXFIX* const* fields, int32_t n) {
    for (int32_t i = 0; i < n; ++i) *fields[i] = detail::obj_to_fix(xref, &a->m_items[i]);
}
}  // namespace

void CPDFXRefTable::read_obj_rect(_KXRECTF& rect, const CPDFObj* obj) {
    if (!obj) return;
    KXFIX* const fields[4] = {&rect.left, &rect.top, &rect.right, &rect.bottom};
    if (obj->m_tag == kObjArray) {
        if (!has_elements(obj->m_array, 4)) {
            rect.left = rect.top = rect.right = rect.bottom = KXFIX{0};
            return;
        }
        read_fields(this, obj->m_array, fields, 4);
        return;
    }
    ScopedObj l;
    detail::deref(this, obj, l.obj);
    const CPDFArray* a = detail::local_array(l.obj);
    if (!a) {
        rect.set_inverted();
        return;
    }
    if (!has_elements(a, 4)) {
        rect.left = rect.top = rect.right = rect.bottom = KXFIX{0};
        return;
    }
    read_fields(this, a, fields, 4);
}

void CPDFXRefTable::read_obj_matrix(_KXMATRIX& m, const CPDFObj* obj) {
    KXFIX* const fields[6] = {&m.a, &m.b, &m.c, &m.d, &m.e, &m.f};
    if (obj && obj->m_tag == kObjArray) {
        if (!has_elements(obj->m_array, 6)) {
            m = _KXMATRIX::identity();
            return;
        }
        read_fields(this, obj->m_array, fields, 6);
        // An all-zero linear part counts as no transformation; the translation stays.
        if (m.a.m_raw == 0 && m.b.m_raw == 0 && m.c.m_raw == 0 && m.d.m_raw == 0)
            m.a = m.d = KXFIX::from_raw(kKxOne);
        return;
    }
    ScopedObj l;
    detail::deref(this, obj, l.obj);
    const CPDFArray* a = detail::local_array(l.obj);
    if (!has_elements(a, 6)) {
        m = _KXMATRIX::identity();
        return;
    }
    read_fields(this, a, fields, 6);
}

}  // namespace shadepaint
