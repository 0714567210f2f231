// A PDF function. evaluate() is called by band workers at once on one shared
// object, so it keeps no mutable state; inputs and outputs are fixed point.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {

class CPDFObj;
class CPDFXRefTable;

class CPDFFunction {
public:
    int32_t m_inputs = 0;   // number of inputs (m in the PDF function dictionary)
    int32_t m_outputs = 0;  // number of outputs written by evaluate

    CPDFFunction() = default;
    CPDFFunction(const CPDFFunction&) = delete;
    CPDFFunction& operator=(const CPDFFunction&) = delete;
    virtual ~CPDFFunction() = default;

    // The number of outputs; for engines that size their buffers from it.
    virtual int32_t count_outputs() const { return m_outputs; }
    // Reads m_inputs values from in and writes m_outputs values to out (at most
    // kMaxOutputs). Returns 1 when the function ran, 0 otherwise.
    virtual int32_t evaluate(const KXFIX* in, KXFIX* out) const = 0;

    static constexpr int32_t kMaxInputs = 16;
    static constexpr int32_t kMaxOutputs = 16;

    // An owned function from a function dictionary or stream, directly or by
    // reference, or null. The object may be empty (tag 0) or null.
    static CPDFFunction* parse_func(const CPDFObj* obj, CPDFXRefTable* xref);
};

}  // namespace shadepaint
