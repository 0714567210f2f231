#include "engine/kxalloc.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace shadepaint {

namespace {
// -1: never fail. Otherwise the number of allocations still allowed.
std::atomic<int32_t> g_allowed{-1};

bool allocation_allowed() {
    int32_t cur = g_allowed.load(std::memory_order_relaxed);
    while (cur >= 0) {
        if (cur == 0) return false;
        if (g_allowed.compare_exchange_weak(cur, cur - 1, std::memory_order_relaxed)) return true;
    }
    return true;
}
}  // namespace

void kx_alloc_fail_after(int32_t n) { g_allowed.store(n < 0 ? -1 : n); }

void* KXAlloc(size_t size) {
    if (!allocation_allowed()) return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

void* KXRealloc(void* ptr, size_t size) {
    if (!allocation_allowed()) return nullptr;
    return std::realloc(ptr, size == 0 ? 1 : size);
}

void KXFree(void* ptr) { std::free(ptr); }

void kxset_const_ints(void* dst, uint32_t value, size_t count) {
    auto* p = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < count; ++i) std::memcpy(p + i * 4, &value, 4);
}

}  // namespace shadepaint
