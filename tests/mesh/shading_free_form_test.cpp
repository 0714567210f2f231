// The free-form mesh: record layouts and flags into the triangle store, cut
// streams, and the render rules (store order, opaque corners, rounding to
// 1/128 pixel, the mask, the bitmap's bounds).
#include "mesh/shading_free_form.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "mesh/mesh_test_util.h"
#include "shading/bitmap.h"

namespace shadepaint {
namespace {

using testing::BitWriter;
using testing::Canvas;
using testing::Doc;
using testing::expect_triangle;
using testing::is_blank;
using testing::kOne;
using testing::load_mesh;
using testing::ShadingPtr;
using testing::V;

// Widths of a record's fields; Decode makes one raw step one unit.
struct Fmt {
    int32_t flag, coord, comp;
    std::string entries() const {
        const int64_t top = (int64_t{1} << coord) - 1;
        return "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerFlag " + std::to_string(flag) +
               " /BitsPerCoordinate " + std::to_string(coord) + " /BitsPerComponent " +
               std::to_string(comp) + " /Decode [0 " + std::to_string(top) + " 0 " +
               std::to_string(top) + " 0 1 0 1 0 1]";
    }
};

// One flag and one vertex, padded to a byte boundary.
void vertex(BitWriter& w, const Fmt& f, uint32_t flag, const V& v) {
    w.put(flag, f.flag).put(static_cast<uint64_t>(v.x), f.coord);
    w.put(static_cast<uint64_t>(v.y), f.coord).put(v.r, f.comp).put(v.g, f.comp).put(v.b, f.comp);
    w.pad();
}

// A flag-0 record; the flags in front of its second and third vertices are
// written as 3 to show that they are passed over unseen.
void record0(BitWriter& w, const Fmt& f, const V& a, const V& b, const V& c, uint32_t flag = 0) {
    vertex(w, f, flag, a);
    vertex(w, f, 3, b);
    vertex(w, f, 3, c);
}

const Fmt kWide{8, 16, 8};
const V A{1, 2, 10, 20, 30}, B{300, 4, 40, 50, 60}, C{5, 600, 70, 80, 90}, D{7, 8, 100, 110, 120},
    E{900, 10, 130, 140, 150}, F{11, 1200, 160, 170, 180};
const V kZero{0, 0, 0, 0, 0};

struct Slot {
    bool blank;
    V a, b, c;
};
Slot blank() { return Slot{true, kZero, kZero, kZero}; }
Slot tri(V a, V b, V c) { return Slot{false, a, b, c}; }

void expect_store(const CPDFShadingFreeForm& s, const std::vector<Slot>& want) {
    ASSERT_EQ(s.m_triangle_count, static_cast<int32_t>(want.size()));
    EXPECT_EQ(s.m_triangle_cap, (s.m_triangle_count + 7) / 8 * 8) << "grows by eight slots";
    for (size_t i = 0; i < want.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << "triangle " << i);
        if (want[i].blank) {
            EXPECT_TRUE(is_blank(s.m_triangles[i]));
        } else {
            expect_triangle(s.m_triangles[i], want[i].a, want[i].b, want[i].c);
        }
    }
}

TEST(FreeFormLoad, RecordsAndFlags) {
    struct Case {
        const char* why;
        Fmt fmt;
        BitWriter body;
        size_t bytes;  // the body's length, 0 when not pinned
        std::vector<Slot> store;
    };
    std::vector<Case> cases;
    {
        Case c{"flag 0 with 8-bit flags: 8 bytes a vertex, 24 a triangle", kWide, {}, 24, {}};
        record0(c.body, kWide, A, B, C);
        c.store = {tri(A, B, C)};
        cases.push_back(c);
    }
    {
        const Fmt two{2, 16, 8};
        Case c{"2-bit flags: 58 bits a vertex, padded to 8 bytes", two, {}, 24, {}};
        record0(c.body, two, A, B, C);
        c.store = {tri(A, B, C)};
        cases.push_back(c);
    }
    {
        Case c{"flags 0, 1, 2, 1: a strip step, a fan step, a strip step", kWide, {}, 48, {}};
        record0(c.body, kWide, A, B, C);
        vertex(c.body, kWide, 1, D);
        vertex(c.body, kWide, 2, E);
        vertex(c.body, kWide, 1, F);
        c.store = {tri(A, B, C), tri(B, C, D), tri(B, D, E), tri(D, E, F)};
        cases.push_back(c);
    }
    {
        Case c{"only the two low bits count: 0x04, 0x05, 0x06, 0xFF", kWide, {}, 0, {}};
        record0(c.body, kWide, A, B, C, 0x04);
        vertex(c.body, kWide, 0x05, D);
        vertex(c.body, kWide, 0x06, E);
        c.body.put(0xFF, 8);
        c.store = {tri(A, B, C), tri(B, C, D), tri(B, D, E), blank()};
        cases.push_back(c);
    }
    {
        Case c{"flag 3 then a good record: an unwritten slot first", kWide, {}, 25, {}};
        c.body.put(3, 8);
        record0(c.body, kWide, A, B, C);
        c.store = {blank(), tri(A, B, C)};
        cases.push_back(c);
    }
    {
        const Fmt nib{4, 16, 8};
        Case c{"flag 3 is not padded: the next flag starts mid-byte", nib, {}, 0, {}};
        c.body.put(3, 4);
        record0(c.body, nib, A, B, C);
        c.store = {blank(), tri(A, B, C)};
        cases.push_back(c);
    }
    for (uint32_t first : {1u, 2u}) {
        Case c{first == 1 ? "a first flag 1 has nothing to copy: taken as 3"
                          : "a first flag 2 has nothing to copy: taken as 3",
               kWide,
               {},
               0,
               {}};
        c.body.put(first, 8);
        record0(c.body, kWide, A, B, C);
        c.store = {blank(), tri(A, B, C)};
        cases.push_back(c);
    }
    {
        Case c{"flag 1 behind an unwritten slot copies its zeros", kWide, {}, 0, {}};
        c.body.put(3, 8);
        vertex(c.body, kWide, 1, D);
        c.store = {blank(), tri(kZero, kZero, D)};
        cases.push_back(c);
    }
    {
        Case c{"nine records: the store grows to sixteen slots", kWide, {}, 0, {}};
        record0(c.body, kWide, A, B, C);
        c.store = {tri(A, B, C)};
        for (int i = 0; i < 4; ++i) {
            vertex(c.body, kWide, 2, D);
            vertex(c.body, kWide, 2, E);
            c.store.push_back(tri(A, c.store.back().c, D));
            c.store.push_back(tri(A, D, E));
        }
        cases.push_back(c);
    }
    {
        const Fmt zero_flag{0, 8, 8};
        Case c{"no flag bits: every record is a flag-0 record", zero_flag, {}, 30, {}};
        record0(c.body, zero_flag, A, {4, 5, 6, 7, 8}, {9, 10, 11, 12, 13});
        record0(c.body, zero_flag, {14, 15, 16, 17, 18}, A, A);
        c.store = {tri(A, {4, 5, 6, 7, 8}, {9, 10, 11, 12, 13}), tri({14, 15, 16, 17, 18}, A, A)};
        cases.push_back(c);
    }
    for (Case& c : cases) {
        SCOPED_TRACE(c.why);
        if (c.bytes != 0) {
            EXPECT_EQ(c.body.size(), c.bytes);
        }
        Doc doc;
        ShadingPtr h;
        auto* s = load_mesh<CPDFShadingFreeForm>(doc, h, c.fmt.entries(), c.body.str());
        ASSERT_NE(s, nullptr);
        expect_store(*s, c.store);
    }
}

// A cut stream finishes its last record with all-ones fields: raw
// coordinates 0xFFFFFFFF and colour bytes 255, or a mix where a narrower
// field still fit. Under a scale of 1.0 the raw 0xFFFFFFFF wraps in the
// product (its top is lost) and lands at -1.0, outside the Decode range.
TEST(FreeFormLoad, CutStreams) {
    const int64_t kFar = -1;
    const V far{kFar, kFar, 255, 255, 255};
    BitWriter w;
    record0(w, kWide, A, B, C);
    struct Case {
        size_t bytes;
        Slot slot;
        const char* why;
    };
    const Case cases[] = {
        {8, tri(A, far, far), "cut after the first vertex: two far corners"},
        {16, tri(A, B, far), "cut after the second vertex: one far corner"},
        {20, tri(A, B, V{C.x, kFar, static_cast<uint8_t>(C.y >> 8), 255, 255}),
         "cut inside y of the last vertex: y is lost, red takes y's high byte"},
        {1, tri(far, far, far), "only the flag"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Doc doc;
        ShadingPtr h;
        auto* s = load_mesh<CPDFShadingFreeForm>(doc, h, kWide.entries(), w.first(c.bytes));
        ASSERT_NE(s, nullptr);
        expect_store(*s, {c.slot});
    }
}

// Painting: a red square of two triangles in shading units, then the same
// two triangles in blue, wound the other way.
const std::string kTwoColourSquare = [] {
    BitWriter w;
    const Fmt f{8, 8, 8};
    const V r0{0, 0, 255, 0, 0}, r1{8, 0, 255, 0, 0}, r2{0, 8, 255, 0, 0}, r3{8, 8, 255, 0, 0};
    const V b0{0, 0, 0, 0, 255}, b1{8, 0, 0, 0, 255}, b2{0, 8, 0, 0, 255}, b3{8, 8, 0, 0, 255};
    record0(w, f, r0, r1, r2);
    record0(w, f, r3, r2, r1);
    record0(w, f, b2, b1, b0);
    record0(w, f, b1, b2, b3);
    return w.str();
}();

// Corner values meet the converter's split-division interpolation, which may
// give one less between equal corners: 255 paints as 254 or 255.
bool opaque(uint8_t v) { return v >= 254; }
const std::string kSquareEntries =
    "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerFlag 8 /BitsPerCoordinate 8 "
    "/BitsPerComponent 8 /Decode [0 255 0 255 0 1 0 1 0 1]";

_KXMATRIX translate(int64_t e_raw, int64_t f_raw) {
    _KXMATRIX m = _KXMATRIX::identity();
    m.e = KXFIX::from_raw(e_raw);
    m.f = KXFIX::from_raw(f_raw);
    return m;
}

// Every vertex is rounded to the nearest 1/128 pixel (halves up) before it
// meets the converter. The square is scaled to 0.8 pixel, inside row 0 and
// column 0, where the converter takes its crossings from the corners as they
// stand: pixel (0, 0) is painted when its centre (64/128 into it) lies at or
// right of the left edge and at or below the top one. An edge at 64.5/128
// rounds to 65 and misses it (truncation would give 64); a hair less rounds
// to 64 and takes it.
TEST(FreeFormRender, RoundsToTheNearest128thPixel) {
    const int64_t half128 = kOne / 256;  // 0.5 / 128 pixel
    const int64_t at64 = 64 * (kOne / 128);
    struct Case {
        int64_t e, f;
        bool painted;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {at64 + half128, 0, false, "left edge at 64.5/128 rounds up past the centre"},
        {at64 + half128 - 1, 0, true, "left edge just below rounds onto the centre"},
        {0, at64 + half128, false, "top edge at 64.5/128 rounds below the centre line"},
        {0, at64 + half128 - 1, true, "top edge just below rounds onto it"},
        {0, 0, true, "untranslated"},
    };
    // clang-format on
    Doc doc;
    ShadingPtr h;
    auto* s = load_mesh<CPDFShadingFreeForm>(doc, h, kSquareEntries, kTwoColourSquare);
    ASSERT_NE(s, nullptr);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        _KXMATRIX m = translate(c.e, c.f);
        m.a = m.d = KXFIX::from_raw(kOne / 10);
        Canvas<CKXBmpGray> dst(4, 4, 8, 0);
        Canvas<CKXBmp8> mask(4, 4, 4, 255);
        ASSERT_EQ(s->render_to_bmpg(m, {0, 0}, mask.bmp, dst.bmp), 1);
        EXPECT_EQ(opaque(dst.px(0, 0, 2)[1]), c.painted);
        EXPECT_EQ(dst.px(1, 0, 2)[1], 0);
        EXPECT_EQ(dst.px(0, 1, 2)[1], 0);
    }
}

// Stream order is painting order: the blue triangles, wound the other way,
// cover the red ones wholly. Colour form: painted opaque and masked at the
// end (255 coverage takes one off), uncovered pixels keep their colour bytes
// but lose alpha.
TEST(FreeFormRender, LaterTrianglesCoverEarlierOnesAndTheMaskComesLast) {
    Doc doc;
    ShadingPtr h;
    auto* s = load_mesh<CPDFShadingFreeForm>(doc, h, kSquareEntries, kTwoColourSquare);
    ASSERT_NE(s, nullptr);
    Canvas<CKXBmp32> dst(12, 12, 48, 0x11);
    Canvas<CKXBmp8> mask(12, 12, 12, 255);
    for (int x = 0; x < 12; ++x) *mask.px(x, 2, 1) = 0;
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp), 1);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 12; ++x) {
            SCOPED_TRACE(::testing::Message() << x << "," << y);
            const uint8_t* p = dst.px(x, y, 4);
            if (x < 8 && y < 8) {
                EXPECT_TRUE(opaque(p[0]));
                EXPECT_EQ(p[2], 0) << "no red left";
                if (y == 2) {
                    EXPECT_EQ(p[3], 0);
                } else {
                    EXPECT_TRUE(p[3] == 254 || p[3] == 253) << int{p[3]};
                }
            } else {
                EXPECT_EQ(p[0], 0x11);
                EXPECT_EQ(p[3], y == 2 ? 0 : (255 * 0x11) >> 8);
            }
        }
    }

    // An all-zero mask: the triangles are painted all the same, and the mask
    // takes them away.
    Canvas<CKXBmp8> none(12, 12, 12, 0);
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, none.bmp, dst.bmp), 1);
    EXPECT_TRUE(opaque(dst.px(3, 3, 4)[0]));
    EXPECT_EQ(dst.px(3, 3, 4)[3], 0);
}

// The gray entry point multiplies the mask into itself and leaves the
// picture unmasked; every corner is opaque whatever its stored alpha.
TEST(FreeFormRender, GrayMasksTheMaskAndPaintsOpaque) {
    Doc doc;
    ShadingPtr h;
    auto* s = load_mesh<CPDFShadingFreeForm>(doc, h, kSquareEntries, kTwoColourSquare);
    ASSERT_NE(s, nullptr);
    for (int i = 0; i < s->m_triangle_count; ++i)
        for (auto& v : s->m_triangles[i].m_v) v.m_rgba.a = 7;
    Canvas<CKXBmpGray> dst(12, 12, 24, 0);
    Canvas<CKXBmp8> mask(12, 12, 12, 200);
    ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp), 1);
    EXPECT_EQ(dst.px(3, 3, 2)[0], (255 * 117) >> 10) << "blue's gray";
    EXPECT_TRUE(opaque(dst.px(3, 3, 2)[1])) << "stored alpha 7 is not used";
    EXPECT_EQ(dst.px(10, 10, 2)[1], 0) << "unpainted, and no mask applied";
    EXPECT_EQ(*mask.px(0, 0, 1), (200 * 200) >> 8);
    EXPECT_EQ(*mask.px(11, 11, 1), (200 * 200) >> 8);
}

}  // namespace
}  // namespace shadepaint
