#include <gtest/gtest.h>

#include <new>

#include "ostrel/DynamicPropertyMap.h"
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

    // Values are laid out in record order.
    unsigned int end = 8;
    for (PropertyMap::Iterator i = exact.map.begin(); i != exact.map.end(); ++i) {
        const PropertyMap::KeyValuePair* entry = exact.map.getKeyTableEntry() + exact.map.findKey(i.getKey());
        if (!PropertyMap::isOffsetStored(entry))
            continue;
        EXPECT_EQ(PropertyMap::getValueOffset(entry), end);
        end += exact.map.getValueSize(i.getType(), end);
    }

    Reading less(sampleForm(), size - 1);
    EXPECT_EQ(less.code, PM_RC_BUFFER_TOO_SMALL);
    EXPECT_EQ(less.consumed, 4);
    EXPECT_EQ(less.map.getNumEntries(), 0u);
}

TEST(PropertyMapFormTest, NotANumberComesBackBitForBit)
{
    const uint64_t bits = 0x7FF8000000000123u;
    const uint32_t half = 0xFFC00045u;
    double number;
    float single;
    memcpy(&number, &bits, sizeof(number));
    memcpy(&single, &half, sizeof(single));
    unsigned char bytes[60];
    unsigned char form[60];
    PropertyMap map(bytes, sizeof(bytes));
    map.insert(1, number);
    map.insert(-2, single);
    ASSERT_NE(map.externalize(form, sizeof(form)), 0u);
    const unsigned char* cursor = form;
    ASSERT_EQ(map.initialize(&cursor), PM_RC_OK);
    map.get(1, &number);
    map.get(-2, &single);
    EXPECT_EQ(memcmp(&number, &bits, sizeof(number)), 0);
    EXPECT_EQ(memcmp(&single, &half, sizeof(single)), 0);
}

TEST(PropertyMapFormTest, BrokenFormsStopWhereTheyBreak)
{
    using namespace std::string_literals;
    struct Case
    {
        const char* name;
        std::string records; // behind a size word of 64
        PropertyMap_ReturnCode code;
        long consumed;
        const char* keys; // of the map afterwards
        bool isWellFormed;
    };
    static const Case CASES[] = {
        // clang-format off
        {"unordered", "\1\0\0\0\x9\0\0\0\1" "\x80\0\0\0\2" "\0\0\0\0\xC" "\x8"s, PM_RC_OK, 24, "2 9 12 ", false},
        {"duplicate", "\x80\0\0\0\2" "\0\0\0\0\2" "\x8"s, PM_RC_KEY_EXISTS, 14, "2 ", false},
        {"late duplicate", "\x80\0\0\0\2" "\0\0\0\0\4" "\x80\0\0\0\2" "\x8"s, PM_RC_KEY_EXISTS, 19, "2 4 ", false},
        {"type 7", "\x80\0\0\0\2" "\7\0\0\0\4" "\x8"s, PM_RC_TYPE_MISMATCH, 14, "", false},
        {"type 0x81", "\x81\0\0\0\2" "\x8"s, PM_RC_TYPE_MISMATCH, 9, "", false},
        {"huge length", "\0\0\0\0\1" "\5\0\0\0\2\xFF\xFF\xFF\xF8" "\x8"s, PM_RC_NO_SPACE, 18, "1 ", false},
        {"huge nested size", "\6\0\0\0\2\xFF\xFF\xFF\xFC\x8" "\x8"s, PM_RC_NO_SPACE, 9, "", false},
        {"nested type", "\6\0\0\0\2\0\0\0\x10" "\x9\0\0\0\1" "\x8\x8"s, PM_RC_TYPE_MISMATCH, 18, "2 ", false},
        {"nested duplicate", "\6\0\0\0\2\0\0\0\x18" "\0\0\0\0\1" "\0\0\0\0\1" "\x8\x8"s, PM_RC_KEY_EXISTS, 23, "2 ", false},
        {"nested map too small", "\6\0\0\0\2\0\0\0\x8" "\0\0\0\0\1" "\x8\x8"s, PM_RC_NO_SPACE, 18, "2 ", false},
        {"good", "\6\0\0\0\2\0\0\0\x10" "\0\0\0\0\1" "\x8" "\4\0\0\0\3x\0" "\x8"s, PM_RC_OK, 27, "2 3 ", true},
        // clang-format on
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
    unsigned char empty[8];
    map.insert(-1, -7);
    map.insert(0, 5);
    map.insert(1, 2.5f);
    map.insert(0x01000000, 0.5f);
    map.insert(2, true);
    map.insert(3, 1.25);
    map.insert(4, "text");
    map.insert(5, reinterpret_cast<const unsigned char*>("abc"), 3);
    map.insert(6, PropertyMap(empty, sizeof(empty)));
    testing::internal::CaptureStdout();
    map.printContent();
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
              "###################### Total Overhead is [95] and about [47.5%]  ######################\n");
}

TEST(DynamicPropertyMapTest, CopiesAreDeep)
{
    unsigned char image[64] = {};
    PropertyMap original(image, 50);
    original.insert(1, 11);
    DynamicPropertyMap fromImage(image, 64);
    DynamicPropertyMap fromMap(original);
    DynamicPropertyMap copy(fromMap);
    fromMap.set(1, 12);
    for (const PropertyMap& map : {original, static_cast<PropertyMap&>(fromImage), static_cast<PropertyMap&>(copy)}) {
        int value = 0;
        EXPECT_EQ(map.get(1, &value), PM_RC_OK);
        EXPECT_EQ(value, 11);
        EXPECT_EQ(map.getSize(), 50u); // the image's own, not that of the buffer made for it
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // their allocators stop instead
    EXPECT_THROW(DynamicPropertyMap(image, -1), std::bad_alloc);
#endif
}
