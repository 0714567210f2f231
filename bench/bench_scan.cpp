// Triangles through CKXPathCRender into a 2048 x 2048 bitmap, as a mesh paints
// them: small ones (a few pixels, where the per-polygon cost counts) and
// large ones (hundreds of pixels a side, where the pixel writes should).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "mesh/path_crender.h"
#include "shading/bitmap.h"

namespace {

using namespace shadepaint;

struct Tri {
    int32_t x[3], y[3];
    _KXRGBA c[3];
    double area;  // in pixels
};

std::vector<Tri> make_triangles(int32_t size_px, int count) {
    std::mt19937 rng(1234);
    const int32_t span = (2048 - size_px) * 128, size = size_px * 128;
    std::vector<Tri> v;
    for (int i = 0; i < count; ++i) {
        Tri t;
        const int32_t bx = static_cast<int32_t>(rng() % span),
                      by = static_cast<int32_t>(rng() % span);
        for (int k = 0; k < 3; ++k) {
            t.x[k] = bx + static_cast<int32_t>(rng() % size);
            t.y[k] = by + static_cast<int32_t>(rng() % size);
            t.c[k] = _KXRGBA{static_cast<uint8_t>(rng()), static_cast<uint8_t>(rng()),
                             static_cast<uint8_t>(rng()), 255};
        }
        const double cross = double(t.x[1] - t.x[0]) * (t.y[2] - t.y[0]) -
                             double(t.x[2] - t.x[0]) * (t.y[1] - t.y[0]);
        t.area = (cross < 0 ? -cross : cross) / 2 / (128.0 * 128.0);
        v.push_back(t);
    }
    return v;
}

void paint(CKXPathCRender& p, const Tri& t, CKXBmp32& dst) {
    p.begin(0, 0, 0);
    p.begin(0, 0, dst.m_height);
    p.m_start_x = p.m_cur_x = t.x[0] - p.m_org_x;
    p.m_start_y = p.m_cur_y = t.y[0] - p.m_org_y;
    p.m_start_rgba = p.m_cur_rgba = t.c[0];
    p.line_to(t.x[1], t.y[1], t.c[1]);
    p.line_to(t.x[2], t.y[2], t.c[2]);
    p.line_to(p.m_start_x + p.m_org_x, p.m_start_y + p.m_org_y, p.m_start_rgba);
    p.render_smooth(&dst);
}

void run(benchmark::State& state, int32_t size_px) {
    static CKXBmp32 dst(2048, 2048);
    const std::vector<Tri> tris = make_triangles(size_px, 4096);
    CKXPathCRender path;
    size_t i = 0;
    double pixels = 0;
    for (auto _ : state) {
        const Tri& t = tris[i];
        paint(path, t, dst);
        pixels += t.area;
        i = (i + 1) % tris.size();
    }
    benchmark::DoNotOptimize(dst.m_data);
    state.SetItemsProcessed(state.iterations());
    state.counters["pixels/s"] = benchmark::Counter(pixels, benchmark::Counter::kIsRate);
}

void BM_SmallTriangles(benchmark::State& state) { run(state, 4); }
void BM_LargeTriangles(benchmark::State& state) { run(state, 400); }

BENCHMARK(BM_SmallTriangles);
BENCHMARK(BM_LargeTriangles);

}  // namespace
