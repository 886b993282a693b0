#include "ostrel/ArrayList.h"
#include "ostrel/SharedPtr.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

using ArrayListTest = ReportTest;

TEST_F(ArrayListTest, RefusedGrowthLeavesListAndElement)
{
    for (const unsigned int size : {16, 64, 80}) {
        sweepAllocationFailures([size](AllocationFaults& faults) {
            DynamicArrayList<AutoPtr<int>, 8> list;
            for (unsigned int i = 0; i < size; ++i)
                list.append(AutoPtr<int>(new int(7)));
            EXPECT_EQ(list.getCapacity(), size);
            AutoPtr<int> next(new int(8));
            const int code = faults.during([&] { return list.append(std::move(next)); });
            EXPECT_EQ(code, next ? 2 : 0); // NOLINT(bugprone-use-after-move): only then was it moved
            EXPECT_EQ(list.getSize(), next ? size : size + 1);
            EXPECT_EQ(list.getCapacity(), next ? size : size + 8);
            EXPECT_EQ(*list[size - 1], 7);
            EXPECT_EQ(faults.again([&] { return list.append(AutoPtr<int>(new int(9))); }), 0);
            return code == 0;
        });
    }
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
    while (list.getSize() < 70) // in place too: long lists have some room to spare
        ASSERT_EQ(list.append(list[1]), 0);
    EXPECT_TRUE(list[1] == list[2] && list[1] == list[69]);
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
    EXPECT_EQ(list.append(a) + list.insert(0, c), 2 + 2);
    EXPECT_EQ(list[0], a);
    EXPECT_EQ(list.remove(3), 2);
    EXPECT_EQ(list.remove(1), 0);
    EXPECT_EQ(b.use_count(), 1);
    EXPECT_EQ(list[1], c);
    EXPECT_EQ(list.insert(3, b), 2) << "beyond the end";
    EXPECT_EQ(list.insert(1, b), 0);
    EXPECT_TRUE(list[0] == a && list[1] == b && list[2] == c);
    list.clear();
    EXPECT_EQ(a.use_count() + c.use_count(), 2);
    EXPECT_EQ(list.remove(static_cast<unsigned int>(-1)), 2);
}

/// Into an empty list that compilers take for used elsewhere too: some leave out the allocation of one that dies
/// unseen.
template <class List>
static int appendOne()
{
    List list;
    List* volatile seen = &list;
    return seen->append(1);
}

TEST_F(ArrayListTest, StepsBeyondTheAddressSpaceOrWithoutMemoryAreRefused)
{
    // Where the bytes of such a step can be counted there may be room for them, so that memory has to be refused.
    AllocationFaults faults(sizeof(void*) == 4 ? AllocationFaults::FAIL_NONE : AllocationFaults::FAIL_ALL_LATER, 0);
    EXPECT_EQ(faults.during(appendOne<DynamicArrayList<double, 0x10000000>>), 2);
    EXPECT_EQ(faults.during(appendOne<DynamicArrayList<char, 0x80000000>>), 2);
}
