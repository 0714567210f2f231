// Ownership of parsed values (every path is checked for leaks and stray reads
// by the sanitizer build), the sorted dictionary lookup, and the coercions that
// every loader repeats.
#include "object/pdf_obj.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using test::AllocFailGuard;
using test::TestObj;

// Copies of every tag must survive the source being freed (the sanitizer
// build sees a shared payload). A parsed stream carries nonzero record words,
// so their copy is compared too.
TEST(PdfObj, CopyIsDeepAndFreeEmptiesEveryTag) {
    for (const char* text : {"null", "true", "-7", "2.5", "(a\\000b)", "/Name",
                             "[1 (x) /N [2 [3]]]", "<< /A 1 /B [2 (y)] /C << /D /E >> >>", "5 0 R",
                             "<< /Length 3 /K [1] >>\nstream\nabc\nendstream"}) {
        SCOPED_TRACE(text);
        TestObj copy("[0]");                   // the receiver's old value must be released
        copy->copy_from(TestObj(text).get());  // the source dies at the semicolon
        EXPECT_TRUE(test::same_value(*copy, *TestObj(text)));
        copy->copy_from(nullptr);  // a null source frees the receiver and leaves it empty
        EXPECT_EQ(copy->m_tag, kObjNone);
        EXPECT_EQ(copy->m_word0, 0u);
        copy->free();  // a second free finds nothing to release
    }
}

// Hand-made values a parser never produces: no payload, or a string whose
// length and bytes disagree. None may crash.
TEST(PdfObj, DegenerateValuesCopyAndFree) {
    for (uint32_t tag : {kObjString, kObjName, kObjArray, kObjDict, kObjStream}) {
        SCOPED_TRACE(tag);
        CPDFObj src = test::make_null_payload(tag);
        TestObj copy;
        copy->copy_from(&src);
        EXPECT_EQ(copy->m_tag, tag);
        EXPECT_TRUE(tag != kObjName || *copy->m_name == 0) << "a null name copies as empty";
        src.free();
    }
    // Only length 0 with bytes copies anything: a one-byte buffer holding the zero.
    static unsigned char bytes[] = "ab";
    for (int32_t length : {0, 5, -1}) {
        SCOPED_TRACE(length);
        CPDFObj src = test::make_null_payload(kObjString);
        src.m_length = length;
        src.m_bytes = length == 5 ? nullptr : bytes;
        TestObj copy;
        copy->copy_from(&src);
        EXPECT_EQ(copy->m_length, 0);
        ASSERT_EQ(copy->m_bytes != nullptr, length == 0);
        EXPECT_TRUE(!copy->m_bytes || copy->m_bytes[0] == 0);
    }
}

// A name whose copy can't be allocated leaves nothing (tag 0); a string keeps
// its tag with no bytes. Every partial deep copy must be safe to free.
TEST(PdfObj, CopyUnderAllocationFailure) {
    TestObj name("/LongName"), str("(bytes)"), name_copy, str_copy;
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
    AllocFailGuard fail(0);
    name_copy->copy_from(name.get());
    str_copy->copy_from(str.get());
    EXPECT_EQ(name_copy->m_tag, kObjNone);
    EXPECT_EQ(str_copy->m_tag, kObjString);
    EXPECT_EQ(str_copy->m_bytes, nullptr);
}

TEST(PdfDict, SortedLookupAtTheEdges) {
    TestObj one("<< /M 1 >>"), many("<< /F 6 /B 2 /D 4 /Shading 8 /a 9 >>"), none("<< >>");
    // clang-format off
    const struct { const TestObj* dict; const char* key; int32_t expected; } cases[] = {
        {&one, "M", 1},  {&one, "A", 0},   {&one, "Z", 0},        {&many, "B", 2},
        {&many, "C", 0}, {&many, "Sh", 0}, {&many, "Shading", 8}, {&many, "ShadingType", 0},
        {&many, "a", 9}, {&many, "b", 0},  {&many, "", 0},        {&none, "A", 0}};
    // clang-format on
    for (const auto& c : cases)  // an absent key reads as 0
        EXPECT_EQ(detail::obj_to_int(nullptr, c.dict->find(c.key)), c.expected) << c.key;
}

// Two faults of writing into tables. A copied table was allocated exactly while
// append and set assume room up to the next power of two, so elements landed
// past its end. set's counted key need not be terminated, and comparing it read
// on to a zero byte.
TEST(PdfDict, WritesStayInsideTheTableAndTheKey) {
    TestObj arr("[1 2 3]"), dict("<< /B 2 /D 4 /F 6 >>");
    CPDFArray a;
    CPDFDictionary d;
    a.copy_from(arr->m_array);
    d.copy_from(dict->m_dict);
    std::unique_ptr<char[]> key(new char[4]{'B', 'B', 'o', 'x'});
    for (const char* text : {"7", "8", "9", "10", "11"}) {
        TestObj v(text), w(text);
        ASSERT_TRUE(a.append(*v));
        ASSERT_TRUE(d.set(key.get(), 4, *w));
    }
    EXPECT_EQ(a.m_items[7].m_int, 11);
    EXPECT_EQ(d.m_count, 4);
    EXPECT_EQ(d.find("BBox")->m_int, 11);
}

// obj_to_fix is pinned through the rectangle and matrix readers.
TEST(ObjAccess, CoercionsAndDereference) {
    CPDFXRefTable table;
    const char* const objects[] = {"-2.5", "/Name", "true", "1 0 R",
                                   "<< /Length 1 /K 5 >>\nstream\nx\nendstream"};
    for (int i = 0; i < 5; ++i) test::add_object(table, i + 1, objects[i]);
    // clang-format off
    const struct { const char* text; bool with_table; int32_t integer, boolean; } cases[] = {
        {"2.5", true, 3, 0},     // halves round up
        {"true", true, 0, 1},    // a boolean is no number
        {"1 0 R", true, -2, 0},  // -2.5 rounds up too
        {"2 0 R", true, 0, 0},   // a name
        {"3 0 R", true, 0, 1},
        {"4 0 R", true, 0, 0},   // a reference to a reference is not followed further
        {"1 0 R", false, 0, 0},  // no table: a reference stays one, no number
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.text << (c.with_table ? "" : " without a table"));
        TestObj o(c.text);
        CPDFXRefTable* t = c.with_table ? &table : nullptr;
        EXPECT_EQ(detail::obj_to_int(t, o.get()), c.integer);
        EXPECT_EQ(detail::obj_to_bool(t, o.get()), c.boolean);
    }

    TestObj ref("5 0 R"), direct("[1 2]");
    ScopedObj by_ref, copied;
    detail::deref(&table, ref.get(), by_ref.obj);
    EXPECT_EQ(detail::obj_to_int(&table, detail::dict_find(by_ref.obj, "K")), 5)
        << "a stream is searched as a dictionary";
    detail::deref(&table, direct.get(), copied.obj);
    EXPECT_EQ(detail::array_at(detail::local_array(copied.obj), 2), nullptr) << "past the end";
}

}  // namespace
}  // namespace shadepaint
