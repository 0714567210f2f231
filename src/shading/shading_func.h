// ShadingType 1: a colour for each point of a rectangular domain, given
// directly by functions of two inputs. Outside its domain it is transparent.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "shading/shading.h"

namespace shadepaint {

class CPDFFunction;

class CPDFShadingFunc : public CPDFShading {
public:
    _KXMATRIX m_matrix = _KXMATRIX::identity();  // Matrix: domain space to shading space
    CPDFFunction** m_funcs = nullptr;            // owned, KXAlloc
    int32_t m_func_count = 0;
    KXFIX m_domain[4] = {KXFIX{0}, KXFIX::from_raw(kKxOne), KXFIX{0},
                         KXFIX::from_raw(kKxOne)};  // x0, x1, y0, y1

    explicit CPDFShadingFunc(CPDFXRefTable* xref);
    ~CPDFShadingFunc() override;

    void load() override;
    int32_t render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin, const CKXBmp8& mask,
                          CKXBmp32& dst) const override;
    int32_t render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin, CKXBmp8& mask,
                           CKXBmpGray& dst) const override;
};

}  // namespace shadepaint
