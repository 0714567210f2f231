// Rectangles and matrices read from objects: each row of the path table
// (direct array short or long, anything else resolving to an array or not,
// no object at all), and elements read one by one through the coercion.
#include <gtest/gtest.h>

#include <cstdint>

#include "engine/xref_table.h"
#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using test::TestObj;

KXFIX fx(double v) {
    return KXFIX::from_raw(static_cast<int64_t>(v * static_cast<double>(kKxOne)));
}

class ObjGeometry : public testing::Test {
protected:
    void SetUp() override {
        test::add_object(table, 1, "[1 2 3 4]");
        test::add_object(table, 2, "/Name");
        test::add_object(table, 3, "[1 2 3]");
        test::add_object(table, 4, "[0 0 0 0 5 6]");
        test::add_object(table, 5, "2.5");
        test::add_object(table, 6, "[2 0 0 3 7 8]");
        test::add_object(table, 7, "[1 0 0 1 5]");
        test::add_object(table, 8, "[1 0 0 1 5 0 R 6]");
        test::add_object(table, 9, "[1 5 0 R 3 4]");
    }
    CPDFXRefTable table;
    // Calling through a null table is not allowed in C++; a table that knows
    // no object resolves nothing, which reads the same.
    CPDFXRefTable empty;
};

struct RectCase {
    const char* text;  // null: no object
    bool with_table;   // else through a table that knows nothing
    _KXRECTF expected;
    const char* why;
};

TEST_F(ObjGeometry, RectangleByPath) {
    const _KXRECTF unchanged{fx(-9), fx(-9), fx(-9), fx(-9)};
    const _KXRECTF zero{fx(0), fx(0), fx(0), fx(0)};
    const _KXRECTF inverted;
    const _KXRECTF one_to_four{fx(1), fx(2), fx(3), fx(4)};
    const RectCase cases[] = {
        {nullptr, true, unchanged, "no object: the rectangle is untouched"},
        {"[1 2 3]", true, zero, "direct, too short: a zero box, not an inverted one"},
        {"[]", true, zero, "direct, empty"},
        {"[1 2 3 4]", true, one_to_four, "direct"},
        {"[1 2 3 4 5]", true, one_to_four, "direct, longer than needed"},
        {"[10 20 0 0]", true, {fx(10), fx(20), fx(0), fx(0)}, "swapped corners stay as written"},
        {"[1.5 -2 3 4]", true, {fx(1.5), fx(-2), fx(3), fx(4)}, "reals and negatives"},
        {"[1 /X (s) 4]", true, {fx(1), fx(0), fx(0), fx(4)}, "a non-numeric element reads 0"},
        {"[1 5 0 R 3 4]", true, {fx(1), fx(2.5), fx(3), fx(4)}, "an element reference is followed"},
        {"[1 5 0 R 3 4]", false, {fx(1), fx(0), fx(3), fx(4)}, "an unresolved element reads 0"},
        {"1 0 R", true, one_to_four, "a reference to an array"},
        {"9 0 R",
         true,
         {fx(1), fx(2.5), fx(3), fx(4)},
         "behind a reference, elements are followed too"},
        {"2 0 R", true, inverted, "a reference to a name: the inverted box"},
        {"99 0 R", true, inverted, "a reference to a missing object: the inverted box"},
        {"/BBox", true, inverted, "neither array nor reference: the inverted box"},
        {"1 0 R", false, inverted, "an unresolved reference: the inverted box"},
        {"3 0 R", true, zero, "a short array behind a reference reads like a short direct one"},
    };
    for (const RectCase& c : cases) {
        SCOPED_TRACE(c.why);
        TestObj o;
        if (c.text) o = TestObj(c.text);
        _KXRECTF r = unchanged;
        CPDFXRefTable* t = c.with_table ? &table : &empty;
        t->read_obj_rect(r, c.text ? o.get() : nullptr);
        EXPECT_EQ(r.left.m_raw, c.expected.left.m_raw) << "left";
        EXPECT_EQ(r.top.m_raw, c.expected.top.m_raw) << "top";
        EXPECT_EQ(r.right.m_raw, c.expected.right.m_raw) << "right";
        EXPECT_EQ(r.bottom.m_raw, c.expected.bottom.m_raw) << "bottom";
    }
}

TEST_F(ObjGeometry, DirectArrayWithoutElementTable) {
    CPDFObj bare = test::make_null_payload(kObjArray);
    _KXRECTF r;
    table.read_obj_rect(r, &bare);
    EXPECT_EQ(r.left.m_raw, 0);
    EXPECT_EQ(r.bottom.m_raw, 0);
    _KXMATRIX m{};
    table.read_obj_matrix(m, &bare);
    EXPECT_EQ(m.a.m_raw, kKxOne);
    EXPECT_EQ(m.d.m_raw, kKxOne);
}

struct MatrixCase {
    const char* text;  // null: no object
    bool with_table;   // else through a table that knows nothing
    _KXMATRIX expected;
    const char* why;
};

_KXMATRIX mat(double a, double b, double c, double d, double e, double f) {
    return {fx(a), fx(b), fx(c), fx(d), fx(e), fx(f)};
}

TEST_F(ObjGeometry, MatrixByPath) {
    const _KXMATRIX id = _KXMATRIX::identity();
    const MatrixCase cases[] = {
        {"[2 0 0 3 7 8]", true, mat(2, 0, 0, 3, 7, 8), "direct"},
        {"[1 2 3 4 5 6 7]", true, mat(1, 2, 3, 4, 5, 6), "direct, longer than needed"},
        {"[1 0 0 1 5]", true, id, "direct, five numbers: identity"},
        {"[]", true, id, "direct, empty: identity"},
        {"[0 0 0 0 5 6]", true, mat(1, 0, 0, 1, 5, 6),
         "zero linear part repaired, translation kept"},
        {"[0 0 0 0 0 0]", true, id, "all zero: identity"},
        {"[0 1 0 0 5 6]", true, mat(0, 1, 0, 0, 5, 6), "one element set: no repair"},
        {"[/a (b) null true 5 6]", true, mat(1, 0, 0, 1, 5, 6),
         "non-numeric elements read 0, and then the repair applies"},
        {"[1 0 0 1 5 0 R 6]", true, mat(1, 0, 0, 1, 2.5, 6), "an element reference is followed"},
        {"6 0 R", true, mat(2, 0, 0, 3, 7, 8), "a reference to an array"},
        {"4 0 R", true, mat(0, 0, 0, 0, 5, 6), "behind a reference there is no repair"},
        {"8 0 R", true, mat(1, 0, 0, 1, 2.5, 6), "behind a reference, elements are followed too"},
        {"7 0 R", true, id, "a short array behind a reference: identity, like a short direct one"},
        {"2 0 R", true, id, "a reference to a name: identity"},
        {"99 0 R", true, id, "a reference to a missing object: identity"},
        {"6 0 R", false, id, "an unresolved reference: identity"},
        {nullptr, true, id, "no object: identity"},
    };
    for (const MatrixCase& c : cases) {
        SCOPED_TRACE(c.why);
        TestObj o;
        if (c.text) o = TestObj(c.text);
        _KXMATRIX m = mat(-9, -9, -9, -9, -9, -9);
        CPDFXRefTable* t = c.with_table ? &table : &empty;
        t->read_obj_matrix(m, c.text ? o.get() : nullptr);
        EXPECT_EQ(m.a.m_raw, c.expected.a.m_raw) << "a";
        EXPECT_EQ(m.b.m_raw, c.expected.b.m_raw) << "b";
        EXPECT_EQ(m.c.m_raw, c.expected.c.m_raw) << "c";
        EXPECT_EQ(m.d.m_raw, c.expected.d.m_raw) << "d";
        EXPECT_EQ(m.e.m_raw, c.expected.e.m_raw) << "e";
        EXPECT_EQ(m.f.m_raw, c.expected.f.m_raw) << "f";
    }
}

}  // namespace
}  // namespace shadepaint
