// ShadingType 6: Coons patches. load() turns the stream into one flat array of
// self-contained patches in shading space, resolving shared edges by copying;
// rendering subdivides each patch under the device matrix of the call.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
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

        // Cells wanted along u: the larger device box (width plus height) of
        // the two u curves' control points, in steps of 16 units, rounded up.
        int get_ut(const _KXMATRIX& matrix) const;
        // The same along v, over the v curves, in steps of 8 units.
        int get_vt(const _KXMATRIX& matrix) const;
        // Points of the curve array for ut by vt cells (both at least 1).
        static int32_t curve_points(int ut, int vt) { return 2 * (ut + 1) + 2 * (vt + 1); }
        // The four boundary curves sampled in device space for ut by vt cells
        // (both 1 to kMaxSteps): ut + 1 points of the u curve at v = 1, ut + 1 of
        // the u curve at v = 0, vt + 1 of the v curve at u = 0, vt + 1 of the
        // v curve at u = 1. From KXAlloc, freed by the caller; null for counts
        // out of range and when the allocation fails.
        _KXPOINTF* get_points_all(int ut, int vt, const _KXMATRIX& matrix) const;
        // The same into curve_points(ut, vt) points of caller storage.
        void fill_points_all(int ut, int vt, const _KXMATRIX& matrix, _KXPOINTF* curves) const;
        // Grid point (i, j) of ut by vt cells, from the curve array: device
        // position and colour (alpha 255).
        void get_at(int i, int ut, int j, int vt, const _KXPOINTF* curves, _KXPOINTF& point,
                    _KXRGBA& rgba) const;
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

    // At most this many cells along u and along v: a huge patch costs at most
    // 65536 cells.
    static constexpr int kMaxSteps = 256;

    explicit CPDFShadingCoons(CPDFXRefTable* xref);
    ~CPDFShadingCoons() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;
};

}  // namespace shadepaint
