#include "ostrel/Observable/StaticModel.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <thread>

#include "ostrel/Unaligned.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RegistryModel.h"

using namespace Ostrel;

namespace {

// Both sides of where the long form begins, and neighbours in the buffer of either form.
const int IDS[] = {0, 1, -1, 32766, 32767, -32767, -32768, 65536, INT_MAX, INT_MIN};

SilentObserver observers[600];

} // namespace

TEST(StaticModelTest, LayoutIsThatOfTheDocument)
{
    char buffer[32];
    const std::unique_ptr<StaticModelState> state(StaticModel::create(buffer, sizeof(buffer)));
    ASSERT_EQ(StaticModel::addEventAndObserver(state.get(), 0x0102, &observers[0]), 0);
    ASSERT_EQ(StaticModel::addEventAndObserver(state.get(), 70000, &observers[1]), 0);
    ASSERT_EQ(StaticModel::addEventAndObserver(state.get(), 0x0102, &observers[1]), 0);

    unsigned char expected[32] = {};
    storeU16(expected, 28);
    storeU16(expected + 2, 32);
    storeU16(expected + 4, 0x0102);
    expected[6] = 2; // the count's bytes are the same on every host, so is the form bit
    storeU32(expected + 8, observerWord(&observers[0]));
    storeU32(expected + 12, observerWord(&observers[1]));
    expected[16] = 1;
    expected[19] = 0x80;
    storeU32(expected + 20, 70000);
    storeU32(expected + 24, observerWord(&observers[1]));
    EXPECT_EQ(memcmp(buffer, expected, sizeof(expected)), 0);
}

// In the small ones each operation often fits exactly, or misses by one byte.
TEST(StaticModelTest, RandomOperationsKeepTheModelsBytesAndCodes)
{
    std::mt19937 random(4);
    for (const uint16_t capacity : {12, 13, 15, 16, 17, 19, 20, 23, 24, 40, 120, 400}) {
        CheckedRegistry registry(capacity);
        for (int step = 0; step < 8000; ++step) {
            const auto operation = static_cast<RegistryModel::Operation>(random() % RegistryModel::OPERATION_COUNT);
            const int id = IDS[random() % 10];
            const int code = registry.apply(operation, id, &observers[random() % 4]);
            ASSERT_TRUE(registry.isAsModelled()) << "capacity " << capacity << " step " << step << " operation "
                                                 << operation << " id " << id << ": " << code;
        }
    }
}

TEST(StaticModelTest, CountsCarryPastOneByteAndBackBetweenTwoEvents)
{
    for (const int id : {9, 90000}) {
        CheckedRegistry registry(65535);
        registry.apply(RegistryModel::ADD_BOTH, 1, &observers[0]);
        registry.apply(RegistryModel::ADD_EVENT, id, nullptr);
        registry.apply(RegistryModel::ADD_BOTH, INT_MIN, &observers[0]);
        for (int i = 0; i < 300; ++i) {
            ASSERT_EQ(registry.apply(RegistryModel::ADD_OBSERVER, id, &observers[i]), 0);
            ASSERT_TRUE(registry.isAsModelled()) << i;
        }
        for (int i = 299; i >= 0; --i) {
            ASSERT_EQ(registry.apply(RegistryModel::REMOVE_OBSERVER, id, &observers[299 - i]), 0);
            ASSERT_TRUE(registry.isAsModelled()) << i;
        }
        EXPECT_EQ(StaticModel::findEvent(registry.getState(), id).getCount(), 0u) << "the event stays";
    }
}

TEST(StaticModelTest, IteratorsWalkInOrderAndStayAtTheEnd)
{
    CheckedRegistry registry(64);
    StaticModelState* const state = registry.getState();
    StaticModel::addEventAndObserver(state, -40000, &observers[2]);
    StaticModel::addEventAndObserver(state, -40000, &observers[1]);
    StaticModel::addEventAndObserver(state, -40000, &observers[2]);
    StaticModel::addEvent(state, -5);

    StaticModelEventIterator event = StaticModel::begin(state);
    EXPECT_EQ(event.getId(), -40000);
    StaticModelObserverIterator observer = event.begin();
    EXPECT_EQ(*observer++, &observers[2]);
    EXPECT_EQ(*observer, &observers[1]);
    EXPECT_EQ(event.findObserver(&observers[2]), event.begin());
    EXPECT_EQ(event.findObserver(&observers[0]), event.end());
    EXPECT_EQ((event++).getCount(), 3u);
    EXPECT_EQ(event.getId(), -5) << "the sign of a short id";
    EXPECT_EQ(++event, StaticModel::end(state));
    EXPECT_EQ(++event, StaticModel::end(state));
}

TEST(StaticModelDeathTest, BufferBelowTheMinimumStops)
{
    char buffer[12];
    EXPECT_DEATH(StaticModel::create(buffer, 11),
                 "ostrel/Observable/StaticModel.cpp:.*Assertion `size >= MINIMUM_BUFFER_SIZE' failed");
}

TEST(ObserverWordTest, ThreadsAgreeOnTheWordsWhileTheTableGrows)
{
    std::vector<uint32_t> words[3];
    std::vector<std::thread> threads;
    for (std::vector<uint32_t>& own : words) {
        threads.emplace_back([&own] {
            for (SilentObserver& observer : observers) {
                own.push_back(observerWord(&observer));
                ASSERT_EQ(observerFromWord(own.back()), &observer);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(words[0], words[1]);
    EXPECT_EQ(words[0], words[2]);
    EXPECT_EQ(observerWord(nullptr), 0u);
    EXPECT_EQ(observerFromWord(0), nullptr);
}

TEST(ObserverWordTest, ExhaustedMemoryRefusesTheRegistrationAndChangesNothing)
{
    if (sizeof(void*) == sizeof(uint32_t))
        GTEST_SKIP() << "the word is the address: nothing is allocated";
    static SilentObserver many[5000];
    CheckedRegistry registry(60000);
    StaticModelState* const state = registry.getState();
    ASSERT_NE(observerWord(&observers[0]), 0u);
    AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
    size_t added = 0;
    faults.arm();
    while (added < 5000 && StaticModel::addEventAndObserver(state, 1, &many[added]) == OBSERVABLE_OK)
        ++added;
    const Observable_ReturnCode newEvent = StaticModel::addEventAndObserver(state, 2, &many[added]);
    const Observable_ReturnCode knownObserver = StaticModel::addObserver(state, 1, &observers[0]);
    faults.disarm();
    ASSERT_LT(added, 5000u) << "the table must have grown";
    EXPECT_EQ(newEvent, OBSERVABLE_INSUFFICIENT_MEMORY);
    EXPECT_EQ(knownObserver, OBSERVABLE_OK);
    EXPECT_EQ(StaticModel::size(state), 8 + 4 * (added + 1));
    EXPECT_EQ(StaticModel::addEventAndObserver(state, 1, &many[added]), OBSERVABLE_OK);
}
