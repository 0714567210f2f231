// What a page renderer needs of a graphics state parameter dictionary
// (ExtGState): the two constant alphas, the blend mode, whether a soft mask is
// set, and the line width. Each value holds what the dictionary gave, or the
// value of PDF's initial graphics state; m_present says which keys were given,
// since applying the dictionary changes only those.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {

class CPDFObj;
class CPDFXRefTable;

// The separable and non-separable blend modes of PDF. Compatible is Normal.
enum PDF_BLEND_MODE : int32_t {
    kBlendNormal = 0,
    kBlendMultiply,
    kBlendScreen,
    kBlendOverlay,
    kBlendDarken,
    kBlendLighten,
    kBlendColorDodge,
    kBlendColorBurn,
    kBlendHardLight,
    kBlendSoftLight,
    kBlendDifference,
    kBlendExclusion,
    kBlendHue,
    kBlendSaturation,
    kBlendColor,
    kBlendLuminosity,
};

class CPDFExtGState {
public:
    // Bits of m_present.
    static constexpr uint32_t kHasStrokeAlpha = 1u << 0;  // CA
    static constexpr uint32_t kHasFillAlpha = 1u << 1;    // ca
    static constexpr uint32_t kHasBlendMode = 1u << 2;    // BM
    static constexpr uint32_t kHasSoftMask = 1u << 3;     // SMask, a mask or /None
    static constexpr uint32_t kHasLineWidth = 1u << 4;    // LW

    uint32_t m_present = 0;
    KXFIX m_stroke_alpha = KXFIX::from_raw(kKxOne);  // CA, 0 to 1.0
    KXFIX m_fill_alpha = KXFIX::from_raw(kKxOne);    // ca, 0 to 1.0
    PDF_BLEND_MODE m_blend_mode = kBlendNormal;
    uint32_t m_soft_mask = 0;                      // 1: SMask is a mask dictionary
    KXFIX m_line_width = KXFIX::from_raw(kKxOne);  // LW, never negative

    CPDFExtGState() = default;
    CPDFExtGState(const CPDFExtGState&) = delete;
    CPDFExtGState& operator=(const CPDFExtGState&) = delete;

    // Reads the dictionary that obj is or refers to; everything is reset to
    // the defaults first. 1 when a dictionary was read, 0 when obj is null or
    // resolves to anything else (the defaults then stand). A value of the
    // wrong kind counts as absent.
    int32_t load(CPDFXRefTable* xref, const CPDFObj* obj);

    // The blend mode of a name, or -1 when PDF defines no such mode.
    static int32_t blend_mode_of(const char* name);
};

}  // namespace shadepaint
