// Helpers of the scan converter tests: painting a polygon the way the shadings
// do, and an exact reference for which pixel centres lie inside a polygon.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/path_crender.h"
#include "mesh/path_crender2.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"

namespace scantest {

using shadepaint::_KXRGBA;

inline int32_t low32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// A corner in absolute 1/128 pixel (origin included), with its colour or value.
struct Corner {
    int64_t x;
    int64_t y;
    _KXRGBA c;
    int32_t v;
};

inline Corner at(int64_t x, int64_t y, _KXRGBA c = {0, 0, 0, 255}, int32_t v = 0) {
    return Corner{x, y, c, v};
}

// Opens, fills and closes a polygon as the mesh shadings do; origin in pixels.
inline void outline(shadepaint::CKXPathCRender& p, const std::vector<Corner>& pts, int32_t ox,
                    int32_t oy, int32_t height) {
    p.begin(0, 0, 0);
    p.begin(shadepaint::scan_from_pixels(ox), shadepaint::scan_from_pixels(oy), height);
    p.m_start_x = p.m_cur_x = low32(pts[0].x - p.m_org_x);
    p.m_start_y = p.m_cur_y = low32(pts[0].y - p.m_org_y);
    p.m_start_rgba = p.m_cur_rgba = pts[0].c;
    for (size_t i = 1; i < pts.size(); ++i) p.line_to(low32(pts[i].x), low32(pts[i].y), pts[i].c);
    p.line_to(low32(int64_t{p.m_start_x} + p.m_org_x), low32(int64_t{p.m_start_y} + p.m_org_y),
              p.m_start_rgba);
}

inline void outline(shadepaint::CKXPathCRender2& p, const std::vector<Corner>& pts, int32_t ox,
                    int32_t oy, int32_t height) {
    p.begin(0, 0, 0);
    p.begin(shadepaint::scan_from_pixels(ox), shadepaint::scan_from_pixels(oy), height);
    p.m_start_x = p.m_cur_x = low32(pts[0].x - p.m_org_x);
    p.m_start_y = p.m_cur_y = low32(pts[0].y - p.m_org_y);
    p.m_start_value = p.m_cur_value = pts[0].v;
    for (size_t i = 1; i < pts.size(); ++i) p.line_to(low32(pts[i].x), low32(pts[i].y), pts[i].v);
    p.line_to(low32(int64_t{p.m_start_x} + p.m_org_x), low32(int64_t{p.m_start_y} + p.m_org_y),
              p.m_start_value);
}

inline void paint(shadepaint::CKXPathCRender& p, const std::vector<Corner>& pts, int32_t ox,
                  int32_t oy, shadepaint::CKXBmp32& dst) {
    outline(p, pts, ox, oy, dst.m_height);
    p.render_smooth(&dst);
}

inline uint8_t* pixel(shadepaint::CKXBmp& b, int32_t bytes, int32_t x, int32_t y) {
    return b.m_data + static_cast<int64_t>(y) * b.m_stride + static_cast<int64_t>(x) * bytes;
}

// What the reference says of a pixel.
enum class Side { kOut, kIn, kNear };

// Does the segment a-b meet the box [x0, x1] x [y0, y1]? (Clipping of the
// segment's parameter range against the four sides.)
inline bool meets_box(const Corner& a, const Corner& b, double x0, double y0, double x1,
                      double y1) {
    double t0 = 0, t1 = 1;
    const double ax = static_cast<double>(a.x), ay = static_cast<double>(a.y);
    const double dx = static_cast<double>(b.x) - ax, dy = static_cast<double>(b.y) - ay;
    const double p[4] = {-dx, dx, -dy, dy}, q[4] = {ax - x0, x1 - ax, ay - y0, y1 - ay};
    for (int k = 0; k < 4; ++k) {
        if (p[k] == 0) {
            if (q[k] < 0) return false;
            continue;
        }
        const double t = q[k] / p[k];
        if (p[k] < 0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 > t1) return false;
    }
    return true;
}

// Pixel (i, j) of a bitmap at origin (ox, oy) pixels against the polygon's
// exact edges: kIn when its centre lies inside (nonzero winding, with the
// converter's half-open rule on rows), kOut when it lies outside, kNear when
// it lies within `margin` units horizontally of an edge, where the
// converter's rounding may decide either way. With `area`, for conservative
// painting, an outside pixel is kOut only when no edge comes within `margin`
// units of its square, so that it shares no area with the polygon.
inline Side classify(const std::vector<Corner>& pts, int64_t ox, int64_t oy, int64_t i, int64_t j,
                     int64_t margin, bool area = false) {
    const __int128 cx = (ox + i) * 128 + 64, cy = (oy + j) * 128 + 64;
    int winding = 0;
    const size_t n = pts.size();
    for (size_t k = 0; k < n; ++k) {
        const Corner& a = pts[k];
        const Corner& b = pts[(k + 1) % n];
        if (a.y == b.y) continue;
        const __int128 lo = a.y < b.y ? a.y : b.y, hi = a.y < b.y ? b.y : a.y;
        if (cy < lo || cy > hi) continue;
        // cx minus the edge's x at cy, times (b.y - a.y).
        const __int128 dy = static_cast<__int128>(b.y) - a.y;
        const __int128 rel = (cx - a.x) * dy - (static_cast<__int128>(b.x) - a.x) * (cy - a.y);
        const __int128 mag = dy < 0 ? -dy : dy;
        const __int128 arel = rel < 0 ? -rel : rel;
        if (arel <= margin * mag) return Side::kNear;
        if (cy == hi) continue;
        // rel / dy is the horizontal distance; the edge is left of the centre
        // when it is positive.
        if ((rel > 0) == (dy > 0)) winding += dy > 0 ? 1 : -1;
    }
    if (winding != 0) return Side::kIn;
    if (!area) return Side::kOut;
    const double x0 = static_cast<double>((ox + i) * 128 - margin);
    const double y0 = static_cast<double>((oy + j) * 128 - margin);
    for (size_t k = 0; k < n; ++k)
        if (meets_box(pts[k], pts[(k + 1) % n], x0, y0, x0 + 128 + 2 * margin,
                      y0 + 128 + 2 * margin))
            return Side::kNear;
    return Side::kOut;
}

}  // namespace scantest
