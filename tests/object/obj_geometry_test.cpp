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

using test::TestObj;

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
    CPDFXRefTable table, empty;
    test::add_object(table, 1, "[0 0 0 0 5 6]");
    test::add_object(table, 2, "/Name");
    test::add_object(table, 3, "[1 2 3]");
    test::add_object(table, 5, "2.5");
    const struct {
        const char* text;  // null: no object
        bool with_table;
        const char* rect;
        const char* matrix;
        const char* why;
    } cases[] = {
        {nullptr, true, "9 9 9 9", "I", "no object: the box untouched, identity"},
        {"[1 2 3]", true, "0 0 0 0", "I", "direct, too short: a zero box, identity"},
        {"[1 5 0 R 3 4 5 6 7]", true, "1 2.5 3 4", "1 2.5 3 4 5 6", "longer, element followed"},
        {"[1 5 0 R 3 4 5 6]", false, "1 0 3 4", "1 0 3 4 5 6", "an unresolved element is 0"},
        {"[1 /X (s) 4 0 0]", true, "1 0 0 4", "1 0 0 4 0 0", "a non-numeric element is 0"},
        {"[0 0 0 0 5 6]", true, "0 0 0 0", "1 0 0 1 5 6", "direct zero linear part repaired"},
        {"1 0 R", true, "0 0 0 0", "0 0 0 0 5 6", "behind a reference there is no repair"},
        {"3 0 R", true, "0 0 0 0", "I", "a short array behind a reference reads as direct"},
        {"2 0 R", true, "I", "I", "a reference to a name"},
        {"99 0 R", true, "I", "I", "a reference to a missing object"},
        {"1 0 R", false, "I", "I", "an unresolved reference"},
        {"/BBox", true, "I", "I", "neither array nor reference"},
    };
    const int64_t lo = kKxInt32MinRaw, hi = kKxInt32MaxRaw;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        TestObj o;
        if (c.text) o = TestObj(c.text);
        CPDFXRefTable* t = c.with_table ? &table : &empty;
        const KXFIX nine = KXFIX::from_int(9);
        _KXRECTF r{nine, nine, nine, nine};
        _KXMATRIX m{nine, nine, nine, nine, nine, nine};
        t->read_obj_rect(r, c.text ? o.get() : nullptr);
        t->read_obj_matrix(m, c.text ? o.get() : nullptr);
        EXPECT_EQ(raws(c.rect, {hi, hi, lo, lo}),
                  (std::vector<int64_t>{r.left.m_raw, r.top.m_raw, r.right.m_raw, r.bottom.m_raw}));
        EXPECT_EQ(raws(c.matrix, {kKxOne, 0, 0, kKxOne, 0, 0}),
                  (std::vector<int64_t>{m.a.m_raw, m.b.m_raw, m.c.m_raw, m.d.m_raw, m.e.m_raw,
                                        m.f.m_raw}));
    }
    // An array value without an element table reads as a too-short one.
    CPDFObj bare = test::make_null_payload(kObjArray);
    _KXRECTF r;
    _KXMATRIX m{};
    table.read_obj_rect(r, &bare);
    table.read_obj_matrix(m, &bare);
    EXPECT_EQ(r.left.m_raw, 0);
    EXPECT_EQ(m.a.m_raw, kKxOne);
}

}  // namespace
}  // namespace shadepaint
