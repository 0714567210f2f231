// The object text the targets read: the part before the first "endobj" is
// the value under test, and each later "endobj"-separated part becomes
// indirect object 1, 2, ... (at most kMaxObjects), so that references, shared
// objects and loops can be reached.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "engine/xref_table.h"
#include "object/pdf_obj.h"

namespace fuzzinput {

using namespace shadepaint;

constexpr int32_t kMaxObjects = 16;
constexpr char kSeparator[] = "endobj";
constexpr size_t kSeparatorLen = sizeof kSeparator - 1;

// The first occurrence of word in [p, end), or end.
inline const char* find(const char* p, const char* end, const char* word = kSeparator) {
    const size_t n = std::strlen(word);
    for (; static_cast<size_t>(end - p) >= n; ++p)
        if (std::memcmp(p, word, n) == 0) return p;
    return end;
}

// The parts behind each separator from `at` (a separator, or end) on.
inline void add_objects(CPDFXRefTable& xref, const char* at, const char* end) {
    for (int32_t num = 1; at < end && num <= kMaxObjects; ++num) {
        at += kSeparatorLen;
        const char* next = find(at, end);
        xref.set_object(num, at, static_cast<size_t>(next - at));
        at = next;
    }
}

// Fills xref with the later parts and parses the first into obj; false if it
// doesn't parse. A parsed stream's body stays in the input.
inline bool read(const char* text, const char* end, CPDFXRefTable& xref, CPDFObj& obj) {
    const char* cut = find(text, end);
    add_objects(xref, cut, end);
    return CPDFXRefTable::parse_object(text, static_cast<size_t>(cut - text), obj);
}

}  // namespace fuzzinput
