// What every colour space shares: the gray weights and the one loop shape of
// the batch operations. Each space's batch_* is a one-line call into these
// templates with its own (non-virtual) get_rgb/get_gray, so a run of samples
// gives exactly the bytes that the single-colour operations give.
#pragma once

#include <cstdint>

#include "shading/color_space.h"

namespace shadepaint::detail {

// The weights add up to 1024, so white stays 255. Unsigned 32-bit arithmetic
// on whole components: a component above 255 is not masked first.
inline uint8_t gray_of(uint32_t r, uint32_t g, uint32_t b) {
    return static_cast<uint8_t>((r * 306u + g * 601u + b * 117u) >> 10);
}

// len is the source length in bytes. Nothing happens below 1; otherwise the
// first sample is always made, and a length that is no multiple of step still
// makes a last sample from the full step, reading past src + len. The offset
// is kept in 64 bits so that a length near the int32 limit can't wrap.
template <class Each>
inline void for_each_sample(const uint8_t* src, int32_t len, int32_t step, Each each) {
    if (len < 1) return;
    int64_t off = 0;
    do {
        each(src + off);
        off += step;
    } while (off < len);
}

// A sample of `width` bytes per component: the first m_comp_count bytes of
// each group are the components, whatever the width. So two- and four-byte
// samples read their leading bytes, not the high byte of each component.
inline void sample_to_color(const uint8_t* s, int32_t comps, PDF_COLOR& c) {
    for (int32_t i = 0; i < comps; ++i) c.m_comps[i] = s[i];
}

template <class Space>
void batch_rgb_of(const Space& cs, _KXRGBA* dst, const uint8_t* src, int32_t len, int32_t width) {
    const int32_t comps = cs.m_comp_count;
    for_each_sample(src, len, comps * width, [&](const uint8_t* s) {
        PDF_COLOR c;
        sample_to_color(s, comps, c);
        cs.Space::get_rgb(c, *dst++);
    });
}

// Two bytes a pixel: gray, then an opaque alpha.
template <class Space>
void batch_gray_of(const Space& cs, uint8_t* dst, const uint8_t* src, int32_t len) {
    const int32_t comps = cs.m_comp_count;
    for_each_sample(src, len, comps, [&](const uint8_t* s) {
        PDF_COLOR c;
        sample_to_color(s, comps, c);
        cs.Space::get_gray(c, dst[0]);
        dst[1] = 255;
        dst += 2;
    });
}

}  // namespace shadepaint::detail
