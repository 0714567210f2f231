// The mesh loaders' common reading. The bit-exact rules for well-formed input
// stay with each loader; what is here decides the inputs those rules do not
// cover: each refusal leaves a shading without triangles or patches, which
// paints nothing.
#include "engine/kxalloc.h"
#include "engine/pdf_stream.h"
#include "engine/xref_table.h"
#include "mesh/mesh_load_p.h"
#include "object/obj_access_p.h"
#include "object/pdf_dictionary.h"
#include "shading/color_space.h"
#include "shading/function.h"
#include "shading/shading_p.h"

namespace shadepaint::detail {

bool mesh_cs_ok(const CPDFCSBase* cs) {
    return cs && cs->m_comp_count >= 1 && cs->m_comp_count <= kMeshMaxComps;
}

bool read_mesh_functions(CPDFXRefTable* xref, const CPDFDictionary* dict, CPDFFunction**& funcs,
                         int32_t& count) {
    const CPDFObj* entry = dict ? dict->find("Function") : nullptr;
    {
        // Unlike the other shadings, a mesh without a Function (or with a
        // reference to nothing) reads its colours directly.
        ScopedObj l;
        deref(xref, entry, l.obj);
        if (l.obj.m_tag == kObjNone) return true;
    }
    read_functions(xref, entry, funcs, count);
    if (!funcs || count < 1 || count > kMeshMaxComps) return false;
    for (int32_t i = 0; i < count; ++i)
        if (!funcs[i]) return false;
    return true;
}

bool read_mesh_decode(CPDFXRefTable* xref, const CPDFDictionary* dict, int32_t comps, KXFIX& x0,
                      KXFIX& x1, KXFIX& y0, KXFIX& y1, KXFIX* decode_min, KXFIX* decode_max) {
    ScopedObj l;
    deref(xref, dict ? dict->find(CPDFDictionary::sm_tag_decode) : nullptr, l.obj);
    const CPDFArray* a = local_array(l.obj);
    if (!a || a->m_count < 4) return false;
    x0 = obj_to_fix(xref, array_at(a, 0));
    x1 = obj_to_fix(xref, array_at(a, 1));
    y0 = obj_to_fix(xref, array_at(a, 2));
    y1 = obj_to_fix(xref, array_at(a, 3));
    int32_t pairs = (a->m_count - 4) / 2;
    if (pairs > comps) pairs = comps;
    if (pairs > kMeshDecodePairs) pairs = kMeshDecodePairs;
    for (int32_t i = 0; i < pairs; ++i) {
        decode_min[i] = obj_to_fix(xref, array_at(a, 4 + 2 * i));
        decode_max[i] = obj_to_fix(xref, array_at(a, 5 + 2 * i));
    }
    return true;
}

unsigned char* load_mesh_data(CPDFXRefTable* xref, const CPDFObj& obj, int32_t& size) {
    size = 0;
    if (!xref || obj.m_tag != kObjStream || !obj.m_stream) return nullptr;
    CPDFStream* stream = xref->make_stream(obj.m_stream);
    if (!stream) return nullptr;
    // The record's own length word is the hint, although only make_stream
    // otherwise interprets the data words.
    size = static_cast<int32_t>(static_cast<uint32_t>(obj.m_stream->m_data2));
    unsigned char* data = stream->buffer_load(kMeshDataLimit, size);
    delete stream;
    return data;
}

}  // namespace shadepaint::detail
