// Coons and tensor patch meshes at size: 10,000 patches each, scattered over
// a 2048 x 2048 bitmap with gently bent sides, loaded from a 16-bit stream and
// rendered.
//
//   Coons: squares of 128, 256 or 512 pixels a side, cut into 8 x 16,
//          16 x 32 or 32 x 64 cells (v is cut twice as finely as u);
//   tensor: squares of 64 or 512 pixels (the fixed 16 x 16 grid) and of 2
//          pixels (one quadrilateral each).
//
// Each render is timed twice: into the full bitmap, and into a 1 x 1 bitmap
// in its top-left corner, where the same grid points are evaluated and the
// same cells are handed to the scan converter, whose edges are then cut to a
// single row and which paints at most one pixel. The second is the cost of
// evaluation and cell set-up; the difference is the painting. Counters:
// patches/s and cells/s.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "engine/xref_table.h"
#include "mesh/shading_coons.h"
#include "mesh/shading_tensor.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace {

using namespace shadepaint;

constexpr int32_t kSide = 2048;
constexpr int kPatches = 10000;
constexpr uint32_t kCoordMax = 65535;

void put16(std::string& s, uint32_t v) {
    s.push_back(static_cast<char>(v >> 8));
    s.push_back(static_cast<char>(v & 255));
}

uint32_t raw_of(double pixels) {
    const double r = pixels / kSide * kCoordMax;
    return static_cast<uint32_t>(r < 0 ? 0 : r > kCoordMax ? kCoordMax : r);
}

// A square patch of the given side at a random place, as a 4 x 4 net (row r
// along x, column c along y), its inner thirds pushed by up to a sixth of the
// side.
struct Net {
    double x[16], y[16];
};

Net random_net(std::mt19937& rng, double side) {
    std::uniform_real_distribution<double> place(0, kSide - side);
    std::uniform_real_distribution<double> bend(-side / 6, side / 6);
    const double x0 = place(rng), y0 = place(rng);
    Net n;
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            n.x[4 * r + c] = x0 + side * r / 3 + ((r == 1 || r == 2) ? bend(rng) : 0);
            n.y[4 * r + c] = y0 + side * c / 3 + ((c == 1 || c == 2) ? bend(rng) : 0);
        }
    }
    return n;
}

void put_point(std::string& s, const Net& n, int k) {
    put16(s, raw_of(n.x[k]));
    put16(s, raw_of(n.y[k]));
}

void put_colours(std::string& s, std::mt19937& rng, int count) {
    for (int k = 0; k < 3 * count; ++k) s.push_back(static_cast<char>(rng() & 255));
}

// Flag-0 Coons patches: the twelve boundary points of the net in stream order.
std::string coons_body(double side) {
    static constexpr int kBoundary[12] = {0, 1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4};
    std::mt19937 rng(6);
    std::string s;
    for (int p = 0; p < kPatches; ++p) {
        const Net n = random_net(rng, side);
        s.push_back(0);
        for (const int k : kBoundary) put_point(s, n, k);
        put_colours(s, rng, 4);
    }
    return s;
}

// Flag-0 tensor patches: the net as the spiral the stream lists.
std::string tensor_body(double side) {
    static constexpr int kSpiral[16] = {0, 1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4, 5, 6, 10, 9};
    std::mt19937 rng(7);
    std::string s;
    for (int p = 0; p < kPatches; ++p) {
        const Net n = random_net(rng, side);
        s.push_back(0);
        for (const int k : kSpiral) put_point(s, n, k);
        put_colours(s, rng, 4);
    }
    return s;
}

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
using ShadingPtr = std::unique_ptr<CPDFShading, ShadingDeleter>;

// The shading stream as object 1 of the table.
void add_stream(CPDFXRefTable& xref, int type, const std::string& body) {
    const std::string text =
        "<< /ShadingType " + std::to_string(type) +
        " /ColorSpace /DeviceRGB /BitsPerCoordinate 16 /BitsPerComponent 8 /BitsPerFlag 8"
        " /Decode [0 2048 0 2048 0 1 0 1 0 1] /Length " +
        std::to_string(body.size()) + " >>stream\n" + body + "\nendstream";
    xref.set_object(1, text.data(), text.size());
}

ShadingPtr make_shading(CPDFXRefTable& xref) {
    ScopedObj ref;
    const char kRef[] = "1 0 R";
    CPDFXRefTable::parse_object(kRef, std::strlen(kRef), ref.obj);
    ShadingPtr s(CPDFShading::parser_shading(&xref, &ref.obj));
    if (s) s->load();
    return s;
}

std::string body_of(int type, double side) {
    return type == 6 ? coons_body(side) : tensor_body(side);
}

void set_rates(benchmark::State& state, int64_t patches, int64_t cells) {
    state.counters["patches/s"] = benchmark::Counter(static_cast<double>(patches),
                                                     benchmark::Counter::kIsIterationInvariantRate);
    if (cells > 0)
        state.counters["cells/s"] = benchmark::Counter(
            static_cast<double>(cells), benchmark::Counter::kIsIterationInvariantRate);
}

// Cells the renderer cuts the loaded patches into under the identity.
int64_t cell_count(const CPDFShading& s) {
    int64_t cells = 0;
    if (const auto* c = dynamic_cast<const CPDFShadingCoons*>(&s)) {
        const _KXMATRIX m = _KXMATRIX::identity();
        for (int32_t i = 0; i < c->m_group_count; ++i) {
            const int64_t n = c->m_groups[i].get_ut(m), k = c->m_groups[i].get_vt(m);
            if (n > 0 && k > 0) cells += (n < 256 ? n : 256) * (k < 256 ? k : 256);
        }
    } else if (const auto* t = dynamic_cast<const CPDFShadingTensor*>(&s)) {
        for (int32_t i = 0; i < t->m_group_count; ++i) {
            const _KXPOINTF* p = t->m_groups[i].m_pts;
            const int64_t size = (p[15].x - p[0].x).abs().m_raw + (p[15].y - p[0].y).abs().m_raw;
            cells += size >= CPDFShadingTensor::kGridMinSize ? 256 : 1;
        }
    }
    return cells;
}

void BM_Load(benchmark::State& state, int type) {
    CPDFXRefTable xref;
    add_stream(xref, type, body_of(type, static_cast<double>(state.range(0))));
    for (auto _ : state) {
        ShadingPtr s = make_shading(xref);
        benchmark::DoNotOptimize(s.get());
    }
    set_rates(state, kPatches, 0);
}

// side = state.range(0); full = state.range(1): the whole bitmap or 1 x 1.
void BM_Render(benchmark::State& state, int type) {
    CPDFXRefTable xref;
    add_stream(xref, type, body_of(type, static_cast<double>(state.range(0))));
    ShadingPtr s = make_shading(xref);
    if (!s) return state.SkipWithError("no shading");
    const int32_t side = state.range(1) ? kSide : 1;
    CKXBmp8 mask(side, side);
    CKXBmp32 dst(side, side);
    if (!mask.m_data || !dst.m_data) return state.SkipWithError("out of memory");
    std::memset(mask.m_data, 255, static_cast<size_t>(mask.m_stride) * side);
    const _KXMATRIX m = _KXMATRIX::identity();
    for (auto _ : state) {
        s->render_to_bmp(m, _KXPOINT{0, 0}, mask, dst);
        benchmark::ClobberMemory();
    }
    set_rates(state, kPatches, cell_count(*s));
}

void BM_CoonsLoad(benchmark::State& state) { BM_Load(state, 6); }
void BM_TensorLoad(benchmark::State& state) { BM_Load(state, 7); }
void BM_CoonsRender(benchmark::State& state) { BM_Render(state, 6); }
void BM_TensorRender(benchmark::State& state) { BM_Render(state, 7); }

BENCHMARK(BM_CoonsLoad)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TensorLoad)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CoonsRender)
    ->ArgsProduct({{128, 256, 512}, {0, 1}})
    ->ArgNames({"side", "full"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(BM_TensorRender)
    ->ArgsProduct({{2, 64, 512}, {0, 1}})
    ->ArgNames({"side", "full"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace
