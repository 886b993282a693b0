#include "ostrel/Observable/Observable.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "ostrel/Observable/EventEntry.h"
#include "ostrel/Observable/ObserverWord.h"
#include "ostrel/Observable/StaticModel.h"

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
    char* entry;

    /// Id, count and form of the event: one of them is another after any change that moves the list or its end. (An
    /// event leaves with its last observer only, so that its count has changed before its bytes are given up.)
    uint64_t entryBegin;

    bool isChanged() const { return loadU64(entry) != entryBegin; }
};

// Out of line, which leaves the registers to the pass itself.
[[gnu::noinline]] ObserverList findObservers(char* buffer, int event)
{
    const EventEntry entry = findEventEntry(buffer, event);
    if (entry.getAddress() == buffer + loadU16(buffer + RegistryOffset::USED_SIZE) || entry.getCount() == 0)
        return {buffer, buffer, buffer, 0};
    // With an observer, the entry has eight bytes at least.
    return {entry.getObservers(), entry.getObserversEnd(), entry.getAddress(), loadU64(entry.getAddress())};
}

} // namespace

Observer::~Observer() = default;

ObservableImplementation::~ObservableImplementation() = default;

PiloObservableImpl::PiloObservableImpl(char* buffer, const unsigned short& size)
    : _state(StaticModel::create(buffer, size))
{}

PiloObservableImpl::~PiloObservableImpl()
{
    delete _state;
}

Observable_ReturnCode PiloObservableImpl::addObserver(const int& event, Observer* observer)
{
    return isOk() ? StaticModel::addEventAndObserver(_state, event, observer) : OBSERVABLE_INSUFFICIENT_MEMORY;
}

Observable_ReturnCode PiloObservableImpl::removeObserver(const int& event, Observer* observer)
{
    return isOk() ? StaticModel::removeEventAndObserver(_state, event, observer) : OBSERVABLE_EVENT_NOT_FOUND;
}

Observable_ReturnCode PiloObservableImpl::notifyObservers(Observable* source, const int& event, const void* params)
{
    if (!isOk())
        return OBSERVABLE_OK;

    char* const buffer = _state->buffer;
    ObserverList list = findObservers(buffer, event);
    for (const char* slot = list.begin; slot != list.end;) {
        observerFromWord(loadU32(slot))->notify(source, event, params);
        slot += EventEntry::OBSERVER_SIZE;
        if (list.isChanged()) {
            // Under a recursive lock a callback can do that, though it must not. The pass goes on at the same place of
            // the list, so it may skip an observer, but calls none of another event.
            const ptrdiff_t done = slot - list.begin;
            list = findObservers(buffer, event);
            slot = list.begin + std::min(done, list.end - list.begin);
        }
    }
    return OBSERVABLE_OK;
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
