// The shading pattern's load: the shading through its own factory and load,
// then Matrix and ExtGState. Nothing is reported; what could not be made
// stays null, and the destructor releases whatever was made.
#include "pattern/pat_shading.h"

#include <new>

#include "engine/ext_gstate.h"
#include "engine/xref_table.h"
#include "object/pdf_dictionary.h"
#include "shading/shading.h"

namespace shadepaint {

CPDFPatShading::CPDFPatShading(CPDFXRefTable* xref) : CPDFPattern(2, xref) {}

CPDFPatShading::~CPDFPatShading() {
    if (m_shading && !m_borrowed) delete m_shading;
    delete m_extgstate;
}

void CPDFPatShading::load() {
    if (m_loaded) return;
    m_loaded = 1;
    const CPDFDictionary* dict = m_obj.dict();
    if (!dict) return;

    // A Shading that is missing or no shading leaves m_shading null; the
    // Matrix and ExtGState are still read.
    m_shading = CPDFShading::parser_shading(m_xref, dict->find("Shading"));
    if (m_shading) m_shading->load();

    if (const CPDFObj* m = dict->find(CPDFDictionary::sm_tag_mat)) {
        CPDFXRefTable none;
        (m_xref ? m_xref : &none)->read_obj_matrix(m_matrix, m);
    }
    if (const CPDFObj* gs = dict->find(CPDFDictionary::sm_tag_extgs)) {
        m_extgstate = new (std::nothrow) CPDFExtGState();
        if (m_extgstate) m_extgstate->load(m_xref, gs);
    }
}

}  // namespace shadepaint
