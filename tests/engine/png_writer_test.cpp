#include "engine/png_writer.h"

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "test_objects.h"

namespace shadepaint {
namespace {

std::string out_path(const char* name) {
    std::filesystem::create_directories(SHADEPAINT_TEST_OUT_DIR);
    return std::string(SHADEPAINT_TEST_OUT_DIR) + "/png_writer_" + name + ".png";
}

// The pixels of a file in its own format, rows tight: 8-bit sRGB reads are
// neither premultiplied nor gamma-corrected. Empty when it can't be read.
std::vector<uint8_t> read_png(const std::string& path, png_image& img) {
    img = png_image{};
    img.version = PNG_IMAGE_VERSION;
    std::vector<uint8_t> px;
    if (!png_image_begin_read_from_file(&img, path.c_str())) return px;
    px.resize(PNG_IMAGE_SIZE(img));
    if (!png_image_finish_read(&img, nullptr, px.data(), 0, nullptr)) px.clear();
    return px;
}

// Colour files are RGBA from BGRA memory, gray files gray and alpha; rows end
// at the width, not at the stride, and colour under alpha 0 stays: the file
// is not premultiplied.
TEST(PngWriter, RoundTrip) {
    const int32_t w = 5, h = 3, stride = 28, gray_stride = 11;
    CKXBmp32 bmp(w, h, stride);
    ASSERT_NE(bmp.m_data, nullptr);
    std::vector<uint8_t> gray_mem(gray_stride * h), want_rgba, want_ga;
    for (int32_t j = 0; j < h; ++j) {
        for (int32_t i = 0; i < stride; ++i)
            bmp.m_data[j * stride + i] = i < w * 4 ? static_cast<uint8_t>(40 * j + 7 * i) : 0xee;
        for (int32_t i = 0; i < gray_stride; ++i)
            gray_mem[j * gray_stride + i] = i < w * 2 ? static_cast<uint8_t>(50 * j + 9 * i) : 0xee;
    }
    bmp.m_data[3] = 0;
    for (int32_t j = 0; j < h; ++j) {
        for (int32_t i = 0; i < w; ++i) {
            const uint8_t* p = bmp.m_data + j * stride + i * 4;
            want_rgba.insert(want_rgba.end(), {p[2], p[1], p[0], p[3]});
        }
        want_ga.insert(want_ga.end(), &gray_mem[j * gray_stride],
                       &gray_mem[j * gray_stride + 2 * w]);
    }
    const CKXBmpGray gray(gray_mem.data(), w, h, gray_stride);
    const struct {
        const char* name;
        bool written;
        const std::vector<uint8_t>& want;
        png_uint_32 format;
    } files[] = {
        {"colour", write_png(out_path("colour").c_str(), bmp), want_rgba, PNG_FORMAT_RGBA},
        {"gray", write_png(out_path("gray").c_str(), gray), want_ga, PNG_FORMAT_GA},
    };
    for (const auto& f : files) {
        SCOPED_TRACE(f.name);
        png_image img;
        EXPECT_TRUE(f.written);
        EXPECT_EQ(read_png(out_path(f.name), img), f.want);
        EXPECT_EQ(img.format, f.format);
        EXPECT_EQ(std::make_pair(img.width, img.height), std::make_pair(5u, 3u));
    }
}

// Each failure reports false and leaves no file behind; on a full device a
// small file fails only when its buffer is flushed, and a large one of noise
// inside libpng, whose error jumps back through the writer (the sanitizer
// build checks that neither leaks), and the device must not be removed.
TEST(PngWriter, FailuresReturnFalseAndLeaveNoFile) {
    CKXBmp32 good(4, 4), no_pixels(0, 0), no_data(nullptr, 4, 4, 16), large(512, 512);
    ASSERT_TRUE(good.m_data && large.m_data);
    uint32_t seed = 12345;
    for (int64_t k = 0; k < int64_t{512} * 512 * 4; ++k)
        large.m_data[k] = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);
    const std::string dir = SHADEPAINT_TEST_OUT_DIR;
    const std::string full = access("/dev/full", W_OK) == 0 ? "/dev/full" : dir;
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
        {&good, full, -1, "full device, small file"},
        {&large, full, -1, "full device, large file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const bool kept = c.path == dir || c.path == full;  // never to be removed
        if (!kept) std::remove(c.path.c_str());
        test::AllocFailGuard fail(c.allocations);
        EXPECT_FALSE(write_png(c.path.c_str(), *c.bmp));
        EXPECT_EQ(std::filesystem::exists(c.path), kept);
    }
    EXPECT_FALSE(write_png(out_path("gray_empty").c_str(), CKXBmpGray(0, 0)));
    EXPECT_FALSE(write_png(nullptr, good));
}

}  // namespace
}  // namespace shadepaint
