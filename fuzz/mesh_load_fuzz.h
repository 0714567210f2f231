// The body of the free-form and lattice load targets. The input is the
// shading's dictionary entries as PDF text, then "stream" and a line end,
// then the raw stream body (at most kMaxBody bytes). The entries may be
// followed by "endobj"-separated texts that become indirect objects 1, 2 ...
// for references. The target's ShadingType and the body's length are put
// behind the entries, so they win over any the input gives. Filters are
// refused: a few bytes of Flate can inflate to megabytes of tiny records,
// whose store grows eight slots at a time, far too slow under a sanitizer;
// the decoding stages have their own target. A loaded mesh is painted in
// colour and in gray through a few fixed matrices into small bitmaps between
// guard bytes that must survive, and deleted.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace meshfuzz {

using namespace shadepaint;

constexpr size_t kMaxEntries = 4096;
constexpr size_t kMaxBody = 1024;
constexpr int32_t kMaxObjects = 16;
constexpr int32_t kShadingObject = 100;
constexpr int32_t kWidth = 29;
constexpr int32_t kHeight = 17;
constexpr size_t kGuard = 32;
constexpr uint8_t kGuardByte = 0xa5;

inline const char* find(const char* p, const char* end, const char* word) {
    const size_t n = std::strlen(word);
    for (; static_cast<size_t>(end - p) >= n; ++p)
        if (std::memcmp(p, word, n) == 0) return p;
    return end;
}

inline KXFIX fix(int64_t whole, int64_t frac_raw = 0) {
    return KXFIX::from_raw(whole * kKxOne + frac_raw);
}

inline void check_guards(const std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i < kGuard; ++i)
        if (bytes[i] != kGuardByte || bytes[bytes.size() - 1 - i] != kGuardByte) __builtin_trap();
}

// Rows of kWidth pixels in strides with slack, which must survive too.
inline void paint(const CPDFShading& s, const _KXMATRIX& m, const _KXPOINT& origin) {
    const int32_t stride32 = 4 * kWidth + 8, stride_gray = 2 * kWidth + 6;
    std::vector<uint8_t> coverage(static_cast<size_t>(kWidth) * kHeight, 255);
    std::vector<uint8_t> colour(2 * kGuard + static_cast<size_t>(stride32) * kHeight, kGuardByte);
    std::vector<uint8_t> gray(2 * kGuard + static_cast<size_t>(stride_gray) * kHeight, kGuardByte);
    CKXBmp8 mask(coverage.data(), kWidth, kHeight, kWidth);
    CKXBmp32 dst(colour.data() + kGuard, kWidth, kHeight, stride32);
    CKXBmpGray gdst(gray.data() + kGuard, kWidth, kHeight, stride_gray);
    s.render_to_bmp(m, origin, mask, dst);
    s.render_to_bmpg(m, origin, mask, gdst);
    check_guards(colour);
    check_guards(gray);
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 4 * kWidth; x < stride32; ++x)
            if (colour[kGuard + static_cast<size_t>(y) * stride32 + x] != kGuardByte)
                __builtin_trap();
        for (int32_t x = 2 * kWidth; x < stride_gray; ++x)
            if (gray[kGuard + static_cast<size_t>(y) * stride_gray + x] != kGuardByte)
                __builtin_trap();
    }
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
        {fix(1 << 20), KXFIX{0}, KXFIX{0}, fix(-(1 << 20)), fix(-(1 << 24)), fix(1 << 24)},
        {fix(1), fix(2), fix(2), fix(4), fix(0), fix(0)},
    };
    // clang-format on
    for (const _KXMATRIX& m : matrices) paint(*s, m, _KXPOINT{-3, 2});
    paint(*s, matrices[0], _KXPOINT{1 << 30, -(1 << 30)});
    delete s;
    return 0;
}

}  // namespace meshfuzz
