// L*a*b* to sRGB in double precision. The document's white point is where
// L* 100 lands; sRGB is defined under D65, so XYZ is carried from that white
// to D65 by the Bradford cone transform (identity for a D65 white point) and
// then through the sRGB primaries and transfer curve. Channels are clamped to
// 0..1 (NaN as 0, for absurd ranges) and rounded to bytes. All of it is fixed
// at construction, so conversions read the object only.
#include "engine/cs_lab.h"

#include <cmath>
#include <new>

#include "engine/cs_family.h"
#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "shading/color_space_p.h"

namespace shadepaint {

namespace {
constexpr double kD50[3] = {0.9642, 1.0, 0.8249};
constexpr double kD65[3] = {0.95047, 1.0, 1.08883};
constexpr double kDefaultRange[4] = {-100.0, 100.0, -100.0, 100.0};

// clang-format off
constexpr double kBradford[9] = {
     0.8951,  0.2664, -0.1614,
    -0.7502,  1.7135,  0.0367,
     0.0389, -0.0685,  1.0296,
};
constexpr double kBradfordInv[9] = {
     0.9869929, -0.1470543, 0.1599627,
     0.4323053,  0.5183603, 0.0492912,
    -0.0085287,  0.0400428, 0.9684867,
};
constexpr double kXyzToSrgb[9] = {
     3.2404542, -1.5371385, -0.4985314,
    -0.9692660,  1.8760108,  0.0415560,
     0.0556434, -0.2040259,  1.0572252,
};
// clang-format on

void mat_vec(const double* m, const double* v, double* out) {
    for (int r = 0; r < 3; ++r)
        out[r] = m[3 * r] * v[0] + m[3 * r + 1] * v[1] + m[3 * r + 2] * v[2];
}

void mat_mul(const double* a, const double* b, double* out) {
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            out[3 * r + c] = a[3 * r] * b[c] + a[3 * r + 1] * b[3 + c] + a[3 * r + 2] * b[6 + c];
}

// Cone responses of a white point, or false when one of them can't be a
// divisor (a white point far off the locus).
bool cone_of(const double* white, double* cone) {
    mat_vec(kBradford, white, cone);
    for (int i = 0; i < 3; ++i)
        if (!(cone[i] > 1e-9) || !std::isfinite(cone[i])) return false;
    return true;
}

double lab_f_inv(double t) {
    constexpr double kDelta = 6.0 / 29.0;
    return t >= kDelta ? t * t * t : 3.0 * kDelta * kDelta * (t - 4.0 / 29.0);
}

uint8_t srgb_byte(double linear) {
    if (!(linear > 0.0)) return 0;  // also NaN
    if (linear >= 1.0) return 255;
    const double v =
        linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
    const double b = std::floor(v * 255.0 + 0.5);
    return static_cast<uint8_t>(b > 255.0 ? 255.0 : (b < 0.0 ? 0.0 : b));
}

double fix_to_double(KXFIX v) { return static_cast<double>(v.m_raw) / static_cast<double>(kKxOne); }

// The byte that puts value v (clamped into lo..hi) on the component scale.
uint32_t byte_in_range(double v, double lo, double hi) {
    if (!(hi > lo)) return 0;
    if (v < lo) v = lo;
    if (v > hi) v = hi;
    return static_cast<uint32_t>(std::floor((v - lo) / (hi - lo) * 255.0 + 0.5));
}
}  // namespace

CPDFCSLab::CPDFCSLab(const double white_point[3], const double range[4]) {
    m_family = kCsFamilyLab;
    m_comp_count = 3;
    bool usable = true;
    for (int i = 0; i < 3; ++i) usable = usable && white_point[i] > 0.0;
    double cone_src[3];
    if (!usable || !cone_of(white_point, cone_src)) {
        white_point = kD50;
        cone_of(white_point, cone_src);
    }
    for (int i = 0; i < 3; ++i) m_white_point[i] = white_point[i];
    for (int i = 0; i < 4; ++i) m_range[i] = range[i];

    double cone_dst[3];
    cone_of(kD65, cone_dst);
    double scaled[9];  // diag(dst / src) * Bradford
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            scaled[3 * r + c] = kBradford[3 * r + c] * cone_dst[r] / cone_src[r];
    double adapt[9];
    mat_mul(kBradfordInv, scaled, adapt);
    mat_mul(kXyzToSrgb, adapt, m_to_rgb);
}

CPDFCSBase* CPDFCSLab::load(const CPDFArray* arr, CPDFXRefTable* xref) {
    if (!arr || arr->m_count < 2) return nullptr;
    ScopedObj dict_holder;
    detail::deref(xref, detail::array_at(arr, 1), dict_holder.obj);
    if (dict_holder.obj.m_tag != kObjDict) return nullptr;

    double white[3] = {0.0, 0.0, 0.0};  // unusable: becomes D50
    {
        ScopedObj l;
        detail::deref(xref, detail::dict_find(dict_holder.obj, "WhitePoint"), l.obj);
        const CPDFArray* wp = detail::local_array(l.obj);
        if (wp && wp->m_count >= 3)
            for (int i = 0; i < 3; ++i)
                white[i] = fix_to_double(detail::obj_to_fix(xref, detail::array_at(wp, i)));
    }
    double range[4] = {kDefaultRange[0], kDefaultRange[1], kDefaultRange[2], kDefaultRange[3]};
    {
        ScopedObj l;
        detail::deref(xref, detail::dict_find(dict_holder.obj, "Range"), l.obj);
        const CPDFArray* r = detail::local_array(l.obj);
        if (r && r->m_count >= 4)
            for (int i = 0; i < 4; ++i)
                range[i] = fix_to_double(detail::obj_to_fix(xref, detail::array_at(r, i)));
    }
    return new (std::nothrow) CPDFCSLab(white, range);
}

void CPDFCSLab::get_rgb(const PDF_COLOR& c, _KXRGBA& rgba) const {
    const double l = (c.m_comps[0] & 255u) / 255.0 * 100.0;
    const double a = m_range[0] + (c.m_comps[1] & 255u) / 255.0 * (m_range[1] - m_range[0]);
    const double b = m_range[2] + (c.m_comps[2] & 255u) / 255.0 * (m_range[3] - m_range[2]);
    const double m = (l + 16.0) / 116.0;
    const double xyz[3] = {m_white_point[0] * lab_f_inv(m + a / 500.0),
                           m_white_point[1] * lab_f_inv(m),
                           m_white_point[2] * lab_f_inv(m - b / 200.0)};
    double rgb[3];
    mat_vec(m_to_rgb, xyz, rgb);
    rgba.r = srgb_byte(rgb[0]);
    rgba.g = srgb_byte(rgb[1]);
    rgba.b = srgb_byte(rgb[2]);
    rgba.a = 255;
}

void CPDFCSLab::get_gray(const PDF_COLOR& c, uint8_t& gray) const {
    _KXRGBA rgba;
    get_rgb(c, rgba);
    gray = detail::gray_of(rgba.r, rgba.g, rgba.b);
}

void CPDFCSLab::get_cmyk(const PDF_COLOR& c, PDF_COLOR& out) const {
    _KXRGBA rgba;
    get_rgb(c, rgba);
    const uint32_t cc = 255u - rgba.r, mm = 255u - rgba.g, yy = 255u - rgba.b;
    uint32_t k = cc < mm ? cc : mm;
    if (yy < k) k = yy;
    out.m_comps[0] = cc - k;
    out.m_comps[1] = mm - k;
    out.m_comps[2] = yy - k;
    out.m_comps[3] = k;
}

void CPDFCSLab::get_default_color(PDF_COLOR& color) const {
    color.m_comps[0] = 0;
    color.m_comps[1] = byte_in_range(0.0, m_range[0], m_range[1]);
    color.m_comps[2] = byte_in_range(0.0, m_range[2], m_range[3]);
    color.m_comps[3] = 0;
}

void CPDFCSLab::batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 1);
}

void CPDFCSLab::batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const {
    detail::batch_gray_of(*this, dst, src, len);
}

void CPDFCSLab::batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 2);
}

void CPDFCSLab::batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 4);
}

}  // namespace shadepaint
