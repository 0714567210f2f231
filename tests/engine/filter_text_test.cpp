// The text and run-length filters: ASCIIHexDecode, ASCII85Decode and
// RunLengthDecode.
#include <gtest/gtest.h>

#include <string>

#include "engine/filter_ascii85.h"
#include "engine/filter_ascii_hex.h"
#include "engine/filter_run_length.h"
#include "engine/filter_test_util.h"

namespace shadepaint {
namespace {

using test::decode_body;

struct Case {
    std::string body;
    std::string expect;
    const char* why;
};

void check(const char* filter, const Case* cases, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        SCOPED_TRACE(cases[i].why);
        for (uint32_t piece : {1u, 3u, 4096u})
            EXPECT_EQ(decode_body(std::string("/Filter ") + filter, cases[i].body, piece),
                      cases[i].expect);
    }
}

TEST(FilterText, ASCIIHex) {
    // clang-format off
    const Case cases[] = {
        {"48 65\n6c6C 6f>", "Hello", "white space between and inside pairs, either case"},
        {"414>", std::string("A@", 2), "a lone last digit takes a 0"},
        {"41>42", "A", "nothing after '>'"},
        {"4142x43>", "AB", "a garbage character ends the body"},
        {"414x", "A", "a digit waiting for its partner is dropped at garbage"},
    };
    // clang-format on
    check("/ASCIIHexDecode", cases, std::size(cases));
}

TEST(FilterText, ASCII85) {
    // "9jqo^" is "Man ".
    // clang-format off
    const Case cases[] = {
        {"9jqo^F*2L~>", "Man sur", "a group of five and a last group of four"},
        {"9jqo^Er~>", "Man s", "a last group of two gives one byte"},
        {"9jqo^E~>", "Man ", "a last single digit gives nothing"},
        {"9j qo\n^\tF*2L~", "Man sur", "white space anywhere; '~' alone ends"},
        {"z9jqo^zz~>", std::string(4, '\0') + "Man " + std::string(8, '\0'), "z groups"},
        {"9jz~>", "", "'z' inside a group is corrupt"},
        {"9jqo^{F*2L~>", "Man ", "a character outside the alphabet"},
        {"9jqo^s8W-!~>", std::string("Man \xff\xff\xff\xff", 8), "the largest group, 2^32 - 1"},
        {"9jqo^s8W-\"~>", "Man ", "a group worth 2^32"},
        {"9jqo^uuuuu~>", "Man ", "the largest digits overflow"},
    };
    // clang-format on
    check("/ASCII85Decode", cases, std::size(cases));
}

TEST(FilterText, RunLength) {
    // clang-format off
    const Case cases[] = {
        {std::string("\x02" "abc" "\xfe" "x" "\x80", 7), "abcxxx", "a literal run and a repeat"},
        {std::string("\x81" "y" "\x80", 3), std::string(128, 'y'), "the longest repeat"},
        {std::string("\x00" "q" "\x80" "\x00" "r", 5), "q", "nothing after the end byte"},
        {std::string("\x05" "ab", 3), "ab", "a literal run cut short delivers what it has"},
        {std::string("\x01" "ab" "\xf0", 4), "ab", "a repeat without its byte"},
        {std::string("\x01" "ab", 3), "ab", "no end byte"},
    };
    // clang-format on
    check("/RunLengthDecode", cases, std::size(cases));
}

}  // namespace
}  // namespace shadepaint
