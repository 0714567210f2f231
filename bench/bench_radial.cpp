// Radial shading speed. The concentric case is per pixel on the band frame: at
// 4096 x 4096 it is set beside a plain fill of the same bytes and beside the
// axial shading, the other ramp shading on that frame. The general case is a
// fan of 2 x 180 wedges with both ends extended at 2000 x 2000; the same fan
// on a 16 x 16 picture costs the same wedge set-up and almost no pixel
// writes, so the difference of the two is the painting. Renders report wall
// time, since the band workers' time is not the caller's.
#include "bench_util.h"

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

void BM_Fill32(benchmark::State& state) { bench::fill_bench<CKXBmp32>(state); }
void BM_Axial32(benchmark::State& state) { bench::render_bench<CKXBmp32>(state, kAxial); }
void BM_Concentric32(benchmark::State& state) { bench::render_bench<CKXBmp32>(state, kConcentric); }
void BM_ConcentricGray(benchmark::State& state) {
    bench::render_bench<CKXBmpGray>(state, kConcentric);
}
void BM_Fan32(benchmark::State& state) { bench::render_bench<CKXBmp32>(state, kFan); }
void BM_FanGray(benchmark::State& state) { bench::render_bench<CKXBmpGray>(state, kFan); }

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
