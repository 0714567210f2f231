#include "mesh/shading_tensor.h"

#include <cstdint>
#include <mutex>

#include "engine/kxalloc.h"
#include "shading/bitmap.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {
// 16^3: the denominator of every weight at t = i / 16.
constexpr int64_t kBvalDenominator = 16 * 16 * 16;

void fill_bval() {
    KXFIX* const t = CPDFShadingTensor::ms_bval;
    constexpr int32_t n = CPDFShadingTensor::kBvalSteps;
    // Rows 0 and 1, (1 - t)^3 and 3 t (1 - t)^2: (16 - i)^3 and 3 i (16 - i)^2
    // times 16384 raw.
    // clang-format off
    static constexpr int64_t kRow0[n] = {
        kKxOne,   0x34bc000, 0x2ae0000, 0x2254000, 0x1b00000, 0x14cc000, 0xfa0000, 0xb64000,
        0x800000, 0x55c000,  0x360000,  0x1f4000,  0x100000,  0x6c000,   0x20000,  0x4000,   0x0};
    static constexpr int64_t kRow1[n] = {
        0x0,       0xa8c000, 0x1260000, 0x17c4000, 0x1b00000, 0x1c5c000, 0x1c20000, 0x1a94000,
        0x1800000, 0x14ac000, 0x10e0000, 0xce4000, 0x900000,  0x57c000,  0x2a0000,  0xb4000, 0x0};
    // clang-format on
    for (int32_t i = 0; i < n; ++i) {
        t[i] = KXFIX::from_raw(kRow0[i]);
        t[n + i] = KXFIX::from_raw(kRow1[i]);
    }
    // Rows 2 and 3, 3 t^2 (1 - t) and t^3; the divisions are exact.
    for (int32_t i = 0; i < n; ++i)
        t[2 * n + i] =
            KXFIX::from_raw(KXFIX::from_int(3 * i * i * (16 - i)).m_raw / kBvalDenominator);
    for (int32_t i = 0; i < n; ++i)
        t[3 * n + i] = KXFIX::from_raw(KXFIX::from_int(i * i * i).m_raw / kBvalDenominator);
    CPDFShadingTensor::ms_init = 1;
}
}  // namespace

KXFIX CPDFShadingTensor::ms_bval[4 * CPDFShadingTensor::kBvalSteps] = {};
int32_t CPDFShadingTensor::ms_init = 0;

// Every store writes the same value to the same place, so a second filling
// would be harmless; the once-only guard also makes the filled table visible
// to every thread that went through init.
void CPDFShadingTensor::init() {
    static std::once_flag once;
    std::call_once(once, fill_bval);
}

CPDFShadingTensor::CPDFShadingTensor(CPDFXRefTable* xref) : CPDFShading(7, xref) {}

CPDFShadingTensor::~CPDFShadingTensor() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_groups);
    m_groups = nullptr;
}

void CPDFShadingTensor::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    // TODO: decode the tensor patch stream into the patch store.
}

int32_t CPDFShadingTensor::render_to_bmp(const _KXMATRIX&, const _KXPOINT&, const CKXBmp8& mask,
                                         CKXBmp32& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: evaluate and paint the tensor patches and apply the mask.
    return 1;
}

int32_t CPDFShadingTensor::render_to_bmpg(const _KXMATRIX&, const _KXPOINT&, CKXBmp8& mask,
                                          CKXBmpGray& dst) const {
    if (!detail::same_size(mask, dst)) return 0;
    // TODO: evaluate and paint the tensor patches and apply the mask, gray form.
    return 1;
}

}  // namespace shadepaint
