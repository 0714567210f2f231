#include "pattern/pat_tiling.h"

#include <cassert>

namespace shadepaint {

CPDFPatTiling::CPDFPatTiling(CPDFXRefTable* xref) : CPDFPattern(1, xref) {}

CPDFPatTiling::~CPDFPatTiling() {
    // Nothing creates the resources or the operator set yet, so there is
    // nothing to release; the release comes with the tiling load.
    assert(!m_resources && !m_ops);
}

void CPDFPatTiling::load() {
    if (m_loaded) return;
    m_loaded = 1;
    // TODO: the tiling load: parse the content stream into m_ops, read
    // PaintType, TilingType, BBox, XStep, YStep and Matrix, and bind
    // m_resources to Resources. Needs the engine's content processor.
}

}  // namespace shadepaint
