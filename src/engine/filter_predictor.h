// The predictors of FlateDecode and LZWDecode: TIFF predictor 2 (horizontal
// differences per component) and the PNG row filters (Predictor 10 to 15, the
// filter chosen by a type byte in front of each row).
#pragma once

#include <cstdint>

#include "engine/filter_stream.h"

namespace shadepaint {

class CPDFFilterPredictor : public CPDFFilterStream {
public:
    static constexpr int32_t kTiff = 2;
    static constexpr int32_t kPngFirst = 10;
    static constexpr int32_t kPngLast = 15;
    // A row holds at most this many bytes, whatever Columns says: the stage
    // keeps two rows.
    static constexpr uint32_t kMaxRowBytes = 1u << 20;
    static constexpr int32_t kMaxColors = 32;

    // Bytes in a row of columns pixels of colors components of bpc bits, or 0
    // when a value is out of range (colors 1 to kMaxColors; bpc 1, 2, 4, 8 or
    // 16; columns at least 1) or the row would exceed kMaxRowBytes.
    static uint32_t row_bytes(int32_t colors, int32_t bpc, int32_t columns);

    // predictor must be kTiff or within kPngFirst to kPngLast, and row_bytes
    // of the other three must not be 0.
    CPDFFilterPredictor(CPDFStream* src, int32_t predictor, int32_t colors, int32_t bpc,
                        int32_t columns);
    ~CPDFFilterPredictor() override;

    bool init() override;

protected:
    uint32_t decode(unsigned char* out, uint32_t size) override;

private:
    // Reads and undoes the next row into m_row. False at the end of the data.
    bool next_row();
    void undo_png(int32_t type, uint32_t count);
    void undo_tiff(uint32_t count);

    bool m_png;
    int32_t m_colors;
    int32_t m_bpc;
    uint32_t m_row_bytes;
    uint32_t m_row_bits;               // the pixels' bits without the padding
    uint32_t m_pixel_bytes;            // the PNG filters' byte distance to the left neighbour
    unsigned char* m_block = nullptr;  // both rows
    unsigned char* m_row = nullptr;    // the row being handed out
    unsigned char* m_prev = nullptr;   // the row above it, zero above the first row
    uint32_t m_row_pos = 0;
    uint32_t m_row_len = 0;
    bool m_finished = false;
};

}  // namespace shadepaint
