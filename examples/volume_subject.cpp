// A subject in C++: a volume control that tells its observers, guarded by a recursive mutex so that an observer may set
// the volume in turn.
#include <cstdio>

#include "ostrel/Observable/Observable.h"

using namespace Ostrel;

class VolumeControl
{
public:
    enum Event { VOLUME_CHANGED = 1, MUTED = 2 };

    void setVolume(int volume)
    {
        _volume = volume;
        _subject.notifyObservers(VOLUME_CHANGED, &_volume);
        if (_volume == 0)
            _subject.notifyObservers(MUTED);
    }

    Observable& getSubject() { return _subject; }

private:
    int _volume = 0;
    char _registry[64];
    Mutex _mutex{Mutex::RECURSIVE};
    MutexLockableWrapper _lock{_mutex};
    Observable _subject{
        &_lock, AutoPtr<ObservableImplementation>(new (std::nothrow) PiloObservableImpl(_registry, sizeof(_registry)))};
};

class Display : public Observer
{
public:
    void notify(Observable*, const int& event, const void* params) override
    {
        if (event == VolumeControl::MUTED)
            printf("display: muted\n");
        else
            printf("display: volume %d\n", *static_cast<const int*>(params));
    }
};

/// Never lets the volume be higher than 10.
class Limiter : public Observer
{
public:
    explicit Limiter(VolumeControl& control) : _control(control) {}

    void notify(Observable*, const int&, const void* params) override
    {
        if (*static_cast<const int*>(params) > 10)
            _control.setVolume(10);
    }

private:
    VolumeControl& _control;
};

int main()
{
    VolumeControl control;
    Display display;
    Limiter limiter(control);
    Observable& subject = control.getSubject();
    if (subject.addObserver(VolumeControl::VOLUME_CHANGED, &limiter) != OBSERVABLE_OK ||
        subject.addObserver(VolumeControl::VOLUME_CHANGED, &display) != OBSERVABLE_OK ||
        subject.addObserver(VolumeControl::MUTED, &display) != OBSERVABLE_OK)
        return 1;

    control.setVolume(4);
    control.setVolume(12);
    control.setVolume(0);
    return subject.removeObserver(VolumeControl::MUTED, &limiter) == OBSERVABLE_OBSERVER_NOT_FOUND ? 0 : 1;
}
