// Coons patch meshes (ShadingType 6) from arbitrary dictionaries and stream
// bodies: made, loaded, painted and deleted; see patch_load_fuzz.h.
#include <cstddef>
#include <cstdint>

#include "patch_load_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return patchfuzz::run(data, size, 6);
}
