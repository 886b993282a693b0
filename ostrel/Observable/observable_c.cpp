#include "ostrel/Observable/observable_c.h"

#include <new>

#include "ostrel/Assert.h"
#include "ostrel/Observable/CObservable.h"

namespace Ostrel {

void CMutex::lock()
{
    if (_mutex != nullptr)
        pthread_mutex_lock(_mutex);
}

void CMutex::unlock()
{
    if (_mutex != nullptr)
        pthread_mutex_unlock(_mutex);
}

void CObserver::notify(Observable* source, const int& event, const void* params)
{
    _callback(reinterpret_cast<ObservablePtr>(static_cast<CObservable*>(source)), event, params);
}

CObservable::CObservable(Lockable* lock, bool ownsLock, AutoPtr<ObservableImplementation> implementation)
    : Observable(lock, std::move(implementation)), _ownsLock(ownsLock)
{}

CObservable::~CObservable()
{
    if (_ownsLock)
        delete getLock();
}

} // namespace Ostrel

namespace {

Ostrel::CObservable* toObservable(ObservablePtr observable)
{
    return reinterpret_cast<Ostrel::CObservable*>(observable);
}

Ostrel::CObserver* toObserver(ObserverPtr observer)
{
    return reinterpret_cast<Ostrel::CObserver*>(observer);
}

/// A `CObserver`, since that is what handles stand for; its own callback is never called.
class UserDataObserver final : public Ostrel::CObserver
{
public:
    UserDataObserver(Observer_UserDataCallback callback, void* userData)
        : CObserver(nullptr), _callback(callback), _userData(userData)
    {}

    void notify(Ostrel::Observable* source, const int& event, const void* params) override
    {
        auto* observable = static_cast<Ostrel::CObservable*>(source);
        _callback(reinterpret_cast<ObservablePtr>(observable), event, params, _userData);
    }

private:
    Observer_UserDataCallback _callback;
    void* _userData;
};

/// Empty when memory is exhausted.
Ostrel::AutoPtr<Ostrel::ObservableImplementation> createRegistry(char* buffer, uint16_t size)
{
    Ostrel::AutoPtr<Ostrel::PiloObservableImpl> registry(new (std::nothrow) Ostrel::PiloObservableImpl(buffer, size));
    if (registry && !registry->isOk())
        registry.reset();
    return registry;
}

} // namespace

// Below, the checks' texts are what those who read crash logs look for.
#define OSTREL_ASSERT_OBSERVABLE(observable) OSTREL_ASSERT_TEXT(observable, "(Ostrel::CObservable*)observable")
#define OSTREL_ASSERT_BOTH(one, two)                                                                                   \
    OSTREL_ASSERT_TEXT((one) && (two), "(Ostrel::CObservable*)observable && ((Ostrel::CObserver*)observer)")

ObservablePtr createObservable(char* buffer, uint16_t size, pthread_mutex_t* mutex)
{
    Ostrel::AutoPtr<Ostrel::ObservableImplementation> registry = createRegistry(buffer, size);
    Ostrel::AutoPtr<Ostrel::CMutex> ownLock(mutex != nullptr ? new (std::nothrow) Ostrel::CMutex(mutex) : nullptr);
    if (!registry || (mutex != nullptr && !ownLock))
        return nullptr;

    Ostrel::Lockable* const lock = ownLock ? ownLock.get() : static_cast<Ostrel::Lockable*>(nullptr);
    auto* observable = new (std::nothrow) Ostrel::CObservable(lock, lock != nullptr, std::move(registry));
    if (observable != nullptr)
        ownLock.release(); // the observable's from here on
    return reinterpret_cast<ObservablePtr>(observable);
}

void destroyObservable(ObservablePtr observable)
{
    delete toObservable(observable);
}

ObserverPtr createObserver(Observer_Callback callback)
{
    return reinterpret_cast<ObserverPtr>(new (std::nothrow) Ostrel::CObserver(callback));
}

ObserverPtr createObserverWithUserData(Observer_UserDataCallback callback, void* userData)
{
    Ostrel::CObserver* observer = new (std::nothrow) UserDataObserver(callback, userData);
    return reinterpret_cast<ObserverPtr>(observer);
}

void destroyObserver(ObserverPtr observer)
{
    delete toObserver(observer);
}

Observable_ReturnCode addObserver(ObservablePtr observable, Event_Type event, ObserverPtr observer)
{
    OSTREL_ASSERT_BOTH(observable, observer);
    return toObservable(observable)->addObserver(event, toObserver(observer));
}

Observable_ReturnCode removeObserver(ObservablePtr observable, Event_Type event, ObserverPtr observer)
{
    OSTREL_ASSERT_BOTH(observable, observer);
    return toObservable(observable)->removeObserver(event, toObserver(observer));
}

Observable_ReturnCode notifyObservers(ObservablePtr observable, Event_Type event)
{
    OSTREL_ASSERT_OBSERVABLE(observable);
    return toObservable(observable)->notifyObservers(event);
}

Observable_ReturnCode notifyObserversWithParams(ObservablePtr observable, Event_Type event, const void* params)
{
    OSTREL_ASSERT_OBSERVABLE(observable);
    return toObservable(observable)->notifyObservers(event, params);
}
