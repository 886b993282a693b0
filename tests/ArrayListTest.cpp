#include "ostrel/ArrayList.h"
#include "ostrel/AutoPtrArray.h"
#include "ostrel/SharedPtr.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

using ArrayListTest = ReportTest;

TEST_F(ArrayListTest, RefusedGrowthLeavesListAndElement)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        DynamicArrayList<AutoPtr<int>, 8> list;
        for (int i = 0; i < 16; ++i)
            list.append(AutoPtr<int>(new int(i)));
        EXPECT_EQ(list.getCapacity(), 16u);
        AutoPtr<int> next(new int(16));
        const int code = faults.during([&] { return list.append(std::move(next)); });
        EXPECT_EQ(code, next ? 2 : 0); // NOLINT(bugprone-use-after-move): only then was it moved
        EXPECT_EQ(list.getSize(), next ? 16u : 17u);
        EXPECT_EQ(list.getCapacity(), next ? 16u : 24u);
        EXPECT_EQ(*list[15], 15);
        return code == 0;
    });
}

TEST_F(ArrayListTest, LongListsKeepTheirStepButSeldomMove)
{
    DynamicArrayList<SharedPtr<int>, 8> list;
    const unsigned int moves = countAllocations([&] {
        for (unsigned int i = 0; i < 20000; ++i) {
            ASSERT_EQ(list.append(SharedPtr<int>()), 0);
            ASSERT_EQ(list.getCapacity(), i / 8 * 8 + 8);
        }
    });
    EXPECT_EQ(moves, 8u + 33u) << "to 64, and four for each doubling from there";
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
    EXPECT_EQ(list[2], 42);
    list.clear();
    list[0] = 5;
    EXPECT_EQ(std::as_const(list)[0], 0);
    for (int reports = 0; reports < 3; ++reports)
        expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
}

TEST_F(ArrayListTest, GivenUpSlotsReleaseWhatTheyHeld)
{
    const auto a = std::make_shared<int>(1), b = std::make_shared<int>(2), c = std::make_shared<int>(3);
    FixedArrayList<std::shared_ptr<int>, 3> list;
    for (const auto& element : {a, b, c})
        EXPECT_EQ(list.append(element), 0);
    EXPECT_EQ(list.append(a), 2);
    EXPECT_EQ(list.remove(3), 2);
    EXPECT_EQ(list.remove(1), 0);
    EXPECT_EQ(b.use_count(), 1);
    EXPECT_EQ(list[1], c);
    list.clear();
    EXPECT_EQ(a.use_count() + c.use_count(), 2);
    EXPECT_EQ(list.remove(static_cast<unsigned int>(-1)), 2);
}

TEST_F(ArrayListTest, AutoPtrArrayDeletesItsElementsAndReportsMisuse)
{
    AutoPtrArray<int> array(2);
    array.set(0, AutoPtr<int>(new int(1)));
    array.set(0, AutoPtr<int>(new int(2)));
    EXPECT_EQ(*array[0], 2);
    expectNoReports();
    EXPECT_EQ(array[1], nullptr);
    expectFailedCheck(Severity::FATAL, "AutoPtrArray", 72, "_array[i]");
    array.set(2, AutoPtr<int>(new int(3)));
    EXPECT_EQ(array[2], nullptr);
    for (int reports = 0; reports < 2; ++reports)
        expectFailedCheck(Severity::FATAL, "AutoPtrArray", 71, "i < _length");
}

TEST_F(ArrayListTest, ArraysBeyondTheAddressSpaceAreRefused)
{
    if (sizeof(void*) == 4) { // elsewhere there may be room
        for (const unsigned int length : {0x1FFFFFF0u, 0x1FFFFFFFu, 0x40000000u})
            EXPECT_EQ(AutoPtrArray<int>(length).getLength(), 0u) << length;
        EXPECT_EQ((DynamicArrayList<double, 0x10000000>().append(1)), 2);
        EXPECT_EQ((DynamicArrayList<char, 0x80000000>().append(1)), 2);
    }
}
