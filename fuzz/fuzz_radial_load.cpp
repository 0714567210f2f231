// Radial shadings from arbitrary documents. The input is PDF object text: the
// part before the first "endobj" is the shading, each later part is indirect
// object 1, 2, ... A radial shading that the factory makes is loaded, painted
// in colour and in gray through a few fixed device matrices (a page-like
// scale, a rotation, a huge scale that maps any circle to billions of pixels,
// a singular one), and deleted. The destinations sit between guard bytes that
// must survive. One larger picture runs the concentric case in bands.
#include <cstdint>
#include <cstring>
#include <vector>

#include "engine/xref_table.h"
#include "fuzz_input.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading_radial.h"

using namespace shadepaint;

namespace {

constexpr size_t kMaxInput = 1 << 14;
constexpr int32_t kWidth = 32;
constexpr int32_t kHeight = 24;
// 40200 pixels and 200 rows: four bands of 50 rows.
constexpr int32_t kBandedWidth = 201;
constexpr int32_t kBandedHeight = 200;
constexpr size_t kGuard = 32;
constexpr uint8_t kGuardByte = 0xa5;

KXFIX fix(int64_t whole, int64_t frac_raw = 0) {
    return KXFIX::from_raw(whole * kKxOne + frac_raw);
}

void check_guards(const std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i < kGuard; ++i)
        if (bytes[i] != kGuardByte || bytes[bytes.size() - 1 - i] != kGuardByte) __builtin_trap();
}

// Paints s in both forms onto width x height pixels between guard bytes.
void paint(const CPDFShadingRadial& s, const _KXMATRIX& m, int32_t width, int32_t height) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<uint8_t> coverage(pixels);
    for (size_t i = 0; i < pixels; ++i) coverage[i] = static_cast<uint8_t>(i % 7 == 0 ? 0 : 255);
    std::vector<uint8_t> colour(kGuard + 4 * pixels + kGuard, kGuardByte);
    std::vector<uint8_t> gray(kGuard + 2 * pixels + kGuard, kGuardByte);
    CKXBmp8 mask(coverage.data(), width, height, width);
    CKXBmp32 dst(colour.data() + kGuard, width, height, 4 * width);
    CKXBmpGray gdst(gray.data() + kGuard, width, height, 2 * width);
    const _KXPOINT origin = {-4, 3};
    if (s.render_to_bmp(m, origin, mask, dst) != 1) __builtin_trap();
    if (s.render_to_bmpg(m, origin, mask, gdst) != 1) __builtin_trap();
    check_guards(colour);
    check_guards(gray);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > kMaxInput) return 0;
    const char* text = reinterpret_cast<const char*>(data);
    const char* end = text + size;
    CPDFXRefTable xref;
    ScopedObj obj;
    if (!fuzzinput::read(text, end, xref, obj.obj)) return 0;
    CPDFShading* s = CPDFShading::parser_shading(&xref, &obj.obj);
    if (!s) return 0;
    if (s->m_type == 3) {
        s->load();
        const auto& radial = static_cast<const CPDFShadingRadial&>(*s);
        // clang-format off
        const _KXMATRIX matrices[] = {
            {fix(0, kKxHalf), KXFIX{0}, KXFIX{0}, fix(0, -kKxHalf), fix(4), fix(20)},
            {fix(0, 58117406), fix(0, 33554432), fix(0, -33554432), fix(0, 58117406),
             fix(10), fix(-3)},
            {fix(1 << 20), KXFIX{0}, KXFIX{0}, fix(-(1 << 20)), fix(-(1 << 24)), fix(1 << 24)},
            {fix(1), fix(2), fix(2), fix(4), fix(0), fix(0)},
        };
        // clang-format on
        for (const _KXMATRIX& m : matrices) paint(radial, m, kWidth, kHeight);
        paint(radial, matrices[0], kBandedWidth, kBandedHeight);
    }
    delete s;
    return 0;
}
