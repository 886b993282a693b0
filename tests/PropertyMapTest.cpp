#include "ostrel/PropertyMap.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "ostrel/Unaligned.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/GuardedBuffer.h"

namespace {

using Bytes = std::vector<unsigned char>;

const int FIRST_LONG_KEY = 0x01000000;

bool isShort(int key)
{
    return key >= 0 && key <= 0x00FFFFFF;
}

/// A value as the plain model keeps it: its type, and its bytes as they would stand in the value area.
struct Value
{
    PropertyMap_ValueType type;
    Bytes bytes;
};

template <class Word>
Bytes toBytes(Word word)
{
    Bytes bytes(sizeof(word));
    memcpy(bytes.data(), &word, sizeof(word));
    return bytes;
}

Bytes withLength(const Bytes& data)
{
    Bytes bytes = toBytes(static_cast<uint32_t>(data.size()));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

unsigned int areaSize(int key, const Value& value)
{
    const bool isInline = value.type == PM_TYPE_BOOL || (value.type <= PM_TYPE_FLOAT && isShort(key));
    return isInline ? 0 : static_cast<unsigned int>(value.bytes.size());
}

/// The same operations on a `std::map`, and the whole buffer checked against it after each.
class PropertyMapModel
{
public:
    explicit PropertyMapModel(unsigned int size, unsigned int seed)
        : _buffer(size), _map(_buffer.data(), size), _random(seed)
    {}

    void step()
    {
        const Bytes before = _buffer.copy();
        const int key = pickKey();
        const auto known = _values.find(key);
        const unsigned int action = pick(10);
        PropertyMap_ReturnCode code;
        if (action == 0) {
            code = _map.removeKey(key);
            ASSERT_EQ(code, _values.erase(key) != 0 ? PM_RC_OK : PM_RC_KEY_NOT_FOUND);
        } else {
            const bool keepType = known != _values.end() && pick(5) != 0;
            const Value value = pickValue(keepType ? known->second.type : static_cast<PropertyMap_ValueType>(pick(7)));
            const PropertyMap_ReturnCode expected = expect(action < 6, key, value);
            code = change(action < 6, key, value);
            ASSERT_EQ(code, expected);
            if (code == PM_RC_OK)
                _values[key] = value;
        }
        if (code != PM_RC_OK) {
            ASSERT_EQ(_buffer.copy(), before) << "a refused call changed something";
        }
        check();
    }

private:
    unsigned int pick(unsigned int bound) { return static_cast<unsigned int>(_random() % bound); }

    /// In large maps most keys are short and near each other, and then all of them.
    int pickKey()
    {
        static const int KEYS[] = {0, 1, 2, 9, 500, 0x00FFFFFF, FIRST_LONG_KEY, INT32_MAX, -1, -16777216, INT32_MIN};
        if (_buffer.size() > 1000 && pick(_buffer.size() > 2000 ? 20 : 4) != 0)
            return static_cast<int>(pick(100) * 7);
        return KEYS[pick(_buffer.size() > 2000 ? 6 : 11)];
    }

    Value pickValue(PropertyMap_ValueType type)
    {
        // Now and then such that a few bytes remain, so that the next values just fit or just do not.
        const unsigned int free = emptySpace();
        Bytes data(pick(3) == 0 && free > 40 ? free - pick(40) : pick(30));
        for (unsigned char& byte : data)
            byte = static_cast<unsigned char>(1 + pick(255));
        switch (type) {
        case PM_TYPE_BOOL:
            return {type, {static_cast<unsigned char>(pick(2))}};
        case PM_TYPE_INT:
        case PM_TYPE_FLOAT:
            return {type, toBytes(static_cast<uint32_t>(_random()))};
        case PM_TYPE_DOUBLE:
            return {type, toBytes(static_cast<double>(_random()))};
        case PM_TYPE_STRING:
            data.push_back(0);
            return {type, data};
        case PM_TYPE_BINARY:
            return {type, withLength(data)};
        default:
            data.resize(data.size() + 8);
            const PropertyMap nested(data.data(), static_cast<unsigned int>(data.size()));
            return {PM_TYPE_PROPERTY_MAP, withLength(data)};
        }
    }

    PropertyMap_ReturnCode change(bool isNew, int key, const Value& value)
    {
        const unsigned char* data = value.bytes.data();
        const auto call = [&](const auto&... parts) {
            return isNew ? _map.insert(key, parts...) : _map.set(key, parts...);
        };
        switch (value.type) {
        case PM_TYPE_BOOL:
            return call(*data != 0);
        case PM_TYPE_INT:
            return call(Ostrel::loadWord<int>(data));
        case PM_TYPE_FLOAT:
            return call(Ostrel::loadWord<float>(data));
        case PM_TYPE_DOUBLE:
            return call(Ostrel::loadWord<double>(data));
        case PM_TYPE_STRING:
            return call(reinterpret_cast<const char*>(data));
        case PM_TYPE_BINARY:
            return call(data + 4, Ostrel::loadU32(data));
        default:
            return call(PropertyMap(const_cast<unsigned char*>(data + 4)));
        }
    }

    PropertyMap_ReturnCode expect(bool isNew, int key, const Value& value) const
    {
        const auto known = _values.find(key);
        if (isNew == (known != _values.end()))
            return isNew ? PM_RC_KEY_EXISTS : PM_RC_KEY_NOT_FOUND;
        if (!isNew && known->second.type != value.type)
            return PM_RC_TYPE_MISMATCH;
        const unsigned int room = emptySpace() + (isNew ? 0 : 8 + areaSize(key, known->second));
        return 8 + areaSize(key, value) <= room ? PM_RC_OK : PM_RC_NO_SPACE;
    }

    unsigned int emptySpace() const
    {
        unsigned int space = _buffer.size() - 8;
        for (const auto& [key, value] : _values)
            space -= 8 + areaSize(key, value);
        return space;
    }

    void check()
    {
        ASSERT_TRUE(_buffer.areGuardsIntact());
        ASSERT_EQ(_map.getNumEntries(), _values.size());
        ASSERT_EQ(_map.getEmptySpace(), emptySpace());
        ASSERT_EQ(_map.getBufferEnd() + emptySpace(), _map.getKeyTableOffset());
        ASSERT_TRUE(PropertyMap::isWellFormed(_buffer.data(), _buffer.size()));
        const PropertyMap::KeyValuePair* entry = _map.getKeyTableEntry();
        int index = 0;
        for (const auto& [key, value] : _values) {
            SCOPED_TRACE(key);
            ASSERT_EQ(PropertyMap::getKey(entry), key);
            ASSERT_EQ(_map.findKey(key), index);
            ASSERT_EQ(PropertyMap::getValueType(entry), value.type);
            checkValue(entry, key, value);
            ++entry;
            ++index;
        }
        ASSERT_EQ(_map.findKey(pickKey() ^ 0x4000), -1);
    }

    void checkValue(const PropertyMap::KeyValuePair* entry, int key, const Value& value)
    {
        ASSERT_EQ(PropertyMap::isOffsetStored(entry), areaSize(key, value) != 0);
        if (PropertyMap::isOffsetStored(entry)) {
            const unsigned int offset = PropertyMap::getValueOffset(entry);
            ASSERT_EQ(_map.getValueSize(value.type, offset), value.bytes.size());
            ASSERT_EQ(Bytes(_buffer.data() + offset, _buffer.data() + offset + value.bytes.size()), value.bytes);
        } else if (value.type == PM_TYPE_BOOL) {
            bool stored = value.bytes[0] == 0;
            ASSERT_EQ(_map.get(entry, &stored), PM_RC_OK);
            ASSERT_EQ(stored, value.bytes[0] != 0);
        } else {
            ASSERT_EQ(toBytes(PropertyMap::getValueOffset(entry)), value.bytes);
        }
    }

    GuardedBuffer _buffer;
    PropertyMap _map;
    std::mt19937 _random;
    std::map<int, Value> _values;
};

} // namespace

TEST(PropertyMapTest, RandomOperationsAgreeWithAPlainMap)
{
    for (unsigned int size : {60u, 150u, 400u, 1500u, 3001u}) {
        SCOPED_TRACE(size);
        PropertyMapModel model(size, size);
        for (int i = 0; i < 1500 && !testing::Test::HasFatalFailure(); ++i)
            model.step();
    }
}

TEST(PropertyMapTest, LayoutIsThatOfTheFormat)
{
    unsigned char empty[8];
    GuardedBuffer buffer(150);
    memset(buffer.data(), 0, buffer.size());
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(5, 0x11223344);
    map.insert(-2, true);
    map.insert(0x00FFFFFF, "ab");
    map.insert(FIRST_LONG_KEY, 7);
    map.insert(3, false);
    map.insert(4, 1.0f);
    map.insert(-3, 1.0);
    map.insert(1, reinterpret_cast<const unsigned char*>("12"), 2);
    map.insert(2, PropertyMap(empty, sizeof(empty)));

    // Words are in host order, 24-bit fields lowest byte first.
    Bytes expected;
    const auto add = [&expected](const Bytes& bytes) { expected.insert(expected.end(), bytes.begin(), bytes.end()); };
    const auto word = [&add](uint32_t value) { add(toBytes(value)); };
    const auto entry = [&](const Bytes& front, uint32_t value) { add(front), word(value); };
    entry(toBytes(150), 150 - 9 * 8);
    add({'a', 'b', 0});
    word(7);
    add(toBytes(1.0));
    add(withLength({'1', '2'}));
    entry(toBytes(8), 8), word(8);
    expected.resize(150 - 9 * 8);
    entry({3 << 1 | 1, 15, 0, 0}, 0xFFFFFFFD);
    entry({0 << 1 | 1, 1, 0, 0}, 0xFFFFFFFE);
    entry({5 << 1, 1, 0, 0}, 23);
    entry({6 << 1, 2, 0, 0}, 29);
    entry({0 << 1, 3, 0, 0}, 0);
    entry({2 << 1, 4, 0, 0}, 0x3F800000);
    entry({1 << 1, 5, 0, 0}, 0x11223344);
    entry({4 << 1, 0xFF, 0xFF, 0xFF}, 8);
    entry({1 << 1 | 1, 11, 0, 0}, FIRST_LONG_KEY);
    EXPECT_EQ(buffer.copy(), expected);
}

TEST(PropertyMapTest, ShorterValuesClearOnlyWhatTheirFollowersLeave)
{
    GuardedBuffer buffer(100);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(1, "first");
    map.insert(-1, true); // its field looks like an offset and must not be shifted as one
    map.insert(2, "last");
    ASSERT_EQ(map.set(2, "l"), PM_RC_OK);
    EXPECT_EQ(memcmp(buffer.data() + 8, "first\0l\0st", 11), 0);
    ASSERT_EQ(map.set(1, "f"), PM_RC_OK);
    EXPECT_EQ(memcmp(buffer.data() + 8, "f\0l\0\0\0\0\0st", 10), 0);
    ASSERT_EQ(map.removeKey(2), PM_RC_OK);
    EXPECT_EQ(memcmp(buffer.data() + 8, "f\0\0\0", 4), 0);
    EXPECT_EQ(memcmp(buffer.data() + 100 - 3 * 8, "\0\0\0\0\0\0\0", 8), 0) << "the slot that the table gave up";
    bool flag = false;
    EXPECT_EQ(map.get(-1, &flag), PM_RC_OK);
    EXPECT_TRUE(flag);

    map.removeAll();
    EXPECT_EQ(map.getEmptySpace(), 92u);
    EXPECT_EQ(buffer.data()[8], 'f');
}

TEST(PropertyMapTest, BytesAreReservedWithoutDataAndHugeLengthsFindNoSpace)
{
    GuardedBuffer buffer(40);
    PropertyMap map(buffer.data(), buffer.size());
    ASSERT_EQ(map.insert(1, nullptr, 4), PM_RC_OK);
    const unsigned char* data = nullptr;
    unsigned int length = 0;
    ASSERT_EQ(map.get(1, &data, &length), PM_RC_OK);
    EXPECT_EQ(Bytes(data, data + length), Bytes(4, GuardedBuffer::FILL));
    EXPECT_EQ(map.set(1, nullptr, 6, PM_TYPE_BINARY), PM_RC_OK);
    EXPECT_EQ(map.set(1, nullptr, 6, PM_TYPE_PROPERTY_MAP), PM_RC_TYPE_MISMATCH);
    EXPECT_EQ(map.getEmptySpace(), 40u - 8 - 8 - 10);
    for (unsigned int huge : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFF8u, 0xFFFFFFF0u}) {
        EXPECT_EQ(map.insert(2, data, huge), PM_RC_NO_SPACE);
        EXPECT_EQ(map.set(1, data, huge), PM_RC_NO_SPACE);
    }
    // An inline value is no offset to write to.
    ASSERT_EQ(map.insert(3, -1), PM_RC_OK);
    EXPECT_EQ(map.set(3, nullptr, 0, PM_TYPE_INT), PM_RC_TYPE_MISMATCH);
}

TEST(PropertyMapTest, SmallDestinationsGetWhatFits)
{
    GuardedBuffer buffer(60);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(7, "abc");
    map.insert(8, reinterpret_cast<const unsigned char*>("data"), 4);
    static const char* const TEXTS[] = {"\0~~~~~", "a\0~~~~", "ab\0~~~", "abc\0~~", "abc\0\0~", "abc\0\0\0"};
    for (unsigned int size = 1; size <= 6; ++size) {
        char dest[] = "~~~~~~";
        EXPECT_EQ(map.get(7, dest, size), size < 4 ? PM_RC_BUFFER_TOO_SMALL : PM_RC_OK);
        EXPECT_EQ(memcmp(dest, TEXTS[size - 1], 6), 0) << size;
    }
    unsigned char dest[4] = {9, 9, 9, 9};
    unsigned int length = 77;
    EXPECT_EQ(map.get(8, dest, 3, &length), PM_RC_BUFFER_TOO_SMALL);
    EXPECT_TRUE(length == 77 && dest[0] == 9);
    EXPECT_EQ(map.get(8, dest, 4, &length), PM_RC_OK);
    EXPECT_TRUE(length == 4 && memcmp(dest, "data", 4) == 0);
    const unsigned char* ref = dest;
    EXPECT_EQ(map.get(9, &ref, &length), PM_RC_KEY_NOT_FOUND);
    EXPECT_TRUE(ref == nullptr && length == 0);
    int keys[2] = {0, 0};
    EXPECT_EQ(map.getAllKeys(keys, 1, &length), PM_RC_BUFFER_TOO_SMALL);
    EXPECT_TRUE(length == 1 && keys[0] == 7 && keys[1] == 0);
}

TEST(PropertyMapTest, IteratorWalksBothWays)
{
    unsigned char empty[20];
    GuardedBuffer buffer(200);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(2, "four");
    map.insert(-5, true);
    map.insert(1, 1.5);
    map.insert(3, PropertyMap(empty, sizeof(empty)));
    std::string walk;
    for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i)
        walk += std::to_string(i.getKey()) + ":" + std::to_string(i.getType()) + "/" + std::to_string(i.getDataSize()) +
                " ";
    EXPECT_EQ(walk, "-5:0/1 1:3/8 2:4/5 3:6/20 ");
    PropertyMap::Iterator i = map.end();
    EXPECT_TRUE(i-- == map.end());
    EXPECT_EQ((--i).getKey(), 2);
    const char* text = nullptr;
    EXPECT_EQ(i.get(&text), PM_RC_OK);
    EXPECT_STREQ(text, "four");
    EXPECT_TRUE(map.getIterator(2) == i && map.getIterator(4) == map.end());
}

TEST(PropertyMapTest, NothingIsAllocated)
{
    EXPECT_EQ(countAllocations([] {
                  unsigned char buffer[300];
                  unsigned char form[300];
                  PropertyMap map(buffer, sizeof(buffer));
                  map.insert(1, "text");
                  map.insert(2, map.getEmptySpace() > 0);
                  map.set(1, "longer text");
                  map.externalize(form, sizeof(form));
                  const unsigned char* cursor = form;
                  map.initialize(&cursor);
                  map.removeKey(1);
              }),
              0u);
}

TEST(PropertyMapDeathTest, MisuseStops)
{
    unsigned char bytes[64] = {};
    PropertyMap map(bytes, sizeof(bytes));
    map.insert(1, true);
    unsigned char smallest[8];
    EXPECT_EQ(PropertyMap(smallest, 8).getEmptySpace(), 0u);
    const auto withWord = [&bytes](unsigned int offset, uint32_t word) {
        memcpy(bytes + offset, &word, sizeof(word));
        return PropertyMap(bytes);
    };
    const char* const SIZE = "PropertyMap.*Assertion `size >= 8 && size <= 0x00FFFFFF' failed";
    EXPECT_DEATH(PropertyMap(bytes, 7), SIZE);
    EXPECT_DEATH(PropertyMap(bytes, 0x01000000), SIZE);
    EXPECT_DEATH(withWord(0, 7).hasKey(1), SIZE);
    EXPECT_DEATH(withWord(4, 65).insert(2, 1), "Assertion `size >= keyoffset' failed");
    EXPECT_DEATH(map.setKeyTableOffset(7),
                 "Assertion `offset >= 2 \\* sizeof\\(uint32_t\\) && offset <= getSize\\(\\)'");
    EXPECT_DEATH(map.setKeyTableOffset(65), "void PropertyMap::setKeyTableOffset\\(uint32_t\\)");
    EXPECT_DEATH(withWord(4, 4).getEmptySpace(), "Assertion `keyOffset >= bufferEnd' failed");
    bytes[56] = 0x10;
    PropertyMap_ValueType type;
    EXPECT_DEATH(map.getKeyType(1, &type), "Assertion `type < PM_MAX_TYPE' failed");
    EXPECT_DEATH(map.insert(2, 5), "Assertion `type < PM_MAX_TYPE' failed");
    bytes[56] = 7 << 1;
    EXPECT_DEATH(map.begin().getDataSize(), "Assertion `false' failed");
    EXPECT_EQ(map.insert(2, 5), PM_RC_OK);
}
