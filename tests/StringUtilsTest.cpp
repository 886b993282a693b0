#include "ostrel/StringUtils.h"

#include <gtest/gtest.h>

TEST(StringUtilsTest, HashesSignExtendedBytes)
{
    EXPECT_EQ(Ostrel::fnvHash24(""), 1875268u);
    EXPECT_EQ(Ostrel::fnvHash24(nullptr), 1875268u);
    EXPECT_EQ(Ostrel::fnvHash24("a"), 810363u);
    EXPECT_EQ(Ostrel::fnvHash24("\xC3\xA9"), 7774187u);
}
