// Plain records of the numeric core: device points, fixed-point points and
// rectangles, and the 32-bit colour word.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {

struct _KXPOINT {
    int32_t x;
    int32_t y;
};

struct _KXPOINTF {
    KXFIX x;
    KXFIX y;
};

// Default-constructed it is inverted (left above right, top above bottom), which
// is how an absent box is told apart from a read one.
struct _KXRECTF {
    KXFIX left = KXFIX::from_raw(kKxInt32MaxRaw);
    KXFIX top = KXFIX::from_raw(kKxInt32MaxRaw);
    KXFIX right = KXFIX::from_raw(kKxInt32MinRaw);
    KXFIX bottom = KXFIX::from_raw(kKxInt32MinRaw);

    void set_inverted() { *this = _KXRECTF(); }
};

// Memory order blue, green, red, alpha: as a little-endian word 0xAARRGGBB.
struct _KXRGBA {
    uint8_t b;
    uint8_t g;
    uint8_t r;
    uint8_t a;
};

}  // namespace shadepaint
