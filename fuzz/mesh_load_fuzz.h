// The body of the four mesh load targets. The input is the shading's
// dictionary entries as PDF text, then "stream" and a line end, then the raw
// stream body (at most kMaxBody bytes). The entries may be followed by
// "endobj"-separated texts that become indirect objects 1, 2 ... for
// references. The target's ShadingType and the body's length are put behind
// the entries, so they win over any the input gives. Filters are refused: a
// few bytes of Flate can inflate to megabytes of tiny records, whose store
// grows a few slots at a time, far too slow under a sanitizer; the decoding
// stages have their own target.
//
// A loaded mesh is painted in colour and in gray through a few fixed
// matrices into small bitmaps between guard bytes that must always survive,
// and deleted. The slack between rows must survive a picture that was
// painted; an empty patch shading clears its destination, slack included.
// A target may skip a matrix (the patch targets do, for one that would cut
// the mesh into too many cells to paint quickly).
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "engine/xref_table.h"
#include "fuzz_input.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace meshfuzz {

using namespace shadepaint;

constexpr size_t kMaxEntries = 4096;
constexpr int32_t kShadingObject = 100;
constexpr int32_t kWidth = 29;
constexpr int32_t kHeight = 17;
constexpr size_t kGuard = 32;
constexpr uint8_t kGuardByte = 0xa5;

inline KXFIX fix(int64_t whole, int64_t frac_raw = 0) {
    return KXFIX::from_raw(whole * kKxOne + frac_raw);
}

inline void check_guards(const std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i < kGuard; ++i)
        if (bytes[i] != kGuardByte || bytes[bytes.size() - 1 - i] != kGuardByte) __builtin_trap();
}

inline void check_slack(const std::vector<uint8_t>& bytes, int32_t stride, int32_t row_bytes) {
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = row_bytes; x < stride; ++x)
            if (bytes[kGuard + static_cast<size_t>(y) * stride + x] != kGuardByte) __builtin_trap();
}

// Rows of kWidth pixels in strides with slack.
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
    check_guards(colour);
    check_guards(gray);
    if (painted) {
        check_slack(colour, stride32, 4 * kWidth);
        check_slack(gray, stride_gray, 2 * kWidth);
    }
}

// Loads the input as a shading of the given type; null when the input is
// refused or names no shading.
inline CPDFShading* load(const uint8_t* data, size_t size, int type, size_t max_body) {
    const char* text = reinterpret_cast<const char*>(data);
    const char* end = text + size;
    using fuzzinput::find;
    const char* body = find(text, end, "stream\n");
    const char* entries_end = body;
    body = body == end ? end : body + std::strlen("stream\n");
    if (static_cast<size_t>(entries_end - text) > kMaxEntries) return nullptr;
    if (static_cast<size_t>(end - body) > max_body) return nullptr;
    const char* objects = find(text, entries_end);
    if (find(text, objects, "Filter") != objects) return nullptr;

    CPDFXRefTable xref;
    fuzzinput::add_objects(xref, objects, entries_end);
    const std::string body_text(body, end);
    const std::string shading =
        "<< " + std::string(text, objects) + " /ShadingType " + std::to_string(type) + " /Length " +
        std::to_string(body_text.size()) + " >>\nstream\n" + body_text + "\nendstream";
    if (!xref.set_object(kShadingObject, shading.data(), shading.size())) return nullptr;

    ScopedObj ref;
    const std::string ref_text = std::to_string(kShadingObject) + " 0 R";
    if (!CPDFXRefTable::parse_object(ref_text.data(), ref_text.size(), ref.obj)) __builtin_trap();
    // Entries that unbalance the dictionary may hide the type.
    CPDFShading* s = CPDFShading::parser_shading(&xref, &ref.obj);
    if (s) s->load();
    return s;
}

// Loads, paints through each matrix that `allowed` lets pass, and deletes.
template <class Allowed>
int run(const uint8_t* data, size_t size, int type, size_t max_body, Allowed allowed) {
    CPDFShading* s = load(data, size, type, max_body);
    if (!s) return 0;
    // clang-format off
    const _KXMATRIX matrices[] = {
        {fix(0, kKxHalf), KXFIX{0}, KXFIX{0}, fix(0, -kKxHalf), fix(4), fix(20)},
        {fix(0, 58117406), fix(0, 33554432), fix(0, -33554432), fix(0, 58117406),
         fix(10), fix(-3)},
        {fix(1 << 20), KXFIX{0}, KXFIX{0}, fix(-(1 << 20)), fix(-(1 << 24)), fix(1 << 24)},
        {fix(1), fix(2), fix(2), fix(4), fix(0), fix(0)},
    };
    // clang-format on
    for (const _KXMATRIX& m : matrices)
        if (allowed(*s, m)) paint(*s, m, _KXPOINT{-3, 2});
    if (allowed(*s, matrices[0])) paint(*s, matrices[0], _KXPOINT{1 << 30, -(1 << 30)});
    delete s;
    return 0;
}

inline int run(const uint8_t* data, size_t size, int type) {
    return run(data, size, type, 1024, [](const CPDFShading&, const _KXMATRIX&) { return true; });
}

}  // namespace meshfuzz
