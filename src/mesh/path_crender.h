// The colour scan converter of the meshes: a closed polygon whose corners carry
// a _KXRGBA, painted with the colours interpolated across it.
//
// Use, once per polygon:
//   path.begin(0, 0, 0);                                  // forget the last one
//   path.begin(org_x << 7, org_y << 7, dst.m_height);     // bitmap rows, origin
//   path.m_start_x = path.m_cur_x = X - path.m_org_x;     // first point, written
//   path.m_start_y = path.m_cur_y = Y - path.m_org_y;     //   directly, origin off
//   path.m_start_rgba = path.m_cur_rgba = c;
//   path.line_to(X1, Y1, c1); ...                         // origin still in them
//   path.line_to(path.m_start_x + path.m_org_x, path.m_start_y + path.m_org_y,
//                path.m_start_rgba);                      // close
//   path.render_smooth(&dst);
// Coordinates are in 1/128 pixel. One converter serves any number of polygons;
// its crossing storage is kept between them.
#pragma once

#include <cstdint>

#include "numeric/kxgeom.h"

namespace shadepaint {

class CKXBmp32;
class CKXBmpGray;

// One pixel row of the polygon: a record per piece of the outline in the row,
// in the order the edges arrived.
struct KXPATH_CSCAN {
    struct _item {
        int32_t m_x;        // crossing of the centre line, 1/128 pixel, rounded up
        int32_t m_dir;      // +1 for an edge running down the bitmap, -1 up, 0 for
                            // a piece that misses the centre line
        _KXRGBA m_rgba;     // colour at the crossing
        int32_t m_outline;  // 1: the pixels the piece passes through are painted
        int32_t m_left_x;   // the piece's ends ordered by x, with their colours
        int32_t m_right_x;
        _KXRGBA m_left_rgba;
        _KXRGBA m_right_rgba;
    };

    _item* m_items;
    uint32_t m_count;
    uint32_t m_capacity;
    uint32_t m_grow;  // crossings added to m_items when the row is full
    uint32_t m_aux;   // flags of the row; see path_scan_p.h

    // Records the piece of an edge that lies in this row, in the direction of
    // travel; y0 and y1 lie within the row's 128 lines or on the next row's
    // first line.
    void hline(int x0, int y0, int x1, int y1, _KXRGBA c0, _KXRGBA c1);
};

class CKXPathCRender {
public:
    int32_t m_start_x;
    int32_t m_start_y;
    _KXRGBA m_start_rgba;
    int32_t m_cur_x;
    int32_t m_cur_y;
    _KXRGBA m_cur_rgba;
    KXPATH_CSCAN* m_scans;
    int32_t m_rows;       // bitmap rows during a polygon
    uint32_t m_rows_cap;  // records allocated in m_scans
    int32_t m_org_x;      // origin in 1/128 pixel, taken off every line_to argument
    int32_t m_org_y;
    // Rows that line_to handed pieces to since the last reset, so that reset
    // and painting visit only those (none when m_dirty_first > m_dirty_last).
    int32_t m_dirty_first;
    int32_t m_dirty_last;
    // Horizontal edges inside a row since the last reset, as piece records
    // whose m_x holds the row. They meet no centre line and add no crossing
    // to the row, but the pixels along them are part of the outline.
    KXPATH_CSCAN::_item* m_flats;
    uint32_t m_flat_count;
    uint32_t m_flat_cap;
    // Off: a pixel is painted when its centre lies inside the outline, so
    // polygons that share an edge paint each pixel along it exactly once. On:
    // every pixel the outline passes through is painted too, so polygons
    // whose shared outlines differ by a fraction of a pixel leave no pinhole
    // between them, at the price of overlapping by those pixels. Off in a new
    // converter; begin leaves it as it is.
    bool m_conservative;

    CKXPathCRender();
    ~CKXPathCRender();
    CKXPathCRender(const CKXPathCRender&) = delete;
    CKXPathCRender& operator=(const CKXPathCRender&) = delete;

    // height < 1: reset for the next polygon (the other arguments are ignored).
    // Otherwise: prepare for a polygon on a bitmap of `height` rows whose origin
    // is (org_x, org_y) in 1/128 pixel. If the row table can't be had, all
    // crossing storage is released and the polygon paints nothing.
    void begin(int org_x, int org_y, int height);
    // One edge from the current point to (x, y), which still holds the origin.
    void line_to(int x, int y, _KXRGBA c);
    // Paints the closed polygon: each pixel whose centre lies inside the outline
    // (nonzero rule) takes the colour interpolated along its row between the
    // crossings on either side of it, alpha included. Before that, the pixels
    // that the pieces of an edge cut at the top or bottom pass through (all
    // edges' with m_conservative) take the outline's colour there.
    void render_smooth(CKXBmp32* dst);
    // The same pixels as gray (r*306 + g*601 + b*117) >> 10 and alpha.
    void render_smoothg(CKXBmpGray* dst);
};

}  // namespace shadepaint
