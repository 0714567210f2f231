// ShadingType 1: a colour for each point of a rectangular domain, given
// directly by functions of two inputs. Outside its domain it is transparent.
// There is no ramp: every covered pixel is transformed into domain space on
// its own and evaluates the functions.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;
class CPDFShadingFunc;

// The context of one band of a function-based render, written once by the
// entry point before any worker starts and only read by the worker. Rows are
// numbered within the whole bitmap, so that each pixel's device position can
// be formed from the origin without running sums.
struct PDF_FUNC_BAND {
    const CPDFShadingFunc* m_shading;
    const uint8_t* m_mask_row;  // mask row m_row_start
    int32_t m_mask_stride;
    uint8_t* m_dst_row;  // destination row m_row_start
    int32_t m_dst_stride;
    _KXMATRIX m_inverse;  // device space to domain space
    int32_t m_width;
    int32_t m_row_end;  // row behind the band's last
    int32_t m_row_start;
    _KXPOINT m_origin;  // device position of the bitmaps' top-left pixel
};

class CPDFShadingFunc : public CPDFShading {
public:
    _KXMATRIX m_matrix = _KXMATRIX::identity();  // Matrix: domain space to shading space
    CPDFFunction** m_funcs = nullptr;            // owned, KXAlloc
    int32_t m_func_count = 0;
    // x0, x1, y0, y1; all four bounds belong to the domain. A Domain that is
    // no array of four leaves x0 above x1, so that no point is inside.
    KXFIX m_domain[4] = {KXFIX{0}, KXFIX::from_raw(kKxOne), KXFIX{0}, KXFIX::from_raw(kKxOne)};

    explicit CPDFShadingFunc(CPDFXRefTable* xref);
    ~CPDFShadingFunc() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;

    // The colour at a point of domain space, alpha 255; all four bytes 0
    // outside the domain, and also without a colour space.
    void get_rgba(const KXFIX& x, const KXFIX& y, _KXRGBA& rgba) const;

    // Worker bodies; arg is a PDF_FUNC_BAND*.
    static void CallbackRender(void* arg);
    static void CallbackRenderG(void* arg);
};

}  // namespace shadepaint
