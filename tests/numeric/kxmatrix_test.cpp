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
KXFIX fx(double v) {
    return KXFIX::from_raw(static_cast<int64_t>(v * static_cast<double>(kKxOne)));
}
KXFIX raw(int64_t v) { return KXFIX::from_raw(v); }

_KXMATRIX mat(double a, double b, double c, double d, double e, double f) {
    return {fx(a), fx(b), fx(c), fx(d), fx(e), fx(f)};
}
_KXMATRIX raw_mat(int64_t a, int64_t b, int64_t c, int64_t d, int64_t e, int64_t f) {
    return {raw(a), raw(b), raw(c), raw(d), raw(e), raw(f)};
}
_KXRECTF rect(double l, double t, double r, double b) { return {fx(l), fx(t), fx(r), fx(b)}; }

void expect_matrix(const _KXMATRIX& got, const _KXMATRIX& want) {
    EXPECT_EQ(got.a.m_raw, want.a.m_raw) << "a";
    EXPECT_EQ(got.b.m_raw, want.b.m_raw) << "b";
    EXPECT_EQ(got.c.m_raw, want.c.m_raw) << "c";
    EXPECT_EQ(got.d.m_raw, want.d.m_raw) << "d";
    EXPECT_EQ(got.e.m_raw, want.e.m_raw) << "e";
    EXPECT_EQ(got.f.m_raw, want.f.m_raw) << "f";
}

void expect_rect(const _KXRECTF& got, const _KXRECTF& want) {
    EXPECT_EQ(got.left.m_raw, want.left.m_raw) << "left";
    EXPECT_EQ(got.top.m_raw, want.top.m_raw) << "top";
    EXPECT_EQ(got.right.m_raw, want.right.m_raw) << "right";
    EXPECT_EQ(got.bottom.m_raw, want.bottom.m_raw) << "bottom";
}

struct InvertCase {
    _KXMATRIX in;
    _KXMATRIX expected;
    const char* why;
};

TEST(KxmatrixInvert, ScaleOnlyAndGeneralPaths) {
    const int64_t third = 22369621;  // 2^52 / 3.0 and 3.0 / 9.0 both truncate to this
    const InvertCase cases[] = {
        {_KXMATRIX::identity(), _KXMATRIX::identity(), "identity, e and f negated zero"},
        {mat(1, 0, 0, 1, 5.5, -3), mat(1, 0, 0, 1, -5.5, 3), "translation: no division at all"},
        {mat(2, 0, 0, 2, 3, -4), mat(0.5, 0, 0, 0.5, -1.5, 2), "2.0 inverts to 0.5 exactly"},
        {mat(3, 0, 0, 1, 6, 0), raw_mat(third, 0, 0, kKxOne, -6 * third, 0),
         "3.0: the reciprocal truncates, then -6.0 *= it"},
        {mat(-2, 0, 0, 1, 4, 0), mat(-0.5, 0, 0, 1, 2, 0), "a negative scale"},
        {mat(0, 0, 0, 0, 5, 6), mat(0, 0, 0, 0, 0, 0), "zero scales give zero rows, no marker"},
        {mat(0, 0, 0, 2, 5, 6), mat(0, 0, 0, 0.5, 0, -3), "one zero scale zeroes its row only"},
        {mat(1, 1, 1, 1, 0, 0), raw_mat(kMarker, kMarker, kMarker, kMarker, kMarker, kMarker),
         "skewed and singular: six markers"},
        {mat(2, 1, 4, 2, 3, 4), raw_mat(kMarker, kMarker, kMarker, kMarker, kMarker, kMarker),
         "skewed, singular with a translation: six markers"},
        {mat(0, 1, -1, 0, 3, 4), mat(0, -1, 1, 0, -4, 3), "quarter turn with translation"},
        {mat(3, 1, 0, 3, 9, 0), raw_mat(third, -7456540, 0, third, -3 * kKxOne, kKxOne),
         "general path: -1 / 9 truncates toward zero (floor would give -7456541)"},
    };
    for (const InvertCase& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.in;
        m.do_invert();
        expect_matrix(m, c.expected);
    }
}

TEST(KxmatrixMultiply, ThisFollowedByOther) {
    const _KXMATRIX scale = mat(2, 0, 0, 2, 0, 0);
    const _KXMATRIX shift = mat(1, 0, 0, 1, 10, 0);
    const _KXMATRIX turn = mat(0, 1, -1, 0, 0, 0);
    const _KXMATRIX stretch = mat(2, 0, 0, 3, 0, 0);
    struct {
        _KXMATRIX self;
        _KXMATRIX other;
        _KXMATRIX expected;
        const char* why;
    } const cases[] = {
        {scale, shift, mat(2, 0, 0, 2, 10, 0), "scale, then shift"},
        {shift, scale, mat(2, 0, 0, 2, 20, 0), "shift, then scale: the shift is scaled"},
        {turn, stretch, mat(0, 3, -2, 0, 0, 0), "turn, then stretch"},
        {stretch, turn, mat(0, 2, -3, 0, 0, 0), "stretch, then turn"},
        {mat(300000.5, 0, 0, 1, 0, 0), mat(0.5, 0, 0, 1, 0, 0), mat(150000, 0, 0, 1, 0, 0),
         "the receiver's element stands left: 300000.5 * 0.5 drops the fraction"},
        {mat(0.5, 0, 0, 1, 0, 0), mat(300000.5, 0, 0, 1, 0, 0), mat(150000.25, 0, 0, 1, 0, 0),
         "0.5 * 300000.5 keeps it"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.self;
        m.do_multiply(c.other);
        expect_matrix(m, c.expected);
    }
}

TEST(KxmatrixMultiply, ByIdentityLosesWhatTheProductLoses) {
    struct {
        _KXMATRIX in;
        _KXMATRIX expected;
        const char* why;
    } const cases[] = {
        {mat(1.5, 0.25, -0.75, 3.5, 2.5, -1), mat(1.5, 0.25, -0.75, 3.5, 2.5, -1),
         "elements below 4.0 are kept"},
        {raw_mat(4 * kKxOne + 7, 0, 0, kKxOne, 1000 * kKxOne + 0x123, -1000 * kKxOne - 1),
         raw_mat(4 * kKxOne, 0, 0, kKxOne, 1000 * kKxOne, -1000 * kKxOne - 0x1000),
         "beyond 4.0 the low 12 bits go, negatives toward minus infinity"},
        {mat(1, 0, 0, 1, 300000.5, 0), mat(1, 0, 0, 1, 300000, 0),
         "beyond about 262144 the whole fraction goes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = c.in;
        m.do_multiply(_KXMATRIX::identity());
        expect_matrix(m, c.expected);
    }
}

TEST(KxmatrixTransform, PointAndDelta) {
    struct {
        _KXMATRIX m;
        double x, y;
        double px, py;  // transform_point
        double dx, dy;  // transform_delta
        const char* why;
    } const cases[] = {
        {mat(2, 0, 0, 3, 1, 1), 1.5, -2, 4, -5, 3, -6, "unskewed"},
        {mat(2, 1, 1, 3, 100, 200), 1, 1, 103, 204, 3, 4, "general"},
        {mat(0, 1, -1, 0, 3, 4), 5, 1, 2, 9, -1, 5,
         "quarter turn: y' uses the old x, not the new one"},
        {mat(300000.5, 0, 0, 0.5, 0, 0), 0.5, 300000.5, 150000, 150000.25, 150000, 150000.25,
         "the matrix element stands left"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        KXFIX x = fx(c.x), y = fx(c.y);
        c.m.transform_point(x, y);
        EXPECT_EQ(x.m_raw, fx(c.px).m_raw);
        EXPECT_EQ(y.m_raw, fx(c.py).m_raw);

        _KXPOINTF p{fx(c.x), fx(c.y)};
        c.m.transform_point(p);
        EXPECT_EQ(p.x.m_raw, fx(c.px).m_raw) << "point overload";
        EXPECT_EQ(p.y.m_raw, fx(c.py).m_raw) << "point overload";

        KXFIX dx = fx(c.x), dy = fx(c.y);
        c.m.transform_delta(dx, dy);
        EXPECT_EQ(dx.m_raw, fx(c.dx).m_raw) << "delta";
        EXPECT_EQ(dy.m_raw, fx(c.dy).m_raw) << "delta";
    }
}

TEST(KxmatrixBound, SortedBoxOfTheImage) {
    const int64_t lo = kKxInt32MinRaw, hi = kKxInt32MaxRaw;
    const int64_t x70k = 70000 * kKxOne + 0xfffff;  // beyond the 65536.0 bound of *=
    struct {
        _KXMATRIX m;
        _KXRECTF in;
        _KXRECTF expected;
        const char* why;
    } const cases[] = {
        {_KXMATRIX::identity(), rect(1, 2, 3, 5), rect(1, 2, 3, 5), "identity"},
        {mat(2, 0, 0, 0.5, 1, 1), rect(1, 2, 3, 6), rect(3, 2, 7, 4), "positive scales"},
        {mat(-2, 0, 0, -1, 10, 20), rect(1, 2, 3, 5), rect(4, 15, 8, 18),
         "negative scales: edges change places"},
        {mat(0, 0, 0, 2, 7, 9), rect(1, 2, 3, 4), rect(7, 13, 7, 17),
         "zero scale: both x edges become the translation"},
        {_KXMATRIX::identity(), rect(10, 20, 0, 0), rect(0, 0, 10, 20), "swapped edges are sorted"},
        {mat(1, 1, -1, 1, 0, 0), rect(0, 0, 2, 1), rect(-1, 0, 2, 3),
         "skewed: left and right come from the other two corners"},
        {mat(0, 1, -1, 0, 0, 0), rect(1, 2, 3, 5), rect(-5, 1, -2, 3), "quarter turn"},
        {_KXMATRIX::identity(),
         {raw(x70k), fx(0), raw(x70k), fx(1)},
         {fx(70000), fx(0), fx(70000), fx(1)},
         "positive scale uses *=: 20 low bits go"},
        {mat(-1, 0, 0, 1, 0, 0),
         {fx(0), fx(0), raw(x70k), fx(1)},
         {raw(-70000 * kKxOne - 0xff000), fx(0), fx(0), fx(1)},
         "negative scale uses *: only 12 low bits go"},
        {mat(-1, 0, 0, 1, 0, 0), rect(0, 0, 300000.5, 1), rect(-300000, 0, 0, 1),
         "negative scale, coordinate left: beyond moderate only its floor counts"},
        {_KXMATRIX::identity(),
         _KXRECTF(),
         {raw(lo), raw(lo), raw(hi), raw(hi)},
         "an inverted-empty box is not recognised: it comes out sorted and huge"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        _KXRECTF r = c.in;
        c.m.get_bound(r);
        expect_rect(r, c.expected);
    }
}

TEST(KxgeomRect, DefaultIsInverted) {
    const _KXRECTF r;
    EXPECT_GT(r.left, r.right);
    EXPECT_GT(r.top, r.bottom);
    EXPECT_EQ(r.left.m_raw, KXFIX::from_int(INT32_MAX).m_raw);
    EXPECT_EQ(r.bottom.m_raw, KXFIX::from_int(INT32_MIN).m_raw);
}

}  // namespace
}  // namespace shadepaint
