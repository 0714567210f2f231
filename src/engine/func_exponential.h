// FunctionType 2: one input x, outputs C0 + x^N (C1 - C0).
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "shading/function.h"

namespace shadepaint {

namespace detail {
struct FuncParseCtx;
}

class CPDFFuncExponential : public CPDFFunction {
public:
    KXFIX m_domain[2] = {};
    KXFIX m_range[2 * kMaxOutputs] = {};
    int32_t m_range_count = 0;  // output pairs in m_range; 0 when Range is absent
    KXFIX m_c0[kMaxOutputs] = {};
    KXFIX m_c1[kMaxOutputs] = {};
    KXFIX m_n = {};

    // Reads the dictionary of obj (a dictionary or stream). False leaves the
    // function unusable; the caller deletes it.
    bool load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx);

    int32_t evaluate(const KXFIX* in, KXFIX* out) const override;
};

}  // namespace shadepaint
