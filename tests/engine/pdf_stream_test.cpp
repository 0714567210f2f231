// CPDFStream::buffer_load: the first read of the hinted length, the probe for
// more, the chunk growth and the limit on it, and the zero byte behind the
// data.
#include "engine/pdf_stream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/kxalloc.h"
#include "test_objects.h"

namespace shadepaint {
namespace {

// A body of m_body bytes (byte i is i * 7 + 3), recording each request; a
// misbehaving stream claims m_overclaim bytes more than it gave.
struct CountingStream : CPDFStream {
    CountingStream(uint64_t body, int32_t declared = 0, uint32_t overclaim = 0)
        : m_body(body), m_overclaim(overclaim) {
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
    uint64_t m_body, m_pos = 0;
    uint32_t m_overclaim;
    std::vector<uint32_t> m_requests;
};

using Buffer = std::unique_ptr<unsigned char, void (*)(void*)>;

// The data and the zero behind it; the sanitizer build checks that the last
// of the three spare bytes after that is allocated.
void expect_body(const Buffer& buf, int32_t size, bool data = true) {
    ASSERT_NE(buf, nullptr);
    for (int32_t i = 0; data && i < size; ++i)
        ASSERT_EQ(buf.get()[i], static_cast<unsigned char>(i * 7 + 3)) << "byte " << i;
    EXPECT_EQ(buf.get()[size], 0);
    volatile unsigned char spare = buf.get()[size + 3];
    (void)spare;
}

constexpr int32_t kLimit = 0x800000;

// Requests left empty are not checked. Capacity runs 1024, 3072, 7168, ...,
// chunks doubling up to 64 KiB, and 8453120 is the first above 8 MiB: an
// endless body keeps the 8387584 bytes read by then. The first read is made
// in full however long, so a declared length above the limit is loaded whole
// with the probe behind it.
TEST(BufferLoad, ReadsAndSizes) {
    // clang-format off
    const struct {
        uint64_t body; int32_t hint, declared, limit, size; std::vector<uint32_t> requests;
        const char* why; uint32_t overclaim;
    } cases[] = {
        {1024, 1024, 0, kLimit, 1024, {1024, 1024}, "exact hint: the probe gets 0", 0},
        {1500, 100, 0, kLimit, 1500, {1024, 1024}, "short hint: the probe gets 476", 0},
        {1000, 1500, 0, kLimit, 1000, {2048}, "long hint: the first read comes up short", 0},
        {700, 0, 0, kLimit, 700, {0, 1024}, "no hint, no length: ask for 0, then probe", 0},
        {300, 200, 5000, kLimit, 300, {1024}, "a hint overrides m_length", 0},
        {300, 0, 300, kLimit, 300, {1024}, "no hint: m_length serves", 0},
        {0, -1, 0, kLimit, 0, {0, 1024}, "hint -1 rounds to 0 in 32 bits", 0},
        {5000, 1024, 0, 4096, 4096, {1024, 1024, 2048}, "capacity 4096 is not above 4096...", 0},
        {5000, 1024, 0, 4095, 2048, {1024, 1024}, "...but 4096 is above 4095", 0},
        {uint64_t{4} << 30, 0, 0, kLimit, 8387584, {}, "endless body stops at the limit", 0},
        {12 << 20, 0, 9 << 20, kLimit, (9 << 20) + 1024, {}, "declared above the limit", 0},
        {10, 4, 0, kLimit, 1024 + 1024 + 2048 + 4096 + 5000, {}, "overclaims cut", 5000},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        CountingStream s(c.body, c.declared, c.overclaim);
        int32_t size = c.hint;
        Buffer buf(s.buffer_load(c.limit, size), KXFree);
        EXPECT_EQ(size, c.size);
        EXPECT_TRUE(c.requests.empty() || s.m_requests == c.requests);
        expect_body(buf, size, c.overclaim == 0);
    }
    for (const int32_t hint : {INT32_MAX - 1023, -2048}) {
        CountingStream s(100);
        int32_t size = hint;
        EXPECT_EQ(s.buffer_load(kLimit, size), nullptr) << "hint beyond the result range: " << hint;
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
        test::AllocFailGuard fail(n);
        Buffer buf(s.buffer_load(kLimit, size), KXFree);
        EXPECT_EQ(size, n < 6 ? 0 : 20000);
        EXPECT_EQ(buf == nullptr, n < 6);
        if (buf) expect_body(buf, size);
    }
}

}  // namespace
}  // namespace shadepaint
