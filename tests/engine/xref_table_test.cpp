#include "engine/xref_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "engine/filter_test_util.h"
#include "engine/kxalloc.h"
#include "engine/obj_dump.h"
#include "engine/pdf_stream.h"
#include "object/pdf_dictionary.h"

namespace shadepaint {
namespace {

using test::read_all;
using testing::dump_obj;
using testing::parse_dump;

bool set(CPDFXRefTable& t, int32_t num, const std::string& text) {
    return t.set_object(num, text.data(), text.size());
}

std::string entity(CPDFXRefTable& t, uint32_t num, uint32_t gen = 0) {
    ScopedObj out;
    const int32_t found = t.get_entity(out.obj, PDF_REF{num, gen});
    if (!found) return out.obj.m_tag == kObjNone ? "missing" : "missing, out not empty";
    return dump_obj(out.obj);
}

TEST(XRefTable, SetGetAndReplace) {
    CPDFXRefTable t;
    EXPECT_TRUE(set(t, 1, "<</B [1 2] /A (x)>>"));
    EXPECT_TRUE(set(t, 2, "1 0 R"));
    EXPECT_TRUE(set(t, 0, "null"));
    EXPECT_EQ(entity(t, 1), "<</A <78> /B [1 2]>>");
    EXPECT_EQ(entity(t, 2), "1 0 R");  // a reference is handed back, not followed
    EXPECT_EQ(entity(t, 0), "null");
    EXPECT_EQ(entity(t, 3), "missing");
    EXPECT_EQ(entity(t, 1, 1), "missing");  // only generation 0 exists

    EXPECT_TRUE(set(t, 1, "3.5"));
    EXPECT_EQ(entity(t, 1), "r234881024");

    // Refused texts and numbers leave the table as it was.
    EXPECT_FALSE(set(t, 1, "[1 2"));
    EXPECT_FALSE(set(t, 4, "<</Length 3>>stream\nab"));
    EXPECT_FALSE(set(t, -1, "1"));
    EXPECT_EQ(entity(t, 1), "r234881024");
    EXPECT_EQ(entity(t, 4), "missing");

    // get_entity replaces what out held, and empties it when nothing is found.
    ScopedObj out;
    ASSERT_TRUE(CPDFXRefTable::parse_object("[(old)]", 7, out.obj));
    EXPECT_EQ(t.get_entity(out.obj, PDF_REF{2, 0}), 1);
    EXPECT_EQ(dump_obj(out.obj), "1 0 R");
    EXPECT_EQ(t.get_entity(out.obj, PDF_REF{9, 0}), 0);
    EXPECT_EQ(out.obj.m_tag, kObjNone);
}

TEST(XRefTable, StreamBodyRoundTrip) {
    CPDFXRefTable t;
    std::string body;
    for (int i = 0; i < 200; ++i) body += static_cast<char>(i * 7);
    // The body may hold anything, "endstream" and zero bytes included.
    body += "endstream";
    // An empty filter list hands the body out as it stands.
    const std::string head = "<</Length " + std::to_string(body.size()) + " /Filter []>>stream\r\n";
    std::string text = head + body + "\nendstream\n";
    ASSERT_TRUE(set(t, 5, text));
    text.assign(text.size(), 'X');  // the table must not read the caller's text again

    ScopedObj obj;
    ASSERT_EQ(t.get_entity(obj.obj, PDF_REF{5, 0}), 1);
    ASSERT_EQ(obj.obj.m_tag, kObjStream);
    const CPDFStreamRec* rec = obj.obj.m_stream;
    EXPECT_EQ(static_cast<uint32_t>(rec->m_data2), body.size());  // the mesh loaders' hint
    ASSERT_NE(rec->find("Filter"), nullptr);

    for (uint32_t piece : {1u, 3u, 64u}) {
        SCOPED_TRACE("pieces of " + std::to_string(piece));
        std::unique_ptr<CPDFStream> s(t.make_stream(rec));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_length, static_cast<int32_t>(body.size()));
        EXPECT_EQ(read_all(s.get(), piece), body);
        unsigned char b;
        EXPECT_EQ(s->read(&b, 1), 0u);  // stays at the end
    }
}

// A record copied out shares the body with the table: replacing the object
// must not free that body while the table lives. An empty body is still a
// body; a record of no body gives no stream; a stream parsed on its own reads
// from the caller's text.
TEST(XRefTable, StreamRecordsOutsideTheTable) {
    CPDFXRefTable t;
    ASSERT_TRUE(set(t, 1, "<</Length 4>>stream\nabcd\nendstream"));
    ASSERT_TRUE(set(t, 2, "<</Length 0>>stream\nendstream"));
    ScopedObj copy, empty, parsed;
    ASSERT_EQ(t.get_entity(copy.obj, PDF_REF{1, 0}), 1);
    ASSERT_EQ(t.get_entity(empty.obj, PDF_REF{2, 0}), 1);
    ASSERT_TRUE(set(t, 1, "<</Length 2>>stream\nxy\nendstream"));
    ASSERT_TRUE(set(t, 1, "null"));
    const std::string text = "<</Length 3>>\nstream\nxyz\nendstream";
    ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), parsed.obj));
    const struct {
        const CPDFStreamRec* rec;
        const char* body;
    } cases[] = {
        {copy.obj.m_stream, "abcd"}, {empty.obj.m_stream, ""}, {parsed.obj.m_stream, "xyz"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        std::unique_ptr<CPDFStream> s(t.make_stream(c.rec));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_length, static_cast<int32_t>(std::strlen(c.body)));
        EXPECT_EQ(read_all(s.get(), 2), c.body);
    }
    EXPECT_EQ(t.make_stream(nullptr), nullptr);
    CPDFStreamRec bare;
    EXPECT_EQ(t.make_stream(&bare), nullptr);
}

TEST(XRefTable, LargeReversedDictionaryStaysSorted) {
    // Entries written in descending order: each would go to the front, the
    // costly case for insertion one at a time.
    std::string text = "<<";
    const int n = 20000;  // slow if each entry is inserted at the front one at a time
    for (int i = n - 1; i >= 0; --i)
        text += "/k" + std::to_string(100000 + i) + " " + std::to_string(i);
    text += " /k100000 -1>>";
    ScopedObj obj;
    ASSERT_TRUE(CPDFXRefTable::parse_object(text.data(), text.size(), obj.obj));
    const CPDFDictionary* d = obj.obj.m_dict;
    ASSERT_EQ(d->m_count, n);
    for (int32_t i = 1; i < d->m_count; ++i)
        ASSERT_LT(std::strcmp(d->m_items[i - 1]->m_key, d->m_items[i]->m_key), 0);
    EXPECT_EQ(d->find("k100000")->m_int, -1);
    EXPECT_EQ(d->find("k119999")->m_int, n - 1);
}

// Every allocation of a parse fails in turn: each attempt either fails cleanly
// or gives the whole object; the sanitizer build checks that nothing leaks.
TEST(XRefTable, AllocationFailures) {
    const std::string text =
        "<</S (str) /H <4142> /N /Name /A [1 [2 (x) /y] <</k /v /j [3]>>] /Length 3 "
        "/Z <</B 1 /A 2>>>>stream\nabc\nendstream";
    const std::string expected = parse_dump(text);
    ASSERT_NE(expected, "error");
    bool parsed = false, stored = false;
    for (int32_t n = 0; n < 1000 && !(parsed && stored); ++n) {
        SCOPED_TRACE("allocations allowed: " + std::to_string(n));
        ScopedObj out;
        kx_alloc_fail_after(n);
        const bool ok = CPDFXRefTable::parse_object(text.data(), text.size(), out.obj);
        kx_alloc_fail_after(-1);
        EXPECT_EQ(ok                          ? dump_obj(out.obj)
                  : out.obj.m_tag == kObjNone ? "error"
                                              : "left behind",
                  ok ? expected : "error");
        parsed = parsed || ok;

        CPDFXRefTable t;
        ASSERT_TRUE(set(t, 1, "(before)"));
        kx_alloc_fail_after(n);
        const bool set_ok = set(t, 1, text);
        kx_alloc_fail_after(-1);
        EXPECT_EQ(entity(t, 1), set_ok ? expected : "<6265666f7265>");
        stored = stored || set_ok;
    }
    EXPECT_TRUE(parsed);
    EXPECT_TRUE(stored);
}

}  // namespace
}  // namespace shadepaint
