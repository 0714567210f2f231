// Ownership of parsed values (every path is checked for leaks and stray reads
// by the sanitizer build), the sorted dictionary lookup, and the coercions that
// every loader repeats.
#include "object/pdf_obj.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using test::AllocFailGuard;
using test::TestObj;

const char* const kEveryTag[] = {"null",
                                 "true",
                                 "-7",
                                 "2.5",
                                 "(abc)",
                                 "/Name",
                                 "[1 (x) /N [2 [3]]]",
                                 "<< /A 1 /B [2 (y)] /C << /D /E >> >>",
                                 "5 0 R",
                                 "<< /Length 3 /K [1] >>\nstream\nabc\nendstream"};

// Copies of every tag must survive the source being freed (the sanitizer
// build sees a shared payload), and freeing twice finds nothing to release.
TEST(PdfObj, CopyIsDeepAndFreeEmptiesEveryTag) {
    for (const char* text : kEveryTag) {
        SCOPED_TRACE(text);
        TestObj copy("[0]");  // the receiver's old value must be released
        {
            TestObj src(text);
            copy->copy_from(src.get());
        }
        EXPECT_TRUE(test::same_value(*copy, *TestObj(text)));
        copy->free();
        EXPECT_EQ(copy->m_tag, kObjNone);
        EXPECT_EQ(copy->m_word0, 0u);
        copy->free();
    }
    TestObj o("[1 2 (three)]");
    o->copy_from(nullptr);
    EXPECT_EQ(o->m_tag, kObjNone) << "a null source empties the receiver";
}

// Hand-made values a parser never produces: no payload, or a string whose
// length and bytes disagree. None may crash; containers copy to empty ones.
TEST(PdfObj, DegenerateValuesCopyAndFree) {
    for (uint32_t tag : {kObjString, kObjName, kObjArray, kObjDict, kObjStream}) {
        SCOPED_TRACE(tag);
        CPDFObj src = test::make_null_payload(tag);
        TestObj copy;
        copy->copy_from(&src);
        EXPECT_EQ(copy->m_tag, tag);
        if (tag == kObjName) {
            EXPECT_STREQ(copy->m_name, "") << "a null name copies as empty";
        }
        if (tag >= kObjArray) {
            EXPECT_NE(copy->m_word0, 0u);
        }
        src.free();
        EXPECT_EQ(src.m_tag, kObjNone);
    }
    static const char kBytes[] = "a\0b";
    const struct {
        int32_t length, expected;
        const char* bytes;
    } strings[] = {{3, 3, kBytes}, {5, 0, nullptr}, {-1, 0, kBytes}};
    for (const auto& c : strings) {
        SCOPED_TRACE(c.length);
        CPDFObj src = test::make_null_payload(kObjString);
        src.m_length = c.length;
        src.m_bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(c.bytes));
        TestObj copy;
        copy->copy_from(&src);
        EXPECT_EQ(copy->m_length, c.expected);
        ASSERT_EQ(copy->m_bytes != nullptr, c.expected > 0);
        if (c.expected) {
            EXPECT_EQ(std::memcmp(copy->m_bytes, kBytes, 4), 0) << "zero-closed";
        }
    }
}

TEST(PdfObj, StreamCopyKeepsRecordWords) {
    TestObj src("<< /Length 1 /K [1 2] >>\nstream\nx\nendstream");
    src->m_stream->m_data0 = 11;
    src->m_stream->m_data2 = 0xffffffff00000003ULL;
    TestObj copy;
    copy->copy_from(src.get());
    EXPECT_TRUE(test::same_value(*copy, *src));
    EXPECT_EQ(copy->m_stream->m_data2, 0xffffffff00000003ULL);
    EXPECT_NE(copy.find("K")->m_array, src.find("K")->m_array);
}

// A name whose copy can't be allocated leaves nothing (tag 0); a string keeps
// its tag with no bytes. Every partial deep copy must be safe to free.
TEST(PdfObj, CopyUnderAllocationFailure) {
    TestObj name("/LongName"), str("(bytes)"), name_copy, str_copy;
    {
        AllocFailGuard fail(0);
        name_copy->copy_from(name.get());
        str_copy->copy_from(str.get());
    }
    EXPECT_EQ(name_copy->m_tag, kObjNone);
    EXPECT_EQ(str_copy->m_tag, kObjString);
    EXPECT_EQ(str_copy->m_bytes, nullptr);

    TestObj src("<< /A [1 (two) /Three << /B (x) /C [/D [ ]] >>] /R 3 0 R /T << >> >>");
    int n = 0;
    for (; n < 200; ++n) {
        TestObj copy;
        AllocFailGuard fail(n);
        copy->copy_from(src.get());
        if (test::same_value(*copy, *src)) break;
    }
    EXPECT_GT(n, 5);
    EXPECT_LT(n, 200) << "the copy never completed";
}

TEST(PdfDict, SortedLookupAtTheEdges) {
    TestObj one("<< /M 1 >>");
    TestObj many("<< /F 6 /B 2 /D 4 /Shading 8 /a 9 >>");
    const struct {
        const TestObj* dict;
        const char* key;
        int32_t expected;  // 0: absent
    } cases[] = {
        {&one, "M", 1},  {&one, "A", 0},   {&one, "Z", 0},        {&many, "B", 2},
        {&many, "C", 0}, {&many, "Sh", 0}, {&many, "Shading", 8}, {&many, "ShadingType", 0},
        {&many, "a", 9}, {&many, "b", 0},  {&many, "", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        const CPDFObj* v = c.dict->find(c.key);
        EXPECT_EQ(v ? v->m_int : 0, c.expected);
    }
    // Without entries the table is never read, whatever it points to.
    CPDFDictionary d;
    PDF_DICT_ENTRY* no_entry[1] = {nullptr};
    d.m_items = no_entry;
    d.m_count = -1;
    EXPECT_EQ(d.find("A"), nullptr);
    d.m_items = nullptr;
    d.m_count = 0;
    // Binary search over an unsorted [C, B, A] reaches only the middle entry.
    TestObj reversed = test::make_unsorted_dict({{"C", "3"}, {"B", "2"}, {"A", "1"}});
    EXPECT_EQ(reversed.find("A"), nullptr);
    EXPECT_NE(reversed.find("B"), nullptr);
}

// A copied table used to be allocated exactly while appending and inserting
// assume room up to the next power of two: elements were written past the end.
TEST(PdfDict, GrowingACopyStaysInsideTheTable) {
    TestObj arr("[1 2 3]"), dict("<< /B 2 /D 4 /F 6 >>");
    CPDFArray a;
    CPDFDictionary d;
    a.copy_from(arr->m_array);
    d.copy_from(dict->m_dict);
    for (const char* key : {"A", "C", "E", "G", "H", "I"}) {
        TestObj v("7");
        ASSERT_TRUE(a.append(*v));
        ASSERT_TRUE(d.set(key, 1, *v));
    }
    EXPECT_EQ(a.m_count, 9);
    EXPECT_EQ(a.m_items[8].m_int, 7);
    ASSERT_EQ(d.m_count, 9);
    EXPECT_EQ(d.find("D")->m_int, 4);
}

// set takes a counted key that need not be terminated; comparing it used to
// read on to a zero byte.
TEST(PdfDict, CountedKeyIsNotReadPastItsLength) {
    TestObj d("<< /A 1 /C 3 >>"), v("2"), again("5");
    std::unique_ptr<char[]> key(new char[4]{'B', 'B', 'o', 'x'});
    ASSERT_TRUE(d->m_dict->set(key.get(), 4, *v));
    ASSERT_TRUE(d->m_dict->set(key.get(), 4, *again));
    EXPECT_EQ(d->m_dict->m_count, 3);
    EXPECT_EQ(d.find("BBox")->m_int, 5);
}

TEST(ObjAccess, CoercionsAndDereference) {
    CPDFXRefTable table;
    test::add_object(table, 1, "7");
    test::add_object(table, 2, "-2.5");
    test::add_object(table, 3, "/Name");
    test::add_object(table, 4, "true");
    test::add_object(table, 5, "1 0 R");
    test::add_object(table, 6, "<< /Length 1 /K 5 >>\nstream\nx\nendstream");
    const struct {
        const char* text;
        bool with_table;
        double fix;
        int32_t integer, boolean;
        const char* why;
    } cases[] = {
        {"2.5", true, 2.5, 3, 0, "real 2.5 rounds up to 3"},
        {"1.75", true, 1.75, 2, 0, "a ShadingType of 1.75 is type 2"},
        {"true", true, 0, 0, 1, "a boolean is no number"},
        {"(7)", true, 0, 0, 0, "a string is no number"},
        {"1 0 R", true, 7, 7, 0, "reference to an integer"},
        {"2 0 R", true, -2.5, -2, 0, "reference to -2.5 rounds up"},
        {"3 0 R", true, 0, 0, 0, "reference to a name"},
        {"4 0 R", true, 0, 0, 1, "reference to true"},
        {"5 0 R", true, 0, 0, 0, "a reference to a reference is not followed further"},
        {"99 0 R", true, 0, 0, 0, "unresolved reference"},
        {"1 0 R", false, 0, 0, 0, "a reference without a table"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        TestObj o(c.text);
        CPDFXRefTable* t = c.with_table ? &table : nullptr;
        EXPECT_EQ(detail::obj_to_fix(t, o.get()).m_raw, int64_t(c.fix * double(kKxOne)));
        EXPECT_EQ(detail::obj_to_int(t, o.get()), c.integer);
        EXPECT_EQ(detail::obj_to_bool(t, o.get()), c.boolean);
    }
    EXPECT_EQ(detail::obj_to_int(&table, nullptr), 0);
    CPDFObj real = test::make_null_payload(kObjReal);
    real.m_fix = KXFIX::from_raw(int64_t{5} << 57);  // 2^31 * 5 keeps its low 32 bits
    EXPECT_EQ(detail::obj_to_int(&table, &real), INT32_MIN);

    TestObj ref("6 0 R"), direct("[1 2]");
    ScopedObj by_ref, copied, unresolved;
    detail::deref(&table, ref.get(), by_ref.obj);
    ASSERT_NE(detail::dict_find(by_ref.obj, "K"), nullptr) << "a stream is searched as a dict";
    EXPECT_EQ(detail::dict_find(by_ref.obj, "K")->m_int, 5);
    detail::deref(&table, direct.get(), copied.obj);
    const CPDFArray* a = detail::local_array(copied.obj);
    ASSERT_NE(a, nullptr);
    EXPECT_NE(a, direct->m_array) << "a direct value is copied too";
    EXPECT_EQ(detail::array_at(a, 2), nullptr);
    EXPECT_EQ(detail::array_at(a, -1), nullptr);
    EXPECT_EQ(detail::dict_find(copied.obj, "K"), nullptr);
    detail::deref(nullptr, ref.get(), unresolved.obj);
    EXPECT_EQ(unresolved.obj.m_tag, kObjRef) << "without a table a reference stays one";
}

}  // namespace
}  // namespace shadepaint
