// Painting a flat store of triangles, shared by the free-form and lattice
// meshes: each triangle goes to the colour scan converter in store order,
// straight into the destination, so a later triangle covers an earlier one.
// Vertices are transformed anew for every triangle and every call (the same
// shading is painted under many matrices) and rounded to the nearest 1/128
// pixel; every corner is opaque. The converter's row tables are kept from one
// triangle to the next, so rendering allocates only for its first triangles.
#pragma once

#include <cstdint>

#include "mesh/path_crender.h"
#include "mesh/shading_free_form.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"

namespace shadepaint::detail {

// 32-bit scan coordinates wrap like the converter's own arithmetic.
inline int32_t scan_wrap_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline int32_t scan_wrap_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

struct mesh_corner {
    int32_t x;  // device position, 1/128 pixel, origin included
    int32_t y;
    _KXRGBA c;
};

inline mesh_corner device_corner(const _KXMATRIX& m, const PDF_MESH_VERTEX& v) {
    _KXPOINTF p = v.m_pt;
    m.transform_point(p);
    _KXRGBA c = v.m_rgba;
    c.a = 255;
    return mesh_corner{scan_from_kx_round(p.x), scan_from_kx_round(p.y), c};
}

struct paint_rgb {
    static void paint(CKXPathCRender& path, CKXBmp32& dst) { path.render_smooth(&dst); }
};
struct paint_gray {
    static void paint(CKXPathCRender& path, CKXBmpGray& dst) { path.render_smoothg(&dst); }
};

// Paints count triangles (none when count is below 1) into dst. The mask is
// the caller's business.
template <class Paint, class Bmp>
void paint_triangles(const PDF_MESH_TRIANGLE* tris, int32_t count, const _KXMATRIX& matrix,
                     const _KXPOINT& origin, Bmp& dst) {
    CKXPathCRender path;
    const int32_t org_x = scan_from_pixels(origin.x);
    const int32_t org_y = scan_from_pixels(origin.y);
    for (int32_t i = 0; i < count; ++i) {
        const PDF_MESH_TRIANGLE& t = tris[i];
        path.begin(0, 0, 0);
        if (dst.m_height >= 1) path.begin(org_x, org_y, dst.m_height);
        const mesh_corner first = device_corner(matrix, t.m_v[0]);
        path.m_start_x = path.m_cur_x = scan_wrap_sub(first.x, path.m_org_x);
        path.m_start_y = path.m_cur_y = scan_wrap_sub(first.y, path.m_org_y);
        path.m_start_rgba = path.m_cur_rgba = first.c;
        for (int k = 1; k < 3; ++k) {
            const mesh_corner next = device_corner(matrix, t.m_v[k]);
            path.line_to(next.x, next.y, next.c);
        }
        path.line_to(scan_wrap_add(path.m_start_x, path.m_org_x),
                     scan_wrap_add(path.m_start_y, path.m_org_y), path.m_start_rgba);
        Paint::paint(path, dst);
    }
}

}  // namespace shadepaint::detail
