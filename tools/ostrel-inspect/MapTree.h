#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/ostrel-inspect/Options.h"

namespace Inspect {

/// Bytes of a file, and where they begin in it. Borrowed.
struct Bytes
{
    const unsigned char* data;
    size_t size;
    uint64_t offset;

    uint64_t locate(const unsigned char* place) const { return offset + static_cast<uint64_t>(place - data); }
};

/// What is wrong with bytes, and where in the file.
struct Fault
{
    uint64_t offset;
    std::string why;
};

/// The first ones; broken bytes may have any number.
class Faults
{
public:
    void add(uint64_t offset, const std::string& why)
    {
        if (_list.size() < LIMIT)
            _list.push_back({offset, why});
    }
    const std::vector<Fault>& getList() const { return _list; }
    bool isEmpty() const { return _list.empty(); }
    void complain(const std::string& file) const;

private:
    static constexpr size_t LIMIT = 100;

    std::vector<Fault> _list;
};

struct MapTree;

/// An entry of a map. `data` and `size` are the bytes of the value itself, without a length word before it: of a short
/// value those that the entry holds.
struct MapEntry
{
    int key;
    unsigned int type; ///< A `PropertyMap_ValueType`.
    uint64_t bits;     ///< Of a boolean, an integer, a float or a double.
    uint64_t offset;   ///< Of `data` in the file.
    uint32_t size;
    const unsigned char* data;
    std::unique_ptr<MapTree> nested;

    bool getBoolean() const { return bits != 0; }
    int getInteger() const { return static_cast<int>(bits); }
    float getFloat() const;
    double getDouble() const;
    std::string_view getText() const; ///< Without its terminator.
};

/// A property map taken apart, as far as it could be read.
struct MapTree
{
    bool isForm = false;
    uint64_t offset = 0;     ///< In the file.
    uint32_t size = 0;       ///< Of the image or the form.
    uint32_t bufferSize = 0; ///< What the map takes in memory; 0 when not even the header could be read.
    uint32_t freeSpace = 0;  ///< Of that, without what is free in nested maps.
    uint64_t freeOffset = 0; ///< Of an image's free space in the file.
    std::vector<MapEntry> entries;
};

const char* getTypeName(unsigned int type);

// Each follows the layout of docs/property-map-format.md, whatever the bytes are, and adds a fault for all that
// `PropertyMap::isWellFormed` or `isWellFormedExternalized` would refuse, and for nothing else.
MapTree readImage(const Bytes& bytes, Faults* faults);
MapTree readForm(const Bytes& bytes, Faults* faults);

/// In the format that is asked for. Without one it is the one that is well-formed, an image first; of broken bytes the
/// one that the first word speaks for.
MapTree readMap(const Bytes& bytes, MapFormat format, Faults* faults);

} // namespace Inspect
