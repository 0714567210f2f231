// Which pixels the converters paint: triangles that tile a region paint each
// of its pixels once; painted conservatively, polygons leave no pixel of the
// region unpainted even where their shared outlines differ by a fraction of a
// pixel, and paint no pixel they share no area with; all this however far
// outside the bitmap the corners lie.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "mesh/path_crender.h"
#include "mesh/path_crender2.h"
#include "mesh/scan_test_util.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;
using scantest::at;
using scantest::Corner;
using scantest::Side;

const _KXRGBA kInk{1, 1, 1, 255};

// Paints each polygon alone and counts, per pixel, how many painted it.
class Counter {
public:
    Counter(int32_t w, int32_t h, int32_t ox, int32_t oy, bool conservative = false)
        : m_bmp(w, h), m_ox(ox), m_oy(oy), m_counts(static_cast<size_t>(w) * h, 0) {
        m_path.m_conservative = conservative;
    }

    void add(const std::vector<Corner>& poly) {
        scantest::paint(m_path, poly, m_ox, m_oy, m_bmp);
        for (int32_t y = 0; y < m_bmp.m_height; ++y) {
            for (int32_t x = 0; x < m_bmp.m_width; ++x) {
                uint8_t* px = scantest::pixel(m_bmp, 4, x, y);
                if (px[3] != 0) ++m_counts[static_cast<size_t>(y) * m_bmp.m_width + x];
                px[3] = 0;
            }
        }
    }
    int count(int32_t x, int32_t y) const {
        return m_counts[static_cast<size_t>(y) * m_bmp.m_width + x];
    }
    int32_t width() const { return m_bmp.m_width; }
    int32_t height() const { return m_bmp.m_height; }
    int32_t ox() const { return m_ox; }
    int32_t oy() const { return m_oy; }
    bool conservative() const { return m_path.m_conservative; }

private:
    CKXBmp32 m_bmp;
    CKXPathCRender m_path;
    int32_t m_ox, m_oy;
    std::vector<int> m_counts;
};

// Painted by centres, every pixel whose centre is clearly inside `outline`
// was painted exactly once, every pixel clearly outside never, and none twice
// anywhere. Painted conservatively, every pixel clearly inside was painted,
// every pixel clearly apart from the outline never. Returns the number of bad
// pixels, reporting the first few.
int check_cover(const Counter& c, const std::vector<Corner>& outline, int64_t margin) {
    int bad = 0;
    const bool wide = c.conservative();
    for (int32_t y = 0; y < c.height(); ++y) {
        for (int32_t x = 0; x < c.width(); ++x) {
            const Side side = scantest::classify(outline, c.ox(), c.oy(), x, y, margin, wide);
            const int n = c.count(x, y);
            const bool ok = side == Side::kOut  ? n == 0
                            : side == Side::kIn ? (wide ? n >= 1 : n == 1)
                                                : (wide || n <= 1);
            if (!ok && ++bad <= 5) ADD_FAILURE() << "pixel " << x << "," << y << " painted " << n;
        }
    }
    return bad;
}

int64_t pick(std::mt19937& rng, int64_t n) { return static_cast<int64_t>(rng() % n); }

// A triangle with its corners in a random order and orientation.
std::vector<Corner> shuffled(std::mt19937& rng, Corner a, Corner b, Corner c) {
    std::vector<Corner> t = {a, b, c};
    if (rng() & 1) std::swap(t[1], t[2]);
    std::rotate(t.begin(), t.begin() + rng() % 3, t.end());
    return t;
}

// Cut positions from lo to hi at least `gap` apart, ends included.
std::vector<int64_t> cuts(std::mt19937& rng, int64_t lo, int64_t hi, int64_t gap) {
    std::vector<int64_t> v = {lo};
    while (hi - v.back() >= 2 * gap) {
        const int64_t room = hi - gap - (v.back() + gap);
        v.push_back(v.back() + gap + static_cast<int64_t>(rng() % static_cast<uint32_t>(room + 1)));
        if (rng() % 3 == 0) break;
    }
    v.push_back(hi);
    return v;
}

// A rectangle cut into a grid of quadrilaterals, inner corners moved a little,
// each quadrilateral split along a random diagonal.
void grid_mesh(std::mt19937& rng, Counter& counter, int64_t x0, int64_t y0, int64_t x1,
               int64_t y1) {
    const int64_t gap = 300, jitter = 50;
    const std::vector<int64_t> xs = cuts(rng, x0, x1, gap), ys = cuts(rng, y0, y1, gap);
    std::vector<std::vector<Corner>> v(xs.size(), std::vector<Corner>(ys.size()));
    for (size_t i = 0; i < xs.size(); ++i) {
        for (size_t j = 0; j < ys.size(); ++j) {
            const bool inner = i > 0 && j > 0 && i + 1 < xs.size() && j + 1 < ys.size();
            const int64_t dx = inner ? static_cast<int64_t>(rng() % (2 * jitter + 1)) - jitter : 0;
            const int64_t dy = inner ? static_cast<int64_t>(rng() % (2 * jitter + 1)) - jitter : 0;
            v[i][j] = at(xs[i] + dx, ys[j] + dy, kInk);
        }
    }
    for (size_t i = 0; i + 1 < xs.size(); ++i) {
        for (size_t j = 0; j + 1 < ys.size(); ++j) {
            const Corner &a = v[i][j], &b = v[i + 1][j], &c = v[i + 1][j + 1], &d = v[i][j + 1];
            if (rng() & 1) {
                counter.add(shuffled(rng, a, b, c));
                counter.add(shuffled(rng, a, c, d));
            } else {
                counter.add(shuffled(rng, a, b, d));
                counter.add(shuffled(rng, b, c, d));
            }
        }
    }
}

TEST(PathCRenderSeam, GridTriangulations) {
    const uint32_t seed = 20240611;
    std::printf("seed %u\n", seed);
    std::mt19937 rng(seed);
    for (int trial = 0; trial < 150; ++trial) {
        SCOPED_TRACE(trial);
        const int32_t ox = static_cast<int32_t>(rng() % 11) - 5;
        const int32_t oy = static_cast<int32_t>(rng() % 11) - 5;
        // Every third mesh runs far out at the left and right, where nothing
        // is cut. Painted by centres, meshes stay inside the bitmap's rows;
        // painted conservatively, they cross the top or bottom, where shared
        // edges are cut from either end and can disagree by a unit.
        const bool conservative = trial % 2 == 1;
        Counter counter(40, 32, ox, oy, conservative);
        const bool wide = trial % 3 == 0;
        const int64_t left = ox * 128 + (wide ? -3000 - pick(rng, 100000) : pick(rng, 1200) - 600);
        const int64_t top = oy * 128 + pick(rng, 600) - (conservative ? 2000 : 0);
        const int64_t right =
            wide ? (ox + 40) * 128 + pick(rng, 100000) : left + 600 + pick(rng, 4000);
        const int64_t bottom = top + 600 + pick(rng, trial % 4 == 1 ? 6000 : 2800);
        grid_mesh(rng, counter, left, top, right, bottom);
        const std::vector<Corner> outline = {at(left, top), at(right, top), at(right, bottom),
                                             at(left, bottom)};
        ASSERT_EQ(check_cover(counter, outline, 4), 0);
    }
}

// Two strips of quadrilaterals meet along a bent seam that each strip cuts
// into its own number of chords, as neighbouring patches do: where the seam
// bends away from the coarser strip a sliver between the two chains of chords
// belongs to neither, and the pixels it crosses must still be painted.
// Painting by centres alone leaves pinholes here; conservative painting
// must not.
TEST(PathCRenderSeam, SeamsCutIntoDifferentChordsLeaveNoHole) {
    std::mt19937 rng(77);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const bool across = trial % 2 == 1;  // seam across the rows, not down them
        const int64_t lo = 200 + pick(rng, 300), hi = lo + 2500 + pick(rng, 1000);
        const int64_t a0 = 150 + pick(rng, 200), a1 = a0 + 1500 + pick(rng, 1500);
        const int64_t mid = (a0 + a1) / 2;
        // Up to 0.9 pixel off the straight line, so that no whole pixel fits
        // in the sliver.
        const double bulge = static_cast<double>(pick(rng, 231)) - 115;
        const int n1 = 1 + static_cast<int>(pick(rng, 4)),
                  n2 = n1 + 1 + static_cast<int>(pick(rng, 6));
        // Along the seam t runs from lo to hi, across it from a0 to a1.
        const auto corner = [&](int64_t along, int64_t away) {
            return across ? at(along, away, kInk) : at(away, along, kInk);
        };
        const auto seam = [&](int k, int n) {
            const int64_t t = lo + (hi - lo) * k / n;
            const double f = std::sin(3.14159265358979 * static_cast<double>(t - lo) /
                                      static_cast<double>(hi - lo));
            return corner(t, mid + std::llround(bulge * f));
        };
        const auto along = [&](const Corner& c) { return across ? c.x : c.y; };
        Counter counter(40, 32, 0, 0, true);
        for (int k = 0; k < n1; ++k) {
            const Corner s0 = seam(k, n1), s1 = seam(k + 1, n1);
            counter.add({corner(along(s0), a0), s0, s1, corner(along(s1), a0)});
        }
        for (int k = 0; k < n2; ++k) {
            const Corner s0 = seam(k, n2), s1 = seam(k + 1, n2);
            counter.add({s0, corner(along(s0), a1), corner(along(s1), a1), s1});
        }
        const std::vector<Corner> outline = {corner(lo, a0), corner(hi, a0), corner(hi, a1),
                                             corner(lo, a1)};
        ASSERT_EQ(check_cover(counter, outline, 4), 0);
    }
}

TEST(PathCRenderSeam, ManyCrossingsInARowGrowTheRowStore) {
    // A comb of 200 teeth puts 400 crossings into each row it spans, more
    // than one step of the row store.
    std::vector<Corner> comb;
    const int teeth = 200;
    for (int k = 0; k < teeth; ++k) {
        comb.push_back(at(k * 200 + 30, 100, kInk));
        comb.push_back(at(k * 200 + 130, 100, kInk));
        comb.push_back(at(k * 200 + 130, 1200, kInk));
        comb.push_back(at(k * 200 + 170, 1200, kInk));
    }
    comb.push_back(at(teeth * 200, 1400, kInk));
    comb.push_back(at(0, 1400, kInk));
    Counter counter(teeth * 200 / 128 + 2, 12, 0, 0);
    counter.add(comb);
    EXPECT_EQ(check_cover(counter, comb, 4), 0);
}

}  // namespace
