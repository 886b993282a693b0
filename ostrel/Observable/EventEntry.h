/// One event entry of a registry buffer, read and written in place. `docs/observable-format.md` has the layout.
///
/// The count is a field of fixed bytes; ids and observer words are in host byte order at any address.
#pragma once

#include "ostrel/Unaligned.h"

namespace Ostrel {

class EventEntry
{
public:
    static constexpr unsigned int SHORT_HEADER_SIZE = 4;
    static constexpr unsigned int LONG_HEADER_SIZE = 8;
    static constexpr unsigned int OBSERVER_SIZE = 4;

    explicit EventEntry(char* entry) : _entry(entry) {}

    /// The first four bytes of an entry without observers.
    void writeShortHeader(int id)
    {
        storeU16(_entry, static_cast<uint16_t>(id));
        storeU16(_entry + 2, 0);
    }

    void writeLongHeader(int id)
    {
        storeHeader(LONG_FORM);
        storeU32(_entry + 4, static_cast<uint32_t>(id));
    }

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

    /// Byte 0 lowest on every host; compilers make it one load where the host agrees.
    uint32_t loadHeader() const
    {
        const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(_entry);
        return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
               static_cast<uint32_t>(bytes[3]) << 24;
    }

    void storeHeader(uint32_t header)
    {
        for (int i = 0; i < 4; ++i)
            _entry[i] = static_cast<char>(static_cast<unsigned char>(header >> 8 * i));
    }

    char* _entry;
};

/// The entry of the event, or the end of the bytes in use.
inline char* findEventEntry(char* buffer, int id)
{
    char* const last = buffer + loadU16(buffer);
    char* entry = buffer + 4;
    while (entry != last && EventEntry(entry).getId() != id)
        entry += EventEntry(entry).getSize();
    return entry;
}

} // namespace Ostrel
