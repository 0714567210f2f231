#include "mesh/shading_coons.h"

#include "engine/kxalloc.h"
#include "shading/bitmap.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

CPDFShadingCoons::CPDFShadingCoons(CPDFXRefTable* xref) : CPDFShading(6, xref) {}

CPDFShadingCoons::~CPDFShadingCoons() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_groups);
    m_groups = nullptr;
}

void CPDFShadingCoons::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // TODO: decode the Coons patch stream into the patch store.
}

int32_t CPDFShadingCoons::render_to_bmp(const _KXMATRIX&, const _KXPOINT&, const CKXBmp8& mask,
                                        CKXBmp32& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: subdivide and paint the Coons patches and apply the mask.
    return 1;
}

int32_t CPDFShadingCoons::render_to_bmpg(const _KXMATRIX&, const _KXPOINT&, CKXBmp8& mask,
                                         CKXBmpGray& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: subdivide and paint the Coons patches and apply the mask, gray form.
    return 1;
}

}  // namespace shadepaint
