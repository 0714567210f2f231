#include "mesh/path_crender.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/path_crender2.h"
#include "mesh/path_scan_p.h"
#include "mesh/scan_test_util.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;
using scantest::at;
using scantest::Corner;

// Restores normal allocation however a test ends.
struct AllocGuard {
    ~AllocGuard() { kx_alloc_fail_after(-1); }
};

// ---------------------------------------------------------------------------
// The pieces line_to hands to hline. A recording record stands in for the
// real one, so the walker's exact arguments can be compared.

struct Piece {
    int64_t row, x0, y0, x1, y1;
    std::vector<int32_t> v0, v1;
    bool operator==(const Piece& o) const {
        return row == o.row && x0 == o.x0 && y0 == o.y0 && x1 == o.x1 && y1 == o.y1 && v0 == o.v0 &&
               v1 == o.v1;
    }
};

std::ostream& operator<<(std::ostream& os, const Piece& p) {
    os << "{row " << p.row << ": (" << p.x0 << ", " << p.y0 << ") -> (" << p.x1 << ", " << p.y1
       << ") values";
    for (int32_t v : p.v0) os << " " << v;
    os << " ->";
    for (int32_t v : p.v1) os << " " << v;
    return os << "}";
}

std::vector<int32_t> channels(_KXRGBA c) { return {c.b, c.g, c.r, c.a}; }

struct RecordValue {
    std::vector<Piece>* log;
    int64_t row;
    void hline(int x0, int y0, int x1, int y1, int v0, int v1) {
        log->push_back(Piece{row, x0, y0, x1, y1, {v0}, {v1}});
    }
};

struct RecordColour {
    std::vector<Piece>* log;
    int64_t row;
    void hline(int x0, int y0, int x1, int y1, _KXRGBA c0, _KXRGBA c1) {
        log->push_back(Piece{row, x0, y0, x1, y1, channels(c0), channels(c1)});
    }
};

template <class Record>
std::vector<Record> records(std::vector<Piece>& log, int32_t rows) {
    std::vector<Record> r;
    for (int32_t i = 0; i < rows; ++i) r.push_back(Record{&log, i});
    return r;
}

std::vector<Piece> walk_value(int32_t rows, int32_t x0, int32_t y0, int32_t v0, int32_t x1,
                              int32_t y1, int32_t v1) {
    std::vector<Piece> log;
    auto recs = records<RecordValue>(log, rows);
    int32_t first = INT32_MAX, last = -1;
    detail::scan_edge<detail::scan_index>(recs.data(), rows, first, last, x0, y0, v0, x1, y1, v1);
    return log;
}

std::vector<Piece> walk_colour(int32_t rows, int32_t x0, int32_t y0, _KXRGBA c0, int32_t x1,
                               int32_t y1, _KXRGBA c1) {
    std::vector<Piece> log;
    auto recs = records<RecordColour>(log, rows);
    int32_t first = INT32_MAX, last = -1;
    detail::scan_edge<detail::scan_rgba>(recs.data(), rows, first, last, x0, y0, c0, x1, y1, c1);
    return log;
}

Piece pv(int64_t row, int64_t x0, int64_t y0, int64_t x1, int64_t y1, int32_t v0, int32_t v1) {
    return Piece{row, x0, y0, x1, y1, {v0}, {v1}};
}

TEST(PathCRenderWalk, PiecesOfTheWorkedEdges) {
    struct Case {
        const char* why;
        int32_t rows, x0, y0, v0, x1, y1, v1;
        std::vector<Piece> want;
    };
    // clang-format off
    const Case cases[] = {
        {"horizontal edge stores nothing", 10, 0, 50, 0, 500, 50, 9, {}},
        {"one row boundary crossed going down", 10, 0, 64, 0, 0, 192, 0,
         {pv(0, 0, 64, 0, 128, 0, 0), pv(1, 0, 128, 0, 192, 0, 0)}},
        {"ending on a boundary gives an empty last piece", 10, 0, 100, 0, 0, 128, 0,
         {pv(0, 0, 100, 0, 128, 0, 0), pv(1, 0, 128, 0, 128, 0, 0)}},
        {"starting on a boundary going up gives an empty first piece", 10, 0, 128, 0, 0, 100, 0,
         {pv(1, 0, 128, 0, 128, 0, 0), pv(0, 0, 128, 0, 100, 0, 0)}},
        {"wholly above the bitmap", 10, 5, -300, 0, 900, -1, 0, {}},
        {"start cut at line 0, x and value halfway", 10, 0, -128, 0, 200, 128, 100,
         {pv(0, 100, 0, 200, 128, 50, 100), pv(1, 200, 128, 200, 128, 100, 100)}},
        {"end cut at line 0 from line 0: one empty piece", 10, 10, 0, 7, 60, -50, 99,
         {pv(0, 10, 0, 10, 0, 7, 7)}},
        {"wholly below the last line", 2, 0, 300, 0, 0, 400, 0, {}},
        {"from the last line downward: nothing left", 2, 0, 255, 0, 0, 400, 0, {}},
        {"start cut at the last line", 2, 0, 300, 0, 100, 200, 100,
         {pv(1, 45, 255, 100, 200, 45, 100)}},
        {"value at 128 of 0..255 over 256 lines is 127", 10, 0, 0, 0, 0, 256, 255,
         {pv(0, 0, 0, 0, 128, 0, 127), pv(1, 0, 128, 0, 256, 127, 255),
          pv(2, 0, 256, 0, 256, 255, 255)}},
        {"and of 255..0 too", 10, 0, 0, 255, 0, 256, 0,
         {pv(0, 0, 0, 0, 128, 255, 127), pv(1, 0, 128, 0, 256, 127, 0),
          pv(2, 0, 256, 0, 256, 0, 0)}},
        {"two truncating divisions, not one: 12 where 13.33 is exact", 10, 0, 0, 10, 0, 384, 20,
         {pv(0, 0, 0, 0, 128, 10, 12), pv(1, 0, 128, 0, 256, 12, 16),
          pv(2, 0, 256, 0, 384, 16, 20), pv(3, 0, 384, 0, 384, 20, 20)}},
        {"x by the same split division", 10, 0, 0, 0, 100, 384, 0,
         {pv(0, 0, 0, 33, 128, 0, 0), pv(1, 33, 128, 66, 256, 0, 0),
          pv(2, 66, 256, 100, 384, 0, 0), pv(3, 100, 384, 100, 384, 0, 0)}},
        {"inside one row: the ends as they stand", 10, -7, 130, 3, 9000, 250, 4,
         {pv(1, -7, 130, 9000, 250, 3, 4)}},
        {"going up across rows", 10, 0, 300, 0, 300, 40, 0,
         {pv(2, 0, 300, 50, 256, 0, 0), pv(1, 50, 256, 198, 128, 0, 0),
          pv(0, 198, 128, 300, 40, 0, 0)}},
        {"cut at both ends", 2, 0, -256, 0, 512, 512, 255,
         {pv(0, 170, 0, 254, 128, 85, 126), pv(1, 254, 128, 340, 255, 126, 169)}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(walk_value(c.rows, c.x0, c.y0, c.v0, c.x1, c.y1, c.v1), c.want);
    }
}

TEST(PathCRenderWalk, ColourChannelsAreCutAndSplitEachAlone) {
    const _KXRGBA c0{0, 255, 10, 255}, c1{255, 0, 20, 255};
    // At y 128 of 0..384: b (255*128)/384 = 85, g (255*256)/384 = 170, r 6 + 6,
    // and alpha 85 + 170: an opaque edge stays opaque.
    const auto log = walk_colour(10, 0, 0, c0, 0, 384, c1);
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0].v0, channels(c0));
    EXPECT_EQ(log[0].v1, (std::vector<int32_t>{85, 170, 12, 255}));
    EXPECT_EQ(log[3].v1, channels(c1));

    // Start cut at line 0, halfway: each channel at its own middle.
    const auto cut =
        walk_colour(10, 0, -128, _KXRGBA{0, 200, 100, 255}, 0, 128, _KXRGBA{100, 0, 101, 255});
    ASSERT_EQ(cut.size(), 2u);
    EXPECT_EQ(cut[0].v0, (std::vector<int32_t>{50, 100, 100, 255}));
    EXPECT_EQ(cut[0].y0, 0);
}

// ---------------------------------------------------------------------------
// Crossings recorded by hline.

TEST(PathCRenderHline, CrossingsOnTheCentreLineHalfOpen) {
    struct Case {
        const char* why;
        int x0, y0, x1, y1, v0, v1;
        bool crosses;
        int32_t x, dir, v;
    };
    // Every piece of some height is kept with its ends ordered by x; only one
    // that meets the centre line carries a crossing.
    // clang-format off
    const Case cases[] = {
        {"whole row down: half-way, x rounded up", 0, 0, 101, 128, 0, 9, true, 51, 1, 4},
        {"whole row up: the same point", 101, 128, 0, 0, 9, 0, true, 51, -1, 4},
        {"runs down to the centre line: not counted", 30, 0, 50, 64, 3, 5, false, 0, 0, 0},
        {"runs down from the centre line: counted there", 30, 64, 50, 128, 3, 5, true, 30, 1, 3},
        {"runs up from the centre line: not counted", 30, 64, 50, 0, 3, 5, false, 0, 0, 0},
        {"runs up to the centre line: counted there", 50, 128, 30, 64, 5, 3, true, 30, -1, 3},
        {"part of the next row", 0, 150, 100, 250, 0, 100, true, 42, 1, 42},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        KXPATH_CSCAN2 s{nullptr, 0, 0, 256, 0};
        s.hline(c.x0, c.y0, c.x1, c.y1, c.v0, c.v1);
        ASSERT_EQ(s.m_count, 1u);
        const auto& it = s.m_items[0];
        EXPECT_EQ(it.m_dir, c.dir);
        if (c.crosses) {
            EXPECT_EQ(it.m_x, c.x);
            EXPECT_EQ(it.m_value, c.v);
        }
        const bool rightward = c.x0 <= c.x1;
        EXPECT_EQ(it.m_left_x, rightward ? c.x0 : c.x1);
        EXPECT_EQ(it.m_right_x, rightward ? c.x1 : c.x0);
        EXPECT_EQ(it.m_left_value, rightward ? c.v0 : c.v1);
        KXFree(s.m_items);
    }
    // A piece of no height is a point on a row boundary.
    KXPATH_CSCAN2 s{nullptr, 0, 0, 256, 0};
    s.hline(10, 128, 90, 128, 0, 5);
    EXPECT_EQ(s.m_count, 0u);
}

TEST(PathCRenderHline, RowStoreGrowsByItsStepAndFlagsALostCrossing) {
    AllocGuard guard;
    KXPATH_CSCAN s{nullptr, 0, 0, 256, 0};
    for (int i = 0; i < 300; ++i) s.hline(i, 0, i, 128, _KXRGBA{}, _KXRGBA{});
    EXPECT_EQ(s.m_count, 300u);
    EXPECT_EQ(s.m_capacity, 512u);
    EXPECT_EQ(s.m_aux, 0u);
    EXPECT_EQ(s.m_items[299].m_x, 299);
    for (int i = 300; i < 512; ++i) s.hline(i, 0, i, 128, _KXRGBA{}, _KXRGBA{});
    kx_alloc_fail_after(0);
    s.hline(1, 0, 1, 128, _KXRGBA{}, _KXRGBA{});
    EXPECT_EQ(s.m_count, 512u);
    EXPECT_EQ(s.m_aux, detail::kScanRowLost);
    KXFree(s.m_items);
}

// ---------------------------------------------------------------------------
// begin, reset and allocation.

std::vector<Corner> triangle(int64_t x, int64_t y, int64_t size, _KXRGBA c) {
    return {at(x, y, c), at(x + size, y + size / 3, c), at(x + size / 4, y + size, c)};
}

int64_t painted(CKXBmp32& b) {
    int64_t n = 0;
    for (int32_t y = 0; y < b.m_height; ++y)
        for (int32_t x = 0; x < b.m_width; ++x) n += scantest::pixel(b, 4, x, y)[3] != 0;
    return n;
}

void clear(CKXBmp& b) { std::memset(b.m_data, 0, static_cast<size_t>(b.m_stride) * b.m_height); }

TEST(PathCRenderBegin, FailedFirstAllocationPaintsNothing) {
    AllocGuard guard;
    CKXBmp32 dst(16, 16);
    CKXBmpGray gray(16, 16);
    CKXPathCRender p;
    CKXPathCRender2 p2;
    const _KXRGBA ramp[256] = {};
    const unsigned char gramp[256] = {};
    kx_alloc_fail_after(0);
    for (int round = 0; round < 2; ++round) {
        scantest::paint(p, triangle(-500, -500, 4000, {5, 5, 5, 255}), 0, 0, dst);
        p.render_smoothg(&gray);
        scantest::outline(p2, triangle(-500, -500, 4000, {}), 0, 0, dst.m_height);
        p2.render_smooth(&dst, ramp);
        p2.render_smoothg(&gray, gramp);
        EXPECT_EQ(p.m_scans, nullptr);
        EXPECT_EQ(p.m_rows, 0);
        EXPECT_EQ(p2.m_scans, nullptr);
    }
    EXPECT_EQ(painted(dst), 0);
    // The next begin tries again.
    kx_alloc_fail_after(-1);
    scantest::paint(p, triangle(-500, -500, 4000, {5, 5, 5, 255}), 0, 0, dst);
    EXPECT_GT(painted(dst), 50);
}

TEST(PathCRenderBegin, RowWhoseStoreCannotGrowIsLeftOutAlone) {
    AllocGuard guard;
    CKXPathCRender p;
    CKXBmp32 dst(16, 8);
    // The table, then the stores of rows 0 to 2; row 3 gets none.
    kx_alloc_fail_after(4);
    scantest::paint(p, {at(0, 0), at(16 * 128, 0), at(16 * 128, 8 * 128), at(0, 8 * 128)}, 0, 0,
                    dst);
    for (int32_t y = 0; y < 8; ++y) {
        SCOPED_TRACE(y);
        EXPECT_EQ(scantest::pixel(dst, 4, 5, y)[3] != 0, y < 3);
    }
    // Once memory is back, the flag is gone with the reset.
    kx_alloc_fail_after(-1);
    clear(dst);
    scantest::paint(p, {at(0, 0), at(16 * 128, 0), at(16 * 128, 8 * 128), at(0, 8 * 128)}, 0, 0,
                    dst);
    EXPECT_EQ(painted(dst), 16 * 8);
}

TEST(PathCRenderBegin, HeightBeyondTheScanRangeIsRefused) {
    AllocGuard guard;
    CKXPathCRender p;
    // Rows whose last line would not fit in 32 bits: refused before any
    // allocation is tried, so an allocator that would grant it changes nothing.
    kx_alloc_fail_after(-1);
    p.begin(0, 0, 0);
    p.begin(0, 0, INT32_MAX);
    EXPECT_EQ(p.m_scans, nullptr);
    EXPECT_EQ(p.m_rows, 0);
    p.m_start_x = p.m_cur_x = 0;
    p.m_start_y = p.m_cur_y = 0;
    p.line_to(1000, 1000000, {});
    p.line_to(0, 0, {});
    EXPECT_EQ(p.m_scans, nullptr);
}

// ---------------------------------------------------------------------------
// Painting.

// A bitmap over caller memory with a margin of canary bytes around it and
// padding at each row's end.
struct Fenced {
    static constexpr uint8_t kCanary = 0xA5;
    std::vector<uint8_t> mem;
    int32_t w, h, stride, bytes;
    size_t lead;
    Fenced(int32_t width, int32_t height, int32_t pixel_bytes)
        : w(width), h(height), stride(width * pixel_bytes + 12), bytes(pixel_bytes) {
        lead = static_cast<size_t>(stride) * 2;
        mem.assign(lead * 2 + static_cast<size_t>(stride) * h, kCanary);
        for (int32_t y = 0; y < h; ++y) std::memset(data() + y * stride, 0, width * pixel_bytes);
    }
    uint8_t* data() { return mem.data() + lead; }
    // Every byte outside the pixels still holds the canary.
    bool fences_intact() {
        for (size_t i = 0; i < mem.size(); ++i) {
            const int64_t off = static_cast<int64_t>(i) - static_cast<int64_t>(lead);
            const bool inside = off >= 0 && off < int64_t{stride} * h && off % stride < w * bytes;
            if (!inside && mem[i] != kCanary) return false;
        }
        return true;
    }
};

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
    for (size_t i = 0; i < shapes.size(); ++i) {
        SCOPED_TRACE(i);
        Fenced f(17, 9, 4);
        CKXBmp32 dst(f.data(), f.w, f.h, f.stride);
        CKXPathCRender p;
        // The rows handed to begin may exceed the bitmap's: painting keeps to
        // the bitmap all the same.
        scantest::outline(p, shapes[i], 0, 0, f.h + 5);
        p.render_smooth(&dst);
        EXPECT_TRUE(f.fences_intact());

        Fenced g(17, 9, 2);
        CKXBmpGray gray(g.data(), g.w, g.h, g.stride);
        p.render_smoothg(&gray);
        EXPECT_TRUE(g.fences_intact());

        Fenced r(17, 9, 4);
        CKXBmp32 rdst(r.data(), r.w, r.h, r.stride);
        CKXPathCRender2 p2;
        std::vector<Corner> ramped = shapes[i];
        for (size_t k = 0; k < ramped.size(); ++k) ramped[k].v = k % 2 ? -70000 : 70000;
        scantest::outline(p2, ramped, 0, 0, r.h);
        _KXRGBA ramp[256];
        for (int k = 0; k < 256; ++k) ramp[k] = _KXRGBA{1, 1, 1, 255};
        p2.render_smooth(&rdst, ramp);
        EXPECT_TRUE(r.fences_intact());
    }
}

TEST(PathCRenderPaint, GrayAndRampFormsMatchTheColourForm) {
    // Random quadrilaterals, some crossing themselves, painted by all four
    // entry points: the gray form is the colour form through the gray weights,
    // and an index carried as a channel paints what the ramp converter paints.
    uint32_t seed = 777;
    std::printf("seed 777\n");
    auto next = [&seed](int32_t range) {
        seed = seed * 1103515245u + 12345u;
        return static_cast<int64_t>((seed >> 4) % static_cast<uint32_t>(range));
    };
    _KXRGBA ramp[256];
    unsigned char gramp[256];
    for (int i = 0; i < 256; ++i) {
        ramp[i] = _KXRGBA{static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i),
                          static_cast<uint8_t>(i / 3), 255};
        gramp[i] = static_cast<uint8_t>(255 - i);
    }
    for (int n = 0; n < 40; ++n) {
        std::vector<Corner> q;
        for (int k = 0; k < 4; ++k) {
            const int32_t v = static_cast<int32_t>(next(256));
            const uint8_t b = static_cast<uint8_t>(v);
            q.push_back(
                at(next(40 * 128) - 5 * 128, next(30 * 128) - 5 * 128,
                   _KXRGBA{b, static_cast<uint8_t>(next(256)), static_cast<uint8_t>(next(256)),
                           static_cast<uint8_t>(next(256))},
                   v));
        }
        CKXBmp32 colour(30, 20), ramped(30, 20);
        CKXBmpGray gray(30, 20), gray_ramped(30, 20);
        CKXPathCRender p;
        CKXPathCRender2 p2;
        scantest::paint(p, q, 0, 0, colour);
        p.render_smoothg(&gray);
        scantest::outline(p2, q, 0, 0, 20);
        p2.render_smooth(&ramped, ramp);
        p2.render_smoothg(&gray_ramped, gramp);
        for (int32_t y = 0; y < 20; ++y) {
            for (int32_t x = 0; x < 30; ++x) {
                SCOPED_TRACE(testing::Message() << "polygon " << n << " pixel " << x << "," << y);
                const uint8_t* c = scantest::pixel(colour, 4, x, y);
                const uint8_t* g = scantest::pixel(gray, 2, x, y);
                const uint8_t* r = scantest::pixel(ramped, 4, x, y);
                const uint8_t* gr = scantest::pixel(gray_ramped, 2, x, y);
                if (c[3] == 0 && r[3] == 0) continue;  // outside (no corner has alpha 0)
                ASSERT_EQ(g[0], detail::gray_of(c[2], c[1], c[0]));
                ASSERT_EQ(g[1], c[3]);
                ASSERT_EQ(std::memcmp(r, &ramp[c[0]], 4), 0);
                ASSERT_EQ(gr[0], gramp[c[0]]);
                ASSERT_EQ(gr[1], 255);
            }
        }
    }
}

TEST(PathCRenderPaint, RampIndexIsHeldToTheTable) {
    _KXRGBA ramp[256];
    for (int i = 0; i < 256; ++i) ramp[i] = _KXRGBA{static_cast<uint8_t>(i), 0, 0, 255};
    struct Case {
        const char* why;
        int32_t left, right;
        int first, last;
    };
    const Case cases[] = {
        {"below 0 and above 255", -1000, 1000, 0, 253},
        {"extremes", INT32_MIN, INT32_MAX, 0, 253},
        {"both above", 300, 400, 255, 255},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        // Pixel centres 0 and 15 lie on the left edge and just left of the
        // right one; 512 lines on 5 rows are cut nowhere and divide exactly.
        // Held at the crossings, the index runs 0 to 255 over the whole span.
        std::vector<Corner> q = {at(64, 0, {}, c.left), at(15 * 128 + 64 + 8, 0, {}, c.right),
                                 at(15 * 128 + 64 + 8, 512, {}, c.right), at(64, 512, {}, c.left)};
        CKXBmp32 dst(16, 5);
        CKXPathCRender2 p;
        scantest::outline(p, q, 0, 0, 5);
        p.render_smooth(&dst, ramp);
        EXPECT_EQ(scantest::pixel(dst, 4, 0, 1)[0], c.first);
        EXPECT_NEAR(scantest::pixel(dst, 4, 15, 1)[0], c.last, 1);
        EXPECT_EQ(painted(dst), 16 * 4);
    }
}

TEST(KxScan, DeviceCoordinatesToScanUnits) {
    struct Case {
        int64_t raw;
        int32_t round, trunc;
    };
    // clang-format off
    const Case cases[] = {
        {kKxOne, 128, 128},
        {kKxOne + (kKxOne >> 8), 129, 128},          // half a unit: rounds up
        {kKxOne + (kKxOne >> 8) - 1, 128, 128},
        {kKxOne + (kKxOne >> 7) - 1, 129, 128},
        {-kKxOne - (kKxOne >> 8), -128, -129},       // the half rounds up, the shift floors
        {-1, 0, -1},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.raw);
        EXPECT_EQ(scan_from_kx_round(KXFIX::from_raw(c.raw)), c.round);
        EXPECT_EQ(scan_from_kx_trunc(KXFIX::from_raw(c.raw)), c.trunc);
    }
    EXPECT_EQ(scan_first_centre_at(64), 0);
    EXPECT_EQ(scan_first_centre_at(65), 1);
    EXPECT_EQ(scan_first_centre_at(-64), -1);
    EXPECT_EQ(scan_first_centre_at(-192), -2);
    EXPECT_EQ(scan_first_centre_at(-193), -2);
    EXPECT_EQ(scan_from_pixels(-3), -384);
}

}  // namespace
