#pragma once

#include "ostrel/Export.h"

namespace Ostrel {

class Observable;

/// Receives the notifications of the events it is registered for.
///
/// Ownership: whoever registers an observer keeps owning it, and removes it from every observable before it goes.
/// Errors:    an exception leaves the notification at once; later observers are not called.
/// Threads:   called on the notifying thread with the observable's lock held. Calling back into the same observable
///            needs a recursive lock.
class OSTREL_EXPORT Observer
{
public:
    virtual ~Observer();

    /// `params` is what the notifier passed, valid during the call.
    virtual void notify(Observable* source, const int& event, const void* params) = 0;
};

} // namespace Ostrel
