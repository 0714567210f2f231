// FunctionType 3: one input split by Bounds into k intervals, each mapped
// through its Encode pair onto one of k one-input functions.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "shading/function.h"

namespace shadepaint {

namespace detail {
struct FuncParseCtx;
}

class CPDFFuncStitching : public CPDFFunction {
public:
    KXFIX m_domain[2] = {};
    KXFIX m_range[2 * kMaxOutputs] = {};
    int32_t m_range_count = 0;         // output pairs in m_range; 0 when Range is absent
    CPDFFunction** m_funcs = nullptr;  // m_func_count owned parts, none null
    int32_t m_func_count = 0;
    KXFIX* m_bounds = nullptr;  // m_func_count - 1 values, non-decreasing
    KXFIX* m_encode = nullptr;  // 2 * m_func_count values

    CPDFFuncStitching() = default;
    ~CPDFFuncStitching() override;

    // Reads the dictionary of obj and parses its parts within ctx's budget.
    // False leaves the function unusable; the caller deletes it.
    bool load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx);

    int32_t evaluate(const KXFIX* in, KXFIX* out) const override;
};

}  // namespace shadepaint
