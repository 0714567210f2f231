// Reading helpers shared by the function kinds. Every value comes from the
// document and is hostile: arrays are bounded before they are read, and stream
// bodies are read in growing pieces up to a cap, never to a size the document
// states.
#include <algorithm>

#include "engine/func_common_p.h"
#include "engine/kxalloc.h"
#include "engine/pdf_stream.h"
#include "object/obj_access_p.h"

namespace shadepaint::detail {

int32_t read_fix_array(CPDFXRefTable* xref, const CPDFObj& holder, const char* key, KXFIX* out,
                       int32_t max) {
    const CPDFObj* v = dict_find(holder, key);
    if (!v) return -1;
    // Only a reference needs the local copy; a direct array is read in place.
    ScopedObj local;
    if (v->m_tag == kObjRef) {
        deref(xref, v, local.obj);
        v = &local.obj;
    }
    if (v->m_tag == kObjNone) return -1;
    const CPDFArray* a = local_array(*v);
    if (!a) return -2;
    const int32_t n = a->m_count;
    if (n < 0 || n > max) return -2;
    for (int32_t i = 0; i < n; ++i) out[i] = obj_to_fix(xref, array_at(a, i));
    return n;
}

int32_t read_pairs(CPDFXRefTable* xref, const CPDFObj& holder, const char* key, KXFIX* out,
                   int32_t max_pairs) {
    const int32_t n = read_fix_array(xref, holder, key, out, 2 * max_pairs);
    if (n == -1) return 0;
    // An empty array is refused rather than taken for an absent key: it is
    // also what a copy that ran out of memory leaves behind.
    if (n < 2 || (n & 1) != 0) return -1;
    for (int32_t i = 0; i < n; i += 2)
        if (out[i] > out[i + 1]) return -1;
    return n / 2;
}

unsigned char* read_stream_body(CPDFXRefTable* xref, const CPDFStreamRec* rec, size_t max_bytes,
                                size_t* len, bool* truncated) {
    constexpr size_t kFirstChunk = 4096;
    *len = 0;
    *truncated = false;
    if (!xref || !rec) return nullptr;
    CPDFStream* stream = xref->make_stream(rec);
    if (!stream) return nullptr;

    size_t cap = std::min(max_bytes, kFirstChunk);
    auto* buf = static_cast<unsigned char*>(KXAlloc(cap));
    size_t used = 0;
    while (buf) {
        if (used == cap) {
            if (cap == max_bytes) {
                unsigned char probe = 0;
                *truncated = stream->read(&probe, 1) != 0;
                break;
            }
            const size_t next = cap > max_bytes / 2 ? max_bytes : cap * 2;
            auto* grown = static_cast<unsigned char*>(KXRealloc(buf, next));
            if (!grown) {
                KXFree(buf);
                buf = nullptr;
                break;
            }
            buf = grown;
            cap = next;
        }
        const uint32_t want = static_cast<uint32_t>(std::min<size_t>(cap - used, UINT32_MAX));
        const uint32_t got = stream->read(buf + used, want);
        if (got == 0) break;
        used += std::min(got, want);  // a reader that claims more is not believed
    }
    delete stream;
    if (buf) *len = used;
    return buf;
}

}  // namespace shadepaint::detail
