// The reader of PDF object syntax and the document table built on it.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "engine/pdf_parser_p.h"
#include "engine/pdf_stream.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

// A compact text form of a value: strings as hex, reals as their raw KXFIX
// value, streams as their dictionary and body length.
std::string dump(const CPDFObj& o) {
    const uint32_t tag = o.m_tag;
    if (tag == kObjBool) return o.m_int ? "true" : "false";
    if (tag == kObjInt) return std::to_string(o.m_int);
    if (tag == kObjReal) return "r" + std::to_string(o.m_fix.m_raw);
    if (tag == kObjName) return std::string("/") + o.m_name;
    if (tag == kObjRef)
        return std::to_string(o.m_ref.m_num) + " " + std::to_string(o.m_ref.m_gen) + " R";
    const CPDFDictionary* d = tag == kObjDict ? o.m_dict : tag == kObjStream ? o.m_stream : nullptr;
    std::string s;
    for (int32_t i = 0; d && i < d->m_count; ++i)
        s += (i ? " /" : "/") + std::string(d->m_items[i]->m_key) + " " +
             dump(d->m_items[i]->m_value);
    if (tag == kObjDict) return "<<" + s + ">>";
    if (tag == kObjStream)
        return "<<" + s + ">>stream" + std::to_string(uint32_t(o.m_stream->m_data2));
    for (int32_t i = 0; tag == kObjString && i < o.m_length; ++i)
        s += {"0123456789abcdef"[o.m_bytes[i] >> 4], "0123456789abcdef"[o.m_bytes[i] & 15]};
    if (tag == kObjString) return "<" + s + ">";
    for (int32_t i = 0; tag == kObjArray && i < o.m_array->m_count; ++i)
        s += (i ? " " : "") + dump(o.m_array->m_items[i]);
    return tag == kObjArray ? "[" + s + "]" : "null";
}

// The dump of the parsed text, or "error" when parse_object refuses it (and
// then "error, out not empty" if it left something behind).
std::string parse_dump(const std::string& text) {
    ScopedObj out;
    if (!CPDFXRefTable::parse_object(text.data(), text.size(), out.obj))
        return out.obj.m_tag == kObjNone && out.obj.m_word0 == 0 ? "error" : "error, out not empty";
    return dump(out.obj);
}

// A literal with its embedded zero bytes.
#define CASE_TEXT(lit) std::string(lit, sizeof(lit) - 1)

// Reals go to the nearest raw value, halves away from zero (the 27th fraction
// digit decides), and saturate beyond the range; integers beyond 32 bits are
// reals. Arrays and dictionaries nest at most kMaxNesting deep.
TEST(PdfParse, Values) {
    const int n = detail::kMaxNesting;
    auto nest = [](int arrays, const char* inner) {
        return std::string(arrays, '[') + inner + std::string(arrays, ']');
    };
    const std::string deepest = nest(n, ""), deepest_dict = nest(n - 1, "<</a 1>>");
    // clang-format off
    const struct { std::string text, expected; } cases[] = {
        {"%comment\n42 % trailing comment", "42"}, {CASE_TEXT("\0\t\f 7\r\n"), "7"},
        {"(a\\nb\\r\\t\\b\\f\\(\\)\\\\)", "<610a620d09080c28295c>"},
        // Octal: one to three digits, the fourth is text; overflow keeps the low byte.
        {"(\\101\\0618\\7\\400)", "<4131380700>"},
        {"(\\x)", "<78>"},  // unknown escape: the backslash is dropped
        {"(a\\\nb\\\r\nc\\\rd)", "<61626364>"},  // backslash-newline continues the line
        {"(a\r\nb\rc\nd)", "<610a620a630a64>"},  // every end of line reads as LF
        {"(a(b)c)", "<6128622963>"},
        {"<48 65 6c6C\n6f3>", "<48656c6c6f30>"},  // odd digit count: a 0 follows
        {"/A#20B#2f", "/A B/"}, {CASE_TEXT("/ab\0"), "/ab"},  // a raw zero byte is white space
        {"[/a/b(c)<64>1 2.5[true]<</k null>>]",
         "[/a /b <63> <64> 1 r167772160 [true] <</k null>>]"},
        {"<</a 1 /B 2>>", "<</B 2 /a 1>>"},  // byte order: upper case first
        {"<</A 1 /A 2 /B 3 /A 4>>", "<</A 4 /B 3>>"},  // a repeated key keeps its last value
        {"1\n%c\n0\rR", "1 0 R"}, {"[1 0 R 2 3]", "[1 0 R 2 3]"}, {"[1 0 (R)]", "[1 0 <52>]"},
        {"[+1 0 R]", "error"},  // object numbers are plain digits
        {"<</Length 2>>\r\nstream\r\nhiendstream\r\n", "<</Length 2>>stream2"},
        {"<</Length 0>>stream\nendstream", "<</Length 0>>stream0"},
        {"<</Length 9>>stream\nendstream\nendstream", "<</Length 9>>stream9"},
        {deepest, deepest}, {nest(n + 1, ""), "error"}, {nest(100000, ""), "error"},
        {deepest_dict, deepest_dict}, {nest(n, "<</a 1>>"), "error"},
        {"4.", "r268435456"}, {"-.5", "r-33554432"}, {"-0.0", "r0"}, {"0.1", "r6710886"},
        {"000.25000000000000000000000000000000000000", "r16777216"},
        {"123456.0000000149011611938476562500", "r8284991913985"},  // exact: every bit
        {"0.000000007450580596923828125", "r1"}, {"-0.000000007450580596923828125", "r-1"},
        {"0.000000022351741790771484375", "r2"}, {"0.0000000074505805969238281249999999", "r0"},
        {"0.00000000745058059692382812500000001", "r1"},
        {"1.00000000745058059692382812", "r67108864"},
        {"0.333333333333333333333333333333333333", "r22369621"}, {"2147483647", "2147483647"},
        {"2147483648", "r144115188075855872"}, {"-2147483649", "r-144115188142964736"},
        {"137438953471.999999999", "r9223372036854775807"},
        {"-137438953471.999999999", "r-9223372036854775808"},
        {"-137438953472", "r-9223372036854775808"}, {"137438953472", "r9223372036854775807"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 80));
        EXPECT_EQ(parse_dump(c.text), c.expected);
    }
}

// Each refused text leaves out empty; the texts cut at a length would parse
// if the byte behind it were read. A stream's /Length must be a direct
// integer in range, its keyword ends in LF or CR LF, and "endstream" must
// follow the body.
TEST(PdfParse, ErrorsLeaveOutEmpty) {
    // clang-format off
    const std::string cases[] = {
        "", "% only a comment", "(abc", "(a\\", "(()", "<12", "<1g>", "/A#2", "/A#00", "/A#zz",
        "[1 2", "[1 2)", "<< /A >>", "<< 1 2 >>", "<</A 1 >", "1 2", "1 R", "nul", "truex",
        "1e5", "1.2.3", "--1", "+", ".", "4..", "1 0 R R", ")", ">>", "{", "[1 2] x",
        "1 0 obj 5 endobj", "(a) (b)", std::string("(abc)", 4), std::string("<41>", 3),
        std::string("/Name#41", 7), std::string("<<>>", 3), std::string("[1]", 2),
        "<<>>stream\nendstream", "<</Length -1>>stream\nendstream",
        "<</Length 1.0>>stream\nxendstream", "<</Length 1 0 R>>stream\nxendstream",
        "<</Length 6>>stream\nhello", "<</Length 5>>stream\nhello",
        "<</Length 4>>stream\nhello endstream", "<</Length 0>>stream endstream",
        "<</Length 0>>stream\rendstream", "<</Length 0>>stream\nendstreamx",
        "<</Length 0>>stream\nendstream x", "<</Length 0>>streams\nendstream",
        "[<</Length 0>>stream\nendstream]", "<</Length 0>>endstream",
        "<</Length 2147483648>>stream\nendstream",
    };
    // clang-format on
    for (const auto& text : cases) EXPECT_EQ(parse_dump(text), "error") << text;
    ScopedObj out;
    ASSERT_TRUE(CPDFXRefTable::parse_object("[(a) /b <<>>]", 13, out.obj));
    EXPECT_FALSE(CPDFXRefTable::parse_object("[(a) /b", 7, out.obj));
    EXPECT_EQ(out.obj.m_tag, kObjNone);  // what out held is freed
    EXPECT_FALSE(CPDFXRefTable::parse_object(nullptr, 5, out.obj));
}

std::string entity(CPDFXRefTable& t, uint32_t num, uint32_t gen = 0) {
    ScopedObj out;
    if (!t.get_entity(out.obj, PDF_REF{num, gen}))
        return out.obj.m_tag == kObjNone ? "missing" : "missing, out not empty";
    return dump(out.obj);
}

// The table keeps its own copy of a body, which may hold anything,
// "endstream" and zero bytes included; an empty filter list hands it out as
// it stands. A record copied out shares the body with the table, so replacing
// the object must not free it while the table lives; an empty body is still
// a body; a stream parsed on its own reads from the caller's text; a record
// of no body gives no stream. get_entity hands a reference back without
// following it, and empties out when nothing is found.
TEST(XRefTable, StreamBodiesAndEntities) {
    CPDFXRefTable t;
    const std::string body = std::string("\0\xff\n\0", 4) + "endstream" + std::string(300, 'x');
    std::string text = "<</Length " + std::to_string(body.size()) + " /Filter []>>stream\r\n" +
                       body + "\nendstream";
    ASSERT_TRUE(t.set_object(1, text.data(), text.size()));
    text.assign(text.size(), 'X');
    test::add_object(t, 2, "<</Length 0>>stream\nendstream");
    ScopedObj copy, empty;
    ASSERT_EQ(t.get_entity(copy.obj, PDF_REF{1, 0}) + t.get_entity(empty.obj, PDF_REF{2, 0}), 2);
    test::add_object(t, 1, "3 0 R");
    EXPECT_EQ(entity(t, 1) + ", " + entity(t, 1, 1) + ", " + entity(t, 3),
              "3 0 R, missing, missing");
    EXPECT_FALSE(t.set_object(-1, "1", 1));
    EXPECT_EQ(static_cast<uint32_t>(copy.obj.m_stream->m_data2), body.size());  // the loaders' hint
    test::TestObj own("<</Length 3>>\nstream\nxyz\nendstream");
    const std::pair<const CPDFStreamRec*, std::string> cases[] = {
        {copy.obj.m_stream, body}, {empty.obj.m_stream, ""}, {own->m_stream, "xyz"}};
    for (const auto& [rec, want] : cases) {
        std::unique_ptr<CPDFStream> s(t.make_stream(rec));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->m_length, static_cast<int32_t>(want.size()));
        std::string got(want.size() + 1, '\0');
        got.resize(s->read(reinterpret_cast<unsigned char*>(&got[0]), got.size()));
        EXPECT_EQ(got, want);
    }
    EXPECT_EQ(t.make_stream(nullptr), nullptr);
    CPDFStreamRec bare;
    EXPECT_EQ(t.make_stream(&bare), nullptr);
    EXPECT_EQ(t.get_entity(*own, PDF_REF{9, 0}), 0);
    EXPECT_EQ(own->m_tag, kObjNone);
}

// Every allocation of a parse fails in turn: each attempt either fails
// cleanly, leaving a stored object as it was, or gives the whole object; the
// sanitizer build checks that nothing leaks.
TEST(XRefTable, AllocationFailures) {
    const std::string text =
        "<</S (str) /N /Name /A [1 [2 (x) /y] <</k /v /j [3]>>] /Length 3 "
        "/Z <</B 1 /A 2>>>>stream\nabc\nendstream";
    const std::string whole = parse_dump(text);
    bool stored = false;
    for (int32_t n = 0; n < 1000 && !stored; ++n) {
        CPDFXRefTable t;
        test::add_object(t, 1, "(before)");
        std::string parsed;
        {
            test::AllocFailGuard fail(n);
            parsed = parse_dump(text);
            stored = t.set_object(1, text.data(), text.size());
        }
        EXPECT_TRUE(parsed == whole || parsed == "error") << n << " allocations: " << parsed;
        EXPECT_EQ(entity(t, 1), stored ? whole : "<6265666f7265>") << n << " allocations";
    }
    EXPECT_TRUE(stored);
    EXPECT_NE(whole, "error");
}

}  // namespace
}  // namespace shadepaint
