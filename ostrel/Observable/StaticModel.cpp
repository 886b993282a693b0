#include "ostrel/Observable/StaticModel.h"

#include <cstring>
#include <new>

#include "ostrel/Assert.h"
#include "ostrel/internal/EventEntry.h"
#include "ostrel/internal/ObserverWord.h"

namespace Ostrel {

namespace {

unsigned int getEventHeaderSize(int id)
{
    return StaticModel::isBigInt(id) ? EventEntry::LONG_HEADER_SIZE : EventEntry::SHORT_HEADER_SIZE;
}

/// False when there is no memory to note the address of the observer, on hosts where that takes some.
bool makeWord(Observer* observer, uint32_t& word)
{
    word = observerWord(observer);
    return word != 0 || observer == nullptr;
}

/// The first place of an observer in an event's list, or the code that says which of the two is missing.
struct Registration
{
    Observable_ReturnCode code;
    StaticModelEventIterator event;
    StaticModelObserverIterator slot;
};

inline Registration findRegistration(StaticModelState* state, int id, Observer* observer)
{
    const StaticModelEventIterator event = StaticModel::findEvent(state, id);
    if (event == StaticModel::end(state))
        return {OBSERVABLE_EVENT_NOT_FOUND, event, StaticModelObserverIterator(nullptr)};
    const StaticModelObserverIterator slot = event.findObserver(observer);
    return {slot == event.end() ? OBSERVABLE_OBSERVER_NOT_FOUND : OBSERVABLE_OK, event, slot};
}

} // namespace

Observer* StaticModelObserverIterator::operator*() const
{
    return observerFromWord(loadU32(_slot));
}

StaticModelObserverIterator& StaticModelObserverIterator::operator++()
{
    _slot += EventEntry::OBSERVER_SIZE;
    return *this;
}

StaticModelObserverIterator StaticModelObserverIterator::operator++(int)
{
    const StaticModelObserverIterator before = *this;
    ++*this;
    return before;
}

int StaticModelEventIterator::getId() const
{
    return EventEntry(_entry).getId();
}

unsigned int StaticModelEventIterator::getCount() const
{
    return EventEntry(_entry).getCount();
}

StaticModelObserverIterator StaticModelEventIterator::begin() const
{
    return StaticModelObserverIterator(EventEntry(_entry).getObservers());
}

StaticModelObserverIterator StaticModelEventIterator::end() const
{
    return StaticModelObserverIterator(EventEntry(_entry).getObserversEnd());
}

StaticModelObserverIterator StaticModelEventIterator::findObserver(Observer* observer) const
{
    const StaticModelObserverIterator last = end();
    StaticModelObserverIterator found = begin();
    while (found != last && *found != observer)
        ++found;
    return found;
}

StaticModelEventIterator& StaticModelEventIterator::operator++()
{
    if (*this != StaticModel::end(_state))
        _entry += StaticModel::getEntrySize(_entry);
    return *this;
}

StaticModelEventIterator StaticModelEventIterator::operator++(int)
{
    const StaticModelEventIterator before = *this;
    ++*this;
    return before;
}

StaticModelState* StaticModel::create(char* buffer, const uint16_t& size)
{
    OSTREL_ASSERT_TEXT(size >= MINIMUM_BUFFER_SIZE, "size >= MINIMUM_BUFFER_SIZE");
    memset(buffer, 0, size);
    storeU16(buffer + RegistryOffset::USED_SIZE, RegistryOffset::ENTRIES);
    storeU16(buffer + RegistryOffset::CAPACITY, size);
    return new (std::nothrow) StaticModelState{buffer};
}

uint16_t StaticModel::capacity(const StaticModelState* state)
{
    return loadU16(state->buffer + RegistryOffset::CAPACITY);
}

uint16_t StaticModel::size(const StaticModelState* state)
{
    return loadU16(state->buffer + RegistryOffset::USED_SIZE);
}

bool StaticModel::insufficentMemory(const StaticModelState* state, unsigned int bytes)
{
    return uint64_t{size(state)} + bytes > capacity(state); // 64 bits: any number of bytes may be asked for
}

bool StaticModel::isBigInt(int id)
{
    // -32768 and 32767 would fit the short form, but every reader of the format expects them in the long one.
    return static_cast<unsigned int>(id) + 32767u > 65533u;
}

unsigned int StaticModel::getEntrySize(const char* entry)
{
    return EventEntry(const_cast<char*>(entry)).getSize();
}

StaticModelEventIterator StaticModel::begin(StaticModelState* state)
{
    return StaticModelEventIterator(state, state->buffer + RegistryOffset::ENTRIES);
}

StaticModelEventIterator StaticModel::end(StaticModelState* state)
{
    return StaticModelEventIterator(state, state->buffer + size(state));
}

StaticModelEventIterator StaticModel::findEvent(StaticModelState* state, const int& id)
{
    return StaticModelEventIterator(state, findEventEntry(state->buffer, id).getAddress());
}

Observable_ReturnCode StaticModel::addEvent(StaticModelState* state, const int& id)
{
    // The room comes first, so that a known event is refused too by a full buffer: see docs/compatibility.md.
    if (insufficentMemory(state, getEventHeaderSize(id)))
        return OBSERVABLE_INSUFFICIENT_MEMORY;
    if (findEvent(state, id) == end(state))
        appendEvent(state, id);
    return OBSERVABLE_OK;
}

Observable_ReturnCode StaticModel::addObserver(StaticModelState* state, const int& id, Observer* observer)
{
    if (insufficentMemory(state, EventEntry::OBSERVER_SIZE))
        return OBSERVABLE_INSUFFICIENT_MEMORY;
    const StaticModelEventIterator event = findEvent(state, id);
    if (event == end(state))
        return OBSERVABLE_EVENT_NOT_FOUND;
    uint32_t word;
    if (!makeWord(observer, word))
        return OBSERVABLE_INSUFFICIENT_MEMORY;

    addObserverInternal(state, event, word);
    return OBSERVABLE_OK;
}

Observable_ReturnCode StaticModel::addEventAndObserver(StaticModelState* state, const int& id, Observer* observer)
{
    const StaticModelEventIterator event = findEvent(state, id);
    const bool isNew = event == end(state);
    const unsigned int needed = EventEntry::OBSERVER_SIZE + (isNew ? getEventHeaderSize(id) : 0);
    uint32_t word;
    if (insufficentMemory(state, needed) || !makeWord(observer, word))
        return OBSERVABLE_INSUFFICIENT_MEMORY;

    if (isNew) {
        addFirstObserverInternal(state, appendEvent(state, id), word);
    } else {
        addObserverInternal(state, event, word);
    }
    return OBSERVABLE_OK;
}

Observable_ReturnCode StaticModel::removeObserver(StaticModelState* state, const int& id, Observer* observer)
{
    const Registration found = findRegistration(state, id, observer);
    if (found.code == OBSERVABLE_OK)
        removeObserverInternal(state, found.event, found.slot);
    return found.code;
}

Observable_ReturnCode StaticModel::removeEventAndObserver(StaticModelState* state, const int& id, Observer* observer)
{
    const Registration found = findRegistration(state, id, observer);
    if (found.code != OBSERVABLE_OK)
        return found.code;

    if (found.event.getCount() < 2) {
        removeEventInternal(state, found.event);
    } else {
        removeObserverInternal(state, found.event, found.slot);
    }
    return OBSERVABLE_OK;
}

Observable_ReturnCode StaticModel::removeEvent(StaticModelState* state, const int& id)
{
    const StaticModelEventIterator event = findEvent(state, id);
    if (event == end(state))
        return OBSERVABLE_EVENT_NOT_FOUND;

    removeEventInternal(state, event);
    return OBSERVABLE_OK;
}

/// The room has been tested.
StaticModelEventIterator StaticModel::appendEvent(StaticModelState* state, int id)
{
    const StaticModelEventIterator event = end(state);
    EventEntry entry(event.getEntry());
    if (isBigInt(id)) {
        entry.writeLongHeader(id);
    } else {
        entry.writeShortHeader(id);
    }
    changeSize(state, static_cast<int>(getEventHeaderSize(id)));
    return event;
}

/// For an event that was just appended: nothing is behind it.
void StaticModel::addFirstObserverInternal(StaticModelState* state, const StaticModelEventIterator& event,
                                           uint32_t word)
{
    EventEntry entry(event.getEntry());
    storeU32(entry.getObservers(), word);
    entry.setCount(entry.getCount() + 1);
    changeSize(state, EventEntry::OBSERVER_SIZE);
}

void StaticModel::addObserverInternal(StaticModelState* state, const StaticModelEventIterator& event, uint32_t word)
{
    EventEntry entry(event.getEntry());
    char* const slot = entry.getObserversEnd();
    moveBuffer(state, slot, EventEntry::OBSERVER_SIZE);
    storeU32(slot, word);
    entry.setCount(entry.getCount() + 1);
}

void StaticModel::removeObserverInternal(StaticModelState* state, const StaticModelEventIterator& event,
                                         const StaticModelObserverIterator& observer)
{
    EventEntry entry(event.getEntry());
    moveBuffer(state, observer.getSlot() + EventEntry::OBSERVER_SIZE, -static_cast<int>(EventEntry::OBSERVER_SIZE));
    entry.setCount(entry.getCount() - 1);
}

void StaticModel::removeEventInternal(StaticModelState* state, const StaticModelEventIterator& event)
{
    const unsigned int entrySize = getEntrySize(event.getEntry());
    moveBuffer(state, event.getEntry() + entrySize, -static_cast<int>(entrySize));
}

/// Moves all from `start` to the used end by `delta`, and the used end with it. Freed bytes keep what they hold.
void StaticModel::moveBuffer(StaticModelState* state, char* start, int delta)
{
    char* const last = state->buffer + size(state);
    if (start != last)
        memmove(start + delta, start, static_cast<size_t>(last - start));
    changeSize(state, delta);
}

void StaticModel::changeSize(StaticModelState* state, int delta)
{
    storeU16(state->buffer + RegistryOffset::USED_SIZE, static_cast<uint16_t>(size(state) + delta));
}

} // namespace Ostrel
