// Building the stages of a filtered body, first filter at the bottom. The
// parameters of filter i are element i of a DecodeParms array (null or a
// non-dictionary there means none); a single DecodeParms dictionary belongs
// to the first filter, as if it were an array of one, so a chain written with
// one dictionary behind a leading Flate still gets its predictor. A Flate or
// LZW stage with a Predictor above 1 gets a predictor stage right above it.
//
// Three outcomes per stage: built, not decodable (the whole chain then gives
// no data) or an allocation failure (make_stream gives null, as for any
// stream it could not open).
#include "engine/filter_chain.h"

#include <cstring>
#include <new>

#include "engine/filter_ascii85.h"
#include "engine/filter_ascii_hex.h"
#include "engine/filter_flate.h"
#include "engine/filter_lzw.h"
#include "engine/filter_predictor.h"
#include "engine/filter_run_length.h"
#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"

namespace shadepaint {

namespace {

enum class FilterKind { kFlate, kLZW, kASCIIHex, kASCII85, kRunLength, kUnknown };

struct FilterName {
    const char* full;
    const char* abbreviation;
    FilterKind kind;
};

constexpr FilterName kFilterNames[] = {
    {"FlateDecode", "Fl", FilterKind::kFlate},
    {"LZWDecode", "LZW", FilterKind::kLZW},
    {"ASCIIHexDecode", "AHx", FilterKind::kASCIIHex},
    {"ASCII85Decode", "A85", FilterKind::kASCII85},
    {"RunLengthDecode", "RL", FilterKind::kRunLength},
};

enum class Built { kOk, kNoData, kNoMemory };

// obj itself, or for a reference the value behind it, held in holder.
const CPDFObj* resolve(CPDFXRefTable* xref, const CPDFObj* obj, CPDFObj& holder) {
    if (!obj || obj->m_tag != kObjRef) return obj;
    detail::deref(xref, obj, holder);
    return &holder;
}

FilterKind filter_kind(const CPDFObj* name) {
    if (!name || name->m_tag != kObjName || !name->m_name) return FilterKind::kUnknown;
    for (const FilterName& f : kFilterNames)
        if (std::strcmp(name->m_name, f.full) == 0 ||
            std::strcmp(name->m_name, f.abbreviation) == 0)
            return f.kind;
    return FilterKind::kUnknown;
}

// An integer parameter; absent, null or non-numeric values give the default.
int32_t parm_int(CPDFXRefTable* xref, const CPDFObj* parms, const char* key, int32_t def) {
    const CPDFObj* v = parms ? detail::dict_find(*parms, key) : nullptr;
    ScopedObj holder;
    v = resolve(xref, v, holder.obj);
    return v && detail::is_direct_number(v) ? detail::direct_int(v) : def;
}

// Puts a stage over top, which it takes over. On kOk top is the new stage; on
// anything else top has been deleted and is null.
Built push(CPDFFilterStream* stage, CPDFStream*& top) {
    if (!stage) {
        delete top;
        top = nullptr;
        return Built::kNoMemory;
    }
    top = stage;
    if (stage->init()) return Built::kOk;
    delete top;
    top = nullptr;
    return Built::kNoMemory;
}

Built push_predictor(CPDFXRefTable* xref, const CPDFObj* parms, CPDFStream*& top) {
    const int32_t predictor = parm_int(xref, parms, "Predictor", 1);
    if (predictor <= 1) return Built::kOk;
    const bool known =
        predictor == CPDFFilterPredictor::kTiff ||
        (predictor >= CPDFFilterPredictor::kPngFirst && predictor <= CPDFFilterPredictor::kPngLast);
    const int32_t colors = parm_int(xref, parms, "Colors", 1);
    const int32_t bpc = parm_int(xref, parms, "BitsPerComponent", 8);
    const int32_t columns = parm_int(xref, parms, "Columns", 1);
    if (!known || CPDFFilterPredictor::row_bytes(colors, bpc, columns) == 0) {
        delete top;
        top = nullptr;
        return Built::kNoData;
    }
    return push(new (std::nothrow) CPDFFilterPredictor(top, predictor, colors, bpc, columns), top);
}

Built push_filter(CPDFXRefTable* xref, FilterKind kind, const CPDFObj* parms, CPDFStream*& top) {
    Built b = Built::kOk;
    switch (kind) {
        case FilterKind::kFlate:
            b = push(new (std::nothrow) CPDFFilterFlate(top), top);
            return b == Built::kOk ? push_predictor(xref, parms, top) : b;
        case FilterKind::kLZW:
            b = push(new (std::nothrow) CPDFFilterLZW(top, parm_int(xref, parms, "EarlyChange", 1)),
                     top);
            return b == Built::kOk ? push_predictor(xref, parms, top) : b;
        case FilterKind::kASCIIHex:
            return push(new (std::nothrow) CPDFFilterASCIIHex(top), top);
        case FilterKind::kASCII85:
            return push(new (std::nothrow) CPDFFilterASCII85(top), top);
        case FilterKind::kRunLength:
            return push(new (std::nothrow) CPDFFilterRunLength(top), top);
        case FilterKind::kUnknown:
            break;
    }
    delete top;
    top = nullptr;
    return Built::kNoData;
}

}  // namespace

CPDFFilterChain::~CPDFFilterChain() { delete m_top; }

uint32_t CPDFFilterChain::read(unsigned char* buffer, uint32_t size) {
    return m_top ? m_top->read(buffer, size) : 0;
}

CPDFStream* CPDFFilterChain::open(CPDFXRefTable* xref, const CPDFStreamRec* rec, CPDFStream* raw) {
    if (!raw || !rec) return raw;
    ScopedObj filter_holder;
    const CPDFObj* filter = resolve(xref, rec->find("Filter"), filter_holder.obj);
    if (!filter || filter->m_tag == kObjNone) return raw;
    const CPDFArray* list = filter->m_tag == kObjArray ? filter->m_array : nullptr;
    const int32_t count = list ? list->m_count : 1;
    if (count <= 0) return raw;

    ScopedObj parms_holder;
    const CPDFObj* parms = resolve(xref, rec->find("DecodeParms"), parms_holder.obj);
    const CPDFArray* parms_list = parms && parms->m_tag == kObjArray ? parms->m_array : nullptr;

    const int32_t length = raw->m_length;
    CPDFStream* top = raw;
    Built b = count > kMaxFilters ? Built::kNoData : Built::kOk;
    if (b != Built::kOk) {
        delete top;
        top = nullptr;
    }
    for (int32_t i = 0; i < count && b == Built::kOk; ++i) {
        ScopedObj name_holder;
        const CPDFObj* name =
            resolve(xref, list ? detail::array_at(list, i) : filter, name_holder.obj);
        ScopedObj parm_holder;
        const CPDFObj* parm = nullptr;
        if (parms_list) {
            parm = resolve(xref, detail::array_at(parms_list, i), parm_holder.obj);
        } else if (i == 0) {
            parm = parms;
        }
        if (parm && parm->m_tag != kObjDict) parm = nullptr;
        b = push_filter(xref, filter_kind(name), parm, top);
    }
    if (b == Built::kNoMemory) return nullptr;
    auto* chain = new (std::nothrow) CPDFFilterChain(top, length);
    if (!chain) delete top;
    return chain;
}

}  // namespace shadepaint
