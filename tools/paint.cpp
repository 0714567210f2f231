#include "paint.h"

#include <cstring>
#include <memory>
#include <type_traits>

#include "engine/png_writer.h"
#include "object/obj_access_p.h"
#include "pattern/pat_shading.h"
#include "pattern/pattern.h"
#include "shading/bitmap.h"
#include "shading/shading.h"

namespace shadepaint::cli {

namespace {

struct ShadingDeleter {
    void operator()(CPDFShading* s) const { delete s; }
};
struct PatternDeleter {
    void operator()(CPDFPattern* p) const { delete p; }
};

void fill_mask(CKXBmp8& mask) {
    for (int32_t j = 0; j < mask.m_height; ++j) {
        std::memset(mask.m_data + static_cast<int64_t>(j) * mask.m_stride, 255,
                    static_cast<size_t>(mask.m_width));
    }
}

// Pixels whose alpha (the last byte of each pixel) is above 0.
int64_t count_painted(const CKXBmp& bmp, int pixel_bytes) {
    int64_t n = 0;
    for (int32_t j = 0; j < bmp.m_height; ++j) {
        const uint8_t* p = bmp.m_data + static_cast<int64_t>(j) * bmp.m_stride;
        for (int32_t i = 0; i < bmp.m_width; ++i, p += pixel_bytes) n += p[pixel_bytes - 1] != 0;
    }
    return n;
}

template <class Bitmap>
PaintResult render_and_write(const CPDFShading& shading, const PaintRequest& rq, int pixel_bytes) {
    PaintResult result;
    CKXBmp8 mask(rq.width, rq.height);
    Bitmap dst(rq.width, rq.height);
    if (!mask.m_data || !dst.m_data) {
        result.error = "out of memory for a " + std::to_string(rq.width) + "x" +
                       std::to_string(rq.height) + " picture";
        return result;
    }
    fill_mask(mask);
    const _KXPOINT origin = {0, 0};
    int32_t status;
    if constexpr (std::is_same_v<Bitmap, CKXBmpGray>) {
        status = shading.render_to_bmpg(rq.matrix, origin, mask, dst);
    } else {
        status = shading.render_to_bmp(rq.matrix, origin, mask, dst);
    }
    if (status == 0) {
        result.error = "the shading refused to render";
        return result;
    }
    result.painted = count_painted(dst, pixel_bytes);
    if (!write_png(rq.path.c_str(), dst)) {
        result.error = "can't write " + rq.path;
        return result;
    }
    result.ok = true;
    return result;
}

// A shading pattern paints its shading as a page would: through the
// pattern's matrix followed by the device matrix.
PaintResult paint_pattern(CPDFXRefTable& xref, const PaintRequest& rq) {
    PaintResult result;
    std::unique_ptr<CPDFPattern, PatternDeleter> pattern(
        CPDFPattern::parser_pattern(&xref, rq.shading));
    auto* sp = pattern && pattern->m_type == 2 ? static_cast<CPDFPatShading*>(pattern.get())
                                               : nullptr;
    if (sp) sp->load();
    if (!sp || !sp->m_shading) {
        result.error = "not a shading (a dictionary or stream with ShadingType 1 to 7)";
        return result;
    }
    PaintRequest through = rq;
    through.matrix = sp->m_matrix;
    through.matrix.do_multiply(rq.matrix);
    return rq.gray ? render_and_write<CKXBmpGray>(*sp->m_shading, through, 2)
                   : render_and_write<CKXBmp32>(*sp->m_shading, through, 4);
}

}  // namespace

PaintResult paint_to_png(CPDFXRefTable& xref, const PaintRequest& rq) {
    PaintResult result;
    if (rq.width < 1 || rq.height < 1 || rq.width > kMaxSide || rq.height > kMaxSide ||
        int64_t{rq.width} * rq.height > kMaxPixels) {
        result.error = "picture size out of range";
        return result;
    }
    std::unique_ptr<CPDFShading, ShadingDeleter> shading(
        CPDFShading::parser_shading(&xref, rq.shading));
    if (!shading) return paint_pattern(xref, rq);
    shading->load();
    return rq.gray ? render_and_write<CKXBmpGray>(*shading, rq, 2)
                   : render_and_write<CKXBmp32>(*shading, rq, 4);
}

bool parse_number(const char* text, KXFIX& out) {
    ScopedObj o;
    if (!CPDFXRefTable::parse_object(text, std::strlen(text), o.obj)) return false;
    if (!detail::is_direct_number(&o.obj)) return false;
    out = detail::direct_fix(&o.obj);
    return true;
}

bool parse_matrix(const char* text, _KXMATRIX& out) {
    ScopedObj o;
    if (!CPDFXRefTable::parse_object(text, std::strlen(text), o.obj)) return false;
    const CPDFArray* a = detail::local_array(o.obj);
    if (!a || a->m_count != 6) return false;
    KXFIX v[6];
    for (int32_t i = 0; i < 6; ++i) {
        const CPDFObj* item = detail::array_at(a, i);
        if (!item || !detail::is_direct_number(item)) return false;
        v[i] = detail::direct_fix(item);
    }
    out = {v[0], v[1], v[2], v[3], v[4], v[5]};
    return true;
}

}  // namespace shadepaint::cli
