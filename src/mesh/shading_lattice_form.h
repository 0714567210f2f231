// ShadingType 5: a grid of vertices given row by row. load() cuts each grid
// cell into two triangles and leaves the same flat triangle store as the
// free-form mesh; rendering is the free-form mesh's.
#pragma once

#include <cstdint>

#include "mesh/shading_free_form.h"
#include "numeric/kxfix.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;

class CPDFShadingLatticeForm : public CPDFShading {
public:
    PDF_MESH_TRIANGLE* m_triangles = nullptr;  // owned, KXAlloc, exactly as long as needed
    int32_t m_triangle_count = 0;
    CPDFFunction** m_funcs = nullptr;  // owned, KXAlloc
    int32_t m_func_count = 0;
    // Written by load() before anything reads them.
    int32_t m_bits_coord = 0;        // BitsPerCoordinate
    int32_t m_bits_comp = 0;         // BitsPerComponent
    int32_t m_vertices_per_row = 0;  // VerticesPerRow
    KXFIX m_decode_x0 = KXFIX{0};
    KXFIX m_decode_x1 = KXFIX{0};
    KXFIX m_decode_y0 = KXFIX{0};
    KXFIX m_decode_y1 = KXFIX{0};
    KXFIX m_decode_min[8] = {};  // colour pairs of Decode; read by nothing after load
    KXFIX m_decode_max[8] = {};

    explicit CPDFShadingLatticeForm(CPDFXRefTable* xref);
    ~CPDFShadingLatticeForm() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;
};

}  // namespace shadepaint
