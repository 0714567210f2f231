// Raw mesh fields to points and colours.
//
// A coordinate keeps at most its top 16 bits, so that the raw value stays far
// from overflow when it meets the scale; the scale's own size then decides the
// precision of the product (KXFIX operator*, scale on the left). Nothing clamps
// a point to the Decode range.
//
// Colour components are taken as if every Decode range were 0 to 1, whatever
// the dictionary says: without a function the raw value is rescaled to eight
// bits by truncation (1-bit 1 is 128, never 255), and with functions the
// parametric value runs over 0 to 1 and the output is scaled by 255 without a
// clamp. Several functions read one parametric field each, so an array of n
// functions consumes n fields per vertex.
#include "mesh/mesh_reader.h"

#include <cassert>

#include "shading/color_space.h"
#include "shading/function.h"

namespace shadepaint {

namespace {
constexpr int32_t kMaxCoordBits = 16;  // bits of a coordinate that are kept
constexpr int32_t kColorComps =
    static_cast<int32_t>(sizeof(PDF_COLOR::m_comps) / sizeof(PDF_COLOR::m_comps[0]));

// Shift counts of the colour fields are taken modulo 32.
inline uint32_t shift_of(int32_t bits) { return static_cast<uint32_t>(bits) & 31; }

// A raw field as a KXFIX integer; up to 32 bits fit beside the fraction.
inline KXFIX raw_to_fix(uint32_t raw) {
    return KXFIX::from_raw(static_cast<int64_t>(uint64_t{raw} << kKxFracBits));
}

// raw over the largest raw value, 0.0 to 1.0 for fields that fit; 0 when the
// field has no largest value (0 or 32 bits).
inline KXFIX parametric(uint32_t raw, int32_t bits) {
    const int64_t max = static_cast<int32_t>((1u << shift_of(bits)) - 1);
    if (max == 0) return KXFIX{0};
    return KXFIX::from_raw(raw_to_fix(raw).m_raw / max);
}

// A function output on the byte scale: times 255, logically shifted, low 32
// bits. Out-of-range outputs are not clamped: a negative one wraps.
inline uint32_t output_component(KXFIX out) {
    return static_cast<uint32_t>((static_cast<uint64_t>(out.m_raw) * 255u) >> kKxFracBits);
}

// Evaluates f at t and returns its outputs in out. A null entry, which the
// loaders never leave reachable, evaluates nothing and leaves zeros.
inline void evaluate_at(const CPDFFunction* f, KXFIX t, KXFIX* out) {
    KXFIX in[CPDFFunction::kMaxInputs] = {};
    in[0] = t;
    if (f) f->evaluate(in, out);
}
}  // namespace

void CPDFShadingDataReader::setup(PDF_BIT_CURSOR* src, int32_t bits_coord, int32_t bits_comp,
                                  KXFIX min_x, KXFIX max_x, KXFIX min_y, KXFIX max_y,
                                  CPDFFunction** funcs, int32_t func_count, CPDFCSBase* cs,
                                  KXFIX* decode_min, KXFIX* decode_max) {
    assert(bits_coord >= 0 && bits_coord <= 32);
    m_src = src;
    m_bits_coord = bits_coord;
    m_min_x = min_x;
    m_max_x = max_x;
    m_min_y = min_y;
    m_max_y = max_y;
    m_coord_shift = bits_coord > kMaxCoordBits ? bits_coord - kMaxCoordBits : 0;
    const int32_t bits = bits_coord - m_coord_shift;
    // 2^bits - 1; zero for BitsPerCoordinate 0, where the quotient is the
    // largest raw value and every point lands on (min_x, min_y).
    const KXFIX den = KXFIX::from_int((1 << bits) - 1);
    m_scale_x = (m_max_x - m_min_x) / den;
    m_scale_y = (m_max_y - m_min_y) / den;
    m_bits_comp = bits_comp;
    m_funcs = funcs;
    m_func_count = func_count;
    m_cs = cs;
    m_decode_min = decode_min;
    m_decode_max = decode_max;
}

void CPDFShadingDataReader::read_pt(_KXPOINTF& pt) {
    const uint32_t shift = shift_of(m_coord_shift);
    const uint32_t raw_x = m_src->read_bits(static_cast<uint32_t>(m_bits_coord)) >> shift;
    const uint32_t raw_y = m_src->read_bits(static_cast<uint32_t>(m_bits_coord)) >> shift;
    pt.x = m_min_x + m_scale_x * raw_to_fix(raw_x);
    pt.y = m_min_y + m_scale_y * raw_to_fix(raw_y);
}

void CPDFShadingDataReader::read_clr(PDF_COLOR& clr) {
    const uint32_t width = static_cast<uint32_t>(m_bits_comp);
    // PDF_COLOR holds sixteen components; the loaders refuse colour spaces
    // and function tables that would need more.
    int32_t n = m_cs ? m_cs->m_comp_count : 0;
    if (n > kColorComps) n = kColorComps;

    if (!m_funcs) {
        for (int32_t i = 0; i < n; ++i)
            clr.m_comps[i] = (m_src->read_bits(width) << 8) >> shift_of(m_bits_comp);
        return;
    }
    if (m_func_count == 1) {
        KXFIX out[CPDFFunction::kMaxOutputs] = {};
        evaluate_at(m_funcs[0], parametric(m_src->read_bits(width), m_bits_comp), out);
        for (int32_t i = 0; i < n; ++i) clr.m_comps[i] = output_component(out[i]);
        return;
    }
    const int32_t count = m_func_count < kColorComps ? m_func_count : kColorComps;
    for (int32_t i = 0; i < count; ++i) {
        KXFIX out[CPDFFunction::kMaxOutputs] = {};
        evaluate_at(m_funcs[i], parametric(m_src->read_bits(width), m_bits_comp), out);
        clr.m_comps[i] = output_component(out[0]);
    }
}

void CPDFShadingDataReader::read_clr(PDF_COLOR& clr, _KXRGBA& rgba) {
    read_clr(clr);
    if (m_cs) m_cs->get_rgb(clr, rgba);
}

}  // namespace shadepaint
