// The band-parallel frame of the per-pixel shadings.
//
// An entry point checks the sizes, inverts a copy of the device matrix and
// derives per-pixel and per-row steps in shading space. A bitmap of at least
// 8 rows and more than 40000 pixels is cut into four bands by rows: three
// workers take height / 4 rows each, the caller the rest (1 to 3 rows more).
// Bands are disjoint row ranges of both bitmaps and the shading is read-only,
// so nothing is locked. Each band starts from a fresh transform of its first
// pixel and then only adds steps, so error accumulates along a row and down a
// band, and a banded picture may differ from an unbanded one in the last bits
// of position.
//
// The pixel loop is one template over a store policy (colour or gray) and the
// shading's per-pixel lookup; the caller's band runs the workers' function,
// so both sides execute the same code. Two variants serve lookups that a
// shading knows to repeat along a row or from row to row: they look up once
// per row or per column and copy fully covered groups of pixels whole, and
// give the same bytes as the general loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "shading/bitmap.h"
#include "shading/color_space_p.h"
#include "shading/kx_thread.h"
#include "shading/render_band.h"

namespace shadepaint::detail {

constexpr int32_t kBandWorkers = 3;
// A bitmap is banded only above this many pixels...
constexpr int32_t kBandMinPixels = 40000;
// ...and when each worker gets at least this many rows (a bitmap of 8 rows).
constexpr int32_t kBandMinRows = 2;

// Rows of each worker band, or 0 when the caller paints the bitmap alone.
inline int32_t worker_band_rows(int32_t width, int32_t height) {
    const int32_t rows = height >> 2;
    // The product stays in 32 bits: for an enormous bitmap it wraps, and the
    // wrapped value is what decides.
    const auto pixels =
        static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
    return rows >= kBandMinRows && pixels > kBandMinPixels ? rows : 0;
}

// Mask and destination must agree in width and height.
inline bool same_size(const CKXBmp8& mask, const CKXBmp& dst) {
    return dst.m_width == mask.m_width && dst.m_height == mask.m_height;
}

// Alpha under coverage: no rounding and no special case, so coverage 255 on
// alpha 255 gives 254.
inline uint8_t covered_alpha(uint32_t coverage, uint32_t alpha) {
    return static_cast<uint8_t>((coverage * alpha) >> 8);
}

inline uint8_t gray_of_rgba(_KXRGBA c) { return gray_of(c.r, c.g, c.b); }

struct store_bgra {
    static constexpr ptrdiff_t kBytes = 4;
    static void put(uint8_t* p, _KXRGBA c, uint32_t coverage) {
        // The word as it is, then its alpha: two stores, where four bytes, or
        // a word assembled with its new alpha, cost more.
        std::memcpy(p, &c, sizeof(c));
        p[3] = covered_alpha(coverage, c.a);
    }
};

struct store_gray {
    static constexpr ptrdiff_t kBytes = 2;
    static void put(uint8_t* p, _KXRGBA c, uint32_t coverage) {
        p[0] = gray_of_rgba(c);
        p[1] = covered_alpha(coverage, c.a);
    }
};

// The pixel loop of one band. Lookup is the shading's step for one covered
// pixel, lookup(x, y) giving the colour at a shading-space point; a lookup
// whose kPaintsUncovered is true also gets lookup.uncovered<Store>(pixel, x, y)
// for coverage 0, the others leave such pixels exactly as they were.
template <class Store, class Lookup>
inline void paint_band(const PDF_RENDER_BAND& band, const Lookup& lookup) {
    const uint8_t* const mask = band.m_mask_row;
    uint8_t* const dst = band.m_dst_row;
    const ptrdiff_t mask_stride = band.m_mask_stride;
    const ptrdiff_t dst_stride = band.m_dst_stride;
    const int32_t width = band.m_width;
    const int32_t height = band.m_height;
    const KXFIX col_dx = band.m_col_dx;
    const KXFIX col_dy = band.m_col_dy;
    const KXFIX row_dx = band.m_row_dx;
    const KXFIX row_dy = band.m_row_dy;
    KXFIX row_x = band.m_start_x;
    KXFIX row_y = band.m_start_y;
    for (int32_t j = 0; j < height; ++j) {
        // Rows are addressed from the band's start, never stepped past its end.
        const uint8_t* const m = mask + j * mask_stride;
        uint8_t* p = dst + j * dst_stride;
        KXFIX x = row_x;
        KXFIX y = row_y;
        for (int32_t i = 0; i < width; ++i, p += Store::kBytes) {
            const uint32_t coverage = m[i];
            if (coverage != 0) {
                Store::put(p, lookup(x, y), coverage);
            } else if constexpr (Lookup::kPaintsUncovered) {
                lookup.template uncovered<Store>(p, x, y);
            }
            x += col_dx;
            y += col_dy;
        }
        row_x += row_dx;
        row_y += row_dy;
    }
}

// Coverage bytes tested together for a run of fully covered pixels.
constexpr int32_t kCoverageGroup = 8;

// Stores n pixels of one row. Where a group of coverage bytes is all 255, the
// group's pixels are copied from full (prepared by the same store under
// coverage 255), and full then moves on by full_advance bytes; elsewhere each
// covered pixel is stored from colour_at(i).
template <class Store, class ColourAt>
inline void store_row(const uint8_t* m, uint8_t* p, int32_t n, const uint8_t* full,
                      ptrdiff_t full_advance, const ColourAt& colour_at) {
    int32_t i = 0;
    for (; i + kCoverageGroup <= n; i += kCoverageGroup, full += full_advance) {
        uint64_t group;
        std::memcpy(&group, m + i, sizeof(group));
        if (group == ~uint64_t{0}) {
            std::memcpy(p + i * Store::kBytes, full, kCoverageGroup * Store::kBytes);
            continue;
        }
        for (int32_t k = i; k < i + kCoverageGroup; ++k) {
            if (m[k] != 0) Store::put(p + k * Store::kBytes, colour_at(k), m[k]);
        }
    }
    for (; i < n; ++i) {
        if (m[i] != 0) Store::put(p + i * Store::kBytes, colour_at(i), m[i]);
    }
}

// The pixel loop for a lookup that gives one colour along each row (it reads
// only the coordinate whose column step is 0): one look-up a row.
template <class Store, class Lookup>
inline void paint_band_uniform_rows(const PDF_RENDER_BAND& band, const Lookup& lookup) {
    static_assert(!Lookup::kPaintsUncovered, "uncovered pixels are skipped here");
    const uint8_t* const mask = band.m_mask_row;
    uint8_t* const dst = band.m_dst_row;
    const ptrdiff_t mask_stride = band.m_mask_stride;
    const ptrdiff_t dst_stride = band.m_dst_stride;
    const int32_t width = band.m_width;
    const int32_t height = band.m_height;
    const KXFIX row_dx = band.m_row_dx;
    const KXFIX row_dy = band.m_row_dy;
    KXFIX row_x = band.m_start_x;
    KXFIX row_y = band.m_start_y;
    uint8_t full[kCoverageGroup * Store::kBytes];
    for (int32_t j = 0; j < height; ++j) {
        const _KXRGBA c = lookup(row_x, row_y);
        for (int32_t k = 0; k < kCoverageGroup; ++k) Store::put(full + k * Store::kBytes, c, 255);
        store_row<Store>(mask + j * mask_stride, dst + j * dst_stride, width, full, 0,
                         [c](int32_t) { return c; });
        row_x += row_dx;
        row_y += row_dy;
    }
}

// Columns whose colours are looked up together, on the stack.
constexpr int32_t kColumnRun = 512;

// The pixel loop for a lookup that gives every row of the band the same
// colours (it reads only the coordinate whose row step is 0): the colours of
// a run of columns are looked up once, along the first row's running
// coordinates, and stored into every row.
template <class Store, class Lookup>
inline void paint_band_repeated_rows(const PDF_RENDER_BAND& band, const Lookup& lookup) {
    static_assert(!Lookup::kPaintsUncovered, "uncovered pixels are skipped here");
    const uint8_t* const mask = band.m_mask_row;
    uint8_t* const dst = band.m_dst_row;
    const ptrdiff_t mask_stride = band.m_mask_stride;
    const ptrdiff_t dst_stride = band.m_dst_stride;
    const int32_t width = band.m_width;
    const int32_t height = band.m_height;
    const KXFIX col_dx = band.m_col_dx;
    const KXFIX col_dy = band.m_col_dy;
    KXFIX x = band.m_start_x;
    KXFIX y = band.m_start_y;
    _KXRGBA colours[kColumnRun];
    uint8_t full[kColumnRun * Store::kBytes];
    for (int32_t first = 0; first < width; first += kColumnRun) {
        const int32_t n = width - first < kColumnRun ? width - first : kColumnRun;
        for (int32_t i = 0; i < n; ++i) {
            colours[i] = lookup(x, y);
            Store::put(full + i * Store::kBytes, colours[i], 255);
            x += col_dx;
            y += col_dy;
        }
        for (int32_t j = 0; j < height; ++j) {
            store_row<Store>(
                mask + j * mask_stride + first, dst + j * dst_stride + first * Store::kBytes, n,
                full, kCoverageGroup * Store::kBytes, [&colours](int32_t i) { return colours[i]; });
        }
    }
}

// Runs the bands of a bitmap of width x height. make(first_row, rows) returns
// the complete record of a band; worker(&record) paints it. All three worker
// records are made before the first start, and every worker has ended when
// this returns.
template <class Record, class Make>
void run_bands(int32_t width, int32_t height, void (*worker)(void*), const Make& make) {
    const int32_t rows = worker_band_rows(width, height);
    // Destroyed in the order 2, 1, 0, each ending its worker once more, which
    // is harmless.
    CKXThread threads[kBandWorkers];
    Record records[kBandWorkers];
    if (rows != 0) {
        for (int32_t k = 0; k < kBandWorkers; ++k) records[k] = make(k * rows, rows);
        for (int32_t k = 0; k < kBandWorkers; ++k) threads[k].start(worker, &records[k]);
    }
    const int32_t own_first = kBandWorkers * rows;
    Record own = make(own_first, height - own_first);
    worker(&own);
    if (rows != 0) {
        for (int32_t k = 0; k < kBandWorkers; ++k) threads[k].end();
    }
}

struct keep_inverse {
    void operator()(_KXMATRIX&) const {}
};

// The entry point of a shading painted with running coordinates. Adjust may
// change the inverted matrix before anything is derived from it (the
// concentric radial shading moves its centre to the origin).
template <class Adjust = keep_inverse>
int32_t render_frame(const CPDFShading* shading, const _KXMATRIX& matrix, const _KXPOINT& origin,
                     const CKXBmp8& mask, CKXBmp& dst, void (*worker)(void*),
                     const Adjust& adjust = Adjust()) {
    if (!same_size(mask, dst)) return 0;
    // A singular matrix goes on with whatever the inversion leaves behind.
    _KXMATRIX inverse = matrix;
    inverse.do_invert();
    adjust(inverse);
    KXFIX col_dx = KXFIX::from_raw(kKxOne);
    KXFIX col_dy = KXFIX{0};
    inverse.transform_delta(col_dx, col_dy);
    KXFIX row_dx = KXFIX{0};
    KXFIX row_dy = KXFIX::from_raw(kKxOne);
    inverse.transform_delta(row_dx, row_dy);
    // Bitmaps without storage have nothing to paint or read.
    if (!mask.m_data || !dst.m_data) return 1;

    const auto make = [&](int32_t first_row, int32_t rows) {
        PDF_RENDER_BAND band;
        band.m_shading = shading;
        // Offsets in pointer width: a band never starts outside its bitmap,
        // whatever the product of rows and stride.
        band.m_mask_row = mask.m_data + static_cast<ptrdiff_t>(first_row) * mask.m_stride;
        band.m_mask_stride = mask.m_stride;
        band.m_dst_row = dst.m_data + static_cast<ptrdiff_t>(first_row) * dst.m_stride;
        band.m_dst_stride = dst.m_stride;
        band.m_width = mask.m_width;
        band.m_height = rows;
        band.m_col_dx = col_dx;
        band.m_col_dy = col_dy;
        band.m_row_dx = row_dx;
        band.m_row_dy = row_dy;
        // A fresh transform of the band's first pixel (its corner, no half
        // pixel), the row number summed in 32 bits.
        band.m_start_x = KXFIX::from_int(origin.x);
        band.m_start_y = KXFIX::from_int(static_cast<int32_t>(static_cast<uint32_t>(origin.y) +
                                                              static_cast<uint32_t>(first_row)));
        inverse.transform_point(band.m_start_x, band.m_start_y);
        return band;
    };
    run_bands<PDF_RENDER_BAND>(mask.m_width, mask.m_height, worker, make);
    return 1;
}

}  // namespace shadepaint::detail
