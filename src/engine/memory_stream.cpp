#include "engine/memory_stream.h"

#include <cstring>

namespace shadepaint {

CPDFMemoryStream::CPDFMemoryStream(const unsigned char* data, uint32_t size)
    : m_data(data), m_size(data ? size : 0) {
    // m_length is signed: a body beyond its range reports the largest length.
    m_length = m_size > static_cast<uint32_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(m_size);
}

uint32_t CPDFMemoryStream::read(unsigned char* buffer, uint32_t size) {
    if (!buffer) return 0;
    const uint32_t n = size < m_size - m_pos ? size : m_size - m_pos;
    if (n > 0) std::memcpy(buffer, m_data + m_pos, n);
    m_pos += n;
    return n;
}

}  // namespace shadepaint
