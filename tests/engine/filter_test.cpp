// The stream filters (Flate, LZW, ASCIIHex, ASCII85, RunLength), the
// predictors and the chains that stack them. Bodies come from small encoders
// written here independently of the decoders they check; corrupt data must
// end the body after what came before it.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/filter_chain.h"
#include "engine/filter_predictor.h"
#include "engine/pdf_stream.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

// Object 1 of a table, "<< /Length n entries >> stream" and the body, beside
// objects 2 to 5 for the entries to refer to.
class FilteredBody {
public:
    FilteredBody(const std::string& entries, const std::string& body) {
        const std::string objects[] = {"<< /Length " + std::to_string(body.size()) + " " + entries +
                                           " >> stream\n" + body + "\nendstream",
                                       "[/AHx /Fl]", "[null << /Predictor 12 /Columns 20 >>]",
                                       "/ASCIIHexDecode", "12"};
        for (int32_t i = 0; i < 5; ++i)
            EXPECT_TRUE(m_table.set_object(i + 1, objects[i].data(), objects[i].size()));
        m_table.get_entity(m_obj.obj, PDF_REF{1, 0});
    }
    // The decoded body, read in pieces until one comes back short, which by
    // the readers' contract is the end: a further read gives nothing.
    std::string read(uint32_t piece) {
        std::unique_ptr<CPDFStream> s(
            m_obj.obj.m_tag == kObjStream ? m_table.make_stream(m_obj.obj.m_stream) : nullptr);
        std::string out;
        std::vector<unsigned char> buf(piece);
        for (uint32_t n = piece; s && n == piece && out.size() < (size_t{1} << 26);) {
            n = s->read(buf.data(), piece);
            out.append(reinterpret_cast<const char*>(buf.data()), std::min(n, piece));
        }
        EXPECT_TRUE(!s || s->read(buf.data(), piece) == 0);
        return out;
    }

private:
    CPDFXRefTable m_table;
    ScopedObj m_obj;
};

struct Case {
    std::string entries, body, expect;
    const char* why;
};

// Whole bodies, and bodies read one and seven bytes at a time, must be the
// same.
void check(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        FilteredBody fb(c.entries, c.body);
        for (uint32_t piece : {1u, 7u, 4096u})
            EXPECT_TRUE(fb.read(piece) == c.expect) << c.entries << ": " << c.why << ", " << piece;
    }
}

// Bytes that compress somewhat: a small alphabet mixed with noise.
std::string sample_bytes(size_t n, uint32_t seed = 1) {
    std::string s;
    for (uint32_t x = seed; s.size() < n;) {
        x = x * 1664525u + 1013904223u;
        s += static_cast<char>(x >> 31 ? x >> 16 : 'a' + (x >> 16) % 3);
    }
    return s;
}

std::string zlib(const std::string& in, int level = 6) {
    uLongf n = compressBound(static_cast<uLong>(in.size()));
    std::string out(n, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(&out[0]), &n,
                        reinterpret_cast<const Bytef*>(in.data()), in.size(), level),
              Z_OK);
    out.resize(n);
    return out;
}

// PNG row filters: row r is written with types[r % types.size()].
std::string png_predict(const std::string& in, int colors, int bpc, int columns,
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
            const int pred[] = {0, a, b, (a + b) / 2, pa <= pb && pa <= pc ? a : pb <= pc ? b : c};
            out += static_cast<char>(at(cur, i) - pred[type]);
        }
        up = cur;
    }
    return out;
}

// Codes of the given widths, most significant bit first, padded to bytes.
struct Bits {
    std::string out;
    uint32_t acc = 0;
    int count = 0;
    void put(int code, int width) {
        acc = (acc << width | static_cast<uint32_t>(code)) & 0xfffff;
        for (count += width; count >= 8; count -= 8) out += static_cast<char>(acc >> (count - 8));
    }
    std::string done() { return count ? out + static_cast<char>(acc << (8 - count)) : out; }
};

std::string codes(std::initializer_list<int> nine_bit) {
    Bits b;
    for (int code : nine_bit) b.put(code, 9);
    return b.done();
}

// LZW with a clear code first and an end code last. With clear_when_full
// false a full table stops growing and 12-bit codes go on.
std::string lzw(const std::string& in, int early_change = 1, bool clear_when_full = true) {
    Bits bits;
    int width = 9, next = 258, w = -1;
    std::map<std::pair<int, int>, int> dict;
    bits.put(256, width);
    for (unsigned char c : in) {
        auto it = dict.find({w, c});
        if (w < 0 || it != dict.end()) {
            w = w < 0 ? c : it->second;
            continue;
        }
        bits.put(w, width);
        if (next < 4096) dict[{w, c}] = next++;
        // The decoder learns each entry one code later than it is made here.
        if (next + early_change > (1 << width) && width < 12) ++width;
        if (clear_when_full && next == 4096) {
            bits.put(256, width);
            dict.clear();
            next = 258;
            width = 9;
        }
        w = c;
    }
    if (w >= 0) bits.put(w, width);
    bits.put(257, width);
    return bits.done();
}

std::string ahx(const std::string& in) {
    std::string out;
    for (unsigned char c : in) out += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    return out + ">";
}

std::string parms(int predictor, int colors, int bpc, int columns) {
    return "/DecodeParms << /Predictor " + std::to_string(predictor) + " /Colors " +
           std::to_string(colors) + " /BitsPerComponent " + std::to_string(bpc) + " /Columns " +
           std::to_string(columns) + " >>";
}

// Every PNG row type in every position, and Paeth after each of the others;
// the type byte decides whichever PNG Predictor is named. TIFF adds each
// sample to the one of its component a pixel to the left, modulo 2^bpc; the
// carry crosses bytes in 16-bit samples and padding bits stay.
TEST(FilterFlate, DeflateAndPredictors) {
    const std::string data = sample_bytes(70000), small = sample_bytes(300);
    std::vector<Case> cases = {
        {"/Filter /FlateDecode", zlib(data), data, "deflate"},
        {"/Filter /Fl", zlib(data, 0), data, "stored blocks"},
        {"/Filter /Fl", zlib(""), "", "nothing"},
        {"/Filter /Fl /DecodeParms << /Predictor 12 >>", zlib(png_predict(small, 1, 8, 1, {2})),
         small, "defaults: one byte a row"},
        {"/Filter /Fl " + parms(2, 1, 1, 3), zlib("\xa7"), "\xc7", "TIFF, 1 bit"},
        {"/Filter /Fl " + parms(2, 1, 16, 2),
         zlib(std::string("\x00\x01\xff\xff\x00\xff\x00\x01", 8)),
         std::string("\x00\x01\x00\x00\x00\xff\x01\x00", 8), "TIFF, 16 bits"},
    };
    // RGB, 16-bit RGB (six bytes back), 1 bit (one byte back), 12-bit pixels.
    const std::vector<int> types = {0, 1, 2, 3, 4, 4, 3, 2, 1, 0, 4, 1, 4, 2, 4, 3};
    const int configs[][4] = {{3, 8, 17, 10}, {3, 16, 4, 15}, {1, 1, 13, 11}, {3, 4, 7, 14}};
    for (const auto& [colors, bpc, columns, predictor] : configs) {
        const std::string d = sample_bytes((colors * bpc * columns + 7) / 8 * 40, columns);
        cases.push_back({"/Filter /Fl " + parms(predictor, colors, bpc, columns),
                         zlib(png_predict(d, colors, bpc, columns, types)), d, "PNG"});
    }
    check(cases);
    EXPECT_EQ(CPDFFilterPredictor::row_bytes(1, 8, CPDFFilterPredictor::kMaxRowBytes),
              CPDFFilterPredictor::kMaxRowBytes);
    EXPECT_EQ(CPDFFilterPredictor::row_bytes(1, 8, CPDFFilterPredictor::kMaxRowBytes + 1), 0u);
}

TEST(FilterFlate, CorruptDataAndRefusedParameters) {
    const std::string data = sample_bytes(20000, 9), z = zlib(data);
    std::string bad_check = z;
    bad_check.back() ^= 1;
    // A zlib header and a stored block that is not the last, then 0xff: a
    // final block of the reserved type 3.
    const std::string head = data.substr(0, 3000);
    const std::string stored = std::string("\x78\x01\x00\xb8\x0b\x47\xf4", 7) + head + "\xff\xff";
    const std::string png = png_predict(data.substr(0, 50), 1, 8, 10, {4});  // 5 rows of 10
    std::string bad_type = png;
    bad_type[2 * 11] = 5;
    const std::string p11 = "/Filter /Fl " + parms(11, 1, 8, 10), p = "/Filter /Fl /DecodeParms ";
    check({
        {"/Filter /Fl", z.substr(0, z.size() - 4), data, "the check value missing"},
        {"/Filter /Fl", bad_check, data, "a bad check value is found only after the data"},
        {"/Filter /Fl", stored, head, "a bad block after a good one"},
        {"/Filter /Fl", "x", "", "no zlib stream"},
        {p11, zlib(bad_type), data.substr(0, 20), "a row type above 4 ends before that row"},
        {p11, zlib(png.substr(0, 3 * 11 + 4)), data.substr(0, 33), "a last row cut short"},
        {p + "<< /Predictor 3 >>", z, "", "no such predictor"},
        {p + "<< /Predictor 16 >>", z, "", "beyond the PNG range"},
        {p + "<< /Predictor 2 /BitsPerComponent 3 >>", z, "", "3-bit samples"},
        {p + "<< /Predictor 12 /Columns 2000000 /Colors 4 >>", z, "", "a row beyond the limit"},
    });
}

// EarlyChange, 1 unless given, moves each width step one code earlier. A code
// beyond the next entry, or a first code above 255, is corrupt.
TEST(FilterLZW, EarlyChangeAndCorruptCodes) {
    const std::string mixed = sample_bytes(60000), full = sample_bytes(40000, 4);
    const std::string e0 = "/Filter /LZWDecode /DecodeParms << /EarlyChange 0 >>";
    const std::string d = sample_bytes(2400, 8);
    check({
        {"/Filter /LZW", lzw(mixed), mixed, "every width up to 12 bits across several clears"},
        {e0, lzw(mixed, 0), mixed, "EarlyChange 0"},
        {"/Filter /LZW", lzw(full, 1, false), full, "a full table keeps 12-bit codes"},
        {"/Filter /LZW /DecodeParms << /Predictor 15 /Colors 3 /Columns 40 >>",
         lzw(png_predict(d, 3, 8, 40, {0, 1, 2, 3, 4})), d, "with a predictor"},
        {"/Filter /LZW", codes({'a', 'b', 300, 'c', 257}), "ab", "a code beyond 259"},
        {"/Filter /LZW", codes({'a', 'b', 259, 257}), "abbb", "the next entry: 'b' and 'b'"},
        {"/Filter /LZW", codes({256, 258, 'a'}), "", "a first code above 255"},
        {"/Filter /LZW", codes({'a', 257, 'b'}), "a", "nothing after the end code"},
        {"/Filter /LZW", codes({'a', 256, 256, 'b', 258}), "abbb", "258 unknown after clears"},
    });
}

TEST(FilterText, DecodeAndCorruptData) {
    const std::string a85 = "/Filter /ASCII85Decode", ahx_f = "/Filter /ASCIIHexDecode";
    const std::string rl = "/Filter /RunLengthDecode", man = "Man ";  // "9jqo^" in base 85
    // clang-format off
    check({
        {ahx_f, "48 65\n6c6C 6f>", "Hello", "white space between and inside pairs, either case"},
        {ahx_f, "414>", std::string("A@", 2), "a lone last digit takes a 0"},
        {a85, "9jqo^F*2L~>", "Man sur", "a group of five and a last group of four"},
        {a85, "9j qo\n^\tF*2L~", "Man sur", "white space anywhere; '~' alone ends"},
        {a85, "z9jqo^zz~>", std::string(4, '\0') + man + std::string(8, '\0'), "z groups"},
        {a85, "9jz~>", "", "'z' inside a group is corrupt"},
        {a85, "9jqo^s8W-!~>", man + "\xff\xff\xff\xff", "the largest group, 2^32 - 1"},
        {a85, "9jqo^s8W-\"~>", man, "a group worth 2^32"},
        {rl, std::string("\x02" "abc" "\xfe" "x" "\x80", 7), "abcxxx", "a literal run, a repeat"},
        {rl, std::string("\x81" "y" "\x80", 3), std::string(128, 'y'), "the longest repeat"},
        {rl, std::string("\x05" "ab", 3), "ab", "a literal run cut short delivers what it has"},
    });
    // clang-format on
}

// The first filter named is the first undone; DecodeParms pairs with Filter
// element by element, and a single dictionary belongs to the first filter. A
// filter that can't be undone, or one too many, leaves a stream without data.
TEST(FilterChain, FormsAndLimits) {
    const std::string data = sample_bytes(600, 7);
    const std::string predicted = png_predict(data, 1, 8, 20, {1, 2, 4});
    const std::string pz = zlib(predicted), hex_pz = ahx(pz);
    const std::string p = "<< /Predictor 12 /Columns 20 >>";
    std::string deep = "ok", filters;
    for (int i = 0; i < CPDFFilterChain::kMaxFilters; ++i) {
        deep = ahx(deep);
        filters += " /AHx";
    }
    check({
        {"/Filter /FlateDecode /DecodeParms " + p, pz, data, "a name and a dictionary"},
        {"/Filter [/AHx /Fl] /DecodeParms [null " + p + "]", hex_pz, data, "null: no parameters"},
        {"/Filter [/AHx /Fl] /DecodeParms " + p, hex_pz, predicted, "a single dictionary"},
        {"/Filter 2 0 R /DecodeParms 3 0 R", hex_pz, data, "both behind references"},
        {"/Filter [4 0 R /Fl] /DecodeParms [null << /Predictor 5 0 R /Columns 20 >>]", hex_pz, data,
         "an element and a parameter behind references"},
        {"/Filter [" + filters + "]", deep, "ok", "as many filters as allowed"},
        {"/Filter [" + filters + " /AHx]", ahx(deep), "", "one too many"},
        {"/Filter /DCTDecode", pz, "", "not decodable here"},
        {"/Filter [/AHx 5]", hex_pz, "", "not a name in the array"},
    });
}

// Each allocation of a chain fails in turn: the stream is null, or its body a
// prefix of the data, until all succeed.
TEST(FilterChain, AllocationFailuresGiveNullOrAPrefix) {
    const std::string data = sample_bytes(20000, 3);
    FilteredBody fb(
        "/Filter [/AHx /Fl] /DecodeParms [null << /Predictor 15 /Colors 3 /Columns 20 >>]",
        ahx(zlib(png_predict(data, 3, 8, 20, {4, 1, 2}))));
    bool whole = false;
    for (int32_t n = 0; n < 100 && !whole; ++n) {
        SCOPED_TRACE("allocations allowed: " + std::to_string(n));
        test::AllocFailGuard fail(n);
        const std::string got = fb.read(4096);
        EXPECT_TRUE(data.compare(0, got.size(), got) == 0);
        whole = got == data;
    }
    EXPECT_TRUE(whole);
}

}  // namespace
}  // namespace shadepaint
