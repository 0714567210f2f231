// Matrix operations: which path each takes (scale-only or general), which
// operand stands left in each product, and what that costs in low bits.
// Expected values were worked out by hand from x' = a x + c y + e,
// y' = b x + d y + f.
#include "numeric/kxmatrix.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"

namespace shadepaint {
namespace {

constexpr int64_t kMarker = 0x7fffffffffffffff;
constexpr int64_t kThird = 22369621;  // 2^52 / 3.0 and 6.0 / 18.0 both truncate to this

// Exact for every value used here: all are short binary fractions.
KXFIX fx(double v) { return KXFIX::from_raw(static_cast<int64_t>(v * double(kKxOne))); }
KXFIX raw(int64_t v) { return KXFIX::from_raw(v); }
_KXMATRIX mat(double a, double b, double c, double d, double e, double f) {
    return {fx(a), fx(b), fx(c), fx(d), fx(e), fx(f)};
}
_KXMATRIX raw_mat(int64_t a, int64_t b, int64_t c, int64_t d, int64_t e, int64_t f) {
    return {raw(a), raw(b), raw(c), raw(d), raw(e), raw(f)};
}
_KXRECTF rect(double l, double t, double r, double b) { return {fx(l), fx(t), fx(r), fx(b)}; }
std::array<int64_t, 6> raws(const _KXMATRIX& m) {
    return {m.a.m_raw, m.b.m_raw, m.c.m_raw, m.d.m_raw, m.e.m_raw, m.f.m_raw};
}
std::array<int64_t, 4> raws(const _KXRECTF& r) {
    return {r.left.m_raw, r.top.m_raw, r.right.m_raw, r.bottom.m_raw};
}

TEST(Kxmatrix, InvertScaleOnlyAndGeneralPaths) {
    // clang-format off
    const struct { _KXMATRIX in, expected; const char* why; } cases[] = {
        {mat(3, 0, 0, 1, 6, 0), raw_mat(kThird, 0, 0, kKxOne, -6 * kThird, 0),
         "3.0: the reciprocal truncates, then -6.0 *= it"},
        {mat(0, 0, 0, 2, 5, 6), mat(0, 0, 0, 0.5, 0, -3), "a zero scale zeroes its row, no marker"},
        {mat(2, 1, 4, 2, 3, 4), raw_mat(kMarker, kMarker, kMarker, kMarker, kMarker, kMarker),
         "skewed and singular: six markers"},
        {mat(0, 1, -1, 0, 3, 4), mat(0, -1, 1, 0, -4, 3), "quarter turn with translation"},
        {mat(3, 1, 0, 6, 9, 0), raw_mat(kThird, -3728270, 0, 11184810, -3 * kKxOne, kKxHalf),
         "general path: a' from d, d' from a; -1 / 18 truncates toward zero"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.in;
        m.do_invert();
        EXPECT_EQ(raws(m), raws(c.expected));
    }
}

TEST(Kxmatrix, MultiplyIsThisFollowedByOther) {
    // clang-format off
    const struct { _KXMATRIX self, other, expected; const char* why; } cases[] = {
        {mat(1, 0, 0, 1, 10, 0), mat(2, 0, 0, 2, 0, 0), mat(2, 0, 0, 2, 20, 0), "shift first"},
        {mat(0, 1, -1, 0, 0, 0), mat(2, 0, 0, 3, 0, 0), mat(0, 3, -2, 0, 0, 0), "turn first"},
        {mat(0.5, 0, 0, 1, 0, 0), mat(300000.5, 0, 0, 1, 0, 0), mat(150000.25, 0, 0, 1, 0, 0),
         "the receiver's element stands left: 0.5 * 300000.5 keeps the fraction"},
        {raw_mat(4 * kKxOne + 7, 0, 0, kKxOne, 0, -1000 * kKxOne - 1), _KXMATRIX::identity(),
         raw_mat(4 * kKxOne, 0, 0, kKxOne, 0, -1000 * kKxOne - 0x1000),
         "by identity, beyond 4.0 the low 12 bits go, negatives toward minus infinity"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.self;
        m.do_multiply(c.other);
        EXPECT_EQ(raws(m), raws(c.expected));
    }
}

TEST(Kxmatrix, TransformPointAndDelta) {
    // clang-format off
    const struct { _KXMATRIX m; double x, y, px, py, dx, dy; const char* why; } cases[] = {
        {mat(0, 1, -1, 0, 3, 4), 5, 1, 2, 9, -1, 5, "quarter turn: y' uses the old x"},
        {mat(300000.5, 0, 0, 0.5, 0, 0), 0.5, 300000.5, 150000, 150000.25, 150000, 150000.25,
         "the matrix element stands left"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        KXFIX x = fx(c.x), y = fx(c.y), dx = fx(c.x), dy = fx(c.y);
        c.m.transform_point(x, y);
        c.m.transform_delta(dx, dy);
        // The four results packed as the four edges, to compare them at once.
        EXPECT_EQ(raws(_KXRECTF{x, y, dx, dy}), raws(rect(c.px, c.py, c.dx, c.dy)));
    }
}

TEST(Kxmatrix, BoundIsTheSortedBoxOfTheImage) {
    const KXFIX x70k = raw(70000 * kKxOne + 0xfffff);  // beyond the 65536.0 bound of *=
    // clang-format off
    const struct { _KXMATRIX m; _KXRECTF in, expected; const char* why; } cases[] = {
        {mat(-2, 0, 0, -1, 10, 20), rect(1, 2, 3, 5), rect(4, 15, 8, 18),
         "negative scales: edges change places"},
        {mat(1, 1, -1, 1, 0, 0), rect(0, 0, 2, 1), rect(-1, 0, 2, 3),
         "skewed: left and right come from the other two corners"},
        {_KXMATRIX::identity(), {x70k, fx(0), x70k, fx(1)}, rect(70000, 0, 70000, 1),
         "positive scale uses *=: 20 low bits go"},
        {mat(-1, 0, 0, 1, 0, 0), {fx(0), fx(0), x70k, fx(1)},
         {raw(-70000 * kKxOne - 0xff000), fx(0), fx(0), fx(1)}, "negative scale uses *: 12 go"},
        {_KXMATRIX::identity(), _KXRECTF(),
         {raw(kKxInt32MinRaw), raw(kKxInt32MinRaw), raw(kKxInt32MaxRaw), raw(kKxInt32MaxRaw)},
         "an inverted-empty box is not recognised: it comes out sorted and huge"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXRECTF r = c.in;
        c.m.get_bound(r);
        EXPECT_EQ(raws(r), raws(c.expected));
    }
}

}  // namespace
}  // namespace shadepaint
