// What the shading benchmarks share: a loaded shading from object text, a
// full mask, the plain fill that is the memory-bandwidth limit, and the timed
// render loop. Rates are megapixels per second of wall time, since band
// workers' time is not the caller's.
#pragma once

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "engine/xref_table.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace shadepaint::bench {

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

inline ShadingPtr make_shading(CPDFXRefTable& xref, const char* text) {
    ScopedObj obj;
    if (!CPDFXRefTable::parse_object(text, std::strlen(text), obj.obj)) return nullptr;
    ShadingPtr s(CPDFShading::parser_shading(&xref, &obj.obj));
    if (s) s->load();
    return s;
}

inline void set_rate(benchmark::State& state, int64_t pixels) {
    state.counters["Mpix/s"] = benchmark::Counter(static_cast<double>(pixels) * 1e-6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

inline void fill_mask(CKXBmp8& mask) {
    for (int32_t j = 0; j < mask.m_height; ++j)
        std::memset(mask.m_data + static_cast<int64_t>(j) * mask.m_stride, 255,
                    static_cast<size_t>(mask.m_width));
}

// A plain fill of the bitmap's bytes, sized by the benchmark's two ranges.
template <class Bitmap>
void fill_bench(benchmark::State& state) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    Bitmap dst(w, h);
    if (!dst.m_data) return state.SkipWithError("out of memory");
    const size_t bytes = static_cast<size_t>(dst.m_stride) * static_cast<size_t>(h);
    uint8_t value = 0;
    for (auto _ : state) {
        std::memset(dst.m_data, ++value, bytes);
        benchmark::ClobberMemory();
    }
    set_rate(state, int64_t{w} * h);
}

// Renders the shading of text (references resolved through xref) through a
// full mask, at the size of the benchmark's two ranges.
template <class Bitmap>
void render_bench(benchmark::State& state, CPDFXRefTable& xref, const char* text,
                  const _KXMATRIX& matrix) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    ShadingPtr shading = make_shading(xref, text);
    if (!shading) return state.SkipWithError("shading did not parse");
    CKXBmp8 mask(w, h);
    Bitmap dst(w, h);
    if (!mask.m_data || !dst.m_data) return state.SkipWithError("out of memory");
    fill_mask(mask);
    const _KXPOINT origin = {0, 0};
    for (auto _ : state) {
        int32_t status;
        if constexpr (std::is_same_v<Bitmap, CKXBmpGray>) {
            status = shading->render_to_bmpg(matrix, origin, mask, dst);
        } else {
            status = shading->render_to_bmp(matrix, origin, mask, dst);
        }
        benchmark::DoNotOptimize(status);
        benchmark::ClobberMemory();
    }
    set_rate(state, int64_t{w} * h);
}

template <class Bitmap>
void render_bench(benchmark::State& state, const char* text) {
    CPDFXRefTable xref;
    render_bench<Bitmap>(state, xref, text, _KXMATRIX::identity());
}

}  // namespace shadepaint::bench
