#pragma once

#include "tests/support/TestIncludes.h"

/// Makes calls of the C library fail on purpose, as the library's objects and the tests make them on one thread. What
/// the C library calls itself is out of reach: stdio, for instance, is met where it is called.
///
///     SystemCallFaults faults(SystemCallFaults::FAIL, 2, EIO);
///     faults.during([&] { stream.read(buffer, 4); }); // its third call fails
class SystemCallFaults
{
public:
    enum Action {
        COUNT,   ///< Only writes the calls down.
        FAIL,    ///< Call number `index` fails with `error`.
        SHORTEN, ///< It moves one byte, if it moves any.
        CANCEL   ///< Cancellation point number `index` finds the thread cancelled. Waits before it end as if signalled.
    };

    explicit SystemCallFaults(Action action, unsigned int index = 0, int error = 0)
        : _action(action), _index(index), _error(error)
    {}

    /// The result of `stretch`, called armed.
    template <class Stretch>
    auto during(const Stretch& stretch)
    {
        const std::unique_ptr<SystemCallFaults*, void (*)(SystemCallFaults**)> disarm(
            &current, [](SystemCallFaults** armed) { *armed = nullptr; });
        current = this;
        return stretch();
    }

    /// The names of the calls, for `CANCEL` those of the cancellation points.
    const std::vector<std::string>& getCalls() const { return _calls; }

    /// False in builds where the calls have other names.
    static bool areWithinReach();

    enum Kind { PLAIN, POINT, WAIT }; ///< Whether a thread can be cancelled there, and whether it may wait for long.

    /// What a replaced function has to do: an error number, or 0 to go on with its length.
    static int meet(const char* name, Kind kind, long* length);

private:
    inline static thread_local SystemCallFaults* current = nullptr;
    const Action _action;
    const unsigned int _index;
    const int _error;
    std::vector<std::string> _calls;
};
