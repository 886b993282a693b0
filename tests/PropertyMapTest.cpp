#include "ostrel/PropertyMap.h"

#include "ostrel/internal/PropertyMapTable.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/PropertyMapModel.h"

using namespace std::string_literals;

TEST(PropertyMapTest, RandomOperationsAgreeWithAPlainList)
{
    for (unsigned int size : {60u, 150u, 400u, 1500u, 3001u}) {
        SCOPED_TRACE(size);
        PropertyMapModel model(size, [random = std::mt19937(size)](unsigned int bound) mutable {
            return static_cast<unsigned int>(random() % bound);
        });
        for (int i = 0; i < 4000; ++i)
            ASSERT_STREQ(model.step(), nullptr) << "in step " << i;
    }
}

TEST(PropertyMapTest, ShorterValuesClearOnlyWhatTheirFollowersLeave)
{
    GuardedBuffer buffer(100);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(1, "first");
    map.insert(-1, true); // its field looks like an offset and must not be shifted as one
    map.insert(2, "last");
    const auto getValues = [&] { return buffer.copy().substr(8, 11); };
    ASSERT_EQ(map.set(2, "l"), PM_RC_OK);
    EXPECT_EQ(getValues(), "first\0l\0st\0"s.substr(0, 11));
    ASSERT_EQ(map.set(1, "f"), PM_RC_OK);
    EXPECT_EQ(getValues(), "f\0l\0\0\0\0\0st\0"s);
    ASSERT_EQ(map.removeKey(2), PM_RC_OK);
    EXPECT_EQ(getValues(), "f\0\0\0\0\0\0\0st\0"s);
    EXPECT_EQ(buffer.copy().substr(100 - 3 * 8, 8), std::string(8, '\0')) << "the slot that the table gave up";
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
    ASSERT_EQ(map.set(1, nullptr, 6, PM_TYPE_BINARY), PM_RC_OK);
    EXPECT_EQ(buffer.copy().substr(8, 10), toBytes(6) + std::string(6, GuardedBuffer::FILL));
    EXPECT_EQ(map.set(1, nullptr, 6, PM_TYPE_PROPERTY_MAP), PM_RC_TYPE_MISMATCH);
    for (unsigned int huge : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFF8u, 0xFFFFFFF0u}) {
        EXPECT_EQ(map.insert(2, buffer.data(), huge), PM_RC_NO_SPACE);
        EXPECT_EQ(map.set(1, buffer.data(), huge), PM_RC_NO_SPACE);
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
    for (unsigned int size = 1; size <= 6; ++size) {
        std::string dest = "~~~~~~";
        EXPECT_EQ(map.get(7, &dest[0], size), size < 4 ? PM_RC_BUFFER_TOO_SMALL : PM_RC_OK);
        EXPECT_EQ(dest, "abc"s.substr(0, size - 1) + std::string(size - std::min(size - 1, 3u), '\0') +
                            "~~~~~~"s.substr(size));
    }
    unsigned char dest[] = "~~~~~";
    unsigned int length = 77;
    EXPECT_EQ(map.get(8, dest, 3, &length), PM_RC_BUFFER_TOO_SMALL);
    EXPECT_TRUE(length == 77 && dest[0] == '~');
    EXPECT_EQ(map.get(8, dest, 4, &length), PM_RC_OK);
    EXPECT_TRUE(length == 4 && memcmp(dest, "data~", 5) == 0);
    const unsigned char* ref = dest;
    EXPECT_EQ(map.get(9, &ref, &length), PM_RC_KEY_NOT_FOUND);
    EXPECT_TRUE(ref == nullptr && length == 0);
    int keys[2] = {0, 0};
    EXPECT_EQ(map.getAllKeys(keys, 1, &length), PM_RC_BUFFER_TOO_SMALL);
    EXPECT_TRUE(length == 1 && keys[0] == 7 && keys[1] == 0);
}

TEST(PropertyMapTest, IteratorWalksBothWays)
{
    GuardedBuffer buffer(200);
    PropertyMap map(buffer.data(), buffer.size());
    map.insert(2, "four");
    map.insert(-5, true);
    map.insert(1, 1.5);
    map.insert(3, nullptr, 20, PM_TYPE_PROPERTY_MAP);
    map.insert(4, 1.5f);
    std::string walk;
    for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i)
        walk += testing::PrintToString(std::make_tuple(i.getKey(), i.getType(), i.getDataSize()));
    EXPECT_EQ(walk, "(-5, 0, 1)(1, 3, 8)(2, 4, 5)(3, 6, 20)(4, 2, 4)");
    PropertyMap_ValueType type;
    EXPECT_TRUE(map.getKeyType(3, &type) == PM_RC_OK && type == PM_TYPE_PROPERTY_MAP);
    EXPECT_EQ(map.getKeyType(5, &type), PM_RC_KEY_NOT_FOUND);
    PropertyMap::Iterator i = map.begin();
    EXPECT_EQ((i++).getKey() + i.getKey(), -5 + 1);
    i = map.end();
    EXPECT_TRUE(i-- == map.end());
    --i;
    EXPECT_EQ((--i).getKey(), 2);
    const char* text = nullptr;
    EXPECT_EQ(i.get(&text), PM_RC_OK);
    EXPECT_STREQ(text, "four");
    EXPECT_TRUE(map.getIterator(2) == i && map.getIterator(5) == map.end());
}

TEST(PropertyMapTest, BrokenTablesAreScannedAlikeOneByOneAndInVectors)
{
    static const uint32_t OFFSETS[] = {0, 7, 8, 9, 0xFFFFFF, 0xFFFFFFF, 0x10000000, 0x20000008, 0x80000000, 0xFFFFFFFF};
    std::mt19937 random(5);
    for (unsigned int round = 0; round < 4000; ++round) {
        PropertyMap::KeyValuePair pairs[40];
        std::pair<uint32_t, PropertyMap_ValueType> expected(8, PM_TYPE_BOOL);
        const unsigned int used = round % 41;
        for (PropertyMap::KeyValuePair* pair = pairs; pair != pairs + used; ++pair) {
            Ostrel::storeLE32(pair->bytes, static_cast<uint32_t>(random() << 8 | random() % 16));
            Ostrel::storeU32(pair->bytes + 4, OFFSETS[random() % (round % 3 == 0 ? 6 : 10)]);
            if (PropertyMap::isOffsetStored(pair))
                expected = std::max(expected, {PropertyMap::getValueOffset(pair), PropertyMap::getValueType(pair)});
        }
        const Ostrel::PropertyMapScan scan(pairs, used);
        ASSERT_EQ(std::make_pair(scan.getOffset(), scan.getType()), expected) << round;
    }
}

TEST(PropertyMapTest, EntriesKeepTheFormOfTheirFlagAndNothingIsAllocated)
{
    unsigned char bytes[64];
    const auto work = [&bytes] {
        PropertyMap map(bytes, sizeof(bytes));
        map.insert(1, "abc");
        map.insert(2, "de");
        map.insert(3, false);
        // Short keys in the long form, as other writers may leave them.
        Ostrel::storeLE32(bytes + 48, 12 << 8 | PM_TYPE_STRING << 1 | 1);
        Ostrel::storeU32(bytes + 52, 2);
        Ostrel::storeLE32(bytes + 56, PM_TYPE_BOOL << 1 | 1);
        Ostrel::storeU32(bytes + 60, 3);
        map.set(1, "abcdef");
        map.set(3, true);
        map.removeKey(1);
        PropertyMap::isWellFormed(bytes, sizeof(bytes));
    };
    EXPECT_EQ(countAllocations(work), 0u);
    EXPECT_EQ(std::string(bytes + 48, bytes + 64), "\x09\x08\0\0"s + toBytes(2) + "\x01\x01\0\0"s + toBytes(3));
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

TEST(PropertyMapDeathTest, ValuesBehindTheKeyTableStop)
{
    for (const auto& [type, offset] : {std::make_pair(PM_TYPE_DOUBLE, 0x20000008u), std::make_pair(PM_TYPE_STRING, ~7u),
                                       std::make_pair(PM_TYPE_BINARY, 12u)}) {
        unsigned char bytes[64];
        PropertyMap map(bytes, sizeof(bytes));
        map.insert(1, "abc");
        map.insert(2, nullptr, 1);
        Ostrel::storeU32(bytes + 12, 0xFFFFFFFC); // the length of binary data
        bytes[56] = static_cast<unsigned char>(type << 1);
        Ostrel::storeU32(bytes + 60, offset);
        EXPECT_EQ(map.insert(0, true), PM_RC_NO_SPACE) << type;
        EXPECT_DEATH(map.getEmptySpace(), "Assertion `keyOffset >= bufferEnd' failed") << type;
        EXPECT_DEATH(map.removeKey(1), "Assertion `keyOffset >= bufferEnd' failed") << type;
    }
}
