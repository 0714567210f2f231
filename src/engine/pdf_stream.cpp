// Loading a stream body whose decoded length is not known in advance.
//
// The first read asks for the hinted length rounded up to a multiple of 1024;
// when that comes back full the body may be longer than declared, and the
// block grows by chunks of 1024 (the one probe read), 2048, 4096 ... up to
// 64 KiB, which then repeat. Only this growth is bounded by the limit, so a
// body that decodes to gigabytes stops at about limit bytes.
//
// Sizes follow the 32-bit rules of the loaders; the block sizes themselves are
// formed in size_t so that no sum wraps, and a hint too large for the 32-bit
// result gives no block at all.
#include "engine/pdf_stream.h"

#include <cstddef>

#include "engine/kxalloc.h"

namespace shadepaint {

namespace {
constexpr uint32_t kFirstRound = 1024;  // the first read is a multiple of this
constexpr uint32_t kProbe = 1024;       // the read that tests for more data
constexpr uint32_t kMaxChunk = 0x10000;
constexpr size_t kTail = 4;  // the zero byte and three spare bytes
// The largest first read whose sizes still fit the signed 32-bit result.
constexpr uint32_t kMaxFirst = (static_cast<uint32_t>(INT32_MAX) - kProbe) & ~(kFirstRound - 1);

// read() that never reports more than was asked for, whatever the engine's
// stream does.
uint32_t read_at_most(CPDFStream& s, unsigned char* buffer, uint32_t n) {
    const uint32_t got = s.read(buffer, n);
    return got < n ? got : n;
}

unsigned char* grow(unsigned char* buffer, size_t bytes) {
    auto* bigger = static_cast<unsigned char*>(KXRealloc(buffer, bytes));
    if (!bigger) KXFree(buffer);
    return bigger;
}
}  // namespace

unsigned char* CPDFStream::buffer_load(int32_t limit, int32_t& size) {
    uint32_t hint = static_cast<uint32_t>(size);
    if (hint == 0) hint = static_cast<uint32_t>(m_length);
    // Rounded in 32 bits: a negative hint of small magnitude wraps to 0.
    const uint32_t first = (hint + (kFirstRound - 1)) & ~(kFirstRound - 1);
    size = 0;
    // A block this large could not report its length; it is refused as the
    // allocator would refuse it.
    if (first > kMaxFirst) return nullptr;
    auto* buffer = static_cast<unsigned char*>(KXAlloc(first + kTail));
    if (!buffer) return nullptr;

    // A hint of 0 asks for nothing here, gets nothing, and goes on to probe.
    uint32_t n = read_at_most(*this, buffer, first);
    if (n < first) {
        size = static_cast<int32_t>(n);
        buffer[n] = 0;
        return buffer;
    }

    buffer = grow(buffer, size_t{first} + kProbe + kTail);
    if (!buffer) return nullptr;
    int64_t filled = first;
    n = read_at_most(*this, buffer + filled, kProbe);
    if (n != kProbe) {
        filled += n;
        size = static_cast<int32_t>(filled);
        buffer[filled] = 0;
        return buffer;
    }

    // capacity may pass INT32_MAX only in 64 bits, where the signed comparison
    // with limit stays meaningful.
    int64_t capacity = int64_t{first} + kProbe;
    uint32_t chunk = kProbe;
    for (;;) {
        filled += chunk;
        if (chunk < kMaxChunk) chunk *= 2;
        capacity += chunk;
        if (capacity > limit) {
            size = static_cast<int32_t>(filled);
            buffer[filled] = 0;
            return buffer;
        }
        buffer = grow(buffer, static_cast<size_t>(capacity) + kTail);
        if (!buffer) return nullptr;
        n = read_at_most(*this, buffer + filled, chunk);
        if (n != chunk) {
            filled += n;
            size = static_cast<int32_t>(filled);
            buffer[filled] = 0;
            return buffer;
        }
    }
}

}  // namespace shadepaint
