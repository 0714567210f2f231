// PNG output through libpng's row interface.
//
// libpng reports errors by longjmp. All that a failed write must release (the
// libpng structures, the row buffer, the file) is created before the setjmp in
// write_rows and never reassigned after it, and no object with a destructor
// lives in that frame, so the jump lands on a state the cleanup can release
// without leaks or undefined behaviour. Messages are swallowed: the caller gets
// false and decides what to tell.
#include "engine/png_writer.h"

#include <png.h>
#include <sys/stat.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "engine/kxalloc.h"

namespace shadepaint {

namespace {

void on_png_error(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void on_png_warning(png_structp, png_const_charp) {}

// File order of one row: RGBA from the bitmap's blue, green, red, alpha, or gray
// and alpha as they stand.
void convert_row(const uint8_t* src, uint8_t* dst, int32_t width, int pixel_bytes) {
    if (pixel_bytes == 4) {
        for (int32_t i = 0; i < width; ++i, src += 4, dst += 4) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
            dst[3] = src[3];
        }
    } else {
        std::memcpy(dst, src, static_cast<size_t>(width) * 2);
    }
}

bool write_rows(FILE* fp, const CKXBmp& bmp, int pixel_bytes, uint8_t* row) {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, on_png_error, on_png_warning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, fp);
    // The default limit of a million pixels a row is a reading safeguard; any
    // bitmap the library can hold is a valid image to write.
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, static_cast<png_uint_32>(bmp.m_width),
                 static_cast<png_uint_32>(bmp.m_height), 8,
                 pixel_bytes == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_GRAY_ALPHA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int32_t j = 0; j < bmp.m_height; ++j) {
        convert_row(bmp.m_data + static_cast<int64_t>(j) * bmp.m_stride, row, bmp.m_width,
                    pixel_bytes);
        png_write_row(png, row);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

bool write_bitmap(const char* path, const CKXBmp& bmp, int pixel_bytes) {
    if (!path || !bmp.m_data || bmp.m_width <= 0 || bmp.m_height <= 0) return false;
    // m_width is at most INT32_MAX, so the row size fits in size_t on any host
    // with 64-bit sizes; on 32-bit hosts the check keeps the product in range.
    if (static_cast<uint64_t>(bmp.m_width) > SIZE_MAX / static_cast<unsigned>(pixel_bytes)) {
        return false;
    }
    auto* row = static_cast<uint8_t*>(
        KXAlloc(static_cast<size_t>(bmp.m_width) * static_cast<size_t>(pixel_bytes)));
    if (!row) return false;
    FILE* fp = std::fopen(path, "wb");
    if (!fp) {
        KXFree(row);
        return false;
    }
    bool ok = write_rows(fp, bmp, pixel_bytes, row);
    KXFree(row);
    // Buffered bytes may only fail to reach the disk here.
    ok = std::fflush(fp) == 0 && !std::ferror(fp) && ok;
    // A half-written image is removed, but only when it is a plain file: the
    // path may name a device that must not be unlinked.
    struct stat st;
    bool regular = fstat(fileno(fp), &st) == 0 && S_ISREG(st.st_mode);
    if (std::fclose(fp) != 0) ok = false;
    if (!ok && regular) std::remove(path);
    return ok;
}

}  // namespace

bool write_png(const char* path, const CKXBmp32& bmp) { return write_bitmap(path, bmp, 4); }

bool write_png(const char* path, const CKXBmpGray& bmp) { return write_bitmap(path, bmp, 2); }

}  // namespace shadepaint
