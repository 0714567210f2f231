// The one edge walker, crossing recorder and span painter behind both scan
// converters. The converters differ only in what a corner carries (a colour of
// four channels, or one integer) and in what a pixel receives; both are
// policies here, so CKXPathCRender and CKXPathCRender2 run the same code.
//
// Walking (scan_edge) follows the cutting rules exactly: an edge is cut at the
// top line 0 and the bottom line rows * 128 - 1, then into one piece per pixel
// row, each value at a row boundary being (V1 * (y - Y0)) / DY + (V0 * (Y1 - y)) / DY
// with both divisions truncating. The coordinates have had their origin removed
// in 32 bits, so their differences and all products are formed in 64 bits: no
// intermediate can overflow, and where the values would have fitted in 32 bits
// the results are the same.
//
// Recording (scan_hline) keeps one record per piece: its two ends ordered by
// x, and the point where it meets its row's centre line, if it does, under a
// half-open rule: a piece from ya to yb (ya < yb, whatever the direction of
// travel) meets the centre line yc when ya <= yc < yb. The crossing's x is
// rounded up, so that "centre x >= crossing" in integers means "centre at or
// right of the true crossing". Both depend only on the piece, not on its
// direction, so two polygons that share an edge record the same crossings.
//
// Painting (scan_render) sorts each row's records, crossings first by x, and
// fills between neighbouring crossings wherever the running sum of directions
// is not zero: a pixel is inside when its centre lies at or right of the left
// crossing and left of the right one, so a pixel on a shared edge belongs to
// exactly one side. That is right for polygons whose neighbours share their
// edges exactly: the triangles of a mesh, the cells inside a patch, the
// wedges and pieces of a radial fan.
//
// Centre sampling alone leaves pinholes where neighbouring polygons meet
// along outlines that differ by a fraction of a pixel. That happens in two
// ways. An edge cut at the top or bottom of the bitmap is re-interpolated
// from the end that is kept, so the two polygons sharing it, walking it in
// opposite directions, can cross a row a unit apart: the pieces of every cut
// edge are therefore painted along the outline (below). And a patch side may
// be cut into a different number of steps by each of its two patches: a
// converter set to conservative painting (m_conservative, used for the cells
// on a patch's rim) paints every edge's pieces along the outline, and keeps
// its horizontal edges aside to paint them too (scan_flat; they are no piece
// of any row and add no crossing), unless they lie on a row boundary.
//
// Painting along the outline comes before the centre-sampled spans: the
// pixels a piece passes through, those it reaches more than 2/128 pixel into
// (so that a side lying on a column boundary enters neither column), each
// take the piece's colour at the pixel's centre, held at its ends. Such a
// polygon grows by the pixels its outline enters, and neighbours overlap by
// those pixels, the later painting over the earlier; a polygon whose outline
// runs along pixel boundaries still covers exactly the pixels within it.
//
// Values are interpolated along a span in 16 fraction bits, with the start
// and step truncated toward the left value, so they stay within the two end
// values and run monotonically between them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "engine/kxalloc.h"
#include "mesh/path_crender.h"
#include "mesh/path_crender2.h"
#include "numeric/kxgeom.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"
#include "shading/color_space_p.h"

namespace shadepaint::detail {

// The last scan line of the last row, rows * 128 - 1, must fit in 32 bits,
// since pieces are handed on as int; taller bitmaps are refused like a failed
// allocation.
constexpr int32_t kScanMaxRows = (INT32_MAX >> kScanShift);
// A polygon puts at most one crossing per edge into a row; no caller comes
// near this, and it bounds the size of a row's store and of its sort.
constexpr uint32_t kScanMaxCrossings = 1u << 16;
constexpr uint32_t kScanGrow = 256;
// m_aux flag: a crossing could not be stored, so the row's outline is
// incomplete and the row is not painted.
constexpr uint32_t kScanRowLost = 1;
constexpr int32_t kScanNoPoint = INT32_MIN;
constexpr int32_t kScanNoRow = INT32_MAX;
// Fraction bits of the span interpolation: with channel deltas up to 255 and
// crossings up to 2^33 apart, the products stay below 2^57.
constexpr int kSpanFracBits = 16;
// How far (in 1/128 pixel) a piece must reach into a column to paint it. The
// walker's split division leaves a crossing up to 2 units off the exact line,
// so without this every vertical side lying on a pixel boundary would spill
// into the column beside it.
constexpr int64_t kScanSlack = 2;

// 32-bit difference kept to its low 32 bits, as the fields store it.
inline int32_t scan_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// ceil(n / d) for d > 0: C division truncates toward zero, which is already
// the ceiling for negative quotients.
inline int64_t scan_div_up(int64_t n, int64_t d) { return n / d + (n % d > 0 ? 1 : 0); }

// ---------------------------------------------------------------------------
// What a corner carries. Channels are worked on as 64-bit integers.

struct scan_rgba {
    static constexpr int kN = 4;
    using value_type = _KXRGBA;
    using scan_type = KXPATH_CSCAN;
    using item_type = KXPATH_CSCAN::_item;

    static void unpack(_KXRGBA c, int64_t* v) {
        v[0] = c.b;
        v[1] = c.g;
        v[2] = c.r;
        v[3] = c.a;
    }
    // Each channel keeps its low byte; the walker's values are bytes already.
    static _KXRGBA pack(const int64_t* v) {
        return _KXRGBA{static_cast<uint8_t>(v[0]), static_cast<uint8_t>(v[1]),
                       static_cast<uint8_t>(v[2]), static_cast<uint8_t>(v[3])};
    }
    // A null v clears the crossing's colour.
    static void put_item(item_type& it, const int64_t* v) { it.m_rgba = v ? pack(v) : _KXRGBA{}; }
    static uint32_t word(_KXRGBA c) {
        uint32_t w;
        std::memcpy(&w, &c, 4);
        return w;
    }
    // The record's values as words, for ordering: crossing, left end, right end.
    static void words(const item_type& it, uint32_t* w) {
        w[0] = word(it.m_rgba);
        w[1] = word(it.m_left_rgba);
        w[2] = word(it.m_right_rgba);
    }
    static void put_ends(item_type& it, _KXRGBA left, _KXRGBA right) {
        it.m_left_rgba = left;
        it.m_right_rgba = right;
    }
    static void get(_KXRGBA c, int32_t* v) {
        v[0] = c.b;
        v[1] = c.g;
        v[2] = c.r;
        v[3] = c.a;
    }
    static void get_item(const item_type& it, int32_t* v) { get(it.m_rgba, v); }
    static void get_ends(const item_type& it, int32_t* left, int32_t* right) {
        get(it.m_left_rgba, left);
        get(it.m_right_rgba, right);
    }
};

struct scan_index {
    static constexpr int kN = 1;
    using value_type = int32_t;
    using scan_type = KXPATH_CSCAN2;
    using item_type = KXPATH_CSCAN2::_item;

    static void unpack(int32_t c, int64_t* v) { v[0] = c; }
    static int32_t pack(const int64_t* v) {
        return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v[0])));
    }
    static void put_item(item_type& it, const int64_t* v) { it.m_value = v ? pack(v) : 0; }
    static void words(const item_type& it, uint32_t* w) {
        w[0] = static_cast<uint32_t>(it.m_value);
        w[1] = static_cast<uint32_t>(it.m_left_value);
        w[2] = static_cast<uint32_t>(it.m_right_value);
    }
    static void put_ends(item_type& it, int32_t left, int32_t right) {
        it.m_left_value = left;
        it.m_right_value = right;
    }
    // Any integer may arrive; the ramp has 256 entries, so the ends are held.
    static void get(int32_t c, int32_t* v) { v[0] = std::min(std::max(c, 0), 255); }
    static void get_item(const item_type& it, int32_t* v) { get(it.m_value, v); }
    static void get_ends(const item_type& it, int32_t* left, int32_t* right) {
        get(it.m_left_value, left);
        get(it.m_right_value, right);
    }
};

// ---------------------------------------------------------------------------
// What a pixel receives. Table is the ramp of the index forms.

struct store_rgba32 {
    static constexpr int kBytes = 4;
    using table_type = void;
    static void put(uint8_t* px, const int32_t* v, const void*) {
        const _KXRGBA c{static_cast<uint8_t>(v[0]), static_cast<uint8_t>(v[1]),
                        static_cast<uint8_t>(v[2]), static_cast<uint8_t>(v[3])};
        std::memcpy(px, &c, 4);
    }
};

struct store_rgba_gray {
    static constexpr int kBytes = 2;
    using table_type = void;
    static void put(uint8_t* px, const int32_t* v, const void*) {
        px[0] = gray_of(static_cast<uint32_t>(v[2]), static_cast<uint32_t>(v[1]),
                        static_cast<uint32_t>(v[0]));
        px[1] = static_cast<uint8_t>(v[3]);
    }
};

struct store_ramp32 {
    static constexpr int kBytes = 4;
    using table_type = _KXRGBA;
    static void put(uint8_t* px, const int32_t* v, const _KXRGBA* ramp) {
        std::memcpy(px, &ramp[v[0]], 4);
    }
};

// The gray ramp holds ready gray bytes of opaque colours.
struct store_ramp_gray {
    static constexpr int kBytes = 2;
    using table_type = unsigned char;
    static void put(uint8_t* px, const int32_t* v, const unsigned char* ramp) {
        px[0] = ramp[v[0]];
        px[1] = 255;
    }
};

// ---------------------------------------------------------------------------
// begin, reset and release, on either converter (same field names).

template <class Conv>
void scan_init(Conv& c) {
    c.m_start_x = c.m_start_y = c.m_cur_x = c.m_cur_y = kScanNoPoint;
    c.m_scans = nullptr;
    c.m_rows = 0;
    c.m_rows_cap = 0;
    c.m_org_x = c.m_org_y = 0;
    c.m_dirty_first = kScanNoRow;
    c.m_dirty_last = -1;
    c.m_flats = nullptr;
    c.m_flat_count = c.m_flat_cap = 0;
    c.m_conservative = false;
}

// Frees every row's store and the table, and leaves an empty converter that
// paints nothing until a begin succeeds.
template <class Conv>
void scan_release(Conv& c) {
    if (c.m_scans) {
        for (uint32_t i = 0; i < c.m_rows_cap; ++i) KXFree(c.m_scans[i].m_items);
        KXFree(c.m_scans);
    }
    KXFree(c.m_flats);
    c.m_flats = nullptr;
    c.m_flat_count = c.m_flat_cap = 0;
    c.m_scans = nullptr;
    c.m_rows = 0;
    c.m_rows_cap = 0;
    c.m_dirty_first = kScanNoRow;
    c.m_dirty_last = -1;
}

template <class Conv>
void scan_reset(Conv& c) {
    if (c.m_rows == 0) return;
    // Only rows that received crossings can hold a count or a flag; stores and
    // capacities stay for the next polygon.
    const int64_t last = std::min<int64_t>(c.m_dirty_last, int64_t{c.m_rows_cap} - 1);
    if (c.m_scans) {
        for (int64_t r = std::max(c.m_dirty_first, 0); r <= last; ++r) {
            c.m_scans[r].m_count = 0;
            c.m_scans[r].m_aux = 0;
        }
    }
    c.m_dirty_first = kScanNoRow;
    c.m_dirty_last = -1;
    c.m_flat_count = 0;
    c.m_rows = 0;
    c.m_org_x = c.m_org_y = 0;
    c.m_start_x = c.m_start_y = c.m_cur_x = c.m_cur_y = kScanNoPoint;
}

template <class Conv>
void scan_prepare(Conv& c, int32_t org_x, int32_t org_y, int32_t height) {
    using Scan = std::remove_pointer_t<decltype(c.m_scans)>;
    c.m_org_x = org_x;
    c.m_org_y = org_y;
    c.m_rows = height;
    if (c.m_rows_cap >= static_cast<uint32_t>(height)) return;
    void* grown = nullptr;
    if (height <= kScanMaxRows)
        grown = KXRealloc(c.m_scans, static_cast<size_t>(height) * sizeof(Scan));
    if (!grown) {
        // Without a table the polygon is dropped: every line_to then returns
        // before touching a row, and the next begin tries again. This also
        // covers a failure of the very first allocation (m_scans null).
        scan_release(c);
        return;
    }
    c.m_scans = static_cast<Scan*>(grown);
    for (int32_t i = height - 1; i >= static_cast<int32_t>(c.m_rows_cap); --i)
        new (&c.m_scans[i]) Scan{nullptr, 0, 0, kScanGrow, 0};
    c.m_rows_cap = static_cast<uint32_t>(height);
}

template <class Conv>
void scan_begin(Conv& c, int32_t org_x, int32_t org_y, int32_t height) {
    if (height < 1)
        scan_reset(c);
    else
        scan_prepare(c, org_x, org_y, height);
}

// ---------------------------------------------------------------------------
// Crossings of one row.

template <class Scan>
bool scan_grow(Scan& s) {
    using Item = std::remove_pointer_t<decltype(s.m_items)>;
    const uint64_t want = uint64_t{s.m_capacity} + std::max<uint32_t>(s.m_grow, 1);
    if (want > kScanMaxCrossings) return false;
    void* p = KXRealloc(s.m_items, static_cast<size_t>(want) * sizeof(Item));
    if (!p) return false;
    s.m_items = static_cast<Item*>(p);
    s.m_capacity = static_cast<uint32_t>(want);
    return true;
}

// A piece's ends, ordered by x, with their values.
template <class Value>
void scan_set_ends(typename Value::item_type& it, int32_t x0, int32_t x1,
                   typename Value::value_type c0, typename Value::value_type c1) {
    const bool rightward = x0 <= x1;
    it.m_left_x = rightward ? x0 : x1;
    it.m_right_x = rightward ? x1 : x0;
    Value::put_ends(it, rightward ? c0 : c1, rightward ? c1 : c0);
}

// A new record holding the piece's ends if `pieces`, its crossing left for
// the caller to fill; null (and the row marked lost) if the row's store
// can't grow.
template <class Value, class Scan>
auto* scan_add_piece(Scan& s, bool pieces, int32_t x0, int32_t x1, typename Value::value_type c0,
                     typename Value::value_type c1) {
    decltype(s.m_items) it = nullptr;
    if (s.m_count >= s.m_capacity && !scan_grow(s)) {
        s.m_aux |= kScanRowLost;
        return it;
    }
    it = &s.m_items[s.m_count++];
    it->m_outline = pieces ? 1 : 0;
    if (pieces) {
        scan_set_ends<Value>(*it, x0, x1, c0, c1);
    }
    return it;
}

// Records a piece; one that misses the centre line only if `pieces` (it is to
// be painted along the outline: the converter paints conservatively, or the
// edge was cut), since otherwise nothing reads it.
template <class Value, class Scan>
void scan_hline(Scan& s, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                typename Value::value_type c0, typename Value::value_type c1, bool pieces = true) {
    constexpr int N = Value::kN;
    // A piece of no height is a point on a row boundary: it enters no pixel.
    if (y0 == y1) return;
    // Order the ends by y so that both directions of an edge give one result.
    const bool down = y0 < y1;
    const int64_t xa = down ? x0 : x1, ya = down ? y0 : y1;
    const int64_t xb = down ? x1 : x0, yb = down ? y1 : y0;
    const int64_t yc = scan_cell_start(ya) + kScanHalf;
    const bool crosses = yc >= ya && yc < yb;
    if (!crosses && !pieces) return;
    auto* piece = scan_add_piece<Value>(s, pieces, x0, x1, c0, c1);
    if (!piece) return;
    auto& it = *piece;
    if (!crosses) {
        it.m_x = 0;
        it.m_dir = 0;
        Value::put_item(it, nullptr);
        return;
    }
    int64_t va[N], vb[N], v[N];
    Value::unpack(down ? c0 : c1, va);
    Value::unpack(down ? c1 : c0, vb);

    const int64_t d = yb - ya;
    int64_t x;
    if (d == kScanOne) {
        // A piece through the whole row meets the centre line half-way.
        x = xa + ((xb - xa + 1) >> 1);
        for (int k = 0; k < N; ++k) v[k] = va[k] + (vb[k] - va[k]) / 2;
    } else {
        const int64_t t = yc - ya;
        x = xa + scan_div_up((xb - xa) * t, d);
        for (int k = 0; k < N; ++k) v[k] = va[k] + ((vb[k] - va[k]) * t) / d;
    }
    it.m_x = static_cast<int32_t>(x);
    it.m_dir = down ? 1 : -1;
    Value::put_item(it, v);
}

// ---------------------------------------------------------------------------
// The edge walker. (x0, y0, c0) is the current point before the edge, and
// (x1, y1, c1) its end, both without origin. Rows receiving pieces widen
// [first, last].

// Hands a piece to its row: the converters' own rows record it directly,
// keeping pieces that miss the centre line only if `pieces`; any other row
// type (a test's recorder) through its hline.
template <class Value, class Scan>
void scan_put(Scan& s, bool pieces, int64_t x0, int64_t y0, int64_t x1, int64_t y1,
              typename Value::value_type c0, typename Value::value_type c1) {
    if constexpr (std::is_same_v<Scan, typename Value::scan_type>)
        scan_hline<Value>(s, static_cast<int32_t>(x0), static_cast<int32_t>(y0),
                          static_cast<int32_t>(x1), static_cast<int32_t>(y1), c0, c1, pieces);
    else
        s.hline(static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1),
                static_cast<int>(y1), c0, c1);
}

template <class Value, class Scan>
void scan_edge(Scan* scans, int32_t rows, int32_t& first, int32_t& last, int32_t x0, int32_t y0,
               typename Value::value_type c0, int32_t x1, int32_t y1, typename Value::value_type c1,
               bool pieces = true) {
    constexpr int N = Value::kN;
    int64_t X0 = x0, Y0 = y0, X1 = x1, Y1 = y1;
    int64_t DY = Y1 - Y0;
    // A horizontal edge adds nothing. A converter without a table (its
    // allocation failed) takes no edges.
    if (DY == 0 || !scans || rows < 1) return;
    int64_t DX = X1 - X0;
    int64_t V0[N], V1[N], DV[N];
    Value::unpack(c0, V0);
    Value::unpack(c1, V1);
    for (int k = 0; k < N; ++k) DV[k] = V1[k] - V0[k];

    // Top: cut at line 0. A cut value lies between the two ends, so it needs
    // no reduction to a byte.
    if (Y1 < 0) {
        if (Y0 < 0) return;
        for (int k = 0; k < N; ++k) {
            V1[k] = V0[k] - (DV[k] * Y0) / DY;
            DV[k] = V1[k] - V0[k];
        }
        X1 = X0 - (DX * Y0) / DY;
        DY = -Y0;
        DX = X1 - X0;
        Y1 = 0;
    } else if (Y0 < 0) {
        for (int k = 0; k < N; ++k) {
            V0[k] = V0[k] - (DV[k] * Y0) / DY;
            DV[k] = V1[k] - V0[k];
        }
        X0 = X0 - (DX * Y0) / DY;
        DX = X1 - X0;
        DY = Y1;
        Y0 = 0;
    }

    // Bottom: cut at L, the last line of the last row.
    const int64_t L = int64_t{rows} * kScanOne - 1;
    if (Y1 > L) {
        if (L - Y0 <= 0) return;
        for (int k = 0; k < N; ++k) V1[k] = V0[k] + ((L - Y0) * DV[k]) / DY;
        X1 = X0 + ((L - Y0) * DX) / DY;
        DY = L - Y0;
        Y1 = L;
    } else if (Y0 > L) {
        for (int k = 0; k < N; ++k) V0[k] = V0[k] + ((L - Y0) * DV[k]) / DY;
        X0 = X0 + ((L - Y0) * DX) / DY;
        DY = Y1 - L;
        Y0 = L;
    }
    // A cut edge is re-interpolated from the end it keeps, so the polygon on
    // its other side, walking it the other way, may cross each row a unit
    // away: its pixels are painted along the outline whatever the mode.
    pieces = pieces || Y0 != y0 || Y1 != y1;

    const int64_t row0 = scan_cell(Y0), row1 = scan_cell(Y1);
    first = static_cast<int32_t>(std::min<int64_t>(first, std::min(row0, row1)));
    last = static_cast<int32_t>(std::max<int64_t>(last, std::max(row0, row1)));
    if (row0 == row1) {
        scan_put<Value>(scans[row0], pieces, X0, Y0, X1, Y1, Value::pack(V0), Value::pack(V1));
        return;
    }

    // Boundary B is the first line of the next row going down, the first line
    // of the current row going up. The numerators of x_at(B) and v_at(B),
    // E1 * (B - Y0) and E0 * (Y1 - B), are stepped by 128 times the ends; only
    // the divisions lose anything, so stepping gives the same numbers as
    // forming them anew, and no error adds up along the edge.
    const int64_t step = DY > 0 ? kScanOne : -kScanOne;
    const int64_t dir = DY > 0 ? 1 : -1;
    int64_t B = scan_cell_start(Y0) + (DY > 0 ? kScanOne : 0);
    int64_t nx1 = X1 * (B - Y0), nx0 = X0 * (Y1 - B);
    const int64_t sx1 = X1 * step, sx0 = X0 * step;
    int64_t nv1[N], nv0[N], sv1[N], sv0[N], va[N], vb[N];
    for (int k = 0; k < N; ++k) {
        nv1[k] = V1[k] * (B - Y0);
        nv0[k] = V0[k] * (Y1 - B);
        sv1[k] = V1[k] * step;
        sv0[k] = V0[k] * step;
        va[k] = V0[k];
    }
    int64_t xa = X0, ya = Y0;
    for (int64_t r = row0; r != row1; r += dir) {
        const int64_t xb = nx1 / DY + nx0 / DY;
        for (int k = 0; k < N; ++k) vb[k] = nv1[k] / DY + nv0[k] / DY;
        scan_put<Value>(scans[r], pieces, xa, ya, xb, B, Value::pack(va), Value::pack(vb));
        xa = xb;
        ya = B;
        for (int k = 0; k < N; ++k) {
            va[k] = vb[k];
            nv1[k] += sv1[k];
            nv0[k] -= sv0[k];
        }
        B += step;
        nx1 += sx1;
        nx0 -= sx0;
    }
    scan_put<Value>(scans[row1], pieces, xa, ya, X1, Y1, Value::pack(va), Value::pack(V1));
}

// A horizontal edge at y (without origin) from x0 to x1. Inside a row, and
// when the converter paints conservatively, it is kept for painting; on a
// row boundary, or above or below the bitmap, it enters no pixel. If the store can't grow the edge
// is left out, which can only notch the outline.
template <class Value, class Conv>
void scan_flat(Conv& c, int32_t x0, int32_t x1, int32_t y, typename Value::value_type c0,
               typename Value::value_type c1) {
    using Item = std::remove_pointer_t<decltype(c.m_flats)>;
    if (!c.m_conservative || !c.m_scans || y <= 0 || int64_t{y} >= int64_t{c.m_rows} * kScanOne ||
        (y & kScanFrac) == 0)
        return;
    if (c.m_flat_count >= c.m_flat_cap) {
        const uint64_t want = uint64_t{c.m_flat_cap} + kScanGrow;
        if (want > kScanMaxCrossings) return;
        void* p = KXRealloc(c.m_flats, static_cast<size_t>(want) * sizeof(Item));
        if (!p) return;
        c.m_flats = static_cast<Item*>(p);
        c.m_flat_cap = static_cast<uint32_t>(want);
    }
    Item& it = c.m_flats[c.m_flat_count++];
    it.m_x = static_cast<int32_t>(scan_cell(y));
    it.m_dir = 0;
    Value::put_item(it, nullptr);
    it.m_outline = 1;
    scan_set_ends<Value>(it, x0, x1, c0, c1);
}

// ---------------------------------------------------------------------------
// Painting.

// Crossings first, by x, then the pieces that cross no centre line; ties are
// broken by the rest of the record, so that the order, and with it which
// piece paints a pixel that several pieces enter, does not depend on the
// order in which the edges arrived or on an earlier painting of the outline.
template <class Value, class Item>
bool scan_before(const Item& a, const Item& b) {
    if ((a.m_dir == 0) != (b.m_dir == 0)) return b.m_dir == 0;
    if (a.m_x != b.m_x) return a.m_x < b.m_x;
    if (a.m_dir != b.m_dir) return a.m_dir < b.m_dir;
    uint32_t wa[3], wb[3];
    Value::words(a, wa);
    Value::words(b, wb);
    if (wa[0] != wb[0]) return wa[0] < wb[0];
    // Only a piece painted along its outline keeps its ends; otherwise
    // records equal so far paint alike.
    if (a.m_outline != b.m_outline) return a.m_outline < b.m_outline;
    if (!a.m_outline) return false;
    if (a.m_left_x != b.m_left_x) return a.m_left_x < b.m_left_x;
    if (a.m_right_x != b.m_right_x) return a.m_right_x < b.m_right_x;
    return std::lexicographical_compare(wa + 1, wa + 3, wb + 1, wb + 3);
}

template <class Value, class Item>
void scan_sort(Item* items, uint32_t n) {
    if (n > 16) {
        std::sort(items, items + n, scan_before<Value, Item>);
        return;
    }
    for (uint32_t i = 1; i < n; ++i) {
        const Item it = items[i];
        uint32_t j = i;
        for (; j > 0 && scan_before<Value>(it, items[j - 1]); --j) items[j] = items[j - 1];
        items[j] = it;
    }
}

// Pixels [i0, i1), clipped to the row, with values interpolated from vl at xl
// to vr at xr (xl < xr) at their centres.
template <class Value, class Store>
void scan_fill(uint8_t* row, int32_t width, int64_t i0, int64_t i1, int64_t xl, const int32_t* vl,
               int64_t xr, const int32_t* vr, const typename Store::table_type* table) {
    constexpr int N = Value::kN;
    const int64_t lo = std::max<int64_t>(i0, 0), hi = std::min<int64_t>(i1, width);
    if (lo >= hi) return;
    const int64_t dx = xr - xl;
    const int64_t off = scan_centre(lo) - xl;
    // 32-bit accumulators: every value lies in 0..255 in 16 fraction bits. A
    // span of one pixel takes no step, which spares the large step of a
    // narrow span.
    int32_t acc[N], step[N], v[N];
    for (int k = 0; k < N; ++k) {
        const int64_t dv = static_cast<int64_t>(vr[k] - vl[k]) * (int64_t{1} << kSpanFracBits);
        acc[k] =
            static_cast<int32_t>((static_cast<int64_t>(vl[k]) << kSpanFracBits) + dv * off / dx);
        step[k] = hi - lo > 1 ? static_cast<int32_t>(dv * kScanOne / dx) : 0;
    }
    uint8_t* px = row + lo * Store::kBytes;
    for (int64_t i = lo; i < hi; ++i, px += Store::kBytes) {
        for (int k = 0; k < N; ++k) {
            v[k] = acc[k] >> kSpanFracBits;
            acc[k] += step[k];
        }
        Store::put(px, v, table);
    }
}

// The pixels whose centres lie in [left crossing, right crossing).
template <class Value, class Store>
void scan_span(uint8_t* row, int32_t width, const typename Value::item_type& left,
               const typename Value::item_type& right, const typename Store::table_type* table) {
    int32_t vl[Value::kN], vr[Value::kN];
    Value::get_item(left, vl);
    Value::get_item(right, vr);
    scan_fill<Value, Store>(row, width, scan_first_centre_at(left.m_x),
                            scan_first_centre_at(right.m_x), left.m_x, vl, right.m_x, vr, table);
}

// The pixels a piece passes through: columns it reaches more than
// kScanSlack units into. Those with a centre inside the piece's x range take
// the interpolated value, those beyond its ends the value of that end, and a
// piece within one column that holds no centre the mean of its ends.
template <class Value, class Store>
void scan_piece(uint8_t* row, int32_t width, const typename Value::item_type& it,
                const typename Store::table_type* table) {
    constexpr int N = Value::kN;
    const int64_t xl = it.m_left_x, xr = it.m_right_x;
    const int64_t k0 = scan_cell(xl + kScanSlack), k1 = scan_cell(xr - kScanSlack - 1);
    if (k0 > k1 || k1 < 0 || k0 >= width) return;
    int32_t vl[N], vr[N];
    Value::get_ends(it, vl, vr);
    const int64_t c0 = scan_first_centre_at(xl), c1 = scan_first_centre_at(xr);
    if (k0 == k1 && c0 >= c1) {
        int32_t v[N];
        for (int k = 0; k < N; ++k) v[k] = (vl[k] + vr[k]) >> 1;
        Store::put(row + k0 * Store::kBytes, v, table);
        return;
    }
    // At most one column on either side lies beyond the centres.
    if (k0 < c0 && k0 >= 0) Store::put(row + k0 * Store::kBytes, vl, table);
    if (c0 < c1) scan_fill<Value, Store>(row, width, c0, c1, xl, vl, xr, vr, table);
    if (k1 >= c1 && k1 < width) Store::put(row + k1 * Store::kBytes, vr, table);
}

template <class Value, class Store, class Conv>
void scan_render(Conv& c, CKXBmp* dst, const typename Store::table_type* table) {
    using Item = std::remove_pointer_t<decltype(c.m_scans->m_items)>;
    if (!dst || !dst->m_data || !c.m_scans || dst->m_width < 1) return;
    const int64_t first = std::max(c.m_dirty_first, 0);
    const int64_t last = std::min<int64_t>({c.m_dirty_last, int64_t{c.m_rows} - 1,
                                            int64_t{dst->m_height} - 1, int64_t{c.m_rows_cap} - 1});
    const int64_t rows = std::min<int64_t>(c.m_rows, dst->m_height);
    for (uint32_t k = 0; k < c.m_flat_count; ++k) {
        const Item& it = c.m_flats[k];
        if (it.m_x < rows && !(c.m_scans[it.m_x].m_aux & kScanRowLost))
            scan_piece<Value, Store>(dst->m_data + int64_t{it.m_x} * dst->m_stride, dst->m_width,
                                     it, table);
    }
    for (int64_t r = first; r <= last; ++r) {
        auto& s = c.m_scans[r];
        if (s.m_count == 0 || (s.m_aux & kScanRowLost)) continue;
        uint8_t* row = dst->m_data + r * dst->m_stride;
        scan_sort<Value>(s.m_items, s.m_count);
        uint32_t n = 0;
        for (uint32_t k = 0; k < s.m_count; ++k) {
            if (s.m_items[k].m_outline)
                scan_piece<Value, Store>(row, dst->m_width, s.m_items[k], table);
            if (s.m_items[k].m_dir != 0) n = k + 1;
        }
        int32_t winding = 0;
        for (uint32_t k = 0; k + 1 < n; ++k) {
            winding += s.m_items[k].m_dir;
            if (winding != 0)
                scan_span<Value, Store>(row, dst->m_width, s.m_items[k], s.m_items[k + 1], table);
        }
    }
}

}  // namespace shadepaint::detail
