#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "tests/support/GuardedBuffer.h"
#include "tests/support/PropertyMapSample.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// Exactly as many bytes on the heap, so that the address sanitizer sees each read outside.
bool isWellFormed(const Bytes& bytes)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return PropertyMap::isWellFormed(exact.get(), static_cast<unsigned int>(bytes.size()));
}

bool isWellFormedForm(const Bytes& bytes, unsigned int* consumed)
{
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return PropertyMap::isWellFormedExternalized(exact.get(), static_cast<unsigned int>(bytes.size()), consumed);
}

void putWord(Bytes& bytes, size_t offset, uint32_t word)
{
    memcpy(bytes.data() + offset, &word, sizeof(word));
}

/// Two texts and a boolean in 48 bytes: values at 8 and 11, the key table from 24 on.
Bytes smallMap()
{
    Bytes bytes(48);
    PropertyMap map(bytes.data(), 48);
    map.insert(1, "ab");
    map.insert(2, "cd");
    map.insert(-1, true);
    return bytes;
}

/// Maps in maps, the outermost not counted.
Bytes nestedMaps(unsigned int depth)
{
    Bytes bytes(8);
    PropertyMap(bytes.data(), 8);
    for (unsigned int i = 0; i < depth; ++i) {
        Bytes outer(bytes.size() + 8 + 12);
        PropertyMap(outer.data(), static_cast<unsigned int>(outer.size())).insert(1, PropertyMap(bytes.data()));
        bytes = outer;
    }
    return bytes;
}

/// Everything a receiver might do with a map that was found well-formed.
void useEverything(Bytes bytes)
{
    PropertyMap map(bytes.data());
    map.getUnusedSpace();
    Bytes form(map.externalize(nullptr, 0));
    ASSERT_EQ(map.externalize(form.data(), static_cast<unsigned int>(form.size())), form.size());
    unsigned int consumed = 0;
    ASSERT_TRUE(isWellFormedForm(form, &consumed));
    ASSERT_EQ(consumed, form.size());
    Bytes target(PropertyMap::externalizedSize(form.data()));
    const unsigned char* cursor = form.data();
    ASSERT_EQ(PropertyMap(target.data(), static_cast<unsigned int>(target.size())).initialize(&cursor), PM_RC_OK);
    while (map.getNumEntries() != 0) {
        const int key = map.begin().getKey();
        map.set(key, "other");
        map.removeKey(key);
    }
    ASSERT_EQ(map.getEmptySpace(), map.getSize() - 8);
}

} // namespace

TEST(PropertyMapCheckTest, EachBrokenTrustIsFound)
{
    struct Case
    {
        const char* name;
        void (*breakIt)(Bytes&);
        bool isWellFormed;
    };
    static const Case CASES[] = {
        {"nothing", [](Bytes&) {}, true},
        {"bytes behind the map", [](Bytes& b) { b.push_back(1); }, true},
        {"cut", [](Bytes& b) { b.pop_back(); }, false},
        {"size below the header", [](Bytes& b) { putWord(b, 0, 7); }, false},
        {"size beyond the limit", [](Bytes& b) { b.resize(0x01000000), putWord(b, 0, 0x01000000); }, false},
        {"table in the header", [](Bytes& b) { putWord(b, 4, 0); }, false},
        {"table behind the end", [](Bytes& b) { putWord(b, 4, 56); }, false},
        {"part of an entry", [](Bytes& b) { putWord(b, 4, 25); }, false},
        {"keys equal", [](Bytes& b) { b[33] = 2; }, false},
        {"keys swapped", [](Bytes& b) { b[33] = 3; }, false},
        {"long boolean of 2", [](Bytes& b) { b[25] = 2; }, false},
        {"short key in the long form", [](Bytes& b) { putWord(b, 28, 0); }, false},
        {"type 7", [](Bytes& b) { b[24] = 7 << 1 | 1; }, false},
        {"type 8", [](Bytes& b) { b[24] = 8 << 1 | 1; }, false},
        {"text without end", [](Bytes& b) { memset(b.data() + 8, 'x', 16); }, false},
        {"value in the header", [](Bytes& b) { putWord(b, 36, 7); }, false},
        {"value in the table", [](Bytes& b) { putWord(b, 36, 24); }, false},
        {"values at one place", [](Bytes& b) { putWord(b, 36, 11); }, false},
        {"values overlapping", [](Bytes& b) { putWord(b, 36, 12); }, false},
        {"free space between values", [](Bytes& b) { putWord(b, 44, 23); }, true},
        {"binary length outside",
         [](Bytes& b) {
             b[32] = 5 << 1;
             putWord(b, 8, 17);
         },
         false},
        {"binary length near the limit",
         [](Bytes& b) {
             b[32] = 5 << 1;
             putWord(b, 8, 0xFFFFFFFE);
         },
         false},
        {"double over the end",
         [](Bytes& b) {
             b[40] = 3 << 1;
             putWord(b, 44, 17);
         },
         false},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        Bytes bytes = smallMap();
        c.breakIt(bytes);
        EXPECT_EQ(isWellFormed(bytes), c.isWellFormed);
    }
    EXPECT_FALSE(PropertyMap::isWellFormed(nullptr, 8));
    EXPECT_FALSE(PropertyMap::isWellFormedExternalized(nullptr, 8, nullptr));
    Bytes nested = nestedMaps(2);
    EXPECT_TRUE(isWellFormed(nested));
    putWord(nested, 8 + 4 + 8 + 4, 9); // the innermost map's size, one more than its bytes
    EXPECT_FALSE(isWellFormed(nested));
}

TEST(PropertyMapCheckTest, NestingIsBounded)
{
    for (unsigned int depth : {PropertyMap::MAX_CHECKED_DEPTH, PropertyMap::MAX_CHECKED_DEPTH + 1}) {
        Bytes bytes = nestedMaps(depth);
        PropertyMap map(bytes.data());
        Bytes form(map.externalize(nullptr, 0));
        map.externalize(form.data(), static_cast<unsigned int>(form.size()));
        EXPECT_EQ(isWellFormed(bytes), depth == PropertyMap::MAX_CHECKED_DEPTH);
        EXPECT_EQ(isWellFormedForm(form, nullptr), depth == PropertyMap::MAX_CHECKED_DEPTH);
    }
}

TEST(PropertyMapCheckTest, OverlapsAreFoundInLargeMaps)
{
    // Larger than the stretch that is marked at a time.
    Bytes bytes(100000);
    PropertyMap map(bytes.data(), 100000);
    const Bytes data(30000, 1);
    for (int key : {1, 2, 3})
        ASSERT_EQ(map.insert(key, data.data(), 30000), PM_RC_OK);
    ASSERT_TRUE(isWellFormed(bytes));
    const size_t length = 8 + 2 * 30004 - 30004; // of the second value, which reaches into the third by one byte
    putWord(bytes, length, 30001);
    EXPECT_FALSE(isWellFormed(bytes));
    putWord(bytes, length, 29999);
    EXPECT_TRUE(isWellFormed(bytes));
}

TEST(PropertyMapCheckTest, WhatIsAcceptedCanBeUsed)
{
    const PropertyMapSample sample;
    const unsigned char* data = nullptr;
    const unsigned int size = sample.map.serialize(&data);
    std::mt19937 random(3);
    unsigned int accepted = 0;
    for (unsigned int i = 0; i < 40000; ++i) {
        Bytes bytes(data, data + size);
        for (unsigned int flips = 1 + i % 3; flips != 0; --flips) {
            // Header, values and entries, not the free space.
            const size_t offset = random() % 200;
            bytes[offset < 130 ? offset : size - (offset - 129)] ^= static_cast<unsigned char>(1 << random() % 8);
        }
        if (isWellFormed(bytes)) {
            ++accepted;
            useEverything(bytes);
        }
        ASSERT_FALSE(HasFatalFailure()) << i;
    }
    EXPECT_GT(accepted, 1000u);
}

TEST(PropertyMapCheckTest, FormsAreReadableAsTheyWereAccepted)
{
    const Bytes good(PropertyMapSample::FORM, PropertyMapSample::FORM + sizeof(PropertyMapSample::FORM));
    unsigned int consumed = 0;
    Bytes more = good;
    more.push_back(1);
    EXPECT_TRUE(isWellFormedForm(more, &consumed));
    EXPECT_EQ(consumed, good.size());
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_FALSE(isWellFormedForm(Bytes(good.begin(), good.begin() + static_cast<long>(length)), nullptr))
            << length;
    Bytes wrongSize = good;
    wrongSize[3] -= 1;
    EXPECT_FALSE(isWellFormedForm(wrongSize, nullptr));

    std::mt19937 random(4);
    for (unsigned int i = 0; i < 40000; ++i) {
        Bytes form = good;
        form[random() % form.size()] ^= static_cast<unsigned char>(1 << random() % 8);
        if (!isWellFormedForm(form, &consumed))
            continue;
        Bytes target(PropertyMap::externalizedSize(form.data()));
        const unsigned char* cursor = form.data();
        PropertyMap map(target.data(), static_cast<unsigned int>(target.size()));
        ASSERT_EQ(map.initialize(&cursor), PM_RC_OK);
        ASSERT_EQ(cursor - form.data(), consumed);
        ASSERT_TRUE(isWellFormed(target));
    }
}
