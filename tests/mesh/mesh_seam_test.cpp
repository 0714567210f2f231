// Which pixels are painted where polygons meet. Painted by centres, polygons
// that tile a region paint exactly the pixels that the region's outline
// paints, each once; painted conservatively, they leave none of those pixels
// unpainted even where their shared outlines differ by a fraction of a pixel,
// and paint none that the outline doesn't touch. Real meshes, a lattice and
// two Coons patches, tile their regions.

#include <cmath>
#include <random>

#include "mesh/mesh_test_util.h"

namespace shadepaint::meshtest {
namespace {

int64_t pick(std::mt19937& rng, int64_t n) { return static_cast<int64_t>(rng() % n); }

// Whether x lies within 4/128 of the left edge, centre or right edge of
// column i. The split division lets the walker place a side up to 2 units
// left of its line, differently for differently cut edges, and the
// conservative painter skips columns entered by no more than 2 units: such
// pixels may go either way.
bool near(int64_t i, int64_t x) {
    return x >= i * 128 - 4 && x <= i * 128 + 132 && (x + 4) % 64 <= 8;
}

// Paints polygons one by one on 40 by 32 pixels and counts, per pixel, how
// many painted it.
struct Counter {
    int32_t ox, oy;
    bool conservative;
    Canvas32 canvas{40, 32};
    CKXPathCRender path{};
    std::vector<int> counts = std::vector<int>(40 * 32);
    void add(const std::vector<Corner>& poly) {
        path.m_conservative = conservative;
        outline(path, poly, ox, oy, 32);
        path.render_smooth(&canvas.bmp);
        for (int32_t k = 0; k < 40 * 32; ++k)
            counts[k] += std::exchange(canvas.px(k % 40, k / 40)[3], 0) != 0;
    }
};

// Pixel counts against the rectangle's own painting: exactly, the same
// pixels, each once; loosely, every pixel it paints by centres and none it
// doesn't touch. The rectangle is held to the bitmap's rows, so that its
// sides are not cut and its centres are all it paints.
int bad_pixels(const Counter& c, bool loose, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
    Counter centres{c.ox, c.oy, false}, wide{c.ox, c.oy, true};
    y0 = std::max<int64_t>(y0, c.oy * 128);
    y1 = std::min<int64_t>(y1, (c.oy + 32) * 128 - 1);
    centres.add({at(x0, y0), at(x1, y0), at(x1, y1), at(x0, y1)});
    wide.add({at(x0, y0), at(x1, y0), at(x1, y1), at(x0, y1)});
    int bad = 0;
    for (int32_t k = 0; k < 40 * 32; ++k) {
        const int n = c.counts[k];
        const bool side = near(c.ox + k % 40, x0) || near(c.ox + k % 40, x1);
        const bool ok = loose ? side || (n >= centres.counts[k] && (n == 0 || wide.counts[k]))
                              : n == centres.counts[k] || (side && n <= 1);
        if (!ok && ++bad <= 5) ADD_FAILURE() << "pixel " << k % 40 << "," << k / 40 << ": " << n;
    }
    return bad;
}

// Cut positions from lo to hi at least `gap` apart, ends included.
std::vector<int64_t> cuts(std::mt19937& rng, int64_t lo, int64_t hi, int64_t gap) {
    std::vector<int64_t> v = {lo};
    for (bool more = true; more && hi - v.back() >= 2 * gap; more = rng() % 3 != 0)
        v.push_back(v.back() + gap + pick(rng, hi - v.back() - 2 * gap + 1));
    v.push_back(hi);
    return v;
}

// Rectangles cut into grids of quadrilaterals with inner corners moved a
// little, each split along a random diagonal into triangles given in random
// order and orientation. Every third mesh runs far out left and right, where
// nothing is cut. A mesh within the bitmap's rows, painted by centres, paints
// its rectangle exactly; every other mesh crosses the top or bottom, where
// shared edges are cut from either end and can disagree by a unit, and must
// still leave no hole, whether painted by centres or conservatively.
TEST(PathCRenderSeam, GridTriangulations) {
    std::mt19937 rng(20240611);
    for (int trial = 0; trial < 150; ++trial) {
        const auto ox = static_cast<int32_t>(pick(rng, 11) - 5),
                   oy = static_cast<int32_t>(pick(rng, 11) - 5);
        const bool crossing = trial % 2 == 1, wide = trial % 3 == 0;
        Counter counter{ox, oy, trial % 4 == 3};
        const int64_t x0 = ox * 128 + (wide ? -3000 - pick(rng, 100000) : pick(rng, 1200) - 600);
        const int64_t y0 = oy * 128 + pick(rng, 600) - (crossing ? 2000 : 0);
        const int64_t x1 = wide ? (ox + 40) * 128 + pick(rng, 100000) : x0 + 600 + pick(rng, 4000);
        const int64_t y1 = y0 + 600 + pick(rng, trial % 4 == 1 ? 6000 : 2800);
        const std::vector<int64_t> xs = cuts(rng, x0, x1, 300), ys = cuts(rng, y0, y1, 300);
        const size_t n = ys.size();
        std::vector<Corner> v;  // corner (i, j) at i * n + j
        for (size_t k = 0; k < xs.size() * n; ++k) {
            const bool inner = k / n > 0 && k % n > 0 && k / n + 1 < xs.size() && k % n + 1 < n;
            v.push_back(at(xs[k / n] + (inner ? pick(rng, 101) - 50 : 0),
                           ys[k % n] + (inner ? pick(rng, 101) - 50 : 0)));
        }
        for (size_t k = 0; k < v.size(); ++k) {
            if (k / n + 1 == xs.size() || k % n + 1 == n) continue;
            const Corner &a = v[k], &b = v[k + n], &c = v[k + n + 1], &d = v[k + 1];
            const bool diag = rng() & 1;
            for (std::vector<Corner> t : {diag ? std::vector{a, b, c} : std::vector{a, b, d},
                                          diag ? std::vector{a, c, d} : std::vector{b, c, d}}) {
                if (rng() & 1) std::swap(t[1], t[2]);
                std::rotate(t.begin(), t.begin() + rng() % 3, t.end());
                counter.add(t);
            }
        }
        ASSERT_EQ(bad_pixels(counter, crossing, x0, y0, x1, y1), 0) << "trial " << trial;
    }
}

// Two strips of quadrilaterals meet along a seam bent by up to 0.9 pixel,
// which each strip cuts into its own number of chords, as neighbouring
// patches do: where the seam bends away from the coarser strip a sliver
// between the two chains of chords belongs to neither, and the pixels it
// crosses must still be painted. Painting by centres alone leaves pinholes
// here; conservative painting must not.
TEST(PathCRenderSeam, SeamsCutIntoDifferentChordsLeaveNoHole) {
    std::mt19937 rng(77);
    for (int trial = 0; trial < 60; ++trial) {
        const bool across = trial % 2 == 1;  // the seam runs across the rows
        const int64_t lo = 200 + pick(rng, 300), hi = lo + 2500 + pick(rng, 1000);
        const int64_t a0 = 150 + pick(rng, 200), a1 = a0 + 1500 + pick(rng, 1500);
        const double bulge = static_cast<double>(pick(rng, 231)) - 115;
        const int n1 = 1 + static_cast<int>(pick(rng, 4));
        const int n2 = n1 + 1 + static_cast<int>(pick(rng, 6));
        // t runs along the seam from lo to hi, s across it from a0 to a1.
        const auto corner = [&](int64_t t, int64_t s) { return across ? at(t, s) : at(s, t); };
        const auto seam = [&](int64_t t) {
            const double f = std::sin(3.14159265358979 * static_cast<double>(t - lo) /
                                      static_cast<double>(hi - lo));
            return (a0 + a1) / 2 + std::llround(bulge * f);
        };
        Counter counter{0, 0, true};
        for (int k = 0; k < n1 + n2; ++k) {
            const int n = k < n1 ? n1 : n2, i = k < n1 ? k : k - n1;
            const int64_t t0 = lo + (hi - lo) * i / n, t1 = lo + (hi - lo) * (i + 1) / n;
            const int64_t side = k < n1 ? a0 : a1;
            counter.add(
                {corner(t0, side), corner(t0, seam(t0)), corner(t1, seam(t1)), corner(t1, side)});
        }
        const Corner c0 = corner(lo, a0), c1 = corner(hi, a1);
        ASSERT_EQ(bad_pixels(counter, true, c0.x, c0.y, c1.x, c1.y), 0) << "trial " << trial;
    }
}

// A lattice with its inner vertices moved at random and its boundary ones
// sliding along the sides of its rectangle, flipped and scaled to positions
// anywhere within the 1/128 grid, paints exactly the pixels of its rectangle.
TEST(MeshSeams, WarpedLatticeCoversItsRectangle) {
    const uint32_t seed = std::random_device{}();
    std::mt19937 rng(seed);
    const auto jitter = [&](bool edge) {
        return edge ? 0 : (static_cast<double>(rng() % 4001) - 2000) / 10000;
    };
    Bits w;
    for (int k = 0; k < 63; ++k) {  // 7 rows of 9, over 54000 by 36000 raw units
        w.put(static_cast<uint32_t>((k % 9 + jitter(k % 9 == 0 || k % 9 == 8)) * 6750), 16);
        w.put(static_cast<uint32_t>((k / 9 + jitter(k / 9 == 0 || k / 9 == 6)) * 6000), 16);
        w.put(rng() & 0xFFFFFF, 24);
    }
    MeshDoc doc;
    auto* s = doc.load<CPDFShadingLatticeForm>(
        "/ShadingType 5 /ColorSpace /DeviceRGB /BitsPerCoordinate 16 /BitsPerComponent 8 "
        "/VerticesPerRow 9 /Decode [0 100 0 100 0 1 0 1 0 1]",
        w.bytes);
    const _KXMATRIX m = scale(0.437, -0.513, 3.71 + static_cast<double>(rng() % 1000) / 1e5, 31.29);
    _KXPOINTF p0 = s->m_triangles[0].m_v[0].m_pt, p1 = s->m_triangles[95].m_v[2].m_pt;
    m.transform_point(p0);
    m.transform_point(p1);
    Counter painted{0, 0, false};
    Mask mask(40, 32);
    ASSERT_EQ(s->render_to_bmp(m, {0, 0}, mask.bmp, painted.canvas.bmp), 1);
    for (int32_t k = 0; k < 40 * 32; ++k)
        painted.counts[k] = painted.canvas.px(k % 40, k / 40)[3] != 0;
    EXPECT_EQ(bad_pixels(painted, false, scan_from_kx_round(p0.x), scan_from_kx_round(p0.y),
                         scan_from_kx_round(p1.x), scan_from_kx_round(p1.y)),
              0)
        << "seed " << seed;
}

// Two Coons patches share a side bent into the second, which cuts it into
// more steps (its far side is longer): the chords of the first patch run
// inside those of the second, and the sliver between them must not show.
TEST(CoonsRender, SharedSideCutDifferentlyLeavesNoHole) {
    auto a = coons_box(4, 4, 30, 60, {}), b = coons_box(30, 4, 60, 60, {});  // painted opaque
    a.m_pts[7].x = a.m_pts[8].x = b.m_pts[1].x = b.m_pts[2].x = fx(36);
    b.m_pts[7].x = b.m_pts[8].x = fx(100);
    ASSERT_NE(a.get_vt(_KXMATRIX::identity()), b.get_vt(_KXMATRIX::identity()));
    CPDFShadingCoons s(nullptr);
    set_groups(s, std::vector{a, b});
    Mask mask(64, 64);
    Canvas32 dst(64, 64);
    ASSERT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp), 1);
    for (int32_t k = 0; k < 56 * 56; ++k)
        ASSERT_NE(dst.colour(4 + k % 56, 4 + k / 56).a, 0) << k % 56 + 4 << "," << k / 56 + 4;
}

}  // namespace
}  // namespace shadepaint::meshtest
