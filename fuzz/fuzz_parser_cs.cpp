// Colour spaces from arbitrary documents. The input is PDF object text: the
// part before the first "endobj" is the ColorSpace value, each later part is
// indirect object 1, 2, ... so that references, loops and lookup streams can
// be reached. Whatever parses is converted at a few colours, run through the
// batch operations and deleted.
#include <cstdint>
#include <cstring>

#include "engine/xref_table.h"
#include "fuzz_input.h"
#include "object/pdf_obj.h"
#include "shading/color_space.h"

using namespace shadepaint;

namespace {

void convert(const CPDFCSBase& cs) {
    const int32_t n = cs.m_comp_count;
    if (n < 1 || n > 16) __builtin_trap();
    static const uint32_t kLevels[] = {0, 1, 127, 128, 254, 255, 0x1ff, 0xffffffff};
    for (uint32_t level : kLevels) {
        PDF_COLOR c;
        for (int32_t i = 0; i < 16; ++i) c.m_comps[i] = level + static_cast<uint32_t>(i) * 37u;
        _KXRGBA rgba;
        uint8_t gray;
        PDF_COLOR cmyk;
        cs.get_rgb(c, rgba);
        cs.get_gray(c, gray);
        cs.get_cmyk(c, cmyk);
        cs.get_default_color(c);
        cs.get_rgb(c, rgba);
    }
    // Four samples of the widest kind and a partial fifth, with room for the
    // bytes a partial last sample reads past the length.
    uint8_t src[16 * 4 * 6];
    for (size_t i = 0; i < sizeof src; ++i) src[i] = static_cast<uint8_t>(i * 29u);
    _KXRGBA px[6];
    uint8_t gray[12];
    cs.batch_rgb(px, src, n * 4 + 1);
    cs.batch_gray(gray, src, n * 4 + 1);
    cs.batch_rgb2(px, src, n * 8 + 1);
    cs.batch_rgb4(px, src, n * 16 + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    const char* end = text + size;
    CPDFXRefTable xref;
    ScopedObj obj;
    if (!fuzzinput::read(text, end, xref, obj.obj)) return 0;
    CPDFCSBase* cs = CPDFCSBase::parser_cs(&obj.obj, &xref);
    if (cs) {
        convert(*cs);
        delete cs;
    }
    return 0;
}
