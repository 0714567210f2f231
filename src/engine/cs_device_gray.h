// Device gray: one component, its low byte the gray level. Also what CalGray
// and a one-component ICCBased space become.
#pragma once

#include "shading/color_space.h"

namespace shadepaint {

class CPDFCSDeviceGray final : public CPDFCSBase {
public:
    CPDFCSDeviceGray();
    void get_gray(const PDF_COLOR& color, uint8_t& gray) const override;
    void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const override;
    // C, M and Y 0, K the complement of the gray level, in components 0 to 3.
    void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const override;
    void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
};

}  // namespace shadepaint
