// PatternType 1: a cell of page content repeated at steps. The pattern keeps
// the dictionary's numbers and, once the content processor exists, the parsed
// content and resources that a render replays tile by tile.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "pattern/pattern.h"

namespace shadepaint {

class CPDFGOperatorSet;
class CPDFResources;

class CPDFPatTiling : public CPDFPattern {
public:
    int32_t m_paint_type = 1;              // PaintType: 1 coloured, anything else uncoloured
    int32_t m_tiling_type = 1;             // TilingType: kept, not used
    KXFIX m_xstep = KXFIX{0};              // |XStep|
    KXFIX m_ystep = KXFIX{0};              // |YStep|
    CPDFResources* m_resources = nullptr;  // owned
    CPDFGOperatorSet* m_ops = nullptr;     // owned; the parsed content

    explicit CPDFPatTiling(CPDFXRefTable* xref);
    ~CPDFPatTiling() override;

    void load() override;
};

}  // namespace shadepaint
