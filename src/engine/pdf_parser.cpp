// PDF object syntax, read by recursive descent over a counted byte range that
// is never read past its end (the text need not be zero-terminated).
//
// Invariants:
// - Every parse function leaves its output empty when it fails, so a caller
//   only frees what it built itself; a half-built container holds valid
//   elements only.
// - Recursion stops at kMaxNesting levels of arrays and dictionaries.
// - Each byte is looked at a bounded number of times: strings and names are
//   measured in one pass and decoded in a second into an exact allocation, and
//   the look-ahead for "N G R" reads at most two tokens again. Dictionary
//   entries are appended and sorted once at the closing ">>", not inserted
//   one by one, so that a large unsorted dictionary costs n log n.
// - Numbers are converted exactly from their digits, never through float or
//   double.
#include <algorithm>
#include <cstring>
#include <new>

#include "engine/kxalloc.h"
#include "engine/pdf_parser_p.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"

namespace shadepaint::detail {

namespace {

// The six white-space characters of PDF; NUL is one of them.
bool is_white(unsigned char c) {
    return c == 0 || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' ';
}

bool is_delimiter(unsigned char c) {
    return c == '(' || c == ')' || c == '<' || c == '>' || c == '[' || c == ']' || c == '{' ||
           c == '}' || c == '/' || c == '%';
}

bool is_regular(unsigned char c) { return !is_white(c) && !is_delimiter(c); }

bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }

int hex_value(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Strings carry a signed 32-bit length.
constexpr size_t kMaxStringBytes = INT32_MAX;

// A number token split into its parts; digits point into the text.
struct NumberToken {
    bool negative = false;
    bool has_point = false;
    const char* int_digits = nullptr;
    size_t int_len = 0;
    const char* frac_digits = nullptr;
    size_t frac_len = 0;
};

// Checks that [p, end) is [+-]digits[.digits] with at least one digit.
bool split_number(const unsigned char* p, const unsigned char* end, NumberToken& num) {
    if (p < end && (*p == '+' || *p == '-')) {
        num.negative = *p == '-';
        ++p;
    }
    num.int_digits = reinterpret_cast<const char*>(p);
    while (p < end && is_digit(*p)) ++p;
    num.int_len = static_cast<size_t>(reinterpret_cast<const char*>(p) - num.int_digits);
    if (p < end && *p == '.') {
        num.has_point = true;
        ++p;
        num.frac_digits = reinterpret_cast<const char*>(p);
        while (p < end && is_digit(*p)) ++p;
        num.frac_len = static_cast<size_t>(reinterpret_cast<const char*>(p) - num.frac_digits);
    }
    return p == end && num.int_len + num.frac_len > 0;
}

// An integer token within int32, or false (then it becomes a real).
bool small_integer(const NumberToken& num, int32_t& value) {
    if (num.has_point) return false;
    const char* d = num.int_digits;
    size_t n = num.int_len;
    while (n > 0 && *d == '0') {
        ++d;
        --n;
    }
    if (n > 10) return false;
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i) v = v * 10 + static_cast<uint64_t>(d[i] - '0');
    const uint64_t limit = num.negative ? 0x80000000ULL : 0x7fffffffULL;
    if (v > limit) return false;
    value = static_cast<int32_t>(num.negative ? 0 - static_cast<uint32_t>(v)
                                              : static_cast<uint32_t>(v));
    return true;
}

class Parser {
public:
    Parser(const char* text, size_t len)
        : m_pos(reinterpret_cast<const unsigned char*>(text)), m_end(m_pos + len) {}

    bool parse_top(CPDFObj& out);

private:
    const unsigned char* m_pos;
    const unsigned char* m_end;

    bool at(unsigned char c) const { return m_pos < m_end && *m_pos == c; }
    void skip_space();
    const unsigned char* regular_run_end(const unsigned char* p) const {
        while (p < m_end && is_regular(*p)) ++p;
        return p;
    }
    bool keyword_is(const char* word) const;

    bool parse_value(CPDFObj& out, int depth);
    bool parse_value_inner(CPDFObj& out, int depth);
    bool parse_array(CPDFObj& out, int depth);
    bool parse_dict(CPDFObj& out, int depth);
    bool parse_literal_string(CPDFObj& out);
    bool parse_hex_string(CPDFObj& out);
    bool parse_name(CPDFObj& out);
    bool parse_number_or_ref(CPDFObj& out);
    bool parse_keyword(CPDFObj& out);
    bool unsigned_int_token(const unsigned char* p, const unsigned char*& next,
                            uint32_t& value) const;
    bool parse_stream_body(CPDFObj& out);

    size_t scan_literal(const unsigned char* p, unsigned char* dst, const unsigned char*& after,
                        bool& ok) const;
};

void Parser::skip_space() {
    while (m_pos < m_end) {
        if (is_white(*m_pos)) {
            ++m_pos;
        } else if (*m_pos == '%') {
            while (m_pos < m_end && *m_pos != '\r' && *m_pos != '\n') ++m_pos;
        } else {
            break;
        }
    }
}

// True when the regular run at the position is exactly word.
bool Parser::keyword_is(const char* word) const {
    size_t n = std::strlen(word);
    const unsigned char* e = regular_run_end(m_pos);
    return static_cast<size_t>(e - m_pos) == n && std::memcmp(m_pos, word, n) == 0;
}

bool Parser::parse_top(CPDFObj& out) {
    out.free();
    skip_space();
    if (!parse_value(out, 0)) return false;
    skip_space();
    // Only the outermost object may be a stream, as in a file, where streams
    // are always indirect objects.
    if (out.m_tag == kObjDict && keyword_is("stream")) {
        if (!parse_stream_body(out)) {
            out.free();
            return false;
        }
        skip_space();
    }
    if (m_pos != m_end) {
        out.free();
        return false;
    }
    return true;
}

bool Parser::parse_value(CPDFObj& out, int depth) {
    if (parse_value_inner(out, depth)) return true;
    out.free();
    return false;
}

bool Parser::parse_value_inner(CPDFObj& out, int depth) {
    if (m_pos >= m_end) return false;
    const unsigned char c = *m_pos;
    if (c == '[') return parse_array(out, depth);
    if (c == '<') {
        if (m_pos + 1 < m_end && m_pos[1] == '<') return parse_dict(out, depth);
        return parse_hex_string(out);
    }
    if (c == '(') return parse_literal_string(out);
    if (c == '/') return parse_name(out);
    if (is_digit(c) || c == '+' || c == '-' || c == '.') return parse_number_or_ref(out);
    if (is_regular(c)) return parse_keyword(out);
    return false;
}

bool Parser::parse_array(CPDFObj& out, int depth) {
    if (depth >= kMaxNesting) return false;
    ++m_pos;
    auto* a = new (std::nothrow) CPDFArray();
    if (!a) return false;
    out.m_array = a;
    out.m_tag = kObjArray;
    for (;;) {
        skip_space();
        if (m_pos >= m_end) return false;
        if (*m_pos == ']') {
            ++m_pos;
            return true;
        }
        CPDFObj item;
        item.init_empty();
        if (!parse_value(item, depth + 1)) return false;
        if (!a->append(item)) return false;  // append frees item when it fails
    }
}

// Entries arrive in text order; the table must end sorted by strcmp with unique
// keys. A stable sort keeps equal keys in text order, so the last one of each
// run is the one written last, and it alone stays: a repeated key keeps its
// last value.
void sort_entries(CPDFDictionary& d) {
    PDF_DICT_ENTRY** items = d.m_items;
    const int32_t n = d.m_count;
    auto less = [](const PDF_DICT_ENTRY* x, const PDF_DICT_ENTRY* y) {
        return std::strcmp(x->m_key, y->m_key) < 0;
    };
    bool sorted = true;
    for (int32_t i = 1; i < n && sorted; ++i) sorted = less(items[i - 1], items[i]);
    if (sorted) return;
    std::stable_sort(items, items + n, less);
    int32_t kept = 0;
    for (int32_t i = 0; i < n; ++i) {
        if (i + 1 < n && std::strcmp(items[i]->m_key, items[i + 1]->m_key) == 0) {
            PDF_DICT_ENTRY::destroy(items[i]);
        } else {
            items[kept++] = items[i];
        }
    }
    d.m_count = kept;
}

bool Parser::parse_dict(CPDFObj& out, int depth) {
    if (depth >= kMaxNesting) return false;
    m_pos += 2;
    auto* d = new (std::nothrow) CPDFDictionary();
    if (!d) return false;
    out.m_dict = d;
    out.m_tag = kObjDict;
    for (;;) {
        skip_space();
        if (m_pos >= m_end) return false;
        if (*m_pos == '>') {
            if (m_pos + 1 >= m_end || m_pos[1] != '>') return false;
            m_pos += 2;
            sort_entries(*d);
            return true;
        }
        if (*m_pos != '/') return false;  // keys are names
        ScopedObj key;
        if (!parse_name(key.obj)) return false;
        skip_space();
        CPDFObj value;
        value.init_empty();
        if (!parse_value(value, depth + 1)) return false;
        if (!d->append_unsorted(key.obj.m_name, value)) return false;  // frees value
    }
}

// Measures (dst null) or decodes the body of a literal string that starts
// after its "(". Returns the decoded size; ok tells whether the closing ")"
// was found, and after points behind it.
size_t Parser::scan_literal(const unsigned char* p, unsigned char* dst, const unsigned char*& after,
                            bool& ok) const {
    size_t n = 0;
    int64_t depth = 1;
    auto put = [&](unsigned char b) {
        if (dst) dst[n] = b;
        ++n;
    };
    ok = false;
    while (p < m_end) {
        unsigned char c = *p++;
        if (c == '\\') {
            if (p >= m_end) break;
            unsigned char e = *p++;
            switch (e) {
                case 'n':
                    put('\n');
                    break;
                case 'r':
                    put('\r');
                    break;
                case 't':
                    put('\t');
                    break;
                case 'b':
                    put('\b');
                    break;
                case 'f':
                    put('\f');
                    break;
                case '\r':  // a backslash before an end of line continues the line
                    if (p < m_end && *p == '\n') ++p;
                    break;
                case '\n':
                    break;
                default:
                    if (e >= '0' && e <= '7') {
                        // Up to three octal digits; a value above 255 keeps its
                        // low byte.
                        unsigned v = e - '0';
                        for (int i = 0; i < 2 && p < m_end && *p >= '0' && *p <= '7'; ++i)
                            v = v * 8 + (*p++ - '0');
                        put(static_cast<unsigned char>(v & 0xff));
                    } else {
                        put(e);  // \( \) \\ and any other character stand for themselves
                    }
                    break;
            }
        } else if (c == '(') {
            ++depth;
            put(c);
        } else if (c == ')') {
            if (--depth == 0) {
                ok = true;
                break;
            }
            put(c);
        } else if (c == '\r') {
            // Every end of line in the text, CR, LF or CR LF, reads as one LF.
            if (p < m_end && *p == '\n') ++p;
            put('\n');
        } else {
            put(c);
        }
    }
    after = p;
    return n;
}

bool Parser::parse_literal_string(CPDFObj& out) {
    const unsigned char* body = m_pos + 1;
    const unsigned char* after = nullptr;
    bool ok = false;
    size_t n = scan_literal(body, nullptr, after, ok);
    if (!ok || n > kMaxStringBytes) return false;
    auto* bytes = static_cast<unsigned char*>(KXAlloc(n + 1));
    if (!bytes) return false;
    scan_literal(body, bytes, after, ok);
    bytes[n] = 0;
    out.m_word0 = 0;
    out.m_length = static_cast<int32_t>(n);
    out.m_bytes = bytes;
    out.m_tag = kObjString;
    m_pos = after;
    return true;
}

bool Parser::parse_hex_string(CPDFObj& out) {
    const unsigned char* body = m_pos + 1;
    const unsigned char* p = body;
    size_t digits = 0;
    for (;; ++p) {
        if (p >= m_end) return false;
        if (*p == '>') break;
        if (hex_value(*p) >= 0) {
            ++digits;
        } else if (!is_white(*p)) {
            return false;
        }
    }
    // An odd count reads as if a 0 followed the last digit.
    const size_t n = digits / 2 + digits % 2;
    if (n > kMaxStringBytes) return false;
    auto* bytes = static_cast<unsigned char*>(KXAlloc(n + 1));
    if (!bytes) return false;
    std::memset(bytes, 0, n + 1);
    size_t i = 0;
    for (const unsigned char* q = body; q < p; ++q) {
        int v = hex_value(*q);
        if (v < 0) continue;
        bytes[i / 2] = static_cast<unsigned char>(bytes[i / 2] | (i % 2 ? v : v << 4));
        ++i;
    }
    out.m_word0 = 0;
    out.m_length = static_cast<int32_t>(n);
    out.m_bytes = bytes;
    out.m_tag = kObjString;
    m_pos = p + 1;
    return true;
}

// A name is the regular characters behind "/", "#xx" standing for the byte
// xx. A "#" without two hex digits is an error, and so is "#00": names are
// zero-terminated, so a zero byte could not be kept. A raw zero byte is white
// space and simply ends the name.
bool Parser::parse_name(CPDFObj& out) {
    const unsigned char* body = m_pos + 1;
    const unsigned char* end = regular_run_end(body);
    size_t n = 0;
    for (const unsigned char* p = body; p < end; ++n) {
        if (*p != '#') {
            ++p;
            continue;
        }
        if (end - p < 3) return false;
        int hi = hex_value(p[1]), lo = hex_value(p[2]);
        if (hi < 0 || lo < 0 || (hi | lo) == 0) return false;
        p += 3;
    }
    auto* name = static_cast<char*>(KXAlloc(n + 1));
    if (!name) return false;
    size_t i = 0;
    for (const unsigned char* p = body; p < end; ++i) {
        if (*p == '#') {
            name[i] = static_cast<char>(hex_value(p[1]) * 16 + hex_value(p[2]));
            p += 3;
        } else {
            name[i] = static_cast<char>(*p++);
        }
    }
    name[n] = 0;
    out.m_name = name;
    out.m_tag = kObjName;
    m_pos = end;
    return true;
}

// A plain run of digits within int32: the shape of an object or generation
// number.
bool Parser::unsigned_int_token(const unsigned char* p, const unsigned char*& next,
                                uint32_t& value) const {
    const unsigned char* e = regular_run_end(p);
    if (e == p) return false;
    uint64_t v = 0;
    for (const unsigned char* q = p; q < e; ++q) {
        if (!is_digit(*q)) return false;
        v = v * 10 + (*q - '0');
        if (v > INT32_MAX) return false;
    }
    value = static_cast<uint32_t>(v);
    next = e;
    return true;
}

bool Parser::parse_number_or_ref(CPDFObj& out) {
    const unsigned char* start = m_pos;
    const unsigned char* end = regular_run_end(start);
    NumberToken num;
    if (!split_number(start, end, num)) return false;

    // "N G R": two plain non-negative integers and the keyword R.
    uint32_t obj_num = 0, gen = 0;
    const unsigned char* after_num = nullptr;
    if (unsigned_int_token(start, after_num, obj_num)) {
        m_pos = after_num;
        skip_space();
        const unsigned char* after_gen = nullptr;
        if (m_pos > after_num && unsigned_int_token(m_pos, after_gen, gen)) {
            m_pos = after_gen;
            skip_space();
            if (m_pos > after_gen && keyword_is("R")) {
                ++m_pos;
                out.m_word0 = 0;
                out.m_ref.m_num = obj_num;
                out.m_ref.m_gen = gen;
                out.m_tag = kObjRef;
                return true;
            }
        }
    }
    m_pos = end;

    int32_t value = 0;
    if (small_integer(num, value)) {
        out.m_word0 = 0;
        out.m_int = value;
        out.m_tag = kObjInt;
        return true;
    }
    // Reals, and integers beyond int32, which keep their exact value as a real.
    out.m_fix = KXFIX::from_raw(
        decimal_to_raw(num.negative, num.int_digits, num.int_len, num.frac_digits, num.frac_len));
    out.m_tag = kObjReal;
    return true;
}

bool Parser::parse_keyword(CPDFObj& out) {
    const unsigned char* end = regular_run_end(m_pos);
    out.m_word0 = 0;
    if (keyword_is("true") || keyword_is("false")) {
        out.m_int = keyword_is("true") ? 1 : 0;
        out.m_tag = kObjBool;
    } else if (keyword_is("null")) {
        out.m_tag = kObjNone;
    } else {
        return false;
    }
    m_pos = end;
    return true;
}

// At "stream" behind the outermost dictionary. The keyword is followed by LF or
// CR LF, then exactly /Length bytes, then (after optional white space)
// "endstream". /Length must be a direct non-negative integer: the body is
// located while parsing, before any reference could be resolved.
bool Parser::parse_stream_body(CPDFObj& out) {
    m_pos += std::strlen("stream");
    if (at('\r')) ++m_pos;
    if (!at('\n')) return false;
    ++m_pos;
    const CPDFObj* length = out.m_dict->find("Length");
    if (!length || length->m_tag != kObjInt || length->m_int < 0) return false;
    const size_t body_len = static_cast<size_t>(length->m_int);
    if (body_len > static_cast<size_t>(m_end - m_pos)) return false;
    const unsigned char* body = m_pos;
    m_pos += body_len;
    skip_space();
    if (!keyword_is("endstream")) return false;
    m_pos += std::strlen("endstream");

    auto* rec = new (std::nothrow) CPDFStreamRec();
    if (!rec) return false;
    // The entries move over as they are: the table stays sorted.
    CPDFDictionary* d = out.m_dict;
    rec->m_items = d->m_items;
    rec->m_count = d->m_count;
    d->m_items = nullptr;
    d->m_count = 0;
    delete d;
    rec->m_data0 = reinterpret_cast<uintptr_t>(body);
    rec->m_data2 = static_cast<uint32_t>(body_len);
    out.m_stream = rec;
    out.m_tag = kObjStream;
    return true;
}

}  // namespace

// The value is m = digits * 10^-k; the raw result is round(m * 2^26). The
// integer part contributes exactly (int << 26). For the fraction f, 26 doublings
// of its decimal digits yield the 26 bits of floor(f * 2^26), and the digits
// left over are the remainder, whose first digit tells whether it reaches one
// half. Only the first 27 fraction digits matter: every multiple of 2^-26 and
// every half-way point (an odd multiple of 2^-27) has at most 27 fraction
// digits, so cutting the fraction there crosses neither. Halves round away from
// zero, which on the magnitude means up, so no later digit can change the
// result.
int64_t decimal_to_raw(bool negative, const char* int_digits, size_t int_len,
                       const char* frac_digits, size_t frac_len) {
    constexpr size_t kFracDigitsKept = kKxFracBits + 1;
    // |m| >= 2^37 is beyond the range (2^37 * 2^26 = 2^63), except -2^37 itself.
    constexpr uint64_t kIntLimit = 1ULL << (63 - kKxFracBits);
    const int64_t saturated = negative ? INT64_MIN : INT64_MAX;

    while (int_len > 0 && *int_digits == '0') {
        ++int_digits;
        --int_len;
    }
    if (int_len > 12) return saturated;  // 10^12 > 2^37
    uint64_t int_part = 0;
    for (size_t i = 0; i < int_len; ++i)
        int_part = int_part * 10 + static_cast<uint64_t>(int_digits[i] - '0');
    if (int_part > kIntLimit) return saturated;

    unsigned char digit[kFracDigitsKept] = {};
    for (size_t i = 0; i < frac_len && i < kFracDigitsKept; ++i)
        digit[i] = static_cast<unsigned char>(frac_digits[i] - '0');
    uint64_t frac_bits = 0;
    for (int bit = 0; bit < kKxFracBits; ++bit) {
        unsigned carry = 0;
        for (size_t i = kFracDigitsKept; i-- > 0;) {
            unsigned v = digit[i] * 2u + carry;
            carry = v >= 10 ? 1 : 0;
            digit[i] = static_cast<unsigned char>(v - carry * 10);
        }
        frac_bits = (frac_bits << 1) | carry;
    }
    const uint64_t round_up = digit[0] >= 5 ? 1 : 0;

    // int_part <= 2^37, so this stays below 2^64.
    const uint64_t magnitude = (int_part << kKxFracBits) + frac_bits + round_up;
    const uint64_t max_magnitude = negative ? 1ULL << 63 : static_cast<uint64_t>(INT64_MAX);
    if (magnitude > max_magnitude) return saturated;
    return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

bool parse_pdf_object(const char* text, size_t len, CPDFObj& out) {
    if (!text) {
        out.free();
        return false;
    }
    Parser parser(text, len);
    return parser.parse_top(out);
}

}  // namespace shadepaint::detail
