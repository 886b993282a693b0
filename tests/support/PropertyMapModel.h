/// A property map beside a plain model of it: random operations in the tests, decoded ones in the fuzz target.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"
#include "tests/support/GuardedBuffer.h"

/// The bytes of a number in host order.
template <class Number>
std::string toBytes(Number number)
{
    return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

/// The same operations on a plain list, and the whole buffer checked after each against what the format makes of it.
///
/// Errors: a step gives the text of what went wrong, null when nothing did.
class PropertyMapModel
{
public:
    /// Makes the decisions: a number below the bound.
    using Pick = std::function<unsigned int(unsigned int bound)>;

    PropertyMapModel(unsigned int size, Pick pick) : _buffer(size), _map(_buffer.data(), size), _pick(std::move(pick))
    {}

    unsigned char* getBuffer() { return _buffer.data(); }

    const char* step()
    {
        const std::string before = _buffer.copy();
        const int key = pickKey();
        const auto known =
            std::find_if(_entries.begin(), _entries.end(), [&](const Entry& entry) { return entry.key == key; });
        const bool isKnown = known != _entries.end();
        const unsigned int type = isKnown && _pick(5) != 0 ? static_cast<unsigned int>(known->type) : _pick(7);
        const Entry entry = pickEntry(key, type);
        PropertyMap_ReturnCode expected = isKnown ? PM_RC_OK : PM_RC_KEY_NOT_FOUND;
        PropertyMap_ReturnCode code;
        const unsigned int action = _pick(10);
        if (action == 0) {
            code = _map.removeKey(key);
            if (isKnown)
                _entries.erase(known);
        } else if (action < 6) {
            code = entry.pass([&](const auto&... value) { return _map.insert(key, value...); });
            expected = isKnown ? PM_RC_KEY_EXISTS : entry.getSize() + 8 <= _emptySpace ? PM_RC_OK : PM_RC_NO_SPACE;
            if (expected == PM_RC_OK)
                _entries.push_back(entry);
        } else {
            code = entry.pass([&](const auto&... value) { return _map.set(key, value...); });
            if (isKnown && known->type != entry.type)
                expected = PM_RC_TYPE_MISMATCH;
            else if (isKnown && entry.getSize() > known->getSize() + _emptySpace)
                expected = PM_RC_NO_SPACE;
            else if (isKnown)
                *known = entry;
        }
        if (code != expected)
            return "another return code was expected";
        return code == PM_RC_OK || _buffer.copy() == before ? check() : "a refused call changed something";
    }

private:
    /// A value's bytes are those of the value area, or a word where it is inline.
    struct Entry
    {
        int key;
        PropertyMap_ValueType type;
        std::string bytes;

        bool isLong() const { return key >> 24 != 0; }
        bool isInline() const { return type == PM_TYPE_BOOL || (type <= PM_TYPE_FLOAT && !isLong()); }
        size_t getSize() const { return isInline() ? 0 : bytes.size(); }

        /// Makes an insert or a set with the value.
        template <class Change>
        PropertyMap_ReturnCode pass(const Change& change) const
        {
            const unsigned char* start = reinterpret_cast<const unsigned char*>(bytes.data());
            switch (type) {
            case PM_TYPE_BOOL:
                return change(Ostrel::loadU32(start) != 0);
            case PM_TYPE_INT:
                return change(Ostrel::loadWord<int>(start));
            case PM_TYPE_FLOAT:
                return change(Ostrel::loadWord<float>(start));
            case PM_TYPE_DOUBLE:
                return change(Ostrel::loadWord<double>(start));
            case PM_TYPE_STRING:
                return change(bytes.c_str());
            default:
                return change(start + 4, Ostrel::loadU32(start), type);
            }
        }

        /// As it stands in the table, where `word` is its value or the offset of that.
        std::string toTableEntry(const std::string& word) const
        {
            const int field = isLong() ? Ostrel::loadWord<int>(word.data()) : key;
            const char tag[] = {static_cast<char>(type << 1 | isLong()), static_cast<char>(field),
                                static_cast<char>(field >> 8), static_cast<char>(field >> 16)};
            return std::string(tag, sizeof(tag)) + (isLong() ? toBytes(key) : word);
        }
    };

    /// In large maps most keys are short and near each other, and then all of them.
    int pickKey()
    {
        static const int KEYS[] = {0, 1, 2, 9, 500, 0x00FFFFFF, 0x01000000, INT32_MAX, -1, -16777216, INT32_MIN};
        if (_buffer.size() > 1000 && _pick(_buffer.size() > 2000 ? 20 : 4) != 0)
            return static_cast<int>(_pick(100) * 7);
        return KEYS[_pick(_buffer.size() > 2000 ? 6 : 11)];
    }

    Entry pickEntry(int key, unsigned int type)
    {
        // Now and then such that a few bytes remain, so that the next values just fit or just do not.
        std::string data(_pick(3) == 0 && _emptySpace > 40 ? _emptySpace - _pick(40) : _pick(30), '\0');
        std::generate(data.begin(), data.end(),
                      [next = _pick(255)]() mutable { return static_cast<char>(next++ % 255 + 1); });
        if (type == PM_TYPE_BOOL) {
            data = toBytes(_pick(2));
        } else if (type <= PM_TYPE_DOUBLE) {
            data = type == PM_TYPE_DOUBLE ? toBytes(_pick(UINT32_MAX) / 3.0) : toBytes(_pick(UINT32_MAX));
        } else if (type == PM_TYPE_STRING) {
            data += '\0';
        } else {
            const uint32_t mapSize = static_cast<uint32_t>(8 + data.size());
            data = type == PM_TYPE_BINARY ? data : toBytes(mapSize) + toBytes(mapSize) + data;
            data = toBytes(static_cast<uint32_t>(data.size())) + data;
        }
        return {key, static_cast<PropertyMap_ValueType>(type), data};
    }

    const char* check()
    {
        std::string values;
        std::map<int, std::string> table;
        for (const Entry& entry : _entries) {
            const std::string offset = toBytes(static_cast<uint32_t>(8 + values.size()));
            table[entry.key] = entry.toTableEntry(entry.isInline() ? entry.bytes : offset);
            values += entry.isInline() ? "" : entry.bytes;
        }
        const unsigned int tableOffset = _buffer.size() - 8 * static_cast<unsigned int>(table.size());
        const std::string front = toBytes(_buffer.size()) + toBytes(tableOffset) + values;
        std::string back;
        for (const auto& [key, entry] : table) {
            if (_map.findKey(key) != static_cast<int>(back.size() / 8))
                return "a key is not found";
            back += entry;
        }
        if (_map.findKey(pickKey() ^ 0x4000) != -1)
            return "an absent key is found";
        const std::string bytes = _buffer.copy();
        if (bytes.compare(0, front.size(), front) != 0 || bytes.compare(tableOffset, back.size(), back) != 0)
            return "the buffer is not as the format has it";
        _emptySpace = tableOffset - front.size();
        if (_map.getEmptySpace() != _emptySpace || !PropertyMap::isWellFormed(_buffer.data(), _buffer.size()))
            return "the empty space is wrong or the map not well-formed";
        return _buffer.areGuardsIntact() ? nullptr : "the guards were written to";
    }

    GuardedBuffer _buffer;
    PropertyMap _map;
    Pick _pick;
    std::vector<Entry> _entries; // in the order of their places in the value area
    size_t _emptySpace = _buffer.size() - 8;
};
