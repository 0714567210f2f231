// Separation and DeviceN: one to sixteen tint components, turned into an
// alternate space by a tint transform function. Separation is the case of one
// colorant; the class is shared and m_family tells them apart.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "shading/color_space.h"

namespace shadepaint {

class CPDFArray;
class CPDFFunction;

class CPDFCSSeparation final : public CPDFCSBase {
public:
    enum Colorant : int32_t {
        kColorantNamed = 0,  // through the tint transform into m_alt
        kColorantAll = 1,    // Separation /All: every colorant of the device
        kColorantNone = 2,   // Separation /None, or DeviceN of None only
    };

    CPDFCSBase* m_alt = nullptr;     // owned; null for All and None
    CPDFFunction* m_func = nullptr;  // owned; null for All and None
    int32_t m_colorant = kColorantNamed;

    // Takes alt and func over in every case. comps is clamped to 1..16. A
    // named colorant needs both, and alt may not be Indexed, Separation or
    // DeviceN; otherwise (and when memory is short) null, both deleted.
    // family is kCsFamilySeparation or kCsFamilyDeviceN.
    static CPDFCSSeparation* create(uint32_t family, int32_t comps, int32_t colorant,
                                    CPDFCSBase* alt, CPDFFunction* func);
    // [/Separation name alt tint] and [/DeviceN [names] alt tint attrs?].
    // depth is the nesting of this array (see cs_parse_p.h).
    static CPDFCSBase* load_separation(const CPDFArray* arr, CPDFXRefTable* xref, int32_t depth);
    static CPDFCSBase* load_device_n(const CPDFArray* arr, CPDFXRefTable* xref, int32_t depth);

    // A component byte b is the tint b / 255, to the nearest raw unit, so
    // 0 and 255 are exactly 0.0 and 1.0.
    static KXFIX tint_of(uint32_t byte);

    ~CPDFCSSeparation() override;
    // Named: the tints through m_func, its outputs clamped to bytes, through
    // m_alt. All: the gray 255 - tint, whatever the function. None: white,
    // the paper, which is the nearest a colour can come to leaving no mark.
    void get_gray(const PDF_COLOR& color, uint8_t& gray) const override;
    void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const override;
    // Named: m_alt's get_cmyk of the transformed colour. All: K = tint.
    // None: all four 0.
    void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const override;
    // Full tint of every colorant: 255 in components 0 .. m_comp_count - 1.
    void get_default_color(PDF_COLOR& color) const override;
    void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;

private:
    CPDFCSSeparation() = default;
    void alt_color(const PDF_COLOR& color, PDF_COLOR& out) const;
};

}  // namespace shadepaint
