// Tensor-product patch mesh: load decodes the stream into self-contained
// patches in shading space. The stream lists the net as a spiral from the
// outside in; the store keeps it as a 4 by 4 grid. A patch that continues the
// one before it (flag 1 to 3) copies that one's side and the colours of both
// shared corners, but not their colour words: those stay as the cleared store
// left them, 0, and so do the first two corners of such a patch on the page.
//
// Rendering paints each patch in one of two ways chosen by the device box of
// its four corners: below 6 device units of width plus height as one
// quadrilateral between the corners, otherwise as a fixed 16 by 16 grid of
// cells. Every cell is a closed four-sided path with a colour at each corner
// through the colour scan converter.
//
// The grid is fixed so that the surface can be evaluated from the static
// table of cubic Bernstein weights at t = i / 16: a grid point is sixteen
// products of a control point and two table entries, in shading space, and
// only then goes through the matrix (the Coons renderer transforms first). A
// grid point's colour is interpolated along u to two intermediate bytes and
// then along v, each step truncating by a shift of 4. The whole grid lives on
// the stack; rendering allocates nothing but the scan converter's rows.
#include "mesh/shading_tensor.h"

#include <cstdint>
#include <mutex>

#include "engine/kxalloc.h"
#include "mesh/mesh_reader.h"
#include "mesh/patch_cell_p.h"
#include "mesh/patch_load_p.h"
#include "mesh/path_crender.h"
#include "shading/bitmap.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {
// 16^3: the denominator of every weight at t = i / 16.
constexpr int64_t kBvalDenominator = 16 * 16 * 16;

void fill_bval() {
    KXFIX* const t = CPDFShadingTensor::ms_bval;
    constexpr int32_t n = CPDFShadingTensor::kBvalSteps;
    // Rows 0 and 1, (1 - t)^3 and 3 t (1 - t)^2: (16 - i)^3 and 3 i (16 - i)^2
    // times 16384 raw.
    // clang-format off
    static constexpr int64_t kRow0[n] = {
        kKxOne,   0x34bc000, 0x2ae0000, 0x2254000, 0x1b00000, 0x14cc000, 0xfa0000, 0xb64000,
        0x800000, 0x55c000,  0x360000,  0x1f4000,  0x100000,  0x6c000,   0x20000,  0x4000,   0x0};
    static constexpr int64_t kRow1[n] = {
        0x0,       0xa8c000, 0x1260000, 0x17c4000, 0x1b00000, 0x1c5c000, 0x1c20000, 0x1a94000,
        0x1800000, 0x14ac000, 0x10e0000, 0xce4000, 0x900000,  0x57c000,  0x2a0000,  0xb4000, 0x0};
    // clang-format on
    for (int32_t i = 0; i < n; ++i) {
        t[i] = KXFIX::from_raw(kRow0[i]);
        t[n + i] = KXFIX::from_raw(kRow1[i]);
    }
    // Rows 2 and 3, 3 t^2 (1 - t) and t^3; the divisions are exact.
    for (int32_t i = 0; i < n; ++i)
        t[2 * n + i] =
            KXFIX::from_raw(KXFIX::from_int(3 * i * i * (16 - i)).m_raw / kBvalDenominator);
    for (int32_t i = 0; i < n; ++i)
        t[3 * n + i] = KXFIX::from_raw(KXFIX::from_int(i * i * i).m_raw / kBvalDenominator);
    CPDFShadingTensor::ms_init = 1;
}

// Grid places of read positions 5 to 16 of the spiral (1 to 4 are places 0
// to 3, or the shared side).
constexpr int kSpiralRest[12] = {7, 11, 15, 14, 13, 12, 8, 4, 5, 6, 10, 9};
// The side of the previous patch that a flag continues, in the new patch's
// row 0 order, and the corners it shares.
// clang-format off
constexpr int kSharedSide[4][4] = {{}, {3, 7, 11, 15}, {15, 14, 13, 12}, {12, 8, 4, 0}};
constexpr int kSharedCorner[4][2] = {{}, {1, 2}, {2, 3}, {3, 0}};
// clang-format on

void read_patch(CPDFShadingTensor::_group& g, const CPDFShadingTensor::_group& prev, uint32_t flag,
                CPDFShadingDataReader& reader) {
    int first_clr = 0;
    if (flag == 0) {
        for (int k = 0; k < 4; ++k) reader.read_pt(g.m_pts[k]);
    } else {
        for (int k = 0; k < 4; ++k) g.m_pts[k] = prev.m_pts[kSharedSide[flag][k]];
        // The colour words of the shared corners are neither copied nor made.
        for (int k = 0; k < 2; ++k) g.m_clr[k] = prev.m_clr[kSharedCorner[flag][k]];
        first_clr = 2;
    }
    for (const int k : kSpiralRest) reader.read_pt(g.m_pts[k]);
    for (int k = first_clr; k < 4; ++k) {
        reader.read_clr(g.m_clr[k]);
        reader.m_cs->get_rgb(g.m_clr[k], g.m_rgba[k]);
    }
}

using detail::PATCH_CELL;
constexpr int32_t kSteps = CPDFShadingTensor::kGridCells;
constexpr int kStepShift = 4;  // one sixteenth

// One colour byte of grid point (i, j) from the corner bytes c0 (u 0, v 0),
// c1 (u 0, v 1), c2 (u 1, v 1), c3 (u 1, v 0): along u to a byte on each side,
// then along v.
inline uint8_t grid_byte(uint32_t c0, uint32_t c1, uint32_t c2, uint32_t c3, uint32_t i,
                         uint32_t j) {
    const uint32_t low = (((kSteps - i) * c0 + i * c3) >> kStepShift) & 255;
    const uint32_t high = (((kSteps - i) * c1 + i * c2) >> kStepShift) & 255;
    return static_cast<uint8_t>((low * (kSteps - j) + high * j) >> kStepShift);
}

inline PATCH_CELL device_corner(const _KXMATRIX& matrix, _KXPOINTF p, _KXRGBA c) {
    matrix.transform_point(p);
    PATCH_CELL cell;
    cell.m_color = c;
    cell.m_x = p.x;
    cell.m_y = p.y;
    return cell;
}

template <class Bitmap>
int32_t render_tensor(const CPDFShadingTensor& sh, const _KXMATRIX& matrix, const _KXPOINT& origin,
                      const CKXBmp8& mask, Bitmap& dst) {
    if (sh.m_group_count < 1 || !sh.m_groups) {
        detail::clear_empty(dst);
        return 0;
    }
    const int32_t org_x = scan_from_pixels(origin.x);
    const int32_t org_y = scan_from_pixels(origin.y);
    CKXPathCRender path;
    PATCH_CELL grid[kSteps + 1][kSteps + 1];
    for (int32_t g = 0; g < sh.m_group_count; ++g) {
        const CPDFShadingTensor::_group& group = sh.m_groups[g];
        const _KXPOINTF* const pts = group.m_pts;
        // Only the corners decide; the other twelve control points may reach
        // far beyond them.
        _KXRECTF box;
        for (const int k : {0, 3, 12, 15}) {
            if (pts[k].x < box.left) box.left = pts[k].x;
            if (pts[k].x > box.right) box.right = pts[k].x;
            if (pts[k].y < box.top) box.top = pts[k].y;
            if (pts[k].y > box.bottom) box.bottom = pts[k].y;
        }
        matrix.get_bound(box);
        const KXFIX size = (box.right - box.left) + (box.bottom - box.top);
        if (size.m_raw < CPDFShadingTensor::kGridMinSize) {
            // Sides taken as straight: the same walk around the patch as a
            // grid cell, the stored colour words as they are, alpha included.
            detail::paint_cell(path, org_x, org_y, dst, true,
                               device_corner(matrix, pts[0], group.m_rgba[0]),
                               device_corner(matrix, pts[3], group.m_rgba[1]),
                               device_corner(matrix, pts[15], group.m_rgba[2]),
                               device_corner(matrix, pts[12], group.m_rgba[3]));
            continue;
        }
        for (int32_t j = 0; j <= kSteps; ++j) {
            for (int32_t i = 0; i <= kSteps; ++i) {
                PATCH_CELL& cell = grid[j][i];
                cell.m_color = group.get_rgba(i, j);
                _KXPOINTF p;
                sh.get_xy(&group, i, j, p.x, p.y);
                matrix.transform_point(p);
                cell.m_x = p.x;
                cell.m_y = p.y;
            }
        }
        for (int32_t j = 0; j < kSteps; ++j) {
            for (int32_t i = 0; i < kSteps; ++i) {
                const bool rim = i == 0 || i == kSteps - 1 || j == 0 || j == kSteps - 1;
                detail::paint_cell(path, org_x, org_y, dst, rim, grid[j][i], grid[j + 1][i],
                                   grid[j + 1][i + 1], grid[j][i + 1]);
            }
        }
    }
    dst.apply_mask(mask, 0, 0);
    return 1;
}
}  // namespace

KXFIX CPDFShadingTensor::ms_bval[4 * CPDFShadingTensor::kBvalSteps] = {};
int32_t CPDFShadingTensor::ms_init = 0;

// Every store writes the same value to the same place, so a second filling
// would be harmless; the once-only guard also makes the filled table visible
// to every thread that went through init.
void CPDFShadingTensor::init() {
    static std::once_flag once;
    std::call_once(once, fill_bval);
}

CPDFShadingTensor::CPDFShadingTensor(CPDFXRefTable* xref) : CPDFShading(7, xref) {}

CPDFShadingTensor::~CPDFShadingTensor() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_groups);
    m_groups = nullptr;
}

void CPDFShadingTensor::load() {
    // Only a stream is loaded at all, its base part included.
    if (m_loaded || m_obj.m_tag != kObjStream) return;
    m_loaded = 1;
    CPDFShading::load();
    detail::load_patches(*this, read_patch);
}

_KXRGBA CPDFShadingTensor::_group::get_rgba(int i, int j) const {
    const auto ui = static_cast<uint32_t>(i), uj = static_cast<uint32_t>(j);
    const _KXRGBA* const c = m_rgba;
    _KXRGBA out;
    out.b = grid_byte(c[0].b, c[1].b, c[2].b, c[3].b, ui, uj);
    out.g = grid_byte(c[0].g, c[1].g, c[2].g, c[3].g, ui, uj);
    out.r = grid_byte(c[0].r, c[1].r, c[2].r, c[3].r, ui, uj);
    out.a = 255;
    return out;
}

void CPDFShadingTensor::get_xy(const _group* group, int iu, int iv, KXFIX& x, KXFIX& y) const {
    const _KXPOINTF* const pts = group->m_pts;
    // The first index goes with u: weight row r at column iu, times row c at
    // column iv, the u weight left. Each term truncates by itself; the sums
    // are exact, so only the products decide.
    for (int r = 0; r < 4; ++r) {
        const KXFIX wu = ms_bval[r * kBvalSteps + iu];
        for (int c = 0; c < 4; ++c) {
            const KXFIX w = wu * ms_bval[c * kBvalSteps + iv];
            const _KXPOINTF& p = pts[4 * r + c];
            // The coordinate is the left operand: its own size decides what
            // it loses.
            const KXFIX tx = p.x * w;
            const KXFIX ty = p.y * w;
            if (r == 0 && c == 0) {
                x = tx;
                y = ty;
            } else {
                x = x + tx;
                y = y + ty;
            }
        }
    }
}

int32_t CPDFShadingTensor::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                         const CKXBmp8& mask, CKXBmp32& dst) const {
    return render_tensor(*this, matrix, origin, mask, dst);
}

int32_t CPDFShadingTensor::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                          CKXBmp8& mask, CKXBmpGray& dst) const {
    return render_tensor(*this, matrix, origin, mask, dst);
}

}  // namespace shadepaint
