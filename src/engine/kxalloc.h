// The heap of the painter. KXAlloc and KXRealloc return null on failure and
// never throw; KXFree accepts null. kx_alloc_fail_after lets tests make any
// allocation fail so every fallback path can be reached.
#pragma once

#include <cstddef>
#include <cstdint>

namespace shadepaint {

void* KXAlloc(size_t size);
void* KXRealloc(void* ptr, size_t size);
void KXFree(void* ptr);
// Fills count 32-bit words at dst with value.
void kxset_const_ints(void* dst, uint32_t value, size_t count);

// The next n allocations succeed and every later one returns null, until
// kx_alloc_fail_after(-1) switches failure off again.
void kx_alloc_fail_after(int32_t n);

}  // namespace shadepaint
