#include <algorithm>
#include <cstring>

#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"
#include "tools/ostrel-inspect/MapLayout.h"
#include "tools/ostrel-inspect/MapTree.h"
#include "tools/ostrel-inspect/Output.h"

using Ostrel::loadU32;

namespace Inspect {

namespace {

/// Reads one image; a nested one has a reader of its own.
class ImageReader
{
public:
    /// `room` is how many bytes there are for the image, `depth` how many maps may still nest in it.
    ImageReader(const Bytes& file, const unsigned char* image, uint32_t room, unsigned int depth, Faults* faults)
        : _file(file), _image(image), _room(room), _depth(depth), _faults(faults)
    {}

    MapTree run();

private:
    /// Where a value lies, its length word counted.
    struct Extent
    {
        uint32_t offset;
        uint32_t size;
        int key;
    };

    bool readHeader();
    bool readEntry(const PropertyMap::KeyValuePair* pair);
    bool readStoredValue(uint32_t offset, MapEntry* entry);
    bool readSizedValue(const unsigned char* value, uint32_t room, MapEntry* entry);
    uint32_t measureValue(const unsigned char* value, uint32_t room, const MapEntry& entry);
    void findOverlaps();

    bool refuse(const void* place, const std::string& why)
    {
        _faults->add(_file.locate(static_cast<const unsigned char*>(place)), why);
        return false;
    }

    const Bytes& _file;
    const unsigned char* _image;
    uint32_t _room;
    unsigned int _depth;
    Faults* _faults;
    MapTree _tree;
    uint32_t _tableOffset = 0;
    uint32_t _end = MAP_HEADER_SIZE; ///< Of the value area.
    uint64_t _valuesSize = 0;
    bool _isOverfull = false; ///< No further entry is read.
    std::vector<Extent> _extents;
};

bool ImageReader::readHeader()
{
    if (_room < MAP_HEADER_SIZE)
        return refuse(_image, "an image has a header of 8 bytes, and " + showCount(_room, "is", "are") + " here");
    const uint32_t size = loadU32(_image);
    _tableOffset = loadU32(_image + 4);
    if (!isMapSize(size))
        return refuse(_image, "the size " + std::to_string(size) + " is outside 8..16777215");
    if (size > _room)
        return refuse(_image, "the size is " + std::to_string(size) + ", and " +
                                  showCount(_room, "byte is", "bytes are") + " here");
    if (_tableOffset < MAP_HEADER_SIZE || _tableOffset > size || (size - _tableOffset) % MAP_ENTRY_SIZE != 0)
        return refuse(_image + 4,
                      "the key table cannot be at " + std::to_string(_tableOffset) + " of " + std::to_string(size));
    _tree.size = size;
    _tree.bufferSize = size;
    return true;
}

MapTree ImageReader::run()
{
    _tree.offset = _file.locate(_image);
    if (!readHeader())
        return std::move(_tree);
    const auto* pair = reinterpret_cast<const PropertyMap::KeyValuePair*>(_image + _tableOffset);
    const PropertyMap::KeyValuePair* const end = pair + (_tree.size - _tableOffset) / MAP_ENTRY_SIZE;
    for (const PropertyMap::KeyValuePair* last = nullptr; pair != end && !_isOverfull; last = pair++) {
        if (last != nullptr && PropertyMap::getKey(pair) <= PropertyMap::getKey(last))
            refuse(pair, "key " + std::to_string(PropertyMap::getKey(pair)) + " is not above the one before it");
        readEntry(pair);
    }
    findOverlaps();
    _tree.freeOffset = _file.locate(_image + _end);
    _tree.freeSpace = _tableOffset - _end;
    return std::move(_tree);
}

bool ImageReader::readEntry(const PropertyMap::KeyValuePair* pair)
{
    const int key = PropertyMap::getKey(pair);
    const bool isLong = (pair->bytes[0] & 1) != 0;
    MapEntry entry{key, pair->bytes[0] / 2u, 0, 0, 0, nullptr, nullptr};
    if (entry.type > PM_TYPE_PROPERTY_MAP)
        return refuse(pair, "key " + std::to_string(key) + " has the unknown type " + std::to_string(entry.type));
    if (isLong == isShortKey(key))
        return refuse(pair, "key " + std::to_string(key) + " is written as a " + (isLong ? "long" : "short") + " one");

    const uint32_t value = PropertyMap::getValueOffset(pair);
    if (PropertyMap::isOffsetStored(pair)) {
        if (!readStoredValue(value, &entry))
            return false;
    } else {
        if (entry.type == PM_TYPE_BOOL && value > 1)
            return refuse(pair, "key " + std::to_string(key) + " is a boolean of " + std::to_string(value));
        entry.bits = value;
        entry.data = pair->bytes + (isLong ? 1 : 4);
        entry.size = isLong ? 3 : 4;
    }
    entry.offset = _file.locate(entry.data);
    _tree.entries.push_back(std::move(entry));
    return true;
}

bool ImageReader::readStoredValue(uint32_t offset, MapEntry* entry)
{
    const std::string name = "the value of key " + std::to_string(entry->key);
    if (offset < MAP_HEADER_SIZE || offset >= _tableOffset)
        return refuse(_image + std::min(offset, _tree.size), name + " at " + std::to_string(offset) +
                                                                 " is outside the value area, 8.." +
                                                                 std::to_string(_tableOffset));
    const unsigned char* value = _image + offset;
    const uint32_t size = measureValue(value, _tableOffset - offset, *entry);
    if (size == 0)
        return refuse(value, name + " does not end inside the value area");
    // Without this bound many entries could name the same long value, and take as long as all of them.
    _valuesSize += size;
    _isOverfull = _valuesSize > _tableOffset - MAP_HEADER_SIZE;
    if (_isOverfull)
        return refuse(value, "with " + name + " the values are longer than the value area");
    _extents.push_back({offset, size, entry->key});
    _end = std::max(_end, offset + size);

    const bool hasLength = entry->type >= PM_TYPE_BINARY;
    entry->data = value + (hasLength ? MAP_LENGTH_SIZE : 0);
    entry->size = size - (hasLength ? MAP_LENGTH_SIZE : 0);
    return readSizedValue(value, size, entry);
}

/// 0 when the value leaves the room up to the key table.
uint32_t ImageReader::measureValue(const unsigned char* value, uint32_t room, const MapEntry& entry)
{
    uint64_t size = 0;
    if (entry.type == PM_TYPE_STRING) {
        size = strnlen(reinterpret_cast<const char*>(value), room) + 1;
    } else if (entry.type >= PM_TYPE_BINARY) {
        size = room < MAP_LENGTH_SIZE ? UINT64_MAX : uint64_t(loadU32(value)) + MAP_LENGTH_SIZE;
    } else {
        size = entry.type == PM_TYPE_DOUBLE ? sizeof(double) : sizeof(uint32_t);
    }
    return size <= room ? static_cast<uint32_t>(size) : 0;
}

/// What the bytes of a value mean, once they are known to be there.
bool ImageReader::readSizedValue(const unsigned char* value, uint32_t size, MapEntry* entry)
{
    if (entry->type == PM_TYPE_DOUBLE)
        entry->bits = Ostrel::loadU64(value);
    else if (entry->type < PM_TYPE_DOUBLE)
        entry->bits = loadU32(value);
    if (entry->type != PM_TYPE_PROPERTY_MAP)
        return true;
    if (_depth == 0)
        return refuse(value, "maps are nested too deep");
    ImageReader nested(_file, entry->data, size - MAP_LENGTH_SIZE, _depth - 1, _faults);
    entry->nested = std::make_unique<MapTree>(nested.run());
    return true;
}

void ImageReader::findOverlaps()
{
    std::sort(_extents.begin(), _extents.end(), [](const Extent& a, const Extent& b) { return a.offset < b.offset; });
    for (size_t i = 1; i < _extents.size(); ++i) {
        const Extent& before = _extents[i - 1];
        if (before.offset + before.size > _extents[i].offset)
            refuse(_image + _extents[i].offset, "the values of keys " + std::to_string(before.key) + " and " +
                                                    std::to_string(_extents[i].key) + " overlap");
    }
}

} // namespace

MapTree readImage(const Bytes& bytes, Faults* faults)
{
    return ImageReader(bytes, bytes.data, static_cast<uint32_t>(bytes.size), PropertyMap::MAX_CHECKED_DEPTH, faults)
        .run();
}

} // namespace Inspect
