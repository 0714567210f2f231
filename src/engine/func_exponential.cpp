// FunctionType 2. With N exactly 1 the outputs are interpolated in fixed point,
// C0 + (C1 - C0) * x with the difference as the left operand of the product,
// so that shadings built on it are fixed to the bit; any other N goes through
// double. x^N is undefined for x < 0 with a fractional N and infinite for
// x = 0 with N < 0: both give C0.
#include "engine/func_exponential.h"

#include <cmath>

#include "engine/func_common_p.h"
#include "object/obj_access_p.h"

namespace shadepaint {

bool CPDFFuncExponential::load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx&) {
    if (detail::read_pairs(xref, obj, "Domain", m_domain, 1) != 1) return false;
    // A Domain of more than one pair gives -1 above: this kind has one input.
    m_range_count = detail::read_pairs(xref, obj, "Range", m_range, kMaxOutputs);
    if (m_range_count < 0) return false;

    int32_t n0 = detail::read_fix_array(xref, obj, "C0", m_c0, kMaxOutputs);
    int32_t n1 = detail::read_fix_array(xref, obj, "C1", m_c1, kMaxOutputs);
    if (n0 == -2 || n1 == -2) return false;
    if (n0 == -1) {
        n0 = 1;
        m_c0[0] = KXFIX::from_int(0);
    }
    if (n1 == -1) {
        n1 = 1;
        m_c1[0] = KXFIX::from_int(1);
    }
    if (n0 != n1 || n0 < 1) return false;
    if (m_range_count != 0 && m_range_count != n0) return false;

    const CPDFObj* n = detail::dict_find(obj, "N");
    if (!n) return false;
    {
        ScopedObj local;
        detail::deref(xref, n, local.obj);
        if (!detail::is_direct_number(&local.obj)) return false;
        m_n = detail::direct_fix(&local.obj);
    }
    m_inputs = 1;
    m_outputs = n0;
    return true;
}

int32_t CPDFFuncExponential::evaluate(const KXFIX* in, KXFIX* out) const {
    const KXFIX x = detail::clip_fix(in[0], m_domain[0], m_domain[1]);
    const int32_t n = m_outputs;
    if (m_n.m_raw == kKxOne) {
        for (int32_t j = 0; j < n; ++j) out[j] = m_c0[j] + ((m_c1[j] - m_c0[j]) * x);
    } else {
        const double xd = detail::fix_to_double(x);
        const bool whole_n = (m_n.m_raw & (kKxOne - 1)) == 0;
        const bool defined = xd >= 0 || whole_n;
        const double p = defined ? std::pow(xd, detail::fix_to_double(m_n)) : 0.0;
        for (int32_t j = 0; j < n; ++j) {
            const double c0 = detail::fix_to_double(m_c0[j]);
            const double v = c0 + p * (detail::fix_to_double(m_c1[j]) - c0);
            out[j] = defined && std::isfinite(v) ? detail::double_to_fix(v) : m_c0[j];
        }
    }
    for (int32_t j = 0; j < m_range_count; ++j)
        out[j] = detail::clip_fix(out[j], m_range[2 * j], m_range[2 * j + 1]);
    return 1;
}

}  // namespace shadepaint
