// The triangle meshes: free-form records and flags and lattice rows into the
// triangle store, cut streams, and the render rules (stream order, opaque
// corners, rounding to 1/128 pixel, the mask last, and the gray form masking
// the mask).
#include "mesh/shading_free_form.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "mesh/mesh_test_util.h"
#include "mesh/shading_lattice_form.h"

namespace shadepaint::meshtest {
namespace {

// A vertex in whole units (each Decode range makes one raw step one unit).
struct V {
    int64_t x, y;
    int r, g, b;
};
// Vertices by letter: A to F as written; 0 never written; X read wholly past
// the end (raw 0xFFFFFFFF under a scale of 1.0 wraps to -1.0, colour bytes
// 255); Y is C cut inside its y: y lost, red took y's high byte.
V vtx(char k) {
    static const V kV[] = {{1, 2, 10, 20, 30},       {300, 4, 40, 50, 60},
                           {5, 600, 70, 80, 90},     {7, 8, 100, 110, 120},
                           {900, 10, 130, 140, 150}, {11, 1200, 160, 170, 180}};
    return k == '0'   ? V{0, 0, 0, 0, 0}
           : k == 'X' ? V{-1, -1, 255, 255, 255}
           : k == 'Y' ? V{5, -1, 600 >> 8, 255, 255}
                      : kV[k - 'A'];
}

void expect_vertex(const PDF_MESH_VERTEX& v, const V& want) {
    EXPECT_EQ(v.m_pt.x.m_raw, want.x * kKxOne);
    EXPECT_EQ(v.m_pt.y.m_raw, want.y * kKxOne);
    EXPECT_EQ(word(v.m_rgba) << 8, word(rgba(want.r, want.g, want.b)) << 8);
}
void expect_triangle(const PDF_MESH_TRIANGLE& t, const V& a, const V& b, const V& c) {
    expect_vertex(t.m_v[0], a);
    expect_vertex(t.m_v[1], b);
    expect_vertex(t.m_v[2], c);
}

// Flag, coordinate and component widths.
std::string free_form_keys(int flag, int coord, int comp) {
    const std::string top = std::to_string((int64_t{1} << coord) - 1);
    return "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerFlag " + std::to_string(flag) +
           " /BitsPerCoordinate " + std::to_string(coord) + " /BitsPerComponent " +
           std::to_string(comp) + " /Decode [0 " + top + " 0 " + top + " 0 1 0 1 0 1]";
}

// Records as tokens: the flag in two hex digits, then a vertex letter or "-"
// for a flag alone. Each vertex is padded to a byte boundary. The store as
// tokens of three vertex letters, or "-" for an unwritten (zero) slot.
TEST(FreeFormLoad, RecordsFlagsAndCuts) {
    // Flags in front of a flag-0 record's second and third vertices are
    // written as 3, to show that they are passed over unseen.
    const std::string abc = "00A 03B 03C ";
    struct Case {
        int flag, coord;
        std::string ops;
        size_t bytes;  // the body's length; cut to it when shorter
        const char* store;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {8, 16, abc, 24, "ABC", "flag 0 with 8-bit flags: 8 bytes a vertex"},
        {2, 16, abc, 24, "ABC", "2-bit flags: 58 bits a vertex, padded to 8 bytes"},
        {8, 16, abc + "01D 02E 01F", 48, "ABC BCD BDE DEF", "flags 0, 1, 2, 1: strip, fan, strip"},
        {8, 16, "04A 03B 03C 05D 06E FF-", 41, "ABC BCD BDE -", "only the two low bits count"},
        {8, 16, "03- " + abc, 25, "- ABC", "flag 3 then a good record: an unwritten slot first"},
        {4, 16, "03- " + abc, 24, "- ABC", "flag 3 is not padded: the next flag mid-byte"},
        {8, 16, "01- " + abc, 25, "- ABC", "a first flag 1 has nothing to copy: taken as 3"},
        {8, 16, "02- " + abc, 25, "- ABC", "a first flag 2 likewise"},
        {8, 16, "03- 01D", 9, "- 00D", "flag 1 behind an unwritten slot copies its zeros"},
        {8, 16, abc + "02D 02D 02D 02D 02D 02D 02D 02D", 88, "ABC ACD ADD ADD ADD ADD ADD ADD ADD",
         "nine records: the store grows to sixteen slots"},
        {0, 16, "00A 00D 00E 00F 00A 00A", 42, "ADE FAA", "no flag bits: all flag 0"},
        {8, 16, abc, 8, "AXX", "cut after the first vertex: two far corners"},
        {8, 16, abc, 16, "ABX", "cut after the second vertex: one far corner"},
        {8, 16, abc, 20, "ABY", "cut inside y of the last vertex: a narrower field fits"},
        {8, 16, abc, 1, "XXX", "only the flag"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Bits w;
        std::istringstream ops(c.ops);
        for (std::string op; ops >> op;) {
            w.put(std::stoul(op.substr(0, 2), nullptr, 16), c.flag);
            if (op[2] == '-') continue;
            const V v = vtx(op[2]);
            w.put(static_cast<uint64_t>(v.x), c.coord).put(static_cast<uint64_t>(v.y), c.coord);
            w.put(v.r, 8).put(v.g, 8).put(v.b, 8).align();
        }
        ASSERT_GE(w.bytes.size(), c.bytes);
        MeshDoc doc;
        auto* s = doc.load<CPDFShadingFreeForm>(free_form_keys(c.flag, c.coord, 8),
                                                w.bytes.substr(0, c.bytes));
        ASSERT_NE(s, nullptr);
        std::istringstream want(c.store);
        int32_t i = 0;
        for (std::string t; want >> t; ++i) {
            SCOPED_TRACE(::testing::Message() << "triangle " << i);
            ASSERT_LT(i, s->m_triangle_count);
            if (t == "-") t = "000";
            expect_triangle(s->m_triangles[i], vtx(t[0]), vtx(t[1]), vtx(t[2]));
        }
        EXPECT_EQ(s->m_triangle_count, i);
        EXPECT_EQ(s->m_triangle_cap, (i + 7) / 8 * 8) << "grows by eight slots";
    }
}

// Lattice vertex (i, j), its colours telling i and j in steps that the
// narrowest components still hold.
V grid_v(int i, int j) { return V{10 * j + 1, 10 * i + 2, 16 * i, 16 * j, 0xF0}; }

// Vertices bit upon bit with no padding, rows read to their end; each cell
// (i, j) gives the triangles (i j, i j+1, i+1 j) and (i j+1, i+1 j, i+1 j+1).
TEST(LatticeLoad, LayoutsCellsAndCutRows) {
    struct Case {
        int coord, comp, per_row, rows;
        size_t bytes, cut;  // whole body; cut to
        int triangles;
        V last;  // the last triangle's last vertex, when cut
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {16, 8, 2, 2, 28, 28, 2, {}, "2 x 2: 56-bit vertices"},
        {16, 8, 3, 3, 63, 63, 8, {}, "3 x 3: strip by strip, cell by cell"},
        {12, 4, 3, 2, 27, 27, 4, {}, "36-bit vertices: the second starts 4 bits into byte 5"},
        {16, 8, 4, 1, 28, 28, 0, {}, "one row: no cells"},
        {16, 8, 3, 3, 63, 42, 4, {21, 12, 16, 32, 0xF0}, "ending exactly at a row end: no further row"},
        {16, 8, 3, 3, 63, 43, 8, {-1, -1, 255, 255, 255}, "one byte into a row: it counts in full"},
        {16, 8, 3, 3, 63, 60, 8, {21, 22, 255, 255, 255}, "cut inside the last vertex"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Bits w;
        for (int k = 0; k < c.rows * c.per_row; ++k) {
            const V v = grid_v(k / c.per_row, k % c.per_row);
            w.put(static_cast<uint64_t>(v.x), c.coord).put(static_cast<uint64_t>(v.y), c.coord);
            for (int ch : {v.r, v.g, v.b}) w.put(ch >> (8 - c.comp), c.comp);
        }
        EXPECT_EQ(w.bytes.size(), c.bytes);
        const std::string top = std::to_string((1 << c.coord) - 1);
        MeshDoc doc;
        auto* s = doc.load<CPDFShadingLatticeForm>(
            "/ShadingType 5 /ColorSpace /DeviceRGB /BitsPerCoordinate " + std::to_string(c.coord) +
                " /BitsPerComponent " + std::to_string(c.comp) + " /VerticesPerRow " +
                std::to_string(c.per_row) + " /Decode [0 " + top + " 0 " + top + " 0 1 0 1 0 1]",
            w.bytes.substr(0, c.cut));
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_triangle_count, c.triangles);
        if (c.cut < c.bytes) expect_vertex(s->m_triangles[c.triangles - 1].m_v[2], c.last);
        for (int k = 0; c.cut == c.bytes && k < c.triangles; k += 2) {
            SCOPED_TRACE(::testing::Message() << "triangle " << k);
            const int i = k / 2 / (c.per_row - 1), j = k / 2 % (c.per_row - 1);
            expect_triangle(s->m_triangles[k], grid_v(i, j), grid_v(i, j + 1), grid_v(i + 1, j));
            expect_triangle(s->m_triangles[k + 1], grid_v(i, j + 1), grid_v(i + 1, j),
                            grid_v(i + 1, j + 1));
        }
    }
}

// A red square of two triangles, 8 units a side, then the same square in
// blue, wound the other way.
const std::string kSquareKeys = free_form_keys(8, 8, 8);
const std::string kSquare = [] {
    Bits w;
    for (int k : {0, 1, 2, 3, 2, 1, 6, 5, 4, 5, 6, 7}) {
        const bool blue = k > 3;
        w.put(0, 8).put(k & 1 ? 8 : 0, 8).put(k & 2 ? 8 : 0, 8);
        w.put(blue ? 0 : 255, 8).put(0, 8).put(blue ? 255 : 0, 8);
    }
    return w.bytes;
}();

// Every vertex is rounded to the nearest 1/128 pixel before it meets the
// converter. Scaled to 0.8 pixel the square lies inside pixel (0, 0), which
// is painted when its centre, 64/128 into it, lies at or right of the left
// edge: an edge at 64.5/128 rounds to 65 and misses it (truncation would give
// 64), a hair less rounds to 64.
TEST(FreeFormRender, RoundsToTheNearest128thPixel) {
    MeshDoc doc;
    auto* s = doc.load<CPDFShadingFreeForm>(kSquareKeys, kSquare);
    ASSERT_NE(s, nullptr);
    for (const int64_t less : {0, 1}) {
        _KXMATRIX m = scale(0.1, 0.1);
        m.e = KXFIX::from_raw(64 * (kKxOne / 128) + kKxOne / 256 - less);
        CanvasGray dst(4, 4);
        Mask mask(4, 4);
        ASSERT_EQ(s->render_to_bmpg(m, {0, 0}, mask.bmp, dst.bmp), 1);
        EXPECT_EQ(dst.px(0, 0)[1] >= 254, less == 1);
    }
}

// Stream order is painting order: the blue triangles cover the red ones
// wholly. Corners are opaque whatever alpha was stored. The colour form masks
// the picture at the end (coverage 255 takes one off; uncovered pixels keep
// their colour but lose alpha; coverage 0 takes what was painted away); the
// gray form masks the mask instead.
TEST(FreeFormRender, StreamOrderOpaqueCornersAndTheMask) {
    MeshDoc doc;
    auto* s = doc.load<CPDFShadingFreeForm>(kSquareKeys, kSquare);
    ASSERT_NE(s, nullptr);
    for (int i = 0; i < s->m_triangle_count; ++i)
        for (auto& v : s->m_triangles[i].m_v) v.m_rgba.a = 7;
    Canvas32 dst(12, 12, 0x11);
    Mask mask(12, 12);
    for (int x = 0; x < 12; ++x) *mask.px(x, 2) = 0;
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp), 1);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 12; ++x) {
            const _KXRGBA c = dst.colour(x, y);
            const bool in = x < 8 && y < 8;
            EXPECT_EQ(c.r, in ? 0 : 0x11) << x << "," << y;
            EXPECT_TRUE(in ? c.b >= 254 : c.b == 0x11) << x << "," << y;
            EXPECT_TRUE(y == 2 ? c.a == 0
                        : in   ? c.a == 253 || c.a == 254
                               : c.a == 16)
                << x << "," << y;
        }
    }
    CanvasGray gray(12, 12);
    Mask gmask(12, 12, 200);
    ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, gmask.bmp, gray.bmp), 1);
    EXPECT_EQ(gray.px(3, 3)[0], (255 * 117) >> 10) << "blue's gray";
    EXPECT_GE(gray.px(3, 3)[1], 254) << "no mask applied to the picture";
    EXPECT_EQ(*gmask.px(11, 11), (200 * 200) >> 8);
}

}  // namespace
}  // namespace shadepaint::meshtest
