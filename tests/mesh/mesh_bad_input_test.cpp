// Hostile mesh dictionaries and streams, for both triangle meshes: each
// refusal leaves a shading without triangles that paints nothing, loads end
// within their limits, and painting never leaves the bitmap.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engine/kxalloc.h"
#include "mesh/mesh_load_p.h"
#include "mesh/mesh_test_util.h"
#include "mesh/shading_free_form.h"
#include "mesh/shading_lattice_form.h"
#include "shading/bitmap.h"

namespace shadepaint {
namespace {

using testing::BitWriter;
using testing::Canvas;
using testing::Doc;
using testing::kOne;
using testing::ShadingPtr;
using testing::stream_text;

using Keys = std::map<std::string, std::string>;

// A good mesh of each type, as keys (so cases can change or drop one) and a
// body: one free-form triangle; a lattice of 2 rows of 2 vertices.
const Keys kFreeFormKeys = {
    {"ShadingType", "4"},      {"ColorSpace", "/DeviceRGB"},
    {"BitsPerFlag", "8"},      {"BitsPerCoordinate", "8"},
    {"BitsPerComponent", "8"}, {"Decode", "[0 255 0 255 0 1 0 1 0 1]"},
};
const Keys kLatticeKeys = {
    {"ShadingType", "5"},      {"ColorSpace", "/DeviceRGB"},
    {"VerticesPerRow", "2"},   {"BitsPerCoordinate", "8"},
    {"BitsPerComponent", "8"}, {"Decode", "[0 255 0 255 0 1 0 1 0 1]"},
};

std::string good_body(int type) {
    BitWriter w;
    const uint8_t pts[4][2] = {{2, 2}, {60, 4}, {3, 50}, {55, 58}};
    for (int k = 0; k < (type == 4 ? 3 : 4); ++k) {
        if (type == 4) w.put(0, 8);
        w.put(pts[k][0], 8).put(pts[k][1], 8).put(200, 8).put(40 * k, 8).put(90, 8);
    }
    return w.str();
}

std::string entries(Keys keys, const Keys& changes) {
    for (const auto& [k, v] : changes) {
        if (v.empty()) {
            keys.erase(k);
        } else {
            keys[k] = v;
        }
    }
    std::string out;
    for (const auto& [k, v] : keys) out += "/" + k + " " + v + " ";
    return out;
}

int32_t triangle_count(const CPDFShading& s) {
    if (s.m_type == 4) return static_cast<const CPDFShadingFreeForm&>(s).m_triangle_count;
    return static_cast<const CPDFShadingLatticeForm&>(s).m_triangle_count;
}
const void* store(const CPDFShading& s) {
    if (s.m_type == 4) return static_cast<const CPDFShadingFreeForm&>(s).m_triangles;
    return static_cast<const CPDFShadingLatticeForm&>(s).m_triangles;
}

ShadingPtr load(Doc& doc, int type, const Keys& changes, const std::string& body) {
    doc.add(1, stream_text(entries(type == 4 ? kFreeFormKeys : kLatticeKeys, changes), body));
    ShadingPtr s = doc.make("1 0 R");
    if (s) s->load();
    return s;
}

std::string functions(int n) {
    std::string out = "[";
    for (int i = 0; i < n; ++i) out += "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >> ";
    return out + "]";
}

TEST(MeshBadInput, RefusedDictionariesLoadNothing) {
    struct Case {
        int type;  // 0: both
        Keys changes;
        const char* body;  // null: the good body
        int32_t triangles;
        const char* why;
    };
    // clang-format off
    const std::vector<Case> cases = {
        {4, {}, nullptr, 1, "the good free-form mesh"},
        {5, {}, nullptr, 2, "the good lattice"},
        {0, {}, "", 0, "an empty stream"},
        {0, {{"BitsPerCoordinate", "33"}}, nullptr, 0, "33-bit coordinates"},
        {0, {{"BitsPerComponent", "33"}}, nullptr, 0, "33-bit components"},
        {4, {{"BitsPerFlag", "33"}}, nullptr, 0, "33-bit flags"},
        {0, {{"Decode", ""}}, nullptr, 0, "no Decode"},
        {0, {{"Decode", "[0 255 0]"}}, nullptr, 0, "Decode of three"},
        {0, {{"Decode", "[0 255 0 255]"}}, nullptr, -1, "no colour pairs: still loads"},
        {0, {{"ColorSpace", ""}}, nullptr, 0, "no colour space"},
        {0, {{"ColorSpace", "/Nonsense"}}, nullptr, 0, "colour space that can't be made"},
        {0, {{"Function", "<< /FunctionType 9 >>"}}, nullptr, 0, "Function that can't be made"},
        {0, {{"Function", functions(17)}}, nullptr, 0, "seventeen functions"},
        {0, {{"Function", functions(3)}, {"Decode", "[0 255 0 255 0 1 0 1 0 1]"}}, nullptr, -1,
         "three functions read three fields a vertex"},
        {0, {{"Function", "99 0 R"}}, nullptr, -1, "Function naming nothing: direct colours"},
        {4, {{"BitsPerFlag", "0"}, {"BitsPerCoordinate", "0"}, {"BitsPerComponent", "0"}}, nullptr, 0,
         "nothing moves the cursor: the records would never end"},
        {5, {{"BitsPerCoordinate", "0"}, {"BitsPerComponent", "0"}}, nullptr, 0,
         "nothing moves the cursor: the rows would never end"},
        {4, {{"BitsPerFlag", "16"}}, "\x01", 0, "a tail shorter than a flag"},
        {5, {{"BitsPerCoordinate", "16"}, {"BitsPerComponent", "16"}}, "\x01", 0,
         "a tail shorter than every field"},
        {5, {{"VerticesPerRow", "1"}}, nullptr, 0, "one vertex a row"},
        {5, {{"VerticesPerRow", "-3"}}, nullptr, 0, "negative row length"},
        {5, {{"VerticesPerRow", "524288"}}, nullptr, 0, "two rows would pass the limit"},
        {0, {{"Filter", "/FlateDecode"}}, nullptr, -1, "corrupt Flate data: what decodes"},
    };
    // clang-format on
    for (const Case& c : cases) {
        for (int type : {4, 5}) {
            if (c.type != 0 && c.type != type) continue;
            SCOPED_TRACE(::testing::Message() << c.why << ", type " << type);
            Doc doc;
            ShadingPtr s = load(doc, type, c.changes, c.body ? c.body : good_body(type));
            ASSERT_NE(s, nullptr);
            if (c.triangles >= 0) {
                EXPECT_EQ(triangle_count(*s), c.triangles);
                if (c.triangles == 0) {
                    EXPECT_EQ(store(*s), nullptr);
                }
            }
            Canvas<CKXBmp32> dst(16, 16, 64, 0x5A);
            Canvas<CKXBmp8> mask(16, 16, 16, 255);
            const auto before = dst.bytes;
            Canvas<CKXBmpGray> gdst(16, 16, 32, 0x5A);
            const int32_t r = s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp);
            const int32_t rg = s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, gdst.bmp);
            if (triangle_count(*s) == 0) {
                EXPECT_EQ(r, 0);
                EXPECT_EQ(rg, 0);
                EXPECT_EQ(dst.bytes, before);
                EXPECT_EQ(*mask.px(7, 7, 1), 255) << "the gray form's mask untouched";
            }
        }
    }
}

TEST(MeshBadInput, NotAStreamIsNeverLoaded) {
    for (const char* type : {"4", "5"}) {
        SCOPED_TRACE(type);
        Doc doc;
        ShadingPtr s = doc.make(std::string("<< /ShadingType ") + type +
                                " /ColorSpace /DeviceRGB /BitsPerCoordinate 8 >>");
        ASSERT_NE(s, nullptr);
        s->load();
        EXPECT_EQ(s->m_loaded, 0u);
        EXPECT_EQ(s->m_cs, nullptr) << "not even the base part";
        EXPECT_EQ(triangle_count(*s), 0);
    }
}

// Flate data: a good stream decodes like the raw one; one that inflates to
// far more than the limit is cut at about 8 MiB.
std::string deflate_of(const std::string& raw, size_t zeros_after = 0) {
    z_stream z = {};
    EXPECT_EQ(deflateInit(&z, 9), Z_OK);
    std::string out;
    std::vector<unsigned char> buf(1 << 16);
    const std::vector<unsigned char> zeros(1 << 20, 0);
    auto pump = [&](const unsigned char* p, size_t n, int flush) {
        z.next_in = const_cast<unsigned char*>(p);
        z.avail_in = static_cast<uInt>(n);
        do {
            z.next_out = buf.data();
            z.avail_out = static_cast<uInt>(buf.size());
            deflate(&z, flush);
            out.append(reinterpret_cast<char*>(buf.data()), buf.size() - z.avail_out);
        } while (z.avail_out == 0);
    };
    pump(reinterpret_cast<const unsigned char*>(raw.data()), raw.size(), Z_NO_FLUSH);
    for (size_t left = zeros_after; left > 0;) {
        const size_t n = left < zeros.size() ? left : zeros.size();
        pump(zeros.data(), n, Z_NO_FLUSH);
        left -= n;
    }
    pump(nullptr, 0, Z_FINISH);
    deflateEnd(&z);
    return out;
}

TEST(MeshBadInput, FlateStreams) {
    for (int type : {4, 5}) {
        SCOPED_TRACE(type);
        Doc raw_doc, doc;
        ShadingPtr raw = load(raw_doc, type, {}, good_body(type));
        ShadingPtr packed =
            load(doc, type, {{"Filter", "/FlateDecode"}}, deflate_of(good_body(type)));
        ASSERT_EQ(triangle_count(*packed), triangle_count(*raw));
        EXPECT_EQ(
            std::memcmp(store(*packed), store(*raw),
                        sizeof(PDF_MESH_TRIANGLE) * static_cast<size_t>(triangle_count(*raw))),
            0);
    }
}

TEST(MeshBadInput, BodiesThatDecodeToGigabytesStopAtTheLimit) {
    Doc doc;
    doc.add(1, stream_text("/Filter /FlateDecode", deflate_of("", size_t{64} << 20)));
    ScopedObj o;
    PDF_REF ref{1, 0};
    doc.xref.get_entity(o.obj, ref);
    int32_t size = -1;
    unsigned char* data = detail::load_mesh_data(&doc.xref, o.obj, size);
    ASSERT_NE(data, nullptr);
    EXPECT_GT(size, detail::kMeshDataLimit - 0x20000);
    EXPECT_LE(size, detail::kMeshDataLimit);
    EXPECT_EQ(data[size], 0);
    KXFree(data);
}

// Far corners (cut streams), huge and singular matrices, and windows far
// away: every byte outside the bitmap's rows, and between them, stays put.
TEST(MeshBadInput, PaintingStaysInsideTheBitmap) {
    const auto fix = [](double v) { return KXFIX::from_raw(static_cast<int64_t>(v * kOne)); };
    // clang-format off
    const _KXMATRIX matrices[] = {
        _KXMATRIX::identity(),
        {fix(1 << 20), KXFIX{0}, KXFIX{0}, fix(1 << 20), fix(-1e6), fix(-1e6)},
        {fix(-3e4), fix(2e4), fix(2e4), fix(3e4), fix(0), fix(0)},
        {fix(0.3), fix(0.9), fix(-0.9), fix(0.3), fix(8), fix(-3)},
        {KXFIX{0}, KXFIX{0}, KXFIX{0}, KXFIX{0}, fix(5), fix(5)},
        {KXFIX::from_raw(INT64_MAX), KXFIX::from_raw(INT64_MIN), KXFIX::from_raw(INT64_MAX),
         KXFIX::from_raw(-1), KXFIX{0}, KXFIX::from_raw(INT64_MAX)},
    };
    const _KXPOINT origins[] = {{0, 0}, {-40, 25}, {1 << 30, -(1 << 30)}};
    // clang-format on
    for (int type : {4, 5}) {
        const std::string body = good_body(type);
        for (size_t cut : {body.size(), body.size() - 3, size_t{type == 4 ? 6u : 12u}}) {
            Doc doc;
            ShadingPtr s = load(doc, type, {}, body.substr(0, cut));
            ASSERT_NE(s, nullptr);
            ASSERT_GT(triangle_count(*s), 0);
            for (const _KXMATRIX& m : matrices) {
                for (const _KXPOINT& o : origins) {
                    SCOPED_TRACE(::testing::Message()
                                 << "type " << type << " cut " << cut << " matrix "
                                 << (&m - matrices) << " origin " << o.x);
                    // Rows of 20 pixels in strides of 23 and 11, guard bytes behind.
                    Canvas<CKXBmp32> dst(20, 9, 92, 0xA5);
                    Canvas<CKXBmpGray> gdst(20, 9, 46, 0xA5);
                    Canvas<CKXBmp8> mask(20, 9, 23, 255);
                    s->render_to_bmp(m, o, mask.bmp, dst.bmp);
                    s->render_to_bmpg(m, o, mask.bmp, gdst.bmp);
                    for (int y = 0; y < 9; ++y) {
                        for (int x = 80; x < 92; ++x) ASSERT_EQ(dst.bytes[y * 92 + x], 0xA5);
                        for (int x = 40; x < 46; ++x) ASSERT_EQ(gdst.bytes[y * 46 + x], 0xA5);
                    }
                    ASSERT_EQ(dst.bytes.back(), 0xA5);
                    ASSERT_EQ(gdst.bytes.back(), 0xA5);
                }
            }
        }
    }
}

// Every allocation from the factory to the deletion, failing in turn: no
// leak, no crash, and a store that is whole or empty.
TEST(MeshBadInput, AllocationFailures) {
    for (int type : {4, 5}) {
        BitWriter w;
        // A mesh large enough to grow its stores more than once.
        for (int k = 0; k < 12; ++k) {
            const std::string b = good_body(type);
            w.bytes(std::vector<uint8_t>(b.begin(), b.end()));
        }
        const std::string text =
            stream_text(entries(type == 4 ? kFreeFormKeys : kLatticeKeys,
                                {{"Function",
                                  "[<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 "
                                  "[1] /N 1 >> 2 0 R 2 0 R]"}}),
                        w.str());
        Doc doc;
        doc.add(1, text);
        doc.add(2, "<< /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [0] /N 2 >>");
        ShadingPtr undisturbed = doc.make("1 0 R");
        undisturbed->load();
        const int32_t full = triangle_count(*undisturbed);
        ASSERT_GT(full, 8);
        bool whole = false;
        for (int32_t n = 0; n < 400 && !whole; ++n) {
            SCOPED_TRACE(::testing::Message() << "type " << type << " allowed " << n);
            Canvas<CKXBmp32> dst(16, 16, 64, 0);
            Canvas<CKXBmpGray> gdst(16, 16, 32, 0);
            Canvas<CKXBmp8> mask(16, 16, 16, 255);
            kx_alloc_fail_after(n);
            ScopedObj o;
            PDF_REF ref{1, 0};
            doc.xref.get_entity(o.obj, ref);
            CPDFShading* s = CPDFShading::parser_shading(&doc.xref, &o.obj);
            int32_t count = -1;
            if (s) {
                s->load();
                count = triangle_count(*s);
                s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp);
                s->render_to_bmpg(_KXMATRIX::identity(), {0, 0}, mask.bmp, gdst.bmp);
                delete s;
            }
            kx_alloc_fail_after(-1);
            // A mesh that ran out of memory has nothing, never a part.
            EXPECT_TRUE(count <= 0 || count == full) << count;
            whole = count == full;
        }
        EXPECT_TRUE(whole) << "never loaded whole";
    }
}

}  // namespace
}  // namespace shadepaint
