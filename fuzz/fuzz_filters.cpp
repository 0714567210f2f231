// Stream filters from arbitrary bytes. The first byte picks a filter chain, a
// predictor and EarlyChange; the next three give Colors, BitsPerComponent,
// Columns and the size of the reads; the rest is the encoded body. The body is
// read out in pieces up to a cap, then again in pieces of another size: both
// readings must agree, and no read may claim more than it was asked for.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/pdf_stream.h"
#include "engine/xref_table.h"
#include "object/pdf_obj.h"

using namespace shadepaint;

namespace {

constexpr size_t kCap = size_t{16} << 20;      // a bomb is read this far
constexpr size_t kCompared = size_t{1} << 20;  // the second reading goes this far

struct Chain {
    const char* filters;
    int32_t predicted;  // index of the Flate or LZW filter that takes parameters, or -1
};

const Chain kChains[] = {
    {"/FlateDecode", 0},      {"/LZWDecode", 0}, {"/ASCIIHexDecode", -1}, {"/ASCII85Decode", -1},
    {"/RunLengthDecode", -1}, {"[/A85 /Fl]", 1}, {"[/AHx /LZW]", 1},      {"[/RL /Fl]", 1},
};

const uint32_t kPieces[] = {1, 7, 64, 4096, 65536, 3, 1000, 100000};

// Reads s to its end or to cap in pieces; out keeps the first keep bytes.
size_t drain(CPDFStream* s, uint32_t piece, size_t cap, std::vector<unsigned char>& out,
             size_t keep) {
    std::vector<unsigned char> buf(piece);
    size_t total = 0;
    while (total < cap) {
        const uint32_t n = s->read(buf.data(), piece);
        if (n > piece) __builtin_trap();
        if (total < keep)
            out.insert(out.end(), buf.begin(), buf.begin() + std::min<size_t>(n, keep - total));
        total += n;
        if (n < piece) {
            unsigned char b;
            if (s->read(&b, 1) != 0) __builtin_trap();  // the end stays the end
            break;
        }
    }
    return total;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const Chain& chain = kChains[data[0] & 7];
    const int32_t p = (data[0] >> 3) & 7;
    const int32_t predictor = p == 0 ? 1 : p == 1 ? 2 : 8 + p;
    const int32_t early = data[0] >> 7;
    const int32_t colors = 1 + (data[1] & 3);
    static const int32_t kBits[] = {1, 2, 4, 8, 16, 8, 8, 8};
    const int32_t bpc = kBits[(data[1] >> 2) & 7];
    const int32_t columns = 1 + data[2];
    const uint32_t piece = kPieces[data[3] & 7];
    const uint32_t piece2 = kPieces[(data[3] >> 3) & 7];

    std::string parms;
    if (chain.predicted >= 0) {
        std::string dict = "<< /Predictor " + std::to_string(predictor) + " /Colors " +
                           std::to_string(colors) + " /BitsPerComponent " + std::to_string(bpc) +
                           " /Columns " + std::to_string(columns) + " /EarlyChange " +
                           std::to_string(early) + " >>";
        parms = " /DecodeParms " + (chain.predicted == 0 ? dict : "[null " + dict + "]");
    }
    const size_t body = size - 4;
    std::string text =
        "<< /Length " + std::to_string(body) + " /Filter " + chain.filters + parms + " >> stream\n";
    text.append(reinterpret_cast<const char*>(data + 4), body);
    text += "\nendstream";

    ScopedObj obj;
    if (!CPDFXRefTable::parse_object(text.data(), text.size(), obj.obj)) __builtin_trap();
    if (obj.obj.m_tag != kObjStream) __builtin_trap();
    CPDFXRefTable table;
    std::unique_ptr<CPDFStream> first(table.make_stream(obj.obj.m_stream));
    if (!first) __builtin_trap();
    if (first->m_length != static_cast<int32_t>(body)) __builtin_trap();
    std::vector<unsigned char> a, b;
    const size_t total = drain(first.get(), piece, kCap, a, kCompared);

    std::unique_ptr<CPDFStream> second(table.make_stream(obj.obj.m_stream));
    if (!second) __builtin_trap();
    const size_t total2 = drain(second.get(), piece2, std::min(total, kCompared) + 1, b, kCompared);
    if (a.size() != b.size()) __builtin_trap();
    if (!a.empty() && std::memcmp(a.data(), b.data(), a.size()) != 0) __builtin_trap();
    if (total <= kCompared && total2 != total) __builtin_trap();
    return 0;
}
