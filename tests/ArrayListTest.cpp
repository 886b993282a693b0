#include "ostrel/ArrayList.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/AutoPtrArray.h"
#include "ostrel/SharedPtr.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::AutoPtr;
using Ostrel::AutoPtrArray;
using Ostrel::DynamicArrayList;
using Ostrel::FixedArrayList;
using Ostrel::Severity;
using Ostrel::SharedPtr;

namespace {

struct Counted
{
    Counted() { ++alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --alive; }
    static int alive;
};
int Counted::alive = 0;

} // namespace

class ArrayListTest : public ReportTest
{};

TEST_F(ArrayListTest, DynamicGrowsByItsStep)
{
    DynamicArrayList<int, 8> list;
    EXPECT_EQ(list.getCapacity(), 0u);
    for (unsigned int i = 0; i < 25; ++i) {
        ASSERT_EQ(list.append(static_cast<int>(i)), 0);
        EXPECT_EQ(list.getCapacity(), (i / 8 + 1) * 8);
    }
    for (unsigned int i = 0; i < 25; ++i)
        EXPECT_EQ(list[i], static_cast<int>(i));
}

TEST_F(ArrayListTest, FullFixedRefusesAndKeeps)
{
    FixedArrayList<SharedPtr<Counted>, 2> list;
    SharedPtr<Counted> extra(new Counted);
    EXPECT_EQ(list.append(SharedPtr<Counted>(new Counted)), 0);
    EXPECT_EQ(list.append(extra), 0);
    EXPECT_EQ(list.append(std::move(extra)), 2);
    EXPECT_TRUE(extra); // NOLINT(bugprone-use-after-move): a refused element stays with the caller
    EXPECT_EQ(list.getSize(), 2u);
    EXPECT_TRUE(list[1] == extra);
}

TEST_F(ArrayListTest, RefusedGrowthLeavesListAndElement)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        DynamicArrayList<AutoPtr<int>, 1> list;
        list.append(AutoPtr<int>(new int(7)));
        AutoPtr<int> next(new int(8));
        faults.arm();
        const int code = list.append(std::move(next));
        faults.disarm();
        EXPECT_EQ(code, next ? 2 : 0); // NOLINT(bugprone-use-after-move): only then was it moved
        EXPECT_EQ(list.getSize(), next ? 1u : 2u);
        EXPECT_EQ(list.getCapacity(), list.getSize());
        EXPECT_EQ(*list[0], 7);
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
    expectNoReports();

    list.clear();
    list[0] = 5;
    expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
    EXPECT_EQ(list[static_cast<unsigned int>(-1)], 0);
    expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
}

TEST_F(ArrayListTest, InsertAndRemoveMoveTheRest)
{
    DynamicArrayList<int, 2> list;
    EXPECT_EQ(list.remove(static_cast<unsigned int>(-1)), 2);
    EXPECT_EQ(list.insert(1, 9), 2);
    for (int element : {30, 10, 20}) {
        unsigned int index = 0;
        while (index < list.getSize() && list[index] < element)
            ++index;
        EXPECT_EQ(list.insert(index, element), 0);
    }
    EXPECT_EQ(list.remove(3), 2);
    EXPECT_EQ(list.remove(1), 0);
    EXPECT_EQ(std::vector<int>(list.begin(), list.end()), (std::vector<int>{10, 30}));
}

TEST_F(ArrayListTest, GivenUpSlotsReleaseWhatTheyHeld)
{
    FixedArrayList<SharedPtr<Counted>, 4> fixed;
    DynamicArrayList<SharedPtr<Counted>, 4> dynamic;
    for (int i = 0; i < 3; ++i) {
        fixed.append(SharedPtr<Counted>(new Counted));
        dynamic.append(SharedPtr<Counted>(new Counted));
    }
    fixed.remove(2);
    dynamic.remove(0);
    EXPECT_EQ(Counted::alive, 4);
    fixed.clear();
    dynamic.clear();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_TRUE(fixed.isEmpty());
    EXPECT_EQ(dynamic.getCapacity(), 4u);
}

TEST_F(ArrayListTest, AutoPtrArrayDeletesItsElementsAndReportsMisuse)
{
    {
        AutoPtrArray<Counted> array(3);
        array.set(0, AutoPtr<Counted>(new Counted));
        array.set(0, AutoPtr<Counted>(new Counted));
        array.set(2, AutoPtr<Counted>(new Counted));
        EXPECT_EQ(Counted::alive, 2);
        EXPECT_NE(array[2], nullptr);
        expectNoReports();

        EXPECT_EQ(array[1], nullptr);
        expectFailedCheck(Severity::FATAL, "AutoPtrArray", 72, "_array[i]");
        EXPECT_EQ(array[3], nullptr);
        expectFailedCheck(Severity::FATAL, "AutoPtrArray", 71, "i < _length");
        array.set(3, AutoPtr<Counted>(new Counted));
        expectFailedCheck(Severity::FATAL, "AutoPtrArray", 71, "i < _length");
    }
    EXPECT_EQ(Counted::alive, 0);
    sweepAllocationFailures([](AllocationFaults& faults) {
        faults.arm();
        const AutoPtrArray<Counted> array(3);
        faults.disarm();
        return array.getLength() == 3;
    });
}
