// Matrix operations: which path each takes (scale-only or general), which
// operand stands left in each product, and what that costs in low bits.
// Expected values were worked out by hand from x' = a x + c y + e,
// y' = b x + d y + f.
#include "numeric/kxmatrix.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"

namespace shadepaint {
namespace {

constexpr int64_t kMarker = 0x7fffffffffffffff;

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

void expect_matrix(const _KXMATRIX& got, const _KXMATRIX& want) {
    const KXFIX _KXMATRIX::*const fields[] = {&_KXMATRIX::a, &_KXMATRIX::b, &_KXMATRIX::c,
                                              &_KXMATRIX::d, &_KXMATRIX::e, &_KXMATRIX::f};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ((got.*fields[i]).m_raw, (want.*fields[i]).m_raw) << "abcdef"[i];
}

TEST(Kxmatrix, InvertScaleOnlyAndGeneralPaths) {
    const int64_t third = 22369621;  // 2^52 / 3.0 and 3.0 / 9.0 both truncate to this
    const struct {
        _KXMATRIX in, expected;
        const char* why;
    } cases[] = {
        {mat(3, 0, 0, 1, 6, 0), raw_mat(third, 0, 0, kKxOne, -6 * third, 0),
         "3.0: the reciprocal truncates, then -6.0 *= it"},
        {mat(0, 0, 0, 2, 5, 6), mat(0, 0, 0, 0.5, 0, -3), "a zero scale zeroes its row, no marker"},
        {mat(2, 1, 4, 2, 3, 4), raw_mat(kMarker, kMarker, kMarker, kMarker, kMarker, kMarker),
         "skewed and singular: six markers"},
        {mat(0, 1, -1, 0, 3, 4), mat(0, -1, 1, 0, -4, 3), "quarter turn with translation"},
        {mat(3, 1, 0, 3, 9, 0), raw_mat(third, -7456540, 0, third, -3 * kKxOne, kKxOne),
         "general path: -1 / 9 truncates toward zero (floor would give -7456541)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.in;
        m.do_invert();
        expect_matrix(m, c.expected);
    }
}

TEST(Kxmatrix, MultiplyIsThisFollowedByOther) {
    const struct {
        _KXMATRIX self, other, expected;
        const char* why;
    } cases[] = {
        {mat(1, 0, 0, 1, 10, 0), mat(2, 0, 0, 2, 0, 0), mat(2, 0, 0, 2, 20, 0),
         "shift, then scale"},
        {mat(0, 1, -1, 0, 0, 0), mat(2, 0, 0, 3, 0, 0), mat(0, 3, -2, 0, 0, 0),
         "turn, then stretch"},
        {mat(300000.5, 0, 0, 1, 0, 0), mat(0.5, 0, 0, 1, 0, 0), mat(150000, 0, 0, 1, 0, 0),
         "the receiver's element stands left: 300000.5 * 0.5 drops the fraction"},
        {mat(0.5, 0, 0, 1, 0, 0), mat(300000.5, 0, 0, 1, 0, 0), mat(150000.25, 0, 0, 1, 0, 0),
         "0.5 * 300000.5 keeps it"},
        {raw_mat(4 * kKxOne + 7, 0, 0, kKxOne, 0, -1000 * kKxOne - 1), _KXMATRIX::identity(),
         raw_mat(4 * kKxOne, 0, 0, kKxOne, 0, -1000 * kKxOne - 0x1000),
         "by identity, beyond 4.0 the low 12 bits go, negatives toward minus infinity"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.self;
        m.do_multiply(c.other);
        expect_matrix(m, c.expected);
    }
}

TEST(Kxmatrix, TransformPointAndDelta) {
    const struct {
        _KXMATRIX m;
        double x, y, px, py, dx, dy;
        const char* why;
    } cases[] = {
        {mat(0, 1, -1, 0, 3, 4), 5, 1, 2, 9, -1, 5, "quarter turn: y' uses the old x"},
        {mat(300000.5, 0, 0, 0.5, 0, 0), 0.5, 300000.5, 150000, 150000.25, 150000, 150000.25,
         "the matrix element stands left"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        KXFIX x = fx(c.x), y = fx(c.y), dx = fx(c.x), dy = fx(c.y);
        _KXPOINTF p{fx(c.x), fx(c.y)};
        c.m.transform_point(x, y);
        c.m.transform_point(p);
        c.m.transform_delta(dx, dy);
        EXPECT_EQ(x.m_raw, fx(c.px).m_raw);
        EXPECT_EQ(y.m_raw, fx(c.py).m_raw);
        EXPECT_EQ(p.x.m_raw, x.m_raw) << "the point overload agrees";
        EXPECT_EQ(p.y.m_raw, y.m_raw) << "the point overload agrees";
        EXPECT_EQ(dx.m_raw, fx(c.dx).m_raw);
        EXPECT_EQ(dy.m_raw, fx(c.dy).m_raw);
    }
}

TEST(Kxmatrix, BoundIsTheSortedBoxOfTheImage) {
    const int64_t x70k = 70000 * kKxOne + 0xfffff;  // beyond the 65536.0 bound of *=
    const struct {
        _KXMATRIX m;
        _KXRECTF in, expected;
        const char* why;
    } cases[] = {
        {mat(-2, 0, 0, -1, 10, 20), rect(1, 2, 3, 5), rect(4, 15, 8, 18),
         "negative scales: edges change places"},
        {mat(1, 1, -1, 1, 0, 0), rect(0, 0, 2, 1), rect(-1, 0, 2, 3),
         "skewed: left and right come from the other two corners"},
        {_KXMATRIX::identity(),
         {raw(x70k), fx(0), raw(x70k), fx(1)},
         rect(70000, 0, 70000, 1),
         "positive scale uses *=: 20 low bits go"},
        {mat(-1, 0, 0, 1, 0, 0),
         {fx(0), fx(0), raw(x70k), fx(1)},
         {raw(-70000 * kKxOne - 0xff000), fx(0), fx(0), fx(1)},
         "negative scale uses *: 12 bits go"},
        {_KXMATRIX::identity(),
         _KXRECTF(),
         {raw(kKxInt32MinRaw), raw(kKxInt32MinRaw), raw(kKxInt32MaxRaw), raw(kKxInt32MaxRaw)},
         "an inverted-empty box is not recognised: it comes out sorted and huge"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXRECTF r = c.in;
        c.m.get_bound(r);
        EXPECT_EQ(r.left.m_raw, c.expected.left.m_raw);
        EXPECT_EQ(r.top.m_raw, c.expected.top.m_raw);
        EXPECT_EQ(r.right.m_raw, c.expected.right.m_raw);
        EXPECT_EQ(r.bottom.m_raw, c.expected.bottom.m_raw);
    }
}

}  // namespace
}  // namespace shadepaint
