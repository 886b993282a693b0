// Compiled with NDEBUG, as users do: the headers must keep their checks, and their layout must not depend on it. Some
// warnings that users ask for are errors here, as the headers' macros and templates are expanded in their files.
#include "ostrel/Assert.h"
#include "ostrel/PropertyMap.h"
#include "ostrel/WeakPtr.h"
#include "tests/support/ReportTest.h"

#ifndef NDEBUG
#error "this file is about NDEBUG"
#endif

using PublicHeadersTest = ReportTest;

TEST_F(PublicHeadersTest, ReportsAreMadeUnderNdebugAndNothingWarns)
{
    const Ostrel::WeakPtr<int> null;
    EXPECT_EQ(null.require(), nullptr);
    expectFailedCheck(Ostrel::Severity::FATAL, "WeakPtr", 37, "m_ptr");
    OSTREL_REPORT(FATAL, "Not supported");
    expectReport(Ostrel::Severity::FATAL, "PublicHeadersTest", 0, "'Not supported'");

    unsigned char buffer[64];
    char text[4];
    PropertyMap map(buffer, sizeof(buffer));
    EXPECT_EQ(map.insert(1, "abc") + map.begin().get(text, sizeof(text)), PM_RC_OK);
}

TEST(PublicHeadersDeathTest, AssertionsStopUnderNdebug)
{
    EXPECT_DEATH(OSTREL_ASSERT_TEXT(false, "false"), "Assertion `false' failed");
}
