#pragma once

#include "ostrel/Export.h"

/// Work for a `Thread`.
///
/// Units:     none.
/// Ownership: as the thread's constructor says.
/// Errors:    none that the thread would see.
/// Threads:   `run` has a thread of its own, `cancelRun` is called on the one that stops it.
class OSTREL_EXPORT Runnable
{
public:
    virtual ~Runnable();

    /// Must not end by an exception. Cancellation is off at first.
    virtual void run() = 0;

    /// Makes `run` return soon, and returns at once itself. The default makes a fatal report: work that can be stopped
    /// must override it.
    virtual void cancelRun();
};
