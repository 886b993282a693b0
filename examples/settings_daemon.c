/* The subject of a settings daemon: 256 bytes for all registrations, whoever comes. Two observers in C, and a mutex,
 * since clients register on their own threads. When the budget is used up, a registration is refused with a code and
 * all that was registered before goes on working. */
#include <stdio.h>

#include "ostrel/Observable/observable_c.h"

enum Setting { SETTING_VOLUME = 1, SETTING_TIME_ZONE = 2, SETTING_FIRST_VENDOR = 100000 };

static void showChange(ObservablePtr settings, Event_Type setting, const void* value)
{
    (void)settings;
    printf("display: setting %d is now %d\n", (int)setting, *(const int*)value);
}

static void storeChange(ObservablePtr settings, Event_Type setting, const void* value)
{
    (void)settings;
    printf("storage: setting %d = %d\n", (int)setting, *(const int*)value);
}

/* Registers one vendor setting after the other until there is no room: each takes 12 bytes of the budget. */
static int registerVendorSettings(ObservablePtr settings, ObserverPtr observer)
{
    int count = 0;
    Observable_ReturnCode code;
    while ((code = addObserver(settings, SETTING_FIRST_VENDOR + count, observer)) == OBSERVABLE_OK)
        ++count;
    printf("vendor settings: %d, then %s\n", count,
           code == OBSERVABLE_INSUFFICIENT_MEMORY ? "the budget is used up" : "an error");
    return count;
}

int main(void)
{
    static char budget[256];
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const int volume = 7;
    ObservablePtr settings = createObservable(budget, sizeof(budget), &mutex);
    ObserverPtr display = createObserver(showChange);
    ObserverPtr storage = createObserver(storeChange);
    if (settings == NULL || display == NULL || storage == NULL)
        return 1;

    addObserver(settings, SETTING_VOLUME, display);
    addObserver(settings, SETTING_VOLUME, storage);
    const int vendorCount = registerVendorSettings(settings, storage);
    notifyObserversWithParams(settings, SETTING_VOLUME, &volume);

    /* A registration that goes makes room for another. */
    removeObserver(settings, SETTING_FIRST_VENDOR + vendorCount - 1, storage);
    printf("after one removal: code %d\n", (int)addObserver(settings, SETTING_TIME_ZONE, display));

    destroyObservable(settings);
    destroyObserver(storage);
    destroyObserver(display);
    return 0;
}
