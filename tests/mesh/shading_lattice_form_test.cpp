// The lattice mesh: vertices bit upon bit with no padding, rows read to their
// end, and the two triangles of each cell in store order.
#include "mesh/shading_lattice_form.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mesh/mesh_test_util.h"
#include "shading/bitmap.h"

namespace shadepaint {
namespace {

using testing::BitWriter;
using testing::Canvas;
using testing::Doc;
using testing::expect_triangle;
using testing::kOne;
using testing::load_mesh;
using testing::ShadingPtr;
using testing::V;

struct Fmt {
    int32_t coord, comp, per_row;
    std::string entries() const {
        const int64_t top = (int64_t{1} << coord) - 1;
        const int64_t ctop = (int64_t{1} << comp) - 1;
        return "/ShadingType 5 /ColorSpace /DeviceRGB /BitsPerCoordinate " + std::to_string(coord) +
               " /BitsPerComponent " + std::to_string(comp) + " /VerticesPerRow " +
               std::to_string(per_row) + " /Decode [0 " + std::to_string(top) + " 0 " +
               std::to_string(top) + " 0 " + std::to_string(ctop) + " 0 1 0 1]";
    }
};

// Colour fields hold the byte value scaled down to the width (the reader
// scales it back up by truncation).
void vertex(BitWriter& w, const Fmt& f, const V& v) {
    w.put(static_cast<uint64_t>(v.x), f.coord).put(static_cast<uint64_t>(v.y), f.coord);
    w.put(v.r >> (8 - f.comp), f.comp).put(v.g >> (8 - f.comp), f.comp);
    w.put(v.b >> (8 - f.comp), f.comp);
}

// Grid vertex (i, j): position (10 j + 1, 10 i + 2), colours telling i and j.
V grid_v(int i, int j) {
    return V{10 * j + 1, 10 * i + 2, static_cast<uint8_t>(16 * i), static_cast<uint8_t>(16 * j),
             0xF0};
}

std::string grid_body(const Fmt& f, int rows) {
    BitWriter w;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < f.per_row; ++j) vertex(w, f, grid_v(i, j));
    return w.str();
}

void expect_cells(const CPDFShadingLatticeForm& s, int rows, int per_row) {
    ASSERT_EQ(s.m_triangle_count, 2 * (rows - 1) * (per_row - 1));
    int k = 0;
    for (int i = 0; i + 1 < rows; ++i) {
        for (int j = 0; j + 1 < per_row; ++j, k += 2) {
            SCOPED_TRACE(::testing::Message() << "cell " << i << "," << j);
            expect_triangle(s.m_triangles[k], grid_v(i, j), grid_v(i, j + 1), grid_v(i + 1, j));
            expect_triangle(s.m_triangles[k + 1], grid_v(i, j + 1), grid_v(i + 1, j),
                            grid_v(i + 1, j + 1));
        }
    }
}

TEST(LatticeLoad, GridsAndLayouts) {
    struct Case {
        Fmt fmt;
        int rows;
        size_t bytes;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{16, 8, 2}, 2, 28, "2 x 2: two triangles split from b to c; 56-bit vertices"},
        {{16, 8, 3}, 3, 63, "3 x 3: eight triangles, strip by strip, cell by cell"},
        {{12, 4, 3}, 2, 27, "36-bit vertices: the second starts 4 bits into byte 5"},
        {{8, 4, 5}, 4, 70, "28-bit vertices, rows of 140 bits, nowhere padded"},
        {{16, 8, 4}, 1, 28, "one row: no cells"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const std::string body = grid_body(c.fmt, c.rows);
        EXPECT_EQ(body.size(), c.bytes);
        Doc doc;
        ShadingPtr h;
        auto* s = load_mesh<CPDFShadingLatticeForm>(doc, h, c.fmt.entries(), body);
        ASSERT_NE(s, nullptr);
        expect_cells(*s, c.rows, c.fmt.per_row);
    }
}

// The end of the data is looked at only between rows: a row that has begun
// is finished with all-ones fields, and its vertices join the mesh.
TEST(LatticeLoad, CutRowsCountInFull) {
    const Fmt f{16, 8, 3};
    const std::string whole = grid_body(f, 3);  // 21 bytes a row
    // Raw 0xFFFFFFFF under a scale of 1.0 lands at -1.0, as for free-form.
    const V far{-1, -1, 255, 255, 255};
    struct Case {
        size_t bytes;
        int rows;
        V v20, v21, v22;  // the third row
        const char* why;
    };
    const Case cases[] = {
        {42, 2, {}, {}, {}, "ending exactly at a row end: no further row"},
        {43,
         3,
         {-1, -1, 0, 255, 255},
         far,
         far,
         "one byte into the third row: it counts in full, red took x's high byte"},
        {60, 3, grid_v(2, 0), grid_v(2, 1), {21, 22, 255, 255, 255}, "cut inside the last vertex"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Doc doc;
        ShadingPtr h;
        auto* s = load_mesh<CPDFShadingLatticeForm>(doc, h, f.entries(), whole.substr(0, c.bytes));
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(s->m_triangle_count, 4 * (c.rows - 1));
        if (c.rows == 3) {
            // The last strip reaches down to the cut row: cells (1, 0), (1, 1).
            expect_triangle(s->m_triangles[4], grid_v(1, 0), grid_v(1, 1), c.v20);
            expect_triangle(s->m_triangles[7], grid_v(1, 2), c.v21, c.v22);
        }
    }
}

// Rendering is the free-form mesh's; here only that the lattice reaches it,
// with the gray entry point's asymmetry.
TEST(LatticeRender, PaintsAndMasks) {
    const Fmt f{16, 8, 3};
    Doc doc;
    ShadingPtr h;
    auto* s = load_mesh<CPDFShadingLatticeForm>(doc, h, f.entries(), grid_body(f, 3));
    ASSERT_NE(s, nullptr);
    Canvas<CKXBmp32> dst(24, 24, 96, 0);
    Canvas<CKXBmpGray> gdst(24, 24, 48, 0);
    Canvas<CKXBmp8> mask(24, 24, 24, 128);
    EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp), 1);
    EXPECT_EQ(dst.px(10, 12, 4)[0], 0xF0);
    EXPECT_TRUE(dst.px(10, 12, 4)[3] == (128 * 255) >> 8 ||
                dst.px(10, 12, 4)[3] == (128 * 254) >> 8);
    EXPECT_EQ(dst.px(0, 0, 4)[3], 0);
    EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, gdst.bmp), 1);
    EXPECT_GE(gdst.px(10, 12, 2)[1], 254);
    EXPECT_EQ(*mask.px(5, 5, 1), (128 * 128) >> 8);
}

}  // namespace
}  // namespace shadepaint
