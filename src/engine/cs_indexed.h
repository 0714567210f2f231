// Indexed colour: one component, an index into a table of colours of a base
// space.
#pragma once

#include <cstddef>
#include <cstdint>

#include "shading/color_space.h"

namespace shadepaint {

class CPDFArray;

class CPDFCSIndexed final : public CPDFCSBase {
public:
    // The largest index the document can name: one byte.
    static constexpr int32_t kMaxHival = 255;

    CPDFCSBase* m_base = nullptr;  // owned; never Indexed itself
    int32_t m_hival = 0;           // 0 .. kMaxHival
    // Owned KXAlloc block of (m_hival + 1) entries of m_base->m_comp_count
    // bytes each; entries the document did not supply are zero.
    uint8_t* m_table = nullptr;

    ~CPDFCSIndexed() override;

    // Takes base over in every case. hival is clamped to 0..kMaxHival; the
    // table is the first len bytes of lookup (may be null), zero behind. Null,
    // with base deleted, when base is null or Indexed or the table can't be had.
    static CPDFCSIndexed* create(CPDFCSBase* base, int32_t hival, const uint8_t* lookup,
                                 size_t len);
    // [/Indexed base hival lookup] (or /I); the lookup is a string or a
    // stream. depth is the nesting of this array (see cs_parse_p.h).
    static CPDFCSBase* load(const CPDFArray* arr, CPDFXRefTable* xref, int32_t depth);

    // The base colour of the entry named by the low byte of component 0, an
    // index above m_hival counting as m_hival.
    void get_gray(const PDF_COLOR& color, uint8_t& gray) const override;
    void get_rgb(const PDF_COLOR& color, _KXRGBA& rgba) const override;
    void get_cmyk(const PDF_COLOR& color, PDF_COLOR& cmyk) const override;
    void batch_rgb(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_gray(uint8_t* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb2(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;
    void batch_rgb4(_KXRGBA* dst, const uint8_t* src, int32_t len) const override;

private:
    CPDFCSIndexed();
    void base_color(const PDF_COLOR& color, PDF_COLOR& out) const;
};

}  // namespace shadepaint
