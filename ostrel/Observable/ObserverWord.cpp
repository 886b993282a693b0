#include "ostrel/internal/ObserverWord.h"

#if UINTPTR_MAX != UINT32_MAX

#include <algorithm>
#include <mutex>
#include <new>

#include "ostrel/AutoPtr.h"

namespace Ostrel {

namespace {

/// The words by address: open addressing, never more than half full. Slots are only ever filled, so that they are read
/// without a lock.
struct SlotTable
{
    std::atomic<uint32_t>& findSlot(Observer* observer, uint32_t& word) const;
    void fill(Observer* observer, uint32_t word);

    uint32_t capacity; ///< Of `observers`; there are twice as many slots.
    std::atomic<uint32_t>* slots;
    Observer** observers;      ///< What `observersByWord` was or is.
    const SlotTable* previous; ///< Keeps what was replaced in sight of leak checkers.
};

constexpr uint32_t FIRST_CAPACITY = 256;

// All static and constant from the start: the first 255 observers of a process take nothing from the heap, and nothing
// is destroyed, since static observers may still be removed while the process exits.
Observer* firstObservers[FIRST_CAPACITY]; // word 0 is the null pointer's
std::atomic<uint32_t> firstSlots[2 * FIRST_CAPACITY];
SlotTable firstTable = {FIRST_CAPACITY, firstSlots, firstObservers, nullptr};
std::atomic<SlotTable*> currentTable{&firstTable};

std::mutex changeLock; // a leaf, and the one for what follows
uint32_t wordCount = 1;

/// The slot that holds the observer's word, or the empty one where it belongs. `word` is what was read from it: a
/// second look at an empty slot could find the word of another observer.
std::atomic<uint32_t>& SlotTable::findSlot(Observer* observer, uint32_t& word) const
{
    // Neighbouring addresses differ in low bits only; times 2^64 / golden ratio, they differ in the high ones.
    const uint64_t hash = reinterpret_cast<uintptr_t>(observer) * 0x9E3779B97F4A7C15u;
    const size_t mask = 2 * size_t{capacity} - 1;
    for (size_t index = hash >> 32;; ++index) {
        std::atomic<uint32_t>& slot = slots[index & mask];
        word = slot.load(std::memory_order_acquire);
        if (word == 0 || observerFromWord(word) == observer)
            return slot;
    }
}

/// Under the lock. The observer's address is readable by its word before the word is.
void SlotTable::fill(Observer* observer, uint32_t word)
{
    uint32_t none;
    findSlot(observer, none).store(word, std::memory_order_release);
}

uint32_t findWord(Observer* observer)
{
    uint32_t word;
    currentTable.load(std::memory_order_acquire)->findSlot(observer, word);
    return word;
}

/// Twice the room. What is replaced is left to those who may be reading it: all of it together is no more than the new.
bool grow()
{
    const SlotTable* const old = currentTable.load(std::memory_order_relaxed);
    const uint32_t capacity = 2 * old->capacity;
    AutoPtr<Observer*[]> observers(new (std::nothrow) Observer*[capacity]);
    AutoPtr<std::atomic<uint32_t>[]> slots(new (std::nothrow) std::atomic<uint32_t>[2 * size_t{capacity}]());
    AutoPtr<SlotTable> table(new (std::nothrow) SlotTable{capacity, slots.get(), observers.get(), old});
    if (capacity == 0 || !observers || !slots || !table)
        return false;

    std::copy(old->observers, old->observers + wordCount, observers.get());
    for (uint32_t word = 1; word < wordCount; ++word)
        table->fill(observers[word], word);
    slots.release();
    observersByWord.store(observers.release(), std::memory_order_release);
    currentTable.store(table.release(), std::memory_order_release);
    return true;
}

uint32_t makeWord(Observer* observer)
{
    const std::lock_guard<std::mutex> guard(changeLock);
    if (const uint32_t word = findWord(observer))
        return word; // another thread was faster
    if (wordCount == currentTable.load(std::memory_order_relaxed)->capacity && !grow())
        return 0;

    SlotTable* const table = currentTable.load(std::memory_order_relaxed);
    table->observers[wordCount] = observer;
    table->fill(observer, wordCount);
    return wordCount++;
}

} // namespace

std::atomic<Observer**> observersByWord{firstObservers};

uint32_t observerWord(Observer* observer)
{
    if (observer == nullptr)
        return 0;
    const uint32_t word = findWord(observer);
    return word != 0 ? word : makeWord(observer);
}

} // namespace Ostrel

#endif
