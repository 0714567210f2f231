// CIE L*a*b*, shown as sRGB. Components are bytes over the space's ranges:
// L* = c0 / 255 * 100, a* = amin + c1 / 255 * (amax - amin), b* likewise,
// which is what a function output or a mesh sample in 0..1 means here.
#pragma once

#include <cstdint>

#include "shading/color_space.h"

namespace shadepaint {

class CPDFArray;

class CPDFCSLab final : public CPDFCSBase {
public:
    double m_white_point[3];  // Xw, Yw, Zw; all positive
    double m_range[4];        // amin, amax, bmin, bmax
    // From XYZ under m_white_point to linear sRGB: the white adapted to D65
    // by the Bradford transform, then the sRGB primaries. Row major.
    double m_to_rgb[9];

    // A white point with a component that is not positive, or one the
    // adaptation can't divide by, is replaced by D50.
    CPDFCSLab(const double white_point[3], const double range[4]);
    // [/Lab << /WhitePoint [..] /Range [..] >>]: a missing or unusable
    // WhitePoint reads as D50, a missing or short Range as [-100 100 -100 100].
    // Null when the array is shorter than two or its second element is no
    // dictionary.
    static CPDFCSBase* load(const CPDFArray* arr, CPDFXRefTable* xref);

    void get_gray(const PDF_COLOR& color, uint8_t& gray) const override;
    void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const override;
    // From the sRGB colour: K the darkest complement, C, M, Y what is left of
    // each complement, in components 0 to 3.
    void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const override;
    // L* 0 and a*, b* 0 or the nearest end of their ranges.
    void get_default_color(PDF_COLOR& color) const override;
    void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
};

}  // namespace shadepaint
