// Free-form Gouraud mesh (ShadingType 4).
//
// load() decodes the whole stream into a flat store of self-contained
// triangles. Each record is a flag in BitsPerFlag bits, of which the two low
// bits count, followed by vertices, each padded to a byte boundary:
//   0  three vertices, the flags in front of the second and third skipped
//      unseen: a new triangle;
//   1  one vertex: (previous v1, previous v2, new), a strip;
//   2  one vertex: (previous v0, previous v2, new), a fan;
//   3  nothing at all, not even padding, yet the slot is counted.
// A flag of 1 or 2 in the very first record has no previous triangle and is
// taken as 3. The store grows by eight slots at a time, and new slots are
// cleared, so an unwritten slot is a triangle at (0, 0) that paints nothing.
//
// The loop ends by the cursor alone: a cut-off record is finished with the
// reader's all-ones fields and counted. A record that moves no bit while data
// is left would repeat forever; it ends load as running out of memory would,
// with no triangles, and so does a store that would pass kMeshMaxTriangles.
//
// Rendering is mesh_render_p.h: store order is painting order, and the mask
// is applied once at the end (the gray entry point multiplies the mask into
// itself instead of touching the picture, the required asymmetry).
#include "mesh/shading_free_form.h"

#include <cstddef>
#include <cstring>

#include "engine/kxalloc.h"
#include "mesh/mesh_load_p.h"
#include "mesh/mesh_reader.h"
#include "mesh/mesh_render_p.h"
#include "object/obj_access_p.h"
#include "object/pdf_dictionary.h"
#include "shading/bitmap.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {
constexpr int32_t kStoreStep = 8;

// Grows the store by kStoreStep cleared slots; false when it can't.
bool grow_store(CPDFShadingFreeForm& s) {
    if (s.m_triangle_cap > detail::kMeshMaxTriangles - kStoreStep) return false;
    const int32_t cap = s.m_triangle_cap + kStoreStep;
    auto* store = static_cast<PDF_MESH_TRIANGLE*>(
        KXRealloc(s.m_triangles, static_cast<size_t>(cap) * sizeof(PDF_MESH_TRIANGLE)));
    if (!store) return false;
    std::memset(static_cast<void*>(store + s.m_triangle_cap), 0,
                kStoreStep * sizeof(PDF_MESH_TRIANGLE));
    s.m_triangles = store;
    s.m_triangle_cap = cap;
    return true;
}

struct vertex_reader {
    CPDFShadingDataReader& reader;
    PDF_BIT_CURSOR& cur;
    const CPDFCSBase& cs;
    uint32_t bits_flag;

    void read(PDF_MESH_VERTEX& v) const {
        reader.read_pt(v.m_pt);
        reader.read_clr(v.m_clr);
        cs.get_rgb(v.m_clr, v.m_rgba);
        cur.align();
    }
    // Passes over a flag without looking at it, as read_bits would from a
    // byte boundary (where every vertex leaves the cursor); a flag that does
    // not fit is not skipped.
    void skip_flag() const {
        if (bits_flag > cur.m_left * 8u) return;
        const uint32_t total = cur.m_bit + bits_flag;
        cur.m_cur += total >> 3;
        cur.m_left -= total >> 3;
        cur.m_bit = total & 7;
    }
};

// Decodes the records into the store; false when the store can't grow (or
// the records would never end), the store then being the caller's to drop.
bool read_records(CPDFShadingFreeForm& s, const vertex_reader& in) {
    PDF_BIT_CURSOR& cur = in.cur;
    for (;;) {
        const unsigned char* const at = cur.m_cur;
        const uint32_t at_bit = cur.m_bit;
        const uint32_t flag = cur.read_bits(in.bits_flag);
        if (s.m_triangle_count >= s.m_triangle_cap && !grow_store(s)) return false;
        PDF_MESH_TRIANGLE& t = s.m_triangles[s.m_triangle_count];
        const PDF_MESH_TRIANGLE* prev =
            s.m_triangle_count > 0 ? &s.m_triangles[s.m_triangle_count - 1] : nullptr;
        switch (flag & 3) {
            case 0:
                in.read(t.m_v[0]);
                in.skip_flag();
                in.read(t.m_v[1]);
                in.skip_flag();
                in.read(t.m_v[2]);
                break;
            case 1:
                if (!prev) break;
                t.m_v[0] = prev->m_v[1];
                t.m_v[1] = prev->m_v[2];
                in.read(t.m_v[2]);
                break;
            case 2:
                if (!prev) break;
                t.m_v[0] = prev->m_v[0];
                t.m_v[1] = prev->m_v[2];
                in.read(t.m_v[2]);
                break;
            default:
                break;
        }
        ++s.m_triangle_count;
        if (cur.m_left == 0) return true;
        // Nothing but the cursor changes from record to record, so a record
        // that moved nothing is followed by the same one forever.
        if (cur.m_cur == at && cur.m_bit == at_bit) return false;
    }
}
}  // namespace

CPDFShadingFreeForm::CPDFShadingFreeForm(CPDFXRefTable* xref) : CPDFShading(4, xref) {}

CPDFShadingFreeForm::~CPDFShadingFreeForm() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_triangles);
    m_triangles = nullptr;
    m_triangle_count = 0;
    m_triangle_cap = 0;
}

void CPDFShadingFreeForm::load() {
    // A free-form shading that is no stream is not loaded at all, not even its
    // base part.
    if (m_loaded || m_obj.m_tag != kObjStream) return;
    m_loaded = 1;
    CPDFShading::load();
    const CPDFDictionary* dict = m_obj.dict();
    const bool funcs_ok = detail::read_mesh_functions(m_xref, dict, m_funcs, m_func_count);
    m_bits_coord = detail::obj_to_int(m_xref, dict->find("BitsPerCoordinate"));
    m_bits_comp = detail::obj_to_int(m_xref, dict->find(CPDFDictionary::sm_tag_bpc));
    m_bits_flag = detail::obj_to_int(m_xref, dict->find("BitsPerFlag"));
    // Widths the reader is not defined for, a colour space it can't fill and
    // a missing or short Decode load nothing.
    if (!funcs_ok || !detail::mesh_bits_ok(m_bits_coord) || !detail::mesh_bits_ok(m_bits_comp) ||
        !detail::mesh_bits_ok(m_bits_flag) || !detail::mesh_cs_ok(m_cs))
        return;
    if (!detail::read_mesh_decode(m_xref, dict, m_cs->m_comp_count, m_decode_x0, m_decode_x1,
                                  m_decode_y0, m_decode_y1, m_decode_min, m_decode_max))
        return;

    int32_t size = 0;
    unsigned char* data = detail::load_mesh_data(m_xref, m_obj, size);
    if (!data) return;
    if (size > 0) {
        PDF_BIT_CURSOR cur{data, static_cast<uint32_t>(size), 0};
        CPDFShadingDataReader reader;
        reader.setup(&cur, m_bits_coord, m_bits_comp, m_decode_x0, m_decode_x1, m_decode_y0,
                     m_decode_y1, m_funcs, m_func_count, m_cs, m_decode_min, m_decode_max);
        if (!read_records(*this,
                          vertex_reader{reader, cur, *m_cs, static_cast<uint32_t>(m_bits_flag)})) {
            // A mesh that ran out of memory paints nothing rather than a part.
            KXFree(m_triangles);
            m_triangles = nullptr;
            m_triangle_count = 0;
            m_triangle_cap = 0;
        }
    }
    KXFree(data);
}

int32_t CPDFShadingFreeForm::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                           const CKXBmp8& mask, CKXBmp32& dst) const {
    if (m_triangle_count == 0) return 0;
    detail::paint_triangles<detail::paint_rgb>(m_triangles, m_triangle_count, matrix, origin, dst);
    dst.apply_mask(mask, 0, 0);
    return 1;
}

int32_t CPDFShadingFreeForm::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                            CKXBmp8& mask, CKXBmpGray& dst) const {
    if (m_triangle_count == 0) return 0;
    detail::paint_triangles<detail::paint_gray>(m_triangles, m_triangle_count, matrix, origin, dst);
    mask.apply_mask(mask, 0, 0);
    return 1;
}

}  // namespace shadepaint
