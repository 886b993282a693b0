/// How an observer is written down in the four bytes that a registry has for it.
///
/// Where pointers have four bytes the word is the address. Elsewhere a process-wide table gives every address a word of
/// its own, so that a registry has the same layout and the same capacity on every host.
///
/// Units:     0 is the word of the null pointer.
/// Ownership: observers are borrowed. A word belongs to its address for ever, since a registry buffer may be dropped
///            with its words in it; an observer made later at the same address has the same word, as it has the same
///            address.
/// Errors:    `observerWord` gives 0 for an address when there is no memory to note it.
/// Threads:   all may be called from any thread. The table's lock is held only inside `observerWord` and
///            `findObserverWord`; `observerFromWord` takes none.
#pragma once

#include <cstdint>

namespace Ostrel {

class Observer;

#if UINTPTR_MAX == UINT32_MAX

inline uint32_t observerWord(Observer* observer)
{
    return reinterpret_cast<uint32_t>(observer);
}

inline bool findObserverWord(Observer* observer, uint32_t& word)
{
    word = observerWord(observer);
    return true;
}

inline Observer* observerFromWord(uint32_t word)
{
    return reinterpret_cast<Observer*>(word);
}

#else

/// The word of `observer`, given out now if it has none yet.
uint32_t observerWord(Observer* observer);

/// Sets `word` and is true if `observer` has a word already. Never makes one.
bool findObserverWord(Observer* observer, uint32_t& word);

/// The addresses by word, in blocks of 256, 512, 1024 ... so that a block once filled never moves.
struct ObserverBlocks
{
    static constexpr unsigned int FIRST_BITS = 8;
    static constexpr uint32_t FIRST_SIZE = 1u << FIRST_BITS;
    static constexpr unsigned int COUNT = 32 - FIRST_BITS;

    struct Place
    {
        explicit Place(uint32_t word)
            : block(31u - static_cast<unsigned int>(__builtin_clz(word + FIRST_SIZE)) - FIRST_BITS),
              offset(word + FIRST_SIZE - (FIRST_SIZE << block))
        {}

        unsigned int block;
        uint32_t offset;
    };

    static Observer** _blocks[COUNT];
};

/// The observer behind a word that `observerWord` gave. Whoever holds the word got it after its entry was written, so
/// plain reads are enough.
inline Observer* observerFromWord(uint32_t word)
{
    const ObserverBlocks::Place place(word);
    return ObserverBlocks::_blocks[place.block][place.offset];
}

#endif

} // namespace Ostrel
