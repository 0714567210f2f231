// ShadingType 4: a stream of flagged vertices forming triangles. load()
// decodes the stream into a flat store of self-contained triangles in shading
// space, each vertex colour already made a _KXRGBA; rendering paints them in
// stream order on the caller's thread.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/color_space.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;

// A vertex as decoded. Rendering reads m_pt and m_rgba; m_clr records what was
// read. Plain, copied by bytes.
struct PDF_MESH_VERTEX {
    _KXPOINTF m_pt;   // shading space
    PDF_COLOR m_clr;  // components as read
    _KXRGBA m_rgba;   // m_clr through the colour space, made at load
};

// Complete in itself: a vertex shared by neighbours is stored in each.
struct PDF_MESH_TRIANGLE {
    PDF_MESH_VERTEX m_v[3];
};

class CPDFShadingFreeForm : public CPDFShading {
public:
    PDF_MESH_TRIANGLE* m_triangles = nullptr;  // owned, KXRealloc
    int32_t m_triangle_count = 0;              // slots in use
    int32_t m_triangle_cap = 0;                // slots allocated
    CPDFFunction** m_funcs = nullptr;          // owned, KXAlloc; null without Function
    int32_t m_func_count = 0;
    // Written by load() before anything reads them.
    int32_t m_bits_coord = 0;  // BitsPerCoordinate
    int32_t m_bits_comp = 0;   // BitsPerComponent
    int32_t m_bits_flag = 0;   // BitsPerFlag
    KXFIX m_decode_x0 = KXFIX{0};
    KXFIX m_decode_x1 = KXFIX{0};
    KXFIX m_decode_y0 = KXFIX{0};
    KXFIX m_decode_y1 = KXFIX{0};
    KXFIX m_decode_min[8] = {};  // Decode 4, 6, 8 ...; read by nothing after load
    KXFIX m_decode_max[8] = {};  // Decode 5, 7, 9 ...

    explicit CPDFShadingFreeForm(CPDFXRefTable* xref);
    ~CPDFShadingFreeForm() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;
};

}  // namespace shadepaint
