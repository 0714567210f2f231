// Runs are handed out across calls: a request may end inside a literal run or
// a repeat. A literal run cut short by the end of the input delivers what it
// has; a repeat whose byte is missing delivers nothing.
#include "engine/filter_run_length.h"

#include <cstring>

namespace shadepaint {

namespace {
constexpr int32_t kEndOfData = 128;
}

uint32_t CPDFFilterRunLength::decode(unsigned char* out, uint32_t size) {
    uint32_t done = 0;
    while (done < size) {
        if (m_copy_left > 0) {
            uint32_t take = m_copy_left < size - done ? m_copy_left : size - done;
            const uint32_t got = read_input(out + done, take);
            done += got;
            m_copy_left -= got;
            if (got < take) {
                m_finished = true;
                m_copy_left = 0;
                break;
            }
            continue;
        }
        if (m_repeat_left > 0) {
            const uint32_t take = m_repeat_left < size - done ? m_repeat_left : size - done;
            std::memset(out + done, m_repeat_byte, take);
            done += take;
            m_repeat_left -= take;
            continue;
        }
        if (m_finished) break;
        const int32_t len = next_byte();
        if (len < 0 || len == kEndOfData) {
            m_finished = true;
            break;
        }
        if (len < kEndOfData) {
            m_copy_left = static_cast<uint32_t>(len) + 1;
        } else {
            const int32_t b = next_byte();
            if (b < 0) {
                m_finished = true;
                break;
            }
            m_repeat_byte = static_cast<unsigned char>(b);
            m_repeat_left = static_cast<uint32_t>(257 - len);
        }
    }
    return done;
}

}  // namespace shadepaint
