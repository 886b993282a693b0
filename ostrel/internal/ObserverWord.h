/// Not installed: internal to the library.
///
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
/// Threads:   all may be called from any thread. Only giving out a new word takes the table's lock.
#pragma once

#include <atomic>
#include <cstdint>

namespace Ostrel {

class Observer;

#if UINTPTR_MAX == UINT32_MAX

inline uint32_t observerWord(Observer* observer)
{
    return reinterpret_cast<uint32_t>(observer);
}

inline Observer* observerFromWord(uint32_t word)
{
    return reinterpret_cast<Observer*>(word);
}

struct ObserverWords
{
    Observer* operator[](uint32_t word) const { return observerFromWord(word); }
};

#else

/// The word of `observer`, given out now if it has none yet.
uint32_t observerWord(Observer* observer);

/// The addresses by word. Replaced by a longer copy when full; the old one stays, since another thread may be reading.
extern std::atomic<Observer**> observersByWord;

/// The observer behind a word that `observerWord` gave. Whoever holds the word got it after its address was written.
inline Observer* observerFromWord(uint32_t word)
{
    return observersByWord.load(std::memory_order_acquire)[word];
}

/// The words given out until now, for many looks: the table is fetched once.
class ObserverWords
{
public:
    Observer* operator[](uint32_t word) const { return _observers[word]; }

private:
    Observer* const* _observers = observersByWord.load(std::memory_order_acquire);
};

#endif

} // namespace Ostrel
