// The checks of bytes from outside: everything that the operations on a map trust.
#include "ostrel/PropertyMap.h"

#include "ostrel/internal/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

/// A buffer whose header has been found right.
struct MapView
{
    const unsigned char* buffer;
    uint32_t tableOffset;
    unsigned int count;

    const PropertyMap::KeyValuePair* getTable() const
    {
        return reinterpret_cast<const PropertyMap::KeyValuePair*>(buffer + tableOffset);
    }
};

bool checkHeader(const unsigned char* buffer, uint32_t size, MapView* map)
{
    if (buffer == nullptr || size < PROPERTY_MAP_HEADER_SIZE)
        return false;
    const uint32_t mapSize = loadU32(buffer);
    const uint32_t tableOffset = loadU32(buffer + 4);
    if (mapSize < PROPERTY_MAP_HEADER_SIZE || mapSize > PROPERTY_MAP_MAX_SIZE || mapSize > size)
        return false;
    if (tableOffset < PROPERTY_MAP_HEADER_SIZE || tableOffset > mapSize ||
        (mapSize - tableOffset) % PROPERTY_MAP_ENTRY_SIZE != 0)
        return false;
    *map = {buffer, tableOffset, (mapSize - tableOffset) / PROPERTY_MAP_ENTRY_SIZE};
    return true;
}

/// The size of the value of a checked entry, 0 when it has none in the value area or leaves that.
uint32_t getCheckedValueSize(const MapView& map, const PropertyMap::KeyValuePair* entry)
{
    const uint32_t offset = getEntryValue(entry);
    if (!isEntryOffsetStored(entry) || offset < PROPERTY_MAP_HEADER_SIZE || offset >= map.tableOffset)
        return 0;
    const uint32_t room = map.tableOffset - offset;
    const unsigned char* value = map.buffer + offset;
    uint64_t size = 0;
    switch (getRawType(entry)) {
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        size = sizeof(uint32_t);
        break;
    case PM_TYPE_DOUBLE:
        size = sizeof(uint64_t);
        break;
    case PM_TYPE_STRING: {
        const void* terminator = memchr(value, '\0', room);
        if (terminator != nullptr)
            size = static_cast<uint32_t>(static_cast<const unsigned char*>(terminator) - value) + 1;
        break;
    }
    default:
        if (room >= PROPERTY_MAP_LENGTH_SIZE)
            size = static_cast<uint64_t>(loadU32(value)) + PROPERTY_MAP_LENGTH_SIZE;
        break;
    }
    return size <= room ? static_cast<uint32_t>(size) : 0;
}

bool checkEntry(const MapView& map, const PropertyMap::KeyValuePair* entry, uint32_t* valueSize)
{
    *valueSize = 0;
    if (getRawType(entry) > PM_TYPE_PROPERTY_MAP || isLongEntry(entry) == isShortKey(getEntryKey(entry)))
        return false;
    if (getRawType(entry) == PM_TYPE_BOOL)
        return getEntryValue(entry) <= 1;
    if (!isEntryOffsetStored(entry))
        return true;
    *valueSize = getCheckedValueSize(map, entry);
    return *valueSize != 0;
}

/// Entries one by one. The values together must not be more than the value area, which also bounds the time that
/// looking for the ends of texts takes: without it every entry could name the same long one.
bool checkEntries(const MapView& map)
{
    uint32_t valueRoom = map.tableOffset - PROPERTY_MAP_HEADER_SIZE;
    const PropertyMap::KeyValuePair* table = map.getTable();
    for (unsigned int i = 0; i < map.count; ++i) {
        if (i != 0 && getEntryKey(table + i) <= getEntryKey(table + i - 1))
            return false;
        uint32_t size;
        if (!checkEntry(map, table + i, &size) || size > valueRoom)
            return false;
        valueRoom -= size;
    }
    return true;
}

/// A stretch of the value area with a mark for each byte.
class ByteMarks
{
public:
    static const uint32_t LENGTH = 32768;

    /// False when one of the bytes has its mark already. Bytes outside the stretch are passed over.
    bool mark(uint32_t first, uint32_t end, uint32_t start)
    {
        first = first > start ? first - start : 0;
        end = end < start ? 0 : end - start < LENGTH ? end - start : LENGTH;
        while (first < end) {
            const uint32_t bit = first % 32;
            const uint32_t count = end - first < 32 - bit ? end - first : 32 - bit;
            const uint32_t bits = (count == 32 ? 0xFFFFFFFFu : (1u << count) - 1) << bit;
            if ((_words[first / 32] & bits) != 0)
                return false;
            _words[first / 32] |= bits;
            first += count;
        }
        return true;
    }

private:
    uint32_t _words[LENGTH / 32] = {};
};

/// Whether no byte of this stretch belongs to two values. Apart, since the marks are too much stack to keep through
/// the nested maps.
[[gnu::noinline]] bool checkStretch(const MapView& map, uint32_t start)
{
    ByteMarks marks;
    const PropertyMap::KeyValuePair* entry = map.getTable();
    for (unsigned int left = map.count; left != 0; --left, ++entry) {
        const uint32_t offset = getEntryValue(entry);
        if (!isEntryOffsetStored(entry) || offset >= start + ByteMarks::LENGTH)
            continue;
        const uint32_t size = getCheckedValueSize(map, entry);
        if (!marks.mark(offset, offset + size, start))
            return false;
    }
    return true;
}

bool checkMap(const unsigned char* buffer, uint32_t size, unsigned int depth)
{
    MapView map;
    if (!checkHeader(buffer, size, &map) || !checkEntries(map))
        return false;
    for (uint32_t start = PROPERTY_MAP_HEADER_SIZE; start < map.tableOffset; start += ByteMarks::LENGTH) {
        if (!checkStretch(map, start))
            return false;
    }
    const PropertyMap::KeyValuePair* entry = map.getTable();
    for (unsigned int left = map.count; left != 0; --left, ++entry) {
        if (getRawType(entry) != PM_TYPE_PROPERTY_MAP)
            continue;
        const unsigned char* value = buffer + getEntryValue(entry);
        if (depth == 0 || !checkMap(value + PROPERTY_MAP_LENGTH_SIZE, loadU32(value), depth - 1))
            return false;
    }
    return true;
}

/// Walks one externalized form without leaving its bytes.
class FormCheck
{
public:
    FormCheck(const unsigned char* data, uint32_t length, unsigned int depth)
        : _next(data), _end(data + length), _depth(depth)
    {}

    bool run();

    const unsigned char* getNext() const { return _next; }
    uint32_t getMapSize() const { return _mapSize; }

private:
    bool has(uint64_t length) const { return static_cast<uint64_t>(_end - _next) >= length; }
    bool skip(uint64_t length);
    bool checkRecord(unsigned char typeByte);
    bool skipText();
    bool skipBinary();
    bool skipNestedForm();

    const unsigned char* _next;
    const unsigned char* _end;
    unsigned int _depth;
    uint32_t _mapSize = 0;
    uint64_t _neededSize = PROPERTY_MAP_HEADER_SIZE; // what the records read so far take in a buffer
    int _lastKey = 0;
};

bool FormCheck::skip(uint64_t length)
{
    if (!has(length))
        return false;
    _next += length;
    return true;
}

bool FormCheck::run()
{
    if (!has(sizeof(uint32_t)))
        return false;
    _mapSize = loadBE32(_next);
    _next += sizeof(uint32_t);
    if (_mapSize < PROPERTY_MAP_HEADER_SIZE || _mapSize > PROPERTY_MAP_MAX_SIZE)
        return false;
    while (has(1) && *_next != PM_MAX_TYPE) {
        if (!checkRecord(*_next++) || _neededSize > _mapSize)
            return false;
    }
    return skip(1);
}

bool FormCheck::checkRecord(unsigned char typeByte)
{
    if (!has(sizeof(uint32_t)))
        return false;
    const int key = static_cast<int>(loadBE32(_next));
    _next += sizeof(uint32_t);
    if (_neededSize != PROPERTY_MAP_HEADER_SIZE && key <= _lastKey)
        return false;
    _lastKey = key;
    _neededSize += PROPERTY_MAP_ENTRY_SIZE;

    switch (typeByte) {
    case PM_TYPE_BOOL:
    case PROPERTY_MAP_FORM_TRUE:
        return true;
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        _neededSize += isShortKey(key) ? 0 : sizeof(uint32_t);
        return skip(sizeof(uint32_t));
    case PM_TYPE_DOUBLE:
        _neededSize += sizeof(uint64_t);
        return skip(sizeof(uint64_t));
    case PM_TYPE_STRING:
        return skipText();
    case PM_TYPE_BINARY:
        return skipBinary();
    case PM_TYPE_PROPERTY_MAP:
        return skipNestedForm();
    default:
        return false;
    }
}

bool FormCheck::skipText()
{
    if (!has(1))
        return false;
    const void* terminator = memchr(_next, '\0', static_cast<size_t>(_end - _next));
    if (terminator == nullptr)
        return false;
    const unsigned char* behind = static_cast<const unsigned char*>(terminator) + 1;
    _neededSize += static_cast<uint64_t>(behind - _next);
    _next = behind;
    return true;
}

bool FormCheck::skipBinary()
{
    if (!has(PROPERTY_MAP_LENGTH_SIZE))
        return false;
    const uint64_t size = static_cast<uint64_t>(loadBE32(_next)) + PROPERTY_MAP_LENGTH_SIZE;
    _neededSize += size;
    return skip(size);
}

bool FormCheck::skipNestedForm()
{
    if (_depth == 0)
        return false;
    FormCheck nested(_next, static_cast<uint32_t>(_end - _next), _depth - 1);
    if (!nested.run())
        return false;
    _neededSize += static_cast<uint64_t>(nested.getMapSize()) + PROPERTY_MAP_LENGTH_SIZE;
    _next = nested.getNext();
    return true;
}

} // namespace

bool PropertyMap::isWellFormed(const unsigned char* buffer, unsigned int size)
{
    return checkMap(buffer, size, MAX_CHECKED_DEPTH);
}

bool PropertyMap::isWellFormedExternalized(const unsigned char* data, unsigned int length, unsigned int* consumed)
{
    if (data == nullptr)
        return false;
    FormCheck check(data, length, MAX_CHECKED_DEPTH);
    if (!check.run())
        return false;
    if (consumed != nullptr)
        *consumed = static_cast<unsigned int>(check.getNext() - data);
    return true;
}
