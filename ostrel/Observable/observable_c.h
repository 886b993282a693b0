/* Observables for C: a subject with its registrations in a fixed buffer, observers that are plain functions, and the
 * caller's own mutex.
 *
 *     enum { VOLUME_CHANGED = 1 };
 *
 *     void logChange(ObservablePtr source, Event_Type event, const void* params)
 *     {
 *         printf("event %d: %d\n", (int)event, *(const int*)params);
 *     }
 *
 *     void changeVolume(int newVolume)
 *     {
 *         static char buffer[256];
 *         ObservablePtr settings = createObservable(buffer, sizeof(buffer), NULL);
 *         ObserverPtr logger = createObserver(logChange);
 *         addObserver(settings, VOLUME_CHANGED, logger);
 *         notifyObserversWithParams(settings, VOLUME_CHANGED, &newVolume);
 *         destroyObservable(settings);
 *         destroyObserver(logger);
 *     }
 *
 * Units:     sizes are bytes. A registration costs 4, each event 4 more (8 when its id is outside -32767..32766), the
 *            registry itself 4.
 * Ownership: handles are destroyed by the caller. Buffer and mutex stay the caller's and outlive the observable. An
 *            observer must be removed from every observable before it is destroyed.
 * Errors:    codes. Null where a handle must be given stops the process.
 * Threads:   each operation on an observable holds its mutex, also while the observers are called. An observer that
 *            calls back in needs a recursive mutex. Without a mutex nothing is locked.
 *
 * An observer should leave the registrations alone while it is called. When it changes them, each notification under
 * way goes on at the place it had reached in the list as it is then: it may skip an observer or call one again, but
 * calls none that has been removed. It must not destroy the observable. */
#pragma once

#include <pthread.h>
#include <stdint.h>

#include "ostrel/Export.h"
#include "ostrel/Observable/observable_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* An observable. */
typedef struct ObservableHandle* ObservablePtr;
/* A function that is called for each notification. */
typedef struct ObserverHandle* ObserverPtr;

/* `params` is what the notifier passed, NULL from notifyObservers. */
typedef void (*Observer_Callback)(ObservablePtr source, Event_Type event, const void* params);

/* `userData` is what the observer was created with. */
typedef void (*Observer_UserDataCallback)(ObservablePtr source, Event_Type event, const void* params, void* userData);

/* `size` is at least 12; less stops the process. The buffer is cleared and may have any alignment. `mutex` may be NULL.
 * NULL when memory is exhausted. */
OSTREL_EXPORT ObservablePtr createObservable(char* buffer, uint16_t size, pthread_mutex_t* mutex);

/* NULL is ignored. */
OSTREL_EXPORT void destroyObservable(ObservablePtr observable);

/* NULL when memory is exhausted. */
OSTREL_EXPORT ObserverPtr createObserver(Observer_Callback callback);

/* For observers that share a function and differ in what they work on. `userData` is only passed on, may be NULL, and
 * stays the caller's. NULL when memory is exhausted. */
OSTREL_EXPORT ObserverPtr createObserverWithUserData(Observer_UserDataCallback callback, void* userData);

/* NULL is ignored. */
OSTREL_EXPORT void destroyObserver(ObserverPtr observer);

/* An observer added repeatedly is called repeatedly.
 * OBSERVABLE_INSUFFICIENT_MEMORY: the buffer is full; nothing has changed. */
OSTREL_EXPORT Observable_ReturnCode addObserver(ObservablePtr observable, Event_Type event, ObserverPtr observer);

/* Removes the oldest registration of the observer; the event goes with its last one.
 * OBSERVABLE_EVENT_NOT_FOUND, OBSERVABLE_OBSERVER_NOT_FOUND. */
OSTREL_EXPORT Observable_ReturnCode removeObserver(ObservablePtr observable, Event_Type event, ObserverPtr observer);

/* Calls the observers of the event in order of registration. OBSERVABLE_OK also when there are none. */
OSTREL_EXPORT Observable_ReturnCode notifyObservers(ObservablePtr observable, Event_Type event);
/* The same; observers are handed `params`. */
OSTREL_EXPORT Observable_ReturnCode notifyObserversWithParams(ObservablePtr observable, Event_Type event,
                                                              const void* params);

#ifdef __cplusplus
}
#endif
