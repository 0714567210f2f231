// The patch meshes, Coons and tensor: the stream into self-contained patch
// records, the step rule, curve and surface evaluation, grid colours, and
// painting.

#include <array>
#include <tuple>

#include "mesh/mesh_test_util.h"

namespace shadepaint::meshtest {
namespace {

using Coons = CPDFShadingCoons::_group;
using Tensor = CPDFShadingTensor::_group;
constexpr double kRawUnit = 1.0 / kKxOne;

// Coordinates of 8 bits over Decode 0 to 255: a raw field r is the point r.0.
std::string keys(int type, int flag_bits = 8) {
    return "/ShadingType " + std::to_string(type) +
           " /ColorSpace /DeviceRGB /BitsPerCoordinate 8 /BitsPerComponent 8 /Decode [0 255 0 255 "
           "0 1 0 1 0 1]" +
           (flag_bits ? " /BitsPerFlag " + std::to_string(flag_bits) : "");
}

// A patch of the stream: the flag, then point k of those read at (x0 + k,
// y0 + k), then colour k at (r0 + 10 k, r0 + 10 k + 1, r0 + 10 k + 2). A new
// patch has `points` points and 4 colours, a continuation 4 and 2 fewer.
void patch(Bits& b, int bits, uint32_t flag, int points, int x0, int y0, int r0) {
    const bool whole = (flag & 3) == 0;
    b.put(flag, bits);
    for (int k = 0; k < points - (whole ? 0 : 4); ++k)
        b.put((x0 + k) & 255, 8).put((y0 + k) & 255, 8);
    for (int k = 0; k < (whole ? 12 : 6); ++k) b.put(r0 + 10 * (k / 3) + k % 3, 8);
    b.align();
}

int px(const _KXPOINTF& p) { return static_cast<int>(p.x.m_raw >> kKxFracBits); }

// A first patch that continues nothing takes its shared side and corners
// from zeros; the store grows by four records; data that ends one byte into
// a patch is read as its flag and gives a record of all-ones fields.
template <class Shading>
void expect_first_continuation_growth_and_cut_tail(int type, int points) {
    Bits b;
    patch(b, 8, 2, points, 50, 0, 60);
    for (int k = 1; k < 5; ++k) patch(b, 8, 0, points, k, k, k);
    b.put(0, 8);
    MeshDoc doc;
    auto* s = doc.load<Shading>(keys(type), b.bytes);
    ASSERT_EQ(s->m_group_count, 6);
    EXPECT_EQ(s->m_group_cap, 8);
    const auto& g = s->m_groups[0];
    for (int k = 0; k < 4; ++k) EXPECT_EQ(g.m_pts[k].x.m_raw | g.m_pts[k].y.m_raw, 0) << k;
    EXPECT_EQ(word(g.m_rgba[0]) | word(g.m_rgba[1]) | g.m_clr[1].m_comps[0], 0u);
    EXPECT_EQ(word(g.m_rgba[2]), word(rgba(60, 61, 62)));
    for (const _KXRGBA& c : s->m_groups[5].m_rgba) EXPECT_EQ(word(c), 0xFFFFFFFFu);
}

// Flags 1 to 3 take the previous patch's side walked in the same direction,
// and the colours of its two corners; flags 4 to 7
// count by their two low bits. The flag is BitsPerFlag bits at a byte
// boundary, the first point directly behind it; without BitsPerFlag no bits
// are read and every patch is new.
TEST(CoonsLoad, SharedEdgesAndFlagWidths) {
    Bits b;
    patch(b, 8, 4, 12, 10, 50, 1);    // flag 0
    patch(b, 8, 5, 12, 100, 0, 200);  // 1: points 4-11 at 100..107, colours 200, 210
    patch(b, 8, 6, 12, 200, 0, 220);  // 2
    patch(b, 8, 7, 12, 300, 0, 240);  // 3
    MeshDoc doc;
    auto* s = doc.load<CPDFShadingCoons>(keys(6), b.bytes);
    ASSERT_EQ(s->m_group_count, 4);
    // clang-format off
    const int want[4][16] = {  // x of points 0 to 11, red of corners 0 to 3
        {10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 1, 11, 21, 31},
        {13, 14, 15, 16, 100, 101, 102, 103, 104, 105, 106, 107, 11, 21, 200, 210},
        {102, 103, 104, 105, 200, 201, 202, 203, 204, 205, 206, 207, 200, 210, 220, 230},
        {205, 206, 207, 102, 44, 45, 46, 47, 48, 49, 50, 51, 230, 200, 240, 250},
    };
    // clang-format on
    for (int r = 0; r < 4; ++r) {
        const Coons& g = s->m_groups[r];
        for (int k = 0; k < 16; ++k)
            EXPECT_EQ(k < 12 ? px(g.m_pts[k]) : g.m_rgba[k - 12].r, want[r][k] & 255)
                << r << ": " << k;
    }
    // 2-bit flags: 0xC0 starts a flag 3, its points from bit 2; no flags.
    for (const auto& [bits, second, x0, x4] : {std::array{2, 3, 19, 77}, {0, 0, 77, 81}}) {
        Bits c;
        patch(c, bits, 0, 12, 10, 10, 100);
        patch(c, bits, second, 12, 77, 10, 0);
        s = doc.load<CPDFShadingCoons>(keys(6, bits), c.bytes);
        ASSERT_EQ(s->m_group_count, 2) << bits;
        EXPECT_EQ(px(s->m_groups[1].m_pts[0]), x0) << bits;
        EXPECT_EQ(px(s->m_groups[1].m_pts[4]), x4) << bits;
    }
    expect_first_continuation_growth_and_cut_tail<CPDFShadingCoons>(6, 12);
}

// Points 1 to 16 in stream order fill the grid as a spiral from the outside
// in; a continuation's row 0 is a side of the patch before, whose colours
// come along but not their colour words: m_rgba[0] and [1] stay 0.
TEST(TensorLoad, SpiralAndSharedSides) {
    const int spiral[16] = {1, 2, 3, 4, 12, 13, 14, 5, 11, 16, 15, 6, 10, 9, 8, 7};
    // clang-format off
    const int cases[][7] = {  // flag, x of the new row 0, first's corners shared
        {1, 4, 5, 6, 7, 1, 2},
        {2, 7, 8, 9, 10, 2, 3},
        {7, 10, 11, 12, 1, 3, 0},  // 3 by its low bits
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        Bits b;
        patch(b, 8, 4, 16, 1, 201, 10);  // flag 4 counts as 0
        patch(b, 8, c[0], 16, 101, 0, 100);
        MeshDoc doc;
        auto* s = doc.load<CPDFShadingTensor>(keys(7), b.bytes);
        ASSERT_EQ(s->m_group_count, 2);
        const Tensor &first = s->m_groups[0], &next = s->m_groups[1];
        for (int k = 0; k < 16; ++k) {
            EXPECT_EQ(px(first.m_pts[k]), spiral[k]) << k;
            EXPECT_EQ(px(next.m_pts[k]), k < 4 ? c[1 + k] : 96 + spiral[k]) << k;
        }
        for (int k = 0; k < 2; ++k)
            EXPECT_EQ(std::pair(next.m_clr[k].m_comps[2], word(next.m_rgba[k])),
                      std::pair(first.m_clr[c[5 + k]].m_comps[2], 0u));
        EXPECT_EQ(word(next.m_rgba[2]), word(rgba(100, 101, 102)));
    }
    expect_first_continuation_growth_and_cut_tail<CPDFShadingTensor>(7, 16);
}

const _KXRGBA kSolid[4] = {rgba(255, 0, 0), rgba(255, 0, 0), rgba(255, 0, 0), rgba(255, 0, 0)};
const _KXRGBA kQuad[4] = {rgba(255, 0, 0), rgba(0, 255, 0), rgba(0, 0, 255), rgba(0, 0, 0)};

// Coons steps: the device box of each curve's control points, width plus
// height over 16 (u) or 8 (v), rounded up; the larger curve decides. A scale
// of 8 keeps every raw unit of the sizes. Curves are sampled as one de
// Casteljau step divided by N, then the quadratic form divided by N squared:
// the plain cubic would give -262 and 262. The grid's four corners come out
// exact, whatever the curves in between, with alpha 255 whatever the corners
// hold; inside, one division over the bilinear form of the colours.
TEST(CoonsGrid, StepsCurvesAndPoints) {
    // clang-format off
    const int64_t cases[][5] = {  // box width, height (raw), scale, ut, vt
        {raw(2), raw(2), 8, 1, 2},      // 16.0 exactly: one u step, but two v steps
        {raw(2) + 2, raw(1), 8, 2, 1},  // 16.0 plus 16 raw: two u steps; 8.0: one v step
        {raw(2), raw(1) + 1, 8, 1, 2},  // 8.0 plus 8 raw: two v steps
        {15, 7, 1, 0, 0},               // below 16 and 8 raw units: no steps
        {16, 8, 1, 1, 1},
        {raw(2), raw(2), 0, 0, 0},      // a matrix that scales by zero
    };
    // clang-format on
    for (const auto& c : cases) {
        const Coons g = coons_box(0, 0, c[0] * kRawUnit, c[1] * kRawUnit, kSolid);
        EXPECT_EQ(g.get_ut(scale(c[2], c[2])), c[3]) << c[0] << " by " << c[1];
        EXPECT_EQ(g.get_vt(scale(c[2], c[2])), c[4]) << c[0] << " by " << c[1];
    }
    Coons g = coons_box(0, 0, 1, 1, kSolid);
    g.m_pts[4].y = fx(3);  // the u curve at v = 1 bulges: box 16 by 32
    EXPECT_EQ(g.get_ut(scale(16, 16)), 3);
    g.m_pts[8].x = fx(-1);  // the v curve at u = 1: box 32 by 16
    EXPECT_EQ(g.get_vt(scale(16, 16)), 6);

    g = coons_box(0, 0, 0, 0, kSolid);
    g.m_pts[11].x.m_raw = 1000;
    g.m_pts[10].x.m_raw = -1000;
    _KXPOINTF* curves = g.get_points_all(7, 2, _KXMATRIX::identity());
    for (int i = 0; i <= 7; ++i)  // the u curve at v = 0 (0, 11, 10, 9) behind the one at v = 1
        EXPECT_EQ(curves[8 + i].x.m_raw, (std::array{0, 261, 261, 104, -104, -261, -261, 0}[i]));
    KXFree(curves);

    g = coons_box(0, 0, 3, 2, kQuad);
    for (int k = 0; k < 12; ++k) g.m_pts[k].x.m_raw += 977 * k * k;
    for (int k = 0; k < 4; ++k) g.m_rgba[k].a = static_cast<uint8_t>(k * 60);
    const _KXMATRIX m = {fx(3.7), fx(0.3), fx(-1.1), fx(2.9), fx(11.5), fx(-3.25)};
    curves = g.get_points_all(7, 5, m);
    _KXPOINTF p;
    _KXRGBA colour;
    for (const auto& c : {std::array{0, 0, 0, 0}, {0, 5, 3, 1}, {7, 5, 6, 2}, {7, 0, 9, 3}}) {
        _KXPOINTF want = g.m_pts[c[2]];
        m.transform_point(want);
        g.get_at(c[0], 7, c[1], 5, curves, p, colour);
        EXPECT_EQ(std::pair(p.x.m_raw, p.y.m_raw), std::pair(want.x.m_raw, want.y.m_raw)) << c[2];
        EXPECT_EQ(word(colour), word(g.m_rgba[c[3]]) | 0xFF000000u) << c[2];
    }
    KXFree(curves);
    curves = g.get_points_all(3, 3, m);
    g.get_at(1, 3, 1, 3, curves, p, colour);  // (2 * 2 * 255) / 9 of corner 0, and so on
    KXFree(curves);
    EXPECT_EQ(word(colour), word(rgba(2 * 2 * 255 / 9, 2 * 255 / 9, 255 / 9)));
}

int64_t bval(int r, int i) { return CPDFShadingTensor::ms_bval[r * 17 + i].m_raw; }

// The Bernstein weights at t = i / 16: exact, symmetric, and a partition of
// one in every column. get_xy at the corners
// gives the corner points, exactly within 4.0 and with the low 12 bits of the
// raw value cleared beyond, the first index running along u (the net's rows);
// at the centre the weights are exact. Grid colours: the corners exactly,
// then two truncating steps through an intermediate byte.
TEST(TensorSurface, WeightsPointsAndColours) {
    CPDFShadingTensor::init();
    ASSERT_EQ(CPDFShadingTensor::ms_init, 1);
    // clang-format off
    const int64_t rows[3][5] = {{0, 0x4000000, 0, 0, 0},
                                {1, 0x34bc000, 0xa8c000, 0xb4000, 0x4000},
                                {8, 0x800000, 0x1800000, 0x1800000, 0x800000}};
    // clang-format on
    for (const auto& row : rows)
        for (int r = 0; r < 4; ++r) EXPECT_EQ(bval(r, row[0]), row[r + 1]) << r << "," << row[0];
    for (int i = 0; i <= 16; ++i) {
        EXPECT_EQ(bval(0, i) + bval(1, i) + bval(2, i) + bval(3, i), kKxOne) << i;
        for (int r = 0; r < 4; ++r) EXPECT_EQ(bval(r, i), bval(3 - r, 16 - i)) << r << "," << i;
    }

    CPDFShadingTensor s(nullptr);
    Tensor g = tensor_box(0, 0, 1, 1, kQuad);
    // clang-format off
    const int64_t cases[4][7] = {  // iu, iv, point; x, y stored; x, y found
        {0, 0, 0, raw(1.5) + 7, raw(-3.25) + 3, raw(1.5) + 7, raw(-3.25) + 3},
        {0, 16, 3, raw(100) + 0x1fff, raw(-200) - 0x1fff, raw(100) + 0x1000, raw(-200) - 0x2000},
        {16, 0, 12, raw(-4), raw(4), raw(-4), raw(4)},
        {16, 16, 15, raw(4) + 1, raw(2), raw(4), raw(2)},
    };
    // clang-format on
    for (const auto& c : cases) g.m_pts[c[2]] = pt_raw(c[3], c[4]);
    KXFIX x, y;
    for (const auto& c : cases) {
        s.get_xy(&g, static_cast<int>(c[0]), static_cast<int>(c[1]), x, y);
        EXPECT_EQ(std::pair(x.m_raw, y.m_raw), std::pair(c[5], c[6])) << c[2];
    }
    for (auto& q : g.m_pts) q = pt_raw(raw(1), raw(2));
    s.get_xy(&g, 8, 8, x, y);
    EXPECT_EQ(std::pair(x.m_raw, y.m_raw), std::pair(raw(1), raw(2)));

    g.m_rgba[0].a = 9;  // the grid's alpha is 255 whatever is stored
    // clang-format off
    const std::pair<int, _KXRGBA> colours[] = {
        {0 * 17 + 0, rgba(255, 0, 0)}, {0 * 17 + 16, rgba(0, 255, 0)},
        {16 * 17 + 16, rgba(0, 0, 255)}, {16 * 17 + 0, rgba(0, 0, 0)},
        {8 * 17 + 0, rgba(127, 0, 0)},   // halfway from 255 to 0 along u: (8 * 255) >> 4
        {1 * 17 + 1, rgba(224, 14, 0)},  // red: low 239, high 0; green: low 0, high 239
        {8 * 17 + 8, rgba(63, 63, 63)},  // each byte 127 on one side, then halved
    };
    // clang-format on
    for (const auto& [k, c] : colours) EXPECT_EQ(word(g.get_rgba(k / 17, k % 17)), word(c)) << k;
}

// Below 6.0 device units of corner-box width plus height a tensor patch is
// one quadrilateral between its corners, with the stored alpha; from 6.0 on
// it is the 16 by 16 grid, opaque: a side that bulges far beyond the corners
// shows which one was painted. Coons device coordinates become 1/128 pixel
// by truncation: a top side one raw unit short of 128/128 lies inside row 0,
// which the rim cell paints along it; at 128/128 it lies on the row boundary
// and row 0 stays empty (rounding would put both there). Coons patches that
// are skipped, under a matrix that scales by zero or with a u count that
// wraps below zero, paint nothing, but the mask still applies, result 1.
TEST(PatchRender, GridChoiceTruncationAndSkippedPatches) {
    CPDFShadingTensor::init();
    for (const int64_t less : {0, 1}) {
        // Corners within 4.0 keep every raw unit through the identity.
        Tensor g = tensor_box(-1.5, -1.5, 1.5, 1.5, kSolid);
        for (int k : {3, 15}) g.m_pts[k].y.m_raw -= less;
        for (int k : {1, 2}) g.m_pts[k] = pt_raw(raw(-9.5), raw(k - 1.5));  // u = 0 bulges to -7.5
        g.m_rgba[0].a = 0;
        CPDFShadingTensor s(nullptr);
        set_groups(s, std::vector{g});
        Mask mask(24, 24);
        Canvas32 c(24, 24);
        // Pixel (i, j) is device (i - 12, j - 12).
        EXPECT_EQ(s.render_to_bmp(_KXMATRIX::identity(), {-12, -12}, mask.bmp, c.bmp), 1);
        EXPECT_EQ(c.colour(7, 12).a != 0, less == 0) << "in the bulge";
        EXPECT_EQ(c.colour(11, 11).a >= 252, less == 0);

        CPDFShadingCoons coons(nullptr);
        set_groups(coons, std::vector{coons_box(0, 1 - (1 - less) * kRawUnit, 4, 4, kSolid)});
        Canvas32 t(4, 4);
        coons.render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, t.bmp);
        EXPECT_EQ(t.colour(1, 0).a != 0, less == 0);

        set_groups(coons, std::vector{coons_box(0, 0, less ? 0x1p34 * 3 : 8, 8, kSolid)});
        Mask partial(8, 8, 200);
        Canvas32 skipped(8, 8, 0x80);
        EXPECT_EQ(coons.render_to_bmp(scale(less, less), {0, 0}, partial.bmp, skipped.bmp), 1);
        for (int32_t i = 0; i < 64; ++i)
            ASSERT_EQ(word(skipped.colour(i % 8, i / 8)), 0x64808080u) << i;
        EXPECT_TRUE(skipped.guards_intact());
    }
}

// Without patches, Coons and tensor alike clear the destination whole,
// padding included but not past it, return 0, and leave the mask alone.
TEST(PatchRender, EmptyShadingClears) {
    CPDFShadingCoons coons(nullptr);
    CPDFShadingTensor tensor(nullptr);
    for (CPDFShading* s : std::vector<CPDFShading*>{&coons, &tensor}) {
        Mask mask(1, 1, 9);
        Canvas32 c(5, 3, 0x77);       // 3 rows of 23 bytes: 17 words, 1 byte left
        CanvasGray g(1, 3, 0x77, 1);  // 3 rows of 3 bytes: 9 bytes, not 10
        EXPECT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, c.bmp), 0);
        EXPECT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, g.bmp), 0);
        EXPECT_EQ(std::count(c.bytes.begin(), c.bytes.end(), 0), 68);
        EXPECT_EQ(std::count(g.bytes.begin(), g.bytes.end(), 0), 9);
        EXPECT_EQ(mask.bytes[0], 9);
    }
}

}  // namespace
}  // namespace shadepaint::meshtest
