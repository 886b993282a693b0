#include <gtest/gtest.h>

#include <new>

#include "ostrel/DynamicPropertyMap.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/PropertyMapSample.h"

namespace {

using Bytes = std::vector<unsigned char>;

const unsigned int FORM_LENGTH = sizeof(PropertyMapSample::FORM);

Bytes sampleForm()
{
    return Bytes(PropertyMapSample::FORM, PropertyMapSample::FORM + FORM_LENGTH);
}

/// Reads `form` into a map of `size` bytes with guards and gives what `initialize` returned.
class Reading
{
public:
    Reading(const Bytes& form, unsigned int size) : buffer(size), map(buffer.data(), size), _form(form)
    {
        map.insert(77, true);
        const unsigned char* cursor = _form.data();
        code = map.initialize(&cursor);
        consumed = cursor - _form.data();
        EXPECT_TRUE(buffer.areGuardsIntact());
    }

    GuardedBuffer buffer;
    PropertyMap map;
    PropertyMap_ReturnCode code;
    long consumed;

private:
    Bytes _form;
};

} // namespace

TEST(PropertyMapFormTest, BytesAreTheSameOnEveryHost)
{
    const PropertyMapSample sample;
    ASSERT_EQ(sample.map.externalize(nullptr, 0), FORM_LENGTH);
    for (unsigned int size = 0; size <= FORM_LENGTH + 1; ++size) {
        SCOPED_TRACE(size);
        GuardedBuffer dest(size);
        const Bytes before = dest.copy();
        ASSERT_EQ(sample.map.externalize(dest.data(), size), size < FORM_LENGTH ? 0 : FORM_LENGTH);
        ASSERT_TRUE(dest.areGuardsIntact());
        if (size < FORM_LENGTH)
            continue;
        Bytes written = dest.copy();
        if (size > FORM_LENGTH) {
            EXPECT_EQ(written.back(), GuardedBuffer::FILL);
        }
        written.resize(FORM_LENGTH);
        EXPECT_EQ(written, sampleForm());
    }
}

TEST(PropertyMapFormTest, EmptyMapIsItsSizeAndTheTerminator)
{
    unsigned char bytes[100];
    const PropertyMap map(bytes, sizeof(bytes));
    unsigned char form[5];
    EXPECT_EQ(map.externalize(nullptr, 0), 5u);
    EXPECT_EQ(map.externalize(form, 4), 0u);
    EXPECT_EQ(map.externalize(form, 5), 5u);
    EXPECT_EQ(memcmp(form, "\0\0\0\x08\x08", 5), 0);
}

TEST(PropertyMapFormTest, ReadBackFillsExactlyTheSizeAskedFor)
{
    const unsigned int size = PropertyMap::externalizedSize(PropertyMapSample::FORM);
    Reading exact(sampleForm(), size);
    EXPECT_EQ(exact.code, PM_RC_OK);
    EXPECT_EQ(exact.consumed, static_cast<long>(FORM_LENGTH));
    EXPECT_EQ(exact.map.getUnusedSpace(), 0u);
    EXPECT_TRUE(PropertyMap::isWellFormed(exact.buffer.data(), size));
    unsigned char again[FORM_LENGTH];
    EXPECT_EQ(exact.map.externalize(again, sizeof(again)), FORM_LENGTH);
    EXPECT_EQ(Bytes(again, again + FORM_LENGTH), sampleForm());

    // Values are laid out in record order, just as single inserts would have done it.
    const PropertyMapSample sample;
    GuardedBuffer inserted(size);
    PropertyMap byHand(inserted.data(), size);
    int keys[] = {INT32_MIN, 1, 2, 3, 4, 5, 6, 7, 0x01000000};
    for (int key : keys) {
        const PropertyMap::KeyValuePair* entry = exact.map.getKeyTableEntry() + exact.map.findKey(key);
        const unsigned char* data = nullptr;
        unsigned int length = 0;
        if (exact.map.get(entry, &data, &length) == PM_RC_OK) {
            byHand.insert(key, data, length, PropertyMap::getValueType(entry));
        } else if (key == 5) {
            byHand.insert(key, "hi");
        } else if (key == 4) {
            byHand.insert(key, -1.5);
        } else if (key == 3) {
            byHand.insert(key, 1.0f);
        } else if (key == 2 || key < 0) {
            byHand.insert(key, key < 0);
        } else {
            byHand.insert(key, key == 1 ? 258 : 0x01020304);
        }
    }
    EXPECT_EQ(exact.buffer.copy(), inserted.copy());

    Reading less(sampleForm(), size - 1);
    EXPECT_EQ(less.code, PM_RC_BUFFER_TOO_SMALL);
    EXPECT_EQ(less.consumed, 4);
    EXPECT_EQ(less.map.getNumEntries(), 0u);
}

TEST(PropertyMapFormTest, FloatingPointComesBackBitForBit)
{
    for (uint64_t bits : {0x7FF8000000000123ull, 0xFFF0000000000001ull, 0x8000000000000000ull, 1ull}) {
        unsigned char bytes[100];
        PropertyMap map(bytes, sizeof(bytes));
        double number;
        float single;
        const uint32_t half = static_cast<uint32_t>(bits >> 32);
        memcpy(&number, &bits, sizeof(number));
        memcpy(&single, &half, sizeof(single));
        map.insert(1, number);
        map.insert(2, single);
        map.insert(-2, single);
        unsigned char form[100];
        ASSERT_NE(map.externalize(form, sizeof(form)), 0u);
        const unsigned char* cursor = form;
        ASSERT_EQ(map.initialize(&cursor), PM_RC_OK);
        map.get(1, &number);
        EXPECT_EQ(memcmp(&number, &bits, sizeof(number)), 0);
        for (int key : {2, -2}) {
            map.get(key, &single);
            EXPECT_EQ(memcmp(&single, &half, sizeof(single)), 0);
        }
    }
}

TEST(PropertyMapFormTest, BrokenFormsStopWhereTheyBreak)
{
    struct Case
    {
        const char* name;
        Bytes records; // behind a size word of 64
        PropertyMap_ReturnCode code;
        long consumed;
        const char* keys; // of the map afterwards
        bool isWellFormed;
    };
    static const Case CASES[] = {
        {"unordered", {1, 0, 0, 0, 9, 0, 0, 0, 1, 0x80, 0, 0, 0, 2, 0, 0, 0, 0, 12, 8}, PM_RC_OK, 24, "2 9 12 ", false},
        {"duplicate", {0x80, 0, 0, 0, 2, 0, 0, 0, 0, 2, 8}, PM_RC_KEY_EXISTS, 14, "2 ", false},
        {"late duplicate", {0x80, 0, 0, 0, 2, 0, 0, 0, 0, 4, 0x80, 0, 0, 0, 2, 8}, PM_RC_KEY_EXISTS, 19, "2 4 ", false},
        {"type 7", {0x80, 0, 0, 0, 2, 7, 0, 0, 0, 4, 8}, PM_RC_TYPE_MISMATCH, 14, "", false},
        {"type 0x81", {0x81, 0, 0, 0, 2, 8}, PM_RC_TYPE_MISMATCH, 9, "", false},
        {"length near the limit",
         {0, 0, 0, 0, 1, 5, 0, 0, 0, 2, 0xFF, 0xFF, 0xFF, 0xF8, 8},
         PM_RC_NO_SPACE,
         18,
         "1 ",
         false},
        {"nested size near the limit", {6, 0, 0, 0, 2, 0xFF, 0xFF, 0xFF, 0xFC, 8, 8}, PM_RC_NO_SPACE, 9, "", false},
        {"nested type",
         {0, 0, 0, 0, 1, 6, 0, 0, 0, 2, 0, 0, 0, 16, 9, 0, 0, 0, 1, 8, 8},
         PM_RC_TYPE_MISMATCH,
         23,
         "1 2 ",
         false},
        {"nested duplicate",
         {6, 0, 0, 0, 2, 0, 0, 0, 24, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 8, 8},
         PM_RC_KEY_EXISTS,
         23,
         "2 ",
         false},
        {"nested map too small for its records",
         {6, 0, 0, 0, 2, 0, 0, 0, 8, 0, 0, 0, 0, 1, 8, 8},
         PM_RC_NO_SPACE,
         18,
         "2 ",
         false},
        {"good", {6, 0, 0, 0, 2, 0, 0, 0, 16, 0, 0, 0, 0, 1, 8, 4, 0, 0, 0, 3, 'x', 0, 8}, PM_RC_OK, 27, "2 3 ", true},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        Bytes form = {0, 0, 0, 64};
        form.insert(form.end(), c.records.begin(), c.records.end());
        Reading reading(form, 64);
        EXPECT_EQ(reading.code, c.code);
        EXPECT_EQ(reading.consumed, c.consumed);
        std::string keys;
        for (PropertyMap::Iterator i = reading.map.begin(); i != reading.map.end(); ++i)
            keys += std::to_string(i.getKey()) + " ";
        EXPECT_EQ(keys, c.keys);
        EXPECT_EQ(PropertyMap::isWellFormedExternalized(form.data(), static_cast<unsigned int>(form.size()), nullptr),
                  c.isWellFormed);
    }
}

TEST(PropertyMapFormTest, DumpShowsEveryEntryAndTheOverhead)
{
    GuardedBuffer buffer(200);
    PropertyMap map(buffer.data(), buffer.size());
    unsigned char empty[100];
    map.insert(-1, -7);
    map.insert(0, 5);
    map.insert(1, 2.5f);
    map.insert(0x01000000, 0.5f);
    map.insert(2, true);
    map.insert(3, 1.25);
    map.insert(4, "text");
    map.insert(5, reinterpret_cast<const unsigned char*>("abc"), 3);
    PropertyMap(empty, sizeof(empty));
    map.insert(6, empty, 8, PM_TYPE_PROPERTY_MAP);
    map.set(6, PropertyMap(empty, 8));
    testing::internal::CaptureStdout();
    map.printContent();
    PropertyMap(empty, 100).printContent();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "########################## PropertyMap Table Content #####################\n"
              "#### The size of table is 200\n"
              "#### The offset of Key Table is 128\n"
              "#### The total number of Key is 9\n"
              "#### The empty space left is 80\n"
              "\t#### Key = [-1], value = [-7] [Integer], buffer offset = [8]\n"
              "\t#### Key = [0], value = [5] [Integer]\n"
              "\t#### Key = [1], value = [2.500000] [Float]\n"
              "\t#### Key = [2], value = [true] [Boolean]\n"
              "\t#### Key = [3], value = [1.250000] [Double], buffer offset = [16]\n"
              "\t#### Key = [4], value = [\"text\"] [String] buffer offset = [24]\n"
              "\t#### Key = [5], length = [3] [Binary], buffer offset = [29]\n"
              "\t#### Key = [6], length = [8] [Map], buffer offset = [36]\n"
              "########################## PropertyMap Table Content #####################\n"
              "#### The size of table is 8\n"
              "#### The offset of Key Table is 8\n"
              "#### The total number of Key is 0\n"
              "#### The empty space left is 0\n"
              "###################### Total Overhead is [8] and about [100.0%]  ######################\n"
              "\t#### Key = [16777216], value = [0.500000] [Float], buffer offset = [12]\n"
              "###################### Total Overhead is [95] and about [47.5%]  ######################\n"
              "########################## PropertyMap Table Content #####################\n"
              "#### The size of table is 100\n"
              "#### The offset of Key Table is 100\n"
              "#### The total number of Key is 0\n"
              "#### The empty space left is 92\n"
              "###################### Total Overhead is [8] and about [8.0%]  ######################\n");
}

TEST(DynamicPropertyMapTest, CopiesAreDeepAndExhaustedMemoryThrows)
{
    unsigned char bytes[64];
    PropertyMap original(bytes, sizeof(bytes));
    original.insert(1, 11);
    unsigned char image[64];
    ASSERT_EQ(original.serialize(image), 64u);
    sweepAllocationFailures([&](AllocationFaults& faults) {
        try {
            faults.arm();
            DynamicPropertyMap fromImage(image, 64);
            DynamicPropertyMap fromMap(original);
            DynamicPropertyMap copy(fromMap);
            faults.disarm();
            fromMap.set(1, 12);
            for (PropertyMap* map :
                 {static_cast<PropertyMap*>(&fromImage), static_cast<PropertyMap*>(&copy), &original}) {
                int value = 0;
                EXPECT_EQ(map->get(1, &value), PM_RC_OK);
                EXPECT_EQ(value, 11);
            }
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    });
    // The image's own size wins over that of the buffer made for it.
    const unsigned char* data = nullptr;
    original.serialize(&data);
    EXPECT_EQ(data, bytes);
    unsigned char larger[80] = {};
    memcpy(larger, image, sizeof(image));
    EXPECT_EQ(DynamicPropertyMap(larger, 80).getSize(), 64u);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // their allocators stop instead
    EXPECT_THROW(DynamicPropertyMap(image, -1), std::bad_alloc);
#endif
}
