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

// A body of `length` bytes (byte i is i * 7 + 3), recording each request; a
// misbehaving stream claims `overclaim` bytes more than it gave.
class CountingStream : public CPDFStream {
public:
    CountingStream(uint64_t length, int32_t declared = 0, uint32_t overclaim = 0)
        : m_body(length), m_overclaim(overclaim) {
        m_length = declared;
    }
    uint32_t read(unsigned char* buffer, uint32_t size) override {
        m_requests.push_back(size);
        const uint32_t n = m_body - m_pos < size ? static_cast<uint32_t>(m_body - m_pos) : size;
        for (uint32_t i = 0; i < n; ++i)
            buffer[i] = static_cast<unsigned char>((m_pos + i) * 7 + 3);
        m_pos += n;
        return n + m_overclaim;
    }
    std::vector<uint32_t> m_requests;

private:
    uint64_t m_body, m_pos = 0;
    uint32_t m_overclaim;
};

struct Freer {
    unsigned char* p;
    ~Freer() { KXFree(p); }
};

// The data and the zero behind it; the sanitizer build checks that the three
// spare bytes after that are allocated.
void expect_body(const unsigned char* buf, int32_t size, bool check_data = true) {
    ASSERT_NE(buf, nullptr);
    for (int32_t i = 0; check_data && i < size; ++i)
        ASSERT_EQ(buf[i], static_cast<unsigned char>(i * 7 + 3)) << "byte " << i;
    EXPECT_EQ(buf[size], 0);
    volatile unsigned char spare = buf[size + 1] | buf[size + 2] | buf[size + 3];
    (void)spare;
}

constexpr int32_t kLimit = 0x800000;

// Requests left empty are not checked. Capacity runs 1024, 3072, 7168, ...
// and 8453120 is the first above 8 MiB: an endless body keeps the 8387584
// bytes read by then. The first read is made in full however long, so a
// declared length above the limit is loaded whole with the probe behind it.
TEST(BufferLoad, ReadsAndSizes) {
    std::vector<uint32_t> doubling = {1024, 1024, 2048, 4096, 8192, 16384, 32768};
    doubling.resize(doubling.size() + 16, 65536);
    const struct {
        uint64_t body;
        int32_t hint, declared, limit, size;
        std::vector<uint32_t> requests;
        const char* why;
        uint32_t overclaim;
    } cases[] = {
        // clang-format off
        {1024, 1024, 0, kLimit, 1024, {1024, 1024}, "exact hint: the probe gets 0", 0},
        {1500, 100, 0, kLimit, 1500, {1024, 1024}, "short hint: the probe gets 476", 0},
        {1000, 1500, 0, kLimit, 1000, {2048}, "long hint: the first read comes up short", 0},
        {2047, 1025, 0, kLimit, 2047, {2048}, "1025 rounds up to 2048", 0},
        {700, 0, 0, kLimit, 700, {0, 1024}, "no hint, no length: ask for 0, then probe", 0},
        {300, 200, 5000, kLimit, 300, {1024}, "a hint overrides m_length", 0},
        {300, 0, 300, kLimit, 300, {1024}, "no hint: m_length serves", 0},
        {0, -1, 0, kLimit, 0, {0, 1024}, "hint -1 rounds to 0 in 32 bits", 0},
        {8192, 1024, 0, kLimit, 8192, {1024, 1024, 2048, 4096, 8192}, "ends on a chunk boundary", 0},
        {5000, 1024, 0, 4096, 4096, {1024, 1024, 2048}, "capacity 4096 is not above 4096...", 0},
        {5000, 1024, 0, 4095, 2048, {1024, 1024}, "...but 4096 is above 4095", 0},
        {1 << 20, 1024, 0, kLimit, 1 << 20, doubling, "chunks double up to 64 KiB", 0},
        {uint64_t{4} << 30, 0, 0, kLimit, 8387584, {}, "endless body stops at the limit", 0},
        {12 << 20, 0, 9 << 20, kLimit, (9 << 20) + 1024, {}, "declared above the limit", 0},
        {10, 4, 0, kLimit, 1024 + 1024 + 2048 + 4096 + 5000, {}, "overclaims held to the request", 5000},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        CountingStream s(c.body, c.declared, c.overclaim);
        int32_t size = c.hint;
        Freer buf{s.buffer_load(c.limit, size)};
        EXPECT_EQ(size, c.size);
        if (!c.requests.empty()) {
            EXPECT_EQ(s.m_requests, c.requests);
        }
        expect_body(buf.p, size, c.overclaim == 0);
    }
    for (const int32_t hint : {INT32_MAX - 1023, -2048}) {
        SCOPED_TRACE("hint beyond the result range: " + std::to_string(hint));
        CountingStream s(100);
        int32_t size = hint;
        EXPECT_EQ(s.buffer_load(kLimit, size), nullptr);
        EXPECT_EQ(size, 0);
        EXPECT_TRUE(s.m_requests.empty());
    }
}

// Every allocation of a load that grows four times fails in turn: the result
// is the whole body or nothing, never a part, and nothing leaks.
TEST(BufferLoad, AllocationFailures) {
    for (int32_t n = 0; n < 8; ++n) {
        SCOPED_TRACE(n);
        CountingStream s(20000);
        int32_t size = 1024;
        kx_alloc_fail_after(n);
        Freer buf{s.buffer_load(kLimit, size)};
        kx_alloc_fail_after(-1);
        EXPECT_EQ(size, n < 6 ? 0 : 20000);
        if (n < 6) {
            EXPECT_EQ(buf.p, nullptr);
        } else {
            expect_body(buf.p, size);
        }
    }
}

}  // namespace
}  // namespace shadepaint
