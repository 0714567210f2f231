// PatternType 2: a shading bound to a matrix and an optional graphics state.
// The renderer paints through it by reading its fields: m_shading rendered
// with m_matrix followed by the page's device matrix, under m_extgstate.
#pragma once

#include <cstdint>

#include "pattern/pattern.h"

namespace shadepaint {

class CPDFExtGState;
class CPDFShading;

class CPDFPatShading : public CPDFPattern {
public:
    // Not 0: m_shading belongs to whoever put it there, and the destructor
    // leaves it alive. The factory and load() never set it.
    uint32_t m_borrowed = 0;
    // Loaded by load(); stays null when Shading is missing or makes no
    // shading. A shading whose own load failed stays and paints what it can.
    CPDFShading* m_shading = nullptr;
    CPDFExtGState* m_extgstate = nullptr;  // owned; null without ExtGState

    explicit CPDFPatShading(CPDFXRefTable* xref);
    ~CPDFPatShading() override;

    void load() override;
};

}  // namespace shadepaint
