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

// Two inputs over [-1000, 1000]; n outputs over range, by default +-10^10.
FuncPtr calc(FuncDoc& doc, const std::string& program, size_t n,
             const std::string& range = "-10000000000.0 10000000000.0") {
    std::string r;
    for (size_t j = 0; j < n; ++j) r += " " + range;
    return doc.parse(testing::stream_text(
        "/FunctionType 4 /Domain [-1000 1000 -1000 1000] /Range [" + r + "]", program));
}

// A failing program gives 0 for every output, clipped to Range like any
// result; the stack holds 100 values, the two inputs included.
TEST(FuncPostscript, Operators) {
    const double kBig = 2147483648.0;
    std::string pushes98 = "{", pushes99 = "{ 1";
    for (int i = 0; i < 98; ++i) pushes98 += " 1";
    pushes99 = pushes98 + " 1 }";
    pushes98 += " }";
    // clang-format off
    const struct { std::string program; std::vector<double> in, out; const char* why; } cases[] = {
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
        {"{ pop dup 0 gt { dup 10 gt { pop 10 } if } { pop 0 } ifelse }", {15, 0}, {10}, "nested"},
        {"{ 1 2 3 3 -2147483648 roll }", {0, 0}, {3, 1, 2}, "roll by INT_MIN stays defined"},
        {"{ 1e300 dup mul dup sub }", {0, 0}, {0}, "NaN leaves as 0"},
        {pushes98, {0, 0}, {1}, "98 pushes fill the stack"},
        // Failures.
        {pushes99, {0, 0}, {}, "99 pushes overflow it"},
        {"{ pop pop pop }", {0, 0}, {}, "underflow"},
        {"{ pop pop }", {0, 0}, {}, "too few results"},
        {"{ 1 0 div }", {0, 0}, {}, "div by zero"},
        {"{ 1.5 2 idiv }", {0, 0}, {}, "idiv of a real"},
        {"{ true 1 add }", {0, 0}, {}, "arithmetic on a boolean"},
        {"{ 1 2 gt { 1 } if 1 1 add 2 gt }", {0, 0}, {}, "boolean result after if"},
        {"{ -8 0.5 exp }", {0, 0}, {}, "exp without a real result"},
        {"{ 3e9 cvi }", {0, 0}, {}, "cvi beyond 32 bits"},
        {"{ 1 5 index }", {0, 0}, {}, "index past the bottom"},
        {"{ 1 2147483647 copy }", {0, 0}, {}, "copy of more than the stack"},
        {"{ 1 5 10 roll }", {0, 0}, {}, "roll of more than the stack"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        FuncDoc doc;
        FuncPtr f = calc(doc, c.program, c.out.empty() ? 1 : c.out.size());
        ASSERT_NE(f, nullptr);
        int32_t ran = -1;
        EXPECT_EQ(eval_raw(*f, c.in, &ran), c.out.empty() ? raws({0}) : raws(c.out));
        EXPECT_EQ(ran, c.out.empty() ? 0 : 1);
    }
    FuncDoc doc;
    FuncPtr f = calc(doc, "{ 1e300 dup mul -5 }", 2, "0.25 1");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(eval_raw(*f, {0, 0}), raws({1, 0.25}));
    f = calc(doc, "{ 1 0 div }", 1, "0.25 1");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(eval_raw(*f, {0, 0}), raws({0.25}));
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

// Text after the program is ignored; comments and every white space are not
// tokens. Accepted programs push 1.
TEST(FuncPostscript, Compiler) {
    const int depth = CPDFFuncPostscript::kMaxNesting;
    auto nested = [](int levels) {
        std::string p = "{";
        for (int i = 1; i < levels; ++i) p += " true {";
        p += " 1";
        for (int i = 1; i < levels; ++i) p += " } if";
        return p + " }";
    };
    const size_t size = CPDFFuncPostscript::kMaxProgramBytes;
    // clang-format off
    const struct { std::string program; bool ok; const char* why; } cases[] = {
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
        {"{ 1e999 }", false, "real out of range"},
        {std::string(100000, '{'), false, "100000 open braces"},
        {nested(depth + 1), false, "nesting beyond the limit"},
        {"{ 1 }" + std::string(size - 4, ' '), false, "a body beyond the limit"},
        {nested(depth), true, "nesting at the limit"},
        {"{ 1 }" + std::string(size - 5, ' '), true, "a body at the limit"},
        {"{ 1 } trailing words", true, "trailing text"},
        {"% head\n{ 1 %{ inside\n }", true, "comments"},
        {"{\t1\r\n\f}", true, "white space"},
        {"{ .5 2 mul }", true, "leading point"},
        {"{ 0.1e1 }", true, "exponent"},
    };
    // clang-format on
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

}  // namespace
}  // namespace shadepaint
