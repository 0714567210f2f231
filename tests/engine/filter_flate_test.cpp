// FlateDecode and the predictors behind it.
#include "engine/filter_flate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "engine/filter_predictor.h"
#include "engine/filter_test_util.h"
#include "engine/kxalloc.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace shadepaint {
namespace {

using test::decode_body;
using test::expect_body;
using test::png_predict;
using test::sample_bytes;
using test::zlib_compress;

std::string parms(int predictor, int colors, int bpc, int columns) {
    return "/DecodeParms << /Predictor " + std::to_string(predictor) + " /Colors " +
           std::to_string(colors) + " /BitsPerComponent " + std::to_string(bpc) + " /Columns " +
           std::to_string(columns) + " >>";
}

TEST(FilterFlate, RoundTripInPieces) {
    const std::string data = sample_bytes(70000);
    expect_body("/Filter /FlateDecode", zlib_compress(data), data);
    expect_body("/Filter /Fl", zlib_compress(data, 0), data);  // stored blocks
    expect_body("/Filter /FlateDecode", zlib_compress(""), "");
}

// Every row type in every position, and Paeth after each of the others; the
// type byte decides, whichever PNG Predictor is named.
TEST(FilterFlate, PngPredictorRowTypes) {
    const struct {
        int colors, bpc, columns;
        const char* why;
    } cases[] = {
        {3, 8, 17, "RGB: the left neighbour is three bytes back"},
        {3, 16, 4, "16-bit RGB: six bytes back"},
        {1, 1, 13, "1-bit: a pixel is less than a byte, neighbour one byte back"},
        {3, 4, 7, "12-bit pixels round up to two bytes"},
    };
    const std::vector<int> types = {0, 1, 2, 3, 4, 4, 3, 2, 1, 0, 4, 1, 4, 2, 4, 3};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const size_t row = (static_cast<size_t>(c.colors) * c.bpc * c.columns + 7) / 8;
        const std::string data = sample_bytes(row * 40, static_cast<uint32_t>(row));
        const std::string body =
            zlib_compress(png_predict(data, c.colors, c.bpc, c.columns, types));
        for (int predictor : {10, 15})
            expect_body("/Filter /Fl " + parms(predictor, c.colors, c.bpc, c.columns), body, data);
    }
}

// Each sample plus the one of its component a pixel to the left, modulo
// 2^bpc; the carry crosses bytes in 16-bit samples and padding bits stay.
TEST(FilterFlate, TiffPredictor) {
    const struct {
        int colors, bpc, columns;
        std::string body, expect;
    } cases[] = {
        {1, 1, 3, "\xa7", "\xc7"},
        {1, 16, 2, std::string("\x00\x01\xff\xff\x00\xff\x00\x01", 8),
         std::string("\x00\x01\x00\x00\x00\xff\x01\x00", 8)},
        {3, 8, 2, std::string("\x10\x20\x30\x01\x02\x03", 6), "\x10\x20\x30\x11\x22\x33"},
        {1, 16, 5, std::string("\x00\xff\x00\x01\x00", 5), std::string("\x00\xff\x01\x00\x00", 5)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.colors) + " colors, " + std::to_string(c.bpc) + " bits");
        EXPECT_EQ(decode_body("/Filter /Fl " + parms(2, c.colors, c.bpc, c.columns),
                              zlib_compress(c.body)),
                  c.expect);
    }
}

TEST(FilterFlate, PredictorDefaultsAndRefusedParameters) {
    const std::string data = sample_bytes(300);
    const std::string plain = zlib_compress(data);
    const struct {
        const char* parms;
        bool decoded;  // else no data at all
        const char* why;
    } cases[] = {
        {"<< /Predictor 1 >>", true, "1 is no predictor"},
        {"<< /Predictor 3 >>", false, "no such predictor"},
        {"<< /Predictor 16 >>", false, "beyond the PNG range"},
        {"<< /Predictor 12 /Colors 33 >>", false, "too many colours"},
        {"<< /Predictor 2 /BitsPerComponent 3 >>", false, "3-bit samples"},
        {"<< /Predictor 12 /Columns 2000000 /Colors 4 >>", false, "a row beyond the limit"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(decode_body(std::string("/Filter /Fl /DecodeParms ") + c.parms, plain),
                  c.decoded ? data : "");
    }
    // Colors 1, BitsPerComponent 8, Columns 1: one byte a row behind its type.
    EXPECT_EQ(decode_body("/Filter /Fl /DecodeParms << /Predictor 12 >>",
                          zlib_compress(png_predict(data, 1, 8, 1, {2}))),
              data);
    EXPECT_EQ(CPDFFilterPredictor::row_bytes(1, 8, CPDFFilterPredictor::kMaxRowBytes),
              CPDFFilterPredictor::kMaxRowBytes);
    EXPECT_EQ(CPDFFilterPredictor::row_bytes(1, 8, CPDFFilterPredictor::kMaxRowBytes + 1), 0u);
}

TEST(FilterFlate, PredictorRowsBreakWhereTheDataDoes) {
    const std::string data = sample_bytes(50);  // 5 rows of 10
    const std::string png = png_predict(data, 1, 8, 10, {4});
    std::string bad = png;
    bad[2 * 11] = 5;
    const struct {
        std::string predicted;
        size_t kept;
        const char* why;
    } cases[] = {
        {bad, 20, "a row type above 4 ends the body before that row"},
        {png.substr(0, 3 * 11 + 4), 33, "a last row cut short is undone as far as it goes"},
        {png.substr(0, 3 * 11 + 1), 30, "a type byte alone adds nothing"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(decode_body("/Filter /Fl " + parms(11, 1, 8, 10), zlib_compress(c.predicted)),
                  data.substr(0, c.kept));
    }
}

TEST(FilterFlate, CorruptDataDeliversWhatCameBefore) {
    const std::string data = sample_bytes(200000, 9);
    const std::string z = zlib_compress(data);
    std::string bad_check = z;
    bad_check.back() = static_cast<char>(bad_check.back() ^ 1);
    // A zlib header, one stored block that is not the last, then 0xff: a
    // final block of the reserved type 3.
    const std::string head = data.substr(0, 3000);
    const std::string stored = std::string("\x78\x01\x00\xb8\x0b\x47\xf4", 7) + head + "\xff\xff";
    const struct {
        std::string body;
        std::string expect;
        const char* why;
    } cases[] = {
        {z.substr(0, z.size() - 4), data, "the check value missing"},
        {bad_check, data, "a bad check value is found only after the data"},
        {stored, head, "a bad block after a good one"},
        {"x", "", "no zlib stream"},
        {std::string("\x78\x9c\xff\xff"), "", "a bad first block"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        for (uint32_t piece : {7u, 4096u})
            EXPECT_TRUE(decode_body("/Filter /Fl", c.body, piece) == c.expect);
    }
    SCOPED_TRACE("truncated inside a block: what inflated so far");
    const std::string got = decode_body("/Filter /Fl", z.substr(0, z.size() / 2), 7);
    EXPECT_GT(got.size(), 0u);
    EXPECT_LT(got.size(), data.size());
    EXPECT_TRUE(data.compare(0, got.size(), got) == 0);
}

// 16 MiB of zeros behind a 16 KiB body: the stages hold a window and a few
// rows, never the whole decoded body.
TEST(FilterFlate, BombIsReadOnlyAsFarAsAsked) {
    test::FilteredBody fb("/Filter /Fl " + parms(12, 1, 8, 1000),
                          zlib_compress(std::string(size_t{16} << 20, '\0'), 9));
    std::vector<unsigned char> buf(1 << 20, 1);
#ifdef __GLIBC__
    const size_t before = mallinfo2().uordblks;
#endif
    std::unique_ptr<CPDFStream> s = fb.open();
    ASSERT_NE(s, nullptr);
    // Not one PNG row (type 0 and 1000 zeros a row): every byte still zero.
    ASSERT_EQ(s->read(buf.data(), static_cast<uint32_t>(buf.size())), buf.size());
#ifdef __GLIBC__
    const size_t after = mallinfo2().uordblks;
    EXPECT_LT(after > before ? after - before : 0, size_t{256} << 10);
#endif
    EXPECT_TRUE(std::all_of(buf.begin(), buf.end(), [](unsigned char b) { return b == 0; }));
}

TEST(FilterFlate, AllocationFailuresGiveNullOrAPrefix) {
    const std::string data = sample_bytes(20000, 3);
    test::FilteredBody fb(
        "/Filter [/AHx /Fl] /DecodeParms [null << /Predictor 15 /Colors 3 /Columns 20 >>]",
        test::ahx_encode(zlib_compress(png_predict(data, 3, 8, 20, {4, 1, 2}))));
    bool whole = false;
    for (int32_t n = 0; n < 100 && !whole; ++n) {
        SCOPED_TRACE("allocations allowed: " + std::to_string(n));
        kx_alloc_fail_after(n);
        std::unique_ptr<CPDFStream> s = fb.open();
        const std::string got = test::read_all(s.get(), 4096);
        kx_alloc_fail_after(-1);
        EXPECT_TRUE(data.compare(0, got.size(), got) == 0);
        whole = got == data;
    }
    EXPECT_TRUE(whole);
}

}  // namespace
}  // namespace shadepaint
