#include "ostrel/DataObjectListSorter.h"

#include <numeric>

#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

using Values = std::vector<int>;

int comparisons = 0;
uintptr_t lowestFrame = 0, highestFrame = 0; ///< Of the comparisons.

int getValue(const DataObject& node)
{
    return node.get(0).toInt(-1);
}

bool isLess(WeakPtr<DataObject> a, WeakPtr<DataObject> b)
{
    ++comparisons;
    const uintptr_t frame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    lowestFrame = std::min(lowestFrame, frame);
    highestFrame = std::max(highestFrame, frame);
    return getValue(*a) < getValue(*b);
}

const DataObjectListSorter SORT(isLess);

/// Of lists, so that an exchange has to copy all of one.
struct ListOfLists : DataObjectList
{
    explicit ListOfLists(const Values& values)
    {
        for (int value : values)
            append("[%d]", value);
    }
    Values getValues() const
    {
        Values values;
        for (int i = 0; i < getNumChildren(); ++i)
            values.push_back(getValue(get(i)));
        return values;
    }
};

} // namespace

using DataObjectListSorterTest = ReportTest;

TEST_F(DataObjectListSorterTest, EveryWayToSortAgreesWithTheStandardOne)
{
    std::mt19937 random(1);
    for (unsigned int round = 0; round < 900; ++round) {
        Values values(round % 41);
        for (int& value : values)
            value = static_cast<int>(random() % (round % 2 == 0 ? 4 : 100));
        SCOPED_TRACE(testing::PrintToString(values));
        ListOfLists list(values);
        const int end = list.getNumChildren();
        const int lo = round % 3 == 0 ? 0 : end / 4; // the rest stays as it is
        const int hi = round % 3 == 0 ? end : end - end / 5;
        round % 3 == 0 ? SORT(list) : round % 3 == 1 ? SORT.quickSort(list, lo, hi) : SORT.insertionSort(list, lo, hi);
        std::sort(values.begin() + lo, values.begin() + hi);
        ASSERT_EQ(list.getValues(), values);
    }
}

TEST_F(DataObjectListSorterTest, ComparisonsAndClonesAreThoseOfTheMethod)
{
    // Eight are partitioned: 8 comparisons with i up to the pivot itself and 1 with j. Seven are sorted by selection.
    static const int COUNTS[][3] = {{0, 0, 0}, {1, 0, 0}, {2, 1, 2}, {7, 21, 12}, {8, 9 + 21, 2 + 12}};
    const unsigned int ALLOCATIONS = countAllocations([] { DataObject::parse("[1]")->clone(); }) / 2; // a child's
    for (const auto& c : COUNTS) {
        Values sorted(static_cast<size_t>(c[0]));
        std::iota(sorted.begin(), sorted.end(), 1);
        ListOfLists list(sorted);
        comparisons = 0;
        EXPECT_EQ(countAllocations([&] { SORT(list); }), ALLOCATIONS * static_cast<unsigned int>(c[2])) << c[0];
        EXPECT_EQ(comparisons, c[1]) << c[0];
    }

    ListOfLists list({9, 5, 1, 7, 3, 4, 0});
    EXPECT_EQ(SORT.partition(list, 1, 5), 3);
    EXPECT_EQ(list.getValues(), (Values{9, 3, 1, 4, 5, 7, 0}));
    EXPECT_EQ(SORT.partition(list, 2, 2) + SORT.partition(list, 3, 2), 2 + 3);
    comparisons = 0;
    EXPECT_EQ(SORT.partition(list, 3, 6), 3);
    EXPECT_EQ(comparisons, 1 + 3) << "the lower bound is compared before it stops j";
}

TEST_F(DataObjectListSorterTest, ASortedListTakesNoStackForEachChild)
{
    Values sorted(500);
    std::iota(sorted.begin(), sorted.end(), 1);
    ListOfLists list(sorted);
    lowestFrame = UINTPTR_MAX;
    highestFrame = 0;
    SORT(list);
    EXPECT_LT(highestFrame - lowestFrame, 8192u);
}

TEST_F(DataObjectListSorterTest, TiesEndWhereTheMethodPutsThem)
{
    const auto order = [](bool byInsertion) {
        const AutoPtr<DataObject> list = DataObject::parse("[[1, 'a'], [1, 'b'], [0, 'c'], [1, 'd']]");
        byInsertion ? SORT.insertionSort(*list, 0, 4) : SORT.selectionSort(*list, 0, 4);
        return describe(list.get());
    };
    EXPECT_EQ(order(false), "[[i0 s(c) ] [i1 s(b) ] [i1 s(a) ] [i1 s(d) ] ] ");
    EXPECT_EQ(order(true), "[[i0 s(c) ] [i1 s(d) ] [i1 s(b) ] [i1 s(a) ] ] ");
}

TEST_F(DataObjectListSorterTest, RefusedMemoryLosesNoChildAndANullListIsReportedOnce)
{
    for (const bool byInsertion : {false, true}) {
        sweepAllocationFailures([=](AllocationFaults& faults) {
            ListOfLists list({3, 1, 4, 2, 0});
            const auto sortIt = [&] { byInsertion ? SORT.insertionSort(list, 0, 5) : SORT(list); };
            faults.during(sortIt);
            Values values = list.getValues();
            const bool isSorted = std::is_sorted(values.begin(), values.end());
            std::sort(values.begin(), values.end());
            EXPECT_EQ(values, (Values{0, 1, 2, 3, 4}));
            faults.again(sortIt);
            EXPECT_EQ(list.getValues(), values);
            return isSorted;
        });
        byInsertion ? SORT.insertionSort(nullptr, 0, 9) : SORT.quickSort(nullptr, 0, 9);
        expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr");
    }
}
