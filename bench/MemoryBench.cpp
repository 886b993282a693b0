// The chunk pool and the stack allocator beside boost::pool, malloc and glibc's obstack.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <obstack.h>
#include <random>

#include "bench/Benchmarks.h"

#ifdef HAVE_BOOST_POOL
#include <boost/pool/pool.hpp>
#endif

#include "ostrel/HeapStack.h"
#include "ostrel/MemPool.h"

#define obstack_chunk_alloc malloc
#define obstack_chunk_free free

namespace {

const unsigned int CHUNK_SIZE = 40; // a small object; no power of two
const unsigned int CHUNK_COUNT = 1000;
const unsigned int CHUNKS_IN_FLIGHT = 8;
const unsigned int PIECE_COUNT = 100;
const unsigned int STACK_SIZE = 16384;

class OwnPool
{
public:
    void* take() { return _pool.allocate(); }
    void give(void* chunk) { _pool.release(chunk); }

private:
    Ostrel::DynamicMemPool _pool{CHUNK_SIZE, CHUNK_COUNT};
};

class Heap
{
public:
    static void* take() { return malloc(CHUNK_SIZE); }
    static void give(void* chunk) { free(chunk); }
};

#ifdef HAVE_BOOST_POOL
class BoostPool
{
public:
    void* take() { return _pool.malloc(); }
    void give(void* chunk) { _pool.free(chunk); }

private:
    boost::pool<> _pool{CHUNK_SIZE, CHUNK_COUNT};
};
#endif

/// A few chunks live side by side, the oldest goes first. One chunk taken and given at once would measure how long a
/// store takes to be read back.
template <class Pool>
void takeAndGive(benchmark::State& state)
{
    Pool pool;
    std::array<void*, CHUNKS_IN_FLIGHT> chunks;
    for (void*& chunk : chunks)
        chunk = pool.take();
    for (auto _ : state) {
        for (void*& chunk : chunks) {
            pool.give(chunk);
            chunk = pool.take();
            benchmark::DoNotOptimize(chunk);
        }
    }
    for (void* chunk : chunks)
        pool.give(chunk);
    state.SetItemsProcessed(state.iterations() * CHUNKS_IN_FLIGHT);
}

/// All chunks, then back in an order of their own.
template <class Pool>
void takeAllAndShuffle(benchmark::State& state)
{
    std::vector<unsigned int> order(CHUNK_COUNT);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    std::vector<void*> chunks(CHUNK_COUNT);
    Pool pool;
    for (auto _ : state) {
        for (void*& chunk : chunks)
            chunk = pool.take();
        benchmark::ClobberMemory();
        for (unsigned int i : order)
            pool.give(chunks[i]);
    }
    state.SetItemsProcessed(state.iterations() * CHUNK_COUNT);
}

std::array<unsigned int, PIECE_COUNT> makeSizes()
{
    std::mt19937 random(1);
    std::array<unsigned int, PIECE_COUNT> sizes;
    for (unsigned int& size : sizes)
        size = random() % 100;
    return sizes;
}

void stackPieces(benchmark::State& state, bool isAtOnce)
{
    const std::array<unsigned int, PIECE_COUNT> sizes = makeSizes();
    std::vector<unsigned char> storage(STACK_SIZE);
    std::array<unsigned char*, PIECE_COUNT> pieces;
    Ostrel::HeapStack stack(storage.data(), STACK_SIZE);
    for (auto _ : state) {
        for (unsigned int i = 0; i < PIECE_COUNT; ++i)
            pieces[i] = stack.allocate(sizes[i]);
        benchmark::ClobberMemory();
        for (unsigned int i = isAtOnce ? 1 : PIECE_COUNT; i-- > 0;)
            stack.free(pieces[i]);
    }
    state.SetItemsProcessed(state.iterations() * PIECE_COUNT);
}

void obstackPieces(benchmark::State& state, bool isAtOnce)
{
    const std::array<unsigned int, PIECE_COUNT> sizes = makeSizes();
    std::array<void*, PIECE_COUNT> pieces;
    obstack stack;
    obstack_begin(&stack, STACK_SIZE);
    for (auto _ : state) {
        for (unsigned int i = 0; i < PIECE_COUNT; ++i)
            pieces[i] = obstack_alloc(&stack, sizes[i]);
        benchmark::ClobberMemory();
        for (unsigned int i = isAtOnce ? 1 : PIECE_COUNT; i-- > 0;)
            obstack_free(&stack, pieces[i]);
    }
    obstack_free(&stack, nullptr);
    state.SetItemsProcessed(state.iterations() * PIECE_COUNT);
}

template <class Pool>
void registerPool(const std::string& library)
{
    addBenchmark("pool", "8 in flight", library, takeAndGive<Pool>);
    addBenchmark("pool", "1000 shuffled", library, takeAllAndShuffle<Pool>);
}

} // namespace

void registerMemoryBenchmarks()
{
    registerPool<OwnPool>("ostrel");
    registerPool<Heap>("malloc");
#ifdef HAVE_BOOST_POOL
    registerPool<BoostPool>("boost::pool");
#endif
    for (const bool isAtOnce : {false, true}) {
        const std::string input = isAtOnce ? "100 freed at once" : "100 pieces";
        addBenchmark("stack allocator", input, "ostrel", stackPieces, isAtOnce);
        addBenchmark("stack allocator", input, "obstack", obstackPieces, isAtOnce);
    }
}
