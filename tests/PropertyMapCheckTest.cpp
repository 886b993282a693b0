#include "tests/support/AllocationFaults.h"
#include "tests/support/PropertyMapSample.h"

static std::function<void()> whenSearched;

// The linker sends all searches here. While the check looks for the end of a text is a good time to change the map.
extern "C" {
void* __real_memchr(const void* bytes, int byte, size_t length);

void* __wrap_memchr(const void* bytes, int byte, size_t length)
{
    if (whenSearched)
        whenSearched();
    return __real_memchr(bytes, byte, length);
}
}

using Bytes = std::vector<unsigned char>;

/// A vector holds exactly as many bytes on the heap, so that the address sanitizer sees each read outside.
static bool isWellFormed(Bytes bytes)
{
    bytes.shrink_to_fit();
    return PropertyMap::isWellFormed(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

static bool isWellFormedForm(Bytes form, unsigned int* consumed)
{
    form.shrink_to_fit();
    return PropertyMap::isWellFormedExternalized(form.data(), static_cast<unsigned int>(form.size()), consumed);
}

static void putWord(Bytes& bytes, size_t offset, uint32_t word)
{
    memcpy(bytes.data() + offset, &word, sizeof(word));
}

/// The first word of an entry as it lies in memory.
static uint32_t entry(uint32_t type, uint32_t field, uint32_t isLong = 0)
{
    unsigned char bytes[4];
    Ostrel::storeLE32(bytes, field << 8 | type << 1 | isLong);
    return Ostrel::loadU32(bytes);
}

/// Two texts and a boolean in 48 bytes: values at 8 and 11, the second no length of bytes, the key table from 24 on.
static Bytes smallMap()
{
    Bytes bytes(48);
    PropertyMap map(bytes.data(), 48);
    map.insert(1, "ab");
    map.insert(2, "\xFF\xFF\xFF\xFF");
    map.insert(-1, true);
    return bytes;
}

/// Maps in maps, the outermost not counted.
static Bytes nestedMaps(unsigned int depth)
{
    Bytes bytes(8);
    const PropertyMap innermost(bytes.data(), 8);
    for (unsigned int i = 0; i < depth; ++i) {
        Bytes outer(bytes.size() + 8 + 12);
        PropertyMap(outer.data(), static_cast<unsigned int>(outer.size())).insert(1, PropertyMap(bytes.data()));
        bytes = outer;
    }
    return bytes;
}

TEST(PropertyMapCheckTest, EachBrokenTrustIsFound)
{
    // clang-format off
    // The words are written at the offset.
    static const std::tuple<const char*, size_t, std::vector<uint32_t>, bool> CASES[] = {
        {"nothing", 0, {}, true},
        {"size below the header", 0, {7}, false},
        {"size beyond the bytes", 0, {49}, false},
        {"table in the header", 4, {0}, false},
        {"table behind the end", 4, {56}, false},
        {"part of an entry", 4, {25}, false},
        {"keys equal", 32, {entry(4, 2)}, false},
        {"keys swapped", 32, {entry(4, 3)}, false},
        {"long boolean of 2", 24, {entry(0, 2, 1)}, false},
        {"short key in the long form", 28, {0}, false},
        {"type 7", 24, {entry(7, 1, 1)}, false},
        {"text without end", 8, {~0u, ~0u, ~0u, ~0u}, false},
        {"value in the header", 36, {7}, false},
        {"value in the table", 36, {24}, false},
        {"values at one place", 36, {11}, false},
        {"values overlapping", 36, {12}, false},
        {"free space between values", 44, {23}, true},
        {"double over the end", 40, {entry(3, 2), 17}, false},
        {"binary length near the limit", 40, {entry(5, 2), 11}, false},
    };
    // clang-format on
    for (const auto& [name, offset, words, expected] : CASES) {
        Bytes bytes = smallMap();
        for (size_t i = 0; i < words.size(); ++i)
            putWord(bytes, offset + 4 * i, words[i]);
        EXPECT_EQ(isWellFormed(bytes), expected) << name;
    }
    Bytes bytes = smallMap();
    bytes.push_back(1);
    EXPECT_TRUE(isWellFormed(bytes)) << "bytes behind the map";
    bytes.assign(0x01000000, 0);
    putWord(bytes, 0, 0x01000000);
    putWord(bytes, 4, 0x01000000);
    EXPECT_FALSE(isWellFormed(bytes)) << "size beyond the limit";
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
    // Larger than what is marked without the heap, and in it a map that is.
    Bytes bytes(170000);
    PropertyMap map(bytes.data(), 170000);
    const Bytes data(30000, 1);
    for (int key : {1, 2, 3})
        ASSERT_EQ(map.insert(key, data.data(), 30000), PM_RC_OK);
    ASSERT_EQ(map.insert(0, nullptr, 70000, PM_TYPE_PROPERTY_MAP), PM_RC_OK);
    const size_t nestedAt = 8 + 3 * 30004;
    PropertyMap nested(bytes.data() + nestedAt + 4, 70000);
    for (int key : {2, 1})
        ASSERT_EQ(nested.insert(key, data.data(), 30000), PM_RC_OK);
    // A word that is one too large lets the value reach into the next.
    static const std::tuple<const char*, size_t, uint32_t, bool> CASES[] = {
        {"second value shorter", 8 + 30004, 29999, true},
        {"second value longer", 8 + 30004, 30001, false},
        {"third value over the nested map", 8 + 2 * 30004, 30001, false},
        {"nested map over the third value", 170000 - 8 * 4 + 4, 8 + 3 * 30004 - 4, false},
        {"nested value longer", nestedAt + 4 + 8, 30001, false},
        {"last nested value beyond its map", nestedAt + 4 + 8 + 30004, 40000, false},
    };
    for (const auto& [name, offset, word, expected] : CASES) {
        Bytes changed = bytes;
        putWord(changed, offset, word);
        EXPECT_EQ(isWellFormed(changed), expected) << name;
        AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
        EXPECT_EQ(faults.during([&] { return PropertyMap::isWellFormed(changed.data(), 170000); }), expected) << name;
        EXPECT_EQ(faults.getCount(), 1u);
    }
}

TEST(PropertyMapCheckTest, BytesMayChangeMeanwhile)
{
    std::mt19937 random(7);
    for (unsigned int i = 0; i < 6000; ++i) {
        // Every other map is large enough to be gone through more than once where there is no heap.
        const unsigned int reserved = i % 2 == 0 ? 1 : 40000;
        Bytes bytes(reserved + 110);
        PropertyMap map(bytes.data(), reserved + 110);
        map.insert(1, PropertyMap(nestedMaps(1).data()));
        map.insert(2, "out");
        map.insert(3, nullptr, reserved);
        map.insert(4, "last");
        const size_t place = random() % 100;
        unsigned int before = random() % 4;
        whenSearched = [&] {
            if (before-- == 0) // header, values or entries become far too much
                putWord(bytes, place < 60 ? place : bytes.size() - 104 + place, 0x00FFFFF0u << random() % 8);
        };
        AllocationFaults faults(i % 4 < 2 ? AllocationFaults::FAIL_ALL_LATER : AllocationFaults::FAIL_NONE, 0);
        faults.during([&] { PropertyMap::isWellFormed(bytes.data(), reserved + 110); });
        whenSearched = nullptr;
    }
}

TEST(PropertyMapCheckTest, FormsAreCheckedToTheirEndAndForTheirSize)
{
    const Bytes good(PropertyMapSample::FORM, PropertyMapSample::FORM + sizeof(PropertyMapSample::FORM));
    unsigned int consumed = 0;
    Bytes more = good, less = good, large = good;
    more.push_back(1);
    EXPECT_TRUE(isWellFormedForm(more, &consumed));
    EXPECT_EQ(consumed, good.size());
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_FALSE(isWellFormedForm(Bytes(good.begin(), good.begin() + static_cast<long>(length)), nullptr))
            << length;
    less[3] -= 1; // the records need that byte
    EXPECT_FALSE(isWellFormedForm(less, nullptr));
    large[0] = 1; // beyond the limit
    EXPECT_FALSE(isWellFormedForm(large, nullptr));
    EXPECT_FALSE(isWellFormedForm({0, 0, 0, 7, 8}, nullptr)) << "empty, in less than a header";
}
