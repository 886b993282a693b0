// Compiled with NDEBUG, as users do: the headers must keep their checks, and their layout must not depend on it.
#include "ostrel/Assert.h"
#include "ostrel/WeakPtr.h"
#include "tests/support/RecordingPolicy.h"

#ifndef NDEBUG
#error "this file is about NDEBUG"
#endif

class PublicHeadersTest : public ReportTest
{};

TEST_F(PublicHeadersTest, ReportsAreMadeUnderNdebug)
{
    const Ostrel::WeakPtr<int> null;
    EXPECT_EQ(null.require(), nullptr);
    expectFailedCheck(Ostrel::Severity::FATAL, "WeakPtr", 37, "m_ptr");
}

TEST(PublicHeadersDeathTest, AssertionsStopUnderNdebug)
{
    EXPECT_DEATH(OSTREL_ASSERT_TEXT(false, "false"), "Assertion `false' failed");
}
