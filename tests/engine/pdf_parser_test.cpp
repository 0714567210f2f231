#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "engine/obj_dump.h"
#include "engine/pdf_parser_p.h"
#include "engine/xref_table.h"

namespace shadepaint {
namespace {

using testing::parse_dump;

// A literal with its embedded zero bytes.
#define CASE_TEXT(lit) std::string(lit, sizeof(lit) - 1)

TEST(PdfParseSyntax, EachKindOfObject) {
    // clang-format off
    const struct { std::string text; const char* expected; } cases[] = {
        {"%comment\n42 % trailing comment", "42"},
        {CASE_TEXT("\0\t\f 7\r\n"), "7"},
        {"(a\\nb\\r\\t\\b\\f\\(\\)\\\\)", "<610a620d09080c28295c>"},
        // Octal: one to three digits, the fourth is text; overflow keeps the low byte.
        {"(\\101\\0618\\7\\400)", "<4131380700>"},
        {"(\\x)", "<78>"},  // unknown escape: the backslash is dropped
        {"(a\\\nb\\\r\nc\\\rd)", "<61626364>"},  // backslash-newline continues the line
        {"(a\r\nb\rc\nd)", "<610a620a630a64>"},  // every end of line reads as LF
        {"(a(b)c)", "<6128622963>"},
        {"<48 65 6c6C\n6f3>", "<48656c6c6f30>"},  // odd digit count: a 0 follows
        {"/A#20B#2f", "/A B/"},
        {CASE_TEXT("/ab\0"), "/ab"},  // a raw zero byte is white space
        {"[/a/b(c)<64>1 2.5[true]<</k null>>]", "[/a /b <63> <64> 1 r167772160 [true] <</k null>>]"},
        {"<</a 1 /B 2>>", "<</B 2 /a 1>>"},  // byte order: upper case first
        {"<</A 1 /A 2 /B 3 /A 4>>", "<</A 4 /B 3>>"},  // a repeated key keeps its last value
        {"1\n%c\n0\rR", "1 0 R"},
        {"[1 0 R 2 3]", "[1 0 R 2 3]"},
        {"[1 0 (R)]", "[1 0 <52>]"},
        {"[+1 0 R]", "error"},  // object numbers are plain digits
        {"<</Length 2>>\r\nstream\r\nhiendstream\r\n", "<</Length 2>>stream2"},
        {"<</Length 0>>stream\nendstream", "<</Length 0>>stream0"},
        {"<</Length 9>>stream\nendstream\nendstream", "<</Length 9>>stream9"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parse_dump(c.text), c.expected);
    }
}

// Each refused text leaves out empty; the texts cut at a length would parse
// if the byte behind it were read.
TEST(PdfParseSyntax, ErrorsLeaveOutEmpty) {
    // clang-format off
    const std::string cases[] = {
        "", "% only a comment", "(abc", "(a\\", "(()", "<12", "<1g>", "/A#2", "/A#00", "/A#zz",
        "[1 2", "[1 2)", "<< /A >>", "<< 1 2 >>", "<</A 1 >", "1 2", "1 R", "nul", "truex",
        "1e5", "1.2.3", "--1", "+", ".", "4..", "1 0 R R", ")", ">>", "{", "[1 2] x",
        "1 0 obj 5 endobj", "(a) (b)", std::string("(abc)", 4), std::string("<41>", 3),
        std::string("/Name#41", 7), std::string("<<>>", 3), std::string("[1]", 2),
        // Streams: /Length must be a direct integer in range, the keyword needs
        // LF or CR LF, and "endstream" must follow the body.
        "<<>>stream\nendstream", "<</Length -1>>stream\nendstream",
        "<</Length 1.0>>stream\nxendstream", "<</Length 1 0 R>>stream\nxendstream",
        "<</Length 6>>stream\nhello", "<</Length 5>>stream\nhello",
        "<</Length 4>>stream\nhello endstream", "<</Length 0>>stream endstream",
        "<</Length 0>>stream\rendstream", "<</Length 0>>stream\nendstreamx",
        "<</Length 0>>stream\nendstream x", "<</Length 0>>streams\nendstream",
        "[<</Length 0>>stream\nendstream]", "<</Length 0>>endstream",
        "<</Length 2147483648>>stream\nendstream",
    };
    // clang-format on
    for (const auto& text : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parse_dump(text), "error");
    }
    ScopedObj out;
    ASSERT_TRUE(CPDFXRefTable::parse_object("[(a) /b <<>>]", 13, out.obj));
    EXPECT_FALSE(CPDFXRefTable::parse_object("[(a) /b", 7, out.obj));
    EXPECT_EQ(out.obj.m_tag, kObjNone);  // what out held is freed
    EXPECT_FALSE(CPDFXRefTable::parse_object(nullptr, 5, out.obj));
}

TEST(PdfParseSyntax, NestingLimit) {
    const int limit = detail::kMaxNesting;
    const struct {
        int arrays;
        const char* inner;
        bool ok;
    } cases[] = {
        {limit, "", true},          {limit + 1, "", false}, {limit - 1, "<</a 1>>", true},
        {limit, "<</a 1>>", false}, {100000, "", false},  // refused without running out of stack
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.arrays) + " arrays around '" + c.inner + "'");
        std::string text = std::string(c.arrays, '[') + c.inner + std::string(c.arrays, ']');
        EXPECT_EQ(parse_dump(text) != "error", c.ok);
    }
}

TEST(PdfParseNumbers, ExactFixedValues) {
    // clang-format off
    const struct { const char* text; const char* expected; } cases[] = {
        {"4.", "r268435456"},
        {"-.5", "r-33554432"},
        {"-0.0", "r0"},
        {"0.1", "r6710886"},
        {"000.25000000000000000000000000000000000000", "r16777216"},
        // 2^-26, the smallest step, and exact multiples of it keep every bit.
        {"123456.0000000149011611938476562500", "r8284991913985"},
        // Half-way values round away from zero; the 27th digit decides.
        {"0.000000007450580596923828125", "r1"},
        {"-0.000000007450580596923828125", "r-1"},
        {"0.000000022351741790771484375", "r2"},
        {"0.0000000074505805969238281249999999", "r0"},
        {"0.00000000745058059692382812500000001", "r1"},
        {"1.00000000745058059692382812", "r67108864"},
        {"0.333333333333333333333333333333333333", "r22369621"},
        // Integers: within int32 they stay integers, beyond they become exact reals.
        {"2147483647", "2147483647"},
        {"2147483648", "r144115188075855872"},
        {"-2147483649", "r-144115188142964736"},
        // The range ends at raw INT64_MAX and INT64_MIN; beyond, values saturate.
        {"137438953471.999999999", "r9223372036854775807"},
        {"-137438953471.999999999", "r-9223372036854775808"},
        {"-137438953472", "r-9223372036854775808"},
        {"137438953472", "r9223372036854775807"},
        {"-1000000000000.5", "r-9223372036854775808"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parse_dump(c.text), c.expected);
    }
}

// Random raw values written out exactly (|raw| * 2^-26 has at most 26
// fraction digits) read back to the bit, and the half-way point above each
// (an odd multiple of 2^-27) reads as the next value away from zero.
TEST(PdfParseNumbers, RandomExactValuesAndHalves) {
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 rng(seed);
    auto decimal = [](bool negative, uint64_t magnitude, int frac_bits) {
        const uint64_t mask = (uint64_t{1} << frac_bits) - 1;
        std::string s = (negative ? "-" : "") + std::to_string(magnitude >> frac_bits) + ".";
        uint64_t rem = magnitude & mask;
        for (int k = 0; k < frac_bits; ++k, rem &= mask)
            s += static_cast<char>('0' + ((rem *= 10) >> frac_bits));
        return s;
    };
    for (int i = 0; i < 200; ++i) {
        const int64_t raw = static_cast<int64_t>(rng() >> 2) * (i % 2 ? -1 : 1);
        const uint64_t mag = static_cast<uint64_t>(raw < 0 ? -raw : raw);
        EXPECT_EQ(parse_dump(decimal(raw < 0, mag, kKxFracBits)), "r" + std::to_string(raw));
        EXPECT_EQ(parse_dump(decimal(raw < 0, 2 * mag + 1, kKxFracBits + 1)),
                  "r" + std::to_string(raw < 0 ? raw - 1 : raw + 1));
    }
}

}  // namespace
}  // namespace shadepaint
