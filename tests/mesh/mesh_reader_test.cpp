// The mesh bit reader: the bit-pull rule with its 32-bit accumulator, and the
// turning of raw fields into points and colour components.
#include "mesh/mesh_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "engine/cs_device_gray.h"
#include "shading/color_space.h"
#include "shading/function.h"
#include "shading/shading_test_util.h"

namespace shadepaint {
namespace {

using testing::kOne;
using testing::TestConst;

// A cursor over bytes, with the zero byte that buffer_load puts behind them.
struct Bytes {
    std::vector<unsigned char> data;
    PDF_BIT_CURSOR cur;
    explicit Bytes(std::vector<unsigned char> d, uint32_t bit = 0) : data(std::move(d)) {
        const uint32_t n = static_cast<uint32_t>(data.size());
        data.push_back(0);
        cur = PDF_BIT_CURSOR{data.data(), n, bit};
    }
    uint32_t offset() const { return static_cast<uint32_t>(cur.m_cur - data.data()); }
};

TEST(BitCursor, WorkedFields) {
    struct Case {
        std::vector<unsigned char> bytes;
        uint32_t bit;
        std::vector<uint32_t> widths;
        std::vector<uint32_t> results;
        uint32_t offset, left, end_bit;  // cursor after the reads
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{0xAB, 0xCD}, 0, {4, 8, 4}, {0xA, 0xBC, 0xD}, 2, 0, 0, "straddling a byte boundary"},
        {{0xFF}, 3, {6}, {kBitsPastEnd}, 0, 1, 3, "one bit too many: the cursor stays"},
        {{0xFF}, 3, {6, 5}, {kBitsPastEnd, 0x1F}, 1, 0, 0, "a narrower field still fits"},
        {{0x12, 0x34, 0x56, 0x78}, 0, {32}, {0x12345678}, 4, 0, 0, "32 bits from a boundary"},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 1, {32}, {0x01FFFFFF}, 4, 1, 1,
         "32 bits from bit 1 touch five bytes and keep their low 25"},
        {{0x5A, 0x00}, 0, {0, 0}, {0, 0}, 0, 2, 0, "width 0 at a boundary"},
        {{}, 0, {0, 1}, {0, kBitsPastEnd}, 0, 0, 0, "no data: width 0 reads the zero byte"},
        {{0x0F, 0xFF}, 4, {12}, {0xFFF}, 2, 0, 0, "ending exactly at the end of the data"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Bytes b(c.bytes, c.bit);
        for (size_t i = 0; i < c.widths.size(); ++i)
            EXPECT_EQ(b.cur.read_bits(c.widths[i]), c.results[i]) << "field " << i;
        EXPECT_EQ(b.offset(), c.offset);
        EXPECT_EQ(b.cur.m_left, c.left);
        EXPECT_EQ(b.cur.m_bit, c.end_bit);
    }
}

// A reader over DeviceRGB (or cs) with the given widths and Decode.
struct Reader {
    Bytes bytes;
    CPDFShadingDataReader r;
    KXFIX dmin[8] = {};
    KXFIX dmax[8] = {};
    Reader(std::vector<unsigned char> data, int32_t bits_coord, int32_t bits_comp,
           const CPDFCSBase* cs, std::vector<int64_t> decode = {0, kOne, 0, kOne},
           CPDFFunction** funcs = nullptr, int32_t func_count = 0)
        : bytes(std::move(data)) {
        r.setup(&bytes.cur, bits_coord, bits_comp, KXFIX::from_raw(decode[0]),
                KXFIX::from_raw(decode[1]), KXFIX::from_raw(decode[2]), KXFIX::from_raw(decode[3]),
                funcs, func_count, const_cast<CPDFCSBase*>(cs), dmin, dmax);
    }
};

const CPDFCSDeviceRGB kRgb;

TEST(DataReader, Points) {
    struct Case {
        std::vector<unsigned char> data;
        int32_t bits;
        std::vector<int64_t> decode;
        int32_t shift;
        int64_t scale_x;
        int64_t x, y;
        uint32_t offset;
        const char* why;
    };
    const int64_t h = 100 * kOne;
    // clang-format off
    const Case cases[] = {
        {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, 32, {0, kOne, 0, kOne}, 16, 1024, 67107840, 0, 8,
         "32 bits keep their top 16: 0xFFFF times the truncated 1/65535, just under 1.0"},
        {{0xFF, 0x00}, 8, {-h, h, -h, h}, 0, 52634403, 6710886365, -h, 2,
         "8 bits over -100..100: 255 lands about 100.0, 0 exactly -100.0"},
        {{0x12, 0x34}, 0, {3 * kOne, 9 * kOne, 5 * kOne, 7 * kOne}, 0, 0x7fffffffffffffff,
         3 * kOne, 5 * kOne, 0, "no bits: every point is (Decode[0], Decode[2]), nothing read"},
        {{0x80, 0x00, 0x00, 0xFF, 0xFF, 0xFF}, 24, {0, 256 * kOne, 0, kOne}, 8, 262148,
         262148LL * 0x8000, 67107840, 6, "24 bits drop their low 8"},
        {{0xF0}, 4, {0, 15 * kOne, 0, 15 * kOne}, 0, kOne, 15 * kOne, 0, 1, "nibbles"},
        {{0xFF}, 16, {0, kOne, 0, kOne}, 0, 1024, 1024LL * 0xFFFFFFFF, 1024LL * 0xFFFFFFFF, 0,
         "past the end at 16 bits: raw 0xFFFFFFFF lands far outside"},
        {{0xFF}, 32, {0, kOne, 0, kOne}, 16, 1024, 67107840, 67107840, 0,
         "past the end at 32 bits: shifted to 0xFFFF, the top of the range"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Reader rd(c.data, c.bits, 8, &kRgb, c.decode);
        EXPECT_EQ(rd.r.m_coord_shift, c.shift);
        EXPECT_EQ(rd.r.m_scale_x.m_raw, c.scale_x);
        _KXPOINTF pt;
        rd.r.read_pt(pt);
        EXPECT_EQ(pt.x.m_raw, c.x);
        EXPECT_EQ(pt.y.m_raw, c.y);
        EXPECT_EQ(rd.bytes.offset(), c.offset);
    }
}

TEST(DataReader, ComponentsWithoutFunction) {
    struct Case {
        std::vector<unsigned char> data;
        int32_t bits;
        uint32_t c0, c1, c2;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{0xE0}, 1, 128, 128, 128, "1 bit: white is 128, not 255"},
        {{0xE4}, 2, 192, 128, 64, "2 bits: times 64"},
        {{0xF0, 0x10}, 4, 240, 0, 16, "4 bits: times 16"},
        {{0xFF, 0x00, 0x7F}, 8, 255, 0, 127, "8 bits as they stand"},
        {{0xFF, 0xF0, 0x0F, 0xF8, 0x00}, 12, 255, 0, 0xF8, "12 bits: the top 8"},
        {{0xFF, 0xFF, 0x12, 0x34, 0x00, 0xFF}, 16, 255, 0x12, 0, "16 bits: the high byte"},
        {{0xFF}, 8, 255, 0x00FFFFFF, 0x00FFFFFF, "past the end: 0xFFFFFF00 >> 8"},
        {{0xFF, 0xFF, 0xFF}, 0, 0, 0, 0, "no bits: zeros, nothing read"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Reader rd(c.data, 8, c.bits, &kRgb);
        PDF_COLOR clr;
        for (uint32_t& v : clr.m_comps) v = 0xDEAD;
        rd.r.read_clr(clr);
        EXPECT_EQ(clr.m_comps[0], c.c0);
        EXPECT_EQ(clr.m_comps[1], c.c1);
        EXPECT_EQ(clr.m_comps[2], c.c2);
        EXPECT_EQ(clr.m_comps[3], 0xDEADu) << "components behind the space's untouched";
    }
}

TEST(DataReader, OneFunction) {
    struct Case {
        unsigned char byte;
        int32_t bits;
        int64_t t;
        int64_t out;
        uint32_t comp;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {0xFF, 8, kOne, kOne, 255, "raw 255 is t = 1.0 exactly; output 1.0 is 255"},
        {0x80, 8, 0x2020202, kOne / 2, 127, "raw 128: 128/255; output 0.5 truncates to 127"},
        {0x00, 8, 0, 0, 0, "raw 0"},
        {0x80, 1, kOne, kOne / 4, 63, "1 bit: raw 1 is t = 1.0"},
        {0xFF, 0, 0, -kOne, 0xFFFFFF01, "0 bits: t = 0; output -1.0 wraps, unclamped"},
        {0xFF, 32, 0, 2 * kOne, 510, "32 bits, here past the end: no largest value, t = 0"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        std::vector<int64_t> inputs;
        TestConst f({c.out, c.out, c.out}, &inputs);
        CPDFFunction* funcs[1] = {&f};
        Reader rd({c.byte}, 8, c.bits, &kRgb, {0, kOne, 0, kOne}, funcs, 1);
        PDF_COLOR clr = {};
        rd.r.read_clr(clr);
        ASSERT_EQ(inputs.size(), 1u) << "one field, one evaluation per vertex";
        EXPECT_EQ(inputs[0], c.t);
        EXPECT_EQ(clr.m_comps[0], c.comp);
        EXPECT_EQ(clr.m_comps[2], c.comp) << "all outputs of the one function";
    }
}

// Several functions each read a field of their own and give their first
// output; none reads nothing.
TEST(DataReader, SeveralFunctions) {
    std::vector<int64_t> in0, in1;
    TestConst f0({kOne, 0}, &in0);
    TestConst f1({kOne / 2, kOne}, &in1);
    CPDFFunction* funcs[2] = {&f0, &f1};
    const CPDFCSDeviceGray gray;
    Reader rd({0xFF, 0x00, 0xAA}, 8, 8, &gray, {0, kOne, 0, kOne}, funcs, 2);
    PDF_COLOR clr = {};
    clr.m_comps[2] = 77;
    rd.r.read_clr(clr);
    EXPECT_EQ(in0, std::vector<int64_t>{kOne});
    EXPECT_EQ(in1, std::vector<int64_t>{0});
    EXPECT_EQ(clr.m_comps[0], 255u);
    EXPECT_EQ(clr.m_comps[1], 127u) << "written although the space has one component";
    EXPECT_EQ(clr.m_comps[2], 77u);
    EXPECT_EQ(rd.bytes.offset(), 2u);

    Reader none({0xAA}, 8, 8, &kRgb, {0, kOne, 0, kOne}, funcs, 0);
    none.r.read_clr(clr);
    EXPECT_EQ(none.bytes.offset(), 0u);
    EXPECT_EQ(clr.m_comps[0], 255u);
}

}  // namespace
}  // namespace shadepaint
