// Ownership of parsed values (every path is checked for leaks and stray reads
// by the sanitizer build), the sorted dictionary lookup, and the coercions that
// every loader repeats.
#include "object/pdf_obj.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "engine/kxalloc.h"
#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "object/pdf_array.h"
#include "object/pdf_dictionary.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

using test::AllocFailGuard;
using test::TestObj;

const char* const kEveryTag[] = {
    "null",
    "true",
    "-7",
    "2.5",
    "(abc)",
    "/Name",
    "[1 (x) /N [2 [3]]]",
    "<< /A 1 /B [2 (y)] /C << /D /E >> >>",
    "5 0 R",
    "<< /Length 3 /K [1] >>\nstream\nabc\nendstream",
};

// Reads every byte a value owns, so that the sanitizers see any stray pointer
// left by a partial copy. Returns the number of values and bytes visited.
int walk(const CPDFObj& o) {
    int n = 1;
    switch (o.m_tag) {
        case kObjString:
            if (o.m_bytes) {
                for (int32_t i = 0; i < o.m_length; ++i) n += o.m_bytes[i] != 0;
                EXPECT_EQ(o.m_bytes[o.m_length], 0) << "a string copy is closed by a zero";
            }
            break;
        case kObjName:
            if (o.m_name) n += static_cast<int>(std::strlen(o.m_name));
            break;
        case kObjArray:
            if (o.m_array)
                for (int32_t i = 0; i < o.m_array->m_count; ++i) n += walk(o.m_array->m_items[i]);
            break;
        case kObjDict:
        case kObjStream:
            if (const CPDFDictionary* d = o.dict())
                for (int32_t i = 0; i < d->m_count; ++i) n += walk(d->m_items[i]->m_value);
            break;
        default:
            break;
    }
    return n;
}

TEST(PdfObjFree, EveryTagLeavesAnEmptyValue) {
    for (const char* text : kEveryTag) {
        SCOPED_TRACE(text);
        TestObj o(text);
        if (std::strcmp(text, "null") != 0) {
            ASSERT_NE(o->m_tag, kObjNone);
        }
        o->free();
        EXPECT_EQ(o->m_tag, kObjNone);
        EXPECT_EQ(o->m_word0, 0u);
        o->free();  // a second free finds nothing to release
        EXPECT_EQ(o->m_tag, kObjNone);
    }
}

TEST(PdfObjFree, NullPayloadPointers) {
    for (uint32_t tag : {kObjString, kObjName, kObjArray, kObjDict, kObjStream}) {
        SCOPED_TRACE(tag);
        CPDFObj o = test::make_null_payload(tag);
        o.free();
        EXPECT_EQ(o.m_tag, kObjNone);
    }
}

TEST(PdfObjFree, StringClearsBytesAndLength) {
    TestObj s("(hello)");
    s->free();
    EXPECT_EQ(s->m_bytes, nullptr);
    EXPECT_EQ(s->m_length, 0);
}

// A stream record is cleared twice when its value is freed; a populated
// dictionary must survive the same.
TEST(PdfObjFree, DictionaryClearTwice) {
    TestObj o("<< /A (x) /B [1 2] >>");
    o->m_dict->clear();
    o->m_dict->clear();
    EXPECT_EQ(o->m_dict->m_count, 0);
    EXPECT_EQ(o->m_dict->m_items, nullptr);
}

TEST(PdfObjCopy, EveryTagIsEqualAndIndependent) {
    for (const char* text : kEveryTag) {
        SCOPED_TRACE(text);
        TestObj src(text);
        TestObj copy("[0]");  // the receiver's old value must be released
        copy->copy_from(src.get());
        EXPECT_TRUE(test::same_value(*copy, *src));
        if (src->m_tag >= kObjName && src->m_tag <= kObjDict) {
            EXPECT_NE(copy->m_word0, src->m_word0) << "payload must not be shared";
        }
        if (src->m_tag == kObjString) {
            EXPECT_NE(copy->m_bytes, src->m_bytes);
        }
        if (src->m_tag == kObjStream) {
            EXPECT_NE(copy->m_stream, src->m_stream);
        }
    }
}

TEST(PdfObjCopy, SurvivesChangesToTheSource) {
    TestObj src("<< /A [1 (two) << /B /Three >>] /S (str) >>");
    TestObj copy;
    copy->copy_from(src.get());

    const_cast<CPDFObj*>(src.find("S"))->m_bytes[0] = 'X';
    CPDFObj replacement = test::make_ref(9);
    ASSERT_TRUE(src->m_dict->set("A", 1, replacement));
    src->free();

    const CPDFObj* s = copy.find("S");
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->m_tag, kObjString);
    EXPECT_EQ(std::memcmp(s->m_bytes, "str", 4), 0);
    const CPDFObj* a = copy.find("A");
    ASSERT_NE(a, nullptr);
    ASSERT_EQ(a->m_tag, kObjArray);
    ASSERT_EQ(a->m_array->m_count, 3);
    TestObj expected("[1 (two) << /B /Three >>]");
    EXPECT_TRUE(test::same_value(*a, *expected));
}

TEST(PdfObjCopy, NullSourceEmptiesTheReceiver) {
    TestObj o("[1 2 (three)]");
    o->copy_from(nullptr);
    EXPECT_EQ(o->m_tag, kObjNone);
    EXPECT_EQ(o->m_word0, 0u);
}

TEST(PdfObjCopy, StringEdgeCases) {
    static const char kBytes[] = "a\0b";
    struct {
        const char* bytes;
        int32_t length;
        int32_t expected_length;
        bool expect_bytes;
        const char* why;
    } const cases[] = {
        {kBytes, 0, 0, true, "length 0 with bytes: a one-byte buffer holding a zero"},
        {kBytes, 3, 3, true, "an embedded zero is copied; a zero closes the copy"},
        {nullptr, 5, 0, false, "null bytes: an empty string, still tag 4"},
        {kBytes, -1, 0, false, "negative length: an empty string, still tag 4"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        CPDFObj src;
        src.init_empty();
        src.m_tag = kObjString;
        src.m_length = c.length;
        src.m_bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(c.bytes));
        TestObj copy;
        copy->copy_from(&src);
        EXPECT_EQ(copy->m_tag, kObjString);
        EXPECT_EQ(copy->m_length, c.expected_length);
        ASSERT_EQ(copy->m_bytes != nullptr, c.expect_bytes);
        if (c.expect_bytes) {
            EXPECT_NE(copy->m_bytes, src.m_bytes);
            EXPECT_EQ(std::memcmp(copy->m_bytes, c.bytes, static_cast<size_t>(c.length)), 0);
            EXPECT_EQ(copy->m_bytes[c.expected_length], 0);
        }
    }
}

TEST(PdfObjCopy, NullPayloadPointers) {
    struct {
        uint32_t tag;
        const char* why;
    } const cases[] = {
        {kObjArray, "an array without a table copies to a new empty array"},
        {kObjDict, "a dictionary without a table copies to a new empty dictionary"},
        {kObjStream, "a stream without a record copies to a new empty record"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        CPDFObj src = test::make_null_payload(c.tag);
        TestObj copy;
        copy->copy_from(&src);
        EXPECT_EQ(copy->m_tag, c.tag);
        ASSERT_NE(copy->m_word0, 0u);
        EXPECT_EQ(walk(*copy), 1);
    }
    // A null name can't be measured: the copy holds an empty name instead.
    CPDFObj name = test::make_null_payload(kObjName);
    TestObj copy;
    copy->copy_from(&name);
    ASSERT_EQ(copy->m_tag, kObjName);
    ASSERT_NE(copy->m_name, nullptr);
    EXPECT_STREQ(copy->m_name, "");
}

TEST(PdfObjCopy, StreamRecordWordsAndDictionary) {
    auto* rec = new CPDFStreamRec();
    rec->m_data0 = 11;
    rec->m_data1 = 22;
    rec->m_data2 = 0xffffffff00000003ULL;
    rec->m_data3 = 44;
    TestObj value("[1 2]");
    ASSERT_TRUE(rec->set("K", 1, *value));
    CPDFObj raw = test::make_null_payload(kObjStream);
    raw.m_stream = rec;
    TestObj src = TestObj::adopt(raw);

    TestObj copy;
    copy->copy_from(src.get());
    ASSERT_EQ(copy->m_tag, kObjStream);
    EXPECT_EQ(copy->m_stream->m_data0, 11u);
    EXPECT_EQ(copy->m_stream->m_data1, 22u);
    EXPECT_EQ(copy->m_stream->m_data2, 0xffffffff00000003ULL);
    EXPECT_EQ(copy->m_stream->m_data3, 44u);
    EXPECT_TRUE(test::same_value(*copy, *src));
    EXPECT_NE(copy.find("K")->m_array, src.find("K")->m_array);
}

// A name whose copy can't be allocated leaves nothing (tag 0); a string keeps
// its tag with no bytes. The asymmetry is deliberate.
TEST(PdfObjCopy, FailedAllocationOfNameAndString) {
    TestObj name("/LongName");
    TestObj str("(bytes)");
    TestObj name_copy, str_copy;
    {
        AllocFailGuard fail(0);
        name_copy->copy_from(name.get());
        str_copy->copy_from(str.get());
    }
    EXPECT_EQ(name_copy->m_tag, kObjNone);
    EXPECT_EQ(name_copy->m_word0, 0u);
    EXPECT_EQ(str_copy->m_tag, kObjString);
    EXPECT_EQ(str_copy->m_length, 0);
    EXPECT_EQ(str_copy->m_bytes, nullptr);
}

// Every allocation of a deep copy fails in turn: each partial copy must be
// safe to walk and to free, and the full copy must come out in the end.
TEST(PdfObjCopy, AllocationFailureAtEveryStep) {
    TestObj src(
        "<< /A [1 (two) /Three << /B (x) /C [/D 4.5 [ ]] >>] /N /Name /R 3 0 R"
        " /S (str) /T << >> >>");
    int n = 0;
    for (; n < 200; ++n) {
        SCOPED_TRACE(n);
        TestObj copy;
        {
            AllocFailGuard fail(n);
            copy->copy_from(src.get());
        }
        walk(*copy);
        if (test::same_value(*copy, *src)) break;
    }
    EXPECT_LT(n, 200) << "the copy never completed";
    EXPECT_GT(n, 5) << "the copy should need one allocation per string, name and table";
}

TEST(PdfDictFind, SortedLookups) {
    TestObj empty("<< >>");
    TestObj one("<< /M 1 >>");
    TestObj many("<< /F 6 /B 2 /D 4 /Shading 8 /a 9 >>");
    struct {
        const TestObj* dict;
        const char* key;
        int32_t expected;  // 0: absent
        const char* why;
    } const cases[] = {
        {&empty, "M", 0, "empty dictionary"},
        {&empty, "", 0, "empty dictionary, empty key"},
        {&one, "M", 1, "one entry, found at mid 0"},
        {&one, "A", 0, "one entry, key before it: hi becomes -1"},
        {&one, "Z", 0, "one entry, key after it: lo becomes 1"},
        {&many, "A", 0, "before the first"},
        {&many, "B", 2, "first"},
        {&many, "C", 0, "between"},
        {&many, "D", 4, "middle"},
        {&many, "F", 6, "fourth"},
        {&many, "Sh", 0, "a prefix of a key"},
        {&many, "Shading", 8, "longer key"},
        {&many, "ShadingType", 0, "a key that extends one"},
        {&many, "a", 9, "lower case sorts after upper case"},
        {&many, "b", 0, "after the last"},
        {&many, "", 0, "empty key sorts before all"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const CPDFObj* v = c.dict->find(c.key);
        if (c.expected == 0) {
            EXPECT_EQ(v, nullptr);
        } else {
            ASSERT_NE(v, nullptr);
            EXPECT_EQ(v->m_int, c.expected);
        }
    }
}

// A lookup in a dictionary without entries must not look at its table.
TEST(PdfDictFind, EmptyCountNeverTouchesTheTable) {
    CPDFDictionary d;
    PDF_DICT_ENTRY* no_entry[1] = {nullptr};  // reading a key through it would crash
    d.m_items = no_entry;
    for (int32_t count : {0, -1, INT32_MIN}) {
        SCOPED_TRACE(count);
        d.m_count = count;
        EXPECT_EQ(d.find("A"), nullptr);
    }
    d.m_items = nullptr;
    d.m_count = 0;
}

TEST(PdfDictFind, UnsortedDictionaryMissesKeys) {
    // Binary search over [C, B, A]: only the middle entry is ever reached.
    TestObj reversed = test::make_unsorted_dict({{"C", "3"}, {"B", "2"}, {"A", "1"}});
    EXPECT_EQ(reversed.find("A"), nullptr);
    EXPECT_EQ(reversed.find("C"), nullptr);
    ASSERT_NE(reversed.find("B"), nullptr);
    EXPECT_EQ(reversed.find("B")->m_int, 2);

    // Ordered without regard to case: "Z" sorts before "a" by bytes.
    TestObj caseless = test::make_unsorted_dict({{"a", "1"}, {"Z", "2"}});
    EXPECT_NE(caseless.find("a"), nullptr);
    EXPECT_EQ(caseless.find("Z"), nullptr);
    TestObj bytewise = test::make_unsorted_dict({{"Z", "2"}, {"a", "1"}});
    EXPECT_NE(bytewise.find("a"), nullptr);
    EXPECT_NE(bytewise.find("Z"), nullptr);
}

// A copied table used to be allocated exactly, while appending assumes room
// for the next power of two: the fourth element was written past the end.
TEST(PdfArrayAppend, AfterCopyStaysInsideTheTable) {
    TestObj src("[1 2 3]");
    CPDFArray copy;
    copy.copy_from(src->m_array);
    for (int32_t v = 4; v <= 9; ++v) {
        TestObj item(std::to_string(v).c_str());
        ASSERT_TRUE(copy.append(*item));
    }
    ASSERT_EQ(copy.m_count, 9);
    for (int32_t i = 0; i < 9; ++i) EXPECT_EQ(copy.m_items[i].m_int, i + 1);
}

// The same fault on a copied dictionary, whose inserts shift the table up.
TEST(PdfDictSet, AfterCopyStaysInsideTheTable) {
    TestObj src("<< /B 2 /D 4 /F 6 >>");
    CPDFDictionary copy;
    copy.copy_from(src->m_dict);
    for (const char* key : {"A", "C", "E", "G", "H"}) {
        TestObj v("0");
        ASSERT_TRUE(copy.set(key, std::strlen(key), *v));
    }
    ASSERT_EQ(copy.m_count, 8);
    for (int32_t i = 1; i < copy.m_count; ++i)
        EXPECT_LT(std::strcmp(copy.m_items[i - 1]->m_key, copy.m_items[i]->m_key), 0);
    ASSERT_NE(copy.find("D"), nullptr);
    EXPECT_EQ(copy.find("D")->m_int, 4);
}

// set takes a counted key that need not be terminated (a parser hands out
// pointers into its text); comparing it used to read on to a zero byte.
TEST(PdfDictSet, CountedKeyIsNotReadPastItsLength) {
    TestObj d("<< /A 1 /C 3 >>");
    std::unique_ptr<char[]> key(new char[4]{'B', 'B', 'o', 'x'});
    TestObj v("2");
    ASSERT_TRUE(d->m_dict->set(key.get(), 4, *v));
    ASSERT_NE(d.find("BBox"), nullptr);
    EXPECT_EQ(d.find("BBox")->m_int, 2);
    TestObj again("5");
    ASSERT_TRUE(d->m_dict->set(key.get(), 4, *again)) << "replacing reads the key the same way";
    EXPECT_EQ(d->m_dict->m_count, 3);
    EXPECT_EQ(d.find("BBox")->m_int, 5);
}

// Document objects that the coercions below reach through references.
class ObjAccess : public testing::Test {
protected:
    void SetUp() override {
        test::add_object(table, 1, "7");
        test::add_object(table, 2, "2.5");
        test::add_object(table, 3, "/Name");
        test::add_object(table, 4, "-2.5");
        test::add_object(table, 5, "true");
        test::add_object(table, 6, "[1 2 3]");
        test::add_object(table, 7, "1 0 R");
        test::add_object(table, 8, "<< /K 4 >>");
        test::add_object(table, 9, "<< /Length 1 /K 5 >>\nstream\nx\nendstream");
    }
    CPDFXRefTable table;
};

TEST_F(ObjAccess, NumbersAndBooleans) {
    const int64_t one = kKxOne;
    struct {
        const char* text;
        bool with_table;
        int64_t fix;
        int32_t integer;
        int32_t boolean;
        const char* why;
    } const cases[] = {
        {"7", true, 7 * one, 7, 0, "direct integer"},
        {"-7", true, -7 * one, -7, 0, "negative integer"},
        {"2147483647", true, kKxInt32MaxRaw, INT32_MAX, 0, "largest integer"},
        {"2.5", true, 5 * one / 2, 3, 0, "real 2.5 rounds up to 3"},
        {"-2.5", true, -5 * one / 2, -2, 0, "real -2.5 rounds up to -2"},
        {"1.75", true, 7 * one / 4, 2, 0, "a ShadingType of 1.75 is type 2"},
        {"true", true, 0, 0, 1, "a boolean is no number"},
        {"false", true, 0, 0, 0, "false"},
        {"/Name", true, 0, 0, 0, "a name is nothing"},
        {"(7)", true, 0, 0, 0, "a string is no number"},
        {"[7]", true, 0, 0, 0, "an array is no number"},
        {"<< /A 7 >>", true, 0, 0, 0, "a dictionary is no number"},
        {"null", true, 0, 0, 0, "null"},
        {"1 0 R", true, 7 * one, 7, 0, "reference to an integer"},
        {"2 0 R", true, 5 * one / 2, 3, 0, "reference to 2.5"},
        {"4 0 R", true, -5 * one / 2, -2, 0, "reference to -2.5"},
        {"3 0 R", true, 0, 0, 0, "reference to a name gives 0"},
        {"5 0 R", true, 0, 0, 1, "reference to true"},
        {"6 0 R", true, 0, 0, 0, "reference to an array"},
        {"7 0 R", true, 0, 0, 0, "a reference to a reference is not followed further"},
        {"99 0 R", true, 0, 0, 0, "unresolved reference"},
        {"1 0 R", false, 0, 0, 0, "a reference with a null table is number 0"},
        {"5 0 R", false, 0, 0, 0, "a reference with a null table is no boolean"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        TestObj o(c.text);
        CPDFXRefTable* t = c.with_table ? &table : nullptr;
        EXPECT_EQ(detail::obj_to_fix(t, o.get()).m_raw, c.fix);
        EXPECT_EQ(detail::obj_to_int(t, o.get()), c.integer);
        EXPECT_EQ(detail::obj_to_bool(t, o.get()), c.boolean);
    }
    EXPECT_EQ(detail::obj_to_fix(&table, nullptr).m_raw, 0);
    EXPECT_EQ(detail::obj_to_int(&table, nullptr), 0);
    EXPECT_EQ(detail::obj_to_bool(&table, nullptr), 0);
}

// Large reals keep only the low 32 bits of their rounded value.
TEST_F(ObjAccess, IntegerOfAHugeRealWraps) {
    CPDFObj real;
    real.init_empty();
    real.m_tag = kObjReal;
    real.m_fix = KXFIX::from_raw(int64_t{5} << 57);  // 2^31 * 5
    EXPECT_EQ(detail::obj_to_int(&table, &real), INT32_MIN);
}

TEST_F(ObjAccess, DereferenceMakesAPrivateCopy) {
    {
        TestObj ref("6 0 R");
        ScopedObj local;
        detail::deref(&table, ref.get(), local.obj);
        const CPDFArray* a = detail::local_array(local.obj);
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(a->m_count, 3);
        EXPECT_EQ(detail::array_at(a, 3), nullptr);
        EXPECT_EQ(detail::array_at(a, -1), nullptr);
        ASSERT_NE(detail::array_at(a, 2), nullptr);
        EXPECT_EQ(detail::array_at(a, 2)->m_int, 3);
    }
    {
        TestObj direct("[1 2]");
        ScopedObj local;
        detail::deref(&table, direct.get(), local.obj);
        ASSERT_EQ(local.obj.m_tag, kObjArray);
        EXPECT_NE(local.obj.m_array, direct->m_array) << "a direct value is copied too";
    }
    {
        TestObj ref("6 0 R");
        ScopedObj local;
        detail::deref(nullptr, ref.get(), local.obj);
        EXPECT_EQ(local.obj.m_tag, kObjRef) << "without a table a reference stays one";
        EXPECT_EQ(detail::local_array(local.obj), nullptr);
    }
    {
        ScopedObj local;
        detail::deref(&table, nullptr, local.obj);
        EXPECT_EQ(local.obj.m_tag, kObjNone);
    }
}

TEST_F(ObjAccess, DictionaryOfDictionaryOrStream) {
    struct {
        const char* text;
        int32_t expected;  // value of /K, 0: no dictionary
        const char* why;
    } const cases[] = {
        {"<< /K 1 >>", 1, "dictionary"},
        {"<< /Length 1 /K 2 >>\nstream\nx\nendstream", 2, "a stream is searched like one"},
        {"[/K 3]", 0, "an array is no dictionary"},
        {"8 0 R", 4, "a reference, once resolved"},
        {"9 0 R", 5, "a reference to a stream, once resolved"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        TestObj o(c.text);
        ScopedObj local;
        detail::deref(&table, o.get(), local.obj);
        const CPDFObj* k = detail::dict_find(local.obj, "K");
        if (c.expected == 0) {
            EXPECT_EQ(k, nullptr);
        } else {
            ASSERT_NE(k, nullptr);
            EXPECT_EQ(k->m_int, c.expected);
        }
    }
}

}  // namespace
}  // namespace shadepaint
