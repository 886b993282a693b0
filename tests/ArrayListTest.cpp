#include "ostrel/ArrayList.h"
#include "ostrel/AutoPtrArray.h"
#include "ostrel/SharedPtr.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::AutoPtr;
using Ostrel::DynamicArrayList;
using Ostrel::FixedArrayList;
using Ostrel::Severity;
using Ostrel::SharedPtr;

class ArrayListTest : public ReportTest
{};

TEST_F(ArrayListTest, RefusedGrowthLeavesListAndElement)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        DynamicArrayList<AutoPtr<int>, 8> list;
        for (int i = 0; i < 16; ++i)
            list.append(AutoPtr<int>(new int(i)));
        EXPECT_EQ(list.getCapacity(), 16u);
        AutoPtr<int> next(new int(16));
        faults.arm();
        const int code = list.append(std::move(next));
        faults.disarm();
        EXPECT_EQ(code, next ? 2 : 0); // NOLINT(bugprone-use-after-move): only then was it moved
        EXPECT_EQ(list.getSize(), next ? 16u : 17u);
        EXPECT_EQ(list.getCapacity(), next ? 16u : 24u);
        EXPECT_EQ(*list[15], 15);
        return code == 0;
    });
}

TEST_F(ArrayListTest, OwnElementSurvivesTheGrowthItCauses)
{
    DynamicArrayList<SharedPtr<int>, 1> list;
    list.append(SharedPtr<int>(new int(7)));
    EXPECT_EQ(list.append(list[0]), 0);
    EXPECT_EQ(list.append(std::move(list[0])), 0);
    EXPECT_FALSE(list[0]);
    EXPECT_EQ(*list[1], 7);
    EXPECT_TRUE(list[1] == list[2]);
}

TEST_F(ArrayListTest, BadIndexIsReportedOnceAndGivesTheLast)
{
    DynamicArrayList<int, 8> list;
    for (int i = 0; i < 3; ++i)
        list.append(i);
    list[5] = 42;
    expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
    const DynamicArrayList<int, 8>& constant = list;
    EXPECT_EQ(constant[3], 42);
    expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");

    list.clear();
    list[0] = 5;
    expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
    EXPECT_EQ(list[0], 0);
    expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
}

TEST_F(ArrayListTest, GivenUpSlotsReleaseWhatTheyHeld)
{
    std::weak_ptr<int> watch[3];
    FixedArrayList<std::shared_ptr<int>, 3> list;
    for (int i = 0; i < 3; ++i) {
        const std::shared_ptr<int> element = std::make_shared<int>(i);
        watch[i] = element;
        EXPECT_EQ(list.append(element), 0);
    }
    EXPECT_EQ(list.append(nullptr), 2);
    EXPECT_EQ(list.remove(3), 2);
    EXPECT_EQ(list.remove(1), 0);
    EXPECT_TRUE(watch[1].expired());
    EXPECT_EQ(*list[1], 2);
    list.clear();
    EXPECT_TRUE(watch[0].expired() && watch[2].expired());
    EXPECT_EQ(list.remove(static_cast<unsigned int>(-1)), 2);
}

TEST_F(ArrayListTest, AutoPtrArrayDeletesItsElementsAndReportsMisuse)
{
    Ostrel::AutoPtrArray<int> array(2);
    array.set(0, AutoPtr<int>(new int(1)));
    array.set(0, AutoPtr<int>(new int(2)));
    EXPECT_EQ(*array[0], 2);
    expectNoReports();
    EXPECT_EQ(array[1], nullptr);
    expectFailedCheck(Severity::FATAL, "AutoPtrArray", 72, "_array[i]");
    array.set(2, AutoPtr<int>(new int(3)));
    expectFailedCheck(Severity::FATAL, "AutoPtrArray", 71, "i < _length");
    EXPECT_EQ(array[2], nullptr);
    expectFailedCheck(Severity::FATAL, "AutoPtrArray", 71, "i < _length");
}
