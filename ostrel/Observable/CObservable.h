/// What is behind the handles of `observable_c.h`, for C++ code that shares an observable with C.
#pragma once

#include "ostrel/Observable/Observable.h"
#include "ostrel/Observable/observable_c.h"

namespace Ostrel {

/// Makes the pthread mutex of a C caller a `Lockable`.
///
/// Ownership: the mutex stays the caller's and outlives this object; a null one is never locked.
/// Errors:    none; what the mutex answers is dropped.
class OSTREL_EXPORT CMutex : public Lockable
{
public:
    explicit CMutex(pthread_mutex_t* mutex) : _mutex(mutex) {}

    void lock() override;
    void unlock() override;

private:
    pthread_mutex_t* _mutex;
};

/// Calls a C function for each notification.
///
/// Ownership: as `Observer`. The function is not null; its source is the handle of the notifying observable, which must
///            be a `CObservable`.
class OSTREL_EXPORT CObserver : public Observer
{
public:
    explicit CObserver(Observer_Callback callback) : _callback(callback) {}

    void notify(Observable* source, const int& event, const void* params) override;

private:
    Observer_Callback _callback;
};

/// An observable that deletes its lock when that was made for it alone; what an `ObservablePtr` stands for.
///
/// Ownership: as `Observable`, but with `ownsLock` the lock is this object's.
class OSTREL_EXPORT CObservable : public Observable
{
public:
    CObservable(Lockable* lock, bool ownsLock, AutoPtr<ObservableImplementation> implementation);
    ~CObservable() override;

private:
    bool _ownsLock;
};

} // namespace Ostrel
