// FunctionType 0: a table of samples over an m-dimensional grid, read from the
// stream body, interpolated between grid points.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/kxfix.h"
#include "shading/function.h"

namespace shadepaint {

namespace detail {
struct FuncParseCtx;
}

class CPDFFuncSampled : public CPDFFunction {
public:
    // Sample values (grid points times outputs) a table may have; larger
    // tables are refused before anything is allocated or read.
    static constexpr int64_t kMaxSampleValues = int64_t{1} << 22;
    // Inputs up to this count are interpolated multilinearly (2^m corners);
    // with more, the nearest grid point is taken.
    static constexpr int32_t kMaxInterpolatedInputs = 4;

    KXFIX m_domain[2 * kMaxInputs] = {};
    KXFIX m_range[2 * kMaxOutputs] = {};
    KXFIX m_encode[2 * kMaxInputs] = {};
    KXFIX m_decode[2 * kMaxOutputs] = {};
    int32_t m_size[kMaxInputs] = {};
    int32_t m_bits_per_sample = 0;
    unsigned char* m_data = nullptr;  // the body as read; samples beyond it are 0
    size_t m_data_len = 0;

    CPDFFuncSampled() = default;
    ~CPDFFuncSampled() override;

    // Reads the stream obj: its dictionary and up to the table's size of its
    // body. False leaves the function unusable; the caller deletes it.
    bool load(const CPDFObj& obj, CPDFXRefTable* xref, detail::FuncParseCtx& ctx);

    int32_t evaluate(const KXFIX* in, KXFIX* out) const override;

    // Sample value number index (grid point times outputs plus output),
    // 0 past the end of the data.
    uint32_t sample_at(uint64_t index) const;
};

}  // namespace shadepaint
