// LZWDecode: variable-width codes of 9 to 12 bits, most significant bit first,
// with code 256 clearing the table and 257 ending the data.
#pragma once

#include <cstdint>

#include "engine/filter_stream.h"

namespace shadepaint {

class CPDFFilterLZW : public CPDFFilterStream {
public:
    static constexpr int32_t kMaxCodes = 4096;  // 12-bit codes

    // early_change: 1 widens the codes one entry before the table needs it
    // (the default of LZWDecode), 0 only when it does.
    CPDFFilterLZW(CPDFStream* src, int32_t early_change)
        : CPDFFilterStream(src), m_early(early_change ? 1 : 0) {}
    ~CPDFFilterLZW() override;

    bool init() override;

protected:
    uint32_t decode(unsigned char* out, uint32_t size) override;

private:
    // Decodes the next code's string into m_string. False at the end code, at
    // the end of the input or at a code the table can't hold yet.
    bool next_string();
    // Width-bit code from the input, or -1 when too few bits are left.
    int32_t next_code();
    void reset_table();

    // One KXAlloc block: the table's prefixes and lengths, then suffixes,
    // then the string being handed out.
    uint16_t* m_prefix = nullptr;
    uint16_t* m_len = nullptr;
    unsigned char* m_suffix = nullptr;
    unsigned char* m_string = nullptr;
    uint32_t m_string_pos = 0;
    uint32_t m_string_len = 0;

    int32_t m_early;
    int32_t m_next = 258;  // the next table entry to be made
    int32_t m_width = 9;
    int32_t m_prev = -1;  // the previous code, -1 right after a clear
    uint32_t m_bits = 0;  // the low m_bit_count bits are pending input
    int32_t m_bit_count = 0;
    bool m_finished = false;
};

}  // namespace shadepaint
