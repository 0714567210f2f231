// Filtered stream bodies for tests: the stream text around an encoded body,
// readers that take the decoded body in pieces, and small encoders for each
// filter, written here independently of the decoders they check.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

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

// One stream object, "<< /Length n entries >> stream" + body, held in a table.
class FilteredBody {
public:
    FilteredBody(const std::string& entries, const std::string& body) {
        const std::string text = "<< /Length " + std::to_string(body.size()) + " " + entries +
                                 " >> stream\n" + body + "\nendstream";
        EXPECT_TRUE(m_table.set_object(1, text.data(), text.size())) << entries;
        m_table.get_entity(m_obj.obj, PDF_REF{1, 0});
    }
    // Further objects the stream's entries may refer to.
    void add(int32_t num, const std::string& text) {
        EXPECT_TRUE(m_table.set_object(num, text.data(), text.size())) << text;
    }
    // A fresh reader of the body; null when the object is no stream.
    std::unique_ptr<CPDFStream> open() {
        if (m_obj.obj.m_tag != kObjStream) return nullptr;
        return std::unique_ptr<CPDFStream>(m_table.make_stream(m_obj.obj.m_stream));
    }

private:
    CPDFXRefTable m_table;
    ScopedObj m_obj;
};

// Reads pieces of the given size until one comes back short, which by the
// readers' contract is the end; stops after cap bytes.
inline std::string read_all(CPDFStream* s, uint32_t piece, size_t cap = size_t{1} << 26) {
    std::string out;
    if (!s) return out;
    std::vector<unsigned char> buf(piece);
    while (out.size() < cap) {
        const uint32_t n = s->read(buf.data(), piece);
        EXPECT_LE(n, piece);
        out.append(reinterpret_cast<const char*>(buf.data()), n < piece ? n : piece);
        if (n < piece) break;
    }
    return out;
}

// The whole decoded body read in pieces of 1, 7 and 4096 bytes; each must
// equal expect.
inline void expect_body(const std::string& entries, const std::string& body,
                        const std::string& expect) {
    FilteredBody fb(entries, body);
    for (uint32_t piece : {1u, 7u, 4096u}) {
        SCOPED_TRACE("pieces of " + std::to_string(piece));
        std::unique_ptr<CPDFStream> s = fb.open();
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_length, static_cast<int32_t>(body.size()));
        const std::string got = read_all(s.get(), piece);
        EXPECT_EQ(got.size(), expect.size());
        EXPECT_TRUE(got == expect);
        unsigned char b;
        EXPECT_EQ(s->read(&b, 1), 0u);  // stays at the end
    }
}

inline std::string decode_body(const std::string& entries, const std::string& body,
                               uint32_t piece = 4096) {
    FilteredBody fb(entries, body);
    std::unique_ptr<CPDFStream> s = fb.open();
    EXPECT_NE(s, nullptr);
    return read_all(s.get(), piece);
}

// Bytes that compress somewhat: runs, text and noise, from a fixed seed.
inline std::string sample_bytes(size_t n, uint32_t seed = 1) {
    std::string s;
    uint32_t x = seed;
    while (s.size() < n) {
        x = x * 1664525u + 1013904223u;
        const uint32_t kind = x >> 30;
        const size_t len = 1 + (x >> 8) % 40;
        for (size_t i = 0; i < len && s.size() < n; ++i) {
            if (kind == 0) s += static_cast<char>(x >> 16);
            if (kind == 1) s += "shading mesh "[i % 13];
            if (kind >= 2) {
                x = x * 1664525u + 1013904223u;
                s += static_cast<char>(x >> 24);
            }
        }
    }
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
    std::string out;
    std::string up(row, '\0');
    for (size_t r = 0; r * row < in.size(); ++r) {
        const std::string cur = in.substr(r * row, row);
        const int type = types[r % types.size()];
        out += static_cast<char>(type);
        for (size_t i = 0; i < cur.size(); ++i) {
            const int x = static_cast<unsigned char>(cur[i]);
            const int a = i >= bpp ? static_cast<unsigned char>(cur[i - bpp]) : 0;
            const int b = static_cast<unsigned char>(up[i]);
            const int c = i >= bpp ? static_cast<unsigned char>(up[i - bpp]) : 0;
            int pred = 0;
            if (type == 1) pred = a;
            if (type == 2) pred = b;
            if (type == 3) pred = (a + b) / 2;
            if (type == 4) {
                const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b),
                          pc = std::abs(p - c);
                pred = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
            }
            out += static_cast<char>(x - pred);
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
    int bits = 0;
    int width = 9;
    auto emit = [&](int code) {
        acc = (acc << width) | static_cast<uint32_t>(code);
        bits += width;
        while (bits >= 8) {
            bits -= 8;
            out += static_cast<char>(acc >> bits);
        }
        acc &= (1u << bits) - 1;
    };
    std::map<std::pair<int, int>, int> dict;
    int next = 258;
    emit(256);
    int w = -1;
    for (unsigned char c : in) {
        if (w < 0) {
            w = c;
            continue;
        }
        auto it = dict.find({w, c});
        if (it != dict.end()) {
            w = it->second;
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
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < in.size(); ++i) {
        const auto b = static_cast<unsigned char>(in[i]);
        out += kHex[b >> 4];
        out += kHex[b & 15];
        if (i % 30 == 29) out += "\r\n";
    }
    return out + ">";
}

}  // namespace shadepaint::test
