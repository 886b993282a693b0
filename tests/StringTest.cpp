#include "ostrel/DynamicString.h"
#include "ostrel/FixedString.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::DynamicString;
using Ostrel::FixedString;
using Ostrel::ReadableString;
using Ostrel::WritableString;

TEST(DynamicStringTest, ReplacesAndReturnsMinusOne)
{
    DynamicString text("aaa", 3);
    EXPECT_EQ(text.findAndReplace("a", "bb"), -1);
    EXPECT_STREQ(text.getData(), "bbbbbb");
}
