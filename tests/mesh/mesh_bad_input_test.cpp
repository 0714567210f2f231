// Hostile mesh dictionaries and streams, for the four mesh loaders alike: each
// refusal leaves a shading that paints nothing, streams and stuck tails end
// within their limits, painting never leaves the bitmap, and any allocation
// may fail.

#include <zlib.h>

#include <map>
#include <random>

#include "mesh/mesh_load_p.h"
#include "mesh/mesh_test_util.h"

namespace shadepaint::meshtest {
namespace {

// A good mesh of each type as keys, which a case may change or drop (an
// empty value), and a body: one triangle, a lattice of 2 by 2, one patch.
std::string keys(int type, const std::map<std::string, std::string>& changes = {}) {
    // clang-format off
    std::map<std::string, std::string> k = {
        {"ShadingType", std::to_string(type)}, {"ColorSpace", "/DeviceRGB"}, {"BitsPerFlag", "2"},
        {"BitsPerCoordinate", "8"}, {"BitsPerComponent", "8"}, {"VerticesPerRow", "2"},
        {"Decode", "[0 255 0 255 0 1 0 1 0 1]"}};
    // clang-format on
    for (const auto& [key, value] : changes) k[key] = value;
    std::string out;
    for (const auto& [key, value] : k) out += value.empty() ? "" : "/" + key + " " + value + " ";
    return out;
}
std::string good_body(int type) {
    Bits w;
    const int points = type == 4 ? 3 : type == 5 ? 4 : type == 6 ? 12 : 16;
    for (int k = 0; k < points; ++k) {
        if (k == 0 ? type != 5 : type == 4) w.put(0, 2);  // the flag
        w.put(2 + (k * 37) % 60, 8).put(2 + (k * 53) % 60, 8);
        if (type < 6) w.put(200, 8).put(40 * k, 8).put(90, 8);
        if (type == 4) w.align();
    }
    for (int k = 0; type >= 6 && k < 4; ++k) w.put(200, 8).put(40 * k, 8).put(90, 8);
    return w.bytes;
}
const char* const kFunction = "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>";

// Each case for each mesh type: the count it loads to, and painting under
// huge, singular and wrapping matrices and windows far away never leaves the
// bitmap. A refusal paints nothing: result 0, the mask untouched; triangle
// meshes leave the bitmap as it was, patch meshes clear it. Random bodies run
// over a Decode range of a billion units, under the extremes only.
TEST(MeshBadInput, RefusalsStuckTailsAndPaintingBounds) {
    std::string seventeen;
    for (int i = 0; i < 17; ++i) seventeen += kFunction;
    const std::string wide = "[-1000000000 1000000000 -1000000000 1000000000 0 1 0 1 0 1]";
    const uint32_t seed = std::random_device{}();
    std::mt19937 rng(seed);
    std::string noise(600, '\0');
    for (char& ch : noise) ch = static_cast<char>(rng());
    constexpr int kGood = -2, kAny = -1;
    struct Case {
        std::vector<int> types;  // empty: all four
        std::map<std::string, std::string> changes;
        const char* body;  // null: the good body; "cut": it cut inside its first record
        int32_t count;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {{}, {}, nullptr, kGood, "the good mesh"},
        {{}, {}, "", 0, "an empty stream"},
        {{}, {}, "cut", kAny, "a body cut inside its first record"},
        {{}, {{"BitsPerCoordinate", "32"}, {"Decode", wide}}, "noise", kAny, "random bodies"},
        {{}, {{"BitsPerCoordinate", "33"}}, nullptr, 0, "33-bit coordinates"},
        {{}, {{"BitsPerCoordinate", "-1"}}, nullptr, 0, "negative coordinate width"},
        {{}, {{"BitsPerComponent", "4000000000"}}, nullptr, 0, "absurd component width"},
        {{4, 6, 7}, {{"BitsPerFlag", "33"}}, nullptr, 0, "33-bit flags"},
        {{}, {{"Decode", ""}}, nullptr, 0, "no Decode"},
        {{}, {{"Decode", "[0 255 0]"}}, nullptr, 0, "Decode of three"},
        {{}, {{"Decode", "[0 255 0 255]"}}, nullptr, kGood, "no colour pairs: still loads"},
        {{}, {{"ColorSpace", ""}}, nullptr, 0, "no colour space"},
        {{}, {{"Function", "<< /FunctionType 9 >>"}}, nullptr, 0, "Function that can't be made"},
        {{}, {{"Function", "[" + seventeen + "]"}}, nullptr, 0, "seventeen functions"},
        {{}, {{"Function", "99 0 R"}}, nullptr, kGood, "Function naming nothing: direct colours"},
        {{}, {{"BitsPerFlag", ""}, {"BitsPerCoordinate", "0"}, {"BitsPerComponent", "0"}},
         nullptr, 0, "nothing moves the cursor: records would never end"},
        {{}, {{"BitsPerFlag", "16"}, {"BitsPerCoordinate", "16"}, {"BitsPerComponent", "16"}},
         "\x01", 0, "a tail shorter than every field"},
        {{5}, {{"VerticesPerRow", "1"}}, nullptr, 0, "one vertex a row"},
        {{5}, {{"VerticesPerRow", "524288"}}, nullptr, 0, "two rows would pass the limit"},
        {{}, {{"Filter", "/FlateDecode"}}, nullptr, kAny, "corrupt Flate data: what decodes"},
    };
    const _KXMATRIX matrices[] = {
        _KXMATRIX::identity(), scale(0, 0, 5, 5),
        {fx(-3e4), fx(2e4), fx(2e4), fx(3e4), fx(0), fx(0)},
        {fx(0.3), fx(0.9), fx(-0.9), fx(0.3), fx(8), fx(-3)},
        {KXFIX::from_raw(INT64_MAX), KXFIX::from_raw(INT64_MIN), KXFIX::from_raw(INT64_MAX),
         KXFIX::from_raw(-1), KXFIX{0}, KXFIX::from_raw(INT64_MAX)},
    };
    // clang-format on
    for (const Case& c : cases) {
        for (int type : c.types.empty() ? std::vector<int>{4, 5, 6, 7} : c.types) {
            const std::string good = good_body(type), b = c.body ? c.body : "";
            const bool random = b == "noise";
            MeshDoc doc;
            doc.add(keys(type, c.changes), !c.body      ? good
                                           : b == "cut" ? good.substr(0, type == 5 ? 12 : 6)
                                           : random     ? noise.substr(0, type < 6 ? 600 : 120)
                                                        : b);
            ShadingPtr s = doc.shading();
            s->load();
            const int32_t want = c.count == kGood ? 1 + (type == 5) : c.count;
            EXPECT_TRUE(want == kAny || mesh_count(*s) == want) << c.why << " " << mesh_count(*s);
            for (const _KXMATRIX& m : matrices) {
                if (random && (&m - matrices) % 4 != 0) continue;
                for (const _KXPOINT o : {_KXPOINT{-40, 25}, {1 << 30, -(1 << 30)}}) {
                    SCOPED_TRACE(::testing::Message()
                                 << c.why << ", seed " << seed << ", type " << type << ", "
                                 << (&m - matrices) << " " << o.x);
                    Canvas32 dst(20, 9, 0x77, 12);
                    CanvasGray gray(20, 9, 0x77, 6);
                    Mask mask(20, 9, 200);
                    const int32_t r = s->render_to_bmp(m, o, mask.bmp, dst.bmp) +
                                      s->render_to_bmpg(m, o, mask.bmp, gray.bmp);
                    // An empty patch mesh clears its rows, padding included.
                    const bool cleared = type >= 6 && mesh_count(*s) == 0;
                    EXPECT_TRUE(cleared || (dst.guards_intact() && gray.guards_intact()));
                    EXPECT_EQ(dst.bytes.back() + gray.bytes.back(), 2 * Canvas32::kGuard);
                    if (mesh_count(*s) != 0) continue;
                    EXPECT_EQ(r, 0);
                    EXPECT_EQ(*dst.px(19, 8) + *gray.px(19, 8), type < 6 ? 2 * 0x77 : 0);
                    EXPECT_EQ(*mask.px(19, 8), 200);
                }
            }
        }
    }
    // Not a stream: never loaded, not even the base part.
    for (int type = 4; type <= 7; ++type) {
        CPDFXRefTable xref;
        test::TestObj obj(("<< " + keys(type) + ">>").c_str());
        ShadingPtr s(CPDFShading::parser_shading(&xref, obj.get()));
        s->load();
        EXPECT_TRUE(s->m_loaded == 0 && s->m_cs == nullptr && mesh_count(*s) == 0) << type;
    }
}

// A Flate body that inflates to 64 MiB of zeros, eight times the mesh data
// limit (a body inflating to gigabytes takes the same path, only longer to
// write): the load stops at the limit and terminates what it holds.
TEST(MeshBadInput, BodyDecodingFarBeyondTheLimitStopsThere) {
    const std::string zeros(64 << 20, '\0');
    uLongf length = compressBound(zeros.size());
    std::string body(length, '\0');
    ASSERT_EQ(compress2(reinterpret_cast<Bytef*>(body.data()), &length,
                        reinterpret_cast<const Bytef*>(zeros.data()), zeros.size(), 1),
              Z_OK);
    body.resize(length);
    MeshDoc doc;
    doc.add("/Filter /FlateDecode", body);
    ScopedObj o;
    doc.xref.get_entity(o.obj, PDF_REF{1, 0});
    int32_t size = -1;
    unsigned char* data = detail::load_mesh_data(&doc.xref, o.obj, size);
    ASSERT_NE(data, nullptr);
    EXPECT_GT(size, detail::kMeshDataLimit - 0x20000);
    EXPECT_LE(size, detail::kMeshDataLimit);
    EXPECT_EQ(data[size], 0);
    KXFree(data);
}

// Every allocation from the factory to the deletion, failing in turn: no
// leak, no crash, no write past the bitmap, a store that is whole or empty,
// never a part; once all succeed the picture is whole.
TEST(MeshBadInput, AllocationFailures) {
    for (int type = 4; type <= 7; ++type) {
        // Large enough to grow every store more than once; a function direct
        // and two through a reference.
        std::string body;
        for (int k = 0; k < 12; ++k) body += good_body(type);
        MeshDoc doc;
        doc.add(keys(type, {{"Function", "[" + std::string(kFunction) + " 2 0 R 2 0 R]"}}), body);
        test::add_object(doc.xref, 2, "<< /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [0] /N 2 >>");
        const auto paint = [&](Canvas32& dst, int32_t allowed) {
            test::AllocFailGuard fail(allowed);
            ShadingPtr s = doc.shading();
            if (!s) return -1;
            s->load();
            Mask mask(40, 40);
            s->render_to_bmp(_KXMATRIX::identity(), {0, 0}, mask.bmp, dst.bmp);
            return mesh_count(*s);
        };
        Canvas32 ref(40, 40);
        const int32_t full = paint(ref, -1);
        ASSERT_GT(full, 8);
        bool whole = false;
        for (int32_t n = 0; n < 1000 && !whole; ++n) {
            Canvas32 dst(40, 40);
            const int32_t got = paint(dst, n);
            EXPECT_TRUE(got <= 0 || got == full)
                << "type " << type << " allowed " << n << ": " << got;
            EXPECT_EQ(dst.bytes.back(), Canvas32::kGuard);
            whole = got == full && dst.bytes == ref.bytes;
        }
        EXPECT_TRUE(whole) << "type " << type << " never painted whole";
    }
}

}  // namespace
}  // namespace shadepaint::meshtest
