// Functions parsed from PDF object text, and their evaluation on doubles.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "shading/function.h"

namespace shadepaint::testing {

using FuncPtr = std::unique_ptr<CPDFFunction>;

// A stream object with the given dictionary entries around body.
inline std::string stream_text(const std::string& dict, const std::string& body) {
    return "<<" + dict + " /Length " + std::to_string(body.size()) + ">>stream\n" + body +
           "\nendstream";
}

// Texts are taken whole, zero bytes included.
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

// Inputs are exact for the binary fractions the tests use; outputs come back
// raw, and *ran gets the result of evaluate.
inline std::vector<int64_t> eval_raw(const CPDFFunction& f, const std::vector<double>& in,
                                     int32_t* ran = nullptr) {
    std::vector<KXFIX> x(CPDFFunction::kMaxInputs, KXFIX::from_raw(0));
    for (size_t i = 0; i < in.size() && i < x.size(); ++i)
        x[i] = KXFIX::from_raw(static_cast<int64_t>(in[i] * kKxOne));
    std::vector<KXFIX> out(CPDFFunction::kMaxOutputs, KXFIX::from_raw(-1));
    const int32_t r = f.evaluate(x.data(), out.data());
    if (ran) *ran = r;
    std::vector<int64_t> raw;
    for (int32_t j = 0; j < f.m_outputs; ++j) raw.push_back(out[j].m_raw);
    return raw;
}

// v * 2^26 truncated toward zero, as computed outputs reach fixed point.
inline std::vector<int64_t> raws(const std::vector<double>& v) {
    std::vector<int64_t> r;
    for (double d : v) r.push_back(static_cast<int64_t>(std::trunc(d * kKxOne)));
    return r;
}

}  // namespace shadepaint::testing
