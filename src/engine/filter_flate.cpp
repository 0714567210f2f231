// Inflating with zlib, its memory taken from KXAlloc so that a failed
// allocation can be provoked in tests like any other. zlib keeps a fixed 32 KiB
// window and its state; output goes straight into the reader's buffer, so a
// body that inflates to gigabytes costs no more memory than a small one.
//
// Where the data breaks (a bad block, a bad check value, input that ends
// before the final block) zlib has already written everything it could decode
// up to that point; that much is delivered and the body ends there. Bytes
// after the end of the zlib stream are ignored.
#include "engine/filter_flate.h"

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <new>

#include "engine/kxalloc.h"

namespace shadepaint {

namespace detail {
struct FlateState {
    z_stream z;
    bool finished;
};
}  // namespace detail

namespace {

voidpf flate_alloc(voidpf, uInt items, uInt size) {
    if (size != 0 && items > SIZE_MAX / size) return Z_NULL;
    return KXAlloc(static_cast<size_t>(items) * size);
}

void flate_free(voidpf, voidpf block) { KXFree(block); }

}  // namespace

CPDFFilterFlate::~CPDFFilterFlate() {
    if (m_state) {
        inflateEnd(&m_state->z);
        KXFree(m_state);
    }
}

bool CPDFFilterFlate::init() {
    if (!CPDFFilterStream::init()) return false;
    if (m_state) return true;
    auto* st = static_cast<detail::FlateState*>(KXAlloc(sizeof(detail::FlateState)));
    if (!st) return false;
    st->z = z_stream{};
    st->z.zalloc = flate_alloc;
    st->z.zfree = flate_free;
    st->z.opaque = Z_NULL;
    st->finished = false;
    if (inflateInit(&st->z) != Z_OK) {
        KXFree(st);
        return false;
    }
    m_state = st;
    return true;
}

uint32_t CPDFFilterFlate::decode(unsigned char* out, uint32_t size) {
    z_stream& z = m_state->z;
    z.next_out = out;
    z.avail_out = size;
    while (z.avail_out > 0 && !m_state->finished) {
        // An empty buffer is refilled; at the end of the input inflate still
        // runs once with nothing, to flush what its window holds back.
        if (m_in_pos == m_in_end) refill();
        z.next_in = m_in + m_in_pos;
        z.avail_in = m_in_end - m_in_pos;
        const int rc = inflate(&z, Z_NO_FLUSH);
        m_in_pos = m_in_end - z.avail_in;
        if (rc == Z_OK) continue;
        // Z_BUF_ERROR: no progress without more input. That is the end only
        // when the input has nothing more to give (a truncated stream).
        if (rc == Z_BUF_ERROR && z.avail_in == 0 && refill()) continue;
        // Z_STREAM_END, Z_DATA_ERROR, Z_NEED_DICT (no dictionary can be
        // given), Z_MEM_ERROR, or no input left.
        m_state->finished = true;
    }
    return size - z.avail_out;
}

}  // namespace shadepaint
