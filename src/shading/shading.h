// The root of the seven shading types. A shading has one life: the factory
// parser_shading reads ShadingType alone and keeps a private deep copy of the
// defining object; load() reads everything else once; from then on the object
// is read-only, may be rendered from several threads at once, and is deleted
// by its owner through the virtual destructor.
#pragma once

#include <cstdint>

#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"

namespace shadepaint {

class CKXBmp8;
class CKXBmp32;
class CKXBmpGray;
class CPDFCSBase;
class CPDFXRefTable;

class CPDFShading {
public:
    uint32_t m_type;             // ShadingType, 1 to 7
    uint32_t m_loaded = 0;       // set by the first load(), success or not
    CPDFXRefTable* m_xref;       // resolves references; not owned
    CPDFObj m_obj;               // own deep copy of the defining dictionary or stream
    CPDFCSBase* m_cs = nullptr;  // owned
    uint32_t m_has_background = 0;
    _KXRGBA m_bg_rgba = {0, 0, 0, 0};  // alpha 255 once a Background was read
    uint8_t m_bg_gray = 0;
    _KXRECTF m_bbox;  // inverted until a BBox is read; nothing here clips to it

    CPDFShading(const CPDFShading&) = delete;
    CPDFShading& operator=(const CPDFShading&) = delete;
    virtual ~CPDFShading();

    // Reads ColorSpace, Background and BBox. Every subclass load() tests and
    // sets m_loaded and then calls this before reading the keys of its type.
    virtual void load();

    // Paint dst wherever mask is not zero. matrix maps shading space to device
    // space; origin is the device position of the bitmaps' top-left pixel. 1
    // when the call went through, 0 when mask and dst differ in size (nothing
    // touched).
    virtual int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                  const CKXBmp8& mask, CKXBmp32& dst) const = 0;
    virtual int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                                   CKXBmpGray& dst) const = 0;

    // A new, unloaded shading of the object's ShadingType (obj may be null, a
    // reference, anything), or null. The caller owns the result, calls load()
    // and eventually deletes it.
    static CPDFShading* parser_shading(CPDFXRefTable* xref, const CPDFObj* obj);

protected:
    CPDFShading(uint32_t type, CPDFXRefTable* xref);
};

}  // namespace shadepaint
