// The m_family word of each colour space the engine builds. 3 is fixed for
// device RGB by the painter; the others are this engine's own numbering.
// CalGray, CalRGB and ICCBased build their device counterparts and so carry
// the device families.
#pragma once

#include <cstdint>

namespace shadepaint {

enum : uint32_t {
    kCsFamilyDeviceGray = 1,
    kCsFamilyDeviceRGB = 3,
    kCsFamilyDeviceCMYK = 4,
    kCsFamilyIndexed = 5,
    kCsFamilySeparation = 6,
    kCsFamilyDeviceN = 7,
    kCsFamilyLab = 8,
};

}  // namespace shadepaint
