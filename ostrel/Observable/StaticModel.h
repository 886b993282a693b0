#pragma once

#include <cstdint>

#include "ostrel/Export.h"
#include "ostrel/Observable/Observer.h"
#include "ostrel/Observable/observable_types.h"

namespace Ostrel {

/// Where a registry is; all that it holds is in the buffer.
struct StaticModelState
{
    char* buffer; ///< The caller's.
};

typedef StaticModelState STATE; ///< A shorter name.

/// Walks the observers of one event, in order of registration. Valid until the registry changes.
class OSTREL_EXPORT StaticModelObserverIterator
{
public:
    explicit StaticModelObserverIterator(char* slot) : _slot(slot) {}

    Observer* operator*() const;
    char* getSlot() const { return _slot; }

    StaticModelObserverIterator& operator++();
    StaticModelObserverIterator operator++(int);
    bool operator==(const StaticModelObserverIterator& other) const { return _slot == other._slot; }
    bool operator!=(const StaticModelObserverIterator& other) const { return _slot != other._slot; }

private:
    char* _slot;
};

/// Walks the events of a registry, in order of creation. Valid until the registry changes.
class OSTREL_EXPORT StaticModelEventIterator
{
public:
    StaticModelEventIterator(StaticModelState* state, char* entry) : _state(state), _entry(entry) {}

    /// Not to be asked at the registry's end.
    int getId() const;
    unsigned int getCount() const;
    StaticModelObserverIterator begin() const;
    StaticModelObserverIterator end() const;

    /// The first place of the observer in the event's list, or `end()`.
    StaticModelObserverIterator findObserver(Observer* observer) const;

    char* getEntry() const { return _entry; }

    /// Stays put at the registry's end.
    StaticModelEventIterator& operator++();
    StaticModelEventIterator operator++(int);
    bool operator==(const StaticModelEventIterator& other) const { return _entry == other._entry; }
    bool operator!=(const StaticModelEventIterator& other) const { return _entry != other._entry; }

private:
    StaticModelState* _state;
    char* _entry;
};

/// The registry of an observable, which observers listen to which events, in one buffer of the caller.
///
/// `docs/observable-format.md` has the layout. Registrations cost 4 bytes each, an event 4 bytes more, or 8 when its id
/// is outside -32767..32766. `PiloObservableImpl` is the class to use; this is what it stands on.
///
///     void fill(char* buffer, Observer* display)
///     {
///         enum { VOLUME_CHANGED = 1 };
///         StaticModelState* registry = StaticModel::create(buffer, 64);
///         StaticModel::addEventAndObserver(registry, VOLUME_CHANGED, display);
///         delete registry;
///     }
///
/// Ownership: the buffer stays the caller's and outlives the state; observers are borrowed.
/// Errors:    codes; a refused operation has changed nothing. A buffer below `MINIMUM_BUFFER_SIZE` stops the process.
///            What the buffer holds is trusted.
class OSTREL_EXPORT StaticModel
{
public:
    static constexpr unsigned int MINIMUM_BUFFER_SIZE = 12; ///< Bytes.

    /// Clears the buffer and makes it an empty registry of any alignment. The state is the caller's to delete; null
    /// when memory is exhausted.
    static StaticModelState* create(char* buffer, const uint16_t& size);

    static uint16_t capacity(const StaticModelState* state); ///< The bytes of the buffer.
    static uint16_t size(const StaticModelState* state);     ///< The bytes in use, with the registry's header.
    /// Whether `bytes` more do not fit.
    static bool insufficentMemory(const StaticModelState* state, unsigned int bytes);

    static bool isBigInt(int id);                        ///< Whether an event of this id takes the long header.
    static unsigned int getEntrySize(const char* entry); ///< The bytes of an event with its observers.

    /// All walk the events.
    static StaticModelEventIterator begin(StaticModelState* state);
    static StaticModelEventIterator end(StaticModelState* state);
    static StaticModelEventIterator findEvent(StaticModelState* state, const int& id); ///< Or `end`.

    /// Adds an event without observers. An event that exists stays as it is, but the room is asked for first: in a full
    /// buffer OBSERVABLE_INSUFFICIENT_MEMORY even then.
    static Observable_ReturnCode addEvent(StaticModelState* state, const int& id);

    /// OBSERVABLE_INSUFFICIENT_MEMORY comes before OBSERVABLE_EVENT_NOT_FOUND. An observer may be added repeatedly.
    static Observable_ReturnCode addObserver(StaticModelState* state, const int& id, Observer* observer);

    /// Adds the event too if it is new. OBSERVABLE_INSUFFICIENT_MEMORY if not all of it fits.
    static Observable_ReturnCode addEventAndObserver(StaticModelState* state, const int& id, Observer* observer);

    /// Removes the observer's first registration. The event stays, even without observers.
    /// OBSERVABLE_EVENT_NOT_FOUND, OBSERVABLE_OBSERVER_NOT_FOUND.
    static Observable_ReturnCode removeObserver(StaticModelState* state, const int& id, Observer* observer);

    /// As `removeObserver`, but the event goes with its last observer.
    static Observable_ReturnCode removeEventAndObserver(StaticModelState* state, const int& id, Observer* observer);

    /// Removes the event with all its observers. OBSERVABLE_EVENT_NOT_FOUND.
    static Observable_ReturnCode removeEvent(StaticModelState* state, const int& id);

private:
    OSTREL_LOCAL static StaticModelEventIterator appendEvent(StaticModelState* state, int id);
    OSTREL_LOCAL static void addFirstObserverInternal(StaticModelState* state, const StaticModelEventIterator& event,
                                                      uint32_t word);
    OSTREL_LOCAL static void addObserverInternal(StaticModelState* state, const StaticModelEventIterator& event,
                                                 uint32_t word);
    OSTREL_LOCAL static void removeObserverInternal(StaticModelState* state, const StaticModelEventIterator& event,
                                                    const StaticModelObserverIterator& observer);
    OSTREL_LOCAL static void removeEventInternal(StaticModelState* state, const StaticModelEventIterator& event);
    OSTREL_LOCAL static void moveBuffer(StaticModelState* state, char* start, int delta);
    OSTREL_LOCAL static void changeSize(StaticModelState* state, int delta);
};

} // namespace Ostrel
