// The device RGB space and the base defaults. Byte rules: get_rgb keeps the
// low byte of each component; get_gray weighs whole components as
// (r*306 + g*601 + b*117) >> 10, weights summing to 1024 so white stays 255.
// get_cmyk keeps its historical three-word layout (see there). The batch
// operations run the shared loop of color_space_p.h over get_rgb/get_gray.
#include "shading/color_space.h"

#include "shading/color_space_p.h"

namespace shadepaint {

void CPDFCSBase::get_default_color(PDF_COLOR& color) const {
    color.m_comps[0] = color.m_comps[1] = color.m_comps[2] = color.m_comps[3] = 0;
}

int32_t CPDFCSBase::support_op() const { return 0; }

void CPDFCSDeviceRGB::get_gray(const PDF_COLOR& c, uint8_t& gray) const {
    gray = detail::gray_of(c.m_comps[0], c.m_comps[1], c.m_comps[2]);
}

void CPDFCSDeviceRGB::get_rgb(const PDF_COLOR& c, _KXRGBA& rgba) const {
    rgba.r = static_cast<uint8_t>(c.m_comps[0]);
    rgba.g = static_cast<uint8_t>(c.m_comps[1]);
    rgba.b = static_cast<uint8_t>(c.m_comps[2]);
    rgba.a = 255;
}

void CPDFCSDeviceRGB::get_cmyk(const PDF_COLOR& c, PDF_COLOR& out) const {
    const uint8_t cc = static_cast<uint8_t>(255 - c.m_comps[0]);
    const uint8_t mm = static_cast<uint8_t>(255 - c.m_comps[1]);
    const uint8_t yy = static_cast<uint8_t>(255 - c.m_comps[2]);
    uint8_t k = cc < mm ? cc : mm;
    if (yy < k) k = yy;
    // Component 2 carries K and Y - K is never formed, component 3 is left
    // alone: engines depend on this layout as it stands.
    out.m_comps[0] = static_cast<uint32_t>(cc - k);
    out.m_comps[1] = static_cast<uint32_t>(mm - k);
    out.m_comps[2] = k;
}

void CPDFCSDeviceRGB::batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 1);
}

void CPDFCSDeviceRGB::batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 2);
}

void CPDFCSDeviceRGB::batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 4);
}

void CPDFCSDeviceRGB::batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const {
    detail::batch_gray_of(*this, dst, src, len);
}

}  // namespace shadepaint
