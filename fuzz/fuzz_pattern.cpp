// Patterns from arbitrary documents. The input is PDF object text: the part
// before the first "endobj" is the pattern value, each later part is indirect
// object 1, 2, ... The factory's result is loaded twice; a shading pattern's
// shading is painted through the pattern's matrix followed by a small device
// matrix, in colour and in gray, and the whole pattern is deleted.
#include <cstdint>
#include <cstring>

#include "engine/ext_gstate.h"
#include "engine/xref_table.h"
#include "fuzz_input.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "pattern/pat_shading.h"
#include "pattern/pattern.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

using namespace shadepaint;

namespace {

constexpr int32_t kSide = 12;

void paint(const CPDFPatShading& p) {
    if (!p.m_shading) return;
    _KXMATRIX m = p.m_matrix;
    m.do_multiply({KXFIX::from_int(2), KXFIX{0}, KXFIX{0}, KXFIX::from_int(-2), KXFIX{0},
                   KXFIX::from_int(kSide)});
    CKXBmp8 mask(kSide, kSide);
    if (!mask.m_data) return;
    for (int32_t i = 0; i < kSide * kSide; ++i) mask.m_data[i] = static_cast<uint8_t>(i * 29);
    CKXBmp32 colour(kSide, kSide);
    CKXBmpGray gray(kSide, kSide);
    p.m_shading->render_to_bmp(m, {-3, 2}, mask, colour);
    p.m_shading->render_to_bmpg(m, {-3, 2}, mask, gray);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    const char* end = text + size;
    CPDFXRefTable xref;
    ScopedObj obj;
    if (!fuzzinput::read(text, end, xref, obj.obj)) return 0;
    CPDFPattern* pattern = CPDFPattern::parser_pattern(&xref, &obj.obj);
    if (!pattern) return 0;
    pattern->load();
    pattern->load();
    if (pattern->m_type == 2) paint(*static_cast<CPDFPatShading*>(pattern));
    delete pattern;
    return 0;
}
