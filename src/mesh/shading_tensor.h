// ShadingType 7: tensor-product patches. load() has the shape of the Coons
// patch load, written out again; the patch is a bicubic Bezier surface that
// rendering evaluates at a 17 by 17 grid through the static weight table.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/color_space.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;

class CPDFShadingTensor : public CPDFShading {
public:
    // One patch. Plain, copied by bytes. Corners: colour 0 at m_pts[0], 1 at
    // m_pts[3], 2 at m_pts[15], 3 at m_pts[12].
    struct _group {
        _KXPOINTF m_pts[16];  // the control net, 4 by 4 row-major; shading space
        PDF_COLOR m_clr[4];   // corner colours as read
        _KXRGBA m_rgba[4];    // the same through the colour space

        // Colour of grid point (i, j) of the 16 by 16 grid (both 0 to 16):
        // interpolated along u into a byte on each side, then along v, each
        // step truncating; alpha 255.
        _KXRGBA get_rgba(int i, int j) const;
    };

    // The cubic Bernstein weights at t = i / 16: row r (0 to 3), column i (0 to
    // 16) at index 17 r + i. All exact in KXFIX, since 16^3 divides 2^26.
    static constexpr int32_t kBvalSteps = 17;
    static KXFIX ms_bval[4 * kBvalSteps];
    static int32_t ms_init;  // 1 once ms_bval is filled

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

    // Fills ms_bval once for the process; the factory calls it for each
    // tensor shading it makes, before load.
    static void init();

    // The surface point at u = iu / 16, v = iv / 16 (both 0 to 16, not
    // checked), in shading space: the sixteen control points weighted by the
    // Bernstein products, each term truncated on its own. Reads nothing but
    // group->m_pts and ms_bval.
    void get_xy(const _group* group, int iu, int iv, KXFIX& x, KXFIX& y) const;

    // A patch whose corners' device box measures at least this much (width
    // plus height, raw) is painted as the 16 by 16 grid, a smaller one as the
    // single quadrilateral of its corners.
    static constexpr int64_t kGridMinSize = 6 * kKxOne;
    static constexpr int32_t kGridCells = 16;

    explicit CPDFShadingTensor(CPDFXRefTable* xref);
    ~CPDFShadingTensor() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;
};

}  // namespace shadepaint
