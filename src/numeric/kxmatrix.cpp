// Matrix products, inversion and bounds. Every product keeps the operand order
// of the fixed-point rules: matrix element left, except in the unskewed
// get_bound, where the coordinate stands left and operator*= is chosen for
// positive scales (the two products differ beyond their bounds on purpose).
#include "numeric/kxmatrix.h"

#include <algorithm>
#include <utility>

namespace shadepaint {

void _KXMATRIX::do_multiply(const _KXMATRIX& o) {
    const KXFIX na = a * o.a + b * o.c;
    const KXFIX nb = a * o.b + b * o.d;
    const KXFIX nc = c * o.a + d * o.c;
    const KXFIX nd = c * o.b + d * o.d;
    const KXFIX ne = e * o.a + f * o.c + o.e;
    const KXFIX nf = e * o.b + f * o.d + o.f;
    a = na;
    b = nb;
    c = nc;
    d = nd;
    e = ne;
    f = nf;
}

void _KXMATRIX::do_invert() {
    if ((b.m_raw | c.m_raw) == 0) {
        // Scale-only path: no determinant, so a zero scale gives a zero row
        // (2^52 / 0 is 0) rather than the singular marker.
        e = -e;
        f = -f;
        if (a.m_raw != kKxOne) {
            a = KXFIX::from_raw(kx_recip(a.m_raw));
            e *= a;
        }
        if (d.m_raw != kKxOne) {
            d = KXFIX::from_raw(kx_recip(d.m_raw));
            f *= d;
        }
        return;
    }
    const KXFIX det = a * d - b * c;
    if (det.m_raw == 0) {
        a = b = c = d = e = f = KXFIX::from_raw(kKxMaxRaw);
        return;
    }
    const KXFIX na = d / det;
    const KXFIX nb = (-b) / det;
    const KXFIX nc = (-c) / det;
    const KXFIX nd = a / det;
    const KXFIX ne = (c * f - d * e) / det;
    const KXFIX nf = (b * e - a * f) / det;
    a = na;
    b = nb;
    c = nc;
    d = nd;
    e = ne;
    f = nf;
}

void _KXMATRIX::get_bound(_KXRECTF& r) const {
    if (is_unskewed()) {
        if (a.m_raw <= 0) {
            const KXFIX l = r.right * a;  // coordinate left: edges change places
            const KXFIX rt = r.left * a;
            r.left = l;
            r.right = rt;
        } else {
            r.left *= a;
            r.right *= a;
        }
        if (d.m_raw <= 0) {
            const KXFIX t = r.bottom * d;
            const KXFIX bt = r.top * d;
            r.top = t;
            r.bottom = bt;
        } else {
            r.top *= d;
            r.bottom *= d;
        }
        r.left += e;
        r.right += e;
        r.top += f;
        r.bottom += f;
        if (r.left > r.right) std::swap(r.left, r.right);
        if (r.top > r.bottom) std::swap(r.top, r.bottom);
        return;
    }
    KXFIX xs[4] = {r.left, r.left, r.right, r.right};
    KXFIX ys[4] = {r.top, r.bottom, r.top, r.bottom};
    for (int i = 0; i < 4; ++i) transform_point(xs[i], ys[i]);
    r.left = *std::min_element(xs, xs + 4);
    r.right = *std::max_element(xs, xs + 4);
    r.top = *std::min_element(ys, ys + 4);
    r.bottom = *std::max_element(ys, ys + 4);
}

}  // namespace shadepaint
