// Fixed-point rules pinned at every threshold where they switch. Expected
// values in the tables were worked out by hand (or in exact integer arithmetic
// outside the code); a 128-bit reference model, written from the range form of
// each rule rather than from its bit tricks, cross-checks them and a seeded
// random sweep.
#include "numeric/kxfix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace shadepaint {
namespace {

using i128 = __int128;

constexpr int64_t kP44 = int64_t{1} << 44;
constexpr int64_t kP42 = int64_t{1} << 42;
constexpr int64_t kP36 = int64_t{1} << 36;
constexpr int64_t kP32 = int64_t{1} << 32;
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

KXFIX raw(int64_t v) { return KXFIX::from_raw(v); }

// Reference arithmetic: exact floor and truncating division in 128 bits, and
// an explicit reduction to 64 bits where a rule lets its product wrap.
int64_t wrap64(i128 v) {
    return static_cast<int64_t>(static_cast<uint64_t>(static_cast<unsigned __int128>(v)));
}
i128 floor_div(i128 a, i128 d) {
    i128 q = a / d;
    if (a % d != 0 && ((a < 0) != (d < 0))) --q;
    return q;
}
i128 trunc_div(i128 a, i128 d) { return a / d; }
i128 pow2(int n) { return i128{1} << n; }
bool within(int64_t x, i128 lo, i128 hi) { return x >= lo && x <= hi; }
bool small(int64_t x) { return within(x, -pow2(28), pow2(28)); }

int64_t ref_mul(int64_t a, int64_t b) {
    const bool moderate = within(a, -pow2(44), pow2(44) + pow2(32) - 1);
    if (moderate) {
        if (small(a) && small(b)) return wrap64(floor_div(i128{a} * b, pow2(26)));
        if (small(a)) return wrap64(floor_div(wrap64(floor_div(b, pow2(12)) * a), pow2(14)));
        if (small(b)) return wrap64(floor_div(wrap64(floor_div(a, pow2(12)) * b), pow2(14)));
        return wrap64(floor_div(wrap64(floor_div(a, pow2(12)) * floor_div(b, pow2(12))), pow2(2)));
    }
    if (small(b)) return wrap64(floor_div(a, pow2(26)) * b);
    return wrap64(floor_div(a, pow2(26)) * (floor_div(b, pow2(12)) * pow2(12)));
}

int64_t ref_mul_assign(int64_t x, int64_t m) {
    if (within(x, -pow2(42), pow2(42))) {
        if (small(x) && small(m)) return wrap64(floor_div(i128{x} * m, pow2(26)));
        if (small(x)) return wrap64(floor_div(wrap64(x * floor_div(m, pow2(12))), pow2(14)));
        if (small(m)) return wrap64(floor_div(wrap64(floor_div(x, pow2(12)) * m), pow2(14)));
        return wrap64(floor_div(wrap64(floor_div(x, pow2(12)) * floor_div(m, pow2(12))), pow2(2)));
    }
    if (small(m)) return wrap64(floor_div(wrap64(floor_div(x, pow2(20)) * m), pow2(6)));
    return wrap64(wrap64(floor_div(x, pow2(20)) * floor_div(m, pow2(12))) * pow2(6));
}

int64_t ref_div(int64_t a, int64_t b) {
    if (b == 0) return kMax;
    if (within(a, -pow2(36), pow2(36))) return wrap64(trunc_div(i128{a} * pow2(26), b));
    if (within(b, -0x20000, 0x20000)) return wrap64(trunc_div(a, b) * pow2(26));
    return wrap64(trunc_div(wrap64(i128{a} * pow2(10)), floor_div(b, pow2(16))));
}

struct BinaryCase {
    int64_t a;
    int64_t b;
    int64_t expected;
    const char* why;
};

// clang-format off
const BinaryCase kMulCases[] = {
    {0x2000000, 0x2000000, 0x1000000, "0.5 * 0.5, both small"},
    {-1, 1, -1, "the shift floors: -1 raw * 1 raw is -1, not 0"},
    {-1, 0x2000000, -1, "a negative product floors toward minus infinity"},
    {0x14000000, 0x14000000, 0x64000000, "5.0 * 5.0 through >> 12 on both sides is still 25.0"},
    {0x10000000, 0x10000000, 0x40000000, "4.0 * 4.0: 4.0 is small on both sides"},
    {-0x10000000, 0x10000000, -0x40000000, "-4.0 is small too"},
    {0x10000001, 0x10000000, 0x40000000, "a one raw past 4.0 is not small: its low 12 bits go"},
    {-0x10000001, 0x10000000, -0x40004000, "a one raw below -4.0 floors to -0x10001 << 12"},
    {0x10000000, 0x10000001, 0x40000000, "b one raw past 4.0 is not small: its low 12 bits go"},
    {0x10000000, -0x10000001, -0x40004000, "b one raw below -4.0 floors"},
    {0x10000001, 0x10000001, 0x40000000, "neither small: both operands lose 12 bits"},
    {kP44 + kP32 - 1, 0x4000000, kP44 + kP32 - 0x1000, "highest moderate a keeps its fraction"},
    {kP44 + kP32 + 0x3ffffff, 0x4000000, kP44 + kP32, "first high word past 0x1000: only the floor of a"},
    {kP44 + kP32 - 1, 0x14000000, 5 * (kP44 + kP32) - 5 * 0x1000, "highest moderate a, b not small"},
    {-kP44, kP44, 0, "-2^44 is moderate: (-2^32 * 2^32) wraps to 0 before >> 2"},
    {-kP44 - 1, 0x4000000, -kP44 - 0x4000000, "below -2^44: a counts by its floor"},
    {-kP44 - 1, kP44, -(kP44 << 18) - kP44, "below -2^44, b not small: (a >> 26) * b"},
    {kP44 + kP32, 0x14000fff, (int64_t{0x40040} * 0x14000000), "not moderate: b loses its low 12 bits"},
    {0x4000000, kMax, -0x1000, "1.0 * the largest b: the product of the >> 12 row wraps"},
    {kMin, 0x4000000, kMin, "most negative a: floor(a) * 1.0 wraps back to itself"},
};
// clang-format on

TEST(KxfixMultiply, ThresholdsAndRows) {
    for (const BinaryCase& c : kMulCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ((raw(c.a) * raw(c.b)).m_raw, c.expected);
        EXPECT_EQ(ref_mul(c.a, c.b), c.expected) << "reference model disagrees with the table";
    }
}

TEST(KxfixMultiply, LeftOperandDecidesWhatIsLost) {
    const KXFIX big = KXFIX::from_int(300000) + raw(0x2000000);  // 300000.5
    const KXFIX half = raw(0x2000000);
    EXPECT_EQ((big * half).m_raw, KXFIX::from_int(150000).m_raw)
        << "a beyond moderate counts only by its integer part";
    EXPECT_EQ((half * big).m_raw, KXFIX::from_int(150000).m_raw + 0x1000000)
        << "0.5 * 300000.5 keeps the quarter";
}

// clang-format off
const BinaryCase kMulAssignCases[] = {
    {0x2000000, 0x2000000, 0x1000000, "row 1: 0.5 *= 0.5"},
    {-1, 1, -1, "row 1 floors"},
    {3, 0x10000fff, 12, "row 2: m loses 12 bits, x stays whole"},
    {0x10000001, 0x10000000, 0x40000000, "row 3: x loses 12 bits"},
    {0x14000000, 0x14000000, 0x64000000, "row 4: 5.0 *= 5.0"},
    {kP42, kP44 << 2, 0, "x = 2^42 is in range: row 4 wraps to 0"},
    {-kP42, kP44 << 2, 0, "x = -2^42 is in range: row 4 wraps to 0"},
    {kP42 + 1, kP44 << 2, int64_t{1} << 62, "x = 2^42 + 1 is out: row 6 shifts left"},
    {-kP42 - 1, kP44 << 2, -(int64_t{1} << 62) - (int64_t{1} << 40), "x = -2^42 - 1 is out: row 6 floors x >> 20"},
    {kP42 + 0xfffff, 0x4000001, kP42 + 0x10000, "row 5: x loses 20 bits"},
    {(kP42 << 1) + 0xfffff, 0x4000000, kP42 << 1, "row 5 at 2^43: the low 20 bits of x go"},
    {(kP42 << 1) + 0xfffff, 0x14000fff, int64_t{0x14000} << 29, "row 6: (2^23 * 0x14000) << 6"},
    {-(kP42 << 1) - 1, 0x4000000, -(kP42 << 1) - 0x100000, "row 5 floors a negative x"},
};
// clang-format on

TEST(KxfixMultiplyAssign, ThresholdsAndRows) {
    for (const BinaryCase& c : kMulAssignCases) {
        SCOPED_TRACE(c.why);
        KXFIX x = raw(c.a);
        x *= raw(c.b);
        EXPECT_EQ(x.m_raw, c.expected);
        EXPECT_EQ(ref_mul_assign(c.a, c.b), c.expected)
            << "reference model disagrees with the table";
    }
}

TEST(KxfixMultiplyAssign, DiffersFromMultiplyBeyondItsBound) {
    // 2^43 + 0xfffff is moderate for operator* (which keeps 12 more bits) but
    // beyond the 2^42 bound of operator*=.
    const KXFIX x = raw((kP42 << 1) + 0xfffff);
    KXFIX y = x;
    y *= raw(0x4000000);
    EXPECT_EQ((x * raw(0x4000000)).m_raw, (kP42 << 1) + 0xff000);
    EXPECT_EQ(y.m_raw, kP42 << 1);
}

// clang-format off
const BinaryCase kDivCases[] = {
    {0, 0, kMax, "0 / 0 is the marker"},
    {1, 0, kMax, "tiny / 0"},
    {-1, 0, kMax, "negative / 0 is the positive marker too"},
    {kMax, 0, kMax, "largest / 0"},
    {kMin, 0, kMax, "most negative / 0 doesn't trap"},
    {kP36 + 1, 0, kMax, "zero divisor wins over the numerand's range"},
    {0x4000000, 0xc000000, 0x1555555, "1 / 3 truncates"},
    {-0x4000000, 0xc000000, -0x1555555, "-1 / 3 truncates toward zero, not down"},
    {0x4000000, -1, -(int64_t{1} << 52), "step 1 with a divisor of -1 raw"},
    {kP36, 0xc00ffff, 22899038245, "numerand 1024.0 is in step 1: (a << 26) / b"},
    {kP36 + 1, 0xc00ffff, 22906492245, "one raw past 1024.0: step 3 drops b's low 16 bits"},
    {-kP36, 0xc00ffff, -22899038245, "numerand -1024.0 is in step 1"},
    {-kP36 - 1, 0xc00ffff, -22906492245, "one raw below -1024.0: step 3"},
    {(kP36 << 4) + 0x1ffff, 0x20000, int64_t{1} << 49, "divisor 0x20000: step 2 truncates a / b"},
    {(kP36 << 4) + 0x1ffff, 0x20001, 562950020529664, "divisor 0x20001: step 3, (a << 10) / 2"},
    {(kP36 << 4) + 0x1ffff, -0x20000, -(int64_t{1} << 49), "divisor -0x20000: step 2"},
    {(kP36 << 4) + 0x1ffff, -0x20001, -375300013686442, "divisor -0x20001: b >> 16 floors to -3"},
    {kMin, -1, 0, "INT64_MIN / -1 raw wraps in step 2, then << 26 gives 0"},
    {kMin + 0x4000000, -1, -(int64_t{1} << 52), "step 2 with -1: negation, then the shift wraps"},
    {kMin, 0x20000, 0, "step 2 with the largest small divisor: -2^46 << 26 wraps to 0"},
    {kMin, -0x20001, 0, "step 3: a << 10 wraps the most negative numerand to 0"},
};
// clang-format on

TEST(KxfixDivide, ZeroDivisorThresholdsAndNoTrap) {
    for (const BinaryCase& c : kDivCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ((raw(c.a) / raw(c.b)).m_raw, c.expected);
        EXPECT_EQ(ref_div(c.a, c.b), c.expected) << "reference model disagrees with the table";
    }
}

TEST(KxfixDivide, PlainRawDivisionsNeverTrap) {
    EXPECT_EQ(kx_div_raw(kMin, -1), kMin);
    EXPECT_EQ(kx_div_raw(12345, 0), 0);
    EXPECT_EQ(kx_div_raw(-7, 2), -3) << "truncates toward zero";
    EXPECT_EQ(kx_recip(0), 0) << "a zero scale inverts to zero, not to a marker";
    EXPECT_EQ(kx_recip(0x8000000), 0x2000000) << "2.0 inverts to exactly 0.5";
    EXPECT_EQ(kx_recip(-0x8000000), -0x2000000);
    EXPECT_EQ(kx_recip(0xc000000), 22369621) << "1/3 truncates";
    EXPECT_EQ(kx_recip(-0xc000000), -22369621) << "-1/3 truncates toward zero";
    EXPECT_EQ(kx_recip(-1), -(int64_t{1} << 52));
}

// Random operands over every magnitude, each compared with the reference
// model; boundaries are hit often because magnitudes are drawn by bit length.
TEST(KxfixArithmetic, RandomAgainstReference) {
    const uint64_t seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 rng(seed);
    const int64_t edges[] = {0x10000000, kP36, kP42, kP44, kP44 + kP32, 0x20000};
    auto operand = [&]() -> int64_t {
        const uint64_t r = rng();
        int64_t v;
        if (r % 4 == 0) {
            v = edges[(r >> 2) % 6] + static_cast<int64_t>((r >> 8) % 5) - 2;
        } else {
            const unsigned bits = static_cast<unsigned>((r >> 2) % 64);
            v = static_cast<int64_t>(rng() >> (63 - bits) >> 1);
        }
        return (r >> 40) & 1 ? static_cast<int64_t>(0 - static_cast<uint64_t>(v)) : v;
    };
    for (int i = 0; i < 20000; ++i) {
        const int64_t a = operand(), b = operand();
        SCOPED_TRACE(testing::Message() << "a " << a << " b " << b);
        ASSERT_EQ((raw(a) * raw(b)).m_raw, ref_mul(a, b));
        KXFIX x = raw(a);
        x *= raw(b);
        ASSERT_EQ(x.m_raw, ref_mul_assign(a, b));
        ASSERT_EQ((raw(a) / raw(b)).m_raw, ref_div(a, b));
    }
}

struct RoundCase {
    int64_t raw;
    int32_t round;
    int32_t floor;
    int32_t ceil;
    const char* why;
};

// clang-format off
const RoundCase kRoundCases[] = {
    {0, 0, 0, 0, "zero"},
    {1, 0, 0, 1, "one raw above zero"},
    {-1, 0, -1, 0, "one raw below zero"},
    {0x1ffffff, 0, 0, 1, "just below a half"},
    {0x2000000, 1, 0, 1, "a half rounds up"},
    {-0x2000000, 0, -1, 0, "minus a half rounds up, toward zero"},
    {-0x2000001, -1, -1, 0, "just below minus a half"},
    {0xa000000, 3, 2, 3, "2.5 gives 3"},
    {-0xa000000, -2, -3, -2, "-2.5 gives -2"},
    {0x4000000, 1, 1, 1, "1.0 exactly"},
    {0x3ffffff, 1, 0, 1, "just below 1.0"},
    {0x1fffffffc000000, 2147483647, 2147483647, 2147483647, "largest 32-bit integer"},
    {static_cast<int64_t>(0xfe00000000000000ULL), INT32_MIN, INT32_MIN, INT32_MIN, "smallest 32-bit integer"},
    {int64_t{1} << 57, INT32_MIN, INT32_MIN, INT32_MIN, "2^31 keeps only its low 32 bits"},
    {(int64_t{1} << 58) + 0x14000000, 5, 5, 5, "2^32 + 5 keeps only its low 32 bits"},
    {kMax, 0, -1, 0, "the division marker: the offset wraps, nothing traps"},
    {kMin, 0, 0, 0, "most negative raw value"},
};
// clang-format on

TEST(KxfixConvert, RoundFloorCeil) {
    for (const RoundCase& c : kRoundCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(raw(c.raw).round_int(), c.round);
        EXPECT_EQ(raw(c.raw).floor_int(), c.floor);
        EXPECT_EQ(raw(c.raw).ceil_int(), c.ceil);
    }
}

TEST(KxfixConvert, FromIntSignExtends) {
    EXPECT_EQ(KXFIX::from_int(-1).m_raw, -0x4000000);
    EXPECT_EQ(KXFIX::from_int(INT32_MIN).m_raw, kKxInt32MinRaw);
    EXPECT_EQ(KXFIX::from_int(INT32_MAX).m_raw, kKxInt32MaxRaw);
    EXPECT_EQ(KXFIX::from_int(INT32_MIN).floor_int(), INT32_MIN);
}

TEST(KxfixConvert, ColourByte) {
    struct {
        int64_t raw;
        int expected;
        const char* why;
    } const cases[] = {
        {0, 0, "zero"},
        {1, 0, "one raw rounds to 0"},
        {131586, 0, "largest value giving 0"},
        {131587, 1, "smallest value giving 1"},
        {0x1ffffff, 127, "just below a half"},
        {0x2000000, 128, "a half gives 128"},
        {0x3ffffff, 255, "just below 1.0 gives 255 by the formula"},
        {0x4000000, 255, "1.0 is clamped"},
        {0x6000000, 255, "1.5 is clamped"},
        {kMax, 255, "largest raw value"},
        {-67108, 0, "-0.001"},
        {-1, 0, "one raw below zero"},
        {kMin, 0, "most negative raw value"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(raw(c.raw).to_byte(), c.expected);
    }
}

uint32_t float_bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

TEST(KxfixConvert, ToFloatRoundsRawFirst) {
    struct {
        int64_t raw;
        float expected;
        const char* why;
    } const cases[] = {
        {0x4000000, 1.0f, "1.0"},
        {-0x2000000, -0.5f, "-0.5"},
        {1, 1.0f / 67108864.0f, "one raw is 2^-26 exactly"},
        {(int64_t{1} << 50) + (int64_t{1} << 26), 16777216.0f,
         "2^24 + 1 rounds to even before the scale"},
        {(int64_t{1} << 50) + (int64_t{3} << 26), 16777220.0f, "2^24 + 3 rounds to even upward"},
        {kMax, 137438953472.0f, "largest raw value rounds to 2^63, times 2^-26"},
        {kMin, -137438953472.0f, "most negative raw value"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(float_bits(raw(c.raw).to_float()), float_bits(c.expected));
    }
    EXPECT_EQ(float_bits(raw(1).to_float()), 0x32800000u);
}

TEST(KxfixConvert, FromFloatTruncatesAndSaturates) {
    const float inf = std::numeric_limits<float>::infinity();
    struct {
        float in;
        int64_t expected;
        const char* why;
    } const cases[] = {
        {1.5f, 0x6000000, "1.5"},
        {-1.5f, -0x6000000, "-1.5"},
        {1.0f + 1.0f / 8388608.0f, 0x4000008, "1 + 2^-23 is exact"},
        {3.0f / 268435456.0f, 0, "0.75 raw truncates to 0"},
        {-3.0f / 134217728.0f, -1, "-1.5 raw truncates toward zero, to -1"},
        {137438945280.0f, kMax - (int64_t{1} << 39) + 1, "largest float below 2^37 fits"},
        {137438953472.0f, kMax, "2^37 saturates"},
        {-137438953472.0f, kMin, "-2^37 is exactly the most negative value"},
        {1e30f, kMax, "far above saturates"},
        {-1e30f, kMin, "far below saturates"},
        {inf, kMax, "+infinity saturates"},
        {-inf, kMin, "-infinity saturates"},
        {std::numeric_limits<float>::quiet_NaN(), 0, "NaN gives 0"},
        {-std::numeric_limits<float>::quiet_NaN(), 0, "negative NaN gives 0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(KXFIX::from_float(c.in).m_raw, c.expected);
    }
}

TEST(KxfixPlain, SumsWrapAndAbsNegates) {
    EXPECT_EQ((raw(kMax) + raw(1)).m_raw, kMin);
    EXPECT_EQ((raw(kMin) - raw(1)).m_raw, kMax);
    EXPECT_EQ((-raw(kMin)).m_raw, kMin);
    EXPECT_EQ(raw(kMin).abs().m_raw, kMin) << "abs of the most negative value wraps";
    EXPECT_EQ(raw(-5).abs().m_raw, 5);
    EXPECT_EQ(raw(0x4000000).mul_int(3).m_raw, 0xc000000) << "no shift";
    EXPECT_EQ(raw(kMax).mul_int(2).m_raw, -2) << "wraps";
}

}  // namespace
}  // namespace shadepaint
