#pragma once

#include "tests/support/TestIncludes.h"

/// Makes allocations fail on purpose. The test program replaces `operator new`, and wraps `malloc`, `realloc` and
/// `strdup` as the library's objects call them; all of them count here.
///
///     sweepAllocationFailures([](AllocationFaults& faults) {
///         List list;
///         const bool isDone = faults.during([&] { return list.append(1); }) == 0;
///         EXPECT_EQ(faults.again([&] { return list.append(2); }), 0);
///         return isDone;
///     });
///
/// Keep the armed stretch to the one call: assertions allocate too. Ordinary (throwing) `operator new` throws when
/// it is made to fail. One thread at a time.
class AllocationFaults
{
public:
    enum Mode {
        FAIL_ONE,       ///< Only allocation number `index` of the armed stretch fails.
        FAIL_ALL_LATER, ///< That one and all later ones fail.
        FAIL_NONE       ///< Only counts.
    };

    AllocationFaults(Mode mode, unsigned int index) : _mode(mode), _index(index) {}
    ~AllocationFaults() { disarm(); }

    void arm() { current = this; }
    void disarm() { current = nullptr; }

    /// The result of `stretch`, called armed.
    template <class Stretch>
    auto during(const Stretch& stretch)
    {
        const struct Armed
        {
            ~Armed() { current = nullptr; }
        } armed;
        arm();
        return stretch();
    }

    /// The result of `stretch` with memory back. Each round of a sweep makes this call, of what the refusals have met.
    template <class Stretch>
    auto again(const Stretch& stretch)
    {
        disarm();
        _isRepeated = true;
        return stretch();
    }
    bool isRepeated() const { return _isRepeated; }

    /// Allocations made, or refused, while armed.
    unsigned int getCount() const { return _count; }

    /// Blocks allocated through the counted functions and not yet freed, in the whole program.
    static long getLiveBlocks();

    /// While one lives, allocations neither count nor fail: for test code that the armed stretch calls back.
    class Pause
    {
    public:
        Pause() { current = nullptr; }
        ~Pause() { current = _armed; }

    private:
        AllocationFaults* _armed = current;
    };

    /// Called by the replaced functions.
    static bool shouldFail();

private:
    inline static thread_local AllocationFaults* current = nullptr;
    Mode _mode;
    unsigned int _index;
    unsigned int _count = 0;
    bool _isRepeated = false;
};

/// Calls `work` with allocation 0, 1, 2 ... failing, alone and then with all later ones, until it returns true, which
/// says that the work was completed. Each round uses the same object once more by `again`; then no block may be left.
void sweepAllocationFailures(const std::function<bool(AllocationFaults&)>& work);

/// The number of allocations that `work` makes.
unsigned int countAllocations(const std::function<void()>& work);
