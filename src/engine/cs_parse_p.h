// The colour-space parser's recursion, for the families that hold other
// spaces (Indexed, Separation, DeviceN, ICCBased). Every step into a
// sub-space or through a reference costs one level, so a document whose
// spaces refer to themselves ends at kCsMaxDepth with null.
#pragma once

#include <cstdint>

#include "object/pdf_obj.h"
#include "shading/color_space.h"

namespace shadepaint::detail {

// Enough for Indexed -> reference -> DeviceN -> reference -> ICCBased ->
// reference -> Lab with room to spare; far below any stack limit.
constexpr int32_t kCsMaxDepth = 12;
// PDF_COLOR holds sixteen components and the shading code reads no more.
constexpr int32_t kCsMaxComps = 16;

// A colour space from a name, an array or a reference to either, at the given
// nesting depth, or null.
CPDFCSBase* parse_cs(const CPDFObj* obj, CPDFXRefTable* xref, int32_t depth);

// obj itself, or what its reference names, copied into holder (which must be
// empty). Null for a null obj. One level only: a reference to a reference
// comes back as a reference, which no caller accepts.
const CPDFObj* resolve(const CPDFObj* obj, CPDFXRefTable* xref, CPDFObj& holder);

// The text of a name, or null for anything else.
inline const char* name_of(const CPDFObj* obj) {
    return obj && obj->m_tag == kObjName ? obj->m_name : nullptr;
}

}  // namespace shadepaint::detail
