// ShadingType 2: colour along an axis from (x0, y0) to (x1, y1). load()
// evaluates the functions into a ramp of 256 colours and works out the
// reciprocal of the axis length; rendering then does one table look-up a
// pixel and no function or colour-space work.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;

class CPDFShadingAxial : public CPDFShading {
public:
    // Coords as they stand: left x0, top y0, right x1, bottom y1, never sorted.
    // All zero until a load reads them.
    _KXRECTF m_coords = {KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}};
    KXFIX m_dx = KXFIX{0};  // x1 - x0
    KXFIX m_dy = KXFIX{0};  // y1 - y0
    KXFIX m_t0 = KXFIX{0};  // Domain
    KXFIX m_t1 = KXFIX::from_raw(kKxOne);
    int32_t m_extend_start = 0;
    int32_t m_extend_end = 0;
    // Turns a distance along the axis into a position: 2^52 over the squared
    // length (raw units), the coordinates taken down by m_shift first.
    KXFIX m_scale = KXFIX::from_raw(kKxHalf);
    // 0, 8, 16 or 24; non-zero selects get_pos_mul.
    int32_t m_shift = 0;
    CPDFFunction** m_funcs = nullptr;  // owned, KXAlloc
    int32_t m_func_count = 0;
    // Colour at 256 equal steps of the domain, alpha 255. Transparent black
    // until a load builds it, and kept so when there is no colour space.
    _KXRGBA m_ramp[256] = {};
    int32_t m_opacity = 255;  // read by nothing here

    // A new axial shading in KXAlloc memory, or null. delete gives it back.
    static CPDFShadingAxial* create(CPDFXRefTable* xref);
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void* operator new(size_t) = delete;
    static void operator delete(void* p);

    ~CPDFShadingAxial() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;

    // Position along the axis of a shading-space point: 0 at (x0, y0), just
    // under 1.0 at (x1, y1). get_pos serves m_shift 0, get_pos_mul the rest.
    KXFIX get_pos(const KXFIX& x, const KXFIX& y) const;
    KXFIX get_pos_mul(const KXFIX& x, const KXFIX& y) const;

    // Worker bodies; arg is a PDF_RENDER_BAND*.
    static void CallbackRender(void* arg);
    static void CallbackRenderG(void* arg);

private:
    explicit CPDFShadingAxial(CPDFXRefTable* xref);
};

}  // namespace shadepaint
