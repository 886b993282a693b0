// Operation sequences, two bytes each, on a stack allocator and a chunk pool in heap blocks of exactly their size.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/HeapStack.h"
#include "ostrel/MemPool.h"

namespace {

struct Block
{
    unsigned char* data;
    unsigned int size;
    unsigned int freeBefore;
};

void useStack(Ostrel::HeapStack& stack, std::vector<Block>& blocks, uint8_t operation, uint8_t argument)
{
    if (operation % 2 == 0) {
        const unsigned int freeBefore = stack.getFreeCount();
        unsigned char* const data = stack.allocate(argument);
        require((data != nullptr) == (freeBefore >= argument + 8U));
        if (data == nullptr)
            return;
        std::fill_n(data, argument, static_cast<unsigned char>(blocks.size()));
        blocks.push_back({data, argument, freeBefore});
    } else if (!blocks.empty()) {
        const size_t index = argument % blocks.size(); // the younger ones go with it
        const Block& block = blocks[index];
        require(std::count(block.data, block.data + block.size, static_cast<unsigned char>(index)) == block.size);
        stack.free(block.data);
        require(stack.getFreeCount() == block.freeBefore);
        blocks.resize(index);
    }
}

void usePool(Ostrel::DynamicMemPool& pool, std::set<unsigned char*>& taken, unsigned int chunkSize, uint8_t operation,
             uint8_t argument)
{
    if (operation % 3 != 0) {
        unsigned char* const chunk = static_cast<unsigned char*>(pool.allocate());
        require((chunk == nullptr) == (taken.size() == pool.getChunkCount()));
        if (chunk == nullptr)
            return;
        std::fill_n(chunk, chunkSize, 0xFF);
        require(taken.insert(chunk).second);
    } else if (!taken.empty()) {
        const auto chunk = std::next(taken.begin(), argument % static_cast<int>(taken.size()));
        pool.release(*chunk + argument % chunkSize);
        taken.erase(chunk);
    }
    require(pool.getFreeChunks() == pool.getChunkCount() - taken.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    const unsigned int stackSize = data[0] * 2U;
    const unsigned int poolSize = data[1] * 4U;
    const unsigned int chunkSize = data[2] % 50U + 1;
    const std::unique_ptr<unsigned char[]> stackBuffer(new unsigned char[stackSize]);
    const std::unique_ptr<unsigned char[]> poolBuffer(new unsigned char[poolSize]);
    Ostrel::HeapStack stack(stackBuffer.get(), stackSize);
    Ostrel::DynamicMemPool pool(chunkSize, poolBuffer.get(), poolSize);
    std::vector<Block> blocks;
    std::set<unsigned char*> taken;
    for (size_t i = 3; i + 1 < size; i += 2) {
        useStack(stack, blocks, data[i], data[i + 1]);
        usePool(pool, taken, chunkSize, data[i], data[i + 1]);
    }
    return 0;
}
