// The colour interface of the painter. Colour spaces turn a PDF_COLOR (byte
// scale components, 0..255) into pixels. Band workers call get_rgb and
// get_gray on one shared object at once: implementations keep no mutable state.
#pragma once

#include <cstdint>

#include "numeric/kxgeom.h"

namespace shadepaint {

class CPDFObj;
class CPDFXRefTable;

// Sixteen components on a byte scale. It has no count of its own: the colour
// space it is handed to says how many are meaningful.
struct PDF_COLOR {
    uint32_t m_comps[16];
};

class CPDFCSBase {
public:
    uint32_t m_family = 0;
    int32_t m_comp_count = 0;

    CPDFCSBase() = default;
    CPDFCSBase(const CPDFCSBase&) = delete;
    CPDFCSBase& operator=(const CPDFCSBase&) = delete;
    virtual ~CPDFCSBase() = default;

    virtual void get_gray(const PDF_COLOR& color, uint8_t& gray) const = 0;
    virtual void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const = 0;
    virtual void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const = 0;
    // Clears the first four components, no others.
    virtual void get_default_color(PDF_COLOR& color) const;
    // Runs of samples to pixels. len is the source length in bytes; the loop
    // runs while the source pointer is below src + len, at least once.
    virtual void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const = 0;
    virtual void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const = 0;
    virtual void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const = 0;
    virtual void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const = 0;
    virtual int32_t support_op() const;

    // An owned colour space from the value of a ColorSpace key (a name, an
    // array, or a reference to either), or null. obj may be null.
    static CPDFCSBase* parser_cs(const CPDFObj* obj, CPDFXRefTable* xref);
};

// The complete device RGB space: c0 to red (byte 2), c1 to green, c2 to blue.
class CPDFCSDeviceRGB : public CPDFCSBase {
public:
    CPDFCSDeviceRGB() {
        m_family = 3;
        m_comp_count = 3;
    }
    void get_gray(const PDF_COLOR& color, uint8_t& gray) const override;
    void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const override;
    // Writes C-K, M-K and K into components 0, 1, 2; component 3 is untouched.
    void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const override;
    void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const override;
    // Wide samples: the first three bytes of each 6- or 12-byte group count.
    void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
};

}  // namespace shadepaint
