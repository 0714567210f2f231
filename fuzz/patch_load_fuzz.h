// The Coons and tensor load targets run the mesh targets' body
// (mesh_load_fuzz.h) on bodies of at most 512 bytes.
//
// A patch can cost up to 65536 cells when painted, so a mesh is painted
// through a matrix only when all its patches come to at most kMaxCells cells
// there (tensor patches count 256 each): about one huge patch, or a few dozen
// ordinary ones. Larger meshes are loaded and deleted all the same.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mesh/shading_coons.h"
#include "mesh/shading_tensor.h"
#include "mesh_load_fuzz.h"

namespace patchfuzz {

using namespace shadepaint;

constexpr size_t kMaxBody = 512;
constexpr int64_t kMaxCells = 1 << 16;

// Cells the render through m cuts the mesh into.
inline int64_t cells(const CPDFShading* s, const _KXMATRIX& m) {
    int64_t n = 0;
    if (const auto* c = dynamic_cast<const CPDFShadingCoons*>(s)) {
        constexpr int64_t kMax = CPDFShadingCoons::kMaxSteps;
        for (int32_t i = 0; i < c->m_group_count; ++i) {
            const int64_t u = c->m_groups[i].get_ut(m), v = c->m_groups[i].get_vt(m);
            if (u > 0 && v > 0) n += (u < kMax ? u : kMax) * (v < kMax ? v : kMax);
        }
    } else if (const auto* t = dynamic_cast<const CPDFShadingTensor*>(s)) {
        n = int64_t{t->m_group_count} * 256;
    }
    return n;
}

inline int run(const uint8_t* data, size_t size, int type) {
    return meshfuzz::run(data, size, type, kMaxBody, [](const CPDFShading& s, const _KXMATRIX& m) {
        return cells(&s, m) <= kMaxCells;
    });
}

}  // namespace patchfuzz
