// Free-form and lattice meshes at size: load (decoding the stream into the
// triangle store) and render into a 2048 x 2048 bitmap.
//
//   free-form: 100,000 small triangles (flag-0 records tiling the bitmap, 42
//              pixels each) and 2,000 large ones (fans of 2,000 pixels each);
//   lattice:   300 x 300 vertices over the bitmap, 178,802 triangles.
//
// Counters: triangles/s, stream MB/s for loads, pixels/s for renders, and
// the memory a load holds at its peak, summed from what it allocates: the
// store and the stream body, and for the lattice the grid of vertices (grown
// four rows at a time) that lives until its cells are cut. A lattice vertex
// of 7 stream bytes ends up by value in up to six 264-byte triangles, so its
// load is bound by the kernel's supply of fresh pages for the store.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "engine/xref_table.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;

constexpr int32_t kSide = 2048;
constexpr uint32_t kCoordMax = 65535;

// Fields most significant bit first; every field here is whole bytes.
void put16(std::string& s, uint32_t v) {
    s.push_back(static_cast<char>(v >> 8));
    s.push_back(static_cast<char>(v & 255));
}

uint32_t raw_of(double pixels) {
    const double r = pixels / kSide * kCoordMax;
    return static_cast<uint32_t>(r < 0 ? 0 : r > kCoordMax ? kCoordMax : r);
}

void put_vertex(std::string& s, std::mt19937& rng, double x, double y) {
    put16(s, raw_of(x));
    put16(s, raw_of(y));
    for (int k = 0; k < 3; ++k) s.push_back(static_cast<char>(rng() & 255));
}

// Flag-0 records tiling the square with triangles of about area pixels.
std::string tiling_records(int count, std::mt19937& rng) {
    const int cells = count / 2;
    const int n = static_cast<int>(std::sqrt(static_cast<double>(cells)));
    const double step = static_cast<double>(kSide) / n;
    std::string s;
    for (int t = 0; t < count; ++t) {
        const int cell = (t / 2) % (n * n);
        const double x = (cell % n) * step, y = (cell / n) * step;
        s.push_back(0);
        if (t % 2 == 0) {
            put_vertex(s, rng, x, y);
            s.push_back(0);
            put_vertex(s, rng, x + step, y);
            s.push_back(0);
            put_vertex(s, rng, x, y + step);
        } else {
            put_vertex(s, rng, x + step, y);
            s.push_back(0);
            put_vertex(s, rng, x, y + step);
            s.push_back(0);
            put_vertex(s, rng, x + step, y + step);
        }
    }
    return s;
}

// Fans of flag-2 records around centres spread over the square.
std::string fan_records(int count, double radius, std::mt19937& rng) {
    const int per_fan = 10;
    std::string s;
    std::uniform_real_distribution<double> pos(radius, kSide - radius);
    for (int made = 0; made < count;) {
        const double cx = pos(rng), cy = pos(rng);
        const auto ring = [&](int k) {
            const double a = k * 6.283185307179586 / per_fan;
            return std::pair<double, double>{cx + radius * std::cos(a), cy + radius * std::sin(a)};
        };
        s.push_back(0);
        put_vertex(s, rng, cx, cy);
        s.push_back(0);
        put_vertex(s, rng, ring(0).first, ring(0).second);
        s.push_back(0);
        put_vertex(s, rng, ring(1).first, ring(1).second);
        ++made;
        for (int k = 2; k <= per_fan && made < count; ++k, ++made) {
            s.push_back(2);
            put_vertex(s, rng, ring(k).first, ring(k).second);
        }
    }
    return s;
}

std::string lattice_records(int side, std::mt19937& rng) {
    std::string s;
    const double step = static_cast<double>(kSide) / (side - 1);
    std::uniform_real_distribution<double> jitter(-0.25 * step, 0.25 * step);
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const bool edge = i == 0 || j == 0 || i == side - 1 || j == side - 1;
            put_vertex(s, rng, j * step + (edge ? 0 : jitter(rng)),
                       i * step + (edge ? 0 : jitter(rng)));
        }
    }
    return s;
}

std::string stream_object(const std::string& entries, const std::string& body) {
    return "<< " + entries + " /ColorSpace /DeviceRGB /BitsPerCoordinate 16 " +
           "/BitsPerComponent 8 /Decode [0 2048 0 2048 0 1 0 1 0 1] /Length " +
           std::to_string(body.size()) + " >>\nstream\n" + body + "\nendstream";
}

struct Mesh {
    CPDFXRefTable xref;
    size_t body_bytes = 0;
    CPDFObj ref;

    explicit Mesh(const std::string& text, size_t body) : body_bytes(body) {
        xref.set_object(1, text.data(), text.size());
        ref.init_empty();
        CPDFXRefTable::parse_object("1 0 R", 5, ref);
    }
    ~Mesh() { ref.free(); }
    CPDFShading* load() {
        CPDFShading* s = CPDFShading::parser_shading(&xref, &ref);
        s->load();
        return s;
    }
};

Mesh& small_free_form() {
    static std::mt19937 rng(7);
    static const std::string body = tiling_records(100000, rng);
    static Mesh m(stream_object("/ShadingType 4 /BitsPerFlag 8", body), body.size());
    return m;
}
Mesh& large_free_form() {
    static std::mt19937 rng(8);
    static const std::string body = fan_records(2000, 80, rng);
    static Mesh m(stream_object("/ShadingType 4 /BitsPerFlag 8", body), body.size());
    return m;
}
Mesh& lattice() {
    static std::mt19937 rng(9);
    static const std::string body = lattice_records(300, rng);
    static Mesh m(stream_object("/ShadingType 5 /VerticesPerRow 300", body), body.size());
    return m;
}

int32_t count_of(const CPDFShading* s) {
    if (s->m_type == 4) return static_cast<const CPDFShadingFreeForm*>(s)->m_triangle_count;
    return static_cast<const CPDFShadingLatticeForm*>(s)->m_triangle_count;
}
size_t peak_bytes(const CPDFShading* s, const Mesh& mesh) {
    const size_t body = (mesh.body_bytes + 1023) / 1024 * 1024 + 1024;
    if (s->m_type == 4) {
        const auto* f = static_cast<const CPDFShadingFreeForm*>(s);
        return static_cast<size_t>(f->m_triangle_cap) * sizeof(PDF_MESH_TRIANGLE) + body;
    }
    const auto* l = static_cast<const CPDFShadingLatticeForm*>(s);
    const size_t per_row = static_cast<size_t>(l->m_vertices_per_row);
    const size_t rows = static_cast<size_t>(l->m_triangle_count) / 2 / (per_row - 1) + 1;
    return static_cast<size_t>(l->m_triangle_count) * sizeof(PDF_MESH_TRIANGLE) + body +
           (rows + 3) / 4 * 4 * per_row * sizeof(PDF_MESH_VERTEX);
}

void run_load(benchmark::State& state, Mesh& mesh) {
    int64_t triangles = 0;
    size_t peak = 0;
    for (auto _ : state) {
        CPDFShading* s = mesh.load();
        triangles += count_of(s);
        peak = peak_bytes(s, mesh);
        delete s;
    }
    state.counters["triangles/s"] =
        benchmark::Counter(static_cast<double>(triangles), benchmark::Counter::kIsRate);
    state.counters["stream_MB/s"] =
        benchmark::Counter(static_cast<double>(mesh.body_bytes) * state.iterations() / 1e6,
                           benchmark::Counter::kIsRate);
    state.counters["peak_MiB"] = static_cast<double>(peak) / (1 << 20);
}

void run_render(benchmark::State& state, Mesh& mesh) {
    static CKXBmp32 dst(kSide, kSide);
    static CKXBmp8 mask(kSide, kSide);
    static bool filled = false;
    if (!filled) {
        for (int32_t y = 0; y < kSide; ++y)
            for (int32_t x = 0; x < kSide; ++x) mask.m_data[y * mask.m_stride + x] = 255;
        filled = true;
    }
    CPDFShading* s = mesh.load();
    const _KXMATRIX m = _KXMATRIX::identity();
    int64_t triangles = 0;
    for (auto _ : state) {
        s->render_to_bmp(m, _KXPOINT{0, 0}, mask, dst);
        triangles += count_of(s);
    }
    benchmark::DoNotOptimize(dst.m_data);
    state.counters["triangles/s"] =
        benchmark::Counter(static_cast<double>(triangles), benchmark::Counter::kIsRate);
    // Each mesh here covers the square about once.
    state.counters["pixels/s"] = benchmark::Counter(
        static_cast<double>(kSide) * kSide * state.iterations(), benchmark::Counter::kIsRate);
    delete s;
}

void BM_FreeFormLoad_100kSmall(benchmark::State& st) { run_load(st, small_free_form()); }
void BM_FreeFormRender_100kSmall(benchmark::State& st) { run_render(st, small_free_form()); }
void BM_FreeFormLoad_2kLarge(benchmark::State& st) { run_load(st, large_free_form()); }
void BM_FreeFormRender_2kLarge(benchmark::State& st) { run_render(st, large_free_form()); }
void BM_LatticeLoad_300x300(benchmark::State& st) { run_load(st, lattice()); }
void BM_LatticeRender_300x300(benchmark::State& st) { run_render(st, lattice()); }

BENCHMARK(BM_FreeFormLoad_100kSmall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FreeFormRender_100kSmall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FreeFormLoad_2kLarge)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FreeFormRender_2kLarge)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LatticeLoad_300x300)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LatticeRender_300x300)->Unit(benchmark::kMillisecond);

}  // namespace
