#include "shading/shading_radial.h"

#include <new>

#include "engine/kxalloc.h"
#include "shading/bitmap.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

CPDFShadingRadial::CPDFShadingRadial(CPDFXRefTable* xref) : CPDFShading(3, xref) {}

CPDFShadingRadial* CPDFShadingRadial::create(CPDFXRefTable* xref) {
    void* mem = KXAlloc(sizeof(CPDFShadingRadial));
    if (!mem) return nullptr;
    return new (mem) CPDFShadingRadial(xref);
}

void CPDFShadingRadial::operator delete(void* p) { KXFree(p); }

CPDFShadingRadial::~CPDFShadingRadial() { detail::free_functions(m_funcs, m_func_count); }

void CPDFShadingRadial::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // TODO: read Coords, Domain, Extend and Function and build both ramps.
}

int32_t CPDFShadingRadial::render_to_bmp(const _KXMATRIX&, const _KXPOINT&, const CKXBmp8& mask,
                                         CKXBmp32& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: paint the concentric case in bands and the general case as a fan.
    return 1;
}

int32_t CPDFShadingRadial::render_to_bmpg(const _KXMATRIX&, const _KXPOINT&, CKXBmp8& mask,
                                          CKXBmpGray& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: paint the concentric case in bands and the general case as a fan, gray form.
    return 1;
}

}  // namespace shadepaint
