// Device gray. The level is the low byte of component 0; red, green and blue
// all take it, and since the gray weights sum to 1024 the gray of that RGB is
// the level again, so get_gray needs no detour.
#include "engine/cs_device_gray.h"

#include "engine/cs_family.h"
#include "shading/color_space_p.h"

namespace shadepaint {

CPDFCSDeviceGray::CPDFCSDeviceGray() {
    m_family = kCsFamilyDeviceGray;
    m_comp_count = 1;
}

void CPDFCSDeviceGray::get_gray(const PDF_COLOR& c, uint8_t& gray) const {
    gray = static_cast<uint8_t>(c.m_comps[0]);
}

void CPDFCSDeviceGray::get_rgb(const PDF_COLOR& c, _KXRGBA& rgba) const {
    const uint8_t v = static_cast<uint8_t>(c.m_comps[0]);
    rgba.r = rgba.g = rgba.b = v;
    rgba.a = 255;
}

void CPDFCSDeviceGray::get_cmyk(const PDF_COLOR& c, PDF_COLOR& out) const {
    out.m_comps[0] = out.m_comps[1] = out.m_comps[2] = 0;
    out.m_comps[3] = 255u - static_cast<uint8_t>(c.m_comps[0]);
}

void CPDFCSDeviceGray::batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 1);
}

void CPDFCSDeviceGray::batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const {
    detail::batch_gray_of(*this, dst, src, len);
}

void CPDFCSDeviceGray::batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 2);
}

void CPDFCSDeviceGray::batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 4);
}

}  // namespace shadepaint
