// CPDFStream::buffer_load: the first read of the hinted length, the probe for
// more, the chunk growth and the limit on it, and the zero byte behind the
// data.
#include "engine/pdf_stream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "engine/kxalloc.h"

namespace shadepaint {
namespace {

// A body of `length` bytes (byte i is i * 7 + 3), recording each request.
// A misbehaving stream may claim more bytes than it was asked for.
class CountingStream : public CPDFStream {
public:
    explicit CountingStream(uint64_t length, int32_t declared = 0, uint32_t overclaim = 0)
        : m_body(length), m_overclaim(overclaim) {
        m_length = declared;
    }
    uint32_t read(unsigned char* buffer, uint32_t size) override {
        m_requests.push_back(size);
        const uint64_t left = m_body - m_pos;
        const uint32_t n = left < size ? static_cast<uint32_t>(left) : size;
        for (uint32_t i = 0; i < n; ++i)
            buffer[i] = static_cast<unsigned char>((m_pos + i) * 7 + 3);
        m_pos += n;
        return n + m_overclaim;
    }
    std::vector<uint32_t> m_requests;
    uint64_t m_pos = 0;

private:
    uint64_t m_body;
    uint32_t m_overclaim;
};

struct Freer {
    unsigned char* p;
    ~Freer() { KXFree(p); }
};

// The data, the zero behind it, and the three bytes after that (which the
// sanitizer build checks are allocated).
void expect_body(const unsigned char* buf, int32_t size) {
    ASSERT_NE(buf, nullptr);
    for (int32_t i = 0; i < size; ++i) {
        if (buf[i] != static_cast<unsigned char>(i * 7 + 3)) {
            ADD_FAILURE() << "byte " << i;
            return;
        }
    }
    EXPECT_EQ(buf[size], 0);
    volatile unsigned char spare = buf[size + 1] | buf[size + 2] | buf[size + 3];
    (void)spare;
}

constexpr int32_t kLimit = 0x800000;

TEST(BufferLoad, ReadsAndSizes) {
    struct Case {
        uint64_t body;
        int32_t hint;
        int32_t declared;
        int32_t limit;
        int32_t size;
        std::vector<uint32_t> requests;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {1024, 1024, 0, kLimit, 1024, {1024, 1024}, "exact hint: the probe gets 0"},
        {1500, 100, 0, kLimit, 1500, {1024, 1024}, "short hint: the probe gets 476"},
        {1000, 1500, 0, kLimit, 1000, {2048}, "long hint: the first read comes up short"},
        {2047, 1025, 0, kLimit, 2047, {2048}, "1025 rounds up to 2048"},
        {0, 0, 0, kLimit, 0, {0, 1024}, "no hint, no length: ask for 0, then probe"},
        {700, 0, 0, kLimit, 700, {0, 1024}, "no hint, no length, short body"},
        {300, 0, 300, kLimit, 300, {1024}, "no hint: m_length serves"},
        {300, 200, 5000, kLimit, 300, {1024}, "a hint overrides m_length"},
        {4096, 1024, 0, kLimit, 4096, {1024, 1024, 2048, 4096}, "2048-byte chunk filled"},
        {8192, 1024, 0, kLimit, 8192, {1024, 1024, 2048, 4096, 8192}, "ends on a chunk boundary"},
        {8191, 1024, 0, kLimit, 8191, {1024, 1024, 2048, 4096}, "one byte short of it"},
        {8193, 1024, 0, kLimit, 8193, {1024, 1024, 2048, 4096, 8192}, "one byte over it"},
        {0, -1, 0, kLimit, 0, {0, 1024}, "hint -1 rounds to 0 in 32 bits"},
        {5000, 1024, 0, 0, 2048, {1024, 1024}, "limit 0: only the probe is grown"},
        {5000, 1024, 0, 4096, 4096, {1024, 1024, 2048}, "capacity 4096 is not above 4096..."},
        {5000, 1024, 0, 4095, 2048, {1024, 1024}, "...but 4096 is above 4095"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        CountingStream s(c.body, c.declared);
        int32_t size = c.hint;
        Freer buf{s.buffer_load(c.limit, size)};
        EXPECT_EQ(size, c.size);
        EXPECT_EQ(s.m_requests, c.requests);
        expect_body(buf.p, size);
    }
}

TEST(BufferLoad, ChunksDoubleUpTo64KiB) {
    CountingStream s(uint64_t{1} << 20);
    int32_t size = 1024;
    Freer buf{s.buffer_load(kLimit, size)};
    // 64 KiB after the 32 KiB chunk, then fifteen full 64 KiB chunks and one
    // that finds the end.
    std::vector<uint32_t> expected = {1024, 1024, 2048, 4096, 8192, 16384, 32768};
    expected.resize(expected.size() + 16, 65536);
    EXPECT_EQ(s.m_requests, expected);
    EXPECT_EQ(size, 1 << 20);
    expect_body(buf.p, size);
}

// A body that decodes to gigabytes stops at the limit: capacity runs 1024,
// 3072, 7168, ... and 8453120 is the first above 8 MiB; the 8387584 bytes
// read by then are kept and the rest is never asked for.
TEST(BufferLoad, EndlessBodyStopsAtTheLimit) {
    CountingStream s(uint64_t{4} << 30);
    int32_t size = 0;
    Freer buf{s.buffer_load(kLimit, size)};
    EXPECT_EQ(size, 8387584);
    EXPECT_EQ(s.m_pos, 8387584u);
    expect_body(buf.p, size);
}

// The first read is made in full however long: a declared length above the
// limit is loaded whole, with the probe behind it.
TEST(BufferLoad, DeclaredLengthAboveTheLimitIsReadWhole) {
    const int32_t declared = 9 << 20;
    CountingStream s(uint64_t{12} << 20, declared);
    int32_t size = 0;
    Freer buf{s.buffer_load(kLimit, size)};
    EXPECT_EQ(size, declared + 1024);
    expect_body(buf.p, size);
}

TEST(BufferLoad, HintsBeyondTheResultRangeGiveNothing) {
    for (const int32_t hint : {INT32_MAX, INT32_MAX - 1023, -2048, INT32_MIN}) {
        SCOPED_TRACE(hint);
        CountingStream s(100);
        int32_t size = hint;
        EXPECT_EQ(s.buffer_load(kLimit, size), nullptr);
        EXPECT_EQ(size, 0);
        EXPECT_TRUE(s.m_requests.empty());
    }
}

// A stream that claims more than it was asked for must not move the end of
// the data past the block: a claim of 5000 counts as a full read of the
// chunks up to 4096, and as 5000 of the 8192 asked for next.
TEST(BufferLoad, OverclaimingReadIsHeldToTheRequest) {
    CountingStream s(10, 0, 5000);
    int32_t size = 4;
    Freer buf{s.buffer_load(kLimit, size)};
    ASSERT_NE(buf.p, nullptr);
    EXPECT_EQ(size, 1024 + 1024 + 2048 + 4096 + 5000);
    EXPECT_EQ(buf.p[size], 0);
}

// Every allocation of a load that grows four times, failing in turn: the
// result is the whole body or nothing, never a part, and nothing leaks.
TEST(BufferLoad, AllocationFailures) {
    for (int32_t n = 0; n < 8; ++n) {
        SCOPED_TRACE(n);
        CountingStream s(20000);
        int32_t size = 1024;
        kx_alloc_fail_after(n);
        Freer buf{s.buffer_load(kLimit, size)};
        kx_alloc_fail_after(-1);
        if (n < 6) {
            EXPECT_EQ(buf.p, nullptr);
            EXPECT_EQ(size, 0);
        } else {
            EXPECT_EQ(size, 20000);
            expect_body(buf.p, size);
        }
    }
}

}  // namespace
}  // namespace shadepaint
