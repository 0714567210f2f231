// Shared by the shading tests: shadings made from PDF object text, bitmaps
// over test-owned memory, and small test-only functions.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/function.h"
#include "shading/shading.h"

namespace shadepaint::testing {

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

// A document of indirect objects given as text.
class Doc {
public:
    CPDFXRefTable xref;

    void add(int32_t num, const std::string& text) {
        ASSERT_TRUE(xref.set_object(num, text.data(), text.size())) << text;
    }
    // The factory's result for an object given as text, not loaded.
    ShadingPtr make(const std::string& text) {
        ScopedObj o;
        EXPECT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), o.obj)) << text;
        return ShadingPtr(CPDFShading::parser_shading(&xref, &o.obj));
    }
    // The same, loaded.
    template <class T>
    T* load(ShadingPtr& holder, const std::string& text) {
        holder = make(text);
        T* s = dynamic_cast<T*>(holder.get());
        EXPECT_NE(s, nullptr) << text;
        if (s) s->load();
        return s;
    }
};

// Pixels in a vector, so that tests see the bytes around and between rows.
template <class Bmp>
struct Canvas {
    std::vector<uint8_t> bytes;
    Bmp bmp;
    Canvas(int32_t width, int32_t height, int32_t stride, uint8_t fill)
        : bytes(static_cast<size_t>(stride) * static_cast<size_t>(height > 0 ? height : 0) + 1,
                fill),
          bmp(bytes.data(), width, height, stride) {}
    uint8_t* px(int32_t x, int32_t y, int32_t bytes_per_pixel) {
        return bytes.data() + static_cast<size_t>(y) * static_cast<size_t>(bmp.m_stride) +
               static_cast<size_t>(x) * static_cast<size_t>(bytes_per_pixel);
    }
};

// Writes out[k] = constant k for its n outputs; counts its calls (tests are
// single-threaded where they read the count).
class TestConst : public CPDFFunction {
public:
    TestConst(std::vector<int64_t> values, std::vector<int64_t>* inputs = nullptr)
        : m_values(std::move(values)), m_inputs_seen(inputs) {
        m_inputs = 1;
        m_outputs = static_cast<int32_t>(m_values.size());
    }
    int32_t evaluate(const KXFIX* in, KXFIX* out) const override {
        if (m_inputs_seen) m_inputs_seen->push_back(in[0].m_raw);
        for (size_t k = 0; k < m_values.size(); ++k) out[k] = KXFIX::from_raw(m_values[k]);
        return 1;
    }

private:
    std::vector<int64_t> m_values;
    std::vector<int64_t>* m_inputs_seen;
};

inline constexpr int64_t kOne = kKxOne;

}  // namespace shadepaint::testing
