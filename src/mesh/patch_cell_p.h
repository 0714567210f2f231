// What the two patch renderers share: the grid point record, the painting of
// one cell through the colour scan converter, and the clearing of the
// destination when a shading has no patches. Everything here is the same
// arithmetic in both renderers; their grids and colour rules stay apart.
#pragma once

#include <cstdint>
#include <cstring>

#include "engine/kxalloc.h"
#include "mesh/path_crender.h"
#include "mesh/path_scan_p.h"
#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"

namespace shadepaint::detail {

// A grid point in device space. Packed to four bytes so that the record has no
// gap behind the colour word; members are only ever copied by value, never
// bound to references.
#pragma pack(push, 4)
struct PATCH_CELL {
    _KXRGBA m_color;
    KXFIX m_x;
    KXFIX m_y;
};
#pragma pack(pop)
static_assert(sizeof(PATCH_CELL) == 20, "PATCH_CELL has no gaps");

// 32-bit sum kept to its low 32 bits, the twin of scan_sub.
inline int32_t patch_scan_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

inline void paint_path(CKXPathCRender& path, CKXBmp32& dst) { path.render_smooth(&dst); }
inline void paint_path(CKXPathCRender& path, CKXBmpGray& dst) { path.render_smoothg(&dst); }

// Paints the closed four-sided path P, Q, R, S with a colour at each corner.
// Device coordinates become 1/128 pixel by truncation (not rounding), and the
// path is opened afresh for every cell, so cells never share crossings.
// Cells inside a patch share their corners exactly and are painted by pixel
// centres, each pixel once. A cell on the patch's rim (`rim`) is painted
// conservatively: the next patch may cut the shared side into another number
// of steps, and the sliver between the two chains of chords must not show.
template <class Bitmap>
inline void paint_cell(CKXPathCRender& path, int32_t org_x, int32_t org_y, Bitmap& dst, bool rim,
                       const PATCH_CELL& p, const PATCH_CELL& q, const PATCH_CELL& r,
                       const PATCH_CELL& s) {
    path.m_conservative = rim;
    path.begin(0, 0, 0);
    path.begin(org_x, org_y, dst.m_height);
    const KXFIX px = p.m_x, py = p.m_y;
    path.m_start_x = path.m_cur_x = scan_sub(scan_from_kx_trunc(px), path.m_org_x);
    path.m_start_y = path.m_cur_y = scan_sub(scan_from_kx_trunc(py), path.m_org_y);
    path.m_start_rgba = path.m_cur_rgba = p.m_color;
    const auto to = [&path](const PATCH_CELL& c) {
        const KXFIX x = c.m_x, y = c.m_y;
        path.line_to(scan_from_kx_trunc(x), scan_from_kx_trunc(y), c.m_color);
    };
    to(q);
    to(r);
    to(s);
    // The closing edge carries the origin again, as every line_to argument does.
    path.line_to(patch_scan_add(path.m_start_x, path.m_org_x),
                 patch_scan_add(path.m_start_y, path.m_org_y), path.m_start_rgba);
    paint_path(path, dst);
}

// The picture of a shading without patches: the whole destination cleared to
// zero, padding between rows included. The colour form clears whole 32-bit
// words of rows * stride bytes (that product in 32 bits); the gray form clears
// rows * stride bytes (from the 64-bit product's low word). A product below 1,
// a negative stride and a bitmap without storage clear nothing. The gray clear
// stops at the last byte of the bitmap: rounding an odd count up to an even
// one would write one byte past it.
inline void clear_empty(CKXBmp32& dst) {
    if (!dst.m_data || dst.m_stride < 0) return;
    const auto bytes = static_cast<int32_t>(static_cast<uint32_t>(dst.m_height) *
                                            static_cast<uint32_t>(dst.m_stride));
    const int32_t words = bytes >> 2;
    if (words < 1) return;
    kxset_const_ints(dst.m_data, 0, static_cast<size_t>(words));
}

inline void clear_empty(CKXBmpGray& dst) {
    if (!dst.m_data || dst.m_stride < 0) return;
    const auto bytes = static_cast<int32_t>(
        static_cast<uint32_t>(static_cast<uint64_t>(int64_t{dst.m_height} * dst.m_stride)));
    if (bytes < 1) return;
    std::memset(dst.m_data, 0, static_cast<size_t>(bytes));
}

}  // namespace shadepaint::detail
