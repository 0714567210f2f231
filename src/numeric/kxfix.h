// 64-bit fixed point with 26 fraction bits. All geometry of the painter runs in
// this type, and its three products (`*`, `*=`) and quotient (`/`) give up low
// operand bits by magnitude so that no intermediate ever needs more than 64
// bits. The thresholds are part of the contract: results are compared and
// accumulated bit for bit, so none of these rules may be "improved".
//
// Every wrap-around that the rules allow is done in unsigned arithmetic so that
// it stays defined behaviour; right shifts of negative values are arithmetic
// (floor), which both supported compilers guarantee.
#pragma once

#include <cstdint>

namespace shadepaint {

class KXFIX;
inline int64_t kx_div_raw(int64_t a, int64_t b);

namespace detail {
inline int64_t wrap_mul(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}
inline int64_t wrap_shl(int64_t a, unsigned n) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) << n);
}
inline int64_t wrap_add(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
inline int32_t low_word(int64_t v) {
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v)));
}
}  // namespace detail

// Raw values with a name; shifts by 26 and 0x4000000 appear nowhere else.
// clang-format off
constexpr int kKxFracBits = 26;
constexpr int64_t kKxOne = 0x4000000;
constexpr int64_t kKxHalf = 0x2000000;
constexpr int64_t kKxJustBelowOne = 0x3ffffff;
constexpr int64_t kKxFour = 0x10000000;
constexpr int64_t kKxInt32MaxRaw = 0x1fffffffc000000;  // 2147483647.0
constexpr int64_t kKxInt32MinRaw = static_cast<int64_t>(0xfe00000000000000ULL);  // -2^31
constexpr int64_t kKxMaxRaw = 0x7fffffffffffffff;  // result of a division by zero
constexpr float kKxToFloat = 1.0f / 67108864.0f;   // 2^-26, bits 0x32800000
// clang-format on

class KXFIX {
public:
    int64_t m_raw;

    static constexpr KXFIX from_raw(int64_t raw) { return KXFIX{raw}; }
    static constexpr KXFIX from_int(int32_t v) {
        return KXFIX{
            static_cast<int64_t>(static_cast<uint64_t>(static_cast<int64_t>(v)) << kKxFracBits)};
    }
    // Truncates toward zero, saturates at the 64-bit limits, NaN gives 0.
    static KXFIX from_float(float f) {
        float v = f * 67108864.0f;
        if (v != v) return KXFIX{0};
        if (v >= 9223372036854775808.0f) return KXFIX{INT64_MAX};
        if (v <= -9223372036854775808.0f) return KXFIX{INT64_MIN};
        return KXFIX{static_cast<int64_t>(v)};
    }

    // Halves round toward plus infinity; the low 32 bits are kept.
    // The offset wraps like every sum of raw values, so that the division marker
    // 0x7fffffffffffffff converts without overflow.
    int32_t round_int() const {
        return detail::low_word(detail::wrap_add(m_raw, kKxHalf) >> kKxFracBits);
    }
    int32_t floor_int() const { return detail::low_word(m_raw >> kKxFracBits); }
    int32_t ceil_int() const {
        return detail::low_word(detail::wrap_add(m_raw, kKxJustBelowOne) >> kKxFracBits);
    }
    // The one colour clamp of the system: 0..1 to 0..255, halves up.
    uint8_t to_byte() const {
        if (m_raw > kKxJustBelowOne) return 255;
        if (m_raw < 1) return 0;
        return static_cast<uint8_t>(((m_raw * 255 + kKxHalf) >> kKxFracBits) & 255);
    }
    float to_float() const { return static_cast<float>(m_raw) * kKxToFloat; }
    // Raw value times a plain integer, no shift.
    KXFIX mul_int(int32_t v) const { return KXFIX{detail::wrap_mul(m_raw, v)}; }
    KXFIX abs() const { return m_raw < 0 ? KXFIX{detail::wrap_mul(m_raw, -1)} : *this; }

    // a is "small" in -4.0 .. 4.0, both included.
    static bool is_small(int64_t x) {
        return static_cast<uint64_t>(x) + static_cast<uint64_t>(kKxFour) < 0x20000001ULL;
    }
    // The high word alone decides: -2^44 .. 2^44 + 2^32 - 1.
    static bool is_moderate(int64_t x) {
        uint32_t hi = static_cast<uint32_t>(static_cast<uint64_t>(x) >> 32);
        return hi + 0x1000u <= 0x2000u;
    }

    // Left operand a: beyond "moderate" only its integer part counts.
    friend KXFIX operator*(KXFIX a, KXFIX b) {
        using detail::wrap_mul;
        const int64_t x = a.m_raw, y = b.m_raw;
        if (is_moderate(x)) {
            if (is_small(x)) {
                if (is_small(y)) return KXFIX{(x * y) >> 26};
                return KXFIX{wrap_mul(y >> 12, x) >> 14};
            }
            if (is_small(y)) return KXFIX{wrap_mul(x >> 12, y) >> 14};
            return KXFIX{wrap_mul(x >> 12, y >> 12) >> 2};
        }
        if (is_small(y)) return KXFIX{wrap_mul(x >> 26, y)};
        return KXFIX{wrap_mul(x >> 26, y & ~static_cast<int64_t>(0xfff))};
    }

    // A second rule, for scaling a coordinate by a matrix element: the range test
    // is on the whole 64-bit x (-65536.0 .. 65536.0).
    KXFIX& operator*=(KXFIX mf) {
        using detail::wrap_mul;
        using detail::wrap_shl;
        const int64_t x = m_raw, m = mf.m_raw;
        if (static_cast<uint64_t>(x) + (1ULL << 42) < (1ULL << 43) + 1) {
            if (is_small(x)) {
                m_raw = is_small(m) ? (x * m) >> 26 : wrap_mul(x, m >> 12) >> 14;
            } else {
                m_raw = is_small(m) ? wrap_mul(x >> 12, m) >> 14 : wrap_mul(x >> 12, m >> 12) >> 2;
            }
        } else {
            m_raw =
                is_small(m) ? wrap_mul(x >> 20, m) >> 6 : wrap_shl(wrap_mul(x >> 20, m >> 12), 6);
        }
        return *this;
    }

    // Quotients truncate toward zero; a zero divisor gives the largest raw value.
    friend KXFIX operator/(KXFIX a, KXFIX b) {
        const int64_t x = a.m_raw, y = b.m_raw;
        if (y == 0) return KXFIX{kKxMaxRaw};
        if (static_cast<uint64_t>(x) + (1ULL << 36) < (1ULL << 37) + 1)
            // |x| <= 2^36 loses nothing in the shift; unsigned, as x may be negative.
            return KXFIX{detail::wrap_shl(x, 26) / y};
        if (static_cast<uint64_t>(y) + 0x20000ULL <= 0x40000ULL)
            return KXFIX{detail::wrap_shl(kx_div_raw(x, y), 26)};
        return KXFIX{detail::wrap_shl(x, 10) / (y >> 16)};  // |y >> 16| >= 2 here
    }

    friend KXFIX operator+(KXFIX a, KXFIX b) {
        return KXFIX{
            static_cast<int64_t>(static_cast<uint64_t>(a.m_raw) + static_cast<uint64_t>(b.m_raw))};
    }
    friend KXFIX operator-(KXFIX a, KXFIX b) {
        return KXFIX{
            static_cast<int64_t>(static_cast<uint64_t>(a.m_raw) - static_cast<uint64_t>(b.m_raw))};
    }
    friend KXFIX operator-(KXFIX a) {
        return KXFIX{static_cast<int64_t>(0 - static_cast<uint64_t>(a.m_raw))};
    }
    KXFIX& operator+=(KXFIX b) { return *this = *this + b; }
    KXFIX& operator-=(KXFIX b) { return *this = *this - b; }

    friend bool operator==(KXFIX a, KXFIX b) { return a.m_raw == b.m_raw; }
    friend bool operator!=(KXFIX a, KXFIX b) { return a.m_raw != b.m_raw; }
    friend bool operator<(KXFIX a, KXFIX b) { return a.m_raw < b.m_raw; }
    friend bool operator<=(KXFIX a, KXFIX b) { return a.m_raw <= b.m_raw; }
    friend bool operator>(KXFIX a, KXFIX b) { return a.m_raw > b.m_raw; }
    friend bool operator>=(KXFIX a, KXFIX b) { return a.m_raw >= b.m_raw; }
};

// Plain truncating division of raw values that never traps: x / 0 is 0 and
// INT64_MIN / -1 wraps to INT64_MIN.
inline int64_t kx_div_raw(int64_t a, int64_t b) {
    if (b == 0) return 0;
    if (b == -1) return static_cast<int64_t>(0 - static_cast<uint64_t>(a));
    return a / b;
}

// 2^52 over the raw value: the reciprocal of a scale.
inline int64_t kx_recip(int64_t raw) { return kx_div_raw(static_cast<int64_t>(1) << 52, raw); }

// Integer to raw with the sign kept, for coordinates built from pixel indices.
inline int64_t kx_raw_from_int(int32_t v) { return KXFIX::from_int(v).m_raw; }

}  // namespace shadepaint
