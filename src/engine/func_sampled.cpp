// FunctionType 0. Samples are packed big-endian, BitsPerSample bits each, the
// outputs of one grid point together and the first input varying fastest,
// with no padding between rows. The table is read as far as the body goes, and
// no further than the byte budget left to the parse: a short body leaves the
// remaining samples 0, and every read is checked against the bytes actually
// held, so a lying /Length or Size can't reach outside the buffer, and a large
// Size with a small body costs only the body.
//
// Evaluation in double: each input is clipped to Domain, mapped through Encode
// and clipped to the grid; up to four inputs are interpolated over the 2^m
// corners of their cell, more inputs take the nearest grid point (halves up).
// Order 3 (cubic) tables are interpolated linearly like the rest. The result
// is mapped through Decode, truncated to fixed point and clipped to Range.
#include "engine/func_sampled.h"

#include <cmath>

#include "engine/func_common_p.h"
#include "engine/kxalloc.h"
#include "object/obj_access_p.h"

namespace shadepaint {

namespace {
bool valid_bits(int32_t bits) {
    switch (bits) {
        case 1:
        case 2:
        case 4:
        case 8:
        case 12:
        case 16:
        case 24:
        case 32:
            return true;
        default:
            return false;
    }
}

// (x - from0) scaled from [from0, from1] onto [to0, to1]; an empty source
// interval maps everything onto to0.
double map_linear(double x, KXFIX from0, KXFIX from1, KXFIX to0, KXFIX to1) {
    const double f0 = detail::fix_to_double(from0);
    const double width = detail::fix_to_double(from1) - f0;
    const double t0 = detail::fix_to_double(to0);
    if (width == 0) return t0;
    return t0 + (x - f0) * (detail::fix_to_double(to1) - t0) / width;
}
}  // namespace

CPDFFuncSampled::~CPDFFuncSampled() { KXFree(m_data); }

bool CPDFFuncSampled::load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx) {
    if (obj.m_tag != kObjStream) return false;
    const int32_t m = detail::read_pairs(xref, obj, "Domain", m_domain, kMaxInputs);
    const int32_t n = detail::read_pairs(xref, obj, "Range", m_range, kMaxOutputs);
    if (m < 1 || n < 1) return false;

    KXFIX size[kMaxInputs];
    if (detail::read_fix_array(xref, obj, "Size", size, kMaxInputs) != m) return false;
    int64_t total = n;
    for (int32_t i = 0; i < m; ++i) {
        // Checked on the fixed-point value so that rounding can't wrap.
        if (size[i].m_raw < kKxHalf || size[i].m_raw > kKxInt32MaxRaw) return false;
        m_size[i] = size[i].round_int();
        if (m_size[i] > kMaxSampleValues / total) return false;
        total *= m_size[i];
    }
    m_bits_per_sample = detail::obj_to_int(xref, detail::dict_find(obj, "BitsPerSample"));
    if (!valid_bits(m_bits_per_sample)) return false;

    const int32_t ne = detail::read_fix_array(xref, obj, "Encode", m_encode, 2 * kMaxInputs);
    if (ne == -1) {
        for (int32_t i = 0; i < m; ++i) {
            m_encode[2 * i] = KXFIX::from_int(0);
            m_encode[2 * i + 1] = KXFIX::from_int(m_size[i] - 1);
        }
    } else if (ne != 2 * m) {
        return false;
    }
    const int32_t nd =
        detail::read_fix_array(xref, obj, CPDFDictionary::sm_tag_decode, m_decode, 2 * kMaxOutputs);
    if (nd == -1) {
        for (int32_t j = 0; j < 2 * n; ++j) m_decode[j] = m_range[j];
    } else if (nd != 2 * n) {
        return false;
    }

    const uint64_t bytes = (static_cast<uint64_t>(total) * m_bits_per_sample + 7) / 8;
    const size_t want =
        static_cast<size_t>(bytes) < ctx.bytes_left ? static_cast<size_t>(bytes) : ctx.bytes_left;
    bool truncated = false;
    m_data = detail::read_stream_body(xref, obj.m_stream, want, &m_data_len, &truncated);
    if (!m_data) return false;
    ctx.bytes_left -= m_data_len;
    m_inputs = m;
    m_outputs = n;
    return true;
}

uint32_t CPDFFuncSampled::sample_at(uint64_t index) const {
    const unsigned bits = static_cast<unsigned>(m_bits_per_sample);
    const uint64_t bit = index * bits;
    const uint64_t first = bit >> 3;
    if (first >= m_data_len) return 0;
    const unsigned lead = static_cast<unsigned>(bit & 7);
    // At most 7 + 32 bits: five bytes, read one by one against the data held.
    const unsigned nbytes = (lead + bits + 7) >> 3;
    uint64_t acc = 0;
    for (unsigned k = 0; k < nbytes; ++k) {
        const uint64_t at = first + k;
        acc = (acc << 8) | (at < m_data_len ? m_data[at] : 0u);
    }
    acc >>= nbytes * 8 - lead - bits;
    return static_cast<uint32_t>(acc & ((uint64_t{1} << bits) - 1));
}

int32_t CPDFFuncSampled::evaluate(const KXFIX* in, KXFIX* out) const {
    const int32_t m = m_inputs;
    const int32_t n = m_outputs;
    const bool interpolate = m <= kMaxInterpolatedInputs;

    uint64_t base = 0;
    uint64_t stride = 1;
    uint64_t step[kMaxInterpolatedInputs] = {};
    double frac[kMaxInterpolatedInputs] = {};
    for (int32_t i = 0; i < m; ++i) {
        const KXFIX x = detail::clip_fix(in[i], m_domain[2 * i], m_domain[2 * i + 1]);
        double e = map_linear(detail::fix_to_double(x), m_domain[2 * i], m_domain[2 * i + 1],
                              m_encode[2 * i], m_encode[2 * i + 1]);
        const int32_t top = m_size[i] - 1;
        if (!(e > 0)) e = 0;
        if (e > top) e = top;
        int32_t cell;
        if (interpolate) {
            cell = static_cast<int32_t>(std::floor(e));
            frac[i] = e - cell;
            if (cell >= top) {
                cell = top;
                frac[i] = 0;
            }
            step[i] = cell < top ? stride : 0;
        } else {
            cell = static_cast<int32_t>(std::floor(e + 0.5));
            if (cell > top) cell = top;
        }
        base += static_cast<uint64_t>(cell) * stride;
        stride *= static_cast<uint64_t>(m_size[i]);
    }

    // The cell's corners with their weights; corners of weight 0 are dropped.
    uint64_t corner[1 << kMaxInterpolatedInputs];
    double weight[1 << kMaxInterpolatedInputs];
    int32_t corners = 0;
    if (interpolate) {
        for (int32_t c = 0; c < (1 << m); ++c) {
            double w = 1;
            uint64_t at = base;
            for (int32_t i = 0; i < m; ++i) {
                if ((c >> i) & 1) {
                    w *= frac[i];
                    at += step[i];
                } else {
                    w *= 1 - frac[i];
                }
            }
            if (w == 0) continue;
            corner[corners] = at;
            weight[corners] = w;
            ++corners;
        }
    } else {
        corner[0] = base;
        weight[0] = 1;
        corners = 1;
    }

    const double max_sample = std::ldexp(1.0, m_bits_per_sample) - 1;
    for (int32_t j = 0; j < n; ++j) {
        double v = 0;
        for (int32_t c = 0; c < corners; ++c)
            v += weight[c] * sample_at(corner[c] * static_cast<uint64_t>(n) + j);
        const double d0 = detail::fix_to_double(m_decode[2 * j]);
        const double d1 = detail::fix_to_double(m_decode[2 * j + 1]);
        out[j] = detail::clip_fix(detail::double_to_fix(d0 + v * (d1 - d0) / max_sample),
                                  m_range[2 * j], m_range[2 * j + 1]);
    }
    return 1;
}

}  // namespace shadepaint
