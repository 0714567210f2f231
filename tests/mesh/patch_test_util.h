// Shared by the patch mesh tests: patch records built by hand, shadings that
// hold them without a document, and bitmaps with guard bytes around the rows.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "mesh/shading_coons.h"
#include "mesh/shading_tensor.h"
#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace shadepaint::patchtest {

// Raw value of a number of device or shading units.
constexpr int64_t raw(double v) { return static_cast<int64_t>(v * kKxOne); }
inline KXFIX fx(double v) { return KXFIX::from_raw(raw(v)); }
inline _KXPOINTF pt_raw(int64_t x, int64_t y) {
    return _KXPOINTF{KXFIX::from_raw(x), KXFIX::from_raw(y)};
}
inline _KXPOINTF pt(double x, double y) { return pt_raw(raw(x), raw(y)); }
inline _KXRGBA rgba(uint8_t r, uint8_t g, uint8_t b, uint8_t a = 255) {
    return _KXRGBA{b, g, r, a};
}
inline uint32_t word(_KXRGBA c) {
    uint32_t w;
    std::memcpy(&w, &c, sizeof(w));
    return w;
}

// Every channel at most tol below want and none above it: the scan converter
// interpolates with truncating divisions, so even a constant colour may lose
// a unit at row boundaries and another along a span.
inline ::testing::AssertionResult near_below(_KXRGBA c, _KXRGBA want, int tol = 2) {
    const int got[4] = {c.b, c.g, c.r, c.a};
    const int exp[4] = {want.b, want.g, want.r, want.a};
    for (int k = 0; k < 4; ++k) {
        if (got[k] > exp[k] || got[k] < exp[k] - tol)
            return ::testing::AssertionFailure()
                   << "channel " << k << " is " << got[k] << ", want " << exp[k] << " - " << tol;
    }
    return ::testing::AssertionSuccess();
}

inline _KXMATRIX scale(double sx, double sy, double ex = 0, double ey = 0) {
    return _KXMATRIX{fx(sx), KXFIX{0}, KXFIX{0}, fx(sy), fx(ex), fx(ey)};
}

// A Coons patch whose sides are the straight sides of the box (x0, y0) to
// (x1, y1) (raw), control points at the thirds; u runs along x, v along y.
inline CPDFShadingCoons::_group coons_box_raw(int64_t x0, int64_t y0, int64_t x1, int64_t y1,
                                              const _KXRGBA (&c)[4]) {
    CPDFShadingCoons::_group g;
    std::memset(&g, 0, sizeof(g));
    // Point k thirds of the way along u and l thirds along v; the far side
    // exactly, and no product beyond twice the size.
    const auto third = [](int64_t a, int64_t b, int k) { return k == 3 ? b : a + (b - a) * k / 3; };
    const auto at = [&](int k, int l) { return pt_raw(third(x0, x1, k), third(y0, y1, l)); };
    // 0-3 up the u = 0 side, 3-6 along v = 1, 6-9 down u = 1, 9-0 along v = 0.
    for (int k = 0; k < 4; ++k) {
        g.m_pts[k] = at(0, k);
        g.m_pts[3 + k] = at(k, 3);
        g.m_pts[6 + k] = at(3, 3 - k);
    }
    g.m_pts[10] = at(2, 0);
    g.m_pts[11] = at(1, 0);
    for (int k = 0; k < 4; ++k) g.m_rgba[k] = c[k];
    return g;
}
inline CPDFShadingCoons::_group coons_box(double x0, double y0, double x1, double y1,
                                          const _KXRGBA (&c)[4]) {
    return coons_box_raw(raw(x0), raw(y0), raw(x1), raw(y1), c);
}

// A tensor patch over the box with its net at the thirds: entry 4r + c at
// u = r / 3 along x, v = c / 3 along y.
inline CPDFShadingTensor::_group tensor_box(double dx0, double dy0, double dx1, double dy1,
                                            const _KXRGBA (&c)[4]) {
    const int64_t x0 = raw(dx0), y0 = raw(dy0), x1 = raw(dx1), y1 = raw(dy1);
    CPDFShadingTensor::_group g;
    std::memset(&g, 0, sizeof(g));
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 4; ++k)
            g.m_pts[4 * r + k] =
                pt_raw(r == 3 ? x1 : x0 + (x1 - x0) * r / 3, k == 3 ? y1 : y0 + (y1 - y0) * k / 3);
    for (int k = 0; k < 4; ++k) g.m_rgba[k] = c[k];
    return g;
}

// Puts records into a shading's store as load would leave them.
template <class Shading, class Group>
void set_groups(Shading& s, const std::vector<Group>& groups) {
    KXFree(s.m_groups);
    s.m_groups = static_cast<Group*>(KXAlloc(groups.size() * sizeof(Group)));
    ASSERT_NE(s.m_groups, nullptr);
    std::memcpy(static_cast<void*>(s.m_groups), groups.data(), groups.size() * sizeof(Group));
    s.m_group_count = static_cast<int32_t>(groups.size());
    s.m_group_cap = s.m_group_count;
}

// Pixels in a vector with stride wider than the row and a guard byte past the
// last row, so that writes outside the picture show.
template <class Bmp, int kBytes>
struct Canvas {
    static constexpr uint8_t kGuard = 0x5a;
    std::vector<uint8_t> bytes;
    Bmp bmp;
    Canvas(int32_t w, int32_t h, int32_t pad = 3, uint8_t fill = 0)
        : bytes(static_cast<size_t>(w * kBytes + pad) * static_cast<size_t>(h) + 1, kGuard),
          bmp(bytes.data(), w, h, w * kBytes + pad) {
        for (int32_t y = 0; y < h; ++y)
            std::memset(px(0, y), fill, static_cast<size_t>(w * kBytes));
    }
    uint8_t* px(int32_t x, int32_t y) {
        return bytes.data() + static_cast<size_t>(y) * static_cast<size_t>(bmp.m_stride) +
               static_cast<size_t>(x) * kBytes;
    }
    _KXRGBA colour(int32_t x, int32_t y) {
        _KXRGBA c;
        std::memcpy(&c, px(x, y), sizeof(c));
        return c;
    }
    // Padding after each row and the byte past the last are untouched.
    bool guards_intact() {
        for (int32_t y = 0; y < bmp.m_height; ++y)
            for (int32_t b = bmp.m_width * kBytes; b < bmp.m_stride; ++b)
                if (bytes[static_cast<size_t>(y * bmp.m_stride + b)] != kGuard) return false;
        return bytes.back() == kGuard;
    }
};
using Canvas32 = Canvas<CKXBmp32, 4>;
using CanvasGray = Canvas<CKXBmpGray, 2>;

// A mask of one coverage everywhere.
struct Mask {
    std::vector<uint8_t> bytes;
    CKXBmp8 bmp;
    Mask(int32_t w, int32_t h, uint8_t coverage = 255)
        : bytes(static_cast<size_t>(w) * static_cast<size_t>(h), coverage),
          bmp(bytes.data(), w, h, w) {}
};

// A mesh bit stream: fields most significant bit first, packed across bytes.
struct Bits {
    std::string bytes;
    int used = 8;  // bits of the last byte filled
    Bits& put(uint32_t value, int n) {
        for (int k = n - 1; k >= 0; --k) {
            if (used == 8) {
                bytes.push_back('\0');
                used = 0;
            }
            if ((value >> k) & 1) bytes.back() = static_cast<char>(bytes.back() | (0x80 >> used));
            ++used;
        }
        return *this;
    }
    Bits& align() {
        used = 8;
        return *this;
    }
};

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

// A shading stream as indirect object 1 of a table: the dictionary entries
// given and the body, the factory's result for a reference to it.
class MeshDoc {
public:
    CPDFXRefTable xref;
    void add(const std::string& keys, const std::string& body) {
        const std::string text = "<<" + keys + " /Length " + std::to_string(body.size()) +
                                 ">>stream\n" + body + "\nendstream";
        EXPECT_TRUE(xref.set_object(1, text.data(), text.size())) << keys;
    }
    // The factory's result for a reference to object 1, not loaded.
    ShadingPtr shading() {
        CPDFObj ref;
        ref.init_empty();
        ref.m_tag = kObjRef;
        ref.m_ref = PDF_REF{1, 0};
        return ShadingPtr(CPDFShading::parser_shading(&xref, &ref));
    }
    ShadingPtr make(const std::string& keys, const std::string& body) {
        add(keys, body);
        return shading();
    }
    // The same, loaded, as the class T (null and a failure if it isn't one).
    template <class T>
    T* load(ShadingPtr& holder, const std::string& keys, const std::string& body) {
        holder = make(keys, body);
        T* s = dynamic_cast<T*>(holder.get());
        EXPECT_NE(s, nullptr) << keys;
        if (s) s->load();
        return s;
    }
};

// Restores normal allocation however a test ends.
struct AllocGuard {
    ~AllocGuard() { kx_alloc_fail_after(-1); }
};

}  // namespace shadepaint::patchtest
