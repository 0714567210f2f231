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
    // last call stopped. Returns the count copied; fewer than size only at the
    // end of the body.
    virtual uint32_t read(unsigned char* buffer, uint32_t size) = 0;

    // The whole body in one KXAlloc block, which the caller frees with KXFree,
    // or null (size 0) when memory runs out. size goes in as a length hint (0:
    // use m_length) and comes back as the number of data bytes. A zero byte
    // follows the data, and at least three more allocated bytes follow that.
    // Growth beyond the hinted length stops, silently, once the block would
    // pass limit bytes; the hinted length itself is always read whole.
    unsigned char* buffer_load(int32_t limit, int32_t& size);
};

}  // namespace shadepaint
