// Filtered stream bodies for tests: the stream object around an encoded body,
// a reader that takes the decoded body in pieces, and small encoders for the
// filters, written here independently of the decoders they check.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/pdf_stream.h"
#include "engine/xref_table.h"
#include "object/pdf_obj.h"

namespace shadepaint::test {

// Object 1 of a table, "<< /Length n entries >> stream" and the body; the
// entries may refer to further objects added later.
class FilteredBody {
public:
    FilteredBody(const std::string& entries, const std::string& body) {
        add(1, "<< /Length " + std::to_string(body.size()) + " " + entries + " >> stream\n" + body +
                   "\nendstream");
        m_table.get_entity(m_obj.obj, PDF_REF{1, 0});
    }
    void add(int32_t num, const std::string& text) {
        EXPECT_TRUE(m_table.set_object(num, text.data(), text.size())) << text;
    }
    std::unique_ptr<CPDFStream> open() {
        if (m_obj.obj.m_tag != kObjStream) return nullptr;
        return std::unique_ptr<CPDFStream>(m_table.make_stream(m_obj.obj.m_stream));
    }

private:
    CPDFXRefTable m_table;
    ScopedObj m_obj;
};

// Reads pieces until one comes back short, which by the readers' contract is
// the end; a reader that never ends stops at 64 MiB.
inline std::string read_all(CPDFStream* s, uint32_t piece) {
    std::string out;
    std::vector<unsigned char> buf(piece);
    for (uint32_t n = piece; s && n == piece && out.size() < (size_t{1} << 26);) {
        n = s->read(buf.data(), piece);
        EXPECT_LE(n, piece);
        out.append(reinterpret_cast<const char*>(buf.data()), std::min(n, piece));
    }
    return out;
}

inline std::string decode_body(const std::string& entries, const std::string& body,
                               uint32_t piece = 4096) {
    FilteredBody fb(entries, body);
    std::unique_ptr<CPDFStream> s = fb.open();
    EXPECT_NE(s, nullptr);
    return read_all(s.get(), piece);
}

// The body read in pieces of 1, 7 and 4096 bytes equals expect each time, and
// the reader stays at its end.
inline void expect_body(const std::string& entries, const std::string& body,
                        const std::string& expect) {
    FilteredBody fb(entries, body);
    for (uint32_t piece : {1u, 7u, 4096u}) {
        SCOPED_TRACE("pieces of " + std::to_string(piece));
        std::unique_ptr<CPDFStream> s = fb.open();
        ASSERT_NE(s, nullptr);
        EXPECT_TRUE(read_all(s.get(), piece) == expect);
        unsigned char b;
        EXPECT_EQ(s->read(&b, 1), 0u);
    }
}

// Bytes that compress somewhat: runs, text and noise, from a fixed seed.
inline std::string sample_bytes(size_t n, uint32_t seed = 1) {
    std::string s;
    for (uint32_t x = seed; s.size() < n;) {
        x = x * 1664525u + 1013904223u;
        const uint32_t kind = x >> 30;
        for (size_t i = 0, len = 1 + (x >> 8) % 40; i < len; ++i) {
            if (kind == 0) s += static_cast<char>(x >> 16);
            if (kind == 1) s += "shading mesh "[i % 13];
            if (kind >= 2) s += static_cast<char>((x = x * 1664525u + 1013904223u) >> 24);
        }
    }
    s.resize(n);
    return s;
}

inline std::string zlib_compress(const std::string& in, int level = 6) {
    uLongf n = compressBound(static_cast<uLong>(in.size()));
    std::string out(n, '\0');
    EXPECT_EQ(
        compress2(reinterpret_cast<Bytef*>(&out[0]), &n, reinterpret_cast<const Bytef*>(in.data()),
                  static_cast<uLong>(in.size()), level),
        Z_OK);
    out.resize(n);
    return out;
}

// PNG row filters: row r is written with types[r % types.size()].
inline std::string png_predict(const std::string& in, int colors, int bpc, int columns,
                               const std::vector<int>& types) {
    const size_t row = (static_cast<size_t>(colors) * bpc * columns + 7) / 8;
    const size_t bpp = (static_cast<size_t>(colors) * bpc + 7) / 8;
    auto at = [](const std::string& s, size_t k) { return static_cast<unsigned char>(s[k]); };
    std::string out, up(row, '\0');
    for (size_t r = 0; r * row < in.size(); ++r) {
        const std::string cur = in.substr(r * row, row);
        const int type = types[r % types.size()];
        out += static_cast<char>(type);
        for (size_t i = 0; i < cur.size(); ++i) {
            const int a = i >= bpp ? at(cur, i - bpp) : 0, b = at(up, i);
            const int c = i >= bpp ? at(up, i - bpp) : 0, p = a + b - c;
            const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
            const int paeth = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
            const int pred[] = {0, a, b, (a + b) / 2, paeth};
            out += static_cast<char>(at(cur, i) - pred[type]);
        }
        up = cur;
    }
    return out;
}

// LZW with a clear code first and an end code last. With clear_when_full
// false a full table stops growing and 12-bit codes go on.
inline std::string lzw_encode(const std::string& in, int early_change,
                              bool clear_when_full = true) {
    std::string out;
    uint32_t acc = 0;
    int bits = 0, width = 9, next = 258, w = -1;
    auto emit = [&](int code) {
        acc = (acc << width) | static_cast<uint32_t>(code);
        for (bits += width; bits >= 8; bits -= 8) out += static_cast<char>(acc >> (bits - 8));
        acc &= (1u << bits) - 1;
    };
    std::map<std::pair<int, int>, int> dict;
    emit(256);
    for (unsigned char c : in) {
        auto it = dict.find({w, c});
        if (w < 0 || it != dict.end()) {
            w = w < 0 ? c : it->second;
            continue;
        }
        emit(w);
        if (next < 4096) dict[{w, c}] = next++;
        // The decoder learns each entry one code later than it is made here.
        if (next + early_change > (1 << width) && width < 12) ++width;
        if (clear_when_full && next == 4096) {
            emit(256);
            dict.clear();
            next = 258;
            width = 9;
        }
        w = c;
    }
    if (w >= 0) emit(w);
    emit(257);
    if (bits > 0) out += static_cast<char>(acc << (8 - bits));
    return out;
}

inline std::string ahx_encode(const std::string& in) {
    std::string out;
    for (size_t i = 0; i < in.size(); ++i) {
        out += "0123456789abcdef"[static_cast<unsigned char>(in[i]) >> 4];
        out += "0123456789abcdef"[in[i] & 15];
        if (i % 30 == 29) out += "\r\n";
    }
    return out + ">";
}

}  // namespace shadepaint::test
