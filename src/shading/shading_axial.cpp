// Axial shading: load, position along the axis, and the pixel step.
//
// load() evaluates the functions at 256 equal steps of Domain into m_ramp and
// prepares m_scale, 2^52 over the squared axis length in raw units, so that
// the position of a point is its projection on the axis times m_scale: 0 at
// the start, just under 1.0 at the end (the reciprocal truncates). An axis
// longer than 256.0 on a slant would overflow that projection, so both
// differences are taken down by m_shift bits first, and the reciprocal is
// formed from the shifted values; the shifts cancel in get_pos_mul.
//
// The position is compared with the raw Domain numbers and indexes the ramp
// by itself, without being mapped into the domain: with Domain [0.25 0.75],
// only positions 0.25 to 0.75 are painted and show entries 64 to 191. Pixels
// beyond the domain show the background word, which is all zero (transparent
// black) when there is no Background: they are written, not skipped.
//
// Rendering picks the position rule once a band, and with it the loop: the
// shared pixel loop in general, and cheaper loops where the band's steps let
// a look-up serve a whole row or column (see paint_axis_parallel and
// paint_slanted). Every loop walks the same running coordinates, so all give
// the same picture.
#include "shading/shading_axial.h"

#include <cstdint>
#include <new>

#include "engine/kxalloc.h"
#include "object/obj_access_p.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {

// Magnitudes, in raw units, up to which a difference needs no pre-shift, a
// shift of 8 and a shift of 16; anything larger takes 24.
constexpr int64_t kBelow256 = KXFIX::from_int(256).m_raw - 1;
constexpr int64_t kBelow65536 = KXFIX::from_int(65536).m_raw - 1;
constexpr int64_t kBelow2Pow24 = KXFIX::from_int(16777216).m_raw - 1;

int32_t shift_class(KXFIX v) {
    // In unsigned terms, so that the most negative raw value counts as large.
    const uint64_t mag =
        v.m_raw < 0 ? 0 - static_cast<uint64_t>(v.m_raw) : static_cast<uint64_t>(v.m_raw);
    if (mag <= static_cast<uint64_t>(kBelow256)) return 0;
    if (mag <= static_cast<uint64_t>(kBelow65536)) return 8;
    if (mag <= static_cast<uint64_t>(kBelow2Pow24)) return 16;
    return 24;
}

// The loaded geometry that a position needs, hoisted out of the object.
struct axial_geom {
    KXFIX x0;
    KXFIX y0;
    KXFIX dx;
    KXFIX dy;
    KXFIX scale;
    int32_t shift;
};

axial_geom geom_of(const CPDFShadingAxial& s) {
    return {s.m_coords.left, s.m_coords.top, s.m_dx, s.m_dy, s.m_scale, s.m_shift};
}

// The rules of get_pos, one per axis direction, and of get_pos_mul. In each
// product the left operand is the one the rule names: it decides which low
// bits are given up.
struct pos_along_x {
    static KXFIX at(const axial_geom& g, KXFIX x, KXFIX) { return (x - g.x0) * g.scale; }
};
struct pos_along_y {
    static KXFIX at(const axial_geom& g, KXFIX, KXFIX y) { return (y - g.y0) * g.scale; }
};
// The slanted rules are sums of a part that reads x and a part that reads y,
// finished by the reciprocal; a band whose x changes only along rows and y
// only down columns computes each part once per column or row.
struct pos_slanted {
    static KXFIX part_x(const axial_geom& g, KXFIX x) { return g.dx * (x - g.x0); }
    static KXFIX part_y(const axial_geom& g, KXFIX y) { return g.dy * (y - g.y0); }
    static KXFIX finish(const axial_geom& g, KXFIX a, KXFIX b) { return (a + b) * g.scale; }
    static KXFIX at(const axial_geom& g, KXFIX x, KXFIX y) {
        return finish(g, part_x(g, x), part_y(g, y));
    }
};
struct pos_shifted {
    static KXFIX part_x(const axial_geom& g, KXFIX x) {
        return KXFIX::from_raw(g.dx.m_raw >> g.shift) * (x - g.x0);
    }
    static KXFIX part_y(const axial_geom& g, KXFIX y) {
        return KXFIX::from_raw(g.dy.m_raw >> g.shift) * (y - g.y0);
    }
    static KXFIX finish(const axial_geom& g, KXFIX a, KXFIX b) {
        return KXFIX::from_raw((a + b).m_raw >> g.shift) * g.scale;
    }
    static KXFIX at(const axial_geom& g, KXFIX x, KXFIX y) {
        return finish(g, part_x(g, x), part_y(g, y));
    }
};

// The colour of one covered pixel.
template <class Pos>
struct axial_lookup {
    static constexpr bool kPaintsUncovered = false;

    axial_geom geom;
    // Positions below lo or above hi show the background.
    int64_t lo;
    int64_t hi;
    _KXRGBA background;
    const _KXRGBA* ramp;

    _KXRGBA operator()(KXFIX x, KXFIX y) const { return at_position(Pos::at(geom, x, y)); }

    _KXRGBA at_position(KXFIX t) const {
        if (t.m_raw < lo || t.m_raw > hi) return background;
        // Beyond an extended end the byte conversion clamps to entry 0 or 255.
        return ramp[t.to_byte()];
    }
};

template <class Pos>
axial_lookup<Pos> make_lookup(const CPDFShadingAxial& s) {
    const detail::ramp_window w =
        detail::domain_window(s.m_t0, s.m_t1, s.m_extend_start, s.m_extend_end);
    return {geom_of(s), w.lo, w.hi, s.m_bg_rgba, s.m_ramp};
}

// An axis parallel to a coordinate axis reads one coordinate. When that
// coordinate doesn't change along a row, each row has one colour; when it
// doesn't change from row to row, all rows repeat the first. Both are common
// (any matrix without rotation) and look up far fewer pixels; the pictures
// are the same as the general loop's, since the running coordinates are.
template <class Store, class Pos>
void paint_axis_parallel(const PDF_RENDER_BAND& band, const axial_lookup<Pos>& lookup,
                         KXFIX col_step, KXFIX row_step) {
    if (col_step.m_raw == 0)
        detail::paint_band_uniform_rows<Store>(band, lookup);
    else if (row_step.m_raw == 0)
        detail::paint_band_repeated_rows<Store>(band, lookup);
    else
        detail::paint_band<Store>(band, lookup);
}

// The pixel loop of a slanted axis in a band whose x changes only along a
// row and y only from row to row (no rotation): the x part of the position is
// made once per column of a run, the y part once per row. The running
// coordinates, and so the picture, are those of the general loop.
template <class Store, class Pos>
void paint_slanted_unrotated(const PDF_RENDER_BAND& band, const axial_lookup<Pos>& lookup) {
    const uint8_t* const mask = band.m_mask_row;
    uint8_t* const dst = band.m_dst_row;
    const ptrdiff_t mask_stride = band.m_mask_stride;
    const ptrdiff_t dst_stride = band.m_dst_stride;
    const int32_t width = band.m_width;
    const int32_t height = band.m_height;
    const KXFIX col_dx = band.m_col_dx;
    const KXFIX row_dy = band.m_row_dy;
    const axial_geom g = lookup.geom;
    KXFIX x = band.m_start_x;
    KXFIX parts[detail::kColumnRun];
    for (int32_t first = 0; first < width; first += detail::kColumnRun) {
        const int32_t n = width - first < detail::kColumnRun ? width - first : detail::kColumnRun;
        for (int32_t i = 0; i < n; ++i) {
            parts[i] = Pos::part_x(g, x);
            x += col_dx;
        }
        KXFIX y = band.m_start_y;
        for (int32_t j = 0; j < height; ++j) {
            const uint8_t* const m = mask + j * mask_stride + first;
            uint8_t* p = dst + j * dst_stride + first * Store::kBytes;
            const KXFIX part_y = Pos::part_y(g, y);
            for (int32_t i = 0; i < n; ++i, p += Store::kBytes) {
                const uint32_t coverage = m[i];
                if (coverage != 0)
                    Store::put(p, lookup.at_position(Pos::finish(g, parts[i], part_y)), coverage);
            }
            y += row_dy;
        }
    }
}

template <class Store, class Pos>
void paint_slanted(const PDF_RENDER_BAND& band, const axial_lookup<Pos>& lookup) {
    if (band.m_col_dy.m_raw == 0 && band.m_row_dx.m_raw == 0)
        paint_slanted_unrotated<Store>(band, lookup);
    else
        detail::paint_band<Store>(band, lookup);
}

template <class Store>
void paint_axial(const PDF_RENDER_BAND& band) {
    const auto& s = static_cast<const CPDFShadingAxial&>(*band.m_shading);
    // Same order of tests as get_pos; m_shift is never set on an axis parallel
    // to a coordinate axis.
    if (s.m_shift != 0)
        paint_slanted<Store>(band, make_lookup<pos_shifted>(s));
    else if (s.m_coords.top == s.m_coords.bottom)
        paint_axis_parallel<Store>(band, make_lookup<pos_along_x>(s), band.m_col_dx, band.m_row_dx);
    else if (s.m_coords.left == s.m_coords.right)
        paint_axis_parallel<Store>(band, make_lookup<pos_along_y>(s), band.m_col_dy, band.m_row_dy);
    else
        paint_slanted<Store>(band, make_lookup<pos_slanted>(s));
}

}  // namespace

CPDFShadingAxial::CPDFShadingAxial(CPDFXRefTable* xref) : CPDFShading(2, xref) {}

CPDFShadingAxial* CPDFShadingAxial::create(CPDFXRefTable* xref) {
    void* mem = KXAlloc(sizeof(CPDFShadingAxial));
    if (!mem) return nullptr;
    return new (mem) CPDFShadingAxial(xref);
}

void CPDFShadingAxial::operator delete(void* p) { KXFree(p); }

CPDFShadingAxial::~CPDFShadingAxial() { detail::free_functions(m_funcs, m_func_count); }

void CPDFShadingAxial::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // A shading held as a stream reads its keys from the stream's dictionary.
    const CPDFDictionary* dict = m_obj.dict();
    if (!dict) return;

    // Without Coords the axis stays all zero: every position is 0.
    detail::read_rect(m_xref, m_coords, dict->find("Coords"));
    m_dx = m_coords.right - m_coords.left;
    m_dy = m_coords.bottom - m_coords.top;

    // A Domain or Extend that is no array, or too short, reads its missing
    // items as 0 and false.
    if (const CPDFObj* domain = dict->find("Domain")) {
        ScopedObj l;
        detail::deref(m_xref, domain, l.obj);
        const CPDFArray* a = detail::local_array(l.obj);
        m_t0 = detail::obj_to_fix(m_xref, detail::array_at(a, 0));
        m_t1 = detail::obj_to_fix(m_xref, detail::array_at(a, 1));
    }
    detail::read_functions(m_xref, dict->find("Function"), m_funcs, m_func_count);
    if (const CPDFObj* extend = dict->find("Extend")) {
        ScopedObj l;
        detail::deref(m_xref, extend, l.obj);
        const CPDFArray* a = detail::local_array(l.obj);
        m_extend_start = detail::obj_to_bool(m_xref, detail::array_at(a, 0));
        m_extend_end = detail::obj_to_bool(m_xref, detail::array_at(a, 1));
    }

    // Without a colour space the ramp stays transparent black.
    detail::build_ramp(m_cs, m_funcs, m_func_count, m_t0, m_t1, m_ramp, nullptr);

    // x is tested before y here and after it in get_pos; the orders differ
    // only for a zero-length axis, where m_scale is 0 either way.
    const int32_t shift_x = shift_class(m_dx);
    const int32_t shift_y = shift_class(m_dy);
    m_shift = shift_x > shift_y ? shift_x : shift_y;
    if (m_coords.left == m_coords.right) {
        m_scale = KXFIX::from_raw(kx_recip(m_dy.m_raw));
        m_shift = 0;
    } else if (m_coords.top == m_coords.bottom) {
        m_scale = KXFIX::from_raw(kx_recip(m_dx.m_raw));
        m_shift = 0;
    } else {
        const KXFIX a = KXFIX::from_raw(m_dx.abs().m_raw >> m_shift);
        const KXFIX b = KXFIX::from_raw(m_dy.abs().m_raw >> m_shift);
        m_scale = KXFIX::from_raw(kx_recip((b * b + a * a).m_raw));
    }
}

KXFIX CPDFShadingAxial::get_pos(const KXFIX& x, const KXFIX& y) const {
    const axial_geom g = geom_of(*this);
    if (m_coords.top == m_coords.bottom) return pos_along_x::at(g, x, y);
    if (m_coords.left == m_coords.right) return pos_along_y::at(g, x, y);
    return pos_slanted::at(g, x, y);
}

KXFIX CPDFShadingAxial::get_pos_mul(const KXFIX& x, const KXFIX& y) const {
    return pos_shifted::at(geom_of(*this), x, y);
}

int32_t CPDFShadingAxial::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                        const CKXBmp8& mask, CKXBmp32& dst) const {
    return detail::render_frame(this, matrix, origin, mask, dst, &CallbackRender);
}

int32_t CPDFShadingAxial::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                         CKXBmp8& mask, CKXBmpGray& dst) const {
    return detail::render_frame(this, matrix, origin, mask, dst, &CallbackRenderG);
}

void CPDFShadingAxial::CallbackRender(void* arg) {
    paint_axial<detail::store_bgra>(*static_cast<const PDF_RENDER_BAND*>(arg));
}

void CPDFShadingAxial::CallbackRenderG(void* arg) {
    paint_axial<detail::store_gray>(*static_cast<const PDF_RENDER_BAND*>(arg));
}

}  // namespace shadepaint
