// RunLengthDecode: a length byte 0 to 127 copies the next 1 to 128 bytes, 129
// to 255 repeats the next byte 257 - length times, 128 ends the data.
#pragma once

#include <cstdint>

#include "engine/filter_stream.h"

namespace shadepaint {

class CPDFFilterRunLength : public CPDFFilterStream {
public:
    explicit CPDFFilterRunLength(CPDFStream* src) : CPDFFilterStream(src) {}

protected:
    uint32_t decode(unsigned char* out, uint32_t size) override;

private:
    uint32_t m_copy_left = 0;    // literal bytes still to copy from the input
    uint32_t m_repeat_left = 0;  // times m_repeat_byte is still to be given
    unsigned char m_repeat_byte = 0;
    bool m_finished = false;
};

}  // namespace shadepaint
