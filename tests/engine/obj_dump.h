// A compact text form of a parsed value, so that parser tests can state whole
// expected objects in one table column. Strings print as hex, reals as their
// raw KXFIX value, streams as their dictionary and body length.
#pragma once

#include <string>

#include "engine/xref_table.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "object/pdf_obj.h"

namespace shadepaint::testing {

inline std::string dump_obj(const CPDFObj& o);

inline std::string dump_entries(const CPDFDictionary& d) {
    std::string s = "<<";
    for (int32_t i = 0; i < d.m_count; ++i)
        s += (i ? " /" : "/") + std::string(d.m_items[i]->m_key) + " " +
             dump_obj(d.m_items[i]->m_value);
    return s + ">>";
}

inline std::string dump_obj(const CPDFObj& o) {
    std::string s;
    switch (o.m_tag) {
        case kObjNone:
            return "null";
        case kObjBool:
            return o.m_int ? "true" : "false";
        case kObjInt:
            return std::to_string(o.m_int);
        case kObjReal:
            return "r" + std::to_string(o.m_fix.m_raw);
        case kObjString:
            for (int32_t i = 0; i < o.m_length; ++i)
                s += {"0123456789abcdef"[o.m_bytes[i] >> 4], "0123456789abcdef"[o.m_bytes[i] & 15]};
            return "<" + s + ">";
        case kObjName:
            return std::string("/") + o.m_name;
        case kObjArray:
            for (int32_t i = 0; i < o.m_array->m_count; ++i)
                s += (i ? " " : "") + dump_obj(o.m_array->m_items[i]);
            return "[" + s + "]";
        case kObjDict:
            return dump_entries(*o.m_dict);
        case kObjRef:
            return std::to_string(o.m_ref.m_num) + " " + std::to_string(o.m_ref.m_gen) + " R";
        case kObjStream:
            return dump_entries(*o.m_stream) + "stream" +
                   std::to_string(static_cast<uint32_t>(o.m_stream->m_data2));
        default:
            return "?";
    }
}

// The dump of the parsed text, or "error" when parse_object refuses it (and
// then "error, out not empty" if it left something behind).
inline std::string parse_dump(const std::string& text) {
    ScopedObj out;
    if (!CPDFXRefTable::parse_object(text.data(), text.size(), out.obj))
        return out.obj.m_tag == kObjNone && out.obj.m_word0 == 0 ? "error" : "error, out not empty";
    return dump_obj(out.obj);
}

}  // namespace shadepaint::testing
