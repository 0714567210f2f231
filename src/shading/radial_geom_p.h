// The numbers a radial render derives from the two circles: the concentric
// position of a point, and the fan's step count, axis angle and apex. Kept
// apart from the pixel and polygon code so that each rule can be checked on
// its own.
//
// The only floating point of the painter is here: single precision for the
// distance off the axes and for the fan's angles, which the 1/128-pixel grid
// of the outlines can't tell from anything finer.
#pragma once

#include <cmath>
#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/shading_radial.h"

namespace shadepaint::detail {

// A fan has at least this many wedges a half turn, so that small circles
// stay round...
constexpr int32_t kFanMinSteps = 20;
// ...and at most this many, so that any page costs at most 360 wedges and
// their extensions.
constexpr int32_t kFanMaxSteps = 180;
constexpr float kFanPi = 3.14159265358979f;     // bits 0x40490fdb
constexpr float kFanTwoPi = 6.28318530717959f;  // bits 0x40c90fdb

// The concentric reciprocal K is 2^60 over the radius difference (raw): 256
// times the KXFIX reciprocal (2^52 / raw), for 8 more bits of precision, which
// the position drops again after the product.
constexpr int kConcentricExtraBits = 8;
constexpr int64_t kConcentricNumerator = int64_t{1} << 60;

inline KXFIX concentric_scale(KXFIX r0, KXFIX r1) {
    return KXFIX::from_raw(kx_div_raw(kConcentricNumerator, (r1 - r0).m_raw));
}

// fmaf(x, x, p): x * x + p rounded once to single precision. The square of a
// float is exact in double; when the double sum is exact as well (its
// two-sum error is zero), rounding it to float is that one rounding. Only
// when the magnitudes lie too far apart for 53 bits does it take the library
// call, which would otherwise cost a call and spilled registers per pixel.
inline float fused_square_add(float x, float p) {
    const double a = static_cast<double>(x) * static_cast<double>(x);
    const double b = p;
    const double s = a + b;
    const double b_part = s - a;
    const double error = (a - (s - b_part)) + (b - b_part);
    if (error == 0) return static_cast<float>(s);
    return std::fma(x, x, p);
}

// Distance of (x, y) from the origin. Exact on the axes; elsewhere the square
// root of x^2 + y^2 with x^2 fused into the sum, so that the one rounding
// before the root is that of the whole inner product.
inline KXFIX concentric_distance(KXFIX x, KXFIX y) {
    if (x.m_raw == 0) return y.abs();
    if (y.m_raw == 0) return x.abs();
    const float fx = x.to_float();
    const float fy = y.to_float();
    return KXFIX::from_float(std::sqrt(fused_square_add(fx, fy * fy)));
}

// Position between the circles: 0 on the start circle, just under 1.0 on the
// end one (K truncates), negative inside an expanding start circle. The
// distance stands left in the product: its integer part decides the rule.
inline KXFIX concentric_pos(KXFIX d, KXFIX r0, KXFIX k) {
    return KXFIX::from_raw(((d - r0) * k).m_raw >> kConcentricExtraBits);
}

// The rectangle around both circles in shading space, for the device bound.
inline _KXRECTF fan_circle_bound(const CPDFShadingRadial& s) {
    _KXRECTF r;
    const KXFIX l0 = s.m_x0 - s.m_r0, l1 = s.m_x1 - s.m_r1;
    const KXFIX t0 = s.m_y0 - s.m_r0, t1 = s.m_y1 - s.m_r1;
    const KXFIX r0 = s.m_x0 + s.m_r0, r1 = s.m_x1 + s.m_r1;
    const KXFIX b0 = s.m_y0 + s.m_r0, b1 = s.m_y1 + s.m_r1;
    r.left = l0 < l1 ? l0 : l1;
    r.top = t0 < t1 ? t0 : t1;
    r.right = r0 > r1 ? r0 : r1;
    r.bottom = b0 > b1 ? b0 : b1;
    return r;
}

// Wedges a half turn: the rounded mean of the device bound's width and
// height in pixels, held to 20..180. The sum and both shifts are taken as
// unsigned, so a bound whose extent wraps still gives a count in range.
inline int32_t fan_steps(const _KXRECTF& device_bound) {
    const KXFIX extent =
        (device_bound.right - device_bound.left) + (device_bound.bottom - device_bound.top);
    const uint64_t half = static_cast<uint64_t>(extent.m_raw) >> 1;
    const auto n = static_cast<int32_t>(
        static_cast<uint32_t>((static_cast<uint64_t>(kKxHalf) + half) >> kKxFracBits));
    const int32_t capped = n > kFanMaxSteps ? kFanMaxSteps : n;
    return capped < kFanMinSteps ? kFanMinSteps : capped;
}

// Direction from the start centre to the end centre, -pi..pi, turned by a
// full turn when always_turn is set (the gray fan) or when it is negative
// (the colour fan). The turn changes no point, only the last bits of the
// angles the sweeps derive from it.
inline float fan_axis_angle(KXFIX dx, KXFIX dy, bool always_turn) {
    float a = std::atan2(dy.to_float(), dx.to_float());
    if (always_turn || a < 0) a += kFanTwoPi;
    return a;
}

// Where the lines touching both circles meet, in shading space; only for
// radii that differ. r1 stands left in each product.
inline _KXPOINTF fan_apex(const CPDFShadingRadial& s) {
    const KXFIX dr = s.m_r1 - s.m_r0;
    return {(s.m_r1 * s.m_x0 - s.m_r0 * s.m_x1) / dr, (s.m_r1 * s.m_y0 - s.m_r0 * s.m_y1) / dr};
}

}  // namespace shadepaint::detail
