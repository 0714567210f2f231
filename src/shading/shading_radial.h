// ShadingType 3: colour between two circles. load() keeps the circles, Domain,
// Extend and the functions and builds a colour and a gray ramp of 256 steps;
// which case the circles form is decided at each render: nothing to paint
// (one circle), concentric (per pixel, in bands) or general (a fan of wedges
// between the circles, drawn in order on the calling thread).
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/shading.h"

namespace shadepaint {

class CKXPathCRender2;
class CPDFFunction;

class CPDFShadingRadial : public CPDFShading {
public:
    // Coords: start circle (m_x0, m_y0, m_r0), end circle (m_x1, m_y1, m_r1).
    // Radii are kept as read, negative ones too. All zero until a load.
    KXFIX m_x0 = KXFIX{0};
    KXFIX m_y0 = KXFIX{0};
    KXFIX m_r0 = KXFIX{0};
    KXFIX m_x1 = KXFIX{0};
    KXFIX m_y1 = KXFIX{0};
    KXFIX m_r1 = KXFIX{0};
    KXFIX m_t0 = KXFIX{0};  // Domain
    KXFIX m_t1 = KXFIX::from_raw(kKxOne);
    int32_t m_extend_start = 0;
    int32_t m_extend_end = 0;
    CPDFFunction** m_funcs = nullptr;  // owned, KXAlloc
    int32_t m_func_count = 0;
    // Colour (alpha 255) and gray at 256 equal steps of the domain; zero until
    // a load builds them.
    _KXRGBA m_ramp[256] = {};
    uint8_t m_ramp_gray[256] = {};
    int32_t m_opacity = 255;  // read by nothing here

    // A new radial shading in KXAlloc memory, or null. delete gives it back.
    static CPDFShadingRadial* create(CPDFXRefTable* xref);
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void* operator new(size_t) = delete;
    static void operator delete(void* p);

    ~CPDFShadingRadial() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;

    // Worker bodies of the concentric case; arg is a PDF_RENDER_BAND*.
    static void CallbackRender(void* arg);
    static void CallbackRenderG(void* arg);

    // The Extend pieces of one colour wedge, in device space: past the start
    // circle (render_extern0, flag m_extend_start, m_ramp[0]) or the end circle
    // (render_extern1, m_extend_end, m_ramp[255]), behind the wedge's points p
    // and q on that circle. Past the smaller circle the piece is a triangle to
    // the apex; past the larger it runs out to a side of dst. A null apex
    // (equal radii) paints nothing. path is reopened for each piece.
    void render_extern0(CKXBmp32* dst, CKXPathCRender2& path, const _KXPOINT& origin,
                        const _KXPOINTF& p, const _KXPOINTF& q, const _KXPOINTF* apex) const;
    void render_extern1(CKXBmp32* dst, CKXPathCRender2& path, const _KXPOINT& origin,
                        const _KXPOINTF& p, const _KXPOINTF& q, const _KXPOINTF* apex) const;

private:
    explicit CPDFShadingRadial(CPDFXRefTable* xref);
};

}  // namespace shadepaint
