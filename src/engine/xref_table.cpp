// Placeholder until the object parser lands.
#include "engine/xref_table.h"

#include "engine/pdf_stream.h"

namespace shadepaint {

CPDFXRefTable::~CPDFXRefTable() {
    for (auto& kv : m_objects) kv.second.free();
}

bool CPDFXRefTable::set_object(int32_t, const char*, size_t) { return false; }
bool CPDFXRefTable::parse_object(const char*, size_t, CPDFObj& out) {
    out.free();
    return false;
}

int32_t CPDFXRefTable::get_entity(CPDFObj& out, const PDF_REF& ref) {
    out.free();
    auto it = m_objects.find(ref.m_num);
    if (it == m_objects.end()) return 0;
    out.copy_from(&it->second);
    return 1;
}

CPDFStream* CPDFXRefTable::make_stream(const CPDFStreamRec*) { return nullptr; }

}  // namespace shadepaint
