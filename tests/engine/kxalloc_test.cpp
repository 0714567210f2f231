// The allocator's large blocks (aligned for huge pages) behave like any
// other: they keep their bytes through growth and shrinking, and the failure
// hook counts them like small ones.
#include "engine/kxalloc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

using namespace shadepaint;

TEST(KXAlloc, LargeBlocksGrowShrinkAndFail) {
    const size_t big = (size_t{5} << 20) + 3;
    auto* p = static_cast<unsigned char*>(KXAlloc(big));
    ASSERT_NE(p, nullptr);
    std::memset(p, 0x5A, big);
    p = static_cast<unsigned char*>(KXRealloc(p, big * 2));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[0], 0x5A);
    EXPECT_EQ(p[big - 1], 0x5A);
    p[2 * big - 1] = 1;
    p = static_cast<unsigned char*>(KXRealloc(p, 16));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[15], 0x5A);
    KXFree(p);

    kx_alloc_fail_after(0);
    EXPECT_EQ(KXAlloc(big), nullptr);
    kx_alloc_fail_after(-1);
}

}  // namespace
