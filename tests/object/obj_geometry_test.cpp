// Rectangles and matrices read from objects: a direct array short or long, a
// reference resolving to an array or not, no object at all, and elements
// read one by one through the coercion.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "engine/xref_table.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

// Raw values of numbers written in text; "I" stands for the inverted box or
// the identity matrix, whichever applies.
std::vector<int64_t> raws(const char* text, std::vector<int64_t> inverted) {
    if (text[0] == 'I') return inverted;
    std::vector<int64_t> out;
    for (char* end = nullptr; *text; text = end)
        out.push_back(static_cast<int64_t>(std::strtod(text, &end) * double(kKxOne)));
    return out;
}

TEST(ObjGeometry, RectangleAndMatrixByPath) {
    CPDFXRefTable table;
    const char* const objects[] = {"[0 0 0 0 5 6]", "/Name", "[1 2 3]", "2.5"};
    for (int i = 0; i < 4; ++i) test::add_object(table, i + 1, objects[i]);
    // Before each read every field holds 9. Null text: no object at all; empty
    // text: an array value without an element table.
    // clang-format off
    const struct { const char* text, *rect, *matrix, *why; } cases[] = {
        {nullptr, "9 9 9 9", "I", "no object: the box untouched, identity"},
        {"[1 2 3]", "0 0 0 0", "I", "direct, too short: a zero box, identity"},
        {"[1 4 0 R 3 4 5 6 7]", "1 2.5 3 4", "1 2.5 3 4 5 6", "longer, element followed"},
        {"[1 9 0 R 3 4 5 6]", "1 0 3 4", "1 0 3 4 5 6", "an unresolved element is 0"},
        {"[1 /X (s) 4 0 0]", "1 0 0 4", "1 0 0 4 0 0", "a non-numeric element is 0"},
        {"[0 0 0 0 5 6]", "0 0 0 0", "1 0 0 1 5 6", "direct zero linear part repaired"},
        {"1 0 R", "0 0 0 0", "0 0 0 0 5 6", "behind a reference there is no repair"},
        {"3 0 R", "0 0 0 0", "I", "a short array behind a reference reads as direct"},
        {"2 0 R", "I", "I", "a reference to a name"},
        {"9 0 R", "I", "I", "an unresolved reference"},
        {"", "0 0 0 0", "I", "an array without elements reads as a too-short one"},
        {"/BBox", "I", "I", "neither array nor reference"},
    };
    // clang-format on
    const int64_t lo = kKxInt32MinRaw, hi = kKxInt32MaxRaw;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        CPDFObj bare = test::make_null_payload(kObjArray);
        test::TestObj o = c.text && *c.text ? test::TestObj(c.text) : test::TestObj::adopt(bare);
        const KXFIX nine = KXFIX::from_int(9);
        _KXRECTF r{nine, nine, nine, nine};
        _KXMATRIX m{nine, nine, nine, nine, nine, nine};
        table.read_obj_rect(r, c.text ? o.get() : nullptr);
        table.read_obj_matrix(m, c.text ? o.get() : nullptr);
        EXPECT_EQ(raws(c.rect, {hi, hi, lo, lo}),
                  (std::vector<int64_t>{r.left.m_raw, r.top.m_raw, r.right.m_raw, r.bottom.m_raw}));
        EXPECT_EQ(raws(c.matrix, {kKxOne, 0, 0, kKxOne, 0, 0}),
                  (std::vector<int64_t>{m.a.m_raw, m.b.m_raw, m.c.m_raw, m.d.m_raw, m.e.m_raw,
                                        m.f.m_raw}));
    }
}

}  // namespace
}  // namespace shadepaint
