// FunctionType 4: a program of the PDF calculator language, compiled once at
// load into a flat list of operations with forward jumps for if and ifelse.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/kxfix.h"
#include "shading/function.h"

namespace shadepaint {

namespace detail {
struct FuncParseCtx;
}

// One compiled operation: an operator, a push of a constant, or a jump.
struct PDF_PS_OP {
    int32_t m_code;
    int32_t m_int;  // integer constant, or the index a jump goes to
    double m_real;  // real constant
};

class CPDFFuncPostscript : public CPDFFunction {
public:
    // A longer program text is refused.
    static constexpr size_t kMaxProgramBytes = 65536;
    // Braces nested deeper than this (the program's own included) are refused,
    // which bounds the compiler's recursion.
    static constexpr int32_t kMaxNesting = 32;
    // The operand stack, a local array of each evaluation.
    static constexpr int32_t kStackSize = 100;

    KXFIX m_domain[2 * kMaxInputs] = {};
    KXFIX m_range[2 * kMaxOutputs] = {};
    PDF_PS_OP* m_ops = nullptr;
    int32_t m_op_count = 0;

    CPDFFuncPostscript() = default;
    ~CPDFFuncPostscript() override;

    // Reads the stream obj: Domain, Range and the program in its body. False
    // leaves the function unusable; the caller deletes it.
    bool load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx);

    // Compiles a program text, "{ ... }", into m_ops, replacing the former
    // program. Text after the closing brace is ignored. False on a syntax error,
    // nesting beyond kMaxNesting or a failed allocation; m_ops is then empty.
    bool compile(const char* text, size_t len);

    // Runs the program on the inputs clipped to Domain. An error (stack
    // overflow or underflow, wrong operand type, division by zero, an argument
    // outside an operator's domain, too few or non-numeric results) gives
    // every output 0 clipped to Range, and 0 as the result.
    int32_t evaluate(const KXFIX* in, KXFIX* out) const override;
};

}  // namespace shadepaint
