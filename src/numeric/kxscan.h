// Scan coordinates: signed integers in 1/128 pixel, the unit of the polygon
// converters. Pixel row r spans the lines 128 r .. 128 r + 127 and is sampled
// on its centre line 128 r + 64; pixel column i has its centre at 128 i + 64.
//
// Negative values are shifted as signed (arithmetic, so floor); values are
// built from pixel indices through unsigned arithmetic so that the low 32 bits
// are kept without overflow.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {

constexpr int kScanShift = 7;
constexpr int32_t kScanOne = 128;   // one pixel
constexpr int32_t kScanHalf = 64;   // from a pixel's edge to its centre
constexpr int32_t kScanFrac = 127;  // the sub-pixel bits

// The row (or column) holding scan coordinate v: floor(v / 128).
constexpr int64_t scan_cell(int64_t v) { return v >> kScanShift; }

// The first line of the row holding v: v with its low 7 bits cleared.
constexpr int64_t scan_cell_start(int64_t v) { return v & ~int64_t{kScanFrac}; }

// Centre of pixel (or row) i in scan coordinates.
constexpr int64_t scan_centre(int64_t i) { return i * kScanOne + kScanHalf; }

// The first pixel whose centre lies at or right of x: ceil((x - 64) / 128),
// written as floor((x + 63) / 128).
constexpr int64_t scan_first_centre_at(int64_t x) { return (x + (kScanHalf - 1)) >> kScanShift; }

// Whole pixels to scan coordinates, low 32 bits (an origin of the bitmaps).
inline int32_t scan_from_pixels(int32_t p) {
    return static_cast<int32_t>(static_cast<uint32_t>(p) << kScanShift);
}

// A device coordinate to scan coordinates, rounded to the nearest 1/128 (halves
// up), low 32 bits: the conversion of the free-form and lattice meshes.
inline int32_t scan_from_kx_round(KXFIX c) {
    const int64_t scaled = detail::wrap_shl(c.m_raw, kScanShift);
    const uint64_t sum = static_cast<uint64_t>(scaled) + static_cast<uint64_t>(kKxHalf);
    return static_cast<int32_t>(
        static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(sum) >> kKxFracBits)));
}

// A device coordinate to scan coordinates, truncated toward minus infinity,
// low 32 bits: the conversion of the patch cells and the radial wedges.
inline int32_t scan_from_kx_trunc(KXFIX c) {
    return static_cast<int32_t>(
        static_cast<uint32_t>(static_cast<uint64_t>(c.m_raw >> (kKxFracBits - kScanShift))));
}

}  // namespace shadepaint
