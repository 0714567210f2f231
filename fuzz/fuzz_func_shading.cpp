// Function-based shadings from arbitrary documents. The first eight bytes
// are typed fields: the picture's size, an origin and a device matrix of
// small powers of two and half steps. A size byte with its top bit set
// selects a picture just above the band threshold, with a sparse mask so that
// the workers run without evaluating many pixels; otherwise each side is 1
// to 48. The rest is PDF object text: the part before the first "endobj" is
// the shading, each later part is indirect object 1, 2, ... Whatever loads is
// painted in colour and in gray, then deleted.
#include <cstdint>
#include <cstring>
#include <vector>

#include "engine/xref_table.h"
#include "fuzz_input.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading_func.h"

using namespace shadepaint;

namespace {

constexpr size_t kHeaderBytes = 8;
constexpr int32_t kMaxSide = 48;
// 40200 pixels and 200 rows: four bands of 50 rows.
constexpr int32_t kBandedWidth = 201;
constexpr int32_t kBandedHeight = 200;
constexpr size_t kSparseStep = 61;

// -8.0 to 7.5 in halves.
KXFIX half_steps(uint8_t b) {
    return KXFIX::from_raw((static_cast<int64_t>(b & 31) - 16) * (kKxOne / 2));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeaderBytes) return 0;
    const bool banded = (data[0] & 0x80) != 0;
    const int32_t width = banded ? kBandedWidth : 1 + data[0] % kMaxSide;
    const int32_t height = banded ? kBandedHeight : 1 + data[1] % kMaxSide;
    const _KXPOINT origin = {static_cast<int8_t>(data[2]), static_cast<int8_t>(data[3])};
    // Scale 2^(b & 7) / 8 and a rotation-free or sheared form by the high bits.
    const _KXMATRIX device = {KXFIX::from_raw((kKxOne >> 3) << (data[4] & 7)),
                              (data[4] & 0x80) ? half_steps(data[5]) : KXFIX{0},
                              (data[4] & 0x40) ? half_steps(data[6]) : KXFIX{0},
                              KXFIX::from_raw((kKxOne >> 3) << (data[7] & 7)),
                              half_steps(data[5]),
                              half_steps(data[6])};

    const char* text = reinterpret_cast<const char*>(data + kHeaderBytes);
    const char* end = reinterpret_cast<const char*>(data + size);
    CPDFXRefTable xref;
    ScopedObj obj;
    if (!fuzzinput::read(text, end, xref, obj.obj)) return 0;
    CPDFShading* s = CPDFShading::parser_shading(&xref, &obj.obj);
    if (!s) return 0;
    if (s->m_type == 1) {
        s->load();
        std::vector<uint8_t> mask(static_cast<size_t>(width) * height);
        for (size_t i = 0; i < mask.size(); ++i) {
            const bool covered = banded ? i % kSparseStep == 0 : i % 7 != 0;
            mask[i] = covered ? static_cast<uint8_t>(1 + i * 37 % 255) : 0;
        }
        CKXBmp8 m(mask.data(), width, height, width);
        CKXBmp32 colour(width, height);
        CKXBmpGray gray(width, height);
        s->render_to_bmp(device, origin, m, colour);
        s->render_to_bmpg(device, origin, m, gray);
    }
    delete s;
    return 0;
}
