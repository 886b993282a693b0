#include "ostrel/Observable/ObserverWord.h"

#if UINTPTR_MAX != UINT32_MAX

#include <mutex>
#include <new>
#include <type_traits>

namespace Ostrel {

namespace {

// The first 255 observers of a process need no memory from the heap; word 0 is the null pointer's.
Observer* firstBlock[ObserverBlocks::FIRST_SIZE];

/// Finds the word of an address: open addressing over the blocks, never more than half full.
class ObserverTable
{
public:
    static ObserverTable& getInstance();

    uint32_t findWord(Observer* observer);
    uint32_t makeWord(Observer* observer);

private:
    static constexpr size_t FIRST_SLOT_COUNT = 2 * ObserverBlocks::FIRST_SIZE;
    static constexpr uint32_t WORD_LIMIT = UINT32_MAX - ObserverBlocks::FIRST_SIZE;

    uint32_t& findSlot(Observer* observer);
    bool addBlock(unsigned int block);
    bool growSlots();

    std::mutex _lock; // a leaf: nothing is called out of the table while it is held
    uint32_t _wordCount = 1;
    size_t _slotMask = FIRST_SLOT_COUNT - 1;
    uint32_t* _slots = _firstSlots;
    uint32_t _firstSlots[FIRST_SLOT_COUNT] = {};
};

ObserverTable& ObserverTable::getInstance()
{
    // Made at compile time and never destroyed: static observers may still be removed while the process exits.
    static ObserverTable table;
    static_assert(std::is_trivially_destructible<ObserverTable>::value, "registries outlive static destructors");
    return table;
}

/// The slot that holds the observer's word, or the empty one where it belongs.
uint32_t& ObserverTable::findSlot(Observer* observer)
{
    // Neighbouring addresses differ in low bits only: multiplied by 2^64 / golden ratio, they differ in the high ones.
    const uint64_t hash = reinterpret_cast<uintptr_t>(observer) * 0x9E3779B97F4A7C15u;
    for (size_t index = hash >> 32;; ++index) {
        uint32_t& slot = _slots[index & _slotMask];
        if (slot == 0 || observerFromWord(slot) == observer)
            return slot;
    }
}

uint32_t ObserverTable::findWord(Observer* observer)
{
    const std::lock_guard<std::mutex> guard(_lock);
    return findSlot(observer);
}

uint32_t ObserverTable::makeWord(Observer* observer)
{
    const std::lock_guard<std::mutex> guard(_lock);
    if (const uint32_t word = findSlot(observer))
        return word;

    const ObserverBlocks::Place place(_wordCount);
    if (_wordCount == WORD_LIMIT || !addBlock(place.block) || (_wordCount > _slotMask / 2 && !growSlots()))
        return 0;

    ObserverBlocks::_blocks[place.block][place.offset] = observer;
    findSlot(observer) = _wordCount;
    return _wordCount++;
}

bool ObserverTable::addBlock(unsigned int block)
{
    Observer**& addresses = ObserverBlocks::_blocks[block];
    if (addresses == nullptr)
        addresses = new (std::nothrow) Observer*[static_cast<size_t>(ObserverBlocks::FIRST_SIZE) << block];
    return addresses != nullptr;
}

bool ObserverTable::growSlots()
{
    const size_t mask = 2 * _slotMask + 1;
    uint32_t* const old = _slots;
    uint32_t* const slots = new (std::nothrow) uint32_t[mask + 1]();
    if (slots == nullptr)
        return false;

    _slots = slots;
    _slotMask = mask;
    for (uint32_t word = 1; word < _wordCount; ++word)
        findSlot(observerFromWord(word)) = word;
    if (old != _firstSlots)
        delete[] old;
    return true;
}

} // namespace

Observer** ObserverBlocks::_blocks[COUNT] = {firstBlock};

uint32_t observerWord(Observer* observer)
{
    return observer == nullptr ? 0 : ObserverTable::getInstance().makeWord(observer);
}

bool findObserverWord(Observer* observer, uint32_t& word)
{
    word = observer == nullptr ? 0 : ObserverTable::getInstance().findWord(observer);
    return word != 0 || observer == nullptr;
}

} // namespace Ostrel

#endif
