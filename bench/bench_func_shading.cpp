// Function-based shading speed. Every covered pixel is transformed into the
// domain and evaluates its functions, so the function kind sets the rate:
// a calculator (type 4) program of a dozen operators against an exponential
// (type 2) function of one input. 1024 x 1024 is banded over three workers
// and the caller; renders report wall time, since the workers' time is not
// the caller's.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

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

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

bool add_calculator(CPDFXRefTable& xref) {
    const std::string program = kCalculatorProgram;
    const std::string text =
        "<< /FunctionType 4 /Domain [-1 1 -1 1] /Range [0 1 0 1 0 1] /Length " +
        std::to_string(program.size()) + " >>\nstream\n" + program + "\nendstream";
    return xref.set_object(1, text.data(), text.size());
}

ShadingPtr make_shading(CPDFXRefTable& xref, const char* text) {
    ScopedObj obj;
    if (!CPDFXRefTable::parse_object(text, std::strlen(text), obj.obj)) return nullptr;
    ShadingPtr s(CPDFShading::parser_shading(&xref, &obj.obj));
    if (s) s->load();
    return s;
}

template <class Bitmap>
void func_bench(benchmark::State& state, const char* text) {
    const int32_t w = static_cast<int32_t>(state.range(0)),
                  h = static_cast<int32_t>(state.range(1));
    CPDFXRefTable xref;
    if (!add_calculator(xref)) return state.SkipWithError("function did not parse");
    ShadingPtr shading = make_shading(xref, text);
    if (!shading) return state.SkipWithError("shading did not parse");
    CKXBmp8 mask(w, h);
    Bitmap dst(w, h);
    if (!mask.m_data || !dst.m_data) return state.SkipWithError("out of memory");
    for (int32_t j = 0; j < h; ++j)
        std::memset(mask.m_data + static_cast<int64_t>(j) * mask.m_stride, 255,
                    static_cast<size_t>(w));
    // Shading space 0..1024 spans the picture, so every pixel evaluates.
    const _KXMATRIX matrix = {KXFIX::from_raw(kKxOne * w / 1024), KXFIX{0}, KXFIX{0},
                              KXFIX::from_raw(kKxOne * h / 1024), KXFIX{0}, KXFIX{0}};
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
    state.counters["Mpix/s"] = benchmark::Counter(static_cast<double>(int64_t{w} * h) * 1e-6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
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
