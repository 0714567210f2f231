#include "engine/filter_lzw.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/filter_test_util.h"

namespace shadepaint {
namespace {

using test::expect_body;
using test::lzw_encode;
using test::sample_bytes;

// EarlyChange, 1 unless given, moves each width step one code earlier; a
// mistake there shows at the first switch to 10 bits. Without a clear a full table stops growing
// and 12-bit codes go on.
TEST(FilterLZW, RoundTripWithAndWithoutEarlyChange) {
    const struct {
        std::string data;
        bool clear_when_full;
        const char* why;
    } cases[] = {
        {"", true, "nothing but clear and end codes"},
        {"abababababababab", true, "codes sent before the decoder has their entry"},
        {sample_bytes(60000), true, "every width up to 12 bits across several clears"},
        {sample_bytes(40000, 4), false, "a full table keeps 12-bit codes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        expect_body("/Filter /LZWDecode", lzw_encode(c.data, 1, c.clear_when_full), c.data);
        expect_body("/Filter /LZW /DecodeParms << /EarlyChange 0 >>",
                    lzw_encode(c.data, 0, c.clear_when_full), c.data);
    }
    const std::string data = sample_bytes(2400, 8);
    expect_body("/Filter /LZW /DecodeParms << /Predictor 15 /Colors 3 /Columns 40 >>",
                lzw_encode(test::png_predict(data, 3, 8, 40, {0, 1, 2, 3, 4}), 1), data);
}

// Code bits, most significant first, padded to whole bytes.
std::string codes(std::initializer_list<std::pair<int, int>> code_width) {
    std::string out;
    uint32_t acc = 0;
    int bits = 0;
    for (auto [code, width] : code_width) {
        acc = acc << width | static_cast<uint32_t>(code);
        for (bits += width; bits >= 8; bits -= 8) out += static_cast<char>(acc >> (bits - 8));
    }
    if (bits) out += static_cast<char>(acc << (8 - bits));
    return out;
}

TEST(FilterLZW, CorruptCodesEndTheBody) {
    const struct {
        std::string body;
        std::string expect;
        const char* why;
    } cases[] = {
        {codes({{'a', 9}, {'b', 9}, {300, 9}, {'c', 9}, {257, 9}}), "ab",
         "a code beyond the next entry (259)"},
        {codes({{'a', 9}, {'b', 9}, {259, 9}, {257, 9}}), "abbb",
         "the next entry itself is the previous string and its first byte"},
        {codes({{256, 9}, {258, 9}, {'a', 9}}), "", "a first code above 255"},
        {codes({{'a', 9}, {257, 9}, {'b', 9}}), "a", "nothing after the end code"},
        {codes({{'a', 9}, {256, 9}, {256, 9}, {'b', 9}, {258, 9}}), "abbb",
         "after repeated clears 258 is unknown again, not the old \"ab\""},
        {codes({{'a', 9}, {'b', 9}, {258, 9}}).substr(0, 3), "ab",
         "a code cut short by the end of the input"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        for (uint32_t piece : {1u, 4096u})
            EXPECT_EQ(test::decode_body("/Filter /LZWDecode", c.body, piece), c.expect);
    }
}

}  // namespace
}  // namespace shadepaint
