// What the four function kinds share while parsing: the budget that bounds one
// parse_func call as a whole, the reading of number arrays and stream bodies,
// and the conversions between fixed point and double.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/kxfix.h"
#include "shading/function.h"

namespace shadepaint {

class CPDFObj;
class CPDFXRefTable;
class CPDFStreamRec;

namespace detail {

// A stitching function may name itself through a reference, or fan out to the
// same large function many times over; both must end. Depth bounds the
// recursion, the node count the total work of one parse_func, and the byte
// budget the sample data and programs that one parse_func may hold.
constexpr int32_t kMaxFuncDepth = 8;
constexpr int32_t kMaxFuncNodes = 1024;
constexpr size_t kMaxFuncTreeBytes = size_t{1} << 26;

struct FuncParseCtx {
    int32_t depth = 0;
    int32_t nodes_left = kMaxFuncNodes;
    size_t bytes_left = kMaxFuncTreeBytes;
};

// parse_func with the budget of the call that started it.
CPDFFunction* parse_func_ctx(const CPDFObj* obj, CPDFXRefTable* xref, FuncParseCtx& ctx);

// Reads the number array under key into out. Returns the element count, -1
// when the key is absent or null, and -2 when the value is no array or has
// more than max elements (nothing is read then). Non-numbers read as 0.
int32_t read_fix_array(CPDFXRefTable* xref, const CPDFObj& holder, const char* key, KXFIX* out,
                       int32_t max);

// Reads an optional Domain-like array of pairs: count pairs of lo <= hi into
// out. Returns the pair count, 0 when absent, -1 when malformed (odd length,
// more than max_pairs pairs, or a pair with lo > hi).
int32_t read_pairs(CPDFXRefTable* xref, const CPDFObj& holder, const char* key, KXFIX* out,
                   int32_t max_pairs);

// The body of a stream, at most max_bytes of it, in a KXAlloc block that the
// caller frees. *truncated tells whether more was there. Null (with len 0)
// when there is no reader or memory runs out; an empty body gives a non-null
// block of length 0.
unsigned char* read_stream_body(CPDFXRefTable* xref, const CPDFStreamRec* rec, size_t max_bytes,
                                size_t* len, bool* truncated);

inline KXFIX clip_fix(KXFIX v, KXFIX lo, KXFIX hi) {
    if (v < lo) return lo;
    if (v > hi) return hi;
    return v;
}

// Exact for every raw value below 2^53 in magnitude.
inline double fix_to_double(KXFIX v) {
    return static_cast<double>(v.m_raw) / static_cast<double>(kKxOne);
}

// Truncates v * 2^26 toward zero, saturating at the 64-bit limits; NaN is 0.
inline KXFIX double_to_fix(double v) {
    double raw = v * static_cast<double>(kKxOne);
    if (raw != raw) return KXFIX::from_raw(0);
    if (raw >= 9223372036854775808.0) return KXFIX::from_raw(INT64_MAX);
    if (raw <= -9223372036854775808.0) return KXFIX::from_raw(INT64_MIN);
    return KXFIX::from_raw(static_cast<int64_t>(raw));
}

}  // namespace detail
}  // namespace shadepaint
