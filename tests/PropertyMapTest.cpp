#include "ostrel/PropertyMap.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

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
        const unsigned int action = pick(10);
        PropertyMap_ReturnCode code;
        if (action < 5) {
            code = insert(key, pickValue(static_cast<PropertyMap_ValueType>(pick(7))));
        } else if (action < 8) {
            const auto known = _values.find(key);
            const bool keepType = known != _values.end() && pick(5) != 0;
            code = set(key, pickValue(keepType ? known->second.type : static_cast<PropertyMap_ValueType>(pick(7))));
        } else {
            const bool known = _values.erase(key) != 0;
            code = _map.removeKey(key);
            ASSERT_EQ(code, known ? PM_RC_OK : PM_RC_KEY_NOT_FOUND);
        }
        if (code != PM_RC_OK) {
            ASSERT_EQ(_buffer.copy(), before) << "a refused call changed something";
        }
        check();
    }

private:
    unsigned int pick(unsigned int bound) { return static_cast<unsigned int>(_random() % bound); }

    int pickKey()
    {
        static const int KEYS[] = {
            0,          1,  2,    3,         9,         500, 0x00FFFFFE, 0x00FFFFFF, FIRST_LONG_KEY,
            0x7FFFFFFF, -1, -256, -16777216, INT32_MIN, 100, 101,        102,        1000};
        return KEYS[pick(sizeof(KEYS) / sizeof(KEYS[0]))];
    }

    Value pickValue(PropertyMap_ValueType type)
    {
        Bytes data(pick(40));
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
        default: {
            data.resize(8 + pick(30));
            const PropertyMap nested(data.data(), static_cast<unsigned int>(data.size()));
            return {PM_TYPE_PROPERTY_MAP, withLength(data)};
        }
        }
    }

    template <class Word>
    static Word as(const Value& value)
    {
        Word word;
        memcpy(&word, value.bytes.data(), sizeof(word));
        return word;
    }

    template <class Operation>
    static PropertyMap_ReturnCode apply(const Value& value, Operation operation)
    {
        const unsigned char* data = value.bytes.data() + 4;
        const unsigned int length = static_cast<unsigned int>(value.bytes.size()) - 4;
        switch (value.type) {
        case PM_TYPE_BOOL:
            return operation(value.bytes[0] != 0);
        case PM_TYPE_INT:
            return operation(as<int>(value));
        case PM_TYPE_FLOAT:
            return operation(as<float>(value));
        case PM_TYPE_DOUBLE:
            return operation(as<double>(value));
        case PM_TYPE_STRING:
            return operation(reinterpret_cast<const char*>(value.bytes.data()));
        case PM_TYPE_BINARY:
            return operation(data, length);
        default:
            return operation(static_cast<const PropertyMap&>(PropertyMap(const_cast<unsigned char*>(data))));
        }
    }

    PropertyMap_ReturnCode insert(int key, const Value& value)
    {
        const bool known = _values.count(key) != 0;
        const bool fits = areaSize(key, value) + 8 <= emptySpace();
        const PropertyMap_ReturnCode code =
            apply(value, [&](const auto&... parts) { return _map.insert(key, parts...); });
        EXPECT_EQ(code, known ? PM_RC_KEY_EXISTS : fits ? PM_RC_OK : PM_RC_NO_SPACE);
        if (code == PM_RC_OK)
            _values[key] = value;
        return code;
    }

    PropertyMap_ReturnCode set(int key, const Value& value)
    {
        const auto known = _values.find(key);
        PropertyMap_ReturnCode expected = PM_RC_OK;
        if (known == _values.end())
            expected = PM_RC_KEY_NOT_FOUND;
        else if (known->second.type != value.type)
            expected = PM_RC_TYPE_MISMATCH;
        else if (areaSize(key, value) > emptySpace() + areaSize(key, known->second))
            expected = PM_RC_NO_SPACE;
        const PropertyMap_ReturnCode code = apply(value, [&](const auto&... parts) { return _map.set(key, parts...); });
        EXPECT_EQ(code, expected);
        if (code == PM_RC_OK)
            known->second = value;
        return code;
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
    for (unsigned int size : {60u, 150u, 400u, 1001u}) {
        SCOPED_TRACE(size);
        PropertyMapModel model(size, size);
        for (int i = 0; i < 1500 && !testing::Test::HasFatalFailure(); ++i)
            model.step();
    }
}

TEST(PropertyMapTest, LargeTablesKeepTheirOrderAndEnd)
{
    // More entries than a vector step takes, and steps of one, of many, and none.
    for (int stride : {1, 7, 40503}) {
        Bytes buffer(20000);
        PropertyMap map(buffer.data(), static_cast<unsigned int>(buffer.size()));
        unsigned int free = map.getEmptySpace();
        for (int i = 0; i < 700; ++i) {
            const int key =
                static_cast<int>(static_cast<uint32_t>(i) * 2654435761u >> 22) * stride - 900 * (stride % 2);
            const bool isNew = !map.hasKey(key);
            ASSERT_EQ(map.insert(key, 1.5 * i), isNew ? PM_RC_OK : PM_RC_KEY_EXISTS);
            free -= isNew ? 16 : 0;
            ASSERT_EQ(map.getEmptySpace(), free);
        }
        std::vector<int> keys(map.getNumEntries());
        unsigned int count = 0;
        ASSERT_EQ(map.getAllKeys(keys.data(), map.getNumEntries(), &count), PM_RC_OK);
        for (unsigned int i = 0; i < count; ++i) {
            ASSERT_EQ(map.findKey(keys[i]), static_cast<int>(i));
            ASSERT_TRUE(i == 0 || keys[i - 1] < keys[i]);
        }
    }
}

TEST(PropertyMapTest, LayoutIsThatOfTheFormat)
{
    const unsigned char nestedBytes[] = {1, 2};
    GuardedBuffer buffer(150);
    memset(buffer.data(), 0, buffer.size());
    PropertyMap map(buffer.data(), buffer.size());
    EXPECT_EQ(map.insert(5, 0x11223344), PM_RC_OK);
    EXPECT_EQ(map.insert(-2, true), PM_RC_OK);
    EXPECT_EQ(map.insert(0x00FFFFFF, "ab"), PM_RC_OK);
    EXPECT_EQ(map.insert(FIRST_LONG_KEY, 7), PM_RC_OK);
    EXPECT_EQ(map.insert(3, false), PM_RC_OK);
    EXPECT_EQ(map.insert(4, 1.0f), PM_RC_OK);
    EXPECT_EQ(map.insert(-3, 1.0), PM_RC_OK);
    EXPECT_EQ(map.insert(1, nestedBytes, 2), PM_RC_OK);
    unsigned char empty[8];
    EXPECT_EQ(map.insert(2, PropertyMap(empty, sizeof(empty))), PM_RC_OK);

    // Words are in host order, 24-bit fields lowest byte first.
    Bytes expected;
    const auto word = [&expected](uint32_t value) {
        const Bytes bytes = toBytes(value);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    };
    const auto entry = [&](unsigned char tag, uint32_t field, uint32_t value) {
        expected.insert(expected.end(), {tag, static_cast<unsigned char>(field), static_cast<unsigned char>(field >> 8),
                                         static_cast<unsigned char>(field >> 16)});
        word(value);
    };
    word(150);
    word(150 - 9 * 8);
    expected.insert(expected.end(), {'a', 'b', 0});
    word(7);
    const Bytes one = toBytes(1.0);
    expected.insert(expected.end(), one.begin(), one.end());
    word(2);
    expected.insert(expected.end(), {1, 2});
    word(8);
    word(8);
    word(8);
    expected.resize(150 - 9 * 8);
    entry(3 << 1 | 1, 15, static_cast<uint32_t>(-3));
    entry(0 << 1 | 1, 1, static_cast<uint32_t>(-2));
    entry(5 << 1, 1, 23);
    entry(6 << 1, 2, 29);
    entry(0 << 1, 3, 0);
    entry(2 << 1, 4, 0x3F800000);
    entry(1 << 1, 5, 0x11223344);
    entry(4 << 1, 0x00FFFFFF, 8);
    entry(1 << 1 | 1, 11, FIRST_LONG_KEY);
    EXPECT_EQ(buffer.copy(), expected);
    EXPECT_TRUE(buffer.areGuardsIntact());
}

TEST(PropertyMapTest, ValuesThatExactlyFitAreTakenAndOneByteLessRefusesThem)
{
    unsigned char small[9];
    const PropertyMap other(small, sizeof(small));
    const unsigned char data[] = {1, 2, 3};
    using Insert = PropertyMap_ReturnCode (*)(PropertyMap&, int, const PropertyMap&, const unsigned char*);
    struct Case
    {
        const char* name;
        unsigned int shortKeySize;
        unsigned int longKeySize;
        Insert insert;
    };
    using M = PropertyMap&;
    using O = const PropertyMap&;
    using D = const unsigned char*;
    static const Case CASES[] = {
        {"bool", 8, 8, [](M map, int key, O, D) { return map.insert(key, true); }},
        {"int", 8, 12, [](M map, int key, O, D) { return map.insert(key, 1); }},
        {"float", 8, 12, [](M map, int key, O, D) { return map.insert(key, 1.0f); }},
        {"double", 16, 16, [](M map, int key, O, D) { return map.insert(key, 1.0); }},
        {"string", 12, 12, [](M map, int key, O, D) { return map.insert(key, "abc"); }},
        {"binary", 15, 15, [](M map, int key, O, D d) { return map.insert(key, d, 3); }},
        {"nested map", 21, 21, [](M map, int key, O o, D) { return map.insert(key, o); }},
        {"reserved", 112, 112, [](M map, int key, O, D) { return map.insert(key, nullptr, 100); }},
    };
    for (const Case& c : CASES) {
        for (int key : {0, 0x00FFFFFF, FIRST_LONG_KEY, -1}) {
            SCOPED_TRACE(testing::Message() << c.name << " at " << key);
            const unsigned int needed = 8 + (isShort(key) ? c.shortKeySize : c.longKeySize);
            GuardedBuffer exact(needed);
            PropertyMap map(exact.data(), needed);
            EXPECT_EQ(c.insert(map, key, other, data), PM_RC_OK);
            EXPECT_EQ(map.getEmptySpace(), 0u);
            EXPECT_EQ(c.insert(map, key, other, data), PM_RC_KEY_EXISTS);
            EXPECT_TRUE(exact.areGuardsIntact());

            GuardedBuffer less(needed - 1);
            PropertyMap full(less.data(), needed - 1);
            const Bytes before = less.copy();
            EXPECT_EQ(c.insert(full, key, other, data), PM_RC_NO_SPACE);
            EXPECT_EQ(less.copy(), before);
        }
    }
}

TEST(PropertyMapTest, LengthsNearTheWordLimitFindNoSpace)
{
    GuardedBuffer buffer(64);
    PropertyMap map(buffer.data(), buffer.size());
    const unsigned char data[4] = {1, 2, 3, 4};
    ASSERT_EQ(map.insert(1, data, 4), PM_RC_OK);
    for (unsigned int length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFF8u, 0xFFFFFFF0u}) {
        EXPECT_EQ(map.insert(2, data, length), PM_RC_NO_SPACE);
        EXPECT_EQ(map.set(1, data, length), PM_RC_NO_SPACE);
    }
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
    bool flag = false;
    EXPECT_EQ(map.get(-1, &flag), PM_RC_OK);
    EXPECT_TRUE(flag);

    map.removeAll();
    EXPECT_EQ(map.getEmptySpace(), 92u);
    EXPECT_EQ(buffer.data()[8], 'f');
}

TEST(PropertyMapTest, ReservedBytesAreNotCleared)
{
    GuardedBuffer buffer(40);
    PropertyMap map(buffer.data(), buffer.size());
    ASSERT_EQ(map.insert(1, nullptr, 4, PM_TYPE_BINARY), PM_RC_OK);
    const unsigned char* data = nullptr;
    unsigned int length = 0;
    ASSERT_EQ(map.get(1, &data, &length), PM_RC_OK);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(Bytes(data, data + 4), Bytes(4, GuardedBuffer::FILL));
    EXPECT_EQ(map.set(1, nullptr, 6, PM_TYPE_BINARY), PM_RC_OK);
    EXPECT_EQ(map.set(1, nullptr, 6, PM_TYPE_PROPERTY_MAP), PM_RC_TYPE_MISMATCH);
    EXPECT_EQ(map.getEmptySpace(), 40u - 8 - 8 - 10);
}

TEST(PropertyMapTest, TextIsCutTerminatedAndPadded)
{
    GuardedBuffer buffer(40);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(7, "abc");
    struct Case
    {
        unsigned int destSize;
        PropertyMap_ReturnCode code;
        const char* bytes;
    };
    static const Case CASES[] = {
        {1, PM_RC_BUFFER_TOO_SMALL, "\0~~~~~"},
        {3, PM_RC_BUFFER_TOO_SMALL, "ab\0~~~"},
        {4, PM_RC_OK, "abc\0~~"},
        {6, PM_RC_OK, "abc\0\0\0"},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.destSize);
        char dest[6];
        memset(dest, '~', sizeof(dest));
        EXPECT_EQ(map.get(7, dest, c.destSize), c.code);
        EXPECT_EQ(memcmp(dest, c.bytes, sizeof(dest)), 0);
    }
}

TEST(PropertyMapTest, FailedGetsLeaveTheirOutputsExceptReferences)
{
    GuardedBuffer buffer(80);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(1, "text");
    map.insert(2, reinterpret_cast<const unsigned char*>("data"), 4);
    for (int key : {1, 2, 3}) {
        SCOPED_TRACE(key);
        const PropertyMap_ReturnCode refused = key == 3 ? PM_RC_KEY_NOT_FOUND : PM_RC_TYPE_MISMATCH;
        int integer = 5;
        bool flag = true;
        float single = 5;
        double number = 5;
        EXPECT_EQ(map.get(key, &integer), refused);
        EXPECT_EQ(map.get(key, &flag), refused);
        EXPECT_EQ(map.get(key, &single), refused);
        EXPECT_EQ(map.get(key, &number), refused);
        EXPECT_TRUE(integer == 5 && flag && single == 5 && number == 5);
        const char* text = "";
        EXPECT_EQ(map.get(key, &text), key == 1 ? PM_RC_OK : refused);
        EXPECT_EQ(text == nullptr, key != 1);
        const unsigned char* data = buffer.data();
        unsigned int length = 9;
        EXPECT_EQ(map.get(key, &data, &length), key == 2 ? PM_RC_OK : refused);
        EXPECT_EQ(data == nullptr, key != 2);
        EXPECT_EQ(length, key == 2 ? 4u : 0u);
    }
    unsigned char dest[4] = {9, 9, 9, 9};
    unsigned int length = 77;
    EXPECT_EQ(map.get(2, dest, 3, &length), PM_RC_BUFFER_TOO_SMALL);
    EXPECT_TRUE(length == 77 && dest[0] == 9);
    EXPECT_EQ(map.get(2, dest, 4, &length), PM_RC_OK);
    EXPECT_EQ(memcmp(dest, "data", 4), 0);
    int keys[2] = {0, 0};
    unsigned int count = 0;
    EXPECT_EQ(map.getAllKeys(keys, 1, &count), PM_RC_BUFFER_TOO_SMALL);
    EXPECT_TRUE(count == 1 && keys[0] == 1 && keys[1] == 0);
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

TEST(PropertyMapTest, UnusedSpaceCountsEveryLevel)
{
    unsigned char inner[30];
    unsigned char middle[90];
    unsigned char outer[200];
    PropertyMap innerMap(inner, sizeof(inner));
    PropertyMap middleMap(middle, sizeof(middle));
    PropertyMap outerMap(outer, sizeof(outer));
    innerMap.insert(1, 1);
    middleMap.insert(1, innerMap);
    outerMap.insert(1, middleMap);
    EXPECT_EQ(outerMap.getUnusedSpace(), (30u - 16) + (90u - 8 - 12 - 30) + (200u - 8 - 12 - 90));
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
