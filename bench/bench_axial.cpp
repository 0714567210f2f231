// Axial shading speed against the memory-bandwidth limit. A 4096 x 4096 picture
// is banded over three workers and the caller; 100000 x 7 has fewer than 8 rows,
// so it is never banded and shows one thread's rate, while staying too large for
// the inner caches. Each render is set beside a plain fill of the same bytes.
// Renders report wall time, since the workers' time is not the caller's.
#include "bench_util.h"

namespace shadepaint {
namespace {

// A diagonal axis runs through get_pos_mul (coordinates beyond 256 are shifted
// before multiplying); a horizontal one through the plain get_pos.
constexpr char kDiagonal[] =
    "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 4096 4096] /Extend [true true]"
    " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.5 0] /C1 [0 0.3 1] /N 1 >> >>";
constexpr char kHorizontal[] =
    "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 4096 0] /Extend [true true]"
    " /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.5 0] /C1 [0 0.3 1] /N 1 >> >>";

// Eight colour stops: a stitching function of eight exponential parts.
constexpr char kStitched[] =
    "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0] /Function"
    " << /FunctionType 3 /Domain [0 1] /Functions ["
    "  << /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [1 0.5 0] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [1 0.5 0] /C1 [1 1 0] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [1 1 0] /C1 [0 1 0] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [0 1 0] /C1 [0 1 1] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [0 1 1] /C1 [0 0 1] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [0 0 1] /C1 [0.5 0 1] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [0.5 0 1] /C1 [1 0 1] /N 1 >>"
    "  << /FunctionType 2 /Domain [0 1] /C0 [1 0 1] /C1 [1 1 1] /N 1 >> ]"
    " /Bounds [0.125 0.25 0.375 0.5 0.625 0.75 0.875]"
    " /Encode [0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1] >> >>";

void BM_AxialLoadStitched8(benchmark::State& state) {
    CPDFXRefTable xref;
    ScopedObj obj;
    if (!CPDFXRefTable::parse_object(kStitched, std::strlen(kStitched), obj.obj))
        return state.SkipWithError("shading did not parse");
    for (auto _ : state) {
        bench::ShadingPtr s(CPDFShading::parser_shading(&xref, &obj.obj));
        if (s) s->load();
        benchmark::DoNotOptimize(s.get());
    }
}

void BM_Fill32(benchmark::State& state) { bench::fill_bench<CKXBmp32>(state); }
void BM_FillGray(benchmark::State& state) { bench::fill_bench<CKXBmpGray>(state); }
void BM_Axial32Diagonal(benchmark::State& state) {
    bench::render_bench<CKXBmp32>(state, kDiagonal);
}
void BM_Axial32Horizontal(benchmark::State& state) {
    bench::render_bench<CKXBmp32>(state, kHorizontal);
}
void BM_AxialGrayDiagonal(benchmark::State& state) {
    bench::render_bench<CKXBmpGray>(state, kDiagonal);
}

// clang-format off
// 4096 x 4096 is banded; 100000 x 7 runs on the calling thread alone.
BENCHMARK(BM_Fill32)->Args({4096, 4096})->Args({100000, 7})->UseRealTime();
BENCHMARK(BM_Axial32Diagonal)->Args({4096, 4096})->Args({100000, 7})->UseRealTime();
BENCHMARK(BM_Axial32Horizontal)->Args({4096, 4096})->Args({100000, 7})->UseRealTime();
BENCHMARK(BM_FillGray)->Args({4096, 4096})->UseRealTime();
BENCHMARK(BM_AxialGrayDiagonal)->Args({4096, 4096})->UseRealTime();
BENCHMARK(BM_AxialLoadStitched8);
// clang-format on

}  // namespace
}  // namespace shadepaint
