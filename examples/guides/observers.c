/* A subject and its observers in C: whoever registers is told of changes, in the caller's memory. */
#define _XOPEN_SOURCE 700 /* recursive mutexes, with -std=c11 too */

#include <pthread.h>
#include <stdio.h>

#include "ostrel/Observable/observable_c.h"

enum Event { VOLUME_CHANGED = 1, MUTED = 2 };

/* What a display needs is in its own structure, which each call brings back. */
struct Display
{
    const char* name;
    int volume;
};

static void showVolume(ObservablePtr source, Event_Type event, const void* params, void* userData)
{
    struct Display* display = userData;
    (void)source;
    if (event == MUTED)
        display->volume = 0;
    else
        display->volume = *(const int*)params; /* valid during the call only: copy what you keep */
    printf("%s: %d\n", display->name, display->volume);
}

/* An observer may notify in turn: the mutex is recursive. */
static void limitVolume(ObservablePtr source, Event_Type event, const void* params, void* userData)
{
    const int limit = *(const int*)userData;
    (void)event;
    if (*(const int*)params > limit)
        notifyObserversWithParams(source, VOLUME_CHANGED, &limit);
}

static int initRecursiveMutex(pthread_mutex_t* mutex)
{
    pthread_mutexattr_t attributes;
    int code = pthread_mutexattr_init(&attributes);
    if (code != 0)
        return code;
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    code = pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return code;
}

static int run(ObservablePtr volume, ObserverPtr hall, ObserverPtr limiter)
{
    const int values[] = {4, 12};
    if (volume == NULL || hall == NULL || limiter == NULL)
        return 1;
    /* OBSERVABLE_INSUFFICIENT_MEMORY when the registry is full; nothing has changed then. */
    if (addObserver(volume, VOLUME_CHANGED, hall) != OBSERVABLE_OK ||
        addObserver(volume, VOLUME_CHANGED, limiter) != OBSERVABLE_OK ||
        addObserver(volume, MUTED, hall) != OBSERVABLE_OK)
        return 1;

    for (unsigned int i = 0; i < sizeof(values) / sizeof(values[0]); ++i)
        notifyObserversWithParams(volume, VOLUME_CHANGED, &values[i]);
    notifyObservers(volume, MUTED); /* params is NULL */

    /* Every registration goes before its observer does. */
    removeObserver(volume, VOLUME_CHANGED, limiter);
    removeObserver(volume, VOLUME_CHANGED, hall);
    removeObserver(volume, MUTED, hall);
    notifyObservers(volume, MUTED); /* nobody is left, which is no error */
    return 0;
}

int main(void)
{
    static char registry[OBSERVABLE_STORAGE(OBSERVABLE_EVENT(2) + OBSERVABLE_EVENT(1))];
    static struct Display hallDisplay = {"hall", 0};
    static int limit = 10;
    static pthread_mutex_t mutex;
    if (initRecursiveMutex(&mutex) != 0)
        return 1;

    ObservablePtr volume = createObservable(registry, sizeof(registry), &mutex);
    ObserverPtr hall = createObserverWithUserData(showVolume, &hallDisplay);
    ObserverPtr limiter = createObserverWithUserData(limitVolume, &limit);
    const int status = run(volume, hall, limiter);
    destroyObservable(volume); /* these three ignore NULL */
    destroyObserver(limiter);
    destroyObserver(hall);
    pthread_mutex_destroy(&mutex);
    return status;
}
