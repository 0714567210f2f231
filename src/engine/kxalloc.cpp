#include "engine/kxalloc.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__linux__)
#include <sys/mman.h>
#endif

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

namespace {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
// A store of several megabytes (a lattice's triangle records, a bitmap) is
// written through as soon as it is made; in 4 KiB pages most of that time
// goes to page faults. Such blocks are aligned to the 2 MiB of a
// huge page and offered to the kernel for huge pages, which cuts the faults
// by 512. Where huge pages are off, the advice is ignored.
constexpr size_t kHugePage = size_t{2} << 20;
constexpr size_t kHugeFrom = size_t{4} << 20;

void* alloc_large(size_t size) {
    if (size < kHugeFrom || size > SIZE_MAX - kHugePage) return nullptr;
    const size_t rounded = (size + kHugePage - 1) / kHugePage * kHugePage;
    void* p = std::aligned_alloc(kHugePage, rounded);
    if (p) madvise(p, rounded, MADV_HUGEPAGE);
    return p;
}
#else
void* alloc_large(size_t) { return nullptr; }
#endif
}  // namespace

void* KXAlloc(size_t size) {
    if (!allocation_allowed()) return nullptr;
    if (void* p = alloc_large(size)) return p;
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
