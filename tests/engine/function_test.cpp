// The function factory and its four kinds (sampled, exponential, stitching
// and the calculator), with functions written as PDF object text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/func_postscript.h"
#include "engine/func_sampled.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using FuncPtr = std::unique_ptr<CPDFFunction>;

// Numbered objects and functions parsed against them; texts are taken whole,
// zero bytes included.
struct FuncDoc {
    void obj(int32_t num, const std::string& text) {
        ASSERT_TRUE(xref.set_object(num, text.data(), text.size())) << text;
    }
    FuncPtr parse(const std::string& text) {
        ScopedObj o;
        EXPECT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj)) << text;
        return FuncPtr(CPDFFunction::parse_func(&o.obj, &xref));
    }
    CPDFXRefTable xref;
};

std::string stream(const std::string& dict, const std::string& body) {
    return "<<" + dict + " /Length " + std::to_string(body.size()) + ">>stream\n" + body +
           "\nendstream";
}
std::string type0(const std::string& dict, const std::string& body) {
    return stream("/FunctionType 0 " + dict, body);
}
std::string type2(const std::string& dict) { return "<</FunctionType 2 " + dict + ">>"; }
std::string type3(const std::string& dict) { return "<</FunctionType 3 " + dict + ">>"; }
// Two inputs over [-1000, 1000], n outputs over +-10^10.
std::string type4(const std::string& program, int n = 1) {
    std::string range;
    for (int j = 0; j < n; ++j) range += " -10000000000.0 10000000000.0";
    return stream("/FunctionType 4 /Domain [-1000 1000 -1000 1000] /Range [" + range + "]",
                  program);
}
// c0 + (c1 - c0) x over [0, 1].
std::string ramp(int c0, int c1) {
    return type2("/Domain [0 1] /C0 [" + std::to_string(c0) + "] /C1 [" + std::to_string(c1) +
                 "] /N 1");
}
std::string bytes(std::initializer_list<int> v) { return std::string(v.begin(), v.end()); }

// The raw outputs of f at the inputs, exact for the binary fractions used
// here; *ran gets the result of evaluate.
std::vector<int64_t> eval_raw(const CPDFFunction& f, const std::vector<double>& in,
                              int32_t* ran = nullptr) {
    std::vector<KXFIX> x(CPDFFunction::kMaxInputs), out(CPDFFunction::kMaxOutputs, {-1});
    for (size_t i = 0; i < in.size(); ++i) x[i] = KXFIX::from_raw(int64_t(in[i] * kKxOne));
    const int32_t r = f.evaluate(x.data(), out.data());
    if (ran) *ran = r;
    std::vector<int64_t> raw;
    for (int32_t j = 0; j < f.m_outputs; ++j) raw.push_back(out[j].m_raw);
    return raw;
}

// A raw fixed-point value as a double, exactly.
double raw(int64_t r) { return static_cast<double>(r) / kKxOne; }

struct Case {
    std::string text;
    std::vector<double> in, out;  // results reach fixed point truncated toward zero
    int ran;                      // the result of evaluate; -1: parse_func refuses the text
    const char* why;
};

// Object 7 is a function of two inputs, object 9 doesn't exist.
void check(const std::vector<Case>& cases) {
    FuncDoc doc;
    doc.obj(7, type4("{ pop }"));
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.why) + ": " + c.text);
        FuncPtr f = doc.parse(c.text);
        ASSERT_EQ(f != nullptr, c.ran >= 0);
        if (!f) continue;
        std::vector<int64_t> want;
        for (double d : c.out) want.push_back(static_cast<int64_t>(std::trunc(d * kKxOne)));
        int32_t ran = -1;
        EXPECT_EQ(eval_raw(*f, c.in, &ran), want);
        EXPECT_EQ(ran, c.ran);
    }
}

TEST(FuncParse, Rejects) {
    const std::string two = "/Functions [" + ramp(0, 1) + ramp(0, 1) + "]";
    const std::string outputs17 = " 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0] /C1 [0";
    const std::string d8 = "/Domain [0 1] /Range [0 1] /BitsPerSample 8 ";
    const std::string cap = std::to_string(CPDFFuncSampled::kMaxSampleValues + 1);
    // clang-format off
    check({
        {"9 0 R", {}, {}, -1, "a reference to nothing"},
        {type2("/Domain [1 0] /N 1"), {}, {}, -1, "Domain decreasing"},
        {type2("/Domain [0 1 0 1] /N 1"), {}, {}, -1, "two inputs"},
        {type2("/Domain [0 1] /N 1 /C0 [" + outputs17 + "]"), {}, {}, -1, "17 outputs"},
        {type3("/Domain [0 1] /Encode [0 1 0 1] " + two), {}, {}, -1, "no Bounds"},
        {type3("/Domain [0 1] /Encode [0 1] /Functions [7 0 R]"), {}, {}, -1, "a 2-input part"},
        {type3("/Domain [0 1] /Encode [0 1 0 1] /Bounds [0.5] /Functions [" + ramp(0, 1) +
               type2("/Domain [0 1] /N 1 /C0 [0 0] /C1 [1 1]") + "]"), {}, {}, -1, "mixed outputs"},
        {"<<" + d8 + "/FunctionType 0 /Size [2]>>", {}, {}, -1, "sampled: not a stream"},
        {type0("/Domain [0 1] /BitsPerSample 8 /Size [2]", "ab"), {}, {}, -1, "no Range"},
        {type0(d8 + "/Size [" + cap + "]", ""), {}, {}, -1, "more samples than the cap"},
        {type0(d8 + "/Size [2] /BitsPerSample 3", "ab"), {}, {}, -1, "BitsPerSample 3"},
        {type0(d8 + "/Size [0]", "ab"), {}, {}, -1, "Size 0"},
        {"<</FunctionType 4 /Domain [0 1] /Range [0 1]>>", {}, {}, -1, "calculator: not a stream"},
        {stream("/FunctionType 4 /Domain [0 1]", "{ }"), {}, {}, -1, "no Range"},
    });
    // clang-format on
    CPDFXRefTable xref;
    EXPECT_EQ(CPDFFunction::parse_func(nullptr, &xref), nullptr);
}

// N 1 interpolates in fixed point: C0 + ((C1 - C0) * x), the difference on the
// left of the product (the other order loses other bits in the third output).
// Sampled: Decode [0 255] gives the samples themselves, packed big-endian
// without padding; up to four inputs interpolate, five take the nearest grid
// point, halves up. Stitching: a bound belongs to the interval it opens.
TEST(FuncEvaluate, SampledExponentialStitching) {
    const std::string linear =
        type2("/Domain [-10 10] /C0 [0.3 -3 0.3] /C1 [0.7 500.123 300000.7] /N 1");
    auto exp2 = [](const char* n) {
        return type2("/Domain [-2 2] /C0 [1] /C1 [3] /N " + std::string(n));
    };
    const std::string one = "/Domain [0 1] /Range [0 255] /Decode [0 255] /BitsPerSample 8 ";
    const std::string two =
        "/Domain [0 1 0 1] /Size [2 2] /BitsPerSample 8 /Decode [0 255 0 255] "
        "/Range [0 255 0 255]";
    const std::string five =
        "/Domain [0 1 0 1 0 1 0 1 0 1] /Range [0 255] /Decode [0 255] "
        "/BitsPerSample 8 /Size [2 2 2 2 2]";
    std::string b32;
    for (int i = 0; i < 32; ++i) b32 += static_cast<char>(i);
    const std::string grid = bytes({0, 255, 100, 155, 200, 55, 40, 215}), r3 = bytes({0, 128, 255});
    const std::string d1 = "/Domain [0 1] /Size [2] /BitsPerSample 8 ";
    const std::string d3 = "/Domain [0 3] /Size [4] /Range [0 4294967295.0] /Decode [0 ";
    const std::string three = "/Domain [0 1] /Encode [0 1 0 1 0 1] /Functions [" + ramp(0, 0) +
                              ramp(1, 1) + ramp(2, 2) + "] ";
    const std::string to4 = "/Functions [" + ramp(0, 4) + "] ";
    const std::string max = std::to_string(CPDFFuncSampled::kMaxSampleValues);
    // clang-format off
    check({
        {linear, {7.123}, {raw(211338857), raw(240299253008), raw(143404666532659)}, 1, "N 1"},
        {exp2("2"), {-0.5}, {1.5}, 1, "whole N on a negative x"},
        {exp2("0.5"), {-0.25}, {1}, 1, "fractional N on a negative x gives C0"},
        {exp2("-1"), {0}, {1}, 1, "infinite power gives C0"},
        {exp2("0"), {0}, {3}, 1, "0^0 is 1"},
        {exp2("3"), {5}, {17}, 1, "x clipped to Domain"},
        {exp2("1 /Range [1.5 2]"), {2}, {2}, 1, "Range clips"},
        {type0(d3 + "1] /BitsPerSample 1", bytes({0xb0})), {2}, {1}, 1, "1 bit"},
        {type0(d3 + "4095] /BitsPerSample 12", bytes({0xab, 0xc1, 0x23, 0xff, 0xf0, 0x01})), {1},
         {0x123}, 1, "12 bits straddle bytes"},
        {type0(d3 + "4294967295.0] /BitsPerSample 32",
               bytes({0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0x12, 0x34, 0x56, 0x78, 0, 0, 0, 0})),
         {2}, {0x12345678}, 1, "32 bits"},
        {type0(one + "/Size [3]", r3), {0.75}, {191.5}, 1, "between the last two"},
        {type0(one + "/Size [2] /Encode [-1 3]", bytes({10, 20})), {0.125}, {10}, 1, "clipped"},
        {type0(one + "/Size [4]", bytes({9, 9})), {1}, {0}, 1, "a short body reads 0"},
        {type0(d1 + "/Range [0 2]", bytes({0, 255})), {1}, {2}, 1, "Decode defaults to Range"},
        {type0(d1 + "/Range [0 1] /Decode [0 2]", bytes({0, 255})), {1}, {1}, 1, "Range clips"},
        {type0(two, grid), {0.5, 0.5}, {85, 170}, 1, "bilinear, two outputs"},
        {type0(two, grid), {0.25, 1}, {160, 95}, 1, "first input fastest, along an edge"},
        {type0(five, b32), {0.4, 0, 0, 0, 0}, {0}, 1, "five inputs: nearest"},
        {type0(five, b32), {0.5, 0, 0, 0, 1}, {17}, 1, "five inputs: halves up"},
        {type0("/Domain [0 1] /Range [0 1] /BitsPerSample 32 /Size [" + max + "]", ""), {0.5}, {0},
         1, "as many samples as the cap, checked before reading"},
        {type3(three + "/Bounds [0.5 0.75]"), {0.5}, {1}, 1, "a bound opens its interval"},
        {type3(three + "/Bounds [0.5 0.5]"), {0.5}, {2}, 1, "an empty interval is never chosen"},
        {type3("/Domain [0 1] /Encode [1 0] " + to4), {0.25}, {3}, 1, "Encode reversed"},
        {type3("/Domain [0.5 0.5] /Encode [0.25 1] " + to4), {0.9}, {1}, 1,
         "a Domain of zero width maps to the first Encode value"},
    });
    // clang-format on
}

// A chain of stitching functions each holding the next: eight levels parse,
// nine don't; a function holding itself ends at the same limit. Eight levels
// of eight references each would be 8^8 parts: the node budget ends that parse.
TEST(FuncStitching, DepthAndFanOutLimits) {
    for (int levels : {8, 9}) {
        FuncDoc doc;
        doc.obj(levels, ramp(0, 1));
        for (int i = levels - 1; i >= 1; --i)
            doc.obj(i, type3("/Domain [0 1] /Encode [0 1] /Functions [" + std::to_string(i + 1) +
                             " 0 R]"));
        EXPECT_EQ(doc.parse("1 0 R") != nullptr, levels == 8) << levels;
    }
    FuncDoc doc;
    doc.obj(1, type3("/Domain [0 1] /Encode [0 1] /Functions [1 0 R]"));
    EXPECT_EQ(doc.parse("1 0 R"), nullptr);
    doc.obj(9, ramp(0, 1));
    for (int i = 1; i <= 8; ++i) {
        std::string refs;
        for (int k = 0; k < 8; ++k) refs += std::to_string(i + 1) + " 0 R ";
        const std::string bounds = "/Bounds [0.1 0.2 0.3 0.4 0.5 0.6 0.7] /Encode [";
        doc.obj(i, type3("/Domain [0 1] " + bounds +
                         "0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1] /Functions [" + refs + "]"));
    }
    EXPECT_EQ(doc.parse("1 0 R"), nullptr);
    EXPECT_NE(doc.parse("7 0 R"), nullptr) << "73 parts are within the budget";
}

// Every allocation of a stitching function with sampled and calculator parts
// fails in turn: each attempt gives null or a function that evaluates as the
// whole one, and nothing leaks.
TEST(FuncParse, AllocationFailures) {
    FuncDoc doc;
    doc.obj(1, type0("/Domain [0 1] /Range [0 1 0 1] /BitsPerSample 8 /Size [3]",
                     bytes({0, 255, 128, 128, 255, 0})));
    doc.obj(2, stream("/FunctionType 4 /Domain [0 1] /Range [0 1 0 1]",
                      "{ dup 0.5 gt { 1 exch sub } if dup }"));
    doc.obj(3, type3("/Domain [0 1] /Bounds [0.5] /Encode [0 1 0 1] /Range [0 1 0 1] "
                     "/Functions [1 0 R 2 0 R]"));
    const FuncPtr whole = doc.parse("3 0 R");
    ASSERT_NE(whole, nullptr);
    int n = 0;
    for (FuncPtr f; !f && n <= 300; ++n) {
        test::AllocFailGuard fail(n);
        f = doc.parse("3 0 R");
        for (double x : {0.0, 0.25, 0.75})
            EXPECT_TRUE(!f || eval_raw(*f, {x}) == eval_raw(*whole, {x})) << n << " allocations";
    }
    EXPECT_GT(n, 4) << "the loop should have met failures";
    EXPECT_LE(n, 300) << "300 allocations should be enough for the whole function";
}

// A failing program gives 0 for every output, clipped to Range like any
// result; the stack holds 100 values, the two inputs included. Text after the
// program is ignored; comments and white space are no tokens.
TEST(FuncPostscript, ProgramsAndFailures) {
    const double kBig = 2147483648.0;
    std::string pushes = "{";
    for (int i = 0; i < 98; ++i) pushes += " 1";
    auto nested = [](int levels) {
        std::string p = "{";
        for (int i = 1; i < levels; ++i) p += " true {";
        p += " 1";
        for (int i = 1; i < levels; ++i) p += " } if";
        return p + " }";
    };
    const int depth = CPDFFuncPostscript::kMaxNesting;
    const size_t size = CPDFFuncPostscript::kMaxProgramBytes;
    const std::string clip = "/FunctionType 4 /Domain [0 1 0 1] /Range [0.25 1 0.25 1]";
    // clang-format off
    check({
        {type4("{ exch }", 2), {raw(0x123456789), raw(-kKxOne * 999 - 12345)},
         {raw(-kKxOne * 999 - 12345), raw(0x123456789)}, 1, "raw / 2^26 in, truncated out"},
        {type4("{ -1 3 div }"), {0, 0}, {-1.0 / 3}, 1, "truncated toward zero, not floored"},
        {type4("{ 2147483647 1 add 2147483648.0 sub }"), {0, 0}, {0}, 1, "int overflow turns real"},
        {type4("{ -2147483648 -1 idiv }"), {0, 0}, {kBig}, 1, "idiv overflow turns real"},
        {type4("{ -7 2 idiv -7 2 mod 7 -2 mod }", 3), {0, 0}, {-3, -1, 1}, 1, "mod: sign"},
        {type4("{ -1.5 ceiling -1.5 floor -1.5 truncate }", 3), {0, 0}, {-1, -2, -1}, 1,
         "rounding"},
        {type4("{ -2.5 round 2.5 round 0.49999999999999994 round }", 3), {0, 0}, {-2, 3, 0}, 1,
         "halves up"},
        {type4("{ 90 sin 180 sin -90 cos 360 cos }", 4), {0, 0}, {1, 0, 0, 1}, 1, "exact"},
        {type4("{ 1 0 atan 0 -1 atan -1 0 atan }", 3), {0, 0}, {90, 180, 270}, 1, "atan in 0..360"},
        {type4("{ 1 4 bitshift -16 -2 bitshift 1 31 bitshift }", 3), {0, 0},
         {16, 1073741820, -kBig}, 1,
         "shifts: left, logical right"},
        {type4("{ 1 32 bitshift 5 -40 bitshift }", 2), {0, 0}, {0, 0}, 1, "shifts of 32 or more"},
        {type4("{ 1 2 3 3 -2147483648 roll }", 3), {0, 0}, {3, 1, 2}, 1, "roll by INT_MIN"},
        {type4("{ 1e300 dup mul dup sub }"), {0, 0}, {0}, 1, "NaN leaves as 0"},
        {stream(clip, "{ 1e300 dup mul -5 }"), {0, 0}, {1, 0.25}, 1, "results clipped to Range"},
        {type4(pushes + " }"), {0, 0}, {1}, 1, "98 pushes fill the stack"},
        {type4(pushes + " 1 }"), {0, 0}, {0}, 0, "99 overflow it"},
        {stream(clip, "{ 1 0 div }"), {0, 0}, {0.25, 0.25}, 0, "failures clipped to Range"},
        {type4("{ pop pop pop }"), {0, 0}, {0}, 0, "underflow"},
        {type4("{ -8 0.5 exp }"), {0, 0}, {0}, 0, "exp without a real result"},
        {type4("{ 3e9 cvi }"), {0, 0}, {0}, 0, "cvi beyond 32 bits"},
        {type4("{ 1 5 index }"), {0, 0}, {0}, 0, "index past the bottom"},
        {type4("{ 1 2147483647 copy }"), {0, 0}, {0}, 0, "copy of more than the stack"},
        {type4("{ 1 5 10 roll }"), {0, 0}, {0}, 0, "roll of more than the stack"},
        {type4("% head\n{ 1 %{ inside\n }"), {0, 0}, {1}, 1, "comments"},
        {type4(nested(depth)), {0, 0}, {1}, 1, "nesting at the limit"},
        {type4("{ 1 }" + std::string(size - 5, ' ')), {0, 0}, {1}, 1, "a body at the limit"},
        {type4(nested(depth + 1)), {}, {}, -1, "nesting beyond the limit"},
        {type4("{ 1 }" + std::string(size - 4, ' ')), {}, {}, -1, "a body beyond the limit"},
        {type4(std::string(100000, '{')), {}, {}, -1, "100000 open braces"},
        {type4("{ 1e999 }"), {}, {}, -1, "real out of range"},
        {type4("{ foo }"), {}, {}, -1, "unknown operator"},
    });
    // clang-format on
}

}  // namespace
}  // namespace shadepaint
