// ShadingType 6: Coons patches. load() turns the stream into one flat array of
// self-contained patches in shading space, resolving shared edges by copying;
// rendering subdivides each patch under the device matrix of the call.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/color_space.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;

class CPDFShadingCoons : public CPDFShading {
public:
    // One patch. Plain, copied by bytes. Corner k of m_clr and m_rgba belongs
    // to point 3k of m_pts.
    struct _group {
        // In stream order once around the patch: 0-3 one side, 3-6 the next,
        // 6-9 the next, 9, 10, 11, 0 the last; shading space.
        _KXPOINTF m_pts[12];
        PDF_COLOR m_clr[4];  // corner colours as read
        _KXRGBA m_rgba[4];   // the same through the colour space
    };

    CPDFFunction** m_funcs = nullptr;  // owned, KXAlloc; null without Function
    int32_t m_func_count = 0;
    // Written by load() before anything reads them.
    int32_t m_bits_coord = 0;    // BitsPerCoordinate
    int32_t m_bits_comp = 0;     // BitsPerComponent
    int32_t m_bits_flag = 0;     // BitsPerFlag
    _group* m_groups = nullptr;  // owned, the patch store
    KXFIX m_decode_x0 = KXFIX{0};
    KXFIX m_decode_x1 = KXFIX{0};
    KXFIX m_decode_y0 = KXFIX{0};
    KXFIX m_decode_y1 = KXFIX{0};
    KXFIX m_decode_min[8] = {};  // Decode 4, 6, 8 ...
    KXFIX m_decode_max[8] = {};  // Decode 5, 7, 9 ...
    int32_t m_group_count = 0;   // patches stored
    int32_t m_group_cap = 0;     // records allocated

    explicit CPDFShadingCoons(CPDFXRefTable* xref);
    ~CPDFShadingCoons() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;
};

}  // namespace shadepaint
