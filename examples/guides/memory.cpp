// Counts how often each kind of object goes to the heap.
#include <cstdio>
#include <cstdlib>
#include <new>

#include "ostrel/ArrayList.h"
#include "ostrel/DataObject.h"
#include "ostrel/FixedString.h"
#include "ostrel/HeapStack.h"
#include "ostrel/MemPool.h"
#include "ostrel/Observable/Observable.h"
#include "ostrel/PropertyMap.h"

using namespace Ostrel;

namespace {

unsigned int allocations = 0;

} // namespace

// The library allocates through the application's operators, here all of them, so that each fits its counterpart.
// Neither end of this pair is inline: a compiler that sees one alone warns of it.
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    ++allocations;
    return malloc(size);
}

void* operator new(size_t size)
{
    if (void* block = operator new(size, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void* operator new[](size_t size, const std::nothrow_t& nothrow) noexcept
{
    return operator new(size, nothrow);
}

void* operator new[](size_t size)
{
    return operator new(size);
}

void operator delete(void* block) noexcept
{
    free(block);
}

void operator delete[](void* block) noexcept
{
    free(block);
}

void operator delete(void* block, size_t) noexcept
{
    free(block);
}

void operator delete[](void* block, size_t) noexcept
{
    free(block);
}

[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept
{
    free(block);
}

namespace {

template <class Work>
void count(const char* what, Work work)
{
    allocations = 0;
    work();
    printf("%-45s %s\n", what, allocations == 0 ? "no heap" : "heap");
}

} // namespace

int main()
{
    count("a text of fixed size", [] {
        FixedString<32> text;
        text.assign("pump");
    });
    count("a property map in the caller's buffer", [] {
        unsigned char buffer[64];
        PropertyMap map(buffer, sizeof(buffer));
        map.insert(1, "pump");
    });
    count("blocks of any size, last in first out", [] {
        unsigned char buffer[64];
        HeapStack stack(buffer, sizeof(buffer));
        stack.free(stack.allocate(40));
    });
    count("a list with a bound", [] {
        FixedArrayList<int, 8> list;
        list.append(7);
    });
    count("a list that grows", [] {
        DynamicArrayList<int, 8> list;
        list.append(7);
    });
    count("a tree", [] { const AutoPtr<DataObject> tree = DataObject::parse("{'name': 'pump'}"); });

    // A registry is in the caller's buffer; the object that works on it is made once.
    char registry[64];
    Observable subject(
        nullptr, AutoPtr<ObservableImplementation>(new (std::nothrow) PiloObservableImpl(registry, sizeof(registry))));
    struct : Observer
    {
        void notify(Observable*, const int&, const void*) override {}
    } observer;
    count("registering and notifying observers", [&] {
        subject.addObserver(1, &observer);
        subject.notifyObservers(1);
    });
    return 0;
}
