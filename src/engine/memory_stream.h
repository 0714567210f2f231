// A stream body that already sits in memory, handed out as it stands.
#pragma once

#include <cstdint>

#include "engine/pdf_stream.h"

namespace shadepaint {

class CPDFMemoryStream : public CPDFStream {
public:
    // Reads size bytes at data, which the stream borrows: they must outlive it.
    CPDFMemoryStream(const unsigned char* data, uint32_t size);

    uint32_t read(unsigned char* buffer, uint32_t size) override;

private:
    const unsigned char* m_data;
    uint32_t m_size;
    uint32_t m_pos = 0;
};

}  // namespace shadepaint
