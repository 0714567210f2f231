#include "engine/filter_chain.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engine/filter_test_util.h"
#include "engine/kxalloc.h"

namespace shadepaint {
namespace {

using test::ahx_encode;
using test::decode_body;
using test::expect_body;
using test::FilteredBody;
using test::png_predict;
using test::sample_bytes;
using test::zlib_compress;

TEST(FilterChain, FirstNamedIsFirstUndone) {
    const std::string data = sample_bytes(50000, 6);
    expect_body("/Filter [/ASCIIHexDecode /FlateDecode]", ahx_encode(zlib_compress(data)), data);
}

TEST(FilterChain, FilterAndParameterForms) {
    const std::string data = sample_bytes(600, 7);
    const std::string predicted = png_predict(data, 1, 8, 20, {1, 2, 4});
    const std::string pz = zlib_compress(predicted);
    const std::string hex_pz = ahx_encode(pz);
    const std::string p = "<< /Predictor 12 /Columns 20 >>";
    struct Case {
        std::string entries;
        std::string body;
        std::string expect;
        const char* why;
    };
    const Case cases[] = {
        {"/Filter /FlateDecode /DecodeParms " + p, pz, data, "a name and a dictionary"},
        {"/Filter [/FlateDecode] /DecodeParms [" + p + "]", pz, data, "both arrays"},
        {"/Filter [/AHx /Fl] /DecodeParms [null " + p + "]", hex_pz, data,
         "null for no parameters"},
        {"/Filter [/AHx /Fl] /DecodeParms [null]", hex_pz, predicted, "a short parameter array"},
        {"/Filter [/AHx /Fl] /DecodeParms [null 12]", hex_pz, predicted, "a non-dictionary"},
        {"/Filter [/AHx /Fl] /DecodeParms " + p, hex_pz, predicted,
         "a single dictionary belongs to the first filter"},
        {"/Filter [/AHx /Fl]", hex_pz, predicted, "no parameters"},
        {"/Filter 2 0 R /DecodeParms 3 0 R", hex_pz, data, "both behind references"},
        {"/Filter [4 0 R /Fl] /DecodeParms [null 5 0 R]", hex_pz, data,
         "elements behind references"},
        {"/Filter /Fl /DecodeParms << /Predictor 6 0 R /Columns 20 >>", pz, data,
         "a parameter behind a reference"},
        {"/Filter null", pz, pz, "a null filter is no filter"},
        {"/Filter 9 0 R", pz, pz, "and a reference to nothing"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        FilteredBody fb(c.entries, c.body);
        fb.add(2, "[/AHx /Fl]");
        fb.add(3, "[null " + p + "]");
        fb.add(4, "/ASCIIHexDecode");
        fb.add(5, p);
        fb.add(6, "12");
        std::unique_ptr<CPDFStream> s = fb.open();
        ASSERT_NE(s, nullptr);
        EXPECT_TRUE(test::read_all(s.get(), 7) == c.expect);
    }
}

TEST(FilterChain, UndecodableFiltersGiveNoData) {
    const std::string body = "body bytes";
    const char* filters[] = {
        "/DCTDecode", "/Crypt", "/flatedecode", "(FlateDecode)", "[/AHx /DCTDecode]", "[/AHx 5]",
    };
    for (const char* f : filters) {
        SCOPED_TRACE(f);
        FilteredBody fb(std::string("/Filter ") + f, body);
        std::unique_ptr<CPDFStream> s = fb.open();
        ASSERT_NE(s, nullptr);  // a stream, only without data
        EXPECT_EQ(s->m_length, static_cast<int32_t>(body.size()));
        unsigned char buf[16];
        EXPECT_EQ(s->read(buf, sizeof buf), 0u);
        EXPECT_EQ(s->read(buf, sizeof buf), 0u);
    }
}

TEST(FilterChain, FilterCountLimit) {
    std::string body = "ok";
    std::string filters;
    for (int i = 0; i < CPDFFilterChain::kMaxFilters; ++i) {
        body = ahx_encode(body);
        filters += " /AHx";
    }
    EXPECT_EQ(decode_body("/Filter [" + filters + "]", body), "ok");
    EXPECT_EQ(decode_body("/Filter [" + filters + " /AHx]", ahx_encode(body)), "");
}

TEST(FilterChain, DecodedBodyLongerThanTheRawOneIsLoadedWhole) {
    // buffer_load takes the raw length as its first guess and reads on while
    // reads come back full: a stage must fill each request, not stop at a
    // chunk or row boundary of its own.
    std::string data;
    for (int i = 0; i < 100; ++i) data += sample_bytes(3000, 12);
    const std::string body = zlib_compress(png_predict(data, 1, 8, 999, {0, 4}), 9);
    ASSERT_LT(body.size() * 2, data.size());
    FilteredBody fb("/Filter /Fl /DecodeParms << /Predictor 10 /Columns 999 >>", body);
    for (int32_t hint : {static_cast<int32_t>(body.size()), 0}) {
        SCOPED_TRACE("hint " + std::to_string(hint));
        std::unique_ptr<CPDFStream> s = fb.open();
        ASSERT_NE(s, nullptr);
        int32_t size = hint;
        unsigned char* loaded = s->buffer_load(0x800000, size);
        ASSERT_NE(loaded, nullptr);
        EXPECT_TRUE(std::string(reinterpret_cast<char*>(loaded), size) == data);
        KXFree(loaded);
    }
}

}  // namespace
}  // namespace shadepaint
