// The root of the two PDF pattern types. As with shadings, the factory reads
// PatternType alone and keeps a private deep copy of the defining object;
// load() reads everything else once; the owner deletes the pattern through
// the virtual destructor.
#pragma once

#include <cstdint>

#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"

namespace shadepaint {

class CPDFXRefTable;

class CPDFPattern {
public:
    uint32_t m_type;        // 1 tiling, 2 shading
    uint32_t m_loaded = 0;  // set by the first load(), success or not
    CPDFXRefTable* m_xref;  // resolves references; not owned
    CPDFObj m_obj;          // own deep copy of the defining dictionary or stream
    _KXRECTF m_bbox;        // BBox, read by tiling patterns only; inverted until read
    _KXMATRIX m_matrix = _KXMATRIX::identity();  // Matrix: pattern space to its target space

    CPDFPattern(const CPDFPattern&) = delete;
    CPDFPattern& operator=(const CPDFPattern&) = delete;
    virtual ~CPDFPattern();

    // Reads the pattern's keys once; later calls do nothing.
    virtual void load() = 0;

    // A new, unloaded pattern, or null when obj (which may be null, a
    // reference, anything) is no dictionary or stream. PatternType 1 makes a
    // tiling pattern; anything else, a missing key included, a shading
    // pattern. The caller owns the result, calls load() and deletes it.
    static CPDFPattern* parser_pattern(CPDFXRefTable* xref, const CPDFObj* obj);

protected:
    CPDFPattern(uint32_t type, CPDFXRefTable* xref);
};

}  // namespace shadepaint
