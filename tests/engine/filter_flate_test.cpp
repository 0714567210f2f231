#include "engine/filter_flate.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
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
using test::FilteredBody;
using test::png_predict;
using test::read_all;
using test::sample_bytes;
using test::zlib_compress;

std::string parms_dict(int predictor, int colors, int bpc, int columns) {
    return "<< /Predictor " + std::to_string(predictor) + " /Colors " + std::to_string(colors) +
           " /BitsPerComponent " + std::to_string(bpc) + " /Columns " + std::to_string(columns) +
           " >>";
}

std::string parms(int predictor, int colors, int bpc, int columns) {
    return "/DecodeParms " + parms_dict(predictor, colors, bpc, columns);
}

// zlib output of data ending in a full flush, so that
// what follows starts a new block on a byte boundary; the stream is not
// finished.
std::string deflate_flushed(const std::string& data) {
    z_stream z{};
    EXPECT_EQ(deflateInit(&z, 6), Z_OK);
    std::string out(deflateBound(&z, static_cast<uLong>(data.size())) + 64, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = reinterpret_cast<Bytef*>(&out[0]);
    z.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&z, Z_FULL_FLUSH), Z_OK);
    out.resize(out.size() - z.avail_out);
    deflateEnd(&z);
    return out;
}

TEST(FilterFlate, RoundTripInPieces) {
    const std::string data = sample_bytes(70000);
    expect_body("/Filter /FlateDecode", zlib_compress(data), data);
    expect_body("/Filter /Fl", zlib_compress(data, 0), data);  // stored blocks
    expect_body("/Filter /FlateDecode", zlib_compress(""), "");
}

TEST(FilterFlate, PngPredictorRowTypes) {
    struct Case {
        int colors, bpc, columns;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {3, 8, 17, "RGB: the left neighbour is three bytes back"},
        {3, 16, 4, "16-bit RGB: six bytes back"},
        {1, 1, 13, "1-bit: a pixel is less than a byte, neighbour one byte back"},
        {3, 4, 7, "12-bit pixels round up to two bytes"},
    };
    // clang-format on
    // Every type in every position, and Paeth after each of the others.
    const std::vector<int> types = {0, 1, 2, 3, 4, 4, 3, 2, 1, 0, 4, 1, 4, 2, 4, 3};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const size_t row = (static_cast<size_t>(c.colors) * c.bpc * c.columns + 7) / 8;
        const std::string data = sample_bytes(row * 40, static_cast<uint32_t>(row));
        const std::string body =
            zlib_compress(png_predict(data, c.colors, c.bpc, c.columns, types));
        for (int predictor : {10, 15})
            expect_body("/Filter /FlateDecode " + parms(predictor, c.colors, c.bpc, c.columns),
                        body, data);
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
    // Colors 1, BitsPerComponent 8, Columns 1: one byte a row behind its type.
    const std::string one_column = zlib_compress(png_predict(data, 1, 8, 1, {2}));
    struct Case {
        std::string parms;
        std::string body;
        std::string expect;
        const char* why;
    };
    const Case cases[] = {
        {"/DecodeParms << /Predictor 12 >>", one_column, data, "defaults"},
        {"/DecodeParms << /Predictor 0 >>", plain, data, "below 1 is none too"},
        {"/DecodeParms null", plain, data, "null parameters"},
        {"/DecodeParms << /Predictor 3 >>", plain, "", "no such predictor"},
        {"/DecodeParms << /Predictor 16 >>", plain, "", "beyond the PNG range"},
        {"/DecodeParms << /Predictor 12 /Colors 33 >>", plain, "", "too many colours"},
        {"/DecodeParms << /Predictor 2 /BitsPerComponent 3 >>", plain, "", "3-bit samples"},
        {"/DecodeParms << /Predictor 12 /Columns 2000000 /Colors 4 >>", plain, "",
         "a row beyond the limit"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(decode_body("/Filter /FlateDecode " + c.parms, c.body), c.expect);
    }
    // The largest row allowed is taken.
    EXPECT_EQ(CPDFFilterPredictor::row_bytes(1, 8, CPDFFilterPredictor::kMaxRowBytes),
              CPDFFilterPredictor::kMaxRowBytes);
    EXPECT_EQ(CPDFFilterPredictor::row_bytes(1, 8, CPDFFilterPredictor::kMaxRowBytes + 1), 0u);
}

TEST(FilterFlate, PredictorRowsBreakWhereTheDataDoes) {
    const std::string data = sample_bytes(50);  // 5 rows of 10
    std::string png = png_predict(data, 1, 8, 10, {4});
    {
        SCOPED_TRACE("a row type above 4 ends the body before that row");
        std::string bad = png;
        bad[2 * 11] = 5;
        EXPECT_EQ(decode_body("/Filter /Fl " + parms(11, 1, 8, 10), zlib_compress(bad)),
                  data.substr(0, 20));
    }
    {
        SCOPED_TRACE("a last row cut short is undone as far as it goes");
        EXPECT_EQ(decode_body("/Filter /Fl " + parms(11, 1, 8, 10),
                              zlib_compress(png.substr(0, 3 * 11 + 4))),
                  data.substr(0, 33));
        EXPECT_EQ(decode_body("/Filter /Fl " + parms(11, 1, 8, 10),
                              zlib_compress(png.substr(0, 3 * 11 + 1))),
                  data.substr(0, 30));  // a type byte alone adds nothing
    }
}

TEST(FilterFlate, CorruptDataDeliversWhatCameBefore) {
    const std::string data = sample_bytes(200000, 9);
    const std::string z = zlib_compress(data);
    struct Case {
        std::string body;
        std::string expect;
        const char* why;
    };
    std::string bad_check = z;
    bad_check.back() = static_cast<char>(bad_check.back() ^ 1);
    const std::string half = data.substr(0, data.size() / 2);
    const Case cases[] = {
        {z.substr(0, z.size() - 4), data, "the check value missing"},
        {bad_check, data, "a bad check value is found only after the data"},
        // 0xff starts a final block of the reserved type 3.
        {deflate_flushed(half) + "\xff\xff\xff", half, "a bad block after good ones"},
        {deflate_flushed(half), half, "ends after a flushed block"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        for (uint32_t piece : {7u, 4096u})
            EXPECT_TRUE(decode_body("/Filter /Fl", c.body, piece) == c.expect);
    }
    {
        SCOPED_TRACE("truncated inside a block: what inflated so far");
        const std::string got = decode_body("/Filter /FlateDecode", z.substr(0, z.size() / 2), 7);
        EXPECT_GT(got.size(), 0u);
        EXPECT_LT(got.size(), data.size());
        EXPECT_TRUE(data.compare(0, got.size(), got) == 0);
    }
    for (const std::string& body : {std::string("x"), std::string("\x78\x9c\xff\xff")}) {
        SCOPED_TRACE("no zlib stream: " + body);
        EXPECT_EQ(decode_body("/Filter /FlateDecode", body), "");
    }
}

// A zlib stream of 2^30 zero bytes, without ever holding them: 1 MiB of
// zeros deflated up to a full flush is a run of blocks that refers to nothing
// before it, so the same bytes repeated make each further MiB. An empty final
// block and the check value of the zeros (a = 1, b = count mod 65521) close it.
std::string deflate_gib_of_zeros() {
    const std::string mib(size_t{1} << 20, '\0');
    z_stream z{};
    EXPECT_EQ(deflateInit(&z, 9), Z_OK);
    std::string buf(deflateBound(&z, static_cast<uLong>(mib.size())) + 64, '\0');
    auto flushed = [&]() {
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(mib.data()));
        z.avail_in = static_cast<uInt>(mib.size());
        z.next_out = reinterpret_cast<Bytef*>(&buf[0]);
        z.avail_out = static_cast<uInt>(buf.size());
        EXPECT_EQ(deflate(&z, Z_FULL_FLUSH), Z_OK);
        return buf.substr(0, buf.size() - z.avail_out);
    };
    std::string out = flushed();  // with the zlib header
    const std::string again = flushed();
    deflateEnd(&z);
    for (int i = 1; i < 1024; ++i) out += again;
    const uint32_t b = (uint32_t{1} << 30) % 65521;
    out += std::string("\x03\x00", 2);  // final block, fixed codes, only the end code
    const unsigned char check[4] = {static_cast<unsigned char>(b >> 8),
                                    static_cast<unsigned char>(b), 0, 1};
    out.append(reinterpret_cast<const char*>(check), 4);
    return out;
}

TEST(FilterFlate, BombIsReadOnlyAsFarAsAsked) {
    const std::string bomb = deflate_gib_of_zeros();
    ASSERT_LT(bomb.size(), size_t{2} << 20);
    FilteredBody fb("/Filter /FlateDecode " + parms(12, 1, 8, 1000), bomb);
    std::vector<unsigned char> buf(1 << 20, 1);
#ifdef __GLIBC__
    const size_t before = mallinfo2().uordblks;
#endif
    std::unique_ptr<CPDFStream> s = fb.open();
    ASSERT_NE(s, nullptr);
    // Not one PNG row (type 0 and 1000 zeros a row): every byte still zero.
    ASSERT_EQ(s->read(buf.data(), static_cast<uint32_t>(buf.size())), buf.size());
#ifdef __GLIBC__
    // zlib's window and state, the input chunk and two predictor rows: well
    // under 256 KiB whatever the body inflates to.
    const size_t after = mallinfo2().uordblks;
    EXPECT_LT(after > before ? after - before : 0, size_t{256} << 10);
#endif
    EXPECT_TRUE(std::all_of(buf.begin(), buf.end(), [](unsigned char b) { return b == 0; }));
}

TEST(FilterFlate, AllocationFailuresGiveNullOrAPrefix) {
    const std::string data = sample_bytes(20000, 3);
    FilteredBody fb(
        "/Filter [/AHx /FlateDecode] /DecodeParms [null " + parms_dict(15, 3, 8, 20) + "]",
        test::ahx_encode(zlib_compress(png_predict(data, 3, 8, 20, {4, 1, 2}))));
    bool whole = false;
    for (int32_t n = 0; n < 100 && !whole; ++n) {
        SCOPED_TRACE("allocations allowed: " + std::to_string(n));
        kx_alloc_fail_after(n);
        std::unique_ptr<CPDFStream> s = fb.open();
        const std::string got = read_all(s.get(), 4096);
        kx_alloc_fail_after(-1);
        if (!s) continue;
        EXPECT_TRUE(data.compare(0, got.size(), got) == 0);
        whole = got == data;
    }
    EXPECT_TRUE(whole);
}

}  // namespace
}  // namespace shadepaint
