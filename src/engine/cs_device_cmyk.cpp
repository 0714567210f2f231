// Device CMYK by the plain subtractive rule: each ink darkens its own channel
// and black darkens all three, added and clipped, so c + k >= 255 is no light
// at all in that channel. Components count by their low bytes.
#include "engine/cs_device_cmyk.h"

#include "engine/cs_family.h"
#include "shading/color_space_p.h"

namespace shadepaint {

namespace {
uint8_t subtract(uint32_t ink, uint32_t black) {
    const uint32_t sum = (ink & 255u) + (black & 255u);
    return static_cast<uint8_t>(sum >= 255u ? 0u : 255u - sum);
}
}  // namespace

CPDFCSDeviceCMYK::CPDFCSDeviceCMYK() {
    m_family = kCsFamilyDeviceCMYK;
    m_comp_count = 4;
}

void CPDFCSDeviceCMYK::get_rgb(const PDF_COLOR& c, _KXRGBA& rgba) const {
    rgba.r = subtract(c.m_comps[0], c.m_comps[3]);
    rgba.g = subtract(c.m_comps[1], c.m_comps[3]);
    rgba.b = subtract(c.m_comps[2], c.m_comps[3]);
    rgba.a = 255;
}

void CPDFCSDeviceCMYK::get_gray(const PDF_COLOR& c, uint8_t& gray) const {
    _KXRGBA rgba;
    get_rgb(c, rgba);
    gray = detail::gray_of(rgba.r, rgba.g, rgba.b);
}

void CPDFCSDeviceCMYK::get_cmyk(const PDF_COLOR& c, PDF_COLOR& out) const {
    for (int i = 0; i < 4; ++i) out.m_comps[i] = c.m_comps[i] & 255u;
}

void CPDFCSDeviceCMYK::get_default_color(PDF_COLOR& color) const {
    color.m_comps[0] = color.m_comps[1] = color.m_comps[2] = 0;
    color.m_comps[3] = 255;
}

void CPDFCSDeviceCMYK::batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 1);
}

void CPDFCSDeviceCMYK::batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const {
    detail::batch_gray_of(*this, dst, src, len);
}

void CPDFCSDeviceCMYK::batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 2);
}

void CPDFCSDeviceCMYK::batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const {
    detail::batch_rgb_of(*this, dst, src, len, 4);
}

}  // namespace shadepaint
