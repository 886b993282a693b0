// The checks of bytes from outside: everything that the operations on a map trust. Another process may change the bytes
// meanwhile, so each word is read once, and what was checked is what is used.
#include "ostrel/PropertyMap.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "ostrel/AutoPtr.h"
#include "ostrel/internal/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

/// Ties a word to what was read: the compiler is free to read the bytes a second time, and would not notice that they
/// have changed.
inline uint32_t readOnce(uint32_t word)
{
    __asm__("" : "+r"(word));
    return word;
}

/// A map, outermost or nested, whose header has been found right.
struct MapView
{
    const unsigned char* getValue(uint32_t offset) const { return buffer + offset; }
    const PropertyMap::KeyValuePair* getTable() const
    {
        return reinterpret_cast<const PropertyMap::KeyValuePair*>(buffer + tableOffset);
    }

    const unsigned char* buffer;
    uint32_t position; // in the outermost map
    uint32_t tableOffset;
    unsigned int count;
};

bool readHeader(const unsigned char* buffer, uint32_t size, uint32_t position, MapView* map)
{
    if (size < PROPERTY_MAP_HEADER_SIZE)
        return false;
    const uint32_t mapSize = readOnce(loadMapSize(buffer));
    const uint32_t tableOffset = readOnce(loadTableOffset(buffer));
    if (mapSize < PROPERTY_MAP_HEADER_SIZE || mapSize > PROPERTY_MAP_MAX_SIZE || mapSize > size)
        return false;
    if (tableOffset < PROPERTY_MAP_HEADER_SIZE || tableOffset > mapSize ||
        (mapSize - tableOffset) % PROPERTY_MAP_ENTRY_SIZE != 0)
        return false;
    *map = {buffer, position, tableOffset, (mapSize - tableOffset) / PROPERTY_MAP_ENTRY_SIZE};
    return true;
}

/// What an entry said when it was read.
struct Record
{
    int key;
    unsigned int type;
    uint32_t offset;
    uint32_t size; // of the value in the value area, 0 when it has none there
};

/// 0 when the value leaves the value area.
uint32_t readValueSize(const MapView& map, unsigned int type, uint32_t offset)
{
    if (offset < PROPERTY_MAP_HEADER_SIZE || offset >= map.tableOffset)
        return 0;
    const uint32_t room = map.tableOffset - offset;
    const unsigned char* value = map.getValue(offset);
    uint64_t size = 0;
    switch (type) {
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
            size = static_cast<uint64_t>(readOnce(loadU32(value))) + PROPERTY_MAP_LENGTH_SIZE;
        break;
    }
    return size <= room ? static_cast<uint32_t>(size) : 0;
}

/// False when the entry is broken by itself.
bool readRecord(const MapView& map, const PropertyMap::KeyValuePair* pair, Record* record)
{
    PropertyMapEntry entry(pair);
    entry.tag = readOnce(entry.tag);
    entry.word = readOnce(entry.word);
    *record = {entry.getKey(), entry.getRawType(), entry.getValueOffset(), 0};
    if (record->type > PM_TYPE_PROPERTY_MAP || entry.isLong() == isShortKey(record->key))
        return false;
    if (record->type == PM_TYPE_BOOL)
        return record->offset <= 1;
    if (!entry.isOffsetStored())
        return true;
    record->size = readValueSize(map, record->type, record->offset);
    return record->size != 0;
}

/// A stretch of the outermost map's value area with a mark for each byte that belongs to a value. Bytes outside the
/// stretch are passed over.
class ByteMarks
{
public:
    static const uint32_t BYTES_A_WORD = 64;

    /// `words` has one for each `BYTES_A_WORD` bytes from `start` to `end`.
    ByteMarks(uint64_t* words, uint32_t start, uint32_t end) : _words(words), _start(start), _end(end)
    {
        memset(words, 0, getWordCount(end - start) * sizeof(*words));
    }

    static size_t getWordCount(uint32_t length) { return (length + BYTES_A_WORD - 1) / BYTES_A_WORD; }

    bool touches(uint32_t first, uint32_t end) const { return first < _end && end > _start; }

    /// That of the byte at `place`, or the nearest.
    const uint64_t* getWord(uint32_t place) const
    {
        return _words + (std::min(std::max(place, _start), _end - 1) - _start) / BYTES_A_WORD;
    }

    bool areFree(uint32_t first, uint32_t end) const
    {
        const Words words = find(first, end);
        uint64_t taken = 0;
        for (size_t i = 0; i < words.count; ++i)
            taken |= words.first[i] & words.getBits(i);
        return taken == 0;
    }

    void set(uint32_t first, uint32_t end)
    {
        const Words words = find(first, end);
        for (size_t i = 0; i < words.count; ++i)
            words.first[i] |= words.getBits(i);
    }

    /// False when one of the bytes has its mark already.
    bool take(uint32_t first, uint32_t end)
    {
        const bool wereFree = areFree(first, end);
        set(first, end);
        return wereFree;
    }

private:
    /// The words that some bytes' marks are in.
    struct Words
    {
        uint64_t getBits(size_t index) const
        {
            return (index == 0 ? firstBits : ALL) & (index == count - 1 ? lastBits : ALL);
        }

        uint64_t* first;
        size_t count;
        uint64_t firstBits;
        uint64_t lastBits;
    };

    Words find(uint32_t first, uint32_t end) const
    {
        first = std::max(first, _start) - _start;
        end = std::min(std::max(end, _start), _end) - _start;
        if (first >= end)
            return {nullptr, 0, 0, 0};
        const uint32_t word = first / BYTES_A_WORD;
        return {_words + word, (end - 1) / BYTES_A_WORD - word + 1, ALL << first % BYTES_A_WORD,
                ALL >> (BYTES_A_WORD - 1 - (end - 1) % BYTES_A_WORD)};
    }

    static const uint64_t ALL = ~uint64_t(0);

    uint64_t* _words;
    uint32_t _start;
    uint32_t _end;
};

bool checkMap(const MapView& map, ByteMarks& marks, unsigned int depth);

/// The value itself, and that no byte of it is another's. What a nested map holds is marked within its own bytes while
/// they are still free; afterwards they are taken as a whole.
bool checkValue(const MapView& map, const Record& record, ByteMarks& marks, unsigned int depth)
{
    const uint32_t first = map.position + record.offset;
    const uint32_t end = first + record.size;
    if (record.type != PM_TYPE_PROPERTY_MAP)
        return marks.take(first, end);
    // Each byte is in some stretch, so that each map is looked at.
    if (!marks.touches(first, end))
        return true;
    MapView nested;
    if (depth == 0 || !marks.areFree(first, end) ||
        !readHeader(map.getValue(record.offset) + PROPERTY_MAP_LENGTH_SIZE, record.size - PROPERTY_MAP_LENGTH_SIZE,
                    first + PROPERTY_MAP_LENGTH_SIZE, &nested) ||
        !checkMap(nested, marks, depth - 1))
        return false;
    marks.set(first, end);
    return true;
}

/// Where a value probably is, without any trust in it.
inline uint32_t guessOffset(const MapView& map, const PropertyMap::KeyValuePair* pair)
{
    return std::min(PropertyMapEntry(pair).getValueOffset(), map.tableOffset);
}

/// The values together must not be more than the value area, which also bounds the time that looking for the ends of
/// texts takes: without it every entry could name the same long one where there are no marks.
bool checkMap(const MapView& map, ByteMarks& marks, unsigned int depth)
{
    uint32_t valueRoom = map.tableOffset - PROPERTY_MAP_HEADER_SIZE;
    int lastKey = 0;
    const PropertyMap::KeyValuePair* table = map.getTable();
    // Values need not lie in the order of their keys. Asked for early, what is far apart is there when its turn comes.
    const unsigned int AHEAD = 12;
    for (unsigned int i = 0; i < map.count; ++i) {
        if (map.count - i > AHEAD) {
            const uint32_t offset = guessOffset(map, table + i + AHEAD);
            __builtin_prefetch(map.getValue(offset));
            __builtin_prefetch(marks.getWord(map.position + offset), 1);
        }
        Record record;
        if (!readRecord(map, table + i, &record) || (i != 0 && record.key <= lastKey) || record.size > valueRoom)
            return false;
        lastKey = record.key;
        valueRoom -= record.size;
        if (record.size != 0 && !checkValue(map, record, marks, depth))
            return false;
    }
    return true;
}

const uint32_t STRETCH = 32768; // 4 KB of stack

/// Without the heap: large maps are gone through once for each stretch, which takes long but little stack.
[[gnu::noinline]] bool checkInStretches(const MapView& map)
{
    uint64_t words[STRETCH / ByteMarks::BYTES_A_WORD];
    for (uint32_t start = 0; start < map.tableOffset; start += STRETCH) {
        ByteMarks marks(words, start, std::min(start + STRETCH, map.tableOffset));
        if (!checkMap(map, marks, PropertyMap::MAX_CHECKED_DEPTH))
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
    _mapSize = readOnce(loadBE32(_next));
    _next += sizeof(uint32_t);
    if (_mapSize < PROPERTY_MAP_HEADER_SIZE || _mapSize > PROPERTY_MAP_MAX_SIZE)
        return false;
    while (has(1)) {
        const unsigned char typeByte = *_next++;
        if (typeByte == PM_MAX_TYPE)
            return true;
        if (!checkRecord(typeByte) || _neededSize > _mapSize)
            return false;
    }
    return false;
}

bool FormCheck::checkRecord(unsigned char typeByte)
{
    if (!has(sizeof(uint32_t)))
        return false;
    const int key = static_cast<int>(readOnce(loadBE32(_next)));
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
    const uint64_t size = static_cast<uint64_t>(readOnce(loadBE32(_next))) + PROPERTY_MAP_LENGTH_SIZE;
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
    MapView map;
    if (buffer == nullptr || !readHeader(buffer, size, 0, &map))
        return false;
    if (map.tableOffset > STRETCH) {
        const AutoPtr<uint64_t[]> words(new (std::nothrow) uint64_t[ByteMarks::getWordCount(map.tableOffset)]);
        if (words) {
            ByteMarks marks(words.get(), 0, map.tableOffset);
            return checkMap(map, marks, MAX_CHECKED_DEPTH);
        }
    }
    return checkInStretches(map);
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
