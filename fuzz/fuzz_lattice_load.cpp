// Lattice meshes (ShadingType 5) from arbitrary dictionaries and stream
// bodies: made, loaded, painted and deleted; see mesh_load_fuzz.h.
#include <cstddef>
#include <cstdint>

#include "mesh_load_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return meshfuzz::run(data, size, 5);
}
