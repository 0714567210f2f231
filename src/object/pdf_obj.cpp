// Ownership of parsed values. Strings and names live in KXAlloc memory;
// arrays, dictionaries and stream records come from operator new. A copy is
// always deep: nothing is shared, nothing is reference counted.
#include "object/pdf_obj.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "engine/kxalloc.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"

namespace shadepaint {

namespace {
// Tables grow by doubling, and their capacity is never stored: a table of n
// entries has room for the next power of two at or above n. A copy allocates
// that much too, so that appending to a copied table stays inside it.
size_t implied_capacity(int32_t count) {
    size_t cap = 1;
    while (cap < static_cast<size_t>(count)) cap <<= 1;
    return cap;
}
}  // namespace

void CPDFObj::free() {
    switch (m_tag) {
        case kObjString:
            if (m_bytes) KXFree(m_bytes);
            m_bytes = nullptr;
            m_length = 0;
            break;
        case kObjName:
            KXFree(m_name);
            break;
        case kObjArray:
            if (m_array) {
                m_array->clear();
                delete m_array;
            }
            break;
        case kObjDict:
            if (m_dict) {
                m_dict->clear();
                delete m_dict;
            }
            break;
        case kObjStream:
            if (m_stream) {
                // Cleared twice: clear must be harmless on an empty dictionary.
                m_stream->clear();
                m_stream->clear();
                delete m_stream;
            }
            break;
        default:
            break;
    }
    m_word0 = 0;
    m_tag = kObjNone;
}

void CPDFObj::copy_from(const CPDFObj* src) {
    free();
    if (!src) return;
    switch (src->m_tag) {
        case kObjString: {
            m_word0 = 0;
            m_bytes = nullptr;
            if (!src->m_bytes || src->m_length < 0) break;
            auto* p = static_cast<unsigned char*>(KXAlloc(static_cast<size_t>(src->m_length) + 1));
            if (!p) break;  // the copy stays an empty string, still tag 4
            p[0] = 0;
            m_length = src->m_length;
            if (src->m_length >= 1)
                std::memcpy(p, src->m_bytes, static_cast<size_t>(src->m_length));
            p[src->m_length] = 0;
            m_bytes = p;
            break;
        }
        case kObjName: {
            const char* s = src->m_name ? src->m_name : "";
            size_t n = std::strlen(s);
            auto* p = static_cast<char*>(KXAlloc(n + 1));
            if (!p) return;  // unlike a string, a failed name copy stays tag 0
            std::memcpy(p, s, n + 1);
            m_name = p;
            break;
        }
        case kObjArray: {
            auto* a = new (std::nothrow) CPDFArray();
            if (!a) return;
            a->copy_from(src->m_array);
            m_array = a;
            break;
        }
        case kObjDict: {
            auto* d = new (std::nothrow) CPDFDictionary();
            if (!d) return;
            d->copy_from(src->m_dict);
            m_dict = d;
            break;
        }
        case kObjStream: {
            auto* s = new (std::nothrow) CPDFStreamRec();
            if (!s) return;
            if (src->m_stream) {
                s->copy_from(src->m_stream);
                s->m_data0 = src->m_stream->m_data0;
                s->m_data1 = src->m_stream->m_data1;
                s->m_data2 = src->m_stream->m_data2;
                s->m_data3 = src->m_stream->m_data3;
            }
            m_stream = s;
            break;
        }
        default:
            m_word0 = src->m_word0;
            break;
    }
    m_tag = src->m_tag;
}

const CPDFDictionary* CPDFObj::dict() const {
    if (m_tag == kObjDict) return m_dict;
    if (m_tag == kObjStream) return m_stream;
    return nullptr;
}

void CPDFArray::clear() {
    if (m_items) {
        for (int32_t i = 0; i < m_count; ++i) m_items[i].free();
        KXFree(m_items);
    }
    m_items = nullptr;
    m_count = 0;
}

void CPDFArray::copy_from(const CPDFArray* src) {
    clear();
    if (!src || src->m_count <= 0 || !src->m_items) return;
    auto* items = static_cast<CPDFObj*>(KXAlloc(sizeof(CPDFObj) * implied_capacity(src->m_count)));
    if (!items) return;
    for (int32_t i = 0; i < src->m_count; ++i) {
        items[i].init_empty();
        items[i].copy_from(&src->m_items[i]);
    }
    m_items = items;
    m_count = src->m_count;
}

bool CPDFArray::append(CPDFObj& src) {
    // Grows by doubling; capacity is implied by the count (powers of two).
    int32_t n = m_count;
    bool grow = n == 0 || (n & (n - 1)) == 0;
    if (grow) {
        if (n > (1 << 28)) {
            src.free();
            return false;
        }
        size_t cap = n == 0 ? 1 : static_cast<size_t>(n) * 2;
        auto* items = static_cast<CPDFObj*>(KXRealloc(m_items, sizeof(CPDFObj) * cap));
        if (!items) {
            src.free();
            return false;
        }
        m_items = items;
    }
    m_items[n] = src;
    src.init_empty();
    m_count = n + 1;
    return true;
}

const char* const CPDFDictionary::sm_tag_cs = "ColorSpace";
const char* const CPDFDictionary::sm_tag_mat = "Matrix";
const char* const CPDFDictionary::sm_tag_bbok = "BBox";
const char* const CPDFDictionary::sm_tag_res = "Resources";
const char* const CPDFDictionary::sm_tag_extgs = "ExtGState";
const char* const CPDFDictionary::sm_tag_bpc = "BitsPerComponent";
const char* const CPDFDictionary::sm_tag_decode = "Decode";

PDF_DICT_ENTRY* PDF_DICT_ENTRY::create(const char* key, size_t key_len) {
    if (key_len > SIZE_MAX - offsetof(PDF_DICT_ENTRY, m_key) - 1) return nullptr;
    auto* e = static_cast<PDF_DICT_ENTRY*>(KXAlloc(offsetof(PDF_DICT_ENTRY, m_key) + key_len + 1));
    if (!e) return nullptr;
    e->m_value.init_empty();
    char* k = reinterpret_cast<char*>(e) + offsetof(PDF_DICT_ENTRY, m_key);
    std::memcpy(k, key, key_len);
    k[key_len] = 0;
    return e;
}

void PDF_DICT_ENTRY::destroy(PDF_DICT_ENTRY* e) {
    if (!e) return;
    e->m_value.free();
    KXFree(e);
}

void CPDFDictionary::clear() {
    if (m_items) {
        for (int32_t i = 0; i < m_count; ++i) PDF_DICT_ENTRY::destroy(m_items[i]);
        KXFree(m_items);
    }
    m_items = nullptr;
    m_count = 0;
}

void CPDFDictionary::copy_from(const CPDFDictionary* src) {
    clear();
    if (!src || src->m_count <= 0 || !src->m_items) return;
    auto* items = static_cast<PDF_DICT_ENTRY**>(
        KXAlloc(sizeof(PDF_DICT_ENTRY*) * implied_capacity(src->m_count)));
    if (!items) return;
    int32_t n = 0;
    for (int32_t i = 0; i < src->m_count; ++i) {
        const PDF_DICT_ENTRY* s = src->m_items[i];
        PDF_DICT_ENTRY* e = PDF_DICT_ENTRY::create(s->m_key, std::strlen(s->m_key));
        if (!e) continue;  // a failed entry is left out; order stays
        e->m_value.copy_from(&s->m_value);
        items[n++] = e;
    }
    m_items = items;
    m_count = n;
}

const CPDFObj* CPDFDictionary::find(const char* key) const {
    if (m_count < 1) return nullptr;
    int32_t lo = 0, hi = m_count - 1;
    while (lo <= hi) {
        int32_t mid = (hi + lo) >> 1;
        int c = std::strcmp(key, m_items[mid]->m_key);
        if (c == 0) return &m_items[mid]->m_value;
        if (c > 0)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    return nullptr;
}

namespace {
bool grow_entries(CPDFDictionary& d) {
    int32_t n = d.m_count;
    if (n != 0 && (n & (n - 1)) != 0) return true;
    if (n > (1 << 26)) return false;
    size_t cap = n == 0 ? 1 : static_cast<size_t>(n) * 2;
    auto* items =
        static_cast<PDF_DICT_ENTRY**>(KXRealloc(d.m_items, sizeof(PDF_DICT_ENTRY*) * cap));
    if (!items) return false;
    d.m_items = items;
    return true;
}

// strcmp of a counted key against a zero-terminated one; a key with an
// embedded zero byte sorts by its text up to that byte, like strcmp would. The
// counted key need not be terminated, so nothing past len is read.
int compare_key(const char* key, size_t len, const char* other) {
    size_t n = std::strlen(other);
    const void* zero = std::memchr(key, 0, len);
    size_t klen = zero ? static_cast<size_t>(static_cast<const char*>(zero) - key) : len;
    int c = std::memcmp(key, other, klen < n ? klen : n);
    if (c != 0) return c;
    return klen < n ? -1 : (klen > n ? 1 : 0);
}
}  // namespace

bool CPDFDictionary::set(const char* key, size_t key_len, CPDFObj& value) {
    int32_t lo = 0, hi = m_count - 1;
    while (lo <= hi) {
        int32_t mid = (hi + lo) >> 1;
        int c = compare_key(key, key_len, m_items[mid]->m_key);
        if (c == 0) {
            m_items[mid]->m_value.free();
            m_items[mid]->m_value = value;
            value.init_empty();
            return true;
        }
        if (c > 0)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    PDF_DICT_ENTRY* e = grow_entries(*this) ? PDF_DICT_ENTRY::create(key, key_len) : nullptr;
    if (!e) {
        value.free();
        return false;
    }
    e->m_value = value;
    value.init_empty();
    std::memmove(m_items + lo + 1, m_items + lo,
                 sizeof(PDF_DICT_ENTRY*) * static_cast<size_t>(m_count - lo));
    m_items[lo] = e;
    ++m_count;
    return true;
}

bool CPDFDictionary::append_unsorted(const char* key, CPDFObj& value) {
    PDF_DICT_ENTRY* e =
        grow_entries(*this) ? PDF_DICT_ENTRY::create(key, std::strlen(key)) : nullptr;
    if (!e) {
        value.free();
        return false;
    }
    e->m_value = value;
    value.init_empty();
    m_items[m_count++] = e;
    return true;
}

}  // namespace shadepaint
