// Patterns from arbitrary documents. The input is PDF object text: the part
// before the first "endobj" is the pattern value, each later part is indirect
// object 1, 2, ... The factory's result is loaded twice; a shading pattern's
// shading is painted through the pattern's matrix followed by a small device
// matrix, in colour and in gray, and the whole pattern is deleted.
#include <cstdint>
#include <cstring>

#include "engine/ext_gstate.h"
#include "engine/xref_table.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "pattern/pat_shading.h"
#include "pattern/pattern.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

using namespace shadepaint;

namespace {

constexpr int32_t kSide = 12;
constexpr int32_t kMaxObjects = 16;
constexpr char kSeparator[] = "endobj";
constexpr size_t kSeparatorLen = sizeof kSeparator - 1;

const char* find_separator(const char* p, const char* end) {
    for (; static_cast<size_t>(end - p) >= kSeparatorLen; ++p)
        if (std::memcmp(p, kSeparator, kSeparatorLen) == 0) return p;
    return end;
}

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
    const char* cut = find_separator(text, end);

    CPDFXRefTable xref;
    const char* p = cut;
    for (int32_t num = 1; p < end && num <= kMaxObjects; ++num) {
        p += kSeparatorLen;
        const char* next = find_separator(p, end);
        xref.set_object(num, p, static_cast<size_t>(next - p));
        p = next;
    }

    ScopedObj obj;
    if (!CPDFXRefTable::parse_object(text, static_cast<size_t>(cut - text), obj.obj)) return 0;
    CPDFPattern* pattern = CPDFPattern::parser_pattern(&xref, &obj.obj);
    if (!pattern) return 0;
    pattern->load();
    pattern->load();
    if (pattern->m_type == 2) paint(*static_cast<CPDFPatShading*>(pattern));
    delete pattern;
    return 0;
}
