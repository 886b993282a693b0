#include "ostrel/AutoPtrArray.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel;
using AutoPtrArrayTest = ReportTest;

TEST_F(AutoPtrArrayTest, ElementsAreDeletedAndMisuseIsReported)
{
    const long before = AllocationFaults::getLiveBlocks();
    {
        AutoPtrArray<int> owning(2);
        for (const unsigned int i : {0, 1, 1})
            owning.set(i, AutoPtr<int>(new int(2)));
        EXPECT_EQ(*owning[0] + *owning[1], 4);
        EXPECT_EQ(owning.getLength(), 2u);
    }
    EXPECT_EQ(AllocationFaults::getLiveBlocks(), before);
    expectNoReports();
    AutoPtrArray<int> array(2);
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
