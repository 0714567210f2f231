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

// Colour files are RGBA from BGRA memory, gray files gray and alpha; rows end
// at the width, not at the stride, and colour under alpha 0 stays: the file
// is not premultiplied (nor are 8-bit reads of the simplified API).
TEST(PngWriter, RoundTrip) {
    const int32_t w = 5, h = 3;
    std::vector<uint8_t> mem(28 * h);
    for (size_t k = 0; k < mem.size(); ++k) mem[k] = static_cast<uint8_t>(k * 7 + 1);
    mem[3] = 0;
    const CKXBmp32 colour(mem.data(), w, h, 28);
    const CKXBmpGray gray(mem.data(), w, h, 11);
    // clang-format off
    const struct {
        const char* name; bool written; int32_t stride, bytes; png_uint_32 stored, read;
    } files[] = {
        {"colour", write_png(out_path("colour").c_str(), colour), 28, 4, PNG_FORMAT_RGBA,
         PNG_FORMAT_BGRA},
        {"gray", write_png(out_path("gray").c_str(), gray), 11, 2, PNG_FORMAT_GA, PNG_FORMAT_GA},
    };
    // clang-format on
    for (const auto& f : files) {
        SCOPED_TRACE(f.name);
        EXPECT_TRUE(f.written);
        png_image img{};
        img.version = PNG_IMAGE_VERSION;
        ASSERT_TRUE(png_image_begin_read_from_file(&img, out_path(f.name).c_str()));
        EXPECT_EQ(img.format, f.stored);
        EXPECT_EQ(std::make_pair(img.width, img.height), std::make_pair(5u, 3u));
        img.format = f.read;
        std::vector<uint8_t> got(PNG_IMAGE_SIZE(img)), want;
        ASSERT_TRUE(png_image_finish_read(&img, nullptr, got.data(), 0, nullptr));
        for (int32_t j = 0; j < h; ++j)
            want.insert(want.end(), &mem[j * f.stride], &mem[j * f.stride + w * f.bytes]);
        EXPECT_EQ(got, want);
    }
}

// Each failure reports false and leaves no file behind. On a full device a
// large file of noise fails inside libpng, whose error jumps back through the
// writer (the sanitizer build checks that nothing leaks), and the device must
// not be removed.
TEST(PngWriter, FailuresReturnFalseAndLeaveNoFile) {
    CKXBmp32 good(4, 4), large(512, 512);
    ASSERT_TRUE(good.m_data && large.m_data);
    uint32_t seed = 12345;
    for (int64_t k = 0; k < int64_t{512} * 512 * 4; ++k)
        large.m_data[k] = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);
    const std::string path = out_path("failed");
    std::remove(path.c_str());
    EXPECT_FALSE(write_png(path.c_str(), CKXBmp32(0, 0)));
    EXPECT_FALSE(write_png(path.c_str(), CKXBmp32(nullptr, 4, 4, 16)));
    EXPECT_FALSE(write_png(nullptr, good));
    EXPECT_FALSE(write_png(SHADEPAINT_TEST_OUT_DIR "/no-such-dir/x.png", good));
    EXPECT_FALSE(write_png(SHADEPAINT_TEST_OUT_DIR, good));
    {
        test::AllocFailGuard no_row_buffer(0);
        EXPECT_FALSE(write_png(path.c_str(), good));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    if (access("/dev/full", W_OK) == 0) {
        EXPECT_FALSE(write_png("/dev/full", large));
        EXPECT_TRUE(std::filesystem::exists("/dev/full"));
    }
}

}  // namespace
}  // namespace shadepaint
