#pragma once

#include <cstddef>
#include <cstdint>

#include "object/pdf_obj.h"

namespace shadepaint {

// One block: the value, then the key's text right behind it, so that a lookup
// needs no further pointer.
struct PDF_DICT_ENTRY {
    CPDFObj m_value;
    char m_key[1];  // zero-terminated; the block is sized for the whole key

    // A new entry holding key and an empty value, or null.
    static PDF_DICT_ENTRY* create(const char* key, size_t key_len);
    static void destroy(PDF_DICT_ENTRY* e);
};

// Entries sorted by strcmp of their keys, no two equal. A dictionary that is
// not sorted misses keys silently: every lookup is a binary search.
class CPDFDictionary {
public:
    PDF_DICT_ENTRY** m_items = nullptr;
    int32_t m_count = 0;
    int64_t m_index_first = -1;
    int64_t m_index_last = -1;

    static const char* const sm_tag_cs;
    static const char* const sm_tag_mat;
    static const char* const sm_tag_bbok;
    static const char* const sm_tag_res;
    static const char* const sm_tag_extgs;
    static const char* const sm_tag_bpc;
    static const char* const sm_tag_decode;

    CPDFDictionary() = default;
    CPDFDictionary(const CPDFDictionary&) = delete;
    CPDFDictionary& operator=(const CPDFDictionary&) = delete;
    ~CPDFDictionary() { clear(); }

    // Frees every entry and the table; harmless when already empty.
    void clear();
    // Replaces the contents by deep copies, keeping the order.
    void copy_from(const CPDFDictionary* src);

    // Binary search, sought key as first strcmp argument. Null when absent.
    const CPDFObj* find(const char* key) const;

    // Inserts or replaces key in sorted position, taking over value's payload
    // (value is left empty). A duplicate key keeps the last value given.
    bool set(const char* key, size_t key_len, CPDFObj& value);
    // Appends at the end whatever the order: for building deliberately unsorted
    // dictionaries in tests.
    bool append_unsorted(const char* key, CPDFObj& value);
};

// A stream: its dictionary first, then four words that the document table
// interprets. The low 32 bits of m_data2 are the body length in bytes.
class CPDFStreamRec : public CPDFDictionary {
public:
    uint64_t m_data0 = 0;
    uint64_t m_data1 = 0;
    uint64_t m_data2 = 0;
    uint64_t m_data3 = 0;
};

}  // namespace shadepaint
