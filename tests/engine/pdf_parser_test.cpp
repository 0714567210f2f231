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

struct Case {
    const char* text;
    const char* expected;
};

// Texts with embedded zero bytes or CR can't be C literals of a table column
// alone, so each case is a std::string built from its literal and size.
#define CASE_TEXT(lit) std::string(lit, sizeof(lit) - 1)

TEST(PdfParseSyntax, EachKindOfObject) {
    // clang-format off
    const struct { std::string text; const char* expected; } cases[] = {
        {"null", "null"},
        {"%comment\n42 % trailing comment", "42"},
        {CASE_TEXT("\0\t\f 7\r\n"), "7"},
        {"+3", "3"},
        {"-0", "0"},
        {"(abc)", "<616263>"},
        {"(a\\nb\\r\\t\\b\\f\\(\\)\\\\)", "<610a620d09080c28295c>"},
        // Octal: one to three digits, the fourth is text; overflow keeps the low byte.
        {"(\\101\\0618\\7\\400)", "<4131380700>"},
        {"(\\x)", "<78>"},  // unknown escape: the backslash is dropped
        {"(a\\\nb\\\r\nc\\\rd)", "<61626364>"},  // backslash-newline continues the line
        {"(a\r\nb\rc\nd)", "<610a620a630a64>"},  // every end of line reads as LF
        {"(a(b)c)", "<6128622963>"},
        {"<48 65 6c6C\n6f>", "<48656c6c6f>"},
        {"<123>", "<1230>"},  // odd digit count: a 0 follows
        {"/Name", "/Name"},
        {"/A#20B#2f", "/A B/"},
        {CASE_TEXT("/ab\0"), "/ab"},  // a raw zero byte is white space
        {"[/a/b(c)<64>1]", "[/a /b <63> <64> 1]"},
        {"[1 2.5 (x) /n [true] <</k null>>]", "[1 r167772160 <78> /n [true] <</k null>>]"},
        {"<< /B 2 /A 1 /C 3 >>", "<</A 1 /B 2 /C 3>>"},
        {"<</a 1 /B 2>>", "<</B 2 /a 1>>"},  // byte order: upper case first
        {"<</A 1 /A 2 /B 3 /A 4>>", "<</A 4 /B 3>>"},  // a repeated key keeps its last value
        {"<</A#20B 1>>", "<</A B 1>>"},
        {"12 0 R", "12 0 R"},
        {"1\n%c\n0\rR", "1 0 R"},
        {"[1 0 R 2 3]", "[1 0 R 2 3]"},
        {"[1 0 (R)]", "[1 0 <52>]"},
        {"[+1 0 R]", "error"},  // object numbers are plain digits
        {"<</Length 5>>stream\nhello\nendstream", "<</Length 5>>stream5"},
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

TEST(PdfParseSyntax, ErrorsLeaveOutEmpty) {
    // clang-format off
    const std::string cases[] = {
        "", "   ", "% only a comment", "(abc", "(a\\", "(()", "<12", "<1g>", "<12%>",
        "/A#2", "/A#00", "/A#zz", "/A#0", "[1 2", "[1 2)", "<< /A >>", "<< 1 2 >>", "<</A 1",
        "<</A 1 >", "1 2", "1 R", "R", "nul", "truex", "Null", "1e5", "1.2.3", "--1", "+", "-",
        ".", "+-1", "1-", "4..", "1 0 R R", ")", "]", ">>", ">", "{", "}", "<<>> >", "[1 2] x",
        "1 0 obj 5 endobj", "(a) (b)",
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
}

TEST(PdfParseSyntax, FailureFreesWhatOutHeld) {
    ScopedObj out;
    ASSERT_TRUE(CPDFXRefTable::parse_object("[(a) /b <<>>]", 13, out.obj));
    EXPECT_FALSE(CPDFXRefTable::parse_object("[(a) /b", 7, out.obj));
    EXPECT_EQ(out.obj.m_tag, kObjNone);
    EXPECT_FALSE(CPDFXRefTable::parse_object(nullptr, 5, out.obj));
}

TEST(PdfParseSyntax, ReadsNoByteBeyondTheGivenLength) {
    // Each text would parse if the byte behind its length were read.
    const struct {
        const char* text;
        size_t len;
    } cases[] = {{"(abc)", 4}, {"<41>", 3}, {"/Name#41", 7}, {"<<>>", 3}, {"[1]", 2}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parse_dump(std::string(c.text, c.len)), "error");
    }
    EXPECT_EQ(parse_dump(std::string("(abc)garbage", 5)), "<616263>");
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
        {"0.5", "r33554432"},
        {"4.", "r268435456"},
        {".5", "r33554432"},
        {"-.5", "r-33554432"},
        {"-0.0", "r0"},
        {"0.1", "r6710886"},
        {"000.25000000000000000000000000000000000000", "r16777216"},
        // 2^-26, the smallest step, and exact multiples of it keep every bit.
        {"0.0000000149011611938476562500", "r1"},
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
        {"000000000000000000000000001", "1"},
        {"2147483648", "r144115188075855872"},
        {"-2147483649", "r-144115188142964736"},
        {"137438953471", "r9223372036787666944"},
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

// The digits of |raw| * 2^-26 (or of an odd number over 2^27 with half set):
// an exact decimal form of a fixed value or of a half-way point.
std::string exact_decimal(bool negative, uint64_t magnitude, int frac_bits) {
    const uint64_t mask = (uint64_t{1} << frac_bits) - 1;
    std::string s = (negative ? "-" : "") + std::to_string(magnitude >> frac_bits) + ".";
    uint64_t rem = magnitude & mask;
    for (int i = 0; i < frac_bits; ++i) {  // 2^-n has n fraction digits
        rem *= 10;
        s += static_cast<char>('0' + (rem >> frac_bits));
        rem &= mask;
    }
    return s;
}

TEST(PdfParseNumbers, RandomExactValuesAndHalves) {
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 rng(seed);
    for (int i = 0; i < 200; ++i) {
        const int64_t raw = static_cast<int64_t>(rng());
        const bool negative = raw < 0;
        const uint64_t mag = negative ? 0 - static_cast<uint64_t>(raw) : static_cast<uint64_t>(raw);
        std::string text = exact_decimal(negative, mag, kKxFracBits);
        SCOPED_TRACE(text);
        EXPECT_EQ(parse_dump(text), "r" + std::to_string(raw));
        if (mag >= (uint64_t{1} << 62)) continue;  // keep 2 * mag + 1 in range
        const int64_t away = negative ? raw - 1 : raw + 1;
        text = exact_decimal(negative, 2 * mag + 1, kKxFracBits + 1);
        SCOPED_TRACE(text);
        EXPECT_EQ(parse_dump(text), "r" + std::to_string(away));
    }
}

}  // namespace
}  // namespace shadepaint
