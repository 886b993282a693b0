#include "ostrel/MemPool.h"

#include <set>

#include "tests/support/TestIncludes.h"

using namespace Ostrel;

/// Always the lowest free chunk, whatever came back and in which order.
static void exercise(DynamicMemPool& pool, unsigned int count, unsigned int chunkSize)
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

TEST(MemPoolTest, ChunksWhoseReciprocalIsNotExact)
{
    DynamicMemPool pool(65537, 9); // the last byte of a chunk times 2^32 / 65537, rounded up, is in the next one
    exercise(pool, 9, 65537);
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
    unsigned char full[] = {0, 0, 2}; // the last byte is another's
    EXPECT_EQ(MemPoolBase::allocate(3, 2, buffer, full), nullptr);
    EXPECT_EQ(MemPoolBase::release(3, 2, buffer, full, buffer + 48), full + 2);
    EXPECT_EQ(full[2], 2);
}
