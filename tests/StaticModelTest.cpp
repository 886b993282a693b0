#include "ostrel/Observable/StaticModel.h"

#include "tests/support/AllocationFaults.h"
#include "tests/support/CheckedRegistry.h"

using namespace Ostrel;

static SilentObserver observers[5000]; // more than the addresses that have words from the start

// In the small ones each operation often fits exactly, or misses by one byte.
TEST(StaticModelTest, RandomOperationsKeepTheModelsBytesAndCodes)
{
    // Both sides of where the long form begins, and neighbours in the buffer of either form.
    const int ids[] = {0, 1, -1, 32766, 32767, -32767, -32768, 65536, INT_MAX, INT_MIN};
    std::mt19937 random(4);
    for (const uint16_t capacity : {12, 13, 15, 16, 17, 19, 20, 23, 24, 40, 120, 400}) {
        CheckedRegistry registry(capacity);
        for (int step = 0; step < 8000; ++step) {
            const auto operation = static_cast<CheckedRegistry::Operation>(random() % CheckedRegistry::OPERATION_COUNT);
            const int id = ids[random() % 10];
            ASSERT_GE(registry.apply(operation, id, &observers[random() % 4]), 0)
                << "capacity " << capacity << " step " << step << " operation " << operation << " id " << id;
        }
    }
}

TEST(StaticModelTest, CountsCarryPastOneByteAndBackBetweenTwoEvents)
{
    for (const int id : {9, 90000}) {
        CheckedRegistry registry(65535);
        for (const int known : {1, id, INT_MIN})
            registry.apply(CheckedRegistry::ADD_BOTH, known, &observers[300]);
        for (int i = 0; i < 300; ++i)
            ASSERT_EQ(registry.apply(CheckedRegistry::ADD_OBSERVER, id, &observers[i]), 0) << i;
        for (int i = 300; i >= 0; --i)
            ASSERT_EQ(registry.apply(CheckedRegistry::REMOVE_OBSERVER, id, &observers[i]), 0) << i;
        EXPECT_EQ(registry.apply(CheckedRegistry::REMOVE_BOTH, id, &observers[0]), 1) << "the event stays";
        EXPECT_TRUE(StaticModel::insufficentMemory(registry.getState(), UINT_MAX)) << "the sum must not wrap";
    }
}

TEST(StaticModelTest, IteratorsWalkInOrderAndStayAtTheEnd)
{
    CheckedRegistry registry(64);
    for (const int place : {2, 1, 2})
        registry.apply(CheckedRegistry::ADD_BOTH, -40000, &observers[place]);
    registry.apply(CheckedRegistry::ADD_EVENT, -5, nullptr);
    StaticModelEventIterator event = StaticModel::begin(registry.getState());
    EXPECT_EQ(event.findObserver(&observers[2]), event.begin());
    EXPECT_EQ(event.findObserver(&observers[0]), event.end());
    EXPECT_EQ(*++event.begin(), &observers[1]);
    StaticModelObserverIterator observer = event.begin();
    EXPECT_EQ(*observer++, &observers[2]);
    EXPECT_EQ(*observer, &observers[1]);
    EXPECT_EQ((event++).getCount(), 3u);
    EXPECT_EQ(event.getId(), -5) << "the sign of a short id";
    EXPECT_EQ(++event, StaticModel::end(registry.getState()));
    EXPECT_EQ(++event, StaticModel::end(registry.getState()));
}

TEST(ObserverWordTest, ThreadsAgreeOnTheWordsWhileTheTableGrows)
{
    std::atomic<int> arrived{0};
    const auto collect = [&arrived] {
        for (++arrived; arrived < 2;)
            std::this_thread::yield();
        std::vector<uint32_t> words;
        for (int i = 0; i < 2500; ++i) {
            words.push_back(observerWord(&observers[i]));
            EXPECT_EQ(observerFromWord(words.back()), &observers[i]);
        }
        return words;
    };
    auto other = std::async(std::launch::async, collect);
    const std::vector<uint32_t> words = collect();
    EXPECT_EQ(words, other.get());
    EXPECT_EQ(words, collect()) << "they are kept";
    EXPECT_EQ(observerWord(nullptr), 0u);
    EXPECT_EQ(observerFromWord(0), nullptr);
}

TEST(ObserverWordTest, ExhaustedMemoryRefusesTheRegistrationAndChangesNothing)
{
    if (sizeof(void*) == sizeof(uint32_t))
        GTEST_SKIP() << "the word is the address: nothing is allocated";
    CheckedRegistry registry(60000);
    StaticModelState* const state = registry.getState();
    AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
    const auto add = [&](int id, int place) {
        return faults.during([&] { return StaticModel::addEventAndObserver(state, id, &observers[place]); });
    };
    int added = 0;
    while (added < 5000 && add(1, added) == OBSERVABLE_OK)
        ++added;
    ASSERT_LT(added, 5000) << "the table must have grown";
    EXPECT_EQ(add(2, added), OBSERVABLE_INSUFFICIENT_MEMORY);
    EXPECT_EQ(faults.during([&] { return StaticModel::addObserver(state, 1, &observers[added]); }),
              OBSERVABLE_INSUFFICIENT_MEMORY);
    EXPECT_EQ(add(1, 0), OBSERVABLE_OK) << "its word is known";
    EXPECT_EQ(StaticModel::size(state), 8u + 4 * (static_cast<unsigned int>(added) + 1));
    EXPECT_EQ(StaticModel::addEventAndObserver(state, 1, &observers[added]), OBSERVABLE_OK);
}
