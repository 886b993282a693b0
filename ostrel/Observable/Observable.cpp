#include "ostrel/Observable/Observable.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "ostrel/Observable/StaticModel.h"
#include "ostrel/internal/EventEntry.h"
#include "ostrel/internal/ObserverWord.h"

namespace Ostrel {

namespace {

// Not locking at all is not worth two virtual calls. Null until this source is initialized: they are made until then.
Lockable* const noLock = &NullMutex::getInstance();

class LockGuard
{
public:
    explicit LockGuard(Lockable* lock) : _lock(lock)
    {
        if (_lock != noLock)
            _lock->lock();
    }
    ~LockGuard()
    {
        if (_lock != noLock)
            _lock->unlock();
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lockable* _lock;
};

/// The observers of one event, in place.
struct ObserverList
{
    const char* begin;
    const char* end;
};

// Out of line, which leaves the registers to the pass itself.
[[gnu::noinline]] ObserverList findObservers(char* buffer, int event)
{
    const EventEntry entry = findEventEntry(buffer, event);
    if (entry.getAddress() == buffer + loadU16(buffer + RegistryOffset::USED_SIZE))
        return {buffer, buffer};
    return {entry.getObservers(), entry.getObserversEnd()};
}

} // namespace

Observer::~Observer() = default;

ObservableImplementation::~ObservableImplementation() = default;

PiloObservableImpl::PiloObservableImpl(char* buffer, const unsigned short& size)
    : _state(StaticModel::create(buffer, size)), _changes(0)
{}

PiloObservableImpl::~PiloObservableImpl()
{
    delete _state;
}

Observable_ReturnCode PiloObservableImpl::addObserver(const int& event, Observer* observer)
{
    ++_changes;
    return isOk() ? StaticModel::addEventAndObserver(_state, event, observer) : OBSERVABLE_INSUFFICIENT_MEMORY;
}

Observable_ReturnCode PiloObservableImpl::removeObserver(const int& event, Observer* observer)
{
    ++_changes;
    return isOk() ? StaticModel::removeEventAndObserver(_state, event, observer) : OBSERVABLE_EVENT_NOT_FOUND;
}

Observable_ReturnCode PiloObservableImpl::notifyObservers(Observable* source, const int& event, const void* params)
{
    if (!isOk())
        return OBSERVABLE_OK;

    const int id = event; // an observer that goes during the pass may take the caller's with it
    ptrdiff_t done = 0;
    for (;;) {
        const ObserverList list = findObservers(_state->buffer, id);
        const ObserverWords observers;
        const uint64_t changes = _changes;
        const char* slot = list.begin + std::min(done, list.end - list.begin);
        do {
            if (slot == list.end)
                return OBSERVABLE_OK;
            Observer* const observer = observers[loadU32(slot)];
            slot += EventEntry::OBSERVER_SIZE;
            observer->notify(source, id, params);
        } while (_changes == changes);

        // Under a recursive lock a callback can change the registry. Nothing in the buffer would tell: freed bytes keep
        // what they held, and places are taken again.
        done = slot - list.begin;
    }
}

Observable::Observable(Lockable* lock, AutoPtr<ObservableImplementation> implementation)
    : _lock(lock != nullptr ? lock : &NullMutex::getInstance()), _implementation(std::move(implementation))
{}

Observable::~Observable() = default;

Observable_ReturnCode Observable::addObserver(const int& event, Observer* observer)
{
    const LockGuard guard(_lock);
    return _implementation ? _implementation->addObserver(event, observer) : OBSERVABLE_INSUFFICIENT_MEMORY;
}

Observable_ReturnCode Observable::removeObserver(const int& event, Observer* observer)
{
    const LockGuard guard(_lock);
    return _implementation ? _implementation->removeObserver(event, observer) : OBSERVABLE_INSUFFICIENT_MEMORY;
}

Observable_ReturnCode Observable::notifyObservers(const int& event, const void* params)
{
    const LockGuard guard(_lock);
    return _implementation ? _implementation->notifyObservers(this, event, params) : OBSERVABLE_INSUFFICIENT_MEMORY;
}

} // namespace Ostrel
