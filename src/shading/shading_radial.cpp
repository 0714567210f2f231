// Radial shading: load, the concentric pixel step, the fan between two
// circles and its extended ends.
//
// load() reads the circles, Domain, Extend and the functions and evaluates
// them into a colour and a gray ramp of 256 steps; no geometry is derived.
//
// Each render sorts the circles into three cases. One circle (same centre,
// same radius) paints nothing. Same centre, different radii: the position of
// a pixel is its distance d from the centre, t = (d - r0) / (r1 - r0), run per
// pixel on the band frame with the centre moved to the origin of the inverse
// matrix; unlike the other per-pixel shadings, pixels of coverage 0 are
// written too (a colour pixel is cleared, a gray pixel takes the background
// gray and keeps its alpha). Different centres: no quadratic is solved.
// Instead a fan of 2n quadrilaterals joins the two circles, each carrying the
// ramp index 0 on the start circle and 255 on the end one, drawn with the
// ramp scan converter in a fixed order: the half turn on the positive side of
// the axis, then the negative one, each wedge followed by its Extend pieces.
// A later polygon replaces an earlier one wherever both reach, which stands in
// for the rule of the larger parameter. The fan ignores the mask; the mask is
// applied once at the end, so every step of the fan draws as if fully
// covered.
//
// The colour and gray fans differ in small matters (angle turn, Background,
// Extend, the ramp, the mask operation), gathered in one policy each; the
// geometry is one template.
#include "shading/shading_radial.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <type_traits>

#include "engine/kxalloc.h"
#include "mesh/path_crender2.h"
#include "numeric/kxscan.h"
#include "object/obj_access_p.h"
#include "shading/bitmap.h"
#include "shading/radial_geom_p.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {

// Ramp indices at the two circles' corners of a wedge.
constexpr int32_t kStartValue = 0;
constexpr int32_t kEndValue = detail::kRampLastStep;
// The colour Background pass runs only for a background at least this
// opaque (a read Background is always 255).
constexpr uint8_t kBackgroundMinAlpha = 3;
// Pixels from this alpha up count as painted and keep their colour.
constexpr uint32_t kBlendOpaqueFrom = 250;
constexpr uint32_t kBlendWeight = 256;

// ---------------------------------------------------------------------------
// Concentric case.

struct concentric_lookup {
    static constexpr bool kPaintsUncovered = true;

    KXFIX r0;
    KXFIX k;
    detail::ramp_window window;
    _KXRGBA background;
    const _KXRGBA* ramp;
    uint8_t background_gray;

    _KXRGBA operator()(KXFIX x, KXFIX y) const {
        const KXFIX t = detail::concentric_pos(detail::concentric_distance(x, y), r0, k);
        if (!window.holds(t)) return background;
        // Beyond an extended end the byte conversion clamps to entry 0 or 255.
        return ramp[t.to_byte()];
    }

    // Coverage 0 still writes: the colour pixel is cleared to transparent
    // black, the gray pixel takes the background gray and keeps its alpha.
    template <class Store>
    void uncovered(uint8_t* p, KXFIX, KXFIX) const {
        if constexpr (std::is_same_v<Store, detail::store_gray>) {
            p[0] = background_gray;
        } else {
            static_assert(std::is_same_v<Store, detail::store_bgra>);
            std::memset(p, 0, sizeof(_KXRGBA));
        }
    }
};

// Each band forms K again from the shading; the band record doesn't carry it.
concentric_lookup make_concentric(const CPDFShadingRadial& s) {
    return {s.m_r0,
            detail::concentric_scale(s.m_r0, s.m_r1),
            detail::domain_window(s.m_t0, s.m_t1, s.m_extend_start, s.m_extend_end),
            s.m_bg_rgba,
            s.m_ramp,
            s.m_bg_gray};
}

template <class Store>
void paint_concentric(const PDF_RENDER_BAND& band) {
    const auto& s = static_cast<const CPDFShadingRadial&>(*band.m_shading);
    detail::paint_band<Store>(band, make_concentric(s));
}

// Moves the common centre to the origin of the inverse: the band start points
// become relative to it, the steps are unchanged.
struct centre_at_origin {
    KXFIX x;
    KXFIX y;
    void operator()(_KXMATRIX& inverse) const {
        inverse.e -= x;
        inverse.f -= y;
    }
};

// ---------------------------------------------------------------------------
// Polygons through the ramp converter. Device coordinates become 1/128 pixel
// by truncation; every value carries the origin until line_to removes it.

int32_t scan_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
int32_t scan_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// Opens a polygon on a bitmap of height rows with its first point (x, y) in
// absolute 1/128 pixel; there is no operation for the first point, so it is
// written straight into the converter.
void open_polygon(CKXPathCRender2& path, const _KXPOINT& origin, int32_t height, int32_t x,
                  int32_t y, int32_t value) {
    path.begin(0, 0, 0);
    path.begin(scan_from_pixels(origin.x), scan_from_pixels(origin.y), height);
    path.m_start_x = path.m_cur_x = scan_sub(x, path.m_org_x);
    path.m_start_y = path.m_cur_y = scan_sub(y, path.m_org_y);
    path.m_start_value = path.m_cur_value = value;
}

void open_polygon(CKXPathCRender2& path, const _KXPOINT& origin, int32_t height, const _KXPOINTF& p,
                  int32_t value) {
    open_polygon(path, origin, height, scan_from_kx_trunc(p.x), scan_from_kx_trunc(p.y), value);
}

void line_to(CKXPathCRender2& path, const _KXPOINTF& p, int32_t value) {
    path.line_to(scan_from_kx_trunc(p.x), scan_from_kx_trunc(p.y), value);
}

void close_polygon(CKXPathCRender2& path) {
    path.line_to(scan_add(path.m_start_x, path.m_org_x), scan_add(path.m_start_y, path.m_org_y),
                 path.m_start_value);
}

// ---------------------------------------------------------------------------
// Extend pieces (colour fan only).

uint64_t magnitude(KXFIX v) {
    return v.m_raw < 0 ? 0 - static_cast<uint64_t>(v.m_raw) : static_cast<uint64_t>(v.m_raw);
}

// Where the line from the apex a through p meets the line at c (a row when
// horizontal, a column otherwise): in the two-point form, so that no slope is
// formed. along is the coordinate the side fixes (y for a row), across the
// other; a zero divisor gives the largest raw value, shifted like any point.
KXFIX meet_side(KXFIX c, KXFIX a_along, KXFIX a_across, KXFIX p_along, KXFIX p_across) {
    return ((c - a_along) * p_across + (p_along - c) * a_across) / (p_along - a_along);
}

template <bool kEnd>
void extern_piece(const CPDFShadingRadial& s, CKXBmp32* dst, CKXPathCRender2& path,
                  const _KXPOINT& origin, const _KXPOINTF& p, const _KXPOINTF& q,
                  const _KXPOINTF* apex) {
    const int32_t flag = kEnd ? s.m_extend_end : s.m_extend_start;
    if (!apex || !flag || !dst) return;
    const int32_t v = kEnd ? kEndValue : kStartValue;
    // Past the smaller circle the cone closes at the apex; past the larger one
    // it opens without end.
    const bool growing = s.m_r1 > s.m_r0;
    const bool tip = kEnd ? !growing : growing;
    if (tip) {
        open_polygon(path, origin, dst->m_height, p, v);
        line_to(path, q, v);
        line_to(path, *apex, v);
    } else {
        const KXFIX dx = p.x - apex->x;
        const KXFIX dy = p.y - apex->y;
        if (dx.m_raw == 0 && dy.m_raw == 0) return;
        // p alone picks the side; a diagonal goes to a row.
        if (magnitude(dx) <= magnitude(dy)) {
            // A ray going down (in device terms) ends at the row just past the
            // bitmap's last.
            const int32_t e = dy.m_raw < 1 ? origin.y : scan_add(origin.y, dst->m_height);
            const KXFIX side = KXFIX::from_int(e);
            const KXFIX px = meet_side(side, apex->y, apex->x, p.y, p.x);
            const KXFIX qx = meet_side(side, apex->y, apex->x, q.y, q.x);
            open_polygon(path, origin, dst->m_height, scan_from_kx_trunc(px), scan_from_pixels(e),
                         v);
            path.line_to(scan_from_kx_trunc(qx), scan_from_pixels(e), v);
        } else {
            const int32_t e = dx.m_raw < 1 ? origin.x : scan_add(origin.x, dst->m_width);
            const KXFIX side = KXFIX::from_int(e);
            const KXFIX py = meet_side(side, apex->x, apex->y, p.x, p.y);
            const KXFIX qy = meet_side(side, apex->x, apex->y, q.x, q.y);
            open_polygon(path, origin, dst->m_height, scan_from_pixels(e), scan_from_kx_trunc(py),
                         v);
            path.line_to(scan_from_pixels(e), scan_from_kx_trunc(qy), v);
        }
        line_to(path, q, v);
        line_to(path, p, v);
    }
    close_polygon(path);
    path.render_smooth(dst, s.m_ramp);
}

// ---------------------------------------------------------------------------
// The two fans.

// Byte count of a bitmap's rows, stride padding included, as a signed 32-bit
// product: a negative or wrapped count paints nothing, and a count that wraps
// to a positive value is below the true size.
int32_t bitmap_bytes(const CKXBmp& bmp) {
    return static_cast<int32_t>(static_cast<uint32_t>(bmp.m_height) *
                                static_cast<uint32_t>(bmp.m_stride));
}

// After the colour fan, pixels that no polygon reached (alpha 0) take the
// background; soft edges (alpha 1 to 249) are blended toward it and become
// opaque. The blend takes the background's blue for all three colour bytes:
// its red and green play no part, which shows on the edges of a coloured
// background and is the required result. The bytes run through in groups of
// four from the first row on, padding included; a count that is no multiple
// of four leaves its last bytes alone.
void blend_background(CKXBmp32& dst, _KXRGBA bg) {
    const int32_t bytes = bitmap_bytes(dst);
    if (!dst.m_data || bytes < 1) return;
    const uint32_t g = bg.b;
    for (int32_t i = 0; bytes - i >= 4; i += 4) {
        uint8_t* p = dst.m_data + i;
        const uint32_t a = p[3];
        if (a == 0) {
            p[0] = bg.b;
            p[1] = bg.g;
            p[2] = bg.r;
            p[3] = bg.a;
        } else if (a < kBlendOpaqueFrom) {
            for (int k = 0; k < 3; ++k)
                p[k] = static_cast<uint8_t>((p[k] * a + (kBlendWeight - a) * g) >> 8);
            p[3] = 255;
        }
    }
}

// Before the gray fan every pixel, padding included, becomes the background
// gray, opaque; the wedges then replace it. An odd count leaves its last byte.
void fill_background(CKXBmpGray& dst, uint8_t gray) {
    const int32_t bytes = bitmap_bytes(dst);
    if (!dst.m_data || bytes < 1) return;
    for (int32_t i = 0; bytes - i >= 2; i += 2) {
        dst.m_data[i] = gray;
        dst.m_data[i + 1] = 255;
    }
}

struct fan_colour {
    using Mask = const CKXBmp8;
    using Bitmap = CKXBmp32;
    static constexpr bool kAlwaysTurn = false;
    static void before(const CPDFShadingRadial&, Bitmap&) {}
    static void paint(const CPDFShadingRadial& s, CKXPathCRender2& path, Bitmap& dst) {
        path.render_smooth(&dst, s.m_ramp);
    }
    static void extend(const CPDFShadingRadial& s, CKXPathCRender2& path, Bitmap& dst,
                       const _KXPOINT& origin, const _KXPOINTF& prev0, const _KXPOINTF& q0,
                       const _KXPOINTF& prev1, const _KXPOINTF& q1, const _KXPOINTF* apex) {
        s.render_extern0(&dst, path, origin, prev0, q0, apex);
        s.render_extern1(&dst, path, origin, prev1, q1, apex);
    }
    // Runs while the converter is alive.
    static void finish_drawn(const CPDFShadingRadial& s, Mask& mask, Bitmap& dst) {
        if (s.m_has_background && s.m_bg_rgba.a >= kBackgroundMinAlpha)
            blend_background(dst, s.m_bg_rgba);
        dst.apply_mask(mask, 0, 0);
    }
    static void finish(Mask&, Bitmap&) {}
};

// The gray fan honours no Extend: it ends at the circles.
struct fan_gray {
    using Mask = CKXBmp8;
    using Bitmap = CKXBmpGray;
    static constexpr bool kAlwaysTurn = true;
    static void before(const CPDFShadingRadial& s, Bitmap& dst) {
        if (s.m_has_background) fill_background(dst, s.m_bg_gray);
    }
    static void paint(const CPDFShadingRadial& s, CKXPathCRender2& path, Bitmap& dst) {
        path.render_smoothg(&dst, s.m_ramp_gray);
    }
    static void extend(const CPDFShadingRadial&, CKXPathCRender2&, Bitmap&, const _KXPOINT&,
                       const _KXPOINTF&, const _KXPOINTF&, const _KXPOINTF&, const _KXPOINTF&,
                       const _KXPOINTF*) {}
    static void finish_drawn(const CPDFShadingRadial&, Mask&, Bitmap&) {}
    // Runs after the converter is gone.
    static void finish(Mask& mask, Bitmap& dst) { dst.apply_mask2(mask, 0, 0); }
};

// A point of a circle at the angle whose cosine and sine are c and s, in
// device space; the radius stands left in each product.
_KXPOINTF circle_point(KXFIX cx, KXFIX cy, KXFIX r, KXFIX c, KXFIX s, const _KXMATRIX& matrix) {
    _KXPOINTF p = {cx + r * c, cy + r * s};
    matrix.transform_point(p);
    return p;
}

template <class Form>
void paint_fan(const CPDFShadingRadial& s, const _KXMATRIX& matrix, const _KXPOINT& origin,
               typename Form::Mask& mask, typename Form::Bitmap& dst) {
    // The caller's matrix, never an inverse: the fan is drawn in device space.
    _KXRECTF bound = detail::fan_circle_bound(s);
    matrix.get_bound(bound);
    const int32_t n = detail::fan_steps(bound);
    const float axis = detail::fan_axis_angle(s.m_x1 - s.m_x0, s.m_y1 - s.m_y0, Form::kAlwaysTurn);
    _KXPOINTF apex_point = {KXFIX{0}, KXFIX{0}};
    const _KXPOINTF* apex = nullptr;
    if (s.m_r1 != s.m_r0) {
        apex_point = detail::fan_apex(s);
        matrix.transform_point(apex_point);
        apex = &apex_point;
    }
    Form::before(s, dst);
    {
        CKXPathCRender2 path;
        const auto at = [&](float b, _KXPOINTF& on0, _KXPOINTF& on1) {
            const KXFIX c = KXFIX::from_float(std::cos(b));
            const KXFIX sn = KXFIX::from_float(std::sin(b));
            on0 = circle_point(s.m_x0, s.m_y0, s.m_r0, c, sn, matrix);
            on1 = circle_point(s.m_x1, s.m_y1, s.m_r1, c, sn, matrix);
        };
        _KXPOINTF p0, p1;
        at(axis, p0, p1);
        const float h = 1.0f / static_cast<float>(n);
        // Each sweep starts on the axis toward the end circle and turns half
        // way round, one on each side; they meet opposite. Wedges of the
        // second sweep and later extensions stand over earlier ones.
        for (const float half_turn : {detail::kFanPi, -detail::kFanPi}) {
            _KXPOINTF prev0 = p0, prev1 = p1;
            for (int32_t i = 1; i <= n; ++i) {
                _KXPOINTF q0, q1;
                at(std::fma(static_cast<float>(i) * half_turn, h, axis), q0, q1);
                open_polygon(path, origin, dst.m_height, prev0, kStartValue);
                line_to(path, prev1, kEndValue);
                line_to(path, q1, kEndValue);
                line_to(path, q0, kStartValue);
                close_polygon(path);
                Form::paint(s, path, dst);
                Form::extend(s, path, dst, origin, prev0, q0, prev1, q1, apex);
                prev0 = q0;
                prev1 = q1;
            }
        }
        Form::finish_drawn(s, mask, dst);
    }
    Form::finish(mask, dst);
}

template <class Form>
int32_t render_radial(const CPDFShadingRadial& s, const _KXMATRIX& matrix, const _KXPOINT& origin,
                      typename Form::Mask& mask, typename Form::Bitmap& dst,
                      void (*worker)(void*)) {
    if (!detail::same_size(mask, dst)) return 0;
    if (s.m_x0 == s.m_x1 && s.m_y0 == s.m_y1) {
        // One circle: nothing at all is painted, not even the Background.
        if (s.m_r0 == s.m_r1) return 1;
        return detail::render_frame(&s, matrix, origin, mask, dst, worker,
                                    centre_at_origin{s.m_x0, s.m_y0});
    }
    paint_fan<Form>(s, matrix, origin, mask, dst);
    return 1;
}

}  // namespace

CPDFShadingRadial::CPDFShadingRadial(CPDFXRefTable* xref) : CPDFShading(3, xref) {}

CPDFShadingRadial* CPDFShadingRadial::create(CPDFXRefTable* xref) {
    void* mem = KXAlloc(sizeof(CPDFShadingRadial));
    if (!mem) return nullptr;
    return new (mem) CPDFShadingRadial(xref);
}

void CPDFShadingRadial::operator delete(void* p) { KXFree(p); }

CPDFShadingRadial::~CPDFShadingRadial() { detail::free_functions(m_funcs, m_func_count); }

void CPDFShadingRadial::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // A shading held as a stream reads its keys from the stream's dictionary.
    const CPDFDictionary* dict = m_obj.dict();
    if (!dict) return;

    // Missing Coords, or too few of them, read as 0: a missing key leaves one
    // circle of radius 0, which paints nothing.
    if (const CPDFObj* coords = dict->find("Coords")) {
        ScopedObj l;
        detail::deref(m_xref, coords, l.obj);
        const CPDFArray* a = detail::local_array(l.obj);
        KXFIX* const fields[] = {&m_x0, &m_y0, &m_r0, &m_x1, &m_y1, &m_r1};
        for (int32_t i = 0; i < 6; ++i)
            *fields[i] = detail::obj_to_fix(m_xref, detail::array_at(a, i));
    }
    // A Domain or Extend that is no array, or too short, reads its missing
    // items as 0 and false.
    if (const CPDFObj* domain = dict->find("Domain")) {
        ScopedObj l;
        detail::deref(m_xref, domain, l.obj);
        const CPDFArray* a = detail::local_array(l.obj);
        m_t0 = detail::obj_to_fix(m_xref, detail::array_at(a, 0));
        m_t1 = detail::obj_to_fix(m_xref, detail::array_at(a, 1));
    }
    if (const CPDFObj* extend = dict->find("Extend")) {
        ScopedObj l;
        detail::deref(m_xref, extend, l.obj);
        const CPDFArray* a = detail::local_array(l.obj);
        m_extend_start = detail::obj_to_bool(m_xref, detail::array_at(a, 0));
        m_extend_end = detail::obj_to_bool(m_xref, detail::array_at(a, 1));
    }
    detail::read_functions(m_xref, dict->find("Function"), m_funcs, m_func_count);

    // A null function evaluates nothing and leaves the outputs at zero, so a
    // shading whose function failed has a black ramp; without a colour space
    // both ramps stay zero (transparent black, gray 0).
    detail::build_ramp(m_cs, m_funcs, m_func_count, m_t0, m_t1, m_ramp, m_ramp_gray);
}

int32_t CPDFShadingRadial::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                         const CKXBmp8& mask, CKXBmp32& dst) const {
    return render_radial<fan_colour>(*this, matrix, origin, mask, dst, &CallbackRender);
}

int32_t CPDFShadingRadial::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                          CKXBmp8& mask, CKXBmpGray& dst) const {
    return render_radial<fan_gray>(*this, matrix, origin, mask, dst, &CallbackRenderG);
}

void CPDFShadingRadial::CallbackRender(void* arg) {
    paint_concentric<detail::store_bgra>(*static_cast<const PDF_RENDER_BAND*>(arg));
}

void CPDFShadingRadial::CallbackRenderG(void* arg) {
    paint_concentric<detail::store_gray>(*static_cast<const PDF_RENDER_BAND*>(arg));
}

void CPDFShadingRadial::render_extern0(CKXBmp32* dst, CKXPathCRender2& path, const _KXPOINT& origin,
                                       const _KXPOINTF& p, const _KXPOINTF& q,
                                       const _KXPOINTF* apex) const {
    extern_piece<false>(*this, dst, path, origin, p, q, apex);
}

void CPDFShadingRadial::render_extern1(CKXBmp32* dst, CKXPathCRender2& path, const _KXPOINT& origin,
                                       const _KXPOINTF& p, const _KXPOINTF& q,
                                       const _KXPOINTF* apex) const {
    extern_piece<true>(*this, dst, path, origin, p, q, apex);
}

}  // namespace shadepaint
