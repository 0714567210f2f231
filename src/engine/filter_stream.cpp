// The pull loop shared by every decoding stage. A stage's decode may stop
// short of a request (at the end of a row, a group or an LZW string), so
// read() keeps calling it until the request is met or decode reports the end;
// this keeps the rule that only the end of the body gives a short read, which
// the loaders above rely on. Input is pulled in fixed chunks, and a short
// chunk from below is itself the end of the input.
#include "engine/filter_stream.h"

#include <cstring>

#include "engine/kxalloc.h"

namespace shadepaint {

CPDFFilterStream::CPDFFilterStream(CPDFStream* src) : m_src(src) {
    m_length = src ? src->m_length : 0;
    m_src_done = src == nullptr;
}

CPDFFilterStream::~CPDFFilterStream() {
    KXFree(m_in);
    delete m_src;
}

bool CPDFFilterStream::init() {
    if (!m_in) m_in = static_cast<unsigned char*>(KXAlloc(kInputChunk));
    return m_in != nullptr;
}

uint32_t CPDFFilterStream::read(unsigned char* buffer, uint32_t size) {
    if (!buffer || m_ended || !m_in) return 0;
    uint32_t done = 0;
    while (done < size) {
        const uint32_t n = decode(buffer + done, size - done);
        if (n == 0) {
            m_ended = true;
            break;
        }
        done += n;
    }
    return done;
}

bool CPDFFilterStream::refill() {
    m_in_pos = 0;
    m_in_end = 0;
    if (m_src_done) return false;
    const uint32_t n = m_src->read(m_in, kInputChunk);
    // A source claiming more than it was asked for is not believed.
    m_in_end = n < kInputChunk ? n : kInputChunk;
    if (n < kInputChunk) {
        m_src_done = true;
        // The stage below is finished: release it and its buffers early.
        delete m_src;
        m_src = nullptr;
    }
    return m_in_end > 0;
}

uint32_t CPDFFilterStream::read_input(unsigned char* dst, uint32_t n) {
    uint32_t done = 0;
    while (done < n) {
        if (m_in_pos == m_in_end && !refill()) break;
        uint32_t take = m_in_end - m_in_pos;
        if (take > n - done) take = n - done;
        std::memcpy(dst + done, m_in + m_in_pos, take);
        m_in_pos += take;
        done += take;
    }
    return done;
}

}  // namespace shadepaint
