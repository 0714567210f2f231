// The triangle meshes: free-form records and flags and lattice rows into the
// triangle store, cut streams, and the render rules (stream order, opaque
// corners, rounding to 1/128 pixel, the mask last, and the gray form masking
// the mask).
#include "mesh/shading_free_form.h"

#include <map>
#include <sstream>
#include <tuple>

#include "mesh/mesh_test_util.h"

namespace shadepaint::meshtest {
namespace {

// A vertex in whole units (each Decode range makes one raw step one unit),
// colours that 4 bits hold.
struct V {
    int64_t x, y;
    int r, g, b;
};
// Vertices by letter as written; 0 never written; X read wholly past the end
// (raw 0xFFFFFFFF under a scale of 1.0 wraps to -1.0, colour bytes 255); Y
// is C cut inside its y, Z is G cut inside its x: a field that is lost, and
// red taking the high byte of the field that was; W is I with its colour
// lost.
V vtx(char k) {
    // clang-format off
    static const std::map<char, V> kV = {
        {'A', {1, 2, 16, 32, 48}}, {'B', {300, 4, 64, 80, 96}}, {'C', {5, 600, 112, 128, 144}},
        {'D', {7, 8, 160, 176, 192}}, {'E', {900, 10, 208, 224, 240}}, {'F', {11, 1200, 0, 16, 32}},
        {'G', {7, 20, 48, 64, 80}}, {'H', {40, 33, 96, 112, 128}}, {'I', {21, 22, 144, 160, 176}},
        {'0', {0, 0, 0, 0, 0}}, {'X', {-1, -1, 255, 255, 255}}, {'Y', {5, -1, 600 >> 8, 255, 255}},
        {'Z', {-1, -1, 0, 255, 255}}, {'W', {21, 22, 255, 255, 255}}};
    // clang-format on
    return kV.at(k);
}

// Free-form records as tokens of the flag in two hex digits and a vertex
// letter, or "-" for a flag alone, each vertex padded to a byte boundary;
// lattice rows as tokens of vertex letters, packed bit upon bit. The store as
// tokens of three vertex letters, "000" for an unwritten (zero) slot; a
// lattice cell (i, j) gives (i j, i j+1, i+1 j) and (i j+1, i+1 j, i+1 j+1).
TEST(TriangleMeshLoad, RecordsRowsAndCuts) {
    // Flags in front of a flag-0 record's second and third vertices are
    // written as 3, to show that they are passed over unseen.
    const std::string abc = "00A 03B 03C ", grid = "ABD BDE BCE CEF";
    struct Case {
        int type, flag, coord, comp;
        std::string ops;
        size_t bytes;  // the body's length; cut to it when shorter
        std::string store;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {4, 2, 16, 8, abc, 24, "ABC", "2-bit flags: 58 bits a vertex, padded to 8 bytes"},
        {4, 8, 16, 8, abc + "01D 02E 01F", 48, "ABC BCD BDE DEF", "0, 1, 2, 1; 8 bytes a vertex"},
        {4, 8, 16, 8, "04A 03B 03C 05D 06E FF-", 41, "ABC BCD BDE 000", "two low bits count"},
        {4, 4, 16, 8, "03- " + abc, 24, "000 ABC", "flag 3: a blank slot, next flag mid-byte"},
        {4, 8, 16, 8, "01- " + abc, 25, "000 ABC", "a first flag 1 has nothing to copy: taken as 3"},
        {4, 8, 16, 8, "03- 01D", 9, "000 00D", "flag 1 behind an unwritten slot copies its zeros"},
        {4, 8, 16, 8, abc + "02D 02D 02D 02D 02D 02D 02D 02D", 88,
         "ABC ACD ADD ADD ADD ADD ADD ADD ADD", "nine records: the store grows to sixteen slots"},
        {4, 0, 16, 8, "00A 00D 00E 00F 00A 00A", 42, "ADE FAA", "no flag bits: all flag 0"},
        {4, 8, 16, 8, abc, 8, "AXX", "cut after the first vertex: two far corners"},
        {4, 8, 16, 8, abc, 20, "ABY", "cut inside y of the last vertex: a narrower field fits"},
        {5, 0, 12, 4, "ABC DEF", 27, grid, "36-bit vertices: the second starts 4 bits into byte 5"},
        {5, 0, 16, 8, "ABCD", 28, "", "one row: no cells"},
        {5, 0, 16, 8, "ABC DEF GHI", 42, grid, "ending exactly at a row end: no further row"},
        {5, 0, 16, 8, "ABC DEF GHI", 43, grid + " DEZ EZX EFX FXX", "a row begun counts in full"},
        {5, 0, 16, 8, "ABC DEF GHI", 60, grid + " DEG EGH EFH FHW", "cut inside the last vertex"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        Bits w;
        std::istringstream ops(c.ops);
        std::string op, row;
        for (; ops >> op; row = op) {
            w.put(c.type == 4 ? std::stoul(op.substr(0, 2), nullptr, 16) : 0, c.flag);
            for (const char k : op.substr(c.type == 4 ? 2 : 0)) {
                if (k == '-') continue;
                const V v = vtx(k);
                w.put(static_cast<uint64_t>(v.x), c.coord).put(static_cast<uint64_t>(v.y), c.coord);
                for (int ch : {v.r, v.g, v.b}) w.put(ch >> (8 - c.comp), c.comp);
                if (c.type == 4) w.align();
            }
        }
        std::ostringstream keys;
        const uint64_t top = (uint64_t{1} << c.coord) - 1;
        keys << "/ShadingType " << c.type << " /ColorSpace /DeviceRGB /BitsPerFlag " << c.flag
             << " /BitsPerCoordinate " << c.coord << " /BitsPerComponent " << c.comp
             << " /VerticesPerRow " << row.size() << " /Decode [0 " << top << " 0 " << top
             << " 0 1 0 1 0 1]";
        MeshDoc doc;
        doc.add(keys.str(), w.bytes.substr(0, c.bytes));
        ShadingPtr s = doc.shading();
        s->load();
        const auto [t, count] = triangles(*s);
        std::string store;  // each vertex by the letter it matches, '?' if none
        for (int32_t i = 0; i < 3 * count; ++i) {
            const PDF_MESH_VERTEX& v = t[i / 3].m_v[i % 3];
            store += i && i % 3 == 0 ? " ?" : "?";
            for (const char k : std::string("ABCDEFGHI0XYZW")) {
                const V e = vtx(k);
                if (std::tuple(v.m_pt.x.m_raw, v.m_pt.y.m_raw, word(v.m_rgba) << 8) ==
                    std::tuple(e.x * kKxOne, e.y * kKxOne, word(rgba(e.r, e.g, e.b)) << 8))
                    store.back() = k;
            }
        }
        EXPECT_EQ(store, c.store);
        const auto* f = dynamic_cast<const CPDFShadingFreeForm*>(s.get());
        EXPECT_EQ(f ? f->m_triangle_cap : 0, f ? (count + 7) / 8 * 8 : 0) << "grows by eight slots";
    }
}

// A red square of two triangles, 8 units a side, then the same square in
// blue, wound the other way. Stream order is painting order: the blue
// triangles cover the red ones. Corners are opaque whatever alpha was stored.
// The colour form masks the picture at the end (coverage 255 takes one off,
// an uncovered pixel keeps its colour but loses alpha); the gray form masks
// the mask instead. Every vertex is rounded to the nearest 1/128 pixel: scaled
// to 0.8 pixel the square lies inside pixel (0, 0), which is painted when its
// centre, 64/128 into it, lies at or right of the left edge; an edge at
// 64.5/128 rounds to 65 and misses it (truncation would give 64), a hair less
// rounds to 64.
TEST(FreeFormRender, StreamOrderOpaqueCornersMaskAndRounding) {
    Bits w;
    for (int k : {0, 1, 2, 3, 2, 1, 6, 5, 4, 5, 6, 7}) {
        w.put(0, 8).put(k & 1 ? 8 : 0, 8).put(k & 2 ? 8 : 0, 8);
        w.put(k > 3 ? 0 : 255, 8).put(0, 8).put(k > 3 ? 255 : 0, 8);
    }
    MeshDoc doc;
    auto* s = doc.load<CPDFShadingFreeForm>(
        "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerFlag 8 /BitsPerCoordinate 8 "
        "/BitsPerComponent 8 /Decode [0 255 0 255 0 1 0 1 0 1]",
        w.bytes);
    for (int i = 0; i < s->m_triangle_count; ++i)
        for (auto& v : s->m_triangles[i].m_v) v.m_rgba.a = 7;
    Canvas32 dst(12, 12, 0x11);
    Mask mask(12, 12);
    ASSERT_EQ(s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp), 1);
    for (const auto& [x, y] : {std::pair{0, 0}, {7, 0}, {0, 7}, {7, 7}, {3, 4}})
        EXPECT_TRUE(dst.colour(x, y).r == 0 && dst.colour(x, y).b >= 254 &&
                    dst.colour(x, y).a >= 253);
    EXPECT_EQ(word(dst.colour(10, 10)), word(rgba(0x11, 0x11, 0x11, (255 * 0x11) >> 8)));
    CanvasGray gray(12, 12);
    Mask gmask(12, 12, 200);
    ASSERT_EQ(s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, gmask.bmp, gray.bmp), 1);
    EXPECT_EQ(gray.px(3, 3)[0], (255 * 117) >> 10) << "blue's gray";
    EXPECT_GE(gray.px(3, 3)[1], 254) << "no mask applied to the picture";
    EXPECT_EQ(*gmask.px(11, 11), (200 * 200) >> 8);
    for (const int64_t less : {0, 1}) {
        _KXMATRIX m = scale(0.1, 0.1);
        m.e = KXFIX::from_raw(64 * (kKxOne / 128) + kKxOne / 256 - less);
        CanvasGray small(4, 4);
        ASSERT_EQ(s->render_to_bmpg(m, {0, 0}, mask.bmp, small.bmp), 1);
        EXPECT_EQ(small.px(0, 0)[1] >= 254, less == 1);
    }
}

}  // namespace
}  // namespace shadepaint::meshtest
