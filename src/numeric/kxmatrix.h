// 2x3 affine matrix in fixed point, PDF order [a b c d e f]:
// x' = a x + c y + e, y' = b x + d y + f. Each product is KXFIX operator* with
// the matrix element as left operand unless a member says otherwise.
#pragma once

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"

namespace shadepaint {

struct _KXMATRIX {
    KXFIX a;
    KXFIX b;
    KXFIX c;
    KXFIX d;
    KXFIX e;
    KXFIX f;

    static _KXMATRIX identity() {
        return {KXFIX::from_raw(kKxOne), KXFIX{0}, KXFIX{0}, KXFIX::from_raw(kKxOne), KXFIX{0},
                KXFIX{0}};
    }
    bool is_unskewed() const { return c.m_raw == 0 && b.m_raw == 0; }

    // this becomes this followed by other.
    void do_multiply(const _KXMATRIX& other);
    // this becomes its inverse; a singular skewed matrix becomes six markers.
    void do_invert();
    // Rows through the unskewed shortcut stay inline: they run per pixel row.
    void transform_point(KXFIX& x, KXFIX& y) const {
        const KXFIX x0 = x, y0 = y;
        if (c.m_raw == 0 && b.m_raw == 0) {
            x = a * x0 + e;
            y = d * y0 + f;
        } else {
            x = a * x0 + c * y0 + e;
            y = b * x0 + d * y0 + f;
        }
    }
    void transform_point(_KXPOINTF& p) const { transform_point(p.x, p.y); }
    void transform_delta(KXFIX& x, KXFIX& y) const {
        const KXFIX x0 = x, y0 = y;
        x = a * x0 + c * y0;
        y = b * x0 + d * y0;
    }
    // Replaces the rectangle by the sorted bounding box of its image.
    void get_bound(_KXRECTF& rect) const;
};

}  // namespace shadepaint
