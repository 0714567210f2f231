// The bitmaps a shading paints: a coverage mask (one byte a pixel), a colour
// bitmap (_KXRGBA, four bytes: blue, green, red, alpha) and a gray bitmap (two
// bytes: gray, alpha). Rows are addressed as m_data + row * m_stride; the
// painter never assumes tight rows and never touches bytes past m_width pixels.
#pragma once

#include <cstdint>

namespace shadepaint {

class CKXBmp8;

class CKXBmp {
public:
    uint8_t* m_data = nullptr;
    int32_t m_width = 0;
    int32_t m_height = 0;
    int32_t m_stride = 0;

    CKXBmp(const CKXBmp&) = delete;
    CKXBmp& operator=(const CKXBmp&) = delete;
    virtual ~CKXBmp();

    // Limits the finished picture by the mask's coverage, the mask's pixel
    // (x + i, y + j) applying to pixel (i, j).
    virtual void apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) = 0;

protected:
    // Owning: rows of stride bytes (0: tight rows), zero-filled. An allocation
    // that fails or a size out of range leaves an empty 0 x 0 bitmap.
    CKXBmp(int32_t width, int32_t height, int32_t stride, int32_t pixel_bytes);
    // Over caller memory, which the bitmap does not own.
    CKXBmp(uint8_t* data, int32_t width, int32_t height, int32_t stride);

private:
    bool m_owned = false;
};

class CKXBmp8 : public CKXBmp {
public:
    CKXBmp8(int32_t width, int32_t height, int32_t stride = 0) : CKXBmp(width, height, stride, 1) {}
    CKXBmp8(uint8_t* data, int32_t width, int32_t height, int32_t stride)
        : CKXBmp(data, width, height, stride) {}
    void apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) override;
};

class CKXBmp32 : public CKXBmp {
public:
    CKXBmp32(int32_t width, int32_t height, int32_t stride = 0) : CKXBmp(width, height, stride, 4) {}
    CKXBmp32(uint8_t* data, int32_t width, int32_t height, int32_t stride)
        : CKXBmp(data, width, height, stride) {}
    void apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) override;
};

class CKXBmpGray : public CKXBmp {
public:
    CKXBmpGray(int32_t width, int32_t height, int32_t stride = 0)
        : CKXBmp(width, height, stride, 2) {}
    CKXBmpGray(uint8_t* data, int32_t width, int32_t height, int32_t stride)
        : CKXBmp(data, width, height, stride) {}
    void apply_mask(const CKXBmp8& mask, int32_t x, int32_t y) override;
    // The second form, used by the radial gray path.
    virtual void apply_mask2(const CKXBmp8& mask, int32_t x, int32_t y);
};

}  // namespace shadepaint
