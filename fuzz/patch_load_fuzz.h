// The body of the Coons and tensor load targets, with the input format of the
// other mesh targets (mesh_load_fuzz.h): dictionary entries as PDF text, then
// "stream" and a line end, then the raw body; "endobj"-separated texts among
// the entries become indirect objects 1, 2 ... The target's ShadingType and
// the body's length win over any the input gives, and filters are refused.
//
// An empty shading clears its destination with the padding between rows, so
// the slack of the rows must survive only a picture that was painted; the
// guards around the bitmap must always survive.
//
// A patch can cost up to 65536 cells when painted, so a mesh is painted
// through a matrix only when all its patches come to at most kMaxCells cells
// there (tensor patches count 256 each): about one huge patch, or a few dozen
// ordinary ones. Larger meshes are loaded and deleted all the same.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "mesh/shading_coons.h"
#include "mesh/shading_tensor.h"
#include "mesh_load_fuzz.h"

namespace patchfuzz {

using namespace shadepaint;
using meshfuzz::find;
using meshfuzz::fix;

constexpr size_t kMaxEntries = 4096;
constexpr size_t kMaxBody = 512;
constexpr int32_t kMaxObjects = 16;
constexpr int32_t kShadingObject = 100;
constexpr int64_t kMaxCells = 1 << 16;

using meshfuzz::kGuard;
using meshfuzz::kGuardByte;
using meshfuzz::kHeight;
using meshfuzz::kWidth;

inline void check_slack(const std::vector<uint8_t>& bytes, int32_t stride, int32_t row_bytes) {
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = row_bytes; x < stride; ++x)
            if (bytes[kGuard + static_cast<size_t>(y) * stride + x] != kGuardByte) __builtin_trap();
}

inline void paint(const CPDFShading& s, const _KXMATRIX& m, const _KXPOINT& origin) {
    const int32_t stride32 = 4 * kWidth + 8, stride_gray = 2 * kWidth + 6;
    std::vector<uint8_t> coverage(static_cast<size_t>(kWidth) * kHeight, 255);
    std::vector<uint8_t> colour(2 * kGuard + static_cast<size_t>(stride32) * kHeight, kGuardByte);
    std::vector<uint8_t> gray(2 * kGuard + static_cast<size_t>(stride_gray) * kHeight, kGuardByte);
    CKXBmp8 mask(coverage.data(), kWidth, kHeight, kWidth);
    CKXBmp32 dst(colour.data() + kGuard, kWidth, kHeight, stride32);
    CKXBmpGray gdst(gray.data() + kGuard, kWidth, kHeight, stride_gray);
    const int32_t painted = s.render_to_bmp(m, origin, mask, dst);
    const int32_t painted_gray = s.render_to_bmpg(m, origin, mask, gdst);
    if (painted != painted_gray) __builtin_trap();
    meshfuzz::check_guards(colour);
    meshfuzz::check_guards(gray);
    if (painted) {
        check_slack(colour, stride32, 4 * kWidth);
        check_slack(gray, stride_gray, 2 * kWidth);
    }
}

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
    const char* text = reinterpret_cast<const char*>(data);
    const char* end = text + size;
    const char* body = find(text, end, "stream\n");
    const char* entries_end = body;
    body = body == end ? end : body + std::strlen("stream\n");
    if (static_cast<size_t>(entries_end - text) > kMaxEntries) return 0;
    if (static_cast<size_t>(end - body) > kMaxBody) return 0;
    const char* objects = find(text, entries_end, "endobj");
    if (find(text, objects, "Filter") != objects) return 0;

    CPDFXRefTable xref;
    const char* p = objects;
    for (int32_t num = 1; p < entries_end && num <= kMaxObjects; ++num) {
        p += std::strlen("endobj");
        const char* next = find(p, entries_end, "endobj");
        xref.set_object(num, p, static_cast<size_t>(next - p));
        p = next;
    }
    const std::string body_text(body, end);
    const std::string shading =
        "<< " + std::string(text, objects) + " /ShadingType " + std::to_string(type) + " /Length " +
        std::to_string(body_text.size()) + " >>\nstream\n" + body_text + "\nendstream";
    if (!xref.set_object(kShadingObject, shading.data(), shading.size())) return 0;

    ScopedObj ref;
    const std::string ref_text = std::to_string(kShadingObject) + " 0 R";
    if (!CPDFXRefTable::parse_object(ref_text.data(), ref_text.size(), ref.obj)) __builtin_trap();
    CPDFShading* s = CPDFShading::parser_shading(&xref, &ref.obj);
    if (!s) return 0;  // entries that unbalance the dictionary may hide the type
    s->load();
    // clang-format off
    const _KXMATRIX matrices[] = {
        {fix(0, kKxHalf), KXFIX{0}, KXFIX{0}, fix(0, -kKxHalf), fix(4), fix(20)},
        {fix(0, 58117406), fix(0, 33554432), fix(0, -33554432), fix(0, 58117406),
         fix(10), fix(-3)},
        {fix(1), fix(2), fix(2), fix(4), fix(0), fix(0)},
    };
    const _KXMATRIX huge = {fix(1 << 20), KXFIX{0}, KXFIX{0}, fix(-(1 << 20)), fix(-(1 << 24)),
                            fix(1 << 24)};
    // clang-format on
    for (const _KXMATRIX& m : matrices)
        if (cells(s, m) <= kMaxCells) paint(*s, m, _KXPOINT{-3, 2});
    if (cells(s, matrices[0]) <= kMaxCells) paint(*s, matrices[0], _KXPOINT{1 << 30, -(1 << 30)});
    if (cells(s, huge) <= kMaxCells) paint(*s, huge, _KXPOINT{-3, 2});
    delete s;
    return 0;
}

}  // namespace patchfuzz
