// Placeholder until the engine's function kinds land.
#include "shading/function.h"

namespace shadepaint {

CPDFFunction* CPDFFunction::parse_func(const CPDFObj*, CPDFXRefTable*) { return nullptr; }

}  // namespace shadepaint
