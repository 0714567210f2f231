// Shared by the mesh tests: a bit writer for stream bodies, mesh streams as
// document objects, and readable access to the triangle stores.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mesh/shading_free_form.h"
#include "numeric/kxfix.h"
#include "shading/shading_test_util.h"

namespace shadepaint::testing {

// Fields most significant bit first, packed without regard to bytes.
class BitWriter {
public:
    BitWriter& put(uint64_t value, int32_t width) {
        for (int32_t k = width - 1; k >= 0; --k) put_bit((value >> k) & 1);
        return *this;
    }
    // Zero bits up to the next byte boundary.
    BitWriter& pad() {
        while (m_bits % 8 != 0) put_bit(0);
        return *this;
    }
    BitWriter& bytes(const std::vector<uint8_t>& b) {
        for (uint8_t v : b) put(v, 8);
        return *this;
    }
    std::string str() const { return std::string(m_data.begin(), m_data.end()); }
    size_t size() const { return m_data.size(); }
    // The first n bytes, for streams cut short.
    std::string first(size_t n) const { return str().substr(0, n); }

private:
    void put_bit(uint64_t bit) {
        if (m_bits % 8 == 0) m_data.push_back(0);
        if (bit) m_data.back() = static_cast<char>(m_data.back() | (0x80 >> (m_bits % 8)));
        ++m_bits;
    }
    std::vector<char> m_data;
    size_t m_bits = 0;
};

// A stream object: the dictionary entries, then the body as it stands.
inline std::string stream_text(const std::string& entries, const std::string& body) {
    return "<< " + entries + " /Length " + std::to_string(body.size()) + " >>\nstream\n" + body +
           "\nendstream";
}

// The shading in object 1 of the document, made and loaded through a
// reference, so that the body lives as long as the document.
template <class T>
T* load_mesh(Doc& doc, ShadingPtr& holder, const std::string& entries, const std::string& body) {
    doc.add(1, stream_text(entries, body));
    return doc.load<T>(holder, "1 0 R");
}

// Vertex positions as whole numbers (the tests' Decode ranges make one raw
// step one unit) and colours.
struct V {
    int64_t x, y;
    uint8_t r, g, b;
};

inline void expect_vertex(const PDF_MESH_VERTEX& v, const V& want) {
    EXPECT_EQ(v.m_pt.x.m_raw, want.x * kOne);
    EXPECT_EQ(v.m_pt.y.m_raw, want.y * kOne);
    EXPECT_EQ(v.m_rgba.r, want.r);
    EXPECT_EQ(v.m_rgba.g, want.g);
    EXPECT_EQ(v.m_rgba.b, want.b);
}

inline void expect_triangle(const PDF_MESH_TRIANGLE& t, const V& a, const V& b, const V& c) {
    const V* want[3] = {&a, &b, &c};
    for (int k = 0; k < 3; ++k) {
        SCOPED_TRACE(::testing::Message() << "vertex " << k);
        expect_vertex(t.m_v[k], *want[k]);
    }
}

// An all-zero slot: never written.
inline bool is_blank(const PDF_MESH_TRIANGLE& t) {
    const auto* p = reinterpret_cast<const unsigned char*>(&t);
    for (size_t i = 0; i < sizeof t; ++i)
        if (p[i] != 0) return false;
    return true;
}

}  // namespace shadepaint::testing
