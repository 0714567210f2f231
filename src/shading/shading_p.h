// What the shading loaders share: the "Function" table (read, evaluate, free)
// and the steps of a 256-entry colour ramp.
#pragma once

#include <cstdint>

#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"
#include "shading/color_space.h"
#include "shading/function.h"

namespace shadepaint::detail {

// Room for the outputs of one evaluation. A function at place k of a table
// writes its outputs from element k on, and may deliver up to kMaxOutputs of
// them, so places 0 to 15 need twice the components of a colour. Places from
// 16 on can't reach a colour component and are not evaluated.
constexpr int32_t kFuncOutputSlots = 2 * CPDFFunction::kMaxOutputs;
constexpr int32_t kFuncPlaces = CPDFFunction::kMaxOutputs;
constexpr int32_t kColorComps = 16;  // components of a PDF_COLOR

constexpr int32_t kRampSize = 256;
constexpr int32_t kRampLastStep = kRampSize - 1;

// read_obj_rect for a shading whose table may be null: a direct array still
// reads, a reference resolves to nothing.
inline void read_rect(CPDFXRefTable* xref, _KXRECTF& rect, const CPDFObj* obj) {
    CPDFXRefTable none;
    (xref ? xref : &none)->read_obj_rect(rect, obj);
}

// Reads the value of a "Function" key (null when the key is missing) into an
// owned table. An array of n gives count n and one parse_func per element; a
// failed allocation leaves the table null with count n. Anything else,
// including nothing, gives a table of one parse_func result and count 1, or a
// null table and count 0 when that allocation fails. Entries may be null.
void read_functions(CPDFXRefTable* xref, const CPDFObj* entry, CPDFFunction**& funcs,
                    int32_t& count);

// Deletes each function of the table, frees the table, and leaves null and 0.
void free_functions(CPDFFunction**& funcs, int32_t& count);

// Evaluates the table at in (kMaxInputs values) into out (kFuncOutputSlots):
// a single function delivers all its outputs from element 0 on, function k of
// several writes from element k on. Null entries and a null table evaluate
// nothing, leaving out as it was.
void eval_functions(CPDFFunction* const* funcs, int32_t count, const KXFIX* in, KXFIX* out);

// Input of ramp step i: t0 + (t1 - t0) * i / 255, the product in raw units and
// the quotient a plain integer one truncating toward zero, so that step 0 is
// exactly t0 and step 255 exactly t1.
inline KXFIX ramp_input(KXFIX t0, KXFIX t1, int32_t i) {
    return t0 + KXFIX::from_raw((t1 - t0).mul_int(i).m_raw / kRampLastStep);
}

// Evaluates the functions at the 256 steps of [t0, t1] into ramp (alpha 255)
// and, when gray is not null, the colour space's gray of the same colours into
// gray. Nothing is written without a colour space.
void build_ramp(const CPDFCSBase* cs, CPDFFunction* const* funcs, int32_t count, KXFIX t0, KXFIX t1,
                _KXRGBA* ramp, uint8_t* gray);

// The Domain and Extend tests as one interval of positions painted from the
// ramp; any other position shows the background. Positions are compared with
// the raw Domain numbers, unmapped. With t0 below t1, a position below t0
// needs the start flag and one above t1 the end flag. With t0 above t1 the
// start flag guards positions above t0 and the end flag those below t1. With
// t0 equal to t1 both sets of tests apply, so either side needs both flags.
struct ramp_window {
    int64_t lo;
    int64_t hi;
    bool holds(KXFIX t) const { return t.m_raw >= lo && t.m_raw <= hi; }
};

inline ramp_window domain_window(KXFIX t0, KXFIX t1, int32_t extend_start, int32_t extend_end) {
    const bool start = extend_start != 0;
    const bool end = extend_end != 0;
    if (t0 < t1) return {start ? INT64_MIN : t0.m_raw, end ? INT64_MAX : t1.m_raw};
    if (t0 > t1) return {end ? INT64_MIN : t1.m_raw, start ? INT64_MAX : t0.m_raw};
    const bool both = start && end;
    return {both ? INT64_MIN : t0.m_raw, both ? INT64_MAX : t0.m_raw};
}

}  // namespace shadepaint::detail
