// A stream body as the painter reads it. The engine derives from this class;
// read() hands out the (decoded) body piece by piece.
#pragma once

#include <cstdint>

namespace shadepaint {

class CPDFStream {
public:
    int32_t m_length = 0;  // the body length the document gives (/Length)

    CPDFStream() = default;
    CPDFStream(const CPDFStream&) = delete;
    CPDFStream& operator=(const CPDFStream&) = delete;
    virtual ~CPDFStream() = default;

    // Copies up to size bytes of the body into buffer, continuing where the
    // last call stopped. Returns the count copied; 0 at the end of the body.
    virtual uint32_t read(unsigned char* buffer, uint32_t size) = 0;
};

}  // namespace shadepaint
