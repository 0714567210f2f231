// Function-based shading speed. Every covered pixel is transformed into the
// domain and evaluates its functions, so the function kind sets the rate:
// a calculator (type 4) program of a dozen operators against an exponential
// (type 2) function of one input. 1024 x 1024 is banded over three workers
// and the caller; renders report wall time, since the workers' time is not
// the caller's.
#include <string>

#include "bench_util.h"

namespace shadepaint {
namespace {

constexpr char kCalculatorProgram[] =
    "{ 2 copy dup mul exch dup mul add sqrt 1 exch sub 3 1 roll exch 1 add 0.5 mul exch 1 add "
    "0.5 mul 3 -1 roll }";

// Domain [-1 1 -1 1] spread over shading space 0..1024 by Matrix.
constexpr char kCalculator[] =
    "<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [-1 1 -1 1]"
    " /Matrix [512 0 0 512 512 512] /Function 1 0 R >>";
constexpr char kExponential[] =
    "<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [-1 1 -1 1]"
    " /Matrix [512 0 0 512 512 512]"
    " /Function << /FunctionType 2 /Domain [-1 1] /C0 [1 0.5 0] /C1 [0 0.3 1] /N 1 >> >>";

bool add_calculator(CPDFXRefTable& xref) {
    const std::string program = kCalculatorProgram;
    const std::string text =
        "<< /FunctionType 4 /Domain [-1 1 -1 1] /Range [0 1 0 1 0 1] /Length " +
        std::to_string(program.size()) + " >>\nstream\n" + program + "\nendstream";
    return xref.set_object(1, text.data(), text.size());
}

template <class Bitmap>
void func_bench(benchmark::State& state, const char* text) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    CPDFXRefTable xref;
    if (!add_calculator(xref)) return state.SkipWithError("function did not parse");
    // Shading space 0..1024 spans the picture, so every pixel evaluates.
    const _KXMATRIX matrix = {KXFIX::from_raw(kKxOne * w / 1024), KXFIX{0}, KXFIX{0},
                              KXFIX::from_raw(kKxOne * h / 1024), KXFIX{0}, KXFIX{0}};
    bench::render_bench<Bitmap>(state, xref, text, matrix);
}

void BM_Func32Calculator(benchmark::State& state) { func_bench<CKXBmp32>(state, kCalculator); }
void BM_FuncGrayCalculator(benchmark::State& state) { func_bench<CKXBmpGray>(state, kCalculator); }
void BM_Func32Exponential(benchmark::State& state) { func_bench<CKXBmp32>(state, kExponential); }

// 1024 x 1024 is banded; 100000 x 7 runs on the calling thread alone.
BENCHMARK(BM_Func32Calculator)->Args({1024, 1024})->Args({100000, 7})->UseRealTime();
BENCHMARK(BM_FuncGrayCalculator)->Args({1024, 1024})->UseRealTime();
BENCHMARK(BM_Func32Exponential)->Args({1024, 1024})->UseRealTime();

}  // namespace
}  // namespace shadepaint
