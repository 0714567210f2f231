// The document table: indirect objects by number, each parsed once from its
// text. Objects never point into the caller's text: a stream body is copied
// into a block of the table and the record repointed there, and such blocks
// live until the table dies, because copies of a record (get_entity hands out
// deep copies, which share the body) may outlive the object they came from.
#include "engine/xref_table.h"

#include <cstring>
#include <new>

#include "engine/filter_chain.h"
#include "engine/kxalloc.h"
#include "engine/memory_stream.h"
#include "engine/pdf_parser_p.h"
#include "object/pdf_dictionary.h"

namespace shadepaint {

CPDFXRefTable::~CPDFXRefTable() {
    for (auto& kv : m_objects) kv.second.free();
    for (unsigned char* body : m_texts) KXFree(body);
}

bool CPDFXRefTable::set_object(int32_t num, const char* text, size_t len) {
    if (num < 0) return false;
    CPDFObj obj;
    obj.init_empty();
    if (!detail::parse_pdf_object(text, len, obj)) return false;
    if (obj.m_tag == kObjStream) {
        CPDFStreamRec* rec = obj.m_stream;
        const auto body_len = static_cast<uint32_t>(rec->m_data2);
        auto* body = static_cast<unsigned char*>(KXAlloc(body_len));
        if (!body) {
            obj.free();
            return false;
        }
        if (body_len > 0)
            std::memcpy(body, reinterpret_cast<const unsigned char*>(rec->m_data0), body_len);
        m_texts.push_back(body);
        rec->m_data0 = reinterpret_cast<uintptr_t>(body);
    }
    auto it = m_objects.find(static_cast<uint32_t>(num));
    if (it == m_objects.end()) {
        m_objects.emplace(static_cast<uint32_t>(num), obj);
    } else {
        it->second.free();
        it->second = obj;
    }
    return true;
}

bool CPDFXRefTable::parse_object(const char* text, size_t len, CPDFObj& out) {
    return detail::parse_pdf_object(text, len, out);
}

int32_t CPDFXRefTable::get_entity(CPDFObj& out, const PDF_REF& ref) {
    out.free();
    if (ref.m_gen != 0) return 0;
    auto it = m_objects.find(ref.m_num);
    if (it == m_objects.end()) return 0;
    out.copy_from(&it->second);
    return 1;
}

CPDFStream* CPDFXRefTable::make_stream(const CPDFStreamRec* rec) {
    if (!rec || rec->m_data0 == 0) return nullptr;
    CPDFStream* raw = new (std::nothrow) CPDFMemoryStream(
        reinterpret_cast<const unsigned char*>(rec->m_data0), static_cast<uint32_t>(rec->m_data2));
    // A body with /Filter is read through its decoding stages.
    return CPDFFilterChain::open(this, rec, raw);
}

}  // namespace shadepaint
