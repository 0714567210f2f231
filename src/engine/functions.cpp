// The function factory. One parse_func call parses a whole tree of functions
// (a stitching function's parts, their parts, ...) under one budget: a depth
// limit, so that a function naming itself through a reference ends, and a node
// and byte budget, so that a part list fanning out to the same large function
// many times can't multiply into unbounded work or memory.
//
// Bad input gives null rather than a guess: a key that the kind needs (Domain;
// N; Functions, Bounds and Encode; Size, BitsPerSample and Range of sampled
// and calculator functions) missing or malformed, an optional one (Range, C0,
// C1, Encode, Decode) of the wrong length, an empty array, or more than
// kMaxInputs inputs or kMaxOutputs outputs.
#include <new>

#include "engine/func_common_p.h"
#include "engine/func_exponential.h"
#include "engine/func_postscript.h"
#include "engine/func_sampled.h"
#include "engine/func_stitching.h"
#include "object/obj_access_p.h"
#include "shading/function.h"

namespace shadepaint {

namespace {
template <class Func>
CPDFFunction* make(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx) {
    auto* f = new (std::nothrow) Func();
    if (!f) return nullptr;
    if (f->load(obj, xref, ctx)) return f;
    delete f;
    return nullptr;
}
}  // namespace

CPDFFunction* detail::parse_func_ctx(const CPDFObj* obj, CPDFXRefTable* xref, FuncParseCtx& ctx) {
    if (!obj || obj->m_tag == kObjNone) return nullptr;
    if (ctx.depth >= kMaxFuncDepth || ctx.nodes_left <= 0) return nullptr;
    --ctx.nodes_left;

    // Only a reference is resolved into a local copy; a direct dictionary or
    // stream is read where it stands.
    ScopedObj local;
    if (obj->m_tag == kObjRef) {
        deref(xref, obj, local.obj);
        obj = &local.obj;
    }
    if (!obj->dict()) return nullptr;
    // FunctionType must be there and be a number: a missing key would
    // otherwise read as 0, a sampled function.
    int32_t type = -1;
    {
        ScopedObj t;
        deref(xref, dict_find(*obj, "FunctionType"), t.obj);
        if (is_direct_number(&t.obj)) type = direct_int(&t.obj);
    }
    ++ctx.depth;
    CPDFFunction* f = nullptr;
    if (type == 0) f = make<CPDFFuncSampled>(*obj, xref, ctx);
    if (type == 2) f = make<CPDFFuncExponential>(*obj, xref, ctx);
    if (type == 3) f = make<CPDFFuncStitching>(*obj, xref, ctx);
    if (type == 4) f = make<CPDFFuncPostscript>(*obj, xref, ctx);
    --ctx.depth;
    return f;
}

CPDFFunction* CPDFFunction::parse_func(const CPDFObj* obj, CPDFXRefTable* xref) {
    detail::FuncParseCtx ctx;
    return detail::parse_func_ctx(obj, xref, ctx);
}

}  // namespace shadepaint
