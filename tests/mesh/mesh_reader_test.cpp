// The mesh bit reader: the bit-pull rule with its 32-bit accumulator, and the
// turning of raw fields into points and colour components.
#include "mesh/mesh_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "engine/cs_device_gray.h"
#include "shading/color_space.h"
#include "shading/function.h"

namespace shadepaint {
namespace {

constexpr int64_t kOne = kKxOne;

// A cursor over bytes, with the zero byte that buffer_load puts behind them.
struct Bytes {
    std::vector<unsigned char> data;
    PDF_BIT_CURSOR cur;
    explicit Bytes(std::vector<unsigned char> d, uint32_t bit = 0) : data(std::move(d)) {
        data.push_back(0);
        cur = PDF_BIT_CURSOR{data.data(), static_cast<uint32_t>(data.size() - 1), bit};
    }
    uint32_t offset() const { return static_cast<uint32_t>(cur.m_cur - data.data()); }
};

TEST(BitCursor, WorkedFields) {
    struct Case {
        std::vector<unsigned char> bytes;
        uint32_t bit;
        std::vector<uint32_t> widths, results;
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

// Gives its input on every output.
struct Identity : CPDFFunction {
    Identity() { m_inputs = 1, m_outputs = 3; }
    int32_t evaluate(const KXFIX* in, KXFIX* out) const override {
        return out[0] = out[1] = out[2] = in[0], 1;
    }
};

// A reader over DeviceRGB (DeviceGray with two functions) with the given
// widths, Decode and number of functions (-1: no Function at all).
struct Reader {
    Bytes bytes;
    CPDFShadingDataReader r;
    KXFIX dmin[8] = {}, dmax[8] = {};
    Identity f0, f1;
    CPDFFunction* funcs[2] = {&f0, &f1};
    CPDFCSDeviceRGB rgb;
    CPDFCSDeviceGray gray;
    Reader(std::vector<unsigned char> data, int32_t bits_coord, int32_t bits_comp,
           std::vector<int64_t> d = {0, kOne, 0, kOne}, int32_t nfuncs = -1)
        : bytes(std::move(data)) {
        r.setup(&bytes.cur, bits_coord, bits_comp, KXFIX::from_raw(d[0]), KXFIX::from_raw(d[1]),
                KXFIX::from_raw(d[2]), KXFIX::from_raw(d[3]), nfuncs < 0 ? nullptr : funcs, nfuncs,
                nfuncs == 2 ? static_cast<CPDFCSBase*>(&gray) : &rgb, dmin, dmax);
    }
};

TEST(DataReader, Points) {
    struct Case {
        std::vector<unsigned char> data;
        int32_t bits;
        std::vector<int64_t> decode;
        int32_t shift;
        int64_t scale_x, x, y;
        uint32_t offset;
        const char* why;
    };
    const int64_t h = 100 * kOne;
    // clang-format off
    const Case cases[] = {
        {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, 32, {0, kOne, 0, kOne}, 16, 1024, 67107840, 0, 8,
         "32 bits keep their top 16: 0xFFFF times the truncated 1/65535, just under 1.0"},
        {{0x80, 0x00, 0x00, 0xFF, 0xFF, 0xFF}, 24, {0, 256 * kOne, 0, kOne}, 8, 262148,
         262148LL * 0x8000, 67107840, 6, "24 bits drop their low 8"},
        {{0xFF, 0x00}, 8, {-h, h, -h, h}, 0, 52634403, 6710886365, -h, 2,
         "8 bits over -100..100: the scale beyond 4.0 loses its low 12 bits"},
        {{0x12, 0x34}, 0, {3 * kOne, 9 * kOne, 5 * kOne, 7 * kOne}, 0, 0x7fffffffffffffff,
         3 * kOne, 5 * kOne, 0, "no bits: every point is (Decode[0], Decode[2]), nothing read"},
        {{0xFF}, 16, {0, kOne, 0, kOne}, 0, 1024, 1024LL * 0xFFFFFFFF, 1024LL * 0xFFFFFFFF, 0,
         "past the end at 16 bits: raw 0xFFFFFFFF lands far outside"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Reader rd(c.data, c.bits, 8, c.decode);
        EXPECT_EQ(rd.r.m_coord_shift, c.shift);
        EXPECT_EQ(rd.r.m_scale_x.m_raw, c.scale_x);
        _KXPOINTF pt;
        rd.r.read_pt(pt);
        EXPECT_EQ(pt.x.m_raw, c.x);
        EXPECT_EQ(pt.y.m_raw, c.y);
        EXPECT_EQ(rd.bytes.offset(), c.offset);
    }
}

// Without a function a raw field is rescaled to 8 bits by truncation alone;
// with one, t = raw / (2^bits - 1) goes in and every output times 255 comes
// out, unclamped; several functions read a field each and give their first
// output. Components behind those written stay untouched.
TEST(DataReader, Colours) {
    constexpr uint32_t kNo = 0xDEAD;
    struct Case {
        std::vector<unsigned char> data;
        int32_t bits, funcs;
        uint32_t c0, c1, c2, offset;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{0xE0}, 1, -1, 128, 128, 128, 0, "1 bit: white is 128, not 255"},
        {{0xF0, 0x10}, 4, -1, 240, 0, 16, 1, "4 bits: times 16"},
        {{0xFF, 0xF0, 0x0F, 0xF8, 0x00}, 12, -1, 255, 0, 0xF8, 4, "12 bits: the top 8"},
        {{0xFF}, 8, -1, 255, 0x00FFFFFF, 0x00FFFFFF, 1, "past the end: 0xFFFFFF00 >> 8"},
        {{0xFF, 0xFF}, 0, -1, 0, 0, 0, 0, "no bits: zeros, nothing read"},
        {{0xFF}, 8, 1, 255, 255, 255, 1, "raw 255 is t = 1.0 exactly"},
        {{0x80}, 8, 1, 127, 127, 127, 1, "raw 128: t = 128/255 truncated, 127.99 truncated"},
        {{0x80}, 1, 1, 255, 255, 255, 0, "1 bit: raw 1 is t = 1.0"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, 32, 1, 0, 0, 0, 4, "32 bits: no largest value, t = 0"},
        {{}, 8, 1, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0, "past the end: t far above 1.0"},
        {{0xFF, 0x00, 0xAA}, 8, 2, 255, 0, kNo, 2, "two functions on gray: two fields"},
        {{0xAA}, 8, 0, kNo, kNo, kNo, 0, "no functions: nothing read"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Reader rd(c.data, 8, c.bits, {0, kOne, 0, kOne}, c.funcs);
        PDF_COLOR clr;
        for (uint32_t& v : clr.m_comps) v = kNo;
        rd.r.read_clr(clr);
        EXPECT_EQ(
            (std::vector<uint32_t>{clr.m_comps[0], clr.m_comps[1], clr.m_comps[2], clr.m_comps[3]}),
            (std::vector<uint32_t>{c.c0, c.c1, c.c2, kNo}));
        EXPECT_EQ(rd.bytes.offset(), c.offset);
    }
}

}  // namespace
}  // namespace shadepaint
