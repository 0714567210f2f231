#include "engine/xref_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "engine/filter_test_util.h"
#include "engine/kxalloc.h"
#include "engine/obj_dump.h"
#include "engine/pdf_stream.h"

namespace shadepaint {
namespace {

using test::read_all;
using testing::dump_obj;

bool set(CPDFXRefTable& t, int32_t num, const std::string& text) {
    return t.set_object(num, text.data(), text.size());
}

std::string entity(CPDFXRefTable& t, uint32_t num, uint32_t gen = 0) {
    ScopedObj out;
    if (!t.get_entity(out.obj, PDF_REF{num, gen}))
        return out.obj.m_tag == kObjNone ? "missing" : "missing, out not empty";
    return dump_obj(out.obj);
}

TEST(XRefTable, SetGetAndReplace) {
    CPDFXRefTable t;
    EXPECT_TRUE(set(t, 1, "[1 (x)]"));
    EXPECT_TRUE(set(t, 2, "1 0 R"));
    EXPECT_EQ(entity(t, 2), "1 0 R");  // a reference is handed back, not followed
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
    EXPECT_EQ(t.get_entity(out.obj, PDF_REF{9, 0}), 0);
    EXPECT_EQ(out.obj.m_tag, kObjNone);
}

// The table keeps its own copy of a body, which may hold anything,
// "endstream" and zero bytes included; an empty filter list hands it out as it
// stands. A record copied out shares the body with the table, so replacing
// the object must not free it while the table lives; an empty body is still a
// body; a record of no body gives no stream; a stream parsed on its own reads
// from the caller's text.
TEST(XRefTable, StreamBodies) {
    CPDFXRefTable t;
    std::string body;
    for (int i = 0; i < 200; ++i) body += static_cast<char>(i * 7);
    body += "endstream";
    std::string text = "<</Length " + std::to_string(body.size()) + " /Filter []>>stream\r\n" +
                       body + "\nendstream";
    ASSERT_TRUE(set(t, 1, text));
    text.assign(text.size(), 'X');
    ASSERT_TRUE(set(t, 2, "<</Length 0>>stream\nendstream"));
    ScopedObj copy, empty, parsed;
    const std::string own = "<</Length 3>>\nstream\nxyz\nendstream";
    ASSERT_TRUE(CPDFXRefTable::parse_object(own.data(), own.size(), parsed.obj));
    ASSERT_EQ(t.get_entity(copy.obj, PDF_REF{1, 0}), 1);
    ASSERT_EQ(t.get_entity(empty.obj, PDF_REF{2, 0}), 1);
    ASSERT_TRUE(set(t, 1, "null"));
    EXPECT_EQ(static_cast<uint32_t>(copy.obj.m_stream->m_data2), body.size());  // the loaders' hint
    const struct {
        const CPDFStreamRec* rec;
        std::string body;
    } cases[] = {{copy.obj.m_stream, body}, {empty.obj.m_stream, ""}, {parsed.obj.m_stream, "xyz"}};
    for (const auto& c : cases) {
        for (uint32_t piece : {1u, 64u}) {
            SCOPED_TRACE(std::to_string(c.body.size()) + " bytes in pieces of " +
                         std::to_string(piece));
            std::unique_ptr<CPDFStream> s(t.make_stream(c.rec));
            ASSERT_NE(s, nullptr);
            EXPECT_EQ(s->m_length, static_cast<int32_t>(c.body.size()));
            EXPECT_EQ(read_all(s.get(), piece), c.body);
        }
    }
    EXPECT_EQ(t.make_stream(nullptr), nullptr);
    CPDFStreamRec bare;
    EXPECT_EQ(t.make_stream(&bare), nullptr);
}

// Every allocation of a parse fails in turn: each attempt either fails
// cleanly, leaving a stored object as it was, or gives the whole object; the
// sanitizer build checks that nothing leaks.
TEST(XRefTable, AllocationFailures) {
    const std::string text =
        "<</S (str) /N /Name /A [1 [2 (x) /y] <</k /v /j [3]>>] /Length 3 "
        "/Z <</B 1 /A 2>>>>stream\nabc\nendstream";
    const std::string expected = testing::parse_dump(text);
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
    EXPECT_TRUE(parsed && stored);
}

}  // namespace
}  // namespace shadepaint
