// The colour converter: its entry points run the shared walker, recorder and
// span painter of path_scan_p.h with four channels a corner.
#include "mesh/path_crender.h"

#include "mesh/path_scan_p.h"

namespace shadepaint {

void KXPATH_CSCAN::hline(int x0, int y0, int x1, int y1, _KXRGBA c0, _KXRGBA c1) {
    detail::scan_hline<detail::scan_rgba>(*this, x0, y0, x1, y1, c0, c1);
}

CKXPathCRender::CKXPathCRender() : m_start_rgba{}, m_cur_rgba{} { detail::scan_init(*this); }

CKXPathCRender::~CKXPathCRender() { detail::scan_release(*this); }

void CKXPathCRender::begin(int org_x, int org_y, int height) {
    detail::scan_begin(*this, org_x, org_y, height);
}

void CKXPathCRender::line_to(int x, int y, _KXRGBA c) {
    const int32_t x0 = m_cur_x, y0 = m_cur_y;
    const _KXRGBA c0 = m_cur_rgba;
    // The next edge starts at the unclipped end of this one, whatever happens
    // to this one below.
    m_cur_x = detail::scan_sub(x, m_org_x);
    m_cur_y = detail::scan_sub(y, m_org_y);
    m_cur_rgba = c;
    if (m_cur_y == y0)
        detail::scan_flat<detail::scan_rgba>(*this, x0, m_cur_x, y0, c0, c);
    else
        detail::scan_edge<detail::scan_rgba>(m_scans, m_rows, m_dirty_first, m_dirty_last, x0, y0,
                                             c0, m_cur_x, m_cur_y, c, m_conservative);
}

void CKXPathCRender::render_smooth(CKXBmp32* dst) {
    detail::scan_render<detail::scan_rgba, detail::store_rgba32>(*this, dst, nullptr);
}

void CKXPathCRender::render_smoothg(CKXBmpGray* dst) {
    detail::scan_render<detail::scan_rgba, detail::store_rgba_gray>(*this, dst, nullptr);
}

}  // namespace shadepaint
