// Placeholder until the engine's colour spaces land: DeviceRGB by name only.
#include <cstring>

#include "object/pdf_obj.h"
#include "shading/color_space.h"

namespace shadepaint {

CPDFCSBase* CPDFCSBase::parser_cs(const CPDFObj* obj, CPDFXRefTable*) {
    if (obj && obj->m_tag == kObjName && obj->m_name && std::strcmp(obj->m_name, "DeviceRGB") == 0)
        return new CPDFCSDeviceRGB();
    return nullptr;
}

}  // namespace shadepaint
