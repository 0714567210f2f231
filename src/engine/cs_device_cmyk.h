// Device CMYK: four components, cyan, magenta, yellow and black.
#pragma once

#include "shading/color_space.h"

namespace shadepaint {

class CPDFCSDeviceCMYK final : public CPDFCSBase {
public:
    CPDFCSDeviceCMYK();
    // Gray of the RGB that get_rgb gives.
    void get_gray(const PDF_COLOR& color, uint8_t& gray) const override;
    // Each channel is 255 - min(255, ink + black): no ink model, no profile.
    void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const override;
    // The low bytes of the four components as they are.
    void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const override;
    // Black: 0, 0, 0, 255.
    void get_default_color(PDF_COLOR& color) const override;
    void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
};

}  // namespace shadepaint
