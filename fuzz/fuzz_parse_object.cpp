// Object syntax from arbitrary bytes: the static reader and the table must
// agree, and whatever parses must copy, resolve and stream without fault.
#include <cstdint>
#include <cstring>
#include <memory>

#include "engine/pdf_stream.h"
#include "engine/xref_table.h"
#include "object/pdf_dictionary.h"
#include "object/pdf_obj.h"

using namespace shadepaint;

namespace {

// Reads a stream to its end in odd-sized pieces; returns the byte count.
uint64_t drain(CPDFStream* s, const unsigned char* expect) {
    if (!s) return 0;
    unsigned char buf[37];
    uint64_t total = 0;
    for (;;) {
        const uint32_t n = s->read(buf, sizeof buf);
        if (n > sizeof buf) __builtin_trap();
        if (expect && n && std::memcmp(buf, expect + total, n) != 0) __builtin_trap();
        total += n;
        if (n < sizeof buf) break;
    }
    delete s;
    return total;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    CPDFXRefTable table;
    ScopedObj direct;
    const bool parsed = CPDFXRefTable::parse_object(text, size, direct.obj);
    const bool stored = table.set_object(7, text, size);
    if (parsed != stored) __builtin_trap();
    if (!parsed) {
        if (direct.obj.m_tag != kObjNone) __builtin_trap();
        return 0;
    }

    ScopedObj copy;
    copy.obj.copy_from(&direct.obj);
    ScopedObj resolved;
    if (table.get_entity(resolved.obj, PDF_REF{7, 0}) != 1) __builtin_trap();
    if (resolved.obj.m_tag != direct.obj.m_tag) __builtin_trap();

    if (direct.obj.m_tag == kObjStream) {
        const CPDFStreamRec* rec = direct.obj.m_stream;
        const auto* body = reinterpret_cast<const unsigned char*>(rec->m_data0);
        const uint64_t len = static_cast<uint32_t>(rec->m_data2);
        // A /Filter entry decodes the body: only an unfiltered one is the raw text.
        if (rec->find("Filter")) {
            drain(table.make_stream(rec), nullptr);
        } else {
            if (drain(table.make_stream(rec), body) != len) __builtin_trap();
            if (drain(table.make_stream(copy.obj.m_stream), body) != len) __builtin_trap();
            if (drain(table.make_stream(resolved.obj.m_stream), body) != len) __builtin_trap();
        }
    }
    // Replacing keeps earlier copies readable.
    table.set_object(7, "null", 4);
    if (resolved.obj.m_tag == kObjStream) drain(table.make_stream(resolved.obj.m_stream), nullptr);
    return 0;
}
