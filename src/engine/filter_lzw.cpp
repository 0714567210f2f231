// LZW decoding with a fixed table of 4096 entries, each a prefix code, its
// final byte and its string length, so a code's string is written back to
// front by walking prefixes, without a stack. Strings can't exceed the table
// size, so one 4096-byte buffer holds any of them while it is handed out.
//
// The code width grows when the entry count plus EarlyChange reaches the
// next power of two, capped at 12 bits. A full table takes no new entries and
// keeps 12-bit codes until a clear code. A code beyond the next entry (or a
// first code above 255) is corrupt data: the body ends before it.
#include "engine/filter_lzw.h"

#include <cstring>

#include "engine/kxalloc.h"

namespace shadepaint {

namespace {
constexpr int32_t kClearCode = 256;
constexpr int32_t kEndCode = 257;
constexpr int32_t kFirstEntry = 258;
constexpr int32_t kMaxWidth = 12;
}  // namespace

CPDFFilterLZW::~CPDFFilterLZW() { KXFree(m_prefix); }

bool CPDFFilterLZW::init() {
    if (!CPDFFilterStream::init()) return false;
    if (m_prefix) return true;
    constexpr size_t kBlock = kMaxCodes * (2 * sizeof(uint16_t) + 2);
    auto* block = static_cast<unsigned char*>(KXAlloc(kBlock));
    if (!block) return false;
    m_prefix = reinterpret_cast<uint16_t*>(block);
    m_len = m_prefix + kMaxCodes;
    m_suffix = reinterpret_cast<unsigned char*>(m_len + kMaxCodes);
    m_string = m_suffix + kMaxCodes;
    for (int32_t i = 0; i < 256; ++i) {
        m_prefix[i] = 0;
        m_len[i] = 1;
        m_suffix[i] = static_cast<unsigned char>(i);
    }
    reset_table();
    return true;
}

void CPDFFilterLZW::reset_table() {
    m_next = kFirstEntry;
    m_width = 9;
    m_prev = -1;
}

int32_t CPDFFilterLZW::next_code() {
    while (m_bit_count < m_width) {
        const int32_t b = next_byte();
        if (b < 0) return -1;
        m_bits = (m_bits << 8) | static_cast<uint32_t>(b);
        m_bit_count += 8;
    }
    m_bit_count -= m_width;
    const auto code = static_cast<int32_t>((m_bits >> m_bit_count) & ((1u << m_width) - 1));
    // Keep only the unread bits, so the accumulator never exceeds 19 bits.
    m_bits &= (1u << m_bit_count) - 1;
    return code;
}

bool CPDFFilterLZW::next_string() {
    int32_t code = next_code();
    while (code == kClearCode) {
        reset_table();
        code = next_code();
    }
    if (code < 0 || code == kEndCode) return false;

    if (m_prev < 0) {
        if (code > 255) return false;
        m_string[0] = static_cast<unsigned char>(code);
        m_string_len = 1;
    } else {
        // code == m_next is the one code the encoder may send before the
        // decoder has its entry: the previous string plus its own first byte.
        if (code > m_next || (code == m_next && m_next >= kMaxCodes)) return false;
        const int32_t known = code < m_next ? code : m_prev;
        uint32_t len = m_len[known];
        for (int32_t c = known, i = static_cast<int32_t>(len) - 1; i >= 0; --i) {
            m_string[i] = m_suffix[c];
            c = m_prefix[c];
        }
        if (code == m_next) m_string[len++] = m_string[0];
        m_string_len = len;
        if (m_next < kMaxCodes) {
            m_prefix[m_next] = static_cast<uint16_t>(m_prev);
            m_suffix[m_next] = m_string[0];
            m_len[m_next] = static_cast<uint16_t>(m_len[m_prev] + 1);
            ++m_next;
            if (m_next + m_early >= (1 << m_width) && m_width < kMaxWidth) ++m_width;
        }
    }
    m_prev = code;
    m_string_pos = 0;
    return true;
}

uint32_t CPDFFilterLZW::decode(unsigned char* out, uint32_t size) {
    uint32_t done = 0;
    while (done < size) {
        if (m_string_pos == m_string_len) {
            if (m_finished || !next_string()) {
                m_finished = true;
                break;
            }
        }
        uint32_t take = m_string_len - m_string_pos;
        if (take > size - done) take = size - done;
        std::memcpy(out + done, m_string + m_string_pos, take);
        m_string_pos += take;
        done += take;
    }
    return done;
}

}  // namespace shadepaint
