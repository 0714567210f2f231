#pragma once

#include <cstdint>

#include "object/pdf_obj.h"

namespace shadepaint {

// Elements by value: element i is m_items[i]. A new array is all zero.
class CPDFArray {
public:
    CPDFObj* m_items = nullptr;
    int32_t m_count = 0;

    CPDFArray() = default;
    CPDFArray(const CPDFArray&) = delete;
    CPDFArray& operator=(const CPDFArray&) = delete;
    ~CPDFArray() { clear(); }

    // Frees every element and the table.
    void clear();
    // Replaces the contents by deep copies of src's elements, in order. On a
    // failed allocation the array stays empty.
    void copy_from(const CPDFArray* src);
    // Appends a value, taking over its payload (src is left empty). False when
    // the table can't grow; src is then freed.
    bool append(CPDFObj& src);
};

}  // namespace shadepaint
