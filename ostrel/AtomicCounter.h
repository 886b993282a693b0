#pragma once

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// 32-bit counter that threads raise and lower without a lock.
///
/// Units:     wraps at 32 bits.
/// Threads:   every operation is atomic and a full barrier.
class AtomicCounter
{
public:
    explicit AtomicCounter(int value) : _value(static_cast<uint32_t>(value)) {}
    AtomicCounter(const AtomicCounter&) = delete;
    AtomicCounter& operator=(const AtomicCounter&) = delete;

    int operator++() { return static_cast<int>(_value.fetch_add(1) + 1u); } ///< Returns the new value.
    int operator--() { return static_cast<int>(_value.fetch_sub(1) - 1u); } ///< Returns the new value.
    int get() const { return static_cast<int>(_value.load()); }             ///< The value now.

private:
    std::atomic<uint32_t> _value; // unsigned, so that the new value wraps as the stored one does
};

} // namespace Ostrel
