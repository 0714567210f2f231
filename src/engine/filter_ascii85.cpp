// Base-85 groups, most significant digit first. A last group of n digits
// (2 to 4), cut short by '~' or by the end of the input, is padded with 'u'
// and gives n - 1 bytes; a single digit gives none. Only '~' is needed to end
// the data: what follows it is not looked at.
//
// Corrupt data ends the body before the group it occurs in: a character
// outside the alphabet, a 'z' inside a group, or a group worth 2^32 or more.
#include "engine/filter_ascii85.h"

#include <cstring>

#include "engine/filter_chars_p.h"

namespace shadepaint {

namespace {
constexpr int32_t kFirstDigit = '!';
constexpr int32_t kLastDigit = 'u';  // '!' + 84
}  // namespace

bool CPDFFilterASCII85::next_group() {
    uint64_t value = 0;
    uint32_t digits = 0;
    for (;;) {
        const int32_t c = next_byte();
        if (c >= kFirstDigit && c <= kLastDigit) {
            value = value * 85 + static_cast<uint64_t>(c - kFirstDigit);
            if (++digits == 5) break;
        } else if (c == 'z' && digits == 0) {
            std::memset(m_group, 0, 4);
            m_group_len = 4;
            m_group_pos = 0;
            return true;
        } else if (c >= 0 && detail::is_pdf_space(c)) {
            continue;
        } else if (c < 0 || c == '~') {
            if (digits < 2) return false;
            for (uint32_t i = digits; i < 5; ++i) value = value * 85 + (kLastDigit - kFirstDigit);
            break;
        } else {
            return false;
        }
    }
    if (value > UINT32_MAX) return false;
    const uint32_t n = digits == 5 ? 4 : digits - 1;
    for (uint32_t i = 0; i < 4; ++i) m_group[i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    m_group_len = n;
    m_group_pos = 0;
    // The cut-short group is the last one.
    if (digits < 5) m_finished = true;
    return true;
}

uint32_t CPDFFilterASCII85::decode(unsigned char* out, uint32_t size) {
    uint32_t done = 0;
    while (done < size) {
        if (m_group_pos == m_group_len) {
            if (m_finished || !next_group()) {
                m_finished = true;
                break;
            }
        }
        uint32_t take = m_group_len - m_group_pos;
        if (take > size - done) take = size - done;
        std::memcpy(out + done, m_group + m_group_pos, take);
        m_group_pos += take;
        done += take;
    }
    return done;
}

}  // namespace shadepaint
