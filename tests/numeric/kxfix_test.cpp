// Fixed-point rules pinned on both sides of every threshold where they switch.
// Expected values were worked out by hand in exact integer arithmetic.
#include "numeric/kxfix.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace shadepaint {
namespace {

constexpr int64_t kP44 = int64_t{1} << 44;
constexpr int64_t kP42 = int64_t{1} << 42;
constexpr int64_t kP36 = int64_t{1} << 36;
constexpr int64_t kP32 = int64_t{1} << 32;
constexpr int64_t kBig = 300000 * kKxOne + kKxHalf, kHalfBig = 150000 * kKxOne;
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

KXFIX raw(int64_t v) { return KXFIX::from_raw(v); }

// op: '*' is a * b, '=' is a *= b, '/' is a / b.
// clang-format off
const struct { char op; int64_t a, b, expected; const char* why; } kBinaryCases[] = {
    {'*', -1, 1, -1, "the shift floors: -1 raw * 1 raw is -1, not 0"},
    {'*', 0x10000000, 0x10000000, 0x40000000, "4.0 * 4.0: 4.0 is small on both sides"},
    {'*', -0x10000001, 0x10000000, -0x40004000, "a one raw below -4.0 is not small and floors"},
    {'*', 0x10000000, 0x10000001, 0x40000000, "b one raw past 4.0 is not small: 12 bits go"},
    {'*', 0x10000001, 0x10000001, 0x40000000, "neither small: both operands lose 12 bits"},
    {'*', kP44 + kP32 - 1, 0x4000000, kP44 + kP32 - 0x1000, "top moderate a keeps its fraction"},
    {'*', kP44 + kP32 + 0x3ffffff, 0x4000000, kP44 + kP32, "first a past moderate: only its floor"},
    {'*', -kP44, kP44, 0, "-2^44 is moderate: (-2^32 * 2^32) wraps to 0 before >> 2"},
    {'*', -kP44 - 1, kP44, -(kP44 << 18) - kP44, "below -2^44, b not small: (a >> 26) * b"},
    {'*', kP44 + kP32, 0x14000fff, int64_t{0x40040} * 0x14000000, "not moderate: b loses 12 bits"},
    {'*', kMin, 0x4000000, kMin, "most negative a: floor(a) * 1.0 wraps back to itself"},
    // 300000.5 and 0.5: the left operand decides which one loses its fraction.
    {'*', kBig, 0x2000000, kHalfBig, "big left: floor"},
    {'*', 0x2000000, kBig, kHalfBig + 0x1000000, "small left"},
    // 2^43 + 0xfffff is moderate for * (12 bits go) but past the 2^42 bound of *=.
    {'*', (kP42 << 1) + 0xfffff, 0x4000000, (kP42 << 1) + 0xff000, "* loses only 12 bits"},
    {'=', (kP42 << 1) + 0xfffff, 0x4000000, kP42 << 1, "out of range, m small: x loses 20 bits"},
    {'=', 3, 0x10000fff, 12, "x small, m not: m loses 12 bits"},
    {'=', kP42, kP44 << 2, 0, "x = 2^42 is in range: the product wraps to 0"},
    {'=', -kP42, kP44 << 2, 0, "x = -2^42 is in range"},
    {'=', kP42 + 1, kP44 << 2, int64_t{1} << 62, "x = 2^42 + 1 is out: the product shifts left"},
    {'=', -kP42 - 1, kP44 << 2, -(int64_t{1} << 62) - (kP42 >> 2), "-2^42 - 1: x >> 20 floors"},
    {'=', (kP42 << 1) + 0xfffff, 0x14000fff, int64_t{0x14000} << 29, "out of range, m not small"},
    {'/', 0, 0, kMax, "0 / 0 is the marker"},
    {'/', kMin, 0, kMax, "most negative / 0 gives the positive marker, no trap"},
    {'/', kP36 + 1, 0, kMax, "zero divisor wins over the numerand's range"},
    {'/', -0x4000000, 0xc000000, -0x1555555, "-1 / 3 truncates toward zero, not down"},
    {'/', kP36, 0xc00ffff, 22899038245, "numerand 1024.0: (a << 26) / b"},
    {'/', kP36 + 1, 0xc00ffff, 22906492245, "one raw past 1024.0: b's low 16 bits go"},
    {'/', -kP36, 0xc00ffff, -22899038245, "numerand -1024.0 is in the exact range"},
    {'/', -kP36 - 1, 0xc00ffff, -22906492245, "one raw below -1024.0"},
    {'/', (kP36 << 4) + 0x1ffff, 0x20000, int64_t{1} << 49, "divisor 0x20000: a / b, then << 26"},
    {'/', (kP36 << 4) + 0x1ffff, 0x20001, 562950020529664, "0x20001: (a << 10) / (b >> 16)"},
    {'/', (kP36 << 4) + 0x1ffff, -0x20000, -(int64_t{1} << 49), "divisor -0x20000"},
    {'/', (kP36 << 4) + 0x1ffff, -0x20001, -375300013686442, "divisor -0x20001: b >> 16 is -3"},
    {'/', kMin, -1, 0, "INT64_MIN / -1 raw wraps, then << 26 gives 0"},
    {'/', kMin, -0x20001, 0, "a << 10 wraps the most negative numerand to 0"},
};
// clang-format on

TEST(Kxfix, MultiplyDivideThresholdsAndOperandOrder) {
    for (const auto& c : kBinaryCases) {
        SCOPED_TRACE(c.why);
        KXFIX x = raw(c.a);
        if (c.op == '*') x = x * raw(c.b);
        if (c.op == '=') x *= raw(c.b);
        if (c.op == '/') x = x / raw(c.b);
        EXPECT_EQ(x.m_raw, c.expected);
    }
}

TEST(Kxfix, RawOperationsWrapAndNeverTrap) {
    EXPECT_EQ((raw(kMax) + raw(1)).m_raw, kMin);
    EXPECT_EQ((raw(kMin) - raw(1)).m_raw, kMax);
    EXPECT_EQ(raw(kMin).abs().m_raw, kMin);
    EXPECT_EQ(raw(-5).abs().m_raw, 5);
    EXPECT_EQ(raw(0x4000000).mul_int(3).m_raw, 0xc000000) << "no shift";
    EXPECT_EQ(kx_div_raw(kMin, -1), kMin);
    EXPECT_EQ(kx_div_raw(12345, 0), 0);
    EXPECT_EQ(kx_div_raw(-7, 2), -3);
    EXPECT_EQ(kx_recip(0), 0) << "a zero scale inverts to zero, not to a marker";
    EXPECT_EQ(kx_recip(-0xc000000), -22369621) << "-1/3 truncates toward zero";
}

TEST(Kxfix, IntegerAndByteConversions) {
    // clang-format off
    const struct { int64_t raw; int32_t round, floor, ceil, byte; const char* why; } cases[] = {
        {-1, 0, -1, 0, 0, "one raw below zero"},
        {131586, 0, 0, 1, 0, "largest raw that gives byte 0"},
        {131587, 0, 0, 1, 1, "smallest raw that gives byte 1"},
        {0x1ffffff, 0, 0, 1, 127, "just below a half"},
        {0x2000000, 1, 0, 1, 128, "a half rounds up"},
        {0x3ffffff, 1, 0, 1, 255, "255 by the formula, not by the clamp"},
        {-0x2000000, 0, -1, 0, 0, "minus a half rounds up, toward zero"},
        {-0x2000001, -1, -1, 0, 0, "just below minus a half"},
        {int64_t{1} << 57, INT32_MIN, INT32_MIN, INT32_MIN, 255, "2^31 keeps its low 32 bits"},
        {kMax, 0, -1, 0, 255, "the division marker: the offset wraps, nothing traps"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(raw(c.raw).round_int(), c.round);
        EXPECT_EQ(raw(c.raw).floor_int(), c.floor);
        EXPECT_EQ(raw(c.raw).ceil_int(), c.ceil);
        EXPECT_EQ(raw(c.raw).to_byte(), c.byte);
    }
    EXPECT_EQ(KXFIX::from_int(INT32_MIN).m_raw, kKxInt32MinRaw) << "from_int sign-extends";
}

TEST(Kxfix, FloatConversions) {
    // 2^60 + 2^36 + 1 rounds up to 2^60 + 2^37 as a float; by way of a double it
    // would round twice and end at 2^60.
    EXPECT_EQ(raw((int64_t{1} << 60) + (int64_t{1} << 36) + 1).to_float(), 17179871232.0f);
    // clang-format off
    const struct { float in; int64_t expected; const char* why; } cases[] = {
        {-3.0f / 134217728.0f, -1, "-1.5 raw truncates toward zero"},
        {137438945280.0f, kMax - (int64_t{1} << 39) + 1, "largest float below 2^37 fits"},
        {137438953472.0f, kMax, "2^37 saturates"},
        {-std::numeric_limits<float>::infinity(), kMin, "-infinity saturates"},
        {std::numeric_limits<float>::quiet_NaN(), 0, "NaN gives 0"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(KXFIX::from_float(c.in).m_raw, c.expected);
    }
}

}  // namespace
}  // namespace shadepaint
