/// Not installed: internal to the library.
///
/// One event entry of a registry buffer, read and written in place. `docs/observable-format.md` has the layout.
///
/// The count is a field of fixed bytes; ids and observer words are in host byte order at any address.
#pragma once

#include <endian.h>

#include "ostrel/Unaligned.h"

namespace Ostrel {

namespace RegistryOffset {
enum { USED_SIZE = 0, CAPACITY = 2, ENTRIES = 4 };
}

class EventEntry
{
public:
    static constexpr unsigned int SHORT_HEADER_SIZE = 4;
    static constexpr unsigned int LONG_HEADER_SIZE = 8;
    static constexpr unsigned int OBSERVER_SIZE = 4;

    explicit EventEntry(char* entry) : _entry(entry) {}

    /// An entry without observers. The id's bytes are in host order, though the count behind them is not. One store, as
    /// every later look at the header is one load.
    void writeShortHeader(int id) { storeHeader(htole16(static_cast<uint16_t>(id))); }

    void writeLongHeader(int id)
    {
        storeHeader(LONG_FORM);
        storeU32(_entry + 4, static_cast<uint32_t>(id));
    }

    char* getAddress() const { return _entry; }
    bool isLong() const { return isLong(loadHeader()); }
    unsigned int getHeaderSize() const { return isLong() ? LONG_HEADER_SIZE : SHORT_HEADER_SIZE; }
    unsigned int getSize() const { return getHeaderSize() + OBSERVER_SIZE * getCount(); }
    char* getObservers() const { return _entry + getHeaderSize(); }
    char* getObserversEnd() const { return _entry + getSize(); }

    int getId() const
    {
        return isLong() ? static_cast<int>(loadU32(_entry + 4)) : static_cast<int16_t>(loadU16(_entry));
    }

    unsigned int getCount() const
    {
        const uint32_t header = loadHeader();
        return isLong(header) ? header & ~LONG_FORM : (header & ~LONG_FORM) >> 16;
    }

    /// Keeps the form and, in the short one, the id.
    void setCount(unsigned int count)
    {
        const uint32_t header = loadHeader();
        storeHeader(isLong(header) ? LONG_FORM | count : (header & 0xFFFF) | count << 16);
    }

private:
    static constexpr uint32_t LONG_FORM = 0x80000000u;

    static bool isLong(uint32_t header) { return (header & LONG_FORM) != 0; }

    /// Byte 0 lowest on every host.
    uint32_t loadHeader() const { return le32toh(loadU32(_entry)); }
    void storeHeader(uint32_t header) { storeU32(_entry, htole32(header)); }

    char* _entry;
};

/// The entry of the event, or the place behind the last one.
inline EventEntry findEventEntry(char* buffer, int id)
{
    char* const last = buffer + loadU16(buffer + RegistryOffset::USED_SIZE);
    EventEntry entry(buffer + RegistryOffset::ENTRIES);
    while (entry.getAddress() != last && entry.getId() != id)
        entry = EventEntry(entry.getAddress() + entry.getSize());
    return entry;
}

} // namespace Ostrel
