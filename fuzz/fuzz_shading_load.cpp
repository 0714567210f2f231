// Shadings of every type from arbitrary documents: made, loaded, painted in
// colour and in gray into a 16 x 16 picture through a fixed device matrix,
// and deleted. The input is PDF object text: the part before the first
// "endobj" is the shading, each later part becomes indirect object 1, 2, ...
// so that references, shared functions and loops can be reached.
#include <cstdint>
#include <cstring>

#include "engine/xref_table.h"
#include "fuzz_input.h"
#include "numeric/kxfix.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

using namespace shadepaint;

namespace {

constexpr int32_t kSide = 16;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* const text = reinterpret_cast<const char*>(data);
    const char* const end = text + size;
    CPDFXRefTable xref;
    CPDFObj obj;
    obj.init_empty();
    // A parsed stream's body stays in the input, which outlives the shading.
    if (!fuzzinput::read(text, end, xref, obj)) return 0;
    CPDFShading* shading = CPDFShading::parser_shading(&xref, &obj);
    obj.free();
    if (!shading) return 0;
    shading->load();

    // Shading space 0..32 on the picture, slightly turned so that no
    // coordinate step is exact.
    const _KXMATRIX device = {KXFIX::from_raw(kKxOne / 2),   KXFIX::from_raw(kKxOne / 64),
                              KXFIX::from_raw(-kKxOne / 64), KXFIX::from_raw(kKxOne / 2),
                              KXFIX::from_raw(kKxOne / 4),   KXFIX{0}};
    CKXBmp8 mask(kSide, kSide);
    CKXBmp32 colour(kSide, kSide);
    CKXBmpGray gray(kSide, kSide);
    if (mask.m_data) {
        for (int32_t i = 0; i < kSide * kSide; ++i)
            mask.m_data[i] = static_cast<uint8_t>(i % 7 == 3 ? 0 : 255);
    }
    shading->render_to_bmp(device, _KXPOINT{-2, 1}, mask, colour);
    shading->render_to_bmpg(device, _KXPOINT{-2, 1}, mask, gray);
    delete shading;
    return 0;
}
