// FunctionType 4. The program is compiled once: constants become pushes,
// operator names become codes, and "c {A} if" and "c {A} {B} ifelse" become a
// conditional jump over A (and a jump over B at A's end). All jumps go
// forward, so one evaluation runs at most m_op_count steps.
//
// Values keep PostScript's kinds, integer, real and boolean: integer
// arithmetic stays integer while the result fits 32 bits and turns real
// otherwise, idiv, mod and bitshift take integers only, and eq compares
// numbers by value across kinds. Inputs enter as reals, raw / 2^26 exactly;
// results leave by truncation of v * 2^26, so a program that passes an input
// through returns it bit for bit.
//
// Errors end the evaluation: the outputs are 0 clipped to Range. Besides
// stack and type errors, these are: div, idiv and mod by zero; sqrt of a
// negative number; ln and log of a number <= 0; exp without a finite result;
// atan of 0 0; cvi of a value outside 32 bits. Other arithmetic may produce
// infinities, which saturate on output (NaN gives 0).
#include "engine/func_postscript.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "engine/func_common_p.h"
#include "engine/kxalloc.h"
#include "object/obj_access_p.h"

namespace shadepaint {

namespace {

// clang-format off
enum : int32_t {
    kPushInt, kPushReal, kJumpIfFalse, kJump, kAdd, kSub, kMul, kDiv, kIdiv, kMod, kNeg, kAbs,
    kCeiling, kFloor, kRound, kTruncate, kSqrt, kSin, kCos, kAtan, kExp, kLn, kLog, kCvi, kCvr,
    kEq, kNe, kGt, kGe, kLt, kLe, kAnd, kOr, kNot, kXor, kBitshift, kTrue, kFalse, kPop, kExch,
    kDup, kCopy, kIndex, kRoll,
};
// clang-format on

struct OperatorName {
    const char* name;
    int32_t code;
};

// clang-format off
constexpr OperatorName kOperators[] = {
    {"abs", kAbs}, {"add", kAdd}, {"and", kAnd}, {"atan", kAtan}, {"bitshift", kBitshift},
    {"ceiling", kCeiling}, {"copy", kCopy}, {"cos", kCos}, {"cvi", kCvi}, {"cvr", kCvr},
    {"div", kDiv}, {"dup", kDup}, {"eq", kEq}, {"exch", kExch}, {"exp", kExp},
    {"false", kFalse}, {"floor", kFloor}, {"ge", kGe}, {"gt", kGt}, {"idiv", kIdiv},
    {"index", kIndex}, {"le", kLe}, {"ln", kLn}, {"log", kLog}, {"lt", kLt}, {"mod", kMod},
    {"mul", kMul}, {"ne", kNe}, {"neg", kNeg}, {"not", kNot}, {"or", kOr}, {"pop", kPop},
    {"roll", kRoll}, {"round", kRound}, {"sin", kSin}, {"sqrt", kSqrt}, {"sub", kSub},
    {"true", kTrue}, {"truncate", kTruncate}, {"xor", kXor},
};
// clang-format on

bool is_space(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0';
}
bool is_delimiter(char c) { return std::strchr("(){}<>[]/%", c) != nullptr && c != '\0'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// A PostScript number without radix: [+-] digits [. digits] [e [+-] digits],
// at least one digit before the exponent. Integers beyond 32 bits turn real.
bool parse_number(const char* s, size_t n, PDF_PS_OP& op) {
    size_t i = 0;
    const bool neg = s[0] == '-';
    if (s[0] == '+' || s[0] == '-') i = 1;
    const size_t first = i;
    size_t digits = 0;
    bool is_real = false;
    while (i < n && is_digit(s[i])) ++i, ++digits;
    if (i < n && s[i] == '.') {
        is_real = true;
        ++i;
        while (i < n && is_digit(s[i])) ++i, ++digits;
    }
    if (digits == 0) return false;
    if (i < n && (s[i] == 'e' || s[i] == 'E')) {
        is_real = true;
        ++i;
        if (i < n && (s[i] == '+' || s[i] == '-')) ++i;
        size_t exp_digits = 0;
        while (i < n && is_digit(s[i])) ++i, ++exp_digits;
        if (exp_digits == 0) return false;
    }
    if (i != n) return false;
    if (!is_real) {
        int64_t v = 0;
        size_t k = first;
        for (; k < n && v <= INT32_MAX; ++k) v = v * 10 + (s[k] - '0');
        if (k == n) {
            if (neg) v = -v;
            if (v >= INT32_MIN && v <= INT32_MAX) {
                op = PDF_PS_OP{kPushInt, static_cast<int32_t>(v), 0};
                return true;
            }
        }
    }
    // from_chars is independent of the locale, unlike strtod; it takes no '+'.
    double d = 0;
    const std::from_chars_result r = std::from_chars(s + first, s + n, d);
    if (r.ec != std::errc() || r.ptr != s + n) return false;
    op = PDF_PS_OP{kPushReal, 0, neg ? -d : d};
    return true;
}

class Compiler {
public:
    Compiler(const char* text, size_t len) : m_p(text), m_end(text + len) {}

    enum Token { kEnd, kOpen, kClose, kWord, kBad };

    Token next() {
        while (m_p < m_end) {
            if (is_space(*m_p)) {
                ++m_p;
            } else if (*m_p == '%') {
                while (m_p < m_end && *m_p != '\n' && *m_p != '\r') ++m_p;
            } else {
                break;
            }
        }
        if (m_p == m_end) return kEnd;
        const char c = *m_p;
        if (c == '{' || c == '}') {
            ++m_p;
            return c == '{' ? kOpen : kClose;
        }
        if (is_delimiter(c)) return kBad;
        m_word = m_p;
        while (m_p < m_end && !is_space(*m_p) && !is_delimiter(*m_p)) ++m_p;
        m_word_len = static_cast<size_t>(m_p - m_word);
        return kWord;
    }

    bool word_is(const char* s) const {
        return std::strlen(s) == m_word_len && std::memcmp(s, m_word, m_word_len) == 0;
    }

    bool emit(const PDF_PS_OP& op) {
        if (m_count == m_cap) {
            if (m_cap > INT32_MAX / 2) return false;
            const int32_t cap = m_cap == 0 ? 64 : m_cap * 2;
            auto* grown = static_cast<PDF_PS_OP*>(
                KXRealloc(m_ops, sizeof(PDF_PS_OP) * static_cast<size_t>(cap)));
            if (!grown) return false;
            m_ops = grown;
            m_cap = cap;
        }
        m_ops[m_count++] = op;
        return true;
    }

    // The body of a procedure whose '{' has been read, through its '}'.
    bool block(int32_t depth) {
        for (;;) {
            switch (next()) {
                case kClose:
                    return true;
                case kOpen:
                    if (!conditional(depth + 1)) return false;
                    break;
                case kWord:
                    if (!word()) return false;
                    break;
                default:
                    return false;
            }
        }
    }

    // "{A} if" or "{A} {B} ifelse", the first '{' read, at nesting depth.
    bool conditional(int32_t depth) {
        if (depth > CPDFFuncPostscript::kMaxNesting) return false;
        const int32_t skip_a = m_count;
        if (!emit(PDF_PS_OP{kJumpIfFalse, 0, 0}) || !block(depth)) return false;
        const Token t = next();
        if (t == kWord && word_is("if")) {
            m_ops[skip_a].m_int = m_count;
            return true;
        }
        if (t != kOpen) return false;
        const int32_t skip_b = m_count;
        if (!emit(PDF_PS_OP{kJump, 0, 0})) return false;
        m_ops[skip_a].m_int = m_count;
        if (!block(depth) || next() != kWord || !word_is("ifelse")) return false;
        m_ops[skip_b].m_int = m_count;
        return true;
    }

    bool word() {
        PDF_PS_OP op{};
        if (parse_number(m_word, m_word_len, op)) return emit(op);
        for (const OperatorName& o : kOperators)
            if (word_is(o.name)) return emit(PDF_PS_OP{o.code, 0, 0});
        return false;  // unknown names, and if or ifelse without procedures
    }

    const char* m_p;
    const char* m_end;
    const char* m_word = nullptr;
    size_t m_word_len = 0;
    PDF_PS_OP* m_ops = nullptr;
    int32_t m_count = 0;
    int32_t m_cap = 0;
};

enum : int32_t { kInt, kReal, kBool };

struct Value {
    int32_t kind;
    int32_t i;  // kInt, kBool (0 or 1)
    double r;   // kReal
};

Value make_int(int32_t v) { return Value{kInt, v, 0}; }
Value make_real(double v) { return Value{kReal, 0, v}; }
Value make_bool(bool v) { return Value{kBool, v ? 1 : 0, 0}; }
// An integer result that no longer fits 32 bits becomes real, as in PostScript.
Value make_int_or_real(int64_t v) {
    if (v >= INT32_MIN && v <= INT32_MAX) return make_int(static_cast<int32_t>(v));
    return make_real(static_cast<double>(v));
}
bool is_num(const Value& v) { return v.kind != kBool; }
double num(const Value& v) { return v.kind == kInt ? v.i : v.r; }

constexpr double kPi = 3.14159265358979323846;

// Sine and cosine of degrees. Reducing first keeps whole quarter turns exact:
// 90 sin is 1 and 180 sin is 0, not 1.2e-16.
double sin_degrees(double deg) {
    const double d = std::fmod(deg, 360.0);
    if (d == 0 || d == 180 || d == -180) return 0;
    if (d == 90 || d == -270) return 1;
    if (d == 270 || d == -90) return -1;
    return std::sin(d * (kPi / 180));
}
double cos_degrees(double deg) { return sin_degrees(std::fmod(deg, 360.0) + 90); }

// Runs ops on the stack st holding sp values. False on any error.
bool run(const PDF_PS_OP* ops, int32_t count, Value* st, int32_t& sp) {
    constexpr int32_t kCap = CPDFFuncPostscript::kStackSize;
    int32_t pc = 0;
    while (pc < count) {
        const PDF_PS_OP& op = ops[pc++];
        const int32_t code = op.m_code;
        // Pushes.
        if (code == kPushInt || code == kPushReal || code == kTrue || code == kFalse) {
            if (sp >= kCap) return false;
            if (code == kPushInt) st[sp++] = make_int(op.m_int);
            if (code == kPushReal) st[sp++] = make_real(op.m_real);
            if (code == kTrue || code == kFalse) st[sp++] = make_bool(code == kTrue);
            continue;
        }
        if (code == kJump) {
            pc = op.m_int;
            continue;
        }
        switch (code) {
            case kJumpIfFalse: {
                if (sp < 1 || st[sp - 1].kind != kBool) return false;
                if (st[--sp].i == 0) pc = op.m_int;
                break;
            }
            // One operand, replaced by the result.
            case kNeg:
            case kAbs:
            case kCeiling:
            case kFloor:
            case kRound:
            case kTruncate:
            case kSqrt:
            case kSin:
            case kCos:
            case kLn:
            case kLog:
            case kCvi:
            case kCvr: {
                if (sp < 1 || !is_num(st[sp - 1])) return false;
                Value& a = st[sp - 1];
                const double x = num(a);
                if (a.kind == kInt) {
                    if (code == kNeg) {
                        a = make_int_or_real(-static_cast<int64_t>(a.i));
                        break;
                    }
                    if (code == kAbs) {
                        a = make_int_or_real(std::abs(static_cast<int64_t>(a.i)));
                        break;
                    }
                    if (code == kCeiling || code == kFloor || code == kRound || code == kTruncate ||
                        code == kCvi)
                        break;
                }
                switch (code) {
                    case kNeg:
                        a = make_real(-x);
                        break;
                    case kAbs:
                        a = make_real(std::fabs(x));
                        break;
                    case kCeiling:
                        a = make_real(std::ceil(x));
                        break;
                    case kFloor:
                        a = make_real(std::floor(x));
                        break;
                    case kRound: {
                        // Halves go up: -2.5 round is -2. floor(x + 0.5) would
                        // also round 0.49999999999999994 up.
                        const double f = std::floor(x);
                        a = make_real(x - f >= 0.5 ? f + 1 : f);
                        break;
                    }
                    case kTruncate:
                        a = make_real(std::trunc(x));
                        break;
                    case kSqrt:
                        if (!(x >= 0)) return false;
                        a = make_real(std::sqrt(x));
                        break;
                    case kSin:
                        a = make_real(sin_degrees(x));
                        break;
                    case kCos:
                        a = make_real(cos_degrees(x));
                        break;
                    case kLn:
                    case kLog:
                        if (!(x > 0)) return false;
                        a = make_real(code == kLn ? std::log(x) : std::log10(x));
                        break;
                    case kCvi: {
                        const double t = std::trunc(x);
                        if (!(t > -2147483649.0 && t < 2147483648.0)) return false;
                        a = make_int(static_cast<int32_t>(t));
                        break;
                    }
                    default:
                        a = make_real(x);
                        break;  // cvr
                }
                break;
            }
            // Two numbers, replaced by the result.
            case kAdd:
            case kSub:
            case kMul:
            case kDiv:
            case kAtan:
            case kExp:
            case kGt:
            case kGe:
            case kLt:
            case kLe: {
                if (sp < 2 || !is_num(st[sp - 2]) || !is_num(st[sp - 1])) return false;
                Value& a = st[sp - 2];
                const Value& b = st[sp - 1];
                const bool ints = a.kind == kInt && b.kind == kInt;
                const double x = num(a), y = num(b);
                switch (code) {
                    case kAdd:
                        a = ints ? make_int_or_real(int64_t{a.i} + b.i) : make_real(x + y);
                        break;
                    case kSub:
                        a = ints ? make_int_or_real(int64_t{a.i} - b.i) : make_real(x - y);
                        break;
                    case kMul:
                        a = ints ? make_int_or_real(int64_t{a.i} * b.i) : make_real(x * y);
                        break;
                    case kDiv:
                        if (y == 0) return false;
                        a = make_real(x / y);
                        break;
                    case kAtan: {
                        if (x == 0 && y == 0) return false;
                        // Along the axes exactly: 1 0 atan is 90, not 90.00000000000001.
                        double deg = std::atan2(x, y) * (180 / kPi);
                        if (x == 0) deg = y > 0 ? 0 : 180;
                        if (y == 0) deg = x > 0 ? 90 : 270;
                        if (deg < 0) deg += 360;
                        a = make_real(deg);
                        break;
                    }
                    case kExp: {
                        const double p = std::pow(x, y);
                        if (!std::isfinite(p)) return false;
                        a = make_real(p);
                        break;
                    }
                    case kGt:
                        a = make_bool(x > y);
                        break;
                    case kGe:
                        a = make_bool(x >= y);
                        break;
                    case kLt:
                        a = make_bool(x < y);
                        break;
                    default:
                        a = make_bool(x <= y);
                        break;  // le
                }
                --sp;
                break;
            }
            case kIdiv:
            case kMod:
            case kBitshift: {
                if (sp < 2 || st[sp - 2].kind != kInt || st[sp - 1].kind != kInt) return false;
                Value& a = st[sp - 2];
                const int32_t b = st[sp - 1].i;
                if (code == kBitshift) {
                    // Left for a positive count, right (logical) for a negative
                    // one; 32 places or more leave nothing.
                    const uint32_t u = static_cast<uint32_t>(a.i);
                    uint32_t r = 0;
                    if (b >= 0 && b < 32) r = u << b;
                    if (b < 0 && b > -32) r = u >> -b;
                    a = make_int(static_cast<int32_t>(r));
                } else {
                    if (b == 0) return false;
                    // In 64 bits: INT32_MIN idiv -1 turns real instead of trapping.
                    const int64_t x = a.i;
                    a = make_int_or_real(code == kIdiv ? x / b : x % b);
                }
                --sp;
                break;
            }
            case kEq:
            case kNe: {
                if (sp < 2) return false;
                const Value& a = st[sp - 2];
                const Value& b = st[sp - 1];
                bool same = false;
                if (is_num(a) && is_num(b)) same = num(a) == num(b);
                if (a.kind == kBool && b.kind == kBool) same = a.i == b.i;
                st[sp - 2] = make_bool(code == kEq ? same : !same);
                --sp;
                break;
            }
            case kAnd:
            case kOr:
            case kXor: {
                if (sp < 2 || st[sp - 2].kind != st[sp - 1].kind || st[sp - 1].kind == kReal)
                    return false;
                Value& a = st[sp - 2];
                const int32_t b = st[sp - 1].i;
                if (code == kAnd) a.i &= b;
                if (code == kOr) a.i |= b;
                if (code == kXor) a.i ^= b;
                --sp;
                break;
            }
            case kNot: {
                if (sp < 1 || st[sp - 1].kind == kReal) return false;
                Value& a = st[sp - 1];
                a.i = a.kind == kBool ? !a.i : ~a.i;
                break;
            }
            case kPop:
                if (sp < 1) return false;
                --sp;
                break;
            case kExch:
                if (sp < 2) return false;
                std::swap(st[sp - 2], st[sp - 1]);
                break;
            case kDup:
                if (sp < 1 || sp >= kCap) return false;
                st[sp] = st[sp - 1];
                ++sp;
                break;
            case kCopy: {
                if (sp < 1 || st[sp - 1].kind != kInt) return false;
                const int32_t n = st[--sp].i;
                if (n < 0 || n > sp || n > kCap - sp) return false;
                std::copy(st + sp - n, st + sp, st + sp);
                sp += n;
                break;
            }
            case kIndex: {
                if (sp < 1 || st[sp - 1].kind != kInt) return false;
                const int32_t n = st[--sp].i;
                if (n < 0 || n >= sp) return false;
                st[sp] = st[sp - 1 - n];
                ++sp;
                break;
            }
            case kRoll: {
                if (sp < 2 || st[sp - 2].kind != kInt || st[sp - 1].kind != kInt) return false;
                const int32_t n = st[sp - 2].i;
                const int32_t j = st[sp - 1].i;
                sp -= 2;
                if (n < 0 || n > sp) return false;
                if (n == 0) break;
                // Positive j moves the top j values of the n to the bottom of them.
                const int32_t up = ((j % n) + n) % n;
                std::rotate(st + sp - n, st + sp - up, st + sp);
                break;
            }
            default:
                return false;
        }
    }
    return true;
}

}  // namespace

CPDFFuncPostscript::~CPDFFuncPostscript() { KXFree(m_ops); }

bool CPDFFuncPostscript::compile(const char* text, size_t len) {
    KXFree(m_ops);
    m_ops = nullptr;
    m_op_count = 0;
    if (!text || len > kMaxProgramBytes) return false;
    Compiler c(text, len);
    const bool ok = c.next() == Compiler::kOpen && c.block(1);
    if (!ok) {
        KXFree(c.m_ops);
        return false;
    }
    m_ops = c.m_ops;
    m_op_count = c.m_count;
    return true;
}

bool CPDFFuncPostscript::load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx) {
    if (obj.m_tag != kObjStream) return false;
    const int32_t m = detail::read_pairs(xref, obj, "Domain", m_domain, kMaxInputs);
    const int32_t n = detail::read_pairs(xref, obj, "Range", m_range, kMaxOutputs);
    if (m < 1 || n < 1) return false;

    size_t len = 0;
    bool truncated = false;
    unsigned char* body =
        detail::read_stream_body(xref, obj.m_stream, kMaxProgramBytes, &len, &truncated);
    if (!body) return false;
    const bool ok = !truncated && compile(reinterpret_cast<const char*>(body), len);
    KXFree(body);
    if (!ok) return false;
    const size_t bytes = sizeof(PDF_PS_OP) * static_cast<size_t>(m_op_count);
    if (bytes > ctx.bytes_left) return false;
    ctx.bytes_left -= bytes;
    m_inputs = m;
    m_outputs = n;
    return true;
}

int32_t CPDFFuncPostscript::evaluate(const KXFIX* in, KXFIX* out) const {
    const int32_t n = m_outputs;
    Value st[kStackSize];
    int32_t sp = 0;
    for (int32_t i = 0; i < m_inputs; ++i)
        st[sp++] = make_real(
            detail::fix_to_double(detail::clip_fix(in[i], m_domain[2 * i], m_domain[2 * i + 1])));
    bool ok = run(m_ops, m_op_count, st, sp) && sp >= n;
    for (int32_t j = 0; ok && j < n; ++j) ok = is_num(st[sp - n + j]);
    for (int32_t j = 0; j < n; ++j) {
        const KXFIX v = ok ? detail::double_to_fix(num(st[sp - n + j])) : KXFIX::from_int(0);
        out[j] = detail::clip_fix(v, m_range[2 * j], m_range[2 * j + 1]);
    }
    return ok ? 1 : 0;
}

}  // namespace shadepaint
