#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <set>

#include "ostrel/HeapStack.h"
#include "ostrel/MemPool.h"

#define FAILED "Libostrel-HeapStack::validate() failed ! "
#define OUTSIDE FAILED "ptr=%p outside the HeapStack Pool\n"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

/// Always the lowest free chunk, whatever came back and in which order.
void exercise(DynamicMemPool& pool, unsigned int count, unsigned int chunkSize)
{
    ASSERT_EQ(pool.getChunkCount(), count);
    std::mt19937 random(count);
    std::set<unsigned char*> free;
    unsigned char* const storage = static_cast<unsigned char*>(pool.allocate());
    pool.release(storage);
    for (unsigned int i = 0; i < count; ++i)
        free.insert(storage + i * chunkSize);
    for (unsigned int i = 0; i < 10 * count; ++i) {
        ASSERT_EQ(pool.getFreeChunks(), free.size());
        unsigned char* const lowest = free.empty() ? nullptr : *free.begin();
        if (random() % 3 == 0) {
            unsigned char* const chunk = storage + random() % count * chunkSize;
            pool.release(chunk + random() % 2 * (chunkSize - 1)); // any address in it names the chunk
            free.insert(chunk);
        } else {
            ASSERT_EQ(pool.allocate(), lowest);
            std::fill_n(lowest, lowest == nullptr ? 0 : chunkSize, 0xFF); // over the bitmap it would free chunks
            free.erase(lowest);
        }
    }
}

} // namespace

TEST(HeapStackTest, LayoutOfTwoBlocksAndFreeingTheOlder)
{
    unsigned char buffer[64];
    HeapStack stack(buffer, sizeof(buffer));
    EXPECT_EQ(stack.allocate(10), buffer + 50);
    EXPECT_EQ(stack.allocate(4), buffer + 38);
    static const unsigned int WORDS[][2] = {{0, 26}, {30, 26}, {34, 4}, {42, 4}, {46, 10}, {60, 10}};
    for (const auto& word : WORDS)
        EXPECT_EQ(loadU32(buffer + word[0]), word[1]) << "at " << word[0];
    stack.free(buffer + 50);
    EXPECT_EQ(loadU32(buffer), 56u);
    EXPECT_EQ(loadU32(buffer + 60), 56u);
}

TEST(HeapStackTest, BlocksOfAllSizesInBuffersOfAllSizes)
{
    for (unsigned int size = 0; size <= 44; ++size) {
        for (unsigned int n = 0; n <= 36; ++n) {
            SCOPED_TRACE(testing::Message() << n << " bytes in a buffer of " << size);
            const std::unique_ptr<unsigned char[]> buffer(new unsigned char[size]);
            HeapStack stack(buffer.get(), size);
            const unsigned int room = size < 8 ? 0 : size - 8;
            std::vector<unsigned char*> blocks;
            while (unsigned char* const block = stack.allocate(n)) {
                std::fill_n(block, n, static_cast<unsigned char>(blocks.size()));
                blocks.push_back(block);
            }
            ASSERT_EQ(blocks.size(), room / (n + 8));
            for (size_t i = blocks.size(); i-- > 0; stack.free(blocks[i])) {
                ASSERT_EQ(stack.getFreeCount(), room - (i + 1) * (n + 8));
                ASSERT_EQ(std::count(blocks[i], blocks[i] + n, i), n);
            }
            ASSERT_EQ(stack.getFreeCount(), room);
        }
    }
    EXPECT_EQ(HeapStack(nullptr, 64).allocate(0), nullptr);
    unsigned char buffer[64];
    EXPECT_EQ(HeapStack(buffer, 64).allocate(0xFFFFFFFF), nullptr);
}

TEST(HeapStackTest, ValidationSaysWhatIsBroken)
{
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[64]());
    const auto at = [&](unsigned int offset) { return buffer.get() + offset; };
    HeapStack stack(buffer.get(), 64);
    testing::internal::CaptureStdout();
    stack.validate(nullptr);
    stack.validate(stack.allocate(3)); // good, but too near the end
    stack.clear();
    stack.validate(stack.allocate(4));
    storeU32(at(60), 11);
    stack.validate(at(56));
    storeU32(at(52), 0x7FFFFFFF); // the other size would lie far outside
    for (const unsigned int offset : {56, 12, 11, 3, 65})
        stack.validate(at(offset));
    char expected[600];
    snprintf(expected, sizeof(expected),
             OUTSIDE FAILED "Side1ptr=%p, Side2ptr=%p,  side1Size=4 != side2Side=11 \n" //
             FAILED "Side1ptr=%p, Side2ptr=%p,  side1Size=2147483647 != side2Side=0 \n" //
             OUTSIDE OUTSIDE OUTSIDE,
             at(57), at(48), at(60), at(48), at(56 + 0x7FFFFFFFU), at(11), at(3), at(65));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

TEST(MemPoolTest, ChunksOfBothKindsOfPool)
{
    for (const unsigned int count : {1, 7, 8, 9, 12, 64, 300}) {
        for (const unsigned int chunkSize : {1, 3, 8, 40, 4097}) {
            SCOPED_TRACE(testing::Message() << count << " chunks of " << chunkSize);
            DynamicMemPool owning(chunkSize, count);
            exercise(owning, count, chunkSize);
            const std::unique_ptr<unsigned char[]> buffer(new unsigned char[count * chunkSize]); // bits in it
            DynamicMemPool borrowing(chunkSize, buffer.get(), count * chunkSize);
            exercise(borrowing, count * chunkSize * 8 / (chunkSize * 8 + 1), chunkSize);
        }
    }
}

TEST(MemPoolTest, CountsAndAddressesAtTheEdges)
{
    static const unsigned int CASES[][3] = {{8, 100, 12}, {8, 8, 0}, {8, 9, 1}, {0, 3, 24}, {0xFFFFFFFF, 100, 0}};
    unsigned char buffer[100], other;
    for (const auto& c : CASES) {
        DynamicMemPool pool(c[0], buffer, c[1]);
        EXPECT_EQ(pool.getFreeChunks(), c[2]);
        EXPECT_EQ(pool.allocate(), c[2] == 0 ? nullptr : buffer);
        for (unsigned char* const outside : {&other, buffer + 100, static_cast<unsigned char*>(nullptr)})
            pool.release(outside);
        EXPECT_EQ(pool.getFreeChunks(), c[2] == 0 ? 0 : c[2] - 1);
        pool.release(buffer);
        EXPECT_EQ(pool.getFreeChunks(), c[2]);
    }
    EXPECT_EQ(DynamicMemPool(0xFFFFFFFF, 0xFFFFFFFF).allocate(), nullptr); // no such storage
    unsigned char bitmap[] = {0, 0x14};
    EXPECT_EQ(MemPoolBase::allocate(3, 2, buffer, bitmap), buffer + 30);
    EXPECT_EQ(bitmap[1], 0x10);
    for (unsigned int value = 1; value < 256; ++value)
        EXPECT_EQ(MemPoolBase::_bitLookup[value], __builtin_popcount(value) << 4 | __builtin_ctz(value));
    EXPECT_EQ(MemPoolBase::_bitLookup[0], 8);
}
