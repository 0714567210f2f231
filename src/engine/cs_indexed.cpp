// Indexed colour. The table is sized for every index up to hival at creation
// and zero-filled before the document's bytes are copied in, so a lookup
// string or stream that is too short reads as zeros and no index, however
// large its component, reaches outside the table: the index is a byte and is
// clamped to hival, and the table holds hival + 1 entries.
#include "engine/cs_indexed.h"

#include <cstring>
#include <new>

#include "engine/cs_family.h"
#include "engine/cs_parse_p.h"
#include "engine/kxalloc.h"
#include "engine/pdf_stream.h"
#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "shading/color_space_p.h"

namespace shadepaint {

CPDFCSIndexed::CPDFCSIndexed() {
    m_family = kCsFamilyIndexed;
    m_comp_count = 1;
}

CPDFCSIndexed::~CPDFCSIndexed() {
    delete m_base;
    KXFree(m_table);
}

CPDFCSIndexed* CPDFCSIndexed::create(CPDFCSBase* base, int32_t hival, const uint8_t* lookup,
                                     size_t len) {
    if (!base || base->m_family == kCsFamilyIndexed || base->m_comp_count < 1 ||
        base->m_comp_count > detail::kCsMaxComps) {
        delete base;
        return nullptr;
    }
    if (hival < 0) hival = 0;
    if (hival > kMaxHival) hival = kMaxHival;
    // At most 256 * 16 bytes: no overflow to guard against.
    const size_t size = static_cast<size_t>(hival + 1) * static_cast<size_t>(base->m_comp_count);
    auto* table = static_cast<uint8_t*>(KXAlloc(size));
    auto* cs = table ? new (std::nothrow) CPDFCSIndexed() : nullptr;
    if (!cs) {
        KXFree(table);
        delete base;
        return nullptr;
    }
    std::memset(table, 0, size);
    if (lookup && len > 0) std::memcpy(table, lookup, len < size ? len : size);
    cs->m_base = base;
    cs->m_hival = hival;
    cs->m_table = table;
    return cs;
}

namespace {
// Fills what the stream holds into the table, up to its size; the rest stays
// zero. A stream that can't be opened leaves the whole table zero.
void read_stream_table(CPDFXRefTable* xref, const CPDFStreamRec* rec, uint8_t* table, size_t size) {
    if (!xref || !rec) return;
    CPDFStream* s = xref->make_stream(rec);
    if (!s) return;
    size_t filled = 0;
    while (filled < size) {
        const uint32_t got = s->read(table + filled, static_cast<uint32_t>(size - filled));
        if (got == 0) break;
        filled += got < size - filled ? got : size - filled;
    }
    delete s;
}
}  // namespace

CPDFCSBase* CPDFCSIndexed::load(const CPDFArray* arr, CPDFXRefTable* xref, int32_t depth) {
    if (!arr || arr->m_count < 4) return nullptr;

    ScopedObj hival_holder;
    const CPDFObj* hival_obj = detail::resolve(detail::array_at(arr, 2), xref, hival_holder.obj);
    if (!hival_obj || !detail::is_direct_number(hival_obj)) return nullptr;
    const int32_t hival = detail::direct_int(hival_obj);

    ScopedObj lookup_holder;
    const CPDFObj* lookup = detail::resolve(detail::array_at(arr, 3), xref, lookup_holder.obj);
    if (!lookup || (lookup->m_tag != kObjString && lookup->m_tag != kObjStream)) return nullptr;

    CPDFCSBase* base = detail::parse_cs(detail::array_at(arr, 1), xref, depth + 1);
    if (lookup->m_tag == kObjString) {
        const size_t len =
            lookup->m_bytes && lookup->m_length > 0 ? static_cast<size_t>(lookup->m_length) : 0;
        return create(base, hival, lookup->m_bytes, len);
    }
    CPDFCSIndexed* cs = create(base, hival, nullptr, 0);
    if (cs) {
        const size_t size =
            static_cast<size_t>(cs->m_hival + 1) * static_cast<size_t>(cs->m_base->m_comp_count);
        read_stream_table(xref, lookup->m_stream, cs->m_table, size);
    }
    return cs;
}

void CPDFCSIndexed::base_color(const PDF_COLOR& c, PDF_COLOR& out) const {
    uint32_t index = c.m_comps[0] & 255u;
    if (index > static_cast<uint32_t>(m_hival)) index = static_cast<uint32_t>(m_hival);
    const int32_t n = m_base->m_comp_count;
    const uint8_t* entry = m_table + index * static_cast<uint32_t>(n);
    for (int32_t i = 0; i < n; ++i) out.m_comps[i] = entry[i];
}

void CPDFCSIndexed::get_rgb(const PDF_COLOR& c, _KXRGBA& rgba) const {
    PDF_COLOR b;
    base_color(c, b);
    m_base->get_rgb(b, rgba);
}

void CPDFCSIndexed::get_gray(const PDF_COLOR& c, uint8_t& gray) const {
    _KXRGBA rgba;
    get_rgb(c, rgba);
    gray = detail::gray_of(rgba.r, rgba.g, rgba.b);
}

void CPDFCSIndexed::get_cmyk(const PDF_COLOR& c, PDF_COLOR& out) const {
    PDF_COLOR b;
    base_color(c, b);
    m_base->get_cmyk(b, out);
}

void CPDFCSIndexed::batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 1);
}

void CPDFCSIndexed::batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const {
    detail::batch_gray_of(*this, dst, src, len);
}

void CPDFCSIndexed::batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 2);
}

void CPDFCSIndexed::batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 4);
}

}  // namespace shadepaint
