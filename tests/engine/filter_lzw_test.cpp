#include "engine/filter_lzw.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/filter_test_util.h"

namespace shadepaint {
namespace {

using test::decode_body;
using test::expect_body;
using test::lzw_encode;
using test::sample_bytes;

TEST(FilterLZW, RoundTripWithAndWithoutEarlyChange) {
    struct Case {
        std::string data;
        const char* why;
    };
    std::string noise;
    for (uint32_t i = 0, x = 5; i < 30000; ++i)
        noise += static_cast<char>((x = x * 69069u + 1) >> 24);
    const Case cases[] = {
        {"", "nothing but clear and end codes"},
        {"abababababababab", "codes sent before the decoder has their entry"},
        {sample_bytes(60000), "mixed data across several clears"},
        {noise, "noise: every width up to 12 bits and a clear every 3838 codes"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        expect_body("/Filter /LZWDecode", lzw_encode(c.data, 1), c.data);
        expect_body("/Filter /LZWDecode /DecodeParms << /EarlyChange 0 >>", lzw_encode(c.data, 0),
                    c.data);
    }
}

TEST(FilterLZW, FullTableKeepsTwelveBitCodes) {
    // Without a clear the table stops at 4096 entries and decoding goes on
    // with what it holds.
    const std::string data = sample_bytes(40000, 4);
    for (int early : {0, 1}) {
        SCOPED_TRACE("EarlyChange " + std::to_string(early));
        expect_body(
            "/Filter /LZWDecode /DecodeParms << /EarlyChange " + std::to_string(early) + " >>",
            lzw_encode(data, early, false), data);
    }
}

TEST(FilterLZW, WithPngPredictor) {
    const std::string data = sample_bytes(2400, 8);
    expect_body("/Filter /LZWDecode /DecodeParms << /Predictor 15 /Colors 3 /Columns 40 >>",
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
    struct Case {
        std::string body;
        std::string expect;
        const char* why;
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(decode_body("/Filter /LZWDecode", c.body, 1), c.expect);
        EXPECT_EQ(decode_body("/Filter /LZWDecode", c.body, 4096), c.expect);
    }
}

}  // namespace
}  // namespace shadepaint
