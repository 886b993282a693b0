#pragma once

#include <chrono>

#include "tests/support/TestIncludes.h"

/// Lets other threads run until `condition` holds. False when it does not within a time that only a hang takes.
template <class Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

/// Milliseconds that `work` takes.
template <class Work>
long long getDurationMs(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    const auto duration = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}
