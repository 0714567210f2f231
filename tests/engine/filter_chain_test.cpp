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
using test::FilteredBody;
using test::png_predict;
using test::sample_bytes;
using test::zlib_compress;

// The first filter named is the first undone; DecodeParms pairs with Filter
// element by element, and a single dictionary belongs to the first filter.
TEST(FilterChain, FilterAndParameterForms) {
    const std::string data = sample_bytes(600, 7);
    const std::string predicted = png_predict(data, 1, 8, 20, {1, 2, 4});
    const std::string pz = zlib_compress(predicted), hex_pz = ahx_encode(pz);
    const std::string p = "<< /Predictor 12 /Columns 20 >>";
    const struct {
        std::string entries, body, expect;
        const char* why;
    } cases[] = {
        {"/Filter /FlateDecode /DecodeParms " + p, pz, data, "a name and a dictionary"},
        {"/Filter [/AHx /Fl] /DecodeParms [null " + p + "]", hex_pz, data,
         "null for no parameters"},
        {"/Filter [/AHx /Fl] /DecodeParms [null]", hex_pz, predicted, "a short parameter array"},
        {"/Filter [/AHx /Fl] /DecodeParms " + p, hex_pz, predicted,
         "a single dictionary belongs to the first filter"},
        {"/Filter 2 0 R /DecodeParms 3 0 R", hex_pz, data, "both behind references"},
        {"/Filter [4 0 R /Fl] /DecodeParms [null << /Predictor 5 0 R /Columns 20 >>]", hex_pz, data,
         "an element and a parameter behind references"},
        {"/Filter null", pz, pz, "a null filter is no filter"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        FilteredBody fb(c.entries, c.body);
        fb.add(2, "[/AHx /Fl]");
        fb.add(3, "[null " + p + "]");
        fb.add(4, "/ASCIIHexDecode");
        fb.add(5, "12");
        EXPECT_TRUE(test::read_all(fb.open().get(), 7) == c.expect);
    }
}

// A filter that can't be undone leaves a stream without data; the chain holds
// at most kMaxFilters stages.
TEST(FilterChain, UndecodableFiltersGiveNoData) {
    std::string body = "ok", filters;
    for (int i = 0; i < CPDFFilterChain::kMaxFilters; ++i) {
        body = ahx_encode(body);
        filters += " /AHx";
    }
    EXPECT_EQ(decode_body("/Filter [" + filters + "]", body), "ok");
    EXPECT_EQ(decode_body("/Filter [" + filters + " /AHx]", ahx_encode(body)), "");
    for (const char* f : {"/DCTDecode", "/flatedecode", "(FlateDecode)", "[/AHx 5]"}) {
        SCOPED_TRACE(f);
        EXPECT_EQ(decode_body(std::string("/Filter ") + f, "body bytes"), "");
    }
}

// buffer_load takes the raw length as its first guess and reads on while
// reads come back full: a stage must fill each request, not stop at a chunk
// or row boundary of its own.
TEST(FilterChain, DecodedBodyLongerThanTheRawOneIsLoadedWhole) {
    std::string data;
    for (int i = 0; i < 30; ++i) data += sample_bytes(3000, 12);
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
