#include <cstring>

#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"
#include "tools/ostrel-inspect/MapLayout.h"
#include "tools/ostrel-inspect/MapTree.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

namespace {

/// Reads one form; a nested one has a reader of its own. Behind a fault there is nothing to go on with.
class FormReader
{
public:
    FormReader(const Bytes& file, const unsigned char* form, unsigned int depth, Faults* faults, MapTree* tree)
        : _file(file),
          _form(form),
          _next(form),
          _end(file.data + file.size),
          _depth(depth),
          _faults(faults),
          _tree(*tree)
    {}

    bool run();
    const unsigned char* getEnd() const { return _next; }

private:
    size_t getRoom() const { return static_cast<size_t>(_end - _next); }
    bool take(uint64_t size, const char* what, MapEntry* entry);
    bool readSize();
    bool readRecords();
    bool readRecord(unsigned int typeByte);
    bool readBody(unsigned int typeByte, MapEntry* entry);
    bool readText(MapEntry* entry);
    bool readBinary(MapEntry* entry);
    bool readNested(MapEntry* entry);

    bool refuse(const unsigned char* place, const std::string& why)
    {
        _faults->add(_file.locate(place), why);
        return false;
    }

    const Bytes& _file;
    const unsigned char* _form;
    const unsigned char* _next;
    const unsigned char* _end; ///< Of the file.
    unsigned int _depth;
    Faults* _faults;
    MapTree& _tree;
    uint64_t _neededSize = MAP_HEADER_SIZE; ///< In a buffer, for what was read so far.
};

bool FormReader::run()
{
    _tree.isForm = true;
    _tree.offset = _file.locate(_form);
    const bool isGood = readSize() && readRecords();
    _tree.size = static_cast<uint32_t>(_next - _form);
    _tree.freeSpace = isGood ? static_cast<uint32_t>(_tree.bufferSize - _neededSize) : 0;
    return isGood;
}

bool FormReader::readSize()
{
    MapEntry word{};
    if (!take(sizeof(uint32_t), "size", &word))
        return false;
    const uint32_t size = Ostrel::loadBE32(word.data);
    if (!isMapSize(size))
        return refuse(_form, "the size " + std::to_string(size) + " is outside 8..16777215");
    _tree.bufferSize = size;
    return true;
}

/// Takes the next bytes as the entry's value.
bool FormReader::take(uint64_t size, const char* what, MapEntry* entry)
{
    if (getRoom() < size)
        return refuse(_end, std::string("the end is inside a ") + what);
    entry->data = _next;
    entry->size = static_cast<uint32_t>(size);
    _next += size;
    return true;
}

bool FormReader::readRecords()
{
    while (getRoom() != 0) {
        const unsigned char* const start = _next;
        const unsigned int typeByte = *_next++;
        if (typeByte == PM_MAX_TYPE)
            return true;
        if (!readRecord(typeByte))
            return false;
        if (_neededSize > _tree.bufferSize)
            return refuse(start, "up to here the map needs " + std::to_string(_neededSize) +
                                     " bytes, and its size is " + std::to_string(_tree.bufferSize));
    }
    return refuse(_end, "the end of the map, a byte 08, is missing");
}

bool FormReader::readRecord(unsigned int typeByte)
{
    const unsigned char* const start = _next - 1;
    MapEntry entry{};
    if (!take(sizeof(uint32_t), "key", &entry))
        return false;
    entry.key = static_cast<int>(Ostrel::loadBE32(entry.data));
    entry.type = typeByte == FORM_TRUE ? 0u + PM_TYPE_BOOL : typeByte;
    const std::string name = "key " + std::to_string(entry.key);
    if (!_tree.entries.empty() && entry.key <= _tree.entries.back().key)
        return refuse(start, name + " is not above the one before it");
    _neededSize += MAP_ENTRY_SIZE;
    if (entry.type > PM_TYPE_PROPERTY_MAP)
        return refuse(start, name + " has the unknown type " + std::to_string(typeByte));
    const bool isGood = readBody(typeByte, &entry);
    if (isGood || entry.nested) {
        entry.offset = _file.locate(entry.data);
        _tree.entries.push_back(std::move(entry));
    }
    return isGood;
}

bool FormReader::readBody(unsigned int typeByte, MapEntry* entry)
{
    switch (entry->type) {
    case PM_TYPE_BOOL: // the type byte is the value
        entry->data = _next - sizeof(uint32_t) - 1;
        entry->size = 1;
        entry->bits = typeByte == FORM_TRUE ? 1 : 0;
        return true;
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        _neededSize += isShortKey(entry->key) ? 0 : sizeof(uint32_t);
        if (!take(sizeof(uint32_t), "number", entry))
            return false;
        entry->bits = Ostrel::loadBE32(entry->data);
        return true;
    case PM_TYPE_DOUBLE:
        _neededSize += sizeof(uint64_t);
        if (!take(sizeof(uint64_t), "number", entry))
            return false;
        entry->bits = Ostrel::loadBE64(entry->data);
        return true;
    case PM_TYPE_STRING:
        return readText(entry);
    case PM_TYPE_BINARY:
        return readBinary(entry);
    default:
        return readNested(entry);
    }
}

bool FormReader::readText(MapEntry* entry)
{
    const size_t size = strnlen(reinterpret_cast<const char*>(_next), getRoom()) + 1;
    _neededSize += size;
    return take(size, "text", entry);
}

bool FormReader::readBinary(MapEntry* entry)
{
    if (!take(MAP_LENGTH_SIZE, "length", entry))
        return false;
    const uint32_t size = Ostrel::loadBE32(entry->data);
    _neededSize += uint64_t(size) + MAP_LENGTH_SIZE;
    return take(size, "value", entry);
}

bool FormReader::readNested(MapEntry* entry)
{
    if (_depth == 0)
        return refuse(_next, "maps are nested too deep");
    entry->nested = std::make_unique<MapTree>();
    FormReader reader(_file, _next, _depth - 1, _faults, entry->nested.get());
    const bool isGood = reader.run();
    entry->data = _next;
    entry->size = entry->nested->size;
    _next = reader.getEnd();
    _neededSize += uint64_t(entry->nested->bufferSize) + MAP_LENGTH_SIZE;
    return isGood;
}

} // namespace

MapTree readForm(const Bytes& bytes, Faults* faults)
{
    MapTree tree;
    FormReader(bytes, bytes.data, PropertyMap::MAX_CHECKED_DEPTH, faults, &tree).run();
    return tree;
}

} // namespace Inspect
