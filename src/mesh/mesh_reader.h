// The mesh bit stream of ShadingTypes 4 to 7: a cursor over the loaded body,
// and the reader that turns raw fields into shading-space points and colour
// components. Both live in a loader's stack frame for one load() call and own
// nothing.
//
// Fields are unsigned, most significant bit first, packed with no regard to
// byte boundaries. Alignment is the loader's business: the free-form mesh
// aligns after every vertex, the lattice never, the patch meshes after every
// patch.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"
#include "numeric/kxgeom.h"

namespace shadepaint {

class CPDFCSBase;
class CPDFFunction;
struct PDF_COLOR;

// What read_bits gives for a field that does not fit in the data left.
constexpr uint32_t kBitsPastEnd = 0xFFFFFFFF;

struct PDF_BIT_CURSOR {
    const unsigned char* m_cur;  // the byte being read
    uint32_t m_left;             // bytes not wholly consumed, the current one included
    uint32_t m_bit;              // bits of the current byte already consumed, 0 to 7

    // Pulls an n-bit field. A field that does not fit in the bits left gives
    // kBitsPastEnd and leaves the cursor where it was, so a narrower field
    // behind it may still fit. The bytes touched are gathered one at a time in
    // a 32-bit accumulator, which is not to be widened: a field whose bytes
    // hold more than 32 bits loses its top, so a 32-bit field starting one bit
    // into a byte touches five bytes and keeps its low 25 bits. Width 0 gives
    // 0 and reads the current byte, which the zero byte behind the data makes
    // safe.
    uint32_t read_bits(uint32_t n) {
        const uint32_t total = m_bit + n;
        // The product wraps like the 32-bit counters it guards.
        if (total > m_left * 8u) return kBitsPastEnd;
        uint32_t acc = m_cur[0] & ((1u << (8 - m_bit)) - 1);
        uint32_t touched = 1;
        uint32_t last = total;  // bits used of the last byte touched
        if (total >= 9) {
            // ceil(total / 8) bytes; the last holds 1 to 8 of the field's bits.
            touched = ((total - 9) >> 3) + 2;
            for (uint32_t i = 1; i < touched; ++i) acc = (acc << 8) | m_cur[i];
            last = total - 8 - ((total - 9) & ~7u);
        }
        uint32_t consumed = touched;
        if (last != 8) {
            acc >>= 8 - last;
            consumed = touched - 1;
        }
        m_cur += consumed;
        m_left -= consumed;
        m_bit = last & 7;
        return acc;
    }

    // Moves to the next byte boundary unless already on one.
    void align() {
        if (m_bit != 0) {
            ++m_cur;
            --m_left;
            m_bit = 0;
        }
    }
};

// Filled field by field through setup(); no constructor, no virtual
// operations.
struct CPDFShadingDataReader {
    PDF_BIT_CURSOR* m_src;
    int32_t m_bits_coord;  // BitsPerCoordinate, 0 to 32
    KXFIX m_min_x;         // Decode[0]
    KXFIX m_min_y;         // Decode[2]
    KXFIX m_max_x;         // Decode[1]
    KXFIX m_max_y;         // Decode[3]
    KXFIX m_scale_x;       // x change for one step of the raw coordinate
    KXFIX m_scale_y;
    int32_t m_coord_shift;   // low bits dropped from a raw coordinate
    int32_t m_bits_comp;     // BitsPerComponent, 0 to 32
    CPDFFunction** m_funcs;  // null without Function; no null entries
    int32_t m_func_count;
    CPDFCSBase* m_cs;
    KXFIX* m_decode_min;  // colour bounds of Decode: pointed at, never read
    KXFIX* m_decode_max;

    // Widths outside 0 to 32 are refused by the loaders before they get here.
    void setup(PDF_BIT_CURSOR* src, int32_t bits_coord, int32_t bits_comp, KXFIX min_x, KXFIX max_x,
               KXFIX min_y, KXFIX max_y, CPDFFunction** funcs, int32_t func_count, CPDFCSBase* cs,
               KXFIX* decode_min, KXFIX* decode_max);

    // One x field and one y field, scaled into the Decode range (not clamped).
    void read_pt(_KXPOINTF& pt);
    // The colour fields of one vertex or corner, as components on the byte
    // scale from index 0 on; components behind them are left as they were.
    void read_clr(PDF_COLOR& clr);
    // The same, then the colour space's get_rgb.
    void read_clr(PDF_COLOR& clr, _KXRGBA& rgba);
};

}  // namespace shadepaint
