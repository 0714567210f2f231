// The reader of PDF object syntax behind CPDFXRefTable. It turns the text of
// one object into a CPDFObj; the table decides where stream bodies live.
#pragma once

#include <cstddef>
#include <cstdint>

#include "object/pdf_obj.h"

namespace shadepaint::detail {

// Arrays and dictionaries nested deeper than this are a syntax error, so that
// hostile input can't exhaust the stack: the reader recurses once per level.
constexpr int kMaxNesting = 64;

// Parses exactly one object from text; only whitespace and comments may follow
// it. out must be initialised; its old value is freed. On a syntax error or a
// failed allocation returns false with out empty. A stream's record points
// into text (m_data0 the body, low 32 bits of m_data2 its length).
bool parse_pdf_object(const char* text, size_t len, CPDFObj& out);

// The KXFIX raw value nearest to the decimal number -+int_digits.frac_digits
// (digits only, not checked here; either part may be empty): halves away from
// zero, saturated at INT64_MIN / INT64_MAX beyond the range.
int64_t decimal_to_raw(bool negative, const char* int_digits, size_t int_len,
                       const char* frac_digits, size_t frac_len);

}  // namespace shadepaint::detail
