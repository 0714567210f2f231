#include "mesh/shading_free_form.h"

#include "engine/kxalloc.h"
#include "shading/bitmap.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

CPDFShadingFreeForm::CPDFShadingFreeForm(CPDFXRefTable* xref) : CPDFShading(4, xref) {}

CPDFShadingFreeForm::~CPDFShadingFreeForm() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_triangles);
    m_triangles = nullptr;
}

void CPDFShadingFreeForm::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // TODO: decode the flagged vertex stream into the triangle store.
}

int32_t CPDFShadingFreeForm::render_to_bmp(const _KXMATRIX&, const _KXPOINT&, const CKXBmp8& mask,
                                           CKXBmp32& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: paint the triangles in stream order and apply the mask.
    return 1;
}

int32_t CPDFShadingFreeForm::render_to_bmpg(const _KXMATRIX&, const _KXPOINT&, CKXBmp8& mask,
                                            CKXBmpGray& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: paint the triangles in stream order and apply the mask, gray form.
    return 1;
}

}  // namespace shadepaint
