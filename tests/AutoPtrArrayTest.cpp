#include "ostrel/AutoPtrArray.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel;
using AutoPtrArrayTest = ReportTest;

TEST_F(AutoPtrArrayTest, ElementsAreDeletedAndMisuseIsReported)
{
    AutoPtrArray<int> array(2);
    array.set(0, AutoPtr<int>(new int(1)));
    array.set(0, AutoPtr<int>(new int(2)));
    EXPECT_EQ(*array[0], 2);
    EXPECT_EQ(array.getLength(), 2u);
    expectNoReports();
    EXPECT_EQ(array[1], nullptr);
    expectFailedCheck(Severity::FATAL, "AutoPtrArray", 72, "_array[i]");
    array.set(2, AutoPtr<int>(new int(3)));
    EXPECT_EQ(array[2], nullptr);
    for (int reports = 0; reports < 2; ++reports)
        expectFailedCheck(Severity::FATAL, "AutoPtrArray", 71, "i < _length");
}

TEST_F(AutoPtrArrayTest, ArraysBeyondTheAddressSpaceOrWithoutMemoryAreEmpty)
{
    // Where the bytes of such an array can be counted there may be room for them, so that memory has to be refused.
    AllocationFaults faults(sizeof(void*) == 4 ? AllocationFaults::FAIL_NONE : AllocationFaults::FAIL_ALL_LATER, 0);
    for (const unsigned int length : {0x1FFFFFF0u, 0x1FFFFFFFu, 0x40000000u})
        EXPECT_EQ(faults.during([=] { return AutoPtrArray<int>(length).getLength(); }), 0u) << length;
}
