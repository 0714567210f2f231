// Shared by the mesh tests: mesh streams written bit by bit and loaded from a
// document, patch records built by hand, bitmaps with guard bytes, and the
// scan converters driven the way the shadings drive them, with a reference
// for what they should paint.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "mesh/path_crender.h"
#include "mesh/path_crender2.h"
#include "mesh/shading_coons.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "mesh/shading_tensor.h"
#include "numeric/kxmatrix.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"
#include "test_objects.h"

namespace shadepaint::meshtest {

// Raw value of a number of device or shading units.
constexpr int64_t raw(double v) { return static_cast<int64_t>(v * kKxOne); }
inline KXFIX fx(double v) { return KXFIX::from_raw(raw(v)); }
inline _KXPOINTF pt_raw(int64_t x, int64_t y) { return {KXFIX::from_raw(x), KXFIX::from_raw(y)}; }
inline _KXRGBA rgba(int r, int g, int b, int a = 255) {
    return _KXRGBA{static_cast<uint8_t>(b), static_cast<uint8_t>(g), static_cast<uint8_t>(r),
                   static_cast<uint8_t>(a)};
}
// The colour as the 32-bit word it is in memory.
inline uint32_t word(_KXRGBA c) { return c.b | c.g << 8 | c.r << 16 | uint32_t{c.a} << 24; }
inline _KXMATRIX scale(double sx, double sy, double ex = 0, double ey = 0) {
    return _KXMATRIX{fx(sx), KXFIX{0}, KXFIX{0}, fx(sy), fx(ex), fx(ey)};
}

// A mesh bit stream: fields most significant bit first, packed across bytes.
struct Bits {
    std::string bytes;
    int used = 8;  // bits of the last byte filled
    Bits& put(uint64_t value, int n) {
        for (int k = n - 1; k >= 0; --k, ++used) {
            if (used == 8) bytes.push_back('\0'), used = 0;
            if ((value >> k) & 1) bytes.back() = static_cast<char>(bytes.back() | (0x80 >> used));
        }
        return *this;
    }
    Bits& align() { return used = 8, *this; }
};

using ShadingPtr = std::unique_ptr<CPDFShading>;

// A shading stream as indirect object 1, made by the factory through a
// reference; the document keeps the shading it made last.
struct MeshDoc {
    CPDFXRefTable xref;
    ShadingPtr made;
    void add(const std::string& keys, const std::string& body) {
        const std::string text = "<<" + keys + " /Length " + std::to_string(body.size()) +
                                 ">>stream\n" + body + "\nendstream";
        EXPECT_TRUE(xref.set_object(1, text.data(), text.size())) << keys;
    }
    ShadingPtr shading() {
        CPDFObj ref = test::make_ref(1);
        return ShadingPtr(CPDFShading::parser_shading(&xref, &ref));
    }
    // Made and loaded as the class T; null if it isn't one.
    template <class T>
    T* load(const std::string& keys, const std::string& body) {
        add(keys, body);
        made = shading();
        T* s = dynamic_cast<T*>(made.get());
        if (s) s->load();
        return s;
    }
};

// The store of a free-form or lattice mesh and its length; the records of
// any mesh.
inline std::pair<const PDF_MESH_TRIANGLE*, int32_t> triangles(const CPDFShading& s) {
    if (auto* f = dynamic_cast<const CPDFShadingFreeForm*>(&s))
        return {f->m_triangles, f->m_triangle_count};
    auto& l = dynamic_cast<const CPDFShadingLatticeForm&>(s);
    return {l.m_triangles, l.m_triangle_count};
}
inline int32_t mesh_count(const CPDFShading& s) {
    if (auto* c = dynamic_cast<const CPDFShadingCoons*>(&s)) return c->m_group_count;
    if (auto* t = dynamic_cast<const CPDFShadingTensor*>(&s)) return t->m_group_count;
    return triangles(s).second;
}

// Pixels in a vector, rows padded past their width, a guard byte behind the
// last row: writes outside the picture show in guards_intact.
template <class Bmp, int kBytes>
struct Canvas {
    static constexpr uint8_t kGuard = 0x5a;
    std::vector<uint8_t> bytes;
    Bmp bmp;
    Canvas(int32_t w, int32_t h, uint8_t fill = 0, int32_t pad = 3)
        : bytes(static_cast<size_t>((w * kBytes + pad) * h + 1), kGuard),
          bmp(bytes.data(), w, h, w * kBytes + pad) {
        for (int32_t y = 0; y < h; ++y)
            std::memset(px(0, y), fill, static_cast<size_t>(w * kBytes));
    }
    uint8_t* px(int32_t x, int32_t y) { return &bytes[y * bmp.m_stride + x * kBytes]; }
    _KXRGBA colour(int32_t x, int32_t y) {
        return rgba(px(x, y)[2], px(x, y)[1], px(x, y)[0], px(x, y)[3]);
    }
    bool guards_intact() {
        for (int32_t y = 0; y < bmp.m_height; ++y)
            for (int32_t b = bmp.m_width * kBytes; b < bmp.m_stride; ++b)
                if (bytes[static_cast<size_t>(y * bmp.m_stride + b)] != kGuard) return false;
        return bytes.back() == kGuard;
    }
};
using Canvas32 = Canvas<CKXBmp32, 4>;
using CanvasGray = Canvas<CKXBmpGray, 2>;
struct Mask : Canvas<CKXBmp8, 1> {
    Mask(int32_t w, int32_t h, uint8_t coverage = 255) : Canvas(w, h, coverage, 0) {}
};

// k thirds of the way from a to b, the far end exactly.
inline int64_t third(int64_t a, int64_t b, int k) { return k == 3 ? b : a + (b - a) * k / 3; }

// Patch records over the box (x0, y0) to (x1, y1) with straight sides and
// control points at the thirds. Coons: u runs along x, v along y, points
// 0-3 up the u = 0 side, 3-6 along v = 1, 6-9 down u = 1, 9-0 along v = 0.
// Tensor: net entry 4r + c lies r / 3 of the way along x and c / 3 along y.
inline CPDFShadingCoons::_group coons_box(double x0, double y0, double x1, double y1,
                                          const _KXRGBA (&c)[4]) {
    CPDFShadingCoons::_group g = {};
    const auto at = [&](int k, int l) {
        return pt_raw(third(raw(x0), raw(x1), k), third(raw(y0), raw(y1), l));
    };
    const int ring[12][2] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {1, 3}, {2, 3},
                             {3, 3}, {3, 2}, {3, 1}, {3, 0}, {2, 0}, {1, 0}};
    for (int k = 0; k < 12; ++k) g.m_pts[k] = at(ring[k][0], ring[k][1]);
    std::copy(c, c + 4, g.m_rgba);
    return g;
}
inline CPDFShadingTensor::_group tensor_box(double x0, double y0, double x1, double y1,
                                            const _KXRGBA (&c)[4]) {
    CPDFShadingTensor::_group g = {};
    for (int k = 0; k < 16; ++k)
        g.m_pts[k] = pt_raw(third(raw(x0), raw(x1), k / 4), third(raw(y0), raw(y1), k % 4));
    std::copy(c, c + 4, g.m_rgba);
    return g;
}

// Puts records into a shading's store as load would leave them.
template <class Shading, class Group>
void set_groups(Shading& s, const std::vector<Group>& groups) {
    s.m_groups = static_cast<Group*>(KXRealloc(s.m_groups, groups.size() * sizeof(Group)));
    std::copy(groups.begin(), groups.end(), s.m_groups);
    s.m_group_count = s.m_group_cap = static_cast<int32_t>(groups.size());
}

// ---------------------------------------------------------------------------
// Scan converters.

inline int32_t low32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// A corner in absolute 1/128 pixel (origin included), with its value for
// the index converter; the colour converter paints it opaque black.
struct Corner {
    int64_t x, y;
    int32_t v;
};
inline Corner at(int64_t x, int64_t y, int32_t v = 0) { return Corner{x, y, v}; }

// Opens, fills and closes a polygon as the meshes do; origin in pixels.
inline void start(CKXPathCRender& p, const Corner&) {
    p.m_start_rgba = p.m_cur_rgba = _KXRGBA{0, 0, 0, 255};
}
inline void start(CKXPathCRender2& p, const Corner& c) { p.m_start_value = p.m_cur_value = c.v; }
inline _KXRGBA value(const CKXPathCRender&, const Corner&) { return _KXRGBA{0, 0, 0, 255}; }
inline int32_t value(const CKXPathCRender2&, const Corner& c) { return c.v; }
template <class Path>
void outline(Path& p, const std::vector<Corner>& pts, int32_t ox, int32_t oy, int32_t height) {
    p.begin(0, 0, 0);
    p.begin(scan_from_pixels(ox), scan_from_pixels(oy), height);
    p.m_start_x = p.m_cur_x = low32(pts[0].x - p.m_org_x);
    p.m_start_y = p.m_cur_y = low32(pts[0].y - p.m_org_y);
    start(p, pts[0]);
    for (size_t i = 1; i <= pts.size(); ++i) {
        const Corner& c = pts[i % pts.size()];
        p.line_to(low32(c.x), low32(c.y), value(p, c));
    }
}

}  // namespace shadepaint::meshtest
