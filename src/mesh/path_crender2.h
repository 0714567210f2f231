// The ramp scan converter of the general radial shading: a closed polygon whose
// corners carry an integer, interpolated across it and used as an index into a
// table of 256 entries. Used as CKXPathCRender (path_crender.h), with
// m_start_value and m_cur_value in place of the colours.
#pragma once

#include <cstdint>

#include "numeric/kxgeom.h"

namespace shadepaint {

class CKXBmp32;
class CKXBmpGray;

// One pixel row of the polygon: a record per piece of the outline in the row.
struct KXPATH_CSCAN2 {
    struct _item {
        int32_t m_x;        // crossing of the centre line, 1/128 pixel, rounded up
        int32_t m_dir;      // +1 down the bitmap, -1 up, 0 if the centre line is missed
        int32_t m_value;    // value at the crossing
        int32_t m_outline;  // 1: the pixels the piece passes through are painted
        int32_t m_left_x;   // the piece's ends ordered by x, with their values
        int32_t m_right_x;
        int32_t m_left_value;
        int32_t m_right_value;
    };

    _item* m_items;
    uint32_t m_count;
    uint32_t m_capacity;
    uint32_t m_grow;
    uint32_t m_aux;

    void hline(int x0, int y0, int x1, int y1, int value0, int value1);
};

class CKXPathCRender2 {
public:
    int32_t m_start_x;
    int32_t m_start_y;
    int32_t m_cur_x;
    int32_t m_cur_y;
    int32_t m_start_value;
    int32_t m_cur_value;
    KXPATH_CSCAN2* m_scans;
    int32_t m_rows;
    uint32_t m_rows_cap;
    int32_t m_org_x;
    int32_t m_org_y;
    // Rows that line_to handed pieces to since the last reset.
    int32_t m_dirty_first;
    int32_t m_dirty_last;
    // Horizontal edges inside a row since the last reset, as piece records
    // whose m_x holds the row. They meet no centre line and add no crossing
    // to the row, but the pixels along them are part of the outline.
    KXPATH_CSCAN2::_item* m_flats;
    uint32_t m_flat_count;
    uint32_t m_flat_cap;
    // Off: a pixel is painted when its centre lies inside the outline, so
    // polygons that share an edge paint each pixel along it exactly once. On:
    // every pixel the outline passes through is painted too, so polygons
    // whose shared outlines differ by a fraction of a pixel leave no pinhole
    // between them, at the price of overlapping by those pixels. Off in a new
    // converter; begin leaves it as it is.
    bool m_conservative;

    CKXPathCRender2();
    ~CKXPathCRender2();
    CKXPathCRender2(const CKXPathCRender2&) = delete;
    CKXPathCRender2& operator=(const CKXPathCRender2&) = delete;

    void begin(int org_x, int org_y, int height);
    void line_to(int x, int y, int v);
    // Each pixel inside the outline takes ramp[value], the value interpolated
    // along the row and held to 0..255. A null ramp paints nothing.
    void render_smooth(CKXBmp32* dst, const _KXRGBA* ramp);
    // The same pixels as ramp[value] and alpha 255.
    void render_smoothg(CKXBmpGray* dst, const unsigned char* ramp);
};

}  // namespace shadepaint
