#include "ostrel/Observable/Observable.h"

#include <algorithm>
#include <cstddef>

#include "ostrel/Observable/EventEntry.h"
#include "ostrel/Observable/ObserverWord.h"
#include "ostrel/Observable/StaticModel.h"

namespace Ostrel {

namespace {

// Not locking at all is not worth two virtual calls. Null until this source is initialized: then they are made.
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

/// Goes through the observers of one event in place.
///
/// A callback under a recursive lock can change the registry, though it must not. Such a pass finds its event again and
/// goes on at the same position, so it may skip an observer, but never leaves the event's list.
class NotificationPass
{
public:
    NotificationPass(char* buffer, int event) : _buffer(buffer), _event(event) { locate(0); }

    /// The word of the next observer; null past the last one.
    const char* getNext()
    {
        if (_slot == _end)
            return nullptr;
        const char* const slot = _slot;
        _slot += EventEntry::OBSERVER_SIZE;
        return slot;
    }

    void stayOnEvent()
    {
        if (loadU16(_buffer) != _usedSize || loadU64(_entry) != _entryBegin)
            locate(_slot - _observers);
    }

private:
    void locate(ptrdiff_t offset);

    char* const _buffer;
    const int _event;
    uint16_t _usedSize;
    char* _entry;
    uint64_t _entryBegin = 0; ///< Id, count and form, and in the short form the first observer.
    const char* _observers;
    const char* _slot;
    const char* _end;
};

void NotificationPass::locate(ptrdiff_t offset)
{
    _usedSize = loadU16(_buffer);
    _entry = findEventEntry(_buffer, _event);
    const EventEntry entry(_entry);
    const bool isEmpty = _entry == _buffer + _usedSize || entry.getCount() == 0;
    _entryBegin = isEmpty ? 0 : loadU64(_entry); // with an observer, an entry has eight bytes at least
    _observers = isEmpty ? _entry : entry.getObservers();
    _end = isEmpty ? _entry : entry.getObserversEnd();
    _slot = _observers + std::min(offset, _end - _observers);
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

    NotificationPass pass(_state->buffer, event);
    while (const char* slot = pass.getNext()) {
        observerFromWord(loadU32(slot))->notify(source, event, params);
        pass.stayOnEvent();
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
