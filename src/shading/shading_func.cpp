#include "shading/shading_func.h"

#include "shading/bitmap.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

CPDFShadingFunc::CPDFShadingFunc(CPDFXRefTable* xref) : CPDFShading(1, xref) {}

CPDFShadingFunc::~CPDFShadingFunc() { detail::free_functions(m_funcs, m_func_count); }

void CPDFShadingFunc::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // TODO: read Domain, Matrix and Function of the function-based shading.
}

int32_t CPDFShadingFunc::render_to_bmp(const _KXMATRIX&, const _KXPOINT&, const CKXBmp8& mask,
                                       CKXBmp32& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: paint the function-based shading per pixel in bands.
    return 1;
}

int32_t CPDFShadingFunc::render_to_bmpg(const _KXMATRIX&, const _KXPOINT&, CKXBmp8& mask,
                                        CKXBmpGray& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: paint the function-based shading per pixel in bands, gray form.
    return 1;
}

}  // namespace shadepaint
