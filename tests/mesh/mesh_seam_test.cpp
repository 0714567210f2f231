// Seams of real meshes: a free-form fan and a lattice that tile a polygon
// leave no pixel of it unpainted and paint nothing outside it, under a
// rotated matrix, at positions that fall anywhere within the 1/128 grid.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "mesh/mesh_test_util.h"
#include "mesh/scan_test_util.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"

namespace shadepaint {
namespace {

using testing::BitWriter;
using testing::Canvas;
using testing::Doc;
using testing::kOne;
using testing::load_mesh;
using testing::ShadingPtr;

constexpr int32_t kSize = 160;
// Pixel centres this close (in 1/128 pixel, horizontally) to the outline may
// go either way: rounding each corner moves a straight boundary run of
// several vertices up to 1.4 units off its line at these slopes, the split
// division at row boundaries places a crossing up to 2 units left, and the
// crossing is rounded up.
constexpr int64_t kMargin = 5;

// 30 degrees, scaled by 1.6, and moved into the bitmap.
_KXMATRIX rotated() {
    const auto fix = [](double v) { return KXFIX::from_raw(static_cast<int64_t>(v * kOne)); };
    const double c = 1.6 * std::cos(0.5235987755982988), s = 1.6 * std::sin(0.5235987755982988);
    return _KXMATRIX{fix(c), fix(s), fix(-s), fix(c), fix(50.37), fix(3.71)};
}

scantest::Corner device(const _KXMATRIX& m, const PDF_MESH_VERTEX& v) {
    _KXPOINTF p = v.m_pt;
    m.transform_point(p);
    return scantest::at(scan_from_kx_round(p.x), scan_from_kx_round(p.y));
}

// Paints s and compares every pixel with the exact inside test of outline.
void expect_tiles(const CPDFShading& s, const _KXMATRIX& m,
                  const std::vector<scantest::Corner>& outline) {
    Canvas<CKXBmpGray> dst(kSize, kSize, 2 * kSize, 0);
    Canvas<CKXBmp8> mask(kSize, kSize, kSize, 255);
    ASSERT_EQ(s.render_to_bmpg(m, {0, 0}, mask.bmp, dst.bmp), 1);
    int inside = 0;
    for (int32_t y = 0; y < kSize; ++y) {
        for (int32_t x = 0; x < kSize; ++x) {
            const scantest::Side side = scantest::classify(outline, 0, 0, x, y, kMargin);
            const bool painted = dst.px(x, y, 2)[1] != 0;
            if (side == scantest::Side::kIn) {
                ++inside;
                ASSERT_TRUE(painted) << "hole at " << x << "," << y;
            } else if (side == scantest::Side::kOut) {
                ASSERT_FALSE(painted) << "spill at " << x << "," << y;
            }
        }
    }
    EXPECT_GT(inside, 2000);
}

TEST(MeshSeams, WarpedLatticeCoversItsRectangle) {
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2);
    const int kRows = 7, kCols = 9;
    // The rectangle 0..54000 x 0..36000 in raw 16-bit units; boundary
    // vertices keep their edge's coordinate exactly and slide along it.
    const double step_x = 54000.0 / (kCols - 1), step_y = 36000.0 / (kRows - 1);
    BitWriter w;
    for (int i = 0; i < kRows; ++i) {
        for (int j = 0; j < kCols; ++j) {
            double x = j * step_x, y = i * step_y;
            if (i != 0 && i != kRows - 1 && j != 0 && j != kCols - 1) {
                x += jitter(rng) * step_x;
                y += jitter(rng) * step_y;
            } else if (i == 0 || i == kRows - 1) {
                if (j != 0 && j != kCols - 1) x += jitter(rng) * step_x;
            } else {
                y += jitter(rng) * step_y;
            }
            w.put(static_cast<uint32_t>(x), 16).put(static_cast<uint32_t>(y), 16);
            w.put(rng() & 255, 8).put(rng() & 255, 8).put(rng() & 255, 8);
        }
    }
    Doc doc;
    ShadingPtr h;
    auto* s = load_mesh<CPDFShadingLatticeForm>(
        doc, h,
        "/ShadingType 5 /ColorSpace /DeviceRGB /BitsPerCoordinate 16 /BitsPerComponent 8 "
        "/VerticesPerRow " +
            std::to_string(kCols) + " /Decode [0 100 0 100 0 1 0 1 0 1]",
        w.str());
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->m_triangle_count, 2 * (kRows - 1) * (kCols - 1));
    const _KXMATRIX m = rotated();
    // Corners: cell (0, 0)'s a and b, the last cell's d, the last strip's
    // first c.
    const PDF_MESH_TRIANGLE* t = s->m_triangles;
    const int last = s->m_triangle_count - 1;
    const int last_strip = 2 * (kRows - 2) * (kCols - 1);
    const std::vector<scantest::Corner> outline = {
        device(m, t[0].m_v[0]), device(m, t[2 * (kCols - 2)].m_v[1]), device(m, t[last].m_v[2]),
        device(m, t[last_strip].m_v[2])};
    expect_tiles(*s, m, outline);
}

}  // namespace
}  // namespace shadepaint
