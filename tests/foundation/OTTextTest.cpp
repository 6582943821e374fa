#include <gtest/gtest.h>

#include <cstdint>

#include "foundation/OTText.h"

namespace corvane {

TEST(OTText, IntegerValueReadsLikeThePlatform) {
    EXPECT_EQ(OTText::integerValue("3"), 3);
    EXPECT_EQ(OTText::integerValue("  -42xyz"), -42);
    EXPECT_EQ(OTText::integerValue("+7"), 7);
    EXPECT_EQ(OTText::integerValue("abc"), 0);
    EXPECT_EQ(OTText::integerValue(""), 0);
    EXPECT_EQ(OTText::integerValue("1.9"), 1);
    EXPECT_EQ(OTText::integerValue("99999999999999999999"), INT64_MAX);
    EXPECT_EQ(OTText::integerValue("-99999999999999999999"), INT64_MIN);
}

}  // namespace corvane
