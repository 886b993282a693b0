#pragma once

#include <cstdint>

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/Lockable.h"
#include "ostrel/Observable/Observer.h"
#include "ostrel/Observable/observable_types.h"

namespace Ostrel {

struct StaticModelState;

/// Where an observable keeps its registrations and how it reaches the observers.
///
/// Ownership: observers are borrowed until they are removed.
/// Errors:    codes; exceptions of observers pass through.
/// Threads:   called with the observable's lock held.
class OSTREL_EXPORT ObservableImplementation
{
public:
    virtual ~ObservableImplementation();
    /// All as the operations of `Observable`.
    virtual Observable_ReturnCode addObserver(const int& event, Observer* observer) = 0;
    virtual Observable_ReturnCode removeObserver(const int& event, Observer* observer) = 0;
    virtual Observable_ReturnCode notifyObservers(Observable* source, const int& event, const void* params) = 0;
};

/// Registrations in one buffer of the caller: a fixed budget and no allocation per registration. See `StaticModel`.
///
/// Units:     `size` is bytes, at least 12.
/// Errors:    a smaller buffer stops the process. An object whose construction ran out of memory takes no registration
///            (OBSERVABLE_INSUFFICIENT_MEMORY) and has none.
/// Threads:   none of its own; the observable's lock guards it.
class OSTREL_EXPORT PiloObservableImpl : public ObservableImplementation
{
public:
    PiloObservableImpl(char* buffer, const unsigned short& size);
    ~PiloObservableImpl() override;
    PiloObservableImpl(const PiloObservableImpl&) = delete;
    PiloObservableImpl& operator=(const PiloObservableImpl&) = delete;

    /// False when memory ran out during construction.
    bool isOk() const { return _state != nullptr; }

    Observable_ReturnCode addObserver(const int& event, Observer* observer) override;
    Observable_ReturnCode removeObserver(const int& event, Observer* observer) override;
    Observable_ReturnCode notifyObservers(Observable* source, const int& event, const void* params) override;

private:
    StaticModelState* _state;
    uint64_t _changes; ///< Calls that may have changed the registry; a pass looks its event up again when it moved.
};

/// A subject: tells the observers of an event whenever it is notified. Derive from it or hold one.
///
///     struct Display : Observer
///     {
///         void notify(Observable*, const int&, const void* params) override
///         {
///             printf("volume %d\n", *static_cast<const int*>(params));
///         }
///     };
///     enum { VOLUME_CHANGED = 1 };
///     char buffer[64];
///     Observable volume(nullptr, AutoPtr<ObservableImplementation>(new PiloObservableImpl(buffer, sizeof(buffer))));
///     Display display;
///     volume.addObserver(VOLUME_CHANGED, &display);
///     const int newVolume = 11;
///     volume.notifyObservers(VOLUME_CHANGED, &newVolume);
///
/// Ownership: owns the implementation; the lock and the observers stay the caller's and outlive their use here.
/// Errors:    codes. An exception of an observer passes through and leaves the lock free.
/// Threads:   each operation runs under the lock, callbacks included: one that calls back in needs a recursive lock.
///
/// A callback should leave the registrations alone. When it changes them, each pass under way goes on at the place it
/// had reached in the list as it is then: it may skip an observer or call one again, but calls none that has been
/// removed. A callback must not destroy the observable.
class OSTREL_EXPORT Observable
{
public:
    /// A null `lock` stands for none. An empty `implementation` refuses all with OBSERVABLE_INSUFFICIENT_MEMORY.
    Observable(Lockable* lock, AutoPtr<ObservableImplementation> implementation);
    virtual ~Observable();
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    /// An observer added repeatedly is called repeatedly. Null is not looked at, here nor when it is called: do not
    /// give it. OBSERVABLE_INSUFFICIENT_MEMORY.
    Observable_ReturnCode addObserver(const int& event, Observer* observer);

    /// Removes one registration. OBSERVABLE_EVENT_NOT_FOUND, OBSERVABLE_OBSERVER_NOT_FOUND.
    Observable_ReturnCode removeObserver(const int& event, Observer* observer);

    /// Calls the event's observers in order of registration. An event that nobody listens to is OBSERVABLE_OK too.
    Observable_ReturnCode notifyObservers(const int& event, const void* params = nullptr);

protected:
    Lockable* getLock() const { return _lock; }

private:
    Lockable* _lock;
    AutoPtr<ObservableImplementation> _implementation;
};

} // namespace Ostrel
