// Coons patch mesh: load decodes the stream into self-contained patches in
// shading space, a patch that continues the one before it (flag 1 to 3)
// copying that one's side, both corner colours and both corner colour words;
// rendering cuts each patch into a grid of cells in device
// space and paints every cell as a closed four-sided path with a colour at
// each corner, so colours inside a cell are the scan converter's Gouraud
// interpolation and the surface is evaluated at grid points only.
//
// Grid size: N cells along u from the device boxes of the two u curves' control
// points (width plus height over 16, rounded up), M along v likewise over 8,
// both clamped to 256; a patch with either count below 1 is skipped.
//
// Evaluation is integer arithmetic on raw KXFIX values, every product and sum
// wrapping in 64 bits and every division truncating toward zero, so results
// are fixed to the bit whatever the coordinates. The boundary curves are
// sampled once per patch after the control points went through the matrix:
// one de Casteljau step divided by N, then the quadratic Bernstein form
// divided by N squared, which fixes the rounding. A grid point is the Coons
// sum of the four curves less the bilinear corners, under one division by
// N M; its colour is the bilinear form of the corner colours, one division.
//
// Two rows of grid points and the curve array are the only scratch; both are
// grown, never shrunk, over one render call, so a run of patches allocates
// only when a patch needs more than any before it.
#include "mesh/shading_coons.h"

#include <cstddef>
#include <cstdint>

#include "engine/kxalloc.h"
#include "mesh/mesh_reader.h"
#include "mesh/patch_cell_p.h"
#include "mesh/patch_load_p.h"
#include "mesh/path_crender.h"
#include "shading/bitmap.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {
using detail::PATCH_CELL;
using detail::wrap_add;
using detail::wrap_mul;

// Device box of four control points, as width plus height in units of
// 2^shift device units, rounded up and kept to 32 bits.
int box_steps(const _KXPOINTF* pts, const int (&idx)[4], const _KXMATRIX& matrix, int shift) {
    _KXRECTF box;
    for (const int k : idx) {
        const _KXPOINTF& p = pts[k];
        if (p.x < box.left) box.left = p.x;
        if (p.x > box.right) box.right = p.x;
        if (p.y < box.top) box.top = p.y;
        if (p.y > box.bottom) box.bottom = p.y;
    }
    matrix.get_bound(box);
    const uint64_t sum =
        static_cast<uint64_t>(((box.right - box.left) + (box.bottom - box.top)).m_raw);
    return static_cast<int>(
        static_cast<uint32_t>(((sum >> shift) + kKxJustBelowOne) >> kKxFracBits));
}

// clang-format off
constexpr int kU0[4] = {0, 11, 10, 9};  // u curve at v = 0
constexpr int kU1[4] = {3, 4, 5, 6};    // u curve at v = 1
constexpr int kV0[4] = {0, 1, 2, 3};    // v curve at u = 0
constexpr int kV1[4] = {9, 8, 7, 6};    // v curve at u = 1
// clang-format on
constexpr int kUShift = 4;  // a u step is 16 device units of width plus height
constexpr int kVShift = 3;  // v is cut twice as finely

// Sample i of n of the cubic p0..p3 (one coordinate, raw): one de Casteljau
// step, each point divided by n, then the quadratic Bernstein form divided by
// n squared. Dividing before squaring is what fixes the result.
inline int64_t curve_at(int64_t p0, int64_t p1, int64_t p2, int64_t p3, int32_t i, int32_t n) {
    const int32_t s = n - i;
    const int64_t q0 = wrap_add(wrap_mul(p0, s), wrap_mul(p1, i)) / n;
    const int64_t q1 = wrap_add(wrap_mul(p1, s), wrap_mul(p2, i)) / n;
    const int64_t q2 = wrap_add(wrap_mul(p2, s), wrap_mul(p3, i)) / n;
    const int64_t twice_si = int64_t{s * i} * 2;
    const int64_t sum =
        wrap_add(wrap_add(wrap_mul(q0, s * s), wrap_mul(q1, twice_si)), wrap_mul(q2, i * i));
    return sum / (n * n);
}

// Samples 0 to n of the curve through device points pts[idx[0..3]].
void sample_curve(const _KXPOINTF* pts, const int (&idx)[4], int32_t n, _KXPOINTF* out) {
    const _KXPOINTF &p0 = pts[idx[0]], &p1 = pts[idx[1]], &p2 = pts[idx[2]], &p3 = pts[idx[3]];
    for (int32_t i = 0; i <= n; ++i) {
        out[i].x = KXFIX::from_raw(curve_at(p0.x.m_raw, p1.x.m_raw, p2.x.m_raw, p3.x.m_raw, i, n));
        out[i].y = KXFIX::from_raw(curve_at(p0.y.m_raw, p1.y.m_raw, p2.y.m_raw, p3.y.m_raw, i, n));
    }
}

// One coordinate of grid point (i, j) of n by m cells: the Coons sum less the
// bilinear corners, all under one division.
inline int64_t coons_at(int64_t c1, int64_t c2, int64_t d1, int64_t d2, int64_t c1_0, int64_t c1_n,
                        int64_t c2_0, int64_t c2_n, int32_t i, int32_t n, int32_t j, int32_t m) {
    const int32_t a = n - i, b = m - j;
    const int64_t t1 = wrap_mul(wrap_add(wrap_mul(c1, b), wrap_mul(c2, j)), n);
    const int64_t t2 = wrap_mul(wrap_add(wrap_mul(d1, a), wrap_mul(d2, i)), m);
    const int64_t t3 = wrap_add(wrap_mul(wrap_add(wrap_mul(c1_0, a), wrap_mul(c1_n, i)), b),
                                wrap_mul(wrap_add(wrap_mul(c2_0, a), wrap_mul(c2_n, i)), j));
    return wrap_add(wrap_add(t2, t1), wrap_mul(t3, -1)) / (n * m);
}

// Grows a scratch block of T to at least need elements; false (the old block
// kept) when that can't be had.
template <class T>
bool grow_scratch(T*& block, int32_t& cap, int32_t need) {
    if (need <= cap) return true;
    void* grown = KXRealloc(block, static_cast<size_t>(need) * sizeof(T));
    if (!grown) return false;
    block = static_cast<T*>(grown);
    cap = need;
    return true;
}

inline void cell_at(const CPDFShadingCoons::_group& group, int32_t i, int32_t n, int32_t j,
                    int32_t m, const _KXPOINTF* curves, PATCH_CELL& cell) {
    _KXPOINTF p;
    _KXRGBA c;
    group.get_at(i, n, j, m, curves, p, c);
    cell.m_color = c;
    cell.m_x = p.x;
    cell.m_y = p.y;
}

// The side of the previous patch that a flag continues, as its points in the
// new patch's order, and the corners it shares.
// clang-format off
constexpr int kSharedSide[4][4] = {{}, {3, 4, 5, 6}, {6, 7, 8, 9}, {9, 10, 11, 0}};
constexpr int kSharedCorner[4][2] = {{}, {1, 2}, {2, 3}, {3, 0}};
// clang-format on

void read_patch(CPDFShadingCoons::_group& g, const CPDFShadingCoons::_group& prev, uint32_t flag,
                CPDFShadingDataReader& reader) {
    int first_pt = 0, first_clr = 0;
    if (flag != 0) {
        for (int k = 0; k < 4; ++k) g.m_pts[k] = prev.m_pts[kSharedSide[flag][k]];
        for (int k = 0; k < 2; ++k) {
            g.m_clr[k] = prev.m_clr[kSharedCorner[flag][k]];
            g.m_rgba[k] = prev.m_rgba[kSharedCorner[flag][k]];
        }
        first_pt = 4;
        first_clr = 2;
    }
    for (int k = first_pt; k < 12; ++k) reader.read_pt(g.m_pts[k]);
    for (int k = first_clr; k < 4; ++k) {
        reader.read_clr(g.m_clr[k]);
        reader.m_cs->get_rgb(g.m_clr[k], g.m_rgba[k]);
    }
}

template <class Bitmap>
int32_t render_coons(const CPDFShadingCoons& sh, const _KXMATRIX& matrix, const _KXPOINT& origin,
                     const CKXBmp8& mask, Bitmap& dst) {
    if (sh.m_group_count < 1 || !sh.m_groups) {
        detail::clear_empty(dst);
        return 0;
    }
    constexpr int kMax = CPDFShadingCoons::kMaxSteps;
    const int32_t org_x = scan_from_pixels(origin.x);
    const int32_t org_y = scan_from_pixels(origin.y);
    CKXPathCRender path;
    PATCH_CELL* rows = nullptr;
    int32_t row_cap = 0;
    _KXPOINTF* curves = nullptr;
    int32_t curve_cap = 0;
    for (int32_t g = 0; g < sh.m_group_count; ++g) {
        const CPDFShadingCoons::_group& group = sh.m_groups[g];
        const int ut = group.get_ut(matrix);
        const int vt = group.get_vt(matrix);
        const int32_t n = ut < kMax ? ut : kMax;
        const int32_t m = vt < kMax ? vt : kMax;
        // A count that wrapped below zero paints nothing, like a zero one.
        if (n < 0 || m < 0) continue;
        // Scratch that can't be had ends the picture here; what was painted
        // stays and is masked like a whole one.
        if (!grow_scratch(rows, row_cap, 2 * n + 2)) break;
        if (n == 0 || m == 0) continue;
        if (!grow_scratch(curves, curve_cap, CPDFShadingCoons::_group::curve_points(n, m))) break;
        group.fill_points_all(n, m, matrix, curves);

        PATCH_CELL* a = rows;
        PATCH_CELL* b = rows + n + 1;
        for (int32_t i = 0; i <= n; ++i) cell_at(group, i, n, 0, m, curves, a[i]);
        for (int32_t j = 1; j <= m; ++j) {
            cell_at(group, 0, n, j, m, curves, b[0]);
            for (int32_t i = 1; i <= n; ++i) {
                cell_at(group, i, n, j, m, curves, b[i]);
                const bool rim = i == 1 || i == n || j == 1 || j == m;
                detail::paint_cell(path, org_x, org_y, dst, rim, a[i - 1], b[i - 1], b[i], a[i]);
            }
            PATCH_CELL* const t = a;
            a = b;
            b = t;
        }
    }
    dst.apply_mask(mask, 0, 0);
    KXFree(curves);
    KXFree(rows);
    return 1;
}
}  // namespace

int CPDFShadingCoons::_group::get_ut(const _KXMATRIX& matrix) const {
    const int s0 = box_steps(m_pts, kU0, matrix, kUShift);
    const int s1 = box_steps(m_pts, kU1, matrix, kUShift);
    return s0 > s1 ? s0 : s1;
}

int CPDFShadingCoons::_group::get_vt(const _KXMATRIX& matrix) const {
    const int s0 = box_steps(m_pts, kV0, matrix, kVShift);
    const int s1 = box_steps(m_pts, kV1, matrix, kVShift);
    return s0 > s1 ? s0 : s1;
}

_KXPOINTF* CPDFShadingCoons::_group::get_points_all(int ut, int vt, const _KXMATRIX& matrix) const {
    if (ut < 1 || vt < 1 || ut > kMaxSteps || vt > kMaxSteps) return nullptr;
    auto* curves = static_cast<_KXPOINTF*>(
        KXAlloc(static_cast<size_t>(curve_points(ut, vt)) * sizeof(_KXPOINTF)));
    if (curves) fill_points_all(ut, vt, matrix, curves);
    return curves;
}

void CPDFShadingCoons::_group::fill_points_all(int ut, int vt, const _KXMATRIX& matrix,
                                               _KXPOINTF* curves) const {
    _KXPOINTF dev[12];
    for (int k = 0; k < 12; ++k) {
        dev[k] = m_pts[k];
        matrix.transform_point(dev[k]);
    }
    sample_curve(dev, kU1, ut, curves);
    sample_curve(dev, kU0, ut, curves + ut + 1);
    sample_curve(dev, kV0, vt, curves + 2 * ut + 2);
    sample_curve(dev, kV1, vt, curves + 2 * ut + vt + 3);
}

void CPDFShadingCoons::_group::get_at(int i, int ut, int j, int vt, const _KXPOINTF* curves,
                                      _KXPOINTF& point, _KXRGBA& rgba) const {
    const _KXPOINTF* const c2 = curves;
    const _KXPOINTF* const c1 = curves + ut + 1;
    const _KXPOINTF* const d1 = curves + 2 * ut + 2;
    const _KXPOINTF* const d2 = d1 + vt + 1;
    point.x = KXFIX::from_raw(coons_at(c1[i].x.m_raw, c2[i].x.m_raw, d1[j].x.m_raw, d2[j].x.m_raw,
                                       c1[0].x.m_raw, c1[ut].x.m_raw, c2[0].x.m_raw, c2[ut].x.m_raw,
                                       i, ut, j, vt));
    point.y = KXFIX::from_raw(coons_at(c1[i].y.m_raw, c2[i].y.m_raw, d1[j].y.m_raw, d2[j].y.m_raw,
                                       c1[0].y.m_raw, c1[ut].y.m_raw, c2[0].y.m_raw, c2[ut].y.m_raw,
                                       i, ut, j, vt));
    // Bilinear in the corner colours with one division: corner 0 at (0, 0),
    // 1 at (0, vt), 2 at (ut, vt), 3 at (ut, 0). The corners' alpha is not read.
    const int32_t a = ut - i, b = vt - j, cells = ut * vt;
    const auto mix = [&](uint8_t c0, uint8_t c1c, uint8_t c2c, uint8_t c3) {
        const int32_t low = a * c0 + i * c3;
        const int32_t high = a * c1c + i * c2c;
        return static_cast<uint8_t>((low * b + high * j) / cells);
    };
    rgba.b = mix(m_rgba[0].b, m_rgba[1].b, m_rgba[2].b, m_rgba[3].b);
    rgba.g = mix(m_rgba[0].g, m_rgba[1].g, m_rgba[2].g, m_rgba[3].g);
    rgba.r = mix(m_rgba[0].r, m_rgba[1].r, m_rgba[2].r, m_rgba[3].r);
    rgba.a = 255;
}

CPDFShadingCoons::CPDFShadingCoons(CPDFXRefTable* xref) : CPDFShading(6, xref) {}

CPDFShadingCoons::~CPDFShadingCoons() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_groups);
    m_groups = nullptr;
    m_group_count = 0;
    m_group_cap = 0;
}

void CPDFShadingCoons::load() {
    // Only a stream is loaded at all, its base part included.
    if (m_loaded || m_obj.m_tag != kObjStream) return;
    m_loaded = 1;
    CPDFShading::load();
    detail::load_patches(*this, read_patch);
}

int32_t CPDFShadingCoons::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                        const CKXBmp8& mask, CKXBmp32& dst) const {
    return render_coons(*this, matrix, origin, mask, dst);
}

int32_t CPDFShadingCoons::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                         CKXBmp8& mask, CKXBmpGray& dst) const {
    return render_coons(*this, matrix, origin, mask, dst);
}

}  // namespace shadepaint
