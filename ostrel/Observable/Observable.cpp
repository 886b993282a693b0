#include "ostrel/Observable/Observable.h"

#include "ostrel/Observable/EventEntry.h"
#include "ostrel/Observable/ObserverWord.h"
#include "ostrel/Observable/StaticModel.h"

namespace Ostrel {

namespace {

class LockGuard
{
public:
    explicit LockGuard(Lockable* lock) : _lock(lock) { _lock->lock(); }
    ~LockGuard() { _lock->unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lockable* _lock;
};

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

    char* const entry = StaticModel::findEvent(_state, event).getEntry();
    unsigned int index = 0;
    while (const char* slot = findSlot(entry, event, index++))
        observerFromWord(loadU32(slot))->notify(source, event, params);
    return OBSERVABLE_OK;
}

/// The word of the event's observer number `index`, or null past the last one.
///
/// Everything is read anew, since a callback under a recursive lock can change the registry, though it must not: such a
/// pass ends early or skips an observer, but never leaves the bytes in use.
const char* PiloObservableImpl::findSlot(char* entry, int event, unsigned int index) const
{
    const char* const last = _state->buffer + loadU16(_state->buffer);
    if (last - entry < static_cast<int>(EventEntry::SHORT_HEADER_SIZE))
        return nullptr;

    const EventEntry current(entry);
    const char* const slot = current.getObservers() + EventEntry::OBSERVER_SIZE * index;
    if (last - slot < static_cast<int>(EventEntry::OBSERVER_SIZE))
        return nullptr;
    return current.getId() == event && index < current.getCount() ? slot : nullptr;
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
