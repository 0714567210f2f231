// ASCII85Decode: groups of five base-85 digits ('!' to 'u') for four bytes,
// 'z' for four zero bytes, white space ignored, "~>" ending the data.
#pragma once

#include <cstdint>

#include "engine/filter_stream.h"

namespace shadepaint {

class CPDFFilterASCII85 : public CPDFFilterStream {
public:
    explicit CPDFFilterASCII85(CPDFStream* src) : CPDFFilterStream(src) {}

protected:
    uint32_t decode(unsigned char* out, uint32_t size) override;

private:
    // Decodes the next group into m_group. False at the end of the data.
    bool next_group();

    unsigned char m_group[4] = {};
    uint32_t m_group_pos = 0;
    uint32_t m_group_len = 0;
    bool m_finished = false;
};

}  // namespace shadepaint
