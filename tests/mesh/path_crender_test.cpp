// The scan converters: the pieces an edge is cut into, and the safe outcomes
// of hostile corners and failed allocations.
#include "mesh/path_crender.h"

#include <array>
#include <tuple>

#include "mesh/mesh_test_util.h"
#include "mesh/path_scan_p.h"

namespace shadepaint::meshtest {
namespace {

// A piece handed to hline: row, x0, y0, x1, y1, and the value (or the colour
// word) at each end.
using Piece = std::array<int64_t, 7>;
int64_t val(int32_t v) { return v; }
int64_t val(_KXRGBA c) { return word(c); }

// A row record that logs what the walker hands it.
template <class V>
struct Record {
    std::vector<Piece>* log;
    int64_t row;
    void hline(int x0, int y0, int x1, int y1, V v0, V v1) {
        log->push_back({row, x0, y0, x1, y1, val(v0), val(v1)});
    }
};

template <class Value, class V>
std::vector<Piece> walk(int32_t rows, int32_t x0, int32_t y0, V v0, int32_t x1, int32_t y1, V v1) {
    std::vector<Piece> log;
    std::vector<Record<V>> recs;
    for (int32_t i = 0; i < rows; ++i) recs.push_back({&log, i});
    int32_t first = INT32_MAX, last = -1;
    detail::scan_edge<Value>(recs.data(), rows, first, last, x0, y0, v0, x1, y1, v1);
    return log;
}

TEST(PathCRenderWalk, PiecesOfTheWorkedEdges) {
    struct Case {
        int32_t rows, x0, y0, v0, x1, y1, v1;
        std::vector<Piece> want;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {10, 0, 50, 0, 500, 50, 9, {}, "horizontal edge stores nothing"},
        {10, 0, 64, 0, 0, 192, 0, {{0, 0, 64, 0, 128, 0, 0}, {1, 0, 128, 0, 192, 0, 0}},
         "one row boundary crossed going down"},
        {10, 0, 100, 0, 0, 128, 0, {{0, 0, 100, 0, 128, 0, 0}, {1, 0, 128, 0, 128, 0, 0}},
         "ending on a boundary gives an empty last piece"},
        {10, 0, 128, 0, 0, 100, 0, {{1, 0, 128, 0, 128, 0, 0}, {0, 0, 128, 0, 100, 0, 0}},
         "starting on a boundary going up gives an empty first piece"},
        {10, 5, -300, 0, 900, -1, 0, {}, "wholly above the bitmap"},
        {10, 0, -128, 0, 200, 128, 100, {{0, 100, 0, 200, 128, 50, 100},
         {1, 200, 128, 200, 128, 100, 100}}, "start cut at line 0, x and value halfway"},
        {10, 10, 0, 7, 60, -50, 99, {{0, 10, 0, 10, 0, 7, 7}}, "end cut at line 0 from line 0"},
        {2, 0, 300, 0, 0, 400, 0, {}, "wholly below the last line"},
        {2, 0, 255, 0, 0, 400, 0, {}, "from the last line downward: nothing left"},
        {2, 0, 300, 0, 100, 200, 100, {{1, 45, 255, 100, 200, 45, 100}}, "cut at the last line"},
        {10, 0, 0, 0, 0, 256, 255, {{0, 0, 0, 0, 128, 0, 127}, {1, 0, 128, 0, 256, 127, 255},
         {2, 0, 256, 0, 256, 255, 255}}, "at 128 of 0..255 over 256 lines the value is 127"},
        {10, 0, 0, 10, 0, 384, 20, {{0, 0, 0, 0, 128, 10, 12}, {1, 0, 128, 0, 256, 12, 16},
         {2, 0, 256, 0, 384, 16, 20}, {3, 0, 384, 0, 384, 20, 20}},
         "two truncating divisions, not one: 12 where 13.33 is exact"},
        {10, 0, 300, 0, 300, 40, 0, {{2, 0, 300, 50, 256, 0, 0}, {1, 50, 256, 198, 128, 0, 0},
         {0, 198, 128, 300, 40, 0, 0}}, "going up across rows"},
    };
    // clang-format on
    for (const Case& c : cases)
        EXPECT_EQ(walk<detail::scan_index>(c.rows, c.x0, c.y0, c.v0, c.x1, c.y1, c.v1), c.want)
            << c.why;
    // The record keeps a piece from ya to yb (ya < yb, whatever its direction)
    // as crossing its row's centre line yc when ya <= yc < yb, x rounded up.
    // clang-format off
    const int crossings[][9] = {  // x0, y0, x1, y1, v0, v1; crossing x, direction (0 none), v
        {0, 0, 101, 128, 0, 9, 51, 1, 4}, {101, 128, 0, 0, 9, 0, 51, -1, 4},  // whole rows
        {30, 0, 50, 64, 3, 5, 0, 0, 0}, {30, 64, 50, 128, 3, 5, 30, 1, 3},    // down to, from yc
        {30, 64, 50, 0, 3, 5, 0, 0, 0}, {50, 128, 30, 64, 5, 3, 30, -1, 3},   // up from, to yc
    };
    // clang-format on
    for (const auto& c : crossings) {
        KXPATH_CSCAN2 s{nullptr, 0, 0, 256, 0};
        s.hline(c[0], c[1], c[2], c[3], c[4], c[5]);
        const auto& it = s.m_items[0];
        EXPECT_EQ(std::tuple(s.m_count, it.m_dir ? it.m_x : 0, it.m_dir, it.m_dir ? it.m_value : 0),
                  std::tuple(1u, c[6], c[7], c[8]));
        KXFree(s.m_items);
    }
    // Each channel is cut and interpolated on its own, alpha like the rest: at
    // y 128 of 0..384, b (255*128)/384 = 85, g (255*256)/384 = 170, r 6 + 6,
    // alpha 85 + 170. Cut at line 0, each channel at its own middle.
    EXPECT_EQ(walk<detail::scan_rgba>(10, 0, 0, rgba(10, 255, 0), 0, 384, rgba(20, 0, 255))[0][6],
              word(rgba(12, 170, 85)));
    EXPECT_EQ(
        walk<detail::scan_rgba>(10, 0, -128, rgba(100, 200, 0), 0, 128, rgba(101, 0, 100))[0][5],
        word(rgba(100, 100, 50)));
}

// The index converter keeps to the bitmap and the ramp with corners anywhere
// in 32 bits and indices far beyond the table, by centres or conservatively
// (the colour converter meets the same through the meshes). A converter whose
// first table allocation failed takes edges and paints nothing, and its next
// begin tries again; a height whose last line passes 32 bits is refused like
// a failed allocation.
TEST(PathCRender, SafeOutcomes) {
    const int64_t lo = INT32_MIN, hi = INT32_MAX;
    const std::vector<std::vector<Corner>> shapes = {
        {at(-300, 200, 70000), at(5000, 700, -70000), at(900, 3000, 70000)},
        {at(lo, lo, lo), at(hi, lo, hi), at(hi, hi), at(lo, hi)},
        {at(hi, hi), at(hi - 1, lo), at(lo, hi - 5)},
    };
    const _KXRGBA ramp[256] = {};
    for (size_t i = 0; i < 2 * shapes.size(); ++i) {
        Canvas32 dst(17, 9);
        CKXPathCRender2 p;
        p.m_conservative = i % 2 == 1;
        outline(p, shapes[i / 2], 0, 0, 9);
        p.render_smooth(&dst.bmp, ramp);
        EXPECT_TRUE(dst.guards_intact()) << i;
    }
    const std::vector<Corner> box = {at(0, 0), at(2048, 0), at(2048, 1024), at(0, 1024)};
    Canvas32 dst(16, 8);
    CKXPathCRender p;
    {
        test::AllocFailGuard fail(0);
        outline(p, box, 0, 0, 8);
        p.render_smooth(&dst.bmp);
    }
    EXPECT_EQ(dst.bytes, Canvas32(16, 8).bytes);
    outline(p, box, 0, 0, 8);
    p.render_smooth(&dst.bmp);
    EXPECT_NE(dst.colour(5, 5).a, 0) << "the next begin tries again";
    p.begin(0, 0, 0);
    p.begin(0, 0, INT32_MAX);
    EXPECT_EQ(p.m_rows, 0);
    p.line_to(1000, 1000000, {});
}

}  // namespace
}  // namespace shadepaint::meshtest
