/* Every function of the observables' C interface, called from C. Returns the number of the line that failed, or 0. */
#include "ostrel/Observable/observable_c.h"
#include "tests/support/Require.h"

int callWithUserData(void);
int callObservableInterface(pthread_mutex_t* mutex);

static int calls;
static ObservablePtr lastSource;
static Event_Type lastEvent;
static const void* lastParams;

static void recordCall(ObservablePtr source, Event_Type event, const void* params)
{
    ++calls;
    lastSource = source;
    lastEvent = event;
    lastParams = params;
}

int callObservableInterface(pthread_mutex_t* mutex)
{
    char buffer[12];
    ObservablePtr subject = createObservable(buffer, sizeof(buffer), mutex);
    ObserverPtr observer = createObserver(recordCall);
    ObserverPtr other = createObserver(recordCall);
    calls = 0;
    REQUIRE(removeObserver(subject, 7, observer) == OBSERVABLE_EVENT_NOT_FOUND);
    REQUIRE(addObserver(subject, INT32_MIN, observer) == OBSERVABLE_INSUFFICIENT_MEMORY);
    REQUIRE(addObserver(subject, -7, observer) == OBSERVABLE_OK);
    REQUIRE(addObserver(subject, -7, other) == OBSERVABLE_INSUFFICIENT_MEMORY);
    REQUIRE(removeObserver(subject, -7, other) == OBSERVABLE_OBSERVER_NOT_FOUND);

    REQUIRE(notifyObservers(subject, 7) == OBSERVABLE_OK && calls == 0);
    REQUIRE(notifyObserversWithParams(subject, -7, &mutex) == OBSERVABLE_OK && calls == 1);
    REQUIRE(lastSource == subject && lastEvent == -7 && lastParams == &mutex);
    REQUIRE(notifyObservers(subject, -7) == OBSERVABLE_OK && calls == 2 && lastParams == 0);

    REQUIRE(removeObserver(subject, -7, observer) == OBSERVABLE_OK);
    REQUIRE(removeObserver(subject, -7, observer) == OBSERVABLE_EVENT_NOT_FOUND);
    destroyObserver(other);
    destroyObserver(observer);
    destroyObservable(subject);
    destroyObserver(0);
    destroyObservable(0);
    return 0;
}

static void addTo(ObservablePtr source, Event_Type event, const void* params, void* userData)
{
    lastSource = source;
    *(int*)userData += (int)event + *(const int*)params;
}

/* Two observers of one function, in a registry that just takes them or is a byte too small. */
int callWithUserData(void)
{
    static char buffer[OBSERVABLE_STORAGE(OBSERVABLE_EVENT(2) + OBSERVABLE_EVENT_WITH_LONG_ID(1))];
    const int params = 5;
    int sums[2] = {0, 0};
    ObserverPtr first = createObserverWithUserData(addTo, &sums[0]);
    ObserverPtr second = createObserverWithUserData(addTo, &sums[1]);
    for (uint16_t missing = 0; missing < 2; ++missing) {
        ObservablePtr subject = createObservable(buffer, (uint16_t)(sizeof(buffer) - missing), 0);
        REQUIRE(addObserver(subject, -7, first) == OBSERVABLE_OK);
        REQUIRE(addObserver(subject, 32767, second) == OBSERVABLE_OK);
        REQUIRE(addObserver(subject, -7, second) == (missing ? OBSERVABLE_INSUFFICIENT_MEMORY : OBSERVABLE_OK));
        REQUIRE(notifyObserversWithParams(subject, -7, &params) == OBSERVABLE_OK && lastSource == subject);
        destroyObservable(subject);
    }
    REQUIRE(sums[0] == 2 * -2 && sums[1] == -2);
    REQUIRE(OBSERVABLE_STORAGE(0) == 12 && OBSERVABLE_STORAGE(OBSERVABLE_EVENT(1)) == 12);
    destroyObserver(first);
    destroyObserver(second);
    return 0;
}
