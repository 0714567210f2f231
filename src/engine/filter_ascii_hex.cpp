// Digits of either case make bytes, m_high nibble first. A lone last digit,
// before '>' or at the end of the input, is followed by an implied 0. Any
// other character is corrupt data: the bytes completed before it are the body,
// and a digit still waiting for its partner is dropped.
#include "engine/filter_ascii_hex.h"

#include "engine/filter_chars_p.h"

namespace shadepaint {

uint32_t CPDFFilterASCIIHex::decode(unsigned char* out, uint32_t size) {
    uint32_t done = 0;
    while (done < size && !m_finished) {
        const int32_t c = next_byte();
        const int32_t v = c < 0 ? -1 : detail::hex_digit(c);
        if (v >= 0) {
            if (m_high < 0) {
                m_high = v;
            } else {
                out[done++] = static_cast<unsigned char>(m_high << 4 | v);
                m_high = -1;
            }
        } else if (c >= 0 && detail::is_pdf_space(c)) {
            continue;
        } else {
            m_finished = true;
            if (m_high >= 0 && (c < 0 || c == '>'))
                out[done++] = static_cast<unsigned char>(m_high << 4);
            m_high = -1;
        }
    }
    return done;
}

}  // namespace shadepaint
