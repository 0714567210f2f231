#include "engine/png_writer.h"

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "engine/kxalloc.h"

namespace shadepaint {
namespace {

struct Decoded {
    png_uint_32 width = 0, height = 0;
    int bit_depth = 0, color_type = 0;
    std::vector<uint8_t> pixels;  // tight rows
};

void on_error(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void on_warning(png_structp, png_const_charp) {}

// Reads a whole 8-bit file as it is stored, with no transformation. All that
// the error path releases exists before setjmp; out lives in the caller.
bool read_png(const char* path, Decoded& out) {
    FILE* fp = std::fopen(path, "rb");
    if (!fp) return false;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        std::fclose(fp);
        return false;
    }
    png_init_io(png, fp);
    png_read_info(png, info);
    out.width = png_get_image_width(png, info);
    out.height = png_get_image_height(png, info);
    out.bit_depth = png_get_bit_depth(png, info);
    out.color_type = png_get_color_type(png, info);
    const size_t row = png_get_rowbytes(png, info);
    out.pixels.assign(row * out.height, 0);
    for (png_uint_32 j = 0; j < out.height; ++j) png_read_row(png, &out.pixels[j * row], nullptr);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(fp);
    return true;
}

std::string out_path(const char* name) {
    return std::string(SHADEPAINT_TEST_OUT_DIR) + "/png_writer_" + name + ".png";
}

bool exists(const std::string& path) {
    FILE* fp = std::fopen(path.c_str(), "rb");
    if (fp) std::fclose(fp);
    return fp != nullptr;
}

class PngWriter : public ::testing::Test {
protected:
    void SetUp() override {
        std::error_code ec;
        std::filesystem::create_directories(SHADEPAINT_TEST_OUT_DIR, ec);
        ASSERT_FALSE(ec) << ec.message();
    }
};

TEST_F(PngWriter, ColourRoundTripSwapsToRgbaAndSkipsPadding) {
    // Stride 28 for 5 pixels of 4 bytes: 8 bytes of padding a row, filled with
    // a marker that must not reach the file. Colour under alpha 0 is kept: the
    // file is not premultiplied.
    const int32_t w = 5, h = 3, stride = 28;
    CKXBmp32 bmp(w, h, stride);
    ASSERT_NE(bmp.m_data, nullptr);
    for (int32_t j = 0; j < h; ++j) {
        uint8_t* row = bmp.m_data + j * stride;
        for (int32_t i = 0; i < w; ++i) {
            row[i * 4 + 0] = static_cast<uint8_t>(10 * i + j);               // blue
            row[i * 4 + 1] = static_cast<uint8_t>(100 + i);                  // green
            row[i * 4 + 2] = static_cast<uint8_t>(200 + j);                  // red
            row[i * 4 + 3] = static_cast<uint8_t>(i == 0 ? 0 : 50 * i + j);  // alpha
        }
        for (int32_t k = w * 4; k < stride; ++k) row[k] = 0xee;
    }
    const std::string path = out_path("colour");
    ASSERT_TRUE(write_png(path.c_str(), bmp));
    Decoded d;
    ASSERT_TRUE(read_png(path.c_str(), d));
    EXPECT_EQ(std::make_pair(d.width, d.height), std::make_pair(5u, 3u));
    EXPECT_EQ(std::make_pair(d.bit_depth, d.color_type),
              std::make_pair(8, PNG_COLOR_TYPE_RGB_ALPHA));
    ASSERT_EQ(d.pixels.size(), size_t{5 * 4 * 3});
    for (int32_t j = 0; j < h; ++j) {
        for (int32_t i = 0; i < w; ++i) {
            const uint8_t* src = bmp.m_data + j * stride + i * 4;
            const uint8_t* got = &d.pixels[(j * w + i) * 4];
            const uint8_t want[4] = {src[2], src[1], src[0], src[3]};
            EXPECT_EQ(std::memcmp(got, want, 4), 0) << "pixel " << i << "," << j;
        }
    }
}

TEST_F(PngWriter, GrayRoundTripKeepsGrayAndAlpha) {
    const int32_t w = 3, h = 4, stride = 9;  // odd stride: rows are not aligned
    std::vector<uint8_t> mem(stride * h, 0xee);
    for (int32_t j = 0; j < h; ++j)
        for (int32_t i = 0; i < w; ++i) {
            mem[j * stride + i * 2] = static_cast<uint8_t>(60 * j + i);
            mem[j * stride + i * 2 + 1] = static_cast<uint8_t>(255 - 40 * i - j);
        }
    CKXBmpGray bmp(mem.data(), w, h, stride);
    const std::string path = out_path("gray");
    ASSERT_TRUE(write_png(path.c_str(), bmp));
    Decoded d;
    ASSERT_TRUE(read_png(path.c_str(), d));
    EXPECT_EQ(std::make_pair(d.width, d.height), std::make_pair(3u, 4u));
    EXPECT_EQ(std::make_pair(d.bit_depth, d.color_type),
              std::make_pair(8, PNG_COLOR_TYPE_GRAY_ALPHA));
    ASSERT_EQ(d.pixels.size(), size_t{3 * 2 * 4});
    for (int32_t j = 0; j < h; ++j)
        for (int32_t i = 0; i < w * 2; ++i)
            EXPECT_EQ(d.pixels[j * w * 2 + i], mem[j * stride + i]) << "byte " << i << " row " << j;
}

// Each failure reports false and leaves no file behind; on a full device a
// small file fails only when its buffer is flushed, and a large one of noise
// inside libpng, whose error jumps back through the writer (the sanitizer
// build checks that neither leaks), and the device must not be removed.
TEST_F(PngWriter, FailuresReturnFalseAndLeaveNoFile) {
    CKXBmp32 good(4, 4);
    CKXBmp32 no_pixels(0, 0);
    CKXBmp32 no_data(nullptr, 4, 4, 16);
    CKXBmp32 large(512, 512);
    ASSERT_TRUE(good.m_data && large.m_data);
    uint32_t seed = 12345;
    for (int64_t k = 0; k < int64_t{512} * 512 * 4; ++k) {
        seed = seed * 1103515245u + 12345u;
        large.m_data[k] = static_cast<uint8_t>(seed >> 24);
    }
    const bool full = access("/dev/full", W_OK) == 0;
    const std::string dir = SHADEPAINT_TEST_OUT_DIR;
    const struct {
        const CKXBmp32* bmp;
        std::string path;
        int32_t allocations;  // -1: no failure
        const char* why;
    } cases[] = {
        {&no_pixels, out_path("empty"), -1, "a 0 x 0 picture is no PNG"},
        {&no_data, out_path("null"), -1, "no pixel memory"},
        {&good, out_path("no_memory"), 0, "no row buffer"},
        {&good, dir + "/no-such-dir/x.png", -1, "directory missing"},
        {&good, dir, -1, "path is a directory"},
        {&good, full ? "/dev/full" : dir, -1, "full device, small file"},
        {&large, full ? "/dev/full" : dir, -1, "full device, large file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const bool kept = c.path == dir || c.path == "/dev/full";  // never to be removed
        if (!kept) std::remove(c.path.c_str());
        kx_alloc_fail_after(c.allocations);
        const bool ok = write_png(c.path.c_str(), *c.bmp);
        kx_alloc_fail_after(-1);
        EXPECT_FALSE(ok);
        EXPECT_EQ(exists(c.path), kept);
    }
    CKXBmpGray gray_empty(0, 0);
    EXPECT_FALSE(write_png(out_path("gray_empty").c_str(), gray_empty));
    EXPECT_FALSE(write_png(nullptr, good));
}

}  // namespace
}  // namespace shadepaint
