// The scan converters: the pieces an edge is cut into, allocation failures,
// and the bitmap's bounds.
#include "mesh/path_crender.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

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
        {10, 0, -128, 0, 200, 128, 100, {{0, 100, 0, 200, 128, 50, 100}, {1, 200, 128, 200, 128, 100, 100}},
         "start cut at line 0, x and value halfway"},
        {10, 10, 0, 7, 60, -50, 99, {{0, 10, 0, 10, 0, 7, 7}}, "end cut at line 0 from line 0"},
        {2, 0, 300, 0, 0, 400, 0, {}, "wholly below the last line"},
        {2, 0, 255, 0, 0, 400, 0, {}, "from the last line downward: nothing left"},
        {2, 0, 300, 0, 100, 200, 100, {{1, 45, 255, 100, 200, 45, 100}}, "start cut at the last line"},
        {10, 0, 0, 0, 0, 256, 255, {{0, 0, 0, 0, 128, 0, 127}, {1, 0, 128, 0, 256, 127, 255},
         {2, 0, 256, 0, 256, 255, 255}}, "at 128 of 0..255 over 256 lines the value is 127"},
        {10, 0, 0, 10, 0, 384, 20, {{0, 0, 0, 0, 128, 10, 12}, {1, 0, 128, 0, 256, 12, 16},
         {2, 0, 256, 0, 384, 16, 20}, {3, 0, 384, 0, 384, 20, 20}},
         "two truncating divisions, not one: 12 where 13.33 is exact"},
        {10, -7, 130, 3, 9000, 250, 4, {{1, -7, 130, 9000, 250, 3, 4}}, "inside one row: as they stand"},
        {10, 0, 300, 0, 300, 40, 0, {{2, 0, 300, 50, 256, 0, 0}, {1, 50, 256, 198, 128, 0, 0},
         {0, 198, 128, 300, 40, 0, 0}}, "going up across rows"},
        {2, 0, -256, 0, 512, 512, 255, {{0, 170, 0, 254, 128, 85, 126}, {1, 254, 128, 340, 255, 126, 169}},
         "cut at both ends"},
    };
    // clang-format on
    for (const Case& c : cases)
        EXPECT_EQ(walk<detail::scan_index>(c.rows, c.x0, c.y0, c.v0, c.x1, c.y1, c.v1), c.want)
            << c.why;
    // Each channel is cut and interpolated on its own, alpha like the rest: at
    // y 128 of 0..384, b (255*128)/384 = 85, g (255*256)/384 = 170, r 6 + 6,
    // alpha 85 + 170. Cut at line 0, each channel at its own middle.
    EXPECT_EQ(walk<detail::scan_rgba>(10, 0, 0, rgba(10, 255, 0), 0, 384, rgba(20, 0, 255))[0][6],
              word(rgba(12, 170, 85)));
    EXPECT_EQ(
        walk<detail::scan_rgba>(10, 0, -128, rgba(100, 200, 0), 0, 128, rgba(101, 0, 100))[0][5],
        word(rgba(100, 100, 50)));
}

// The table's first allocation failing leaves a converter that takes edges
// and paints nothing, and the next begin tries again; a row whose store can't
// grow is flagged and left out alone; a height whose last line passes 32 bits
// is refused like a failed allocation.
TEST(PathCRender, AllocationFailures) {
    KXPATH_CSCAN row{nullptr, 0, 0, 256, 0};
    for (int i = 0; i < 512; ++i) row.hline(i, 0, i, 128, _KXRGBA{}, _KXRGBA{});
    EXPECT_EQ(row.m_capacity, 512u) << "grown by its step";
    {
        test::AllocFailGuard fail(0);
        row.hline(1, 0, 1, 128, _KXRGBA{}, _KXRGBA{});
    }
    EXPECT_EQ(row.m_count, 512u);
    EXPECT_EQ(row.m_aux, detail::kScanRowLost);
    KXFree(row.m_items);

    const std::vector<Corner> box = {at(0, 0), at(2048, 0), at(2048, 1024), at(0, 1024)};
    Canvas32 dst(16, 8);
    CanvasGray gray(16, 8);
    const std::vector<uint8_t> blank = dst.bytes, gblank = gray.bytes;
    CKXPathCRender p;
    CKXPathCRender2 p2;
    const _KXRGBA ramp[256] = {};
    const unsigned char gramp[256] = {};
    {
        test::AllocFailGuard fail(0);
        outline(p, box, 0, 0, 8);
        p.render_smooth(&dst.bmp);
        p.render_smoothg(&gray.bmp);
        outline(p2, box, 0, 0, 8);
        p2.render_smooth(&dst.bmp, ramp);
        p2.render_smoothg(&gray.bmp, gramp);
        EXPECT_EQ(p.m_rows, 0);
    }
    EXPECT_TRUE(dst.bytes == blank && gray.bytes == gblank);
    {
        test::AllocFailGuard fail(4);  // the table, then the stores of rows 0 to 2
        outline(p, box, 0, 0, 8);
        p.render_smooth(&dst.bmp);
    }
    for (int32_t y = 0; y < 8; ++y) EXPECT_EQ(dst.colour(5, y).a != 0, y < 3) << y;
    outline(p, box, 0, 0, 8);  // memory back: the flag went with the reset
    p.render_smooth(&dst.bmp);
    for (int32_t y = 0; y < 8; ++y) EXPECT_NE(dst.colour(5, y).a, 0) << y;
    p.begin(0, 0, 0);
    p.begin(0, 0, INT32_MAX);
    EXPECT_EQ(p.m_rows, 0);
    p.line_to(1000, 1000000, {});
}

// Corners anywhere in 32 bits, ramp indices far beyond the table, and more
// rows handed to begin than the bitmap has: every form, by centres or
// conservatively, keeps to the bitmap.
TEST(PathCRenderPaint, NothingIsWrittenOutsideTheBitmap) {
    const int64_t lo = INT32_MIN, hi = INT32_MAX, big = 1 << 20;
    const std::vector<std::vector<Corner>> shapes = {
        {at(-big, -big), at(big, -big), at(big, big), at(-big, big)},
        {at(lo, lo), at(hi, lo), at(hi, hi), at(lo, hi)},
        {at(lo, 0), at(hi, 64), at(0, hi)},
        {at(-300, 200), at(5000, 700), at(900, 3000)},
        {at(2000, -7000), at(9000, 9000), at(-9000, 9000)},
        {at(hi, hi), at(hi - 1, lo), at(lo, hi - 5)},
    };
    _KXRGBA ramp[256] = {};
    unsigned char gramp[256] = {};
    for (size_t i = 0; i < 2 * shapes.size(); ++i) {
        std::vector<Corner> shape = shapes[i / 2];
        for (size_t k = 0; k < shape.size(); ++k) shape[k].v = k % 2 ? -70000 : 70000;
        Canvas32 dst(17, 9), rdst(17, 9);
        CanvasGray gray(17, 9), rgray(17, 9);
        CKXPathCRender p;
        CKXPathCRender2 p2;
        p.m_conservative = p2.m_conservative = i % 2 == 1;
        outline(p, shape, 0, 0, 9 + 5);
        p.render_smooth(&dst.bmp);
        p.render_smoothg(&gray.bmp);
        outline(p2, shape, 0, 0, 9);
        p2.render_smooth(&rdst.bmp, ramp);
        p2.render_smoothg(&rgray.bmp, gramp);
        EXPECT_TRUE(dst.guards_intact() && gray.guards_intact()) << i;
        EXPECT_TRUE(rdst.guards_intact() && rgray.guards_intact()) << i;
    }
}

}  // namespace
}  // namespace shadepaint::meshtest
