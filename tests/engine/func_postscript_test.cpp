// The calculator function: operator semantics with PostScript's integer and
// real kinds, the defined outputs of failing programs, and the limits of the
// compiler.
#include "engine/func_postscript.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/func_doc.h"

namespace shadepaint {
namespace {

using testing::eval_raw;
using testing::FuncDoc;
using testing::FuncPtr;
using testing::raws;
using testing::stream_text;

// Two inputs over [-1000, 1000]; n outputs over range, by default +-10^10.
FuncPtr calc(FuncDoc& doc, const std::string& program, int n,
             const std::string& range = "-10000000000.0 10000000000.0") {
    std::string r;
    for (int j = 0; j < n; ++j) r += " " + range;
    return doc.parse(
        stream_text("/FunctionType 4 /Domain [-1000 1000 -1000 1000] /Range [" + r + "]", program));
}

struct Case {
    const char* program;
    std::vector<double> in;
    std::vector<double> out;  // empty: the program fails and every output is 0
    const char* why;
};

TEST(FuncPostscript, Operators) {
    const double kBig = 2147483648.0;
    // clang-format off
    const Case cases[] = {
        {"{ exch pop }", {0.1875, -3.5}, {-3.5}, "second input back"},
        {"{ -1 3 div }", {0, 0}, {-1.0 / 3}, "truncated toward zero, not floored"},
        {"{ 2147483647 1 add 2147483648.0 sub }", {0, 0}, {0}, "int overflow turns real"},
        {"{ -2147483648 -1 idiv }", {0, 0}, {kBig}, "idiv overflow turns real"},
        {"{ -7 2 idiv -7 2 mod 7 -2 mod }", {0, 0}, {-3, -1, 1}, "idiv truncates, mod keeps sign"},
        {"{ -1.5 ceiling -1.5 floor -1.5 truncate }", {0, 0}, {-1, -2, -1}, "rounding kinds"},
        {"{ -2.5 round 2.5 round 0.49999999999999994 round }", {0, 0}, {-2, 3, 0}, "halves up"},
        {"{ 90 sin 180 sin -90 cos 360 cos }", {0, 0}, {1, 0, 0, 1}, "quarter turns exact"},
        {"{ 1 0 atan 0 -1 atan -1 0 atan }", {0, 0}, {90, 180, 270}, "atan in 0..360"},
        {"{ 1 4 bitshift -16 -2 bitshift 1 31 bitshift }", {0, 0}, {16, 1073741820, -kBig},
         "shifts: left, logical right"},
        {"{ 1 32 bitshift 5 -40 bitshift }", {0, 0}, {0, 0}, "shifts of 32 or more"},
        {"{ true false xor { 1 } { 0 } ifelse }", {0, 0}, {1}, "logic on booleans"},
        {"{ true 1 eq { 7 } { 8 } ifelse }", {0, 0}, {8}, "eq of different kinds is false"},
        {"{ pop dup 0 lt { neg } if }", {-3.5, 0}, {3.5}, "if taken"},
        {"{ pop dup 0 gt { dup 10 gt { pop 10 } if } { pop 0 } ifelse }", {15, 0}, {10}, "nested"},
        {"{ 1 2 3 3 1 roll }", {0, 0}, {3, 1, 2}, "roll up"},
        {"{ 1 2 3 3 -2147483648 roll }", {0, 0}, {3, 1, 2}, "roll by INT_MIN stays defined"},
        {"{ 1e300 dup mul dup sub }", {0, 0}, {0}, "NaN leaves as 0"},
        // Failures.
        {"{ pop pop pop }", {0, 0}, {}, "underflow"},
        {"{ pop pop }", {0, 0}, {}, "too few results"},
        {"{ 1 0 div }", {0, 0}, {}, "div by zero"},
        {"{ 1.5 2 idiv }", {0, 0}, {}, "idiv of a real"},
        {"{ 1 1.0 bitshift }", {0, 0}, {}, "bitshift of a real"},
        {"{ true 1 add }", {0, 0}, {}, "arithmetic on a boolean"},
        {"{ 1 2 gt { 1 } if 1 1 add 2 gt }", {0, 0}, {}, "boolean result after if"},
        {"{ -1 sqrt }", {0, 0}, {}, "sqrt of a negative"},
        {"{ -8 0.5 exp }", {0, 0}, {}, "exp without a real result"},
        {"{ 3e9 cvi }", {0, 0}, {}, "cvi beyond 32 bits"},
        {"{ 1 5 index }", {0, 0}, {}, "index past the bottom"},
        {"{ 1 2147483647 copy }", {0, 0}, {}, "copy of more than the stack"},
        {"{ 1 5 10 roll }", {0, 0}, {}, "roll of more than the stack"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.program) + ": " + c.why);
        FuncDoc doc;
        const int n = c.out.empty() ? 1 : static_cast<int>(c.out.size());
        FuncPtr f = calc(doc, c.program, n);
        ASSERT_NE(f, nullptr);
        int32_t ran = -1;
        const std::vector<int64_t> got = eval_raw(*f, c.in, &ran);
        EXPECT_EQ(ran, c.out.empty() ? 0 : 1);
        EXPECT_EQ(got, c.out.empty() ? std::vector<int64_t>(1, 0) : raws(c.out));
    }
}

// Inputs and outputs pass through double: raw / 2^26 in, truncation out.
TEST(FuncPostscript, PassThroughKeepsEveryBit) {
    FuncDoc doc;
    FuncPtr f = calc(doc, "{ exch }", 2);
    ASSERT_NE(f, nullptr);
    for (int64_t raw : {int64_t{1}, int64_t{-1}, int64_t{0x123456789}, -kKxOne * 999 - 12345}) {
        SCOPED_TRACE(raw);
        KXFIX in[2] = {KXFIX::from_raw(raw), KXFIX::from_raw(-raw)};
        KXFIX out[2] = {};
        ASSERT_EQ(f->evaluate(in, out), 1);
        EXPECT_EQ(out[0].m_raw, -raw);
        EXPECT_EQ(out[1].m_raw, raw);
    }
}

TEST(FuncPostscript, ResultsAndFailuresAreClippedToRange) {
    FuncDoc doc;
    FuncPtr f = calc(doc, "{ 1e300 dup mul -5 }", 2, "0.25 1");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(eval_raw(*f, {0, 0}), raws({1, 0.25}));
    f = calc(doc, "{ 1 0 div }", 1, "0.25 1");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(eval_raw(*f, {0, 0}), raws({0.25}));
}

// The stack holds 100 values, the two inputs included.
TEST(FuncPostscript, StackLimit) {
    for (int pushes : {98, 99}) {
        SCOPED_TRACE(pushes);
        std::string program = "{";
        for (int i = 0; i < pushes; ++i) program += " 1";
        FuncDoc doc;
        FuncPtr f = calc(doc, program + " }", 1);
        ASSERT_NE(f, nullptr);
        int32_t ran = -1;
        EXPECT_EQ(eval_raw(*f, {0, 0}, &ran), raws({pushes == 98 ? 1.0 : 0.0}));
        EXPECT_EQ(ran, pushes == 98 ? 1 : 0);
        std::string copies = "{";
        for (int i = 0; i < pushes - 50; ++i) copies += " 1";  // then copy all: 2 (pushes - 48)
        f = calc(doc, copies + " " + std::to_string(pushes - 48) + " copy }", 1);
        ASSERT_NE(f, nullptr);
        eval_raw(*f, {0, 0}, &ran);
    }
}

// Text after the program is ignored; comments and every white space are not
// tokens. Accepted programs push 1.
TEST(FuncPostscript, Compiler) {
    const std::string deep(100000, '{');
    const struct {
        std::string program;
        bool ok;
        const char* why;
    } cases[] = {
        {"", false, "empty body"},
        {"1 2 add", false, "no braces"},
        {"{ 1 2 add", false, "unclosed"},
        {"{ foo }", false, "unknown operator"},
        {"{ 1 if }", false, "if without a procedure"},
        {"{ { 1 } }", false, "procedure without if"},
        {"{ true { 1 } ifelse }", false, "one procedure before ifelse"},
        {"{ [ 1 ] }", false, "array syntax"},
        {"{ 1e }", false, "exponent without digits"},
        {"{ 16#FF }", false, "radix number"},
        {"{ inf }", false, "no special reals"},
        {"{ 1e999 }", false, "real out of range"},
        {deep, false, "100000 open braces"},
        {"{ 1 } trailing words", true, "trailing text"},
        {"% head\n{ 1 %{ inside\n }", true, "comments"},
        {"{\t1\r\n\f}", true, "white space"},
        {"{ .5 2 mul }", true, "leading point"},
        {"{ 0.1e1 }", true, "exponent"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        FuncDoc doc;
        FuncPtr f = calc(doc, c.program, 1);
        ASSERT_EQ(f != nullptr, c.ok);
        if (f) {
            EXPECT_EQ(eval_raw(*f, {0, 0}), raws({1}));
        }
    }
}

TEST(FuncPostscript, NestingAndSizeLimits) {
    const int limit = CPDFFuncPostscript::kMaxNesting;
    for (int levels : {limit, limit + 1}) {
        SCOPED_TRACE(levels);
        std::string program = "{";
        for (int i = 1; i < levels; ++i) program += " true {";
        program += " 3";
        for (int i = 1; i < levels; ++i) program += " } if";
        FuncDoc doc;
        FuncPtr f = calc(doc, program + " }", 1);
        ASSERT_EQ(f != nullptr, levels == limit);
        if (f) {
            EXPECT_EQ(eval_raw(*f, {0, 0}), raws({3}));
        }
    }
    for (size_t size :
         {CPDFFuncPostscript::kMaxProgramBytes, CPDFFuncPostscript::kMaxProgramBytes + 1}) {
        SCOPED_TRACE(size);
        std::string program = "{ 1 }";
        program += std::string(size - program.size(), ' ');
        FuncDoc doc;
        EXPECT_EQ(calc(doc, program, 1) != nullptr, size == CPDFFuncPostscript::kMaxProgramBytes);
    }
}

}  // namespace
}  // namespace shadepaint
