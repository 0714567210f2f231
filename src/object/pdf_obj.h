// A parsed PDF value: a tag and a payload that the value owns exclusively.
// Tags: 0 none, 1 boolean, 2 integer, 3 real, 4 string, 5 name, 6 array,
// 7 dictionary, 8 indirect reference, 9 stream. The type is trivial on
// purpose, so that arrays of it can live in KXAlloc memory: make one empty with
// init_empty() (or zero its storage) before use, and free() it on every path.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {

class CPDFArray;
class CPDFDictionary;
class CPDFStreamRec;

// An indirect reference; only the table looks inside it.
struct PDF_REF {
    uint32_t m_num;
    uint32_t m_gen;
};

enum : uint32_t {
    kObjNone = 0,
    kObjBool = 1,
    kObjInt = 2,
    kObjReal = 3,
    kObjString = 4,
    kObjName = 5,
    kObjArray = 6,
    kObjDict = 7,
    kObjRef = 8,
    kObjStream = 9,
};

class CPDFObj {
public:
    uint32_t m_tag;
    union {
        int32_t m_int;     // tags 1 and 2
        int32_t m_length;  // tag 4, in the low half of the first word
        KXFIX m_fix;       // tag 3
        char* m_name;      // tag 5
        CPDFArray* m_array;
        CPDFDictionary* m_dict;
        PDF_REF m_ref;
        CPDFStreamRec* m_stream;
        uint64_t m_word0;
    };
    union {
        unsigned char* m_bytes;  // tag 4: m_length bytes and a closing zero
        uint64_t m_word1;
    };

    void init_empty() {
        m_tag = kObjNone;
        m_word0 = 0;
        m_word1 = 0;
    }
    // Releases what the payload owns; leaves tag 0 and a zero first word.
    void free();
    // Deep, independent copy of src (empty for a null src).
    void copy_from(const CPDFObj* src);

    // The dictionary of a tag 7 or tag 9 value (a stream record begins with one),
    // or null.
    const CPDFDictionary* dict() const;
};

// A local value that frees itself: the payload is released on every path.
class ScopedObj {
public:
    ScopedObj() { obj.init_empty(); }
    ~ScopedObj() { obj.free(); }
    ScopedObj(const ScopedObj&) = delete;
    ScopedObj& operator=(const ScopedObj&) = delete;

    CPDFObj obj;
};

}  // namespace shadepaint
