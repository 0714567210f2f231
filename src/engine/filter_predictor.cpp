// Undoing a predictor row by row. Both kinds work on a row of Columns pixels
// padded to whole bytes; a PNG row comes behind its type byte, and type 0 to 4
// (None, Sub, Up, Average, Paeth) may change from row to row whatever
// Predictor 10 to 15 announced. A type above 4 is corrupt data: the body ends
// before that row. A last row cut short is undone as far as it goes and
// delivered, since each byte depends only on bytes before it.
//
// The PNG filters act on bytes, with the left neighbour one pixel back
// (rounded up to a whole byte); the TIFF predictor adds samples of the same
// component modulo 2^BitsPerComponent, 16-bit samples most significant byte
// first. The padding bits at the end of a TIFF row pass through unchanged.
#include "engine/filter_predictor.h"

#include <cstring>

#include "engine/kxalloc.h"

namespace shadepaint {

namespace {

unsigned char paeth(int32_t a, int32_t b, int32_t c) {
    const int32_t p = a + b - c;
    const int32_t pa = p > a ? p - a : a - p;
    const int32_t pb = p > b ? p - b : b - p;
    const int32_t pc = p > c ? p - c : c - p;
    if (pa <= pb && pa <= pc) return static_cast<unsigned char>(a);
    return static_cast<unsigned char>(pb <= pc ? b : c);
}

}  // namespace

uint32_t CPDFFilterPredictor::row_bytes(int32_t colors, int32_t bpc, int32_t columns) {
    if (colors < 1 || colors > kMaxColors || columns < 1) return 0;
    if (bpc != 1 && bpc != 2 && bpc != 4 && bpc != 8 && bpc != 16) return 0;
    // At most 32 * 16 * (2^31 - 1) bits: no overflow in 64 bits.
    const int64_t bytes = (int64_t{colors} * bpc * columns + 7) / 8;
    return bytes > kMaxRowBytes ? 0 : static_cast<uint32_t>(bytes);
}

CPDFFilterPredictor::CPDFFilterPredictor(CPDFStream* src, int32_t predictor, int32_t colors,
                                         int32_t bpc, int32_t columns)
    : CPDFFilterStream(src),
      m_png(predictor != kTiff),
      m_colors(colors),
      m_bpc(bpc),
      m_row_bytes(row_bytes(colors, bpc, columns)),
      m_row_bits(m_row_bytes ? static_cast<uint32_t>(colors * bpc) * static_cast<uint32_t>(columns)
                             : 0),
      m_pixel_bytes(static_cast<uint32_t>((colors * bpc + 7) / 8)) {}

CPDFFilterPredictor::~CPDFFilterPredictor() { KXFree(m_block); }

bool CPDFFilterPredictor::init() {
    if (!CPDFFilterStream::init() || m_row_bytes == 0) return false;
    if (m_block) return true;
    // Both rows in one block, zero: next_row swaps them before the first row,
    // and the PNG filters see zeros above it.
    m_block = static_cast<unsigned char*>(KXAlloc(size_t{m_row_bytes} * 2));
    if (!m_block) return false;
    std::memset(m_block, 0, size_t{m_row_bytes} * 2);
    m_row = m_block;
    m_prev = m_block + m_row_bytes;
    return true;
}

void CPDFFilterPredictor::undo_png(int32_t type, uint32_t count) {
    unsigned char* row = m_row;
    const unsigned char* up = m_prev;
    const uint32_t bpp = m_pixel_bytes;
    // Left of the first pixel, a and c are 0.
    switch (type) {
        case 1:
            for (uint32_t i = bpp; i < count; ++i)
                row[i] = static_cast<unsigned char>(row[i] + row[i - bpp]);
            break;
        case 2:
            for (uint32_t i = 0; i < count; ++i)
                row[i] = static_cast<unsigned char>(row[i] + up[i]);
            break;
        case 3:
            for (uint32_t i = 0; i < count; ++i) {
                const int32_t a = i >= bpp ? row[i - bpp] : 0;
                row[i] = static_cast<unsigned char>(row[i] + ((a + up[i]) >> 1));
            }
            break;
        case 4:
            for (uint32_t i = 0; i < count; ++i) {
                const int32_t a = i >= bpp ? row[i - bpp] : 0;
                const int32_t c = i >= bpp ? up[i - bpp] : 0;
                row[i] = static_cast<unsigned char>(row[i] + paeth(a, up[i], c));
            }
            break;
        default:
            break;
    }
}

void CPDFFilterPredictor::undo_tiff(uint32_t count) {
    unsigned char* row = m_row;
    const auto colors = static_cast<uint32_t>(m_colors);
    if (m_bpc == 8) {
        for (uint32_t i = colors; i < count; ++i)
            row[i] = static_cast<unsigned char>(row[i] + row[i - colors]);
    } else if (m_bpc == 16) {
        for (uint32_t i = 2 * colors; i + 1 < count; i += 2) {
            const uint32_t left =
                static_cast<uint32_t>(row[i - 2 * colors]) << 8 | row[i - 2 * colors + 1];
            const uint32_t v = (static_cast<uint32_t>(row[i]) << 8 | row[i + 1]) + left;
            row[i] = static_cast<unsigned char>(v >> 8);
            row[i + 1] = static_cast<unsigned char>(v);
        }
    } else {
        // 1, 2 or 4 bits: samples never straddle a byte. Only whole samples
        // of the row proper are undone; padding bits stay as they came.
        const auto bpc = static_cast<uint32_t>(m_bpc);
        const uint32_t mask = (1u << bpc) - 1;
        uint32_t end_bits = count * 8 < m_row_bits ? count * 8 : m_row_bits;
        end_bits -= end_bits % bpc;
        const uint32_t step = colors * bpc;
        for (uint32_t pos = step; pos < end_bits; pos += bpc) {
            const uint32_t left_pos = pos - step;
            const uint32_t left = row[left_pos >> 3] >> (8 - bpc - (left_pos & 7)) & mask;
            const uint32_t shift = 8 - bpc - (pos & 7);
            const uint32_t v = ((row[pos >> 3] >> shift & mask) + left) & mask;
            row[pos >> 3] =
                static_cast<unsigned char>((row[pos >> 3] & ~(mask << shift)) | v << shift);
        }
    }
}

bool CPDFFilterPredictor::next_row() {
    // The row handed out becomes the row above.
    unsigned char* t = m_prev;
    m_prev = m_row;
    m_row = t;
    int32_t type = 0;
    if (m_png) {
        type = next_byte();
        if (type < 0 || type > 4) return false;
    }
    const uint32_t got = read_input(m_row, m_row_bytes);
    if (got == 0) return false;
    if (m_png) {
        undo_png(type, got);
    } else {
        undo_tiff(got);
    }
    if (got < m_row_bytes) m_finished = true;
    m_row_pos = 0;
    m_row_len = got;
    return true;
}

uint32_t CPDFFilterPredictor::decode(unsigned char* out, uint32_t size) {
    uint32_t done = 0;
    while (done < size) {
        if (m_row_pos == m_row_len) {
            if (m_finished || !next_row()) {
                m_finished = true;
                break;
            }
        }
        uint32_t take = m_row_len - m_row_pos;
        if (take > size - done) take = size - done;
        std::memcpy(out + done, m_row + m_row_pos, take);
        m_row_pos += take;
        done += take;
    }
    return done;
}

}  // namespace shadepaint
