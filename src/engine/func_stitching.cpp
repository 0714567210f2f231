// FunctionType 3. Interval i is [Bounds[i-1], Bounds[i]), the last one closed
// at Domain[1]; equal bounds make an empty interval that is never chosen. The
// input is mapped linearly from the interval onto the part's Encode pair in
// double; an interval of zero width maps to its first Encode value instead of
// dividing by zero. Evaluation allocates nothing: the part writes straight
// into the caller's outputs.
#include "engine/func_stitching.h"

#include <algorithm>
#include <cstring>

#include "engine/func_common_p.h"
#include "engine/kxalloc.h"
#include "object/obj_access_p.h"

namespace shadepaint {

CPDFFuncStitching::~CPDFFuncStitching() {
    if (m_funcs) {
        for (int32_t i = 0; i < m_func_count; ++i) delete m_funcs[i];
        KXFree(m_funcs);
    }
    KXFree(m_bounds);
    KXFree(m_encode);
}

bool CPDFFuncStitching::load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx) {
    if (detail::read_pairs(xref, obj, "Domain", m_domain, 1) != 1) return false;
    m_range_count = detail::read_pairs(xref, obj, "Range", m_range, kMaxOutputs);
    if (m_range_count < 0) return false;

    const CPDFObj* parts = detail::dict_find(obj, "Functions");
    ScopedObj local;
    if (parts && parts->m_tag == kObjRef) {
        detail::deref(xref, parts, local.obj);
        parts = &local.obj;
    }
    const CPDFArray* list = parts ? detail::local_array(*parts) : nullptr;
    if (!list) return false;
    const int32_t k = list->m_count;
    // Each part costs at least one node, so a longer list can't succeed.
    if (k < 1 || k > ctx.nodes_left) return false;

    m_funcs = static_cast<CPDFFunction**>(KXAlloc(sizeof(CPDFFunction*) * static_cast<size_t>(k)));
    m_bounds = static_cast<KXFIX*>(KXAlloc(sizeof(KXFIX) * static_cast<size_t>(k - 1)));
    m_encode = static_cast<KXFIX*>(KXAlloc(sizeof(KXFIX) * 2 * static_cast<size_t>(k)));
    if (!m_funcs || !m_bounds || !m_encode) return false;
    std::memset(m_funcs, 0, sizeof(CPDFFunction*) * static_cast<size_t>(k));
    m_func_count = k;

    const int32_t nb = detail::read_fix_array(xref, obj, "Bounds", m_bounds, k - 1);
    if (nb != k - 1 && !(k == 1 && nb == -1)) return false;
    KXFIX prev = m_domain[0];
    for (int32_t i = 0; i < k - 1; ++i) {
        if (m_bounds[i] < prev) return false;
        prev = m_bounds[i];
    }
    if (prev > m_domain[1]) return false;
    if (detail::read_fix_array(xref, obj, "Encode", m_encode, 2 * k) != 2 * k) return false;

    int32_t outputs = 0;
    for (int32_t i = 0; i < k; ++i) {
        CPDFFunction* f = detail::parse_func_ctx(detail::array_at(list, i), xref, ctx);
        m_funcs[i] = f;
        if (!f || f->m_inputs != 1) return false;
        if (i == 0) outputs = f->m_outputs;
        if (f->m_outputs != outputs) return false;
    }
    if (m_range_count != 0 && m_range_count != outputs) return false;
    m_inputs = 1;
    m_outputs = outputs;
    return true;
}

int32_t CPDFFuncStitching::evaluate(const KXFIX* in, KXFIX* out) const {
    const KXFIX x = detail::clip_fix(in[0], m_domain[0], m_domain[1]);
    const int32_t last = m_func_count - 1;
    const int32_t i =
        static_cast<int32_t>(std::upper_bound(m_bounds, m_bounds + last, x) - m_bounds);
    const KXFIX lo = i == 0 ? m_domain[0] : m_bounds[i - 1];
    const KXFIX hi = i == last ? m_domain[1] : m_bounds[i];
    const KXFIX e0 = m_encode[2 * i];
    KXFIX t = e0;
    if (hi != lo) {
        const double d0 = detail::fix_to_double(e0);
        const double span = detail::fix_to_double(m_encode[2 * i + 1]) - d0;
        const double pos = detail::fix_to_double(x) - detail::fix_to_double(lo);
        t = detail::double_to_fix(d0 + pos * span /
                                           (detail::fix_to_double(hi) - detail::fix_to_double(lo)));
    }
    const int32_t ran = m_funcs[i]->evaluate(&t, out);
    for (int32_t j = 0; j < m_range_count; ++j)
        out[j] = detail::clip_fix(out[j], m_range[2 * j], m_range[2 * j + 1]);
    return ran;
}

}  // namespace shadepaint
