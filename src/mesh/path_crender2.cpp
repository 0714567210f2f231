// The ramp converter: its entry points run the shared walker, recorder and
// span painter of path_scan_p.h with one integer a corner, looked up in the
// caller's ramp at each pixel.
#include "mesh/path_crender2.h"

#include "mesh/path_scan_p.h"

namespace shadepaint {

void KXPATH_CSCAN2::hline(int x0, int y0, int x1, int y1, int value0, int value1) {
    detail::scan_hline<detail::scan_index>(*this, x0, y0, x1, y1, value0, value1);
}

CKXPathCRender2::CKXPathCRender2() : m_start_value(0), m_cur_value(0) { detail::scan_init(*this); }

CKXPathCRender2::~CKXPathCRender2() { detail::scan_release(*this); }

void CKXPathCRender2::begin(int org_x, int org_y, int height) {
    detail::scan_begin(*this, org_x, org_y, height);
}

void CKXPathCRender2::line_to(int x, int y, int v) {
    const int32_t x0 = m_cur_x, y0 = m_cur_y, v0 = m_cur_value;
    m_cur_x = detail::scan_sub(x, m_org_x);
    m_cur_y = detail::scan_sub(y, m_org_y);
    m_cur_value = v;
    if (m_cur_y == y0)
        detail::scan_flat<detail::scan_index>(*this, x0, m_cur_x, y0, v0, v);
    else
        detail::scan_edge<detail::scan_index>(m_scans, m_rows, m_dirty_first, m_dirty_last, x0, y0,
                                              v0, m_cur_x, m_cur_y, v, m_conservative);
}

void CKXPathCRender2::render_smooth(CKXBmp32* dst, const _KXRGBA* ramp) {
    if (!ramp) return;
    detail::scan_render<detail::scan_index, detail::store_ramp32>(*this, dst, ramp);
}

void CKXPathCRender2::render_smoothg(CKXBmpGray* dst, const unsigned char* ramp) {
    if (!ramp) return;
    detail::scan_render<detail::scan_index, detail::store_ramp_gray>(*this, dst, ramp);
}

}  // namespace shadepaint
