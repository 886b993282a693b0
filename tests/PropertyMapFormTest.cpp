#include "tests/support/AllocationFaults.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/PropertyMapSample.h"

using namespace std::string_literals;

namespace {

const std::string FORM(reinterpret_cast<const char*>(PropertyMapSample::FORM), sizeof(PropertyMapSample::FORM));

/// Reads `form` into a map of `size` bytes with guards and gives what `initialize` returned.
struct Reading
{
    Reading(const std::string& form, unsigned int size) : buffer(size), map(buffer.data(), size)
    {
        map.insert(77, true);
        const unsigned char* const start = reinterpret_cast<const unsigned char*>(form.data());
        const unsigned char* cursor = start;
        EXPECT_EQ(countAllocations([&] { code = map.initialize(&cursor); }), 0u);
        consumed = cursor - start;
        EXPECT_TRUE(buffer.areGuardsIntact());
    }

    GuardedBuffer buffer;
    PropertyMap map;
    PropertyMap_ReturnCode code;
    long consumed;
};

void expectForm(const PropertyMap& map)
{
    ASSERT_EQ(map.externalize(nullptr, 0), FORM.size());
    for (unsigned int size = 0; size <= FORM.size() + 1; ++size) {
        SCOPED_TRACE(size);
        GuardedBuffer dest(size);
        unsigned int length = 1;
        ASSERT_EQ(countAllocations([&] { length = map.externalize(dest.data(), size); }), 0u);
        ASSERT_EQ(length, size < FORM.size() ? 0 : FORM.size());
        ASSERT_TRUE(dest.areGuardsIntact());
        ASSERT_TRUE(size < FORM.size() || dest.copy() == FORM + std::string(size - FORM.size(), GuardedBuffer::FILL));
    }
}

} // namespace

TEST(PropertyMapFormTest, BytesAreTheSameOnEveryHostAndFillExactlyTheSizeAskedFor)
{
    expectForm(PropertyMapSample().map);
    const unsigned int size = PropertyMap::externalizedSize(PropertyMapSample::FORM);
    Reading exact(FORM, size);
    EXPECT_EQ(exact.code, PM_RC_OK);
    EXPECT_EQ(exact.consumed, static_cast<long>(FORM.size()));
    EXPECT_EQ(exact.map.getUnusedSpace(), 0u);
    EXPECT_TRUE(PropertyMap::isWellFormed(exact.buffer.data(), size));
    expectForm(exact.map);

    // Values are laid out in record order.
    unsigned int end = 8;
    const PropertyMap::KeyValuePair* entry = exact.map.getKeyTableEntry();
    for (unsigned int i = 0; i < exact.map.getNumEntries(); ++i, ++entry) {
        if (PropertyMap::isOffsetStored(entry)) {
            EXPECT_EQ(PropertyMap::getValueOffset(entry), end);
            end += exact.map.getValueSize(PropertyMap::getValueType(entry), end);
        }
    }

    Reading less(FORM, size - 1);
    EXPECT_EQ(less.code, PM_RC_BUFFER_TOO_SMALL);
    EXPECT_EQ(less.consumed, 4);
    EXPECT_EQ(less.map.getNumEntries(), 0u);
}

TEST(PropertyMapFormTest, BrokenFormsStopWhereTheyBreak)
{
    // What stands behind a size word of 64; code and length of the reading, and the keys that are there then.
    static const std::tuple<const char*, std::string, PropertyMap_ReturnCode, long, const char*> CASES[] = {
        // clang-format off
        {"unordered", "\1\0\0\0\x9\0\0\0\1" "\x80\0\0\0\2" "\0\0\0\0\xC" "\x8"s, PM_RC_OK, 24, "2 9 12 "},
        {"duplicate", "\x80\0\0\0\2" "\0\0\0\0\2" "\x8"s, PM_RC_KEY_EXISTS, 14, "2 "},
        {"late duplicate", "\x80\0\0\0\2" "\0\0\0\0\4" "\x80\0\0\0\2" "\x8"s, PM_RC_KEY_EXISTS, 19, "2 4 "},
        {"long key twice", "\1\1\0\0\0\0\0\0\5" "\1\1\0\0\0\0\0\0\5" "\x8"s, PM_RC_KEY_EXISTS, 22, "16777216 "},
        {"double twice", "\3\0\0\0\2\0\0\0\0\0\0\0\0" "\3\0\0\0\2\0\0\0\0\0\0\0\0" "\x8"s, PM_RC_KEY_EXISTS, 30,
         "2 "},
        {"type 7", "\x80\0\0\0\2" "\7\0\0\0\4" "\x8"s, PM_RC_TYPE_MISMATCH, 14, ""},
        {"type 0x81", "\x81\0\0\0\2" "\x8"s, PM_RC_TYPE_MISMATCH, 9, ""},
        {"huge length", "\0\0\0\0\1" "\5\0\0\0\2\xFF\xFF\xFF\xF8" "\x8"s, PM_RC_NO_SPACE, 18, "1 "},
        {"huge nested size", "\6\0\0\0\2\xFF\xFF\xFF\xFC\x8" "\x8"s, PM_RC_NO_SPACE, 9, ""},
        {"nested type", "\6\0\0\0\2\0\0\0\x10" "\x9\0\0\0\1" "\x8\x8"s, PM_RC_TYPE_MISMATCH, 18, "2 "},
        {"nested duplicate", "\6\0\0\0\2\0\0\0\x18" "\0\0\0\0\1" "\0\0\0\0\1" "\x8\x8"s, PM_RC_KEY_EXISTS, 23, "2 "},
        {"nested map too small", "\6\0\0\0\2\0\0\0\x8" "\0\0\0\0\1" "\x8\x8"s, PM_RC_NO_SPACE, 18, "2 "},
        {"good", "\6\0\0\0\2\0\0\0\x10" "\0\0\0\0\1" "\x8" "\4\0\0\0\3x\0" "\x8"s, PM_RC_OK, 27, "2 3 "},
        // clang-format on
    };
    for (const auto& [name, records, code, consumed, expectedKeys] : CASES) {
        SCOPED_TRACE(name);
        const std::string form = "\0\0\0\x40"s + records;
        const Reading reading(form, 64);
        EXPECT_EQ(reading.code, code);
        EXPECT_EQ(reading.consumed, consumed);
        std::string keys;
        for (PropertyMap::Iterator i = reading.map.begin(); i != reading.map.end(); ++i)
            keys += std::to_string(i.getKey()) + " ";
        EXPECT_EQ(keys, expectedKeys);
        EXPECT_EQ(PropertyMap::isWellFormedExternalized(reinterpret_cast<const unsigned char*>(form.data()),
                                                        static_cast<unsigned int>(form.size()), nullptr),
                  name == "good"s);
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
