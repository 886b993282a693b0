#pragma once

#include <atomic>
#include <new>

#include "ostrel/Export.h"
#include "ostrel/Mutex.h"

namespace Ostrel {

/// What all singletons share.
class OSTREL_EXPORT SingletonBase
{
protected:
    /// A mutex that is never destroyed: reports may still come from static destructors, after ours have run.
    union ImmortalMutex
    {
        ImmortalMutex() : mutex(Mutex::NORMAL) {}
        ~ImmortalMutex() {}

        Mutex mutex; ///< Made with the union, never destroyed.
    };

    static ImmortalMutex _mutex; ///< Serializes the creation of every singleton.
};

/// Makes the one instance of T on first use and destroys it at process exit.
///
/// A call after that makes a new one, which is never destroyed and knows nothing of what the first was told: reports
/// that are made once the `ErrorServer` of the process has gone meet its default policy and are dropped.
///
/// The two static members are defined once, in the source of T, so that one process has one instance
/// however many shared objects it loads.
///
/// Ownership: the instance belongs to the singleton; callers never delete it.
/// Errors:    `getInstance` is null when memory is exhausted; the next call tries again.
/// Threads:   `getInstance` may be called from any thread at any time.
template <class T>
class OSTREL_EXPORT Singleton : private SingletonBase
{
public:
    /// The instance, made now if there is none yet; null when it could not be allocated.
    static T* getInstance();

    /// The instance if there is one already. Never creates, never locks.
    static T* findInstance() { return _holder.load(std::memory_order_acquire); }

private:
    struct Guard
    {
        OSTREL_LOCAL ~Guard();
    };

    static std::atomic<T*> _holder;
    static Guard _guard;
};

template <class T>
T* Singleton<T>::getInstance()
{
    if (T* instance = findInstance())
        return instance;

    _mutex.mutex.lock();
    T* instance = _holder.load(std::memory_order_relaxed);
    if (instance == nullptr) {
        instance = new (std::nothrow) T;
        _holder.store(instance, std::memory_order_release);
    }
    _mutex.mutex.unlock();
    return instance;
}

template <class T>
Singleton<T>::Guard::~Guard()
{
    // Emptied before the instance goes: a later report makes a new one, never to be destroyed, and finds no dying one.
    delete _holder.exchange(nullptr, std::memory_order_acq_rel);
}

} // namespace Ostrel
