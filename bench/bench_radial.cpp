// Radial shading speed. The concentric case is per pixel on the band frame: at
// 4096 x 4096 it is set beside a plain fill of the same bytes and beside the
// axial shading, the other ramp shading on that frame. The general case is a
// fan of 2 x 180 wedges with both ends extended at 2000 x 2000; the same fan
// on a 16 x 16 picture costs the same wedge set-up and almost no pixel
// writes, so the difference of the two is the painting. Renders report wall
// time, since the band workers' time is not the caller's.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "engine/xref_table.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace shadepaint {
namespace {

// The centre off the axes of most pixels, so that nearly all take the float
// square root.
constexpr char kConcentric[] =
    "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [2048 2048 0 2048 2048 2900]"
    " /Extend [true true]"
    " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.5 0] /C1 [0 0.3 1] /N 1 >> >>";
constexpr char kAxial[] =
    "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 4096 4096] /Extend [true true]"
    " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.5 0] /C1 [0 0.3 1] /N 1 >> >>";
// A device bound of 1000 x 1000 pixels: the step count's cap of 180.
constexpr char kFan[] =
    "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [700 1000 100 1100 1000 500]"
    " /Extend [true true]"
    " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.5 0] /C1 [0 0.3 1] /N 1 >> >>";

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

ShadingPtr make_shading(CPDFXRefTable& xref, const char* text) {
    ScopedObj obj;
    if (!CPDFXRefTable::parse_object(text, std::strlen(text), obj.obj)) return nullptr;
    ShadingPtr s(CPDFShading::parser_shading(&xref, &obj.obj));
    if (s) s->load();
    return s;
}

void set_rate(benchmark::State& state, int64_t pixels) {
    state.counters["Mpix/s"] = benchmark::Counter(static_cast<double>(pixels) * 1e-6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

void fill_mask(CKXBmp8& mask) {
    for (int32_t j = 0; j < mask.m_height; ++j)
        std::memset(mask.m_data + static_cast<int64_t>(j) * mask.m_stride, 255,
                    static_cast<size_t>(mask.m_width));
}

void BM_Fill32(benchmark::State& state) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    CKXBmp32 dst(w, h);
    if (!dst.m_data) return state.SkipWithError("out of memory");
    const size_t bytes = static_cast<size_t>(dst.m_stride) * static_cast<size_t>(h);
    uint8_t value = 0;
    for (auto _ : state) {
        std::memset(dst.m_data, ++value, bytes);
        benchmark::ClobberMemory();
    }
    set_rate(state, int64_t{w} * h);
}

template <class Bitmap>
void render_bench(benchmark::State& state, const char* text) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    CPDFXRefTable xref;
    ShadingPtr shading = make_shading(xref, text);
    if (!shading) return state.SkipWithError("shading did not parse");
    CKXBmp8 mask(w, h);
    Bitmap dst(w, h);
    if (!mask.m_data || !dst.m_data) return state.SkipWithError("out of memory");
    fill_mask(mask);
    const _KXMATRIX matrix = _KXMATRIX::identity();
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

void BM_Axial32(benchmark::State& state) { render_bench<CKXBmp32>(state, kAxial); }
void BM_Concentric32(benchmark::State& state) { render_bench<CKXBmp32>(state, kConcentric); }
void BM_ConcentricGray(benchmark::State& state) { render_bench<CKXBmpGray>(state, kConcentric); }
void BM_Fan32(benchmark::State& state) { render_bench<CKXBmp32>(state, kFan); }
void BM_FanGray(benchmark::State& state) { render_bench<CKXBmpGray>(state, kFan); }

// clang-format off
BENCHMARK(BM_Fill32)->Args({4096, 4096})->UseRealTime();
BENCHMARK(BM_Axial32)->Args({4096, 4096})->UseRealTime();
BENCHMARK(BM_Concentric32)->Args({4096, 4096})->Args({100000, 7})->UseRealTime();
BENCHMARK(BM_ConcentricGray)->Args({4096, 4096})->UseRealTime();
// 2000 x 2000 paints; 16 x 16 is the same 360 wedges and their pieces, set up
// and walked, with next to nothing to write.
BENCHMARK(BM_Fan32)->Args({2000, 2000})->Args({16, 16})->UseRealTime();
BENCHMARK(BM_FanGray)->Args({2000, 2000})->Args({16, 16})->UseRealTime();
// clang-format on

}  // namespace
}  // namespace shadepaint
