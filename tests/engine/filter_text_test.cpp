// The text and run-length filters: ASCIIHexDecode, ASCII85Decode and
// RunLengthDecode. Corrupt data ends the body after what came before it.
#include <gtest/gtest.h>

#include <string>

#include "engine/filter_ascii85.h"
#include "engine/filter_ascii_hex.h"
#include "engine/filter_run_length.h"
#include "engine/filter_test_util.h"

namespace shadepaint {
namespace {

TEST(FilterText, DecodeAndCorruptData) {
    const std::string a85 = "/ASCII85Decode", ahx = "/ASCIIHexDecode", rl = "/RunLengthDecode";
    const std::string man = "Man ";  // "9jqo^" in base 85
    // clang-format off
    const struct { const std::string& filter; std::string body, expect; const char* why; } cases[] = {
        {ahx, "48 65\n6c6C 6f>", "Hello", "white space between and inside pairs, either case"},
        {ahx, "414>", std::string("A@", 2), "a lone last digit takes a 0"},
        {ahx, "41>42", "A", "nothing after '>'"},
        {ahx, "4142x43>", "AB", "a garbage character ends the body"},
        {ahx, "414x", "A", "a digit waiting for its partner is dropped at garbage"},
        {a85, "9jqo^F*2L~>", "Man sur", "a group of five and a last group of four"},
        {a85, "9jqo^Er~>", "Man s", "a last group of two gives one byte"},
        {a85, "9jqo^E~>", man, "a last single digit gives nothing"},
        {a85, "9j qo\n^\tF*2L~", "Man sur", "white space anywhere; '~' alone ends"},
        {a85, "z9jqo^zz~>", std::string(4, '\0') + man + std::string(8, '\0'), "z groups"},
        {a85, "9jz~>", "", "'z' inside a group is corrupt"},
        {a85, "9jqo^{F*2L~>", man, "a character outside the alphabet"},
        {a85, "9jqo^s8W-!~>", man + "\xff\xff\xff\xff", "the largest group, 2^32 - 1"},
        {a85, "9jqo^s8W-\"~>", man, "a group worth 2^32"},
        {rl, std::string("\x02" "abc" "\xfe" "x" "\x80", 7), "abcxxx", "a literal run and a repeat"},
        {rl, std::string("\x81" "y" "\x80", 3), std::string(128, 'y'), "the longest repeat"},
        {rl, std::string("\x00" "q" "\x80" "\x00" "r", 5), "q", "nothing after the end byte"},
        {rl, std::string("\x05" "ab", 3), "ab", "a literal run cut short delivers what it has"},
        {rl, std::string("\x01" "ab" "\xf0", 4), "ab", "a repeat without its byte"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.filter + ": " + c.why);
        for (uint32_t piece : {1u, 3u, 4096u})
            EXPECT_EQ(test::decode_body("/Filter " + c.filter, c.body, piece), c.expect);
    }
}

}  // namespace
}  // namespace shadepaint
