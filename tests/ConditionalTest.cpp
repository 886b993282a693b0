#include "ostrel/Conditional.h"
#include "tests/support/Waiting.h"

using namespace Ostrel;

TEST(ConditionalTest, DeadlineCarriesAndStopsAtTheEnd)
{
    const time_t LAST = std::numeric_limits<time_t>::max();
    static const timespec CASES[][3] = {
        {{7, 500000000}, {0, 999999999}, {8, 499999999}}, {{7, 500000000}, {2, 499999999}, {9, 999999999}},
        {{7, 500000000}, {2, 500000000}, {10, 0}},        {{7, 1}, {LAST, 2}, {LAST, 3}},
        {{7, 999999999}, {LAST - 7, 1}, {LAST, 0}},
    };
    for (const auto& [now, relative, expected] : CASES) {
        const timespec deadline = Conditional::getDeadline(now, relative);
        EXPECT_EQ(std::pair(deadline.tv_sec, deadline.tv_nsec), std::pair(expected.tv_sec, expected.tv_nsec));
    }
}

TEST(ConditionalTest, TimedWaitTellsTimeOutFromSignal)
{
    Conditional condition;
    CheckedMutex mutex;
    NestedScopeLock outer(mutex);
    NestedScopeLock inner(mutex); // a wait lets go of both
    EXPECT_GE(getDurationMs([&] { EXPECT_TRUE(condition.relTimedWait(mutex, timespec{0, 30000000})); }), 30);
    EXPECT_FALSE(condition.relTimedWait(mutex, timespec{0, 2100000000})) << "refused, which is no time-out";

    bool ready = false;
    std::thread other([&] {
        NestedScopeLock guard(mutex); // possible only once the waiter sleeps
        ready = true;
        condition.broadcast();
    });
    while (!ready)
        EXPECT_FALSE(condition.relTimedWait(mutex, timespec{60, 0}));
    other.join();
}
