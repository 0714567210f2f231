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
// Rendering picks the position rule once a band and runs one instance of the
// shared pixel loop with it.
#include "shading/shading_axial.h"

#include <cstdint>
#include <new>

#include "engine/kxalloc.h"
#include "object/obj_access_p.h"
#include "shading/function.h"
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
struct pos_slanted {
    static KXFIX at(const axial_geom& g, KXFIX x, KXFIX y) {
        return (g.dx * (x - g.x0) + g.dy * (y - g.y0)) * g.scale;
    }
};
struct pos_shifted {
    static KXFIX at(const axial_geom& g, KXFIX x, KXFIX y) {
        const KXFIX a = KXFIX::from_raw(g.dx.m_raw >> g.shift) * (x - g.x0);
        const KXFIX b = KXFIX::from_raw(g.dy.m_raw >> g.shift) * (y - g.y0);
        return KXFIX::from_raw((a + b).m_raw >> g.shift) * g.scale;
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

    _KXRGBA operator()(KXFIX x, KXFIX y) const {
        const KXFIX t = Pos::at(geom, x, y);
        if (t.m_raw < lo || t.m_raw > hi) return background;
        // Beyond an extended end the byte conversion clamps to entry 0 or 255.
        return ramp[t.to_byte()];
    }
};

// The Domain and Extend tests as one interval. With t0 below t1, a position
// below t0 shows the background unless the start is extended, one above t1
// unless the end is. With t0 above t1 the start flag guards positions above
// t0 and the end flag those below t1. With t0 equal to t1 both sets of tests
// apply, so either side needs both flags.
template <class Pos>
axial_lookup<Pos> make_lookup(const CPDFShadingAxial& s) {
    const int64_t t0 = s.m_t0.m_raw;
    const int64_t t1 = s.m_t1.m_raw;
    const bool start = s.m_extend_start != 0;
    const bool end = s.m_extend_end != 0;
    int64_t lo;
    int64_t hi;
    if (t0 < t1) {
        lo = start ? INT64_MIN : t0;
        hi = end ? INT64_MAX : t1;
    } else if (t0 > t1) {
        lo = end ? INT64_MIN : t1;
        hi = start ? INT64_MAX : t0;
    } else {
        lo = start && end ? INT64_MIN : t0;
        hi = start && end ? INT64_MAX : t0;
    }
    return {geom_of(s), lo, hi, s.m_bg_rgba, s.m_ramp};
}

template <class Store>
void paint_axial(const PDF_RENDER_BAND& band) {
    const auto& s = static_cast<const CPDFShadingAxial&>(*band.m_shading);
    // Same order of tests as get_pos; m_shift is never set on an axis parallel
    // to a coordinate axis.
    if (s.m_shift != 0)
        detail::paint_band<Store>(band, make_lookup<pos_shifted>(s));
    else if (s.m_coords.top == s.m_coords.bottom)
        detail::paint_band<Store>(band, make_lookup<pos_along_x>(s));
    else if (s.m_coords.left == s.m_coords.right)
        detail::paint_band<Store>(band, make_lookup<pos_along_y>(s));
    else
        detail::paint_band<Store>(band, make_lookup<pos_slanted>(s));
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

    // Without a colour space there is no colour to make: the ramp stays
    // transparent black.
    if (m_cs) {
        KXFIX in[CPDFFunction::kMaxInputs] = {};
        // Not cleared between steps: a function that delivers fewer outputs
        // than the space has components leaves the rest as the last step (or
        // the start, zero) had them.
        KXFIX out[detail::kFuncOutputSlots] = {};
        PDF_COLOR color = {};
        for (int32_t i = 0; i < detail::kRampSize; ++i) {
            in[0] = detail::ramp_input(m_t0, m_t1, i);
            detail::eval_functions(m_funcs, m_func_count, in, out);
            detail::outputs_to_color(*m_cs, out, color);
            m_cs->get_rgb(color, m_ramp[i]);
            m_ramp[i].a = 255;
        }
    }

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
