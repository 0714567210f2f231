#include <gtest/gtest.h>

#include "numeric/kxfix.h"

TEST(KxfixSmoke, HalfTimesHalf) {
    using shadepaint::KXFIX;
    EXPECT_EQ((KXFIX::from_raw(0x2000000) * KXFIX::from_raw(0x2000000)).m_raw, 0x1000000);
}
