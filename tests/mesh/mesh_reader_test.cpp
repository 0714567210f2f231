// The mesh bit reader: the bit-pull rule with its 32-bit accumulator, and the
// turning of raw fields into points and colour components.
#include "mesh/mesh_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
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
        {{0xFF}, 3, {6, 5}, {kBitsPastEnd, 0x1F}, 1, 0, 0, "too wide: no move; narrower fits"},
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
        EXPECT_EQ(std::tuple(b.offset(), b.cur.m_left, b.cur.m_bit),
                  std::tuple(c.offset, c.left, c.end_bit));
    }
}

// Gives its input on every output.
struct Identity : CPDFFunction {
    Identity() { m_inputs = 1, m_outputs = 3; }
    int32_t evaluate(const KXFIX* in, KXFIX* out) const override {
        return out[0] = out[1] = out[2] = in[0], 1;
    }
};

// A point, then a colour: coordinates of `coord` bits over Decode lo to hi
// for both x and y keep at most their top 16 bits and meet the truncated
// scale by the fixed-point product; components without a function are
// rescaled to 8 bits by truncation alone; with one function, t = raw /
// (2^bits - 1) goes in and every output times 255 comes out, unclamped;
// several functions read a field each and give their first output.
// Components behind those written stay untouched.
TEST(DataReader, PointsAndColours) {
    constexpr uint32_t kNo = 0xDEAD, kAll = 0xFFFFFFFF;
    const int64_t h = 100 * kOne;
    struct Case {
        std::vector<unsigned char> data;
        int32_t coord;
        int64_t lo, hi;
        int32_t comp, funcs;  // funcs -1: no Function; 2: on DeviceGray
        int64_t x, y;
        uint32_t c0, c1, c2, offset;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, 32, 0, kOne, 0, -1, 67107840, 0, 0, 0, 0, 8,
         "32 bits keep their top 16: 0xFFFF times the truncated 1/65535, just under 1.0"},
        {{0xFF, 0x00}, 8, -h, h, 0, -1, 6710886365, -h, 0, 0, 0, 2,
         "8 bits over -100..100: the scale beyond 4.0 loses its low 12 bits"},
        {{0x12}, 0, 3 * kOne, 9 * kOne, 0, -1, 3 * kOne, 3 * kOne, 0, 0, 0, 0, "no bits: lo"},
        {{0xE0}, 0, 0, kOne, 1, -1, 0, 0, 128, 128, 128, 0, "1 bit: white is 128, not 255"},
        {{0xFF, 0xF0, 0x0F, 0xF8, 0}, 0, 0, kOne, 12, -1, 0, 0, 255, 0, 0xF8, 4, "12 bits: top 8"},
        {{0xFF}, 0, 0, kOne, 8, -1, 0, 0, 255, 0xFFFFFF, 0xFFFFFF, 1, "past the end: >> 8"},
        {{0xFF}, 0, 0, kOne, 8, 1, 0, 0, 255, 255, 255, 1, "raw 255 is t = 1.0 exactly"},
        {{0x80}, 0, 0, kOne, 8, 1, 0, 0, 127, 127, 127, 1, "raw 128: t = 128/255, truncated twice"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, 0, 0, kOne, 32, 1, 0, 0, 0, 0, 0, 4, "32 bits: t = 0"},
        {{}, 0, 0, kOne, 8, 1, 0, 0, kAll, kAll, kAll, 0, "past the end: t far above 1.0"},
        {{0xFF, 0x00, 0xAA}, 0, 0, kOne, 8, 2, 0, 0, 255, 0, kNo, 2, "two functions: two fields"},
    };
    // clang-format on
    Identity f0, f1;
    CPDFFunction* funcs[2] = {&f0, &f1};
    CPDFCSDeviceRGB rgb;
    CPDFCSDeviceGray gray;
    KXFIX dmin[8], dmax[8];
    for (const Case& c : cases) {
        Bytes b(c.data);
        CPDFShadingDataReader r;
        r.setup(&b.cur, c.coord, c.comp, KXFIX::from_raw(c.lo), KXFIX::from_raw(c.hi),
                KXFIX::from_raw(c.lo), KXFIX::from_raw(c.hi), c.funcs < 0 ? nullptr : funcs,
                c.funcs, c.funcs == 2 ? static_cast<CPDFCSBase*>(&gray) : &rgb, dmin, dmax);
        _KXPOINTF pt;
        r.read_pt(pt);
        PDF_COLOR clr;
        for (uint32_t& v : clr.m_comps) v = kNo;
        r.read_clr(clr);
        EXPECT_EQ((std::vector<int64_t>{pt.x.m_raw, pt.y.m_raw, clr.m_comps[0], clr.m_comps[1],
                                        clr.m_comps[2], clr.m_comps[3], b.offset()}),
                  (std::vector<int64_t>{c.x, c.y, c.c0, c.c1, c.c2, kNo, c.offset}))
            << c.why;
    }
}

}  // namespace
}  // namespace shadepaint
