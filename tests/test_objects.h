// Parsed values for tests: objects written as PDF object text, a document
// table filled from text, the few hand-made values that text can't express
// (unsorted dictionaries, null payload pointers), and a deep comparison.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "object/pdf_obj.h"

namespace shadepaint::test {

// A value that frees itself, so that a failing assertion leaks nothing.
class TestObj {
public:
    TestObj() { m_obj.init_empty(); }
    // Parses one object; a syntax error fails the running test and leaves the
    // value empty.
    explicit TestObj(const char* text) : TestObj() {
        if (!CPDFXRefTable::parse_object(text, std::strlen(text), m_obj))
            ADD_FAILURE() << "can't parse: " << text;
    }
    // Takes over a hand-built value, leaving the source empty.
    static TestObj adopt(CPDFObj& o) {
        TestObj t;
        t.m_obj = o;
        o.init_empty();
        return t;
    }
    TestObj(TestObj&& o) noexcept : m_obj(o.m_obj) { o.m_obj.init_empty(); }
    TestObj& operator=(TestObj&& o) noexcept {
        if (this != &o) {
            m_obj.free();
            m_obj = o.m_obj;
            o.m_obj.init_empty();
        }
        return *this;
    }
    TestObj(const TestObj&) = delete;
    TestObj& operator=(const TestObj&) = delete;
    ~TestObj() { m_obj.free(); }

    CPDFObj* get() { return &m_obj; }
    const CPDFObj* get() const { return &m_obj; }
    CPDFObj& operator*() { return m_obj; }
    CPDFObj* operator->() { return &m_obj; }
    const CPDFObj* operator->() const { return &m_obj; }

    // The value under key when this is a dictionary or a stream, else null.
    const CPDFObj* find(const char* key) const {
        const CPDFDictionary* d = m_obj.dict();
        return d ? d->find(key) : nullptr;
    }

private:
    CPDFObj m_obj;
};

// Adds indirect object num (generation 0) from its text.
inline void add_object(CPDFXRefTable& table, int32_t num, const char* text) {
    if (!table.set_object(num, text, std::strlen(text)))
        ADD_FAILURE() << "can't parse object " << num << ": " << text;
}

inline CPDFObj make_ref(uint32_t num, uint32_t gen = 0) {
    CPDFObj o;
    o.init_empty();
    o.m_tag = kObjRef;
    o.m_ref = PDF_REF{num, gen};
    return o;
}

// A container tag (6, 7 or 9) whose payload pointer is null.
inline CPDFObj make_null_payload(uint32_t tag) {
    CPDFObj o;
    o.init_empty();
    o.m_tag = tag;
    return o;
}

// A dictionary whose entries stand in the order given, sorted or not; values
// are PDF object text.
inline TestObj make_unsorted_dict(std::initializer_list<std::pair<const char*, const char*>> kv) {
    auto* d = new CPDFDictionary();
    for (const auto& e : kv) {
        TestObj value(e.second);
        if (!d->append_unsorted(e.first, *value)) ADD_FAILURE() << "can't append " << e.first;
    }
    CPDFObj o;
    o.init_empty();
    o.m_tag = kObjDict;
    o.m_dict = d;
    return TestObj::adopt(o);
}

// Deep equality of two values: same tags, same payloads, containers equal
// element by element and entry by entry, in order.
inline bool same_value(const CPDFObj& x, const CPDFObj& y);

inline bool same_dict(const CPDFDictionary* x, const CPDFDictionary* y) {
    if (!x || !y) return x == y;
    if (x->m_count != y->m_count) return false;
    for (int32_t i = 0; i < x->m_count; ++i) {
        if (std::strcmp(x->m_items[i]->m_key, y->m_items[i]->m_key) != 0) return false;
        if (!same_value(x->m_items[i]->m_value, y->m_items[i]->m_value)) return false;
    }
    return true;
}

inline bool same_value(const CPDFObj& x, const CPDFObj& y) {
    if (x.m_tag != y.m_tag) return false;
    switch (x.m_tag) {
        case kObjString:
            if (x.m_length != y.m_length || !x.m_bytes != !y.m_bytes) return false;
            return !x.m_bytes ||
                   std::memcmp(x.m_bytes, y.m_bytes, static_cast<size_t>(x.m_length) + 1) == 0;
        case kObjName:
            if (!x.m_name || !y.m_name) return x.m_name == y.m_name;
            return std::strcmp(x.m_name, y.m_name) == 0;
        case kObjArray:
            if (!x.m_array || !y.m_array) return x.m_array == y.m_array;
            if (x.m_array->m_count != y.m_array->m_count) return false;
            for (int32_t i = 0; i < x.m_array->m_count; ++i)
                if (!same_value(x.m_array->m_items[i], y.m_array->m_items[i])) return false;
            return true;
        case kObjDict:
            return same_dict(x.m_dict, y.m_dict);
        case kObjStream:
            if (!same_dict(x.m_stream, y.m_stream)) return false;
            return !x.m_stream || (x.m_stream->m_data0 == y.m_stream->m_data0 &&
                                   x.m_stream->m_data1 == y.m_stream->m_data1 &&
                                   x.m_stream->m_data2 == y.m_stream->m_data2 &&
                                   x.m_stream->m_data3 == y.m_stream->m_data3);
        case kObjBool:
        case kObjInt:
            return x.m_int == y.m_int;
        default:
            return x.m_word0 == y.m_word0;
    }
}

// Switches allocation failure off again when a test ends, however it ends.
class AllocFailGuard {
public:
    explicit AllocFailGuard(int32_t n) { kx_alloc_fail_after(n); }
    ~AllocFailGuard() { kx_alloc_fail_after(-1); }
    AllocFailGuard(const AllocFailGuard&) = delete;
    AllocFailGuard& operator=(const AllocFailGuard&) = delete;
};

}  // namespace shadepaint::test
