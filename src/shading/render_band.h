// The context of one band of a per-pixel render: written once by the entry
// point before any worker starts, read by one worker, never written by it.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {

class CPDFShading;

struct PDF_RENDER_BAND {
    const CPDFShading* m_shading;
    const uint8_t* m_mask_row;  // first mask row of the band
    int32_t m_mask_stride;
    uint8_t* m_dst_row;  // first destination row of the band
    int32_t m_dst_stride;
    int32_t m_width;   // pixels per row
    int32_t m_height;  // rows in the band
    KXFIX m_col_dx;    // shading-space step of one pixel to the right
    KXFIX m_col_dy;
    KXFIX m_row_dx;  // shading-space step of one row down
    KXFIX m_row_dy;
    KXFIX m_start_x;  // shading-space position of the band's first pixel
    KXFIX m_start_y;
};

}  // namespace shadepaint
