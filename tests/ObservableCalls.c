/* Every function of the observables' C interface, called from C. Returns the number of the line that failed, or 0. */
#include "ostrel/Observable/observable_c.h"

#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            return __LINE__;                                                                                           \
    } while (0)

int callObservableInterface(void);

static struct
{
    int count;
    ObservablePtr source;
    Event_Type event;
    const void* params;
} last;

static void recordCall(ObservablePtr source, Event_Type event, const void* params)
{
    ++last.count;
    last.source = source;
    last.event = event;
    last.params = params;
}

static int callWith(char* buffer, pthread_mutex_t* mutex)
{
    int value = 3;
    ObservablePtr subject = createObservable(buffer, 12, mutex);
    ObserverPtr observer = createObserver(recordCall);
    ObserverPtr other = createObserver(recordCall);
    last.count = 0;
    REQUIRE(removeObserver(subject, 7, observer) == OBSERVABLE_EVENT_NOT_FOUND);
    REQUIRE(addObserver(subject, INT32_MIN, observer) == OBSERVABLE_INSUFFICIENT_MEMORY);
    REQUIRE(addObserver(subject, -7, observer) == OBSERVABLE_OK);
    REQUIRE(addObserver(subject, -7, other) == OBSERVABLE_INSUFFICIENT_MEMORY);
    REQUIRE(removeObserver(subject, -7, other) == OBSERVABLE_OBSERVER_NOT_FOUND);

    REQUIRE(notifyObservers(subject, 7) == OBSERVABLE_OK && last.count == 0);
    REQUIRE(notifyObserversWithParams(subject, -7, &value) == OBSERVABLE_OK && last.count == 1);
    REQUIRE(last.source == subject && last.event == -7 && last.params == &value);
    REQUIRE(notifyObservers(subject, -7) == OBSERVABLE_OK && last.count == 2 && last.params == 0);

    REQUIRE(removeObserver(subject, -7, observer) == OBSERVABLE_OK);
    REQUIRE(removeObserver(subject, -7, observer) == OBSERVABLE_EVENT_NOT_FOUND);
    destroyObserver(other);
    destroyObserver(observer);
    destroyObservable(subject);
    return 0;
}

int callObservableInterface(void)
{
    char buffer[14]; /* one byte in front, so that nothing in it is aligned */
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    int line = callWith(buffer + 1, 0);
    if (line == 0)
        line = callWith(buffer + 1, &mutex);
    REQUIRE(pthread_mutex_trylock(&mutex) == 0);
    destroyObserver(0);
    destroyObservable(0);
    return line;
}
