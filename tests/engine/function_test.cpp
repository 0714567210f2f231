// The function factory and the sampled, exponential and stitching kinds, with
// inputs written as PDF object text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/func_doc.h"
#include "engine/func_exponential.h"
#include "engine/func_sampled.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using testing::eval_raw;
using testing::FuncDoc;
using testing::FuncPtr;
using testing::raws;
using testing::stream_text;

std::string bytes(std::initializer_list<int> v) {
    std::string s;
    for (int b : v) s += static_cast<char>(b);
    return s;
}

std::string exp_part(int c0, int c1) {
    return "<</FunctionType 2 /Domain [0 1] /C0 [" + std::to_string(c0) + "] /C1 [" +
           std::to_string(c1) + "] /N 1>>";
}

// Kinds of case text: 'o' an object as it stands, '2' and '3' a dictionary of
// that FunctionType, '0' and '4' a stream of that type with a body of "ab" and
// "{ }". Object 7 is a function of two inputs, object 9 doesn't exist.
TEST(FuncParse, Rejects) {
    const std::string two = "/Functions [" + exp_part(0, 1) + exp_part(0, 1) + "]";
    std::string many;
    for (int i = 0; i < 17; ++i) many += " 0";
    const std::string d8 = "/Domain [0 1] /Range [0 1] /BitsPerSample 8 ";
    const std::string cap = std::to_string(CPDFFuncSampled::kMaxSampleValues + 1);
    // clang-format off
    const struct { char kind; std::string text; const char* why; } cases[] = {
        {'o', "null", "no object"},
        {'o', "9 0 R", "a reference to nothing"},
        {'o', stream_text(d8 + "/Size [2]", "ab"), "no FunctionType: not taken for 0"},
        {'o', "<</FunctionType 1 /Domain [0 1 0 1] /Range [0 1]>>", "type 1 is no function kind"},
        {'2', "/N 1", "no Domain"},
        {'2', "/Domain [1 0] /N 1", "Domain decreasing"},
        {'2', "/Domain [0 1 0 1] /N 1", "two inputs"},
        {'2', "/Domain [0 1] /N /one", "N not a number"},
        {'2', "/Domain [0 1] /N 1 /C0 [0 0]", "C0 longer than the default C1"},
        {'2', "/Domain [0 1] /N 1 /C0 [" + many + "] /C1 [" + many + "]", "17 outputs"},
        {'3', "/Domain [0 1] /Encode [0 1 0 1] " + two, "no Bounds"},
        {'3', "/Domain [0 1] /Encode [0 1 0 1] /Bounds [1.5] " + two, "Bounds beyond Domain"},
        {'3', "/Domain [0 1] /Encode [0 1] /Bounds [0.5] " + two, "Encode too short"},
        {'3', "/Domain [0 1] /Encode [0 1] /Functions [7 0 R]", "a part of two inputs"},
        {'3', "/Domain [0 1] /Encode [0 1 0 1] /Bounds [0.5] /Functions [" + exp_part(0, 1) +
              "<</FunctionType 2 /Domain [0 1] /N 1 /C0 [0 0] /C1 [1 1]>>]", "outputs differ"},
        {'o', "<<" + d8 + "/FunctionType 0 /Size [2]>>", "sampled: a dictionary, not a stream"},
        {'0', "/Domain [0 1] /BitsPerSample 8 /Size [2]", "no Range"},
        {'0', d8 + "/Size [0]", "Size 0"},
        {'0', d8 + "/Size [3000000000.0]", "Size beyond 32 bits"},
        {'0', d8 + "/Size [" + cap + "]", "more samples than the cap"},
        {'0', d8 + "/Size [2] /BitsPerSample 3", "BitsPerSample 3"},
        {'0', d8 + "/Size [2] /Decode [0]", "Decode too short"},
        {'o', "<</FunctionType 4 /Domain [0 1] /Range [0 1]>>", "calculator: not a stream"},
        {'4', "/Domain [0 1]", "no Range"},
    };
    // clang-format on
    FuncDoc doc;
    doc.obj(7, stream_text("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1]", "{ pop }"));
    ASSERT_NE(doc.parse("7 0 R"), nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.why) + ": " + c.text);
        std::string text = c.text;
        if (c.kind == '2' || c.kind == '3')
            text = "<</FunctionType " + std::string(1, c.kind) + " " + text + ">>";
        if (c.kind == '0') text = stream_text("/FunctionType 0 " + text, "ab");
        if (c.kind == '4') text = stream_text("/FunctionType 4 " + text, "{ }");
        EXPECT_EQ(doc.parse(text), nullptr);
    }
    EXPECT_EQ(CPDFFunction::parse_func(nullptr, &doc.xref), nullptr);
}

// N 1 interpolates in fixed point: C0 + ((C1 - C0) * x), the difference on the
// left of the product, whose two operand orders round differently.
TEST(FuncExponential, LinearIsFixedPoint) {
    FuncDoc doc;
    doc.obj(8, "[-10 10]");
    FuncPtr f = doc.parse(
        "<</FunctionType 2 /Domain 8 0 R /C0 [0.3 -3 0.3] /C1 [0.7 500.123 300000.7] /N 1>>");
    ASSERT_NE(f, nullptr);
    const auto& e = static_cast<const CPDFFuncExponential&>(*f);
    bool order_matters = false;
    for (double x : {0.3, -9.99, 7.123, 10.0}) {
        SCOPED_TRACE(x);
        const KXFIX in = KXFIX::from_raw(static_cast<int64_t>(x * kKxOne));
        KXFIX out[3];
        f->evaluate(&in, out);
        for (int j = 0; j < 3; ++j) {
            const KXFIX diff = e.m_c1[j] - e.m_c0[j];
            EXPECT_EQ(out[j].m_raw, (e.m_c0[j] + (diff * in)).m_raw) << j;
            order_matters |= (diff * in).m_raw != (in * diff).m_raw;
        }
    }
    EXPECT_TRUE(order_matters) << "the cases don't tell the operand order apart";
}

// Sampled (Decode [0 255] gives the samples themselves, packed big-endian
// without padding; up to four inputs interpolate, five take the nearest grid
// point, halves up), exponential and stitching functions (a bound belongs to
// the interval it opens).
TEST(FuncEvaluate, Kinds) {
    auto exp2 = [](const char* n) {
        return std::string("<</FunctionType 2 /Domain [-2 2] /C0 [1] /C1 [3] /N ") + n + ">>";
    };
    auto sampled = [](const std::string& dict, const std::string& body) {
        return stream_text("/FunctionType 0 " + dict, body);
    };
    auto stitch = [](const std::string& dict) { return "<</FunctionType 3 " + dict + ">>"; };
    const std::string one = "/Domain [0 1] /Range [0 255] /Decode [0 255] /BitsPerSample 8 ";
    const std::string two =
        "/Domain [0 1 0 1] /Size [2 2] /BitsPerSample 8 /Decode [0 255 0 255] /Range [0 255 0 255]";
    const std::string five =
        "/Domain [0 1 0 1 0 1 0 1 0 1] /Range [0 255] /Decode [0 255] "
        "/BitsPerSample 8 /Size [2 2 2 2 2]";
    std::string b32;
    for (int i = 0; i < 32; ++i) b32 += static_cast<char>(i);
    const std::string grid = bytes({0, 255, 100, 155, 200, 55, 40, 215});
    const std::string ramp = bytes({0, 128, 255});
    const std::string d1 = "/Domain [0 1] /Size [2] /BitsPerSample 8 ";
    const std::string d3 = "/Domain [0 3] /Size [4] /Range [0 4294967295.0] /Decode [0 ";
    const std::string consts = exp_part(0, 0) + exp_part(1, 1) + exp_part(2, 2);
    const std::string three = "/Domain [0 1] /Encode [0 1 0 1 0 1] /Functions [" + consts + "] ";
    const std::string to4 = "/Functions [" + exp_part(0, 4) + "] ";
    const std::string max = std::to_string(CPDFFuncSampled::kMaxSampleValues);
    // clang-format off
    const struct { std::string text; std::vector<double> in, out; const char* why; } cases[] = {
        {exp2("2"), {-0.5}, {1.5}, "whole N on a negative x"},
        {exp2("0.5"), {0.25}, {2}, "root"},
        {exp2("0.5"), {-0.25}, {1}, "fractional N on a negative x gives C0"},
        {exp2("-1"), {0}, {1}, "infinite power gives C0"},
        {exp2("0"), {0}, {3}, "0^0 is 1"},
        {exp2("3"), {5}, {17}, "x clipped to Domain"},
        {exp2("1 /Range [1.5 2]"), {2}, {2}, "Range clips"},
        {sampled(d3 + "1] /BitsPerSample 1", bytes({0xb0})), {1}, {0}, "1 bit"},
        {sampled(d3 + "1] /BitsPerSample 1", bytes({0xb0})), {2}, {1}, "1 bit, the next"},
        {sampled(d3 + "4095] /BitsPerSample 12", bytes({0xab, 0xc1, 0x23, 0xff, 0xf0, 0x01})),
         {1}, {0x123}, "12 bits straddle bytes"},
        {sampled(d3 + "4294967295.0] /BitsPerSample 32",
                 bytes({0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0x12, 0x34, 0x56, 0x78, 0, 0, 0, 0})),
         {2}, {0x12345678}, "32 bits"},
        {sampled(one + "/Size [3]", ramp), {0.75}, {191.5}, "between the last two"},
        {sampled(one + "/Size [3]", ramp), {7}, {255}, "input clipped to Domain"},
        {sampled(one + "/Size [3] /Encode [2 0]", ramp), {0}, {255}, "Encode reversed"},
        {sampled(one + "/Size [2] /Encode [-1 3]", bytes({10, 20})), {0.125}, {10}, "Encode clipped"},
        {sampled(one + "/Size [4]", bytes({9, 9})), {1}, {0}, "a short body reads 0"},
        {sampled(d1 + "/Range [0 2]", bytes({0, 255})), {1}, {2}, "Decode defaults to Range"},
        {sampled(d1 + "/Range [0 1] /Decode [0 2]", bytes({0, 255})), {1}, {1}, "clipped to Range"},
        {sampled(two, grid), {0.5, 0.5}, {85, 170}, "bilinear, two outputs"},
        {sampled(two, grid), {0.25, 1}, {160, 95}, "first input fastest, along an edge"},
        {sampled(five, b32), {0.4, 0, 0, 0, 0}, {0}, "five inputs: nearest"},
        {sampled(five, b32), {0.5, 0, 0, 0, 1}, {17}, "five inputs: halves up"},
        {sampled("/Domain [0 1] /Range [0 1] /BitsPerSample 32 /Size [" + max + "]", ""), {0.5},
         {0}, "as many samples as the cap, checked before reading"},
        {stitch(three + "/Bounds [0.5 0.75]"), {0.5}, {1}, "a bound opens its interval"},
        {stitch(three + "/Bounds [0.5 0.75]"), {0.499}, {0}, "just below a bound"},
        {stitch(three + "/Bounds [0.5 0.5]"), {0.5}, {2}, "an empty interval is never chosen"},
        {stitch(three + "/Bounds [0 1]"), {1}, {2}, "Domain's end goes to the last part"},
        {stitch("/Domain [0 1] /Encode [1 0] " + to4), {0.25}, {3}, "Encode reversed"},
        {stitch("/Domain [0.5 0.5] /Encode [0.25 1] " + to4), {0.9}, {1},
         "a Domain of zero width maps to the first Encode value"},
        {stitch("/Domain [0 1] /Encode [0 1] /Range [0 2] " + to4), {1}, {2}, "Range clips"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        FuncDoc doc;
        FuncPtr f = doc.parse(c.text);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(eval_raw(*f, c.in), raws(c.out));
    }
}

// A chain of stitching functions each holding the next: eight levels parse,
// nine don't; a function holding itself ends at the same limit. Eight levels
// of eight references each would be 8^8 parts: the node budget ends that parse.
TEST(FuncStitching, DepthAndFanOutLimits) {
    for (int levels : {8, 9}) {
        SCOPED_TRACE(levels);
        FuncDoc doc;
        doc.obj(levels, exp_part(0, 1));
        for (int i = levels - 1; i >= 1; --i)
            doc.obj(i, "<</FunctionType 3 /Domain [0 1] /Encode [0 1] /Functions [" +
                           std::to_string(i + 1) + " 0 R]>>");
        EXPECT_EQ(doc.parse("1 0 R") != nullptr, levels == 8);
    }
    FuncDoc doc;
    doc.obj(1, "<</FunctionType 3 /Domain [0 1] /Encode [0 1] /Functions [1 0 R]>>");
    EXPECT_EQ(doc.parse("1 0 R"), nullptr);
    doc.obj(9, exp_part(0, 1));
    for (int i = 1; i <= 8; ++i) {
        std::string refs;
        for (int k = 0; k < 8; ++k) refs += std::to_string(i + 1) + " 0 R ";
        doc.obj(i,
                "<</FunctionType 3 /Domain [0 1] /Bounds [0.1 0.2 0.3 0.4 0.5 0.6 0.7] "
                "/Encode [0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1] /Functions [" +
                    refs + "]>>");
    }
    EXPECT_EQ(doc.parse("1 0 R"), nullptr);
    EXPECT_NE(doc.parse("7 0 R"), nullptr) << "73 parts are within the budget";
}

// Every allocation of a stitching function with sampled and calculator parts
// fails in turn: each attempt gives null or a function that evaluates as the
// whole one, and nothing leaks.
TEST(FuncParse, AllocationFailures) {
    FuncDoc doc;
    doc.obj(1, stream_text("/FunctionType 0 /Domain [0 1] /Range [0 1 0 1] /BitsPerSample 8 "
                           "/Size [3]",
                           bytes({0, 255, 128, 128, 255, 0})));
    doc.obj(2, stream_text("/FunctionType 4 /Domain [0 1] /Range [0 1 0 1]",
                           "{ dup 0.5 gt { 1 exch sub } if dup }"));
    doc.obj(3,
            "<</FunctionType 3 /Domain [0 1] /Bounds [0.5] /Encode [0 1 0 1] "
            "/Range [0 1 0 1] /Functions [1 0 R 2 0 R]>>");
    const FuncPtr whole = doc.parse("3 0 R");
    ASSERT_NE(whole, nullptr);
    int failed = 0;
    bool same = false;
    for (int n = 0; n <= 300 && !same; ++n) {
        SCOPED_TRACE(n);
        FuncPtr f;
        {
            test::AllocFailGuard fail(n);
            f = doc.parse("3 0 R");
        }
        failed += f == nullptr;
        same = f != nullptr;
        if (f) {
            for (double x : {0.0, 0.25, 0.75}) EXPECT_EQ(eval_raw(*f, {x}), eval_raw(*whole, {x}));
        }
    }
    EXPECT_GT(failed, 3) << "the loop should have met failures";
    EXPECT_TRUE(same) << "300 allocations should be enough for the whole function";
}

}  // namespace
}  // namespace shadepaint
