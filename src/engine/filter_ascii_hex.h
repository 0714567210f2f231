// ASCIIHexDecode: pairs of hexadecimal digits, white space ignored, '>' ending
// the data.
#pragma once

#include <cstdint>

#include "engine/filter_stream.h"

namespace shadepaint {

class CPDFFilterASCIIHex : public CPDFFilterStream {
public:
    explicit CPDFFilterASCIIHex(CPDFStream* src) : CPDFFilterStream(src) {}

protected:
    uint32_t decode(unsigned char* out, uint32_t size) override;

private:
    int32_t m_high = -1;  // a digit waiting for its partner, across calls
    bool m_finished = false;
};

}  // namespace shadepaint
