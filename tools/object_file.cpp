// A small lexer over PDF text, enough to find object boundaries: strings,
// names, comments and stream bodies are stepped over as units, so that an
// "endobj" inside them can't end an object early. Object headers are found as
// two unsigned integers followed by the keyword "obj". The lexer is pure (a
// position in, a token out), which lets the /Length repair look ahead three
// tokens without consuming them.
#include "object_file.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace shadepaint::cli {

namespace {

enum class Tok { kEnd, kWord, kName, kString, kDictOpen, kDictClose, kOther };

struct Token {
    Tok kind = Tok::kEnd;
    size_t begin = 0;
    size_t end = 0;
};

bool is_space(char c) {
    return c == '\0' || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' ';
}

bool is_delim(char c) { return std::strchr("()<>[]{}/%", c) != nullptr && c != '\0'; }

bool is_regular(char c) { return !is_space(c) && !is_delim(c); }

class Lexer {
public:
    Lexer(const char* text, size_t len) : m_text(text), m_len(len) {}

    Token next(size_t pos) const {
        pos = skip_space(pos);
        Token t;
        t.begin = pos;
        if (pos >= m_len) {
            t.begin = t.end = m_len;
            return t;
        }
        char c = m_text[pos];
        if (c == '(') {
            t.kind = Tok::kString;
            t.end = skip_literal(pos);
        } else if (c == '<' && at(pos + 1) == '<') {
            t.kind = Tok::kDictOpen;
            t.end = pos + 2;
        } else if (c == '>' && at(pos + 1) == '>') {
            t.kind = Tok::kDictClose;
            t.end = pos + 2;
        } else if (c == '<') {
            t.kind = Tok::kString;
            const void* close = std::memchr(m_text + pos, '>', m_len - pos);
            t.end =
                close ? static_cast<size_t>(static_cast<const char*>(close) - m_text) + 1 : m_len;
        } else if (c == '/') {
            t.kind = Tok::kName;
            t.end = pos + 1;
            while (t.end < m_len && is_regular(m_text[t.end])) ++t.end;
        } else if (is_regular(c)) {
            t.kind = Tok::kWord;
            t.end = pos;
            while (t.end < m_len && is_regular(m_text[t.end])) ++t.end;
        } else {
            t.kind = Tok::kOther;
            t.end = pos + 1;
        }
        return t;
    }

    bool is(const Token& t, const char* word) const {
        size_t n = std::strlen(word);
        return t.kind != Tok::kEnd && t.end - t.begin == n &&
               std::memcmp(m_text + t.begin, word, n) == 0;
    }

    // The value of a word of decimal digits, or -1 when it isn't one or is
    // beyond int32.
    int64_t unsigned_value(const Token& t) const {
        if (t.kind != Tok::kWord || t.end == t.begin) return -1;
        int64_t v = 0;
        for (size_t i = t.begin; i < t.end; ++i) {
            char c = m_text[i];
            if (c < '0' || c > '9') return -1;
            v = v * 10 + (c - '0');
            if (v > INT32_MAX) return -1;
        }
        return v;
    }

    char at(size_t pos) const { return pos < m_len ? m_text[pos] : '\0'; }
    size_t size() const { return m_len; }
    const char* text() const { return m_text; }

private:
    size_t skip_space(size_t pos) const {
        while (pos < m_len) {
            if (is_space(m_text[pos])) {
                ++pos;
            } else if (m_text[pos] == '%') {
                while (pos < m_len && m_text[pos] != '\n' && m_text[pos] != '\r') ++pos;
            } else {
                break;
            }
        }
        return pos;
    }

    // Past the ')' that balances the '(' at pos, or the end of the text.
    size_t skip_literal(size_t pos) const {
        int64_t depth = 0;
        for (; pos < m_len; ++pos) {
            char c = m_text[pos];
            if (c == '\\') {
                ++pos;
            } else if (c == '(') {
                ++depth;
            } else if (c == ')' && --depth == 0) {
                return pos + 1;
            }
        }
        return m_len;
    }

    const char* m_text;
    size_t m_len;
};

// A reference given as a stream's /Length, to be replaced by a direct value.
struct LengthEdit {
    size_t object = 0;  // index into the output
    size_t begin = 0;   // of "N G R" in the source
    size_t end = 0;
    int64_t ref = 0;
    size_t measured = 0;  // body bytes up to "endstream", without the EOL before it
};

// The bytes of a stream from the end of its keyword to "endstream": returns the
// position of "endstream" or npos.
size_t find_endstream(const Lexer& lx, size_t data) {
    static constexpr char kKey[] = "endstream";
    const char* base = lx.text();
    const char* hit = std::search(base + data, base + lx.size(), kKey, kKey + sizeof(kKey) - 1);
    return hit == base + lx.size() ? std::string::npos : static_cast<size_t>(hit - base);
}

// Scans one object body from pos (just past "obj"). On success sets the end of
// the body (the start of "endobj") and the position after "endobj".
bool scan_body(const Lexer& lx, size_t pos, size_t object, size_t& body_end, size_t& after,
               std::vector<LengthEdit>& edits) {
    int depth = 0;
    LengthEdit pending;
    bool have_pending = false;
    for (;;) {
        Token t = lx.next(pos);
        if (t.kind == Tok::kEnd) return false;
        pos = t.end;
        if (t.kind == Tok::kDictOpen) {
            ++depth;
        } else if (t.kind == Tok::kDictClose) {
            --depth;
        } else if (t.kind == Tok::kName && depth == 1 && lx.is(t, "/Length")) {
            Token n = lx.next(t.end);
            Token g = lx.next(n.end);
            Token r = lx.next(g.end);
            if (lx.unsigned_value(n) >= 0 && lx.unsigned_value(g) >= 0 && lx.is(r, "R")) {
                pending = LengthEdit{object, n.begin, r.end, lx.unsigned_value(n), 0};
                have_pending = true;
                pos = r.end;
            }
        } else if (lx.is(t, "stream")) {
            size_t data = t.end;
            if (lx.at(data) == '\r') ++data;
            if (lx.at(data) == '\n') ++data;
            size_t stop = find_endstream(lx, data);
            if (stop == std::string::npos) return false;
            if (have_pending) {
                size_t end = stop;
                if (end > data && lx.at(end - 1) == '\n') --end;
                if (end > data && lx.at(end - 1) == '\r') --end;
                pending.measured = end - data;
                edits.push_back(pending);
                have_pending = false;
            }
            pos = stop + std::strlen("endstream");
        } else if (lx.is(t, "endobj")) {
            body_end = t.begin;
            after = t.end;
            return true;
        }
    }
}

// The integer an object's body holds, or -1.
int64_t body_integer(const std::string& body) {
    Lexer lx(body.data(), body.size());
    Token t = lx.next(0);
    if (lx.next(t.end).kind != Tok::kEnd) return -1;
    return lx.unsigned_value(t);
}

}  // namespace

bool split_objects(const char* text, size_t len, std::vector<ObjectText>& out, std::string& error) {
    Lexer lx(text, len);
    std::vector<LengthEdit> edits;
    std::vector<size_t> body_begin;  // source offset of each output body
    Token prev2, prev1;
    size_t pos = 0;
    for (;;) {
        Token t = lx.next(pos);
        if (t.kind == Tok::kEnd) break;
        pos = t.end;
        if (!lx.is(t, "obj")) {
            prev2 = prev1;
            prev1 = t;
            continue;
        }
        int64_t num = lx.unsigned_value(prev2);
        int64_t gen = lx.unsigned_value(prev1);
        size_t header = prev2.begin;
        prev2 = prev1 = Token();
        if (num < 0 || gen < 0) continue;  // "obj" outside a header is not ours
        size_t body_end = 0, after = 0;
        if (!scan_body(lx, t.end, out.size(), body_end, after, edits)) {
            error = "object " + std::to_string(num) + " at byte " + std::to_string(header) +
                    ": no endobj (or no endstream) after it";
            return false;
        }
        ObjectText o;
        o.num = static_cast<int32_t>(num);
        o.gen = static_cast<int32_t>(gen);
        o.offset = header;
        o.body.assign(text + t.end, body_end - t.end);
        body_begin.push_back(t.end);
        out.push_back(std::move(o));
        pos = after;
    }

    // References can point forward, so lengths are resolved once all is read.
    std::map<int64_t, int64_t> integers;
    for (const ObjectText& o : out) integers.emplace(o.num, body_integer(o.body));
    // Later edits first, so earlier offsets of the same body stay valid.
    for (auto it = edits.rbegin(); it != edits.rend(); ++it) {
        auto found = integers.find(it->ref);
        int64_t value = found != integers.end() && found->second >= 0
                            ? found->second
                            : static_cast<int64_t>(it->measured);
        size_t base = body_begin[it->object];
        out[it->object].body.replace(it->begin - base, it->end - it->begin, std::to_string(value));
    }
    return true;
}

}  // namespace shadepaint::cli
