#include "tests/support/AllocationFaults.h"

namespace {

std::atomic<long> liveBlocks{0};

void* count(void* block)
{
    if (block != nullptr)
        ++liveBlocks;
    return block;
}

} // namespace

long AllocationFaults::getLiveBlocks()
{
    return liveBlocks;
}

bool AllocationFaults::shouldFail()
{
    if (current == nullptr)
        return false;
    const unsigned int number = current->_count++;
    return current->_mode != FAIL_NONE &&
           (number == current->_index || (current->_mode == FAIL_ALL_LATER && number > current->_index));
}

void sweepAllocationFailures(const std::function<bool(AllocationFaults&)>& work)
{
    const unsigned int MOST_ROUNDS = 5000;
    for (AllocationFaults::Mode mode : {AllocationFaults::FAIL_ONE, AllocationFaults::FAIL_ALL_LATER}) {
        bool reached = true;
        for (unsigned int index = 0; reached; ++index) {
            ASSERT_LT(index, MOST_ROUNDS) << "the work never gets by with its allocations";
            SCOPED_TRACE(testing::Message() << "allocation " << index << " fails, mode " << mode);
            const long before = AllocationFaults::getLiveBlocks();
            AllocationFaults faults(mode, index);
            const bool completed = work(faults);
            faults.disarm();
            reached = faults.getCount() > index;
            EXPECT_TRUE(faults.isRepeated()) << "whether it works with memory back was not seen";
            EXPECT_TRUE(reached || completed) << "nothing failed, yet the work was not completed";
            EXPECT_EQ(AllocationFaults::getLiveBlocks(), before) << "blocks are left";
        }
    }
}

unsigned int countAllocations(const std::function<void()>& work)
{
    AllocationFaults counter(AllocationFaults::FAIL_NONE, 0);
    counter.during(work);
    return counter.getCount();
}

// The linker sends the calls of the C allocation functions here (-Wl,--wrap), those of the library's objects above all.
extern "C" {
void* __real_malloc(size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);
void __real_free(void* block);

void* __wrap_malloc(size_t size)
{
    return AllocationFaults::shouldFail() ? nullptr : count(__real_malloc(size == 0 ? 1 : size));
}

void* __wrap_realloc(void* block, size_t size)
{
    if (AllocationFaults::shouldFail())
        return nullptr;
    void* result = __real_realloc(block, size);
    if (block == nullptr)
        return count(result);
    if (size == 0)
        --liveBlocks;
    return result;
}

char* __wrap_strdup(const char* text)
{
    return AllocationFaults::shouldFail() ? nullptr : static_cast<char*>(count(__real_strdup(text)));
}

void __wrap_free(void* block)
{
    if (block != nullptr)
        --liveBlocks;
    __real_free(block);
}
}

// All forms, plain and for arrays, as the sanitizers bring their own of each.
#define REPLACE_OPERATORS(KIND)                                                                                        \
    void* operator new KIND(size_t size)                                                                               \
    {                                                                                                                  \
        void* const block = malloc(size);                                                                              \
        return block != nullptr ? block : throw std::bad_alloc();                                                      \
    }                                                                                                                  \
    void* operator new KIND(size_t size, const std::nothrow_t&) noexcept                                               \
    {                                                                                                                  \
        return malloc(size);                                                                                           \
    }                                                                                                                  \
    void operator delete KIND(void* block) noexcept                                                                    \
    {                                                                                                                  \
        free(block);                                                                                                   \
    }                                                                                                                  \
    void operator delete KIND(void* block, size_t) noexcept                                                            \
    {                                                                                                                  \
        free(block);                                                                                                   \
    }                                                                                                                  \
    void operator delete KIND(void* block, const std::nothrow_t&) noexcept                                             \
    {                                                                                                                  \
        free(block);                                                                                                   \
    }

REPLACE_OPERATORS()
REPLACE_OPERATORS([])
