#pragma once

#include <cstdint>
#include <cstdio>

#include "ostrel/Export.h"

namespace Ostrel {

/// Snapshot of the return addresses of the process, read from the debug file "/proc/PID/dbg" of the product's kernel.
/// Where that file is missing, the snapshot is empty.
///
/// Units:     addresses are 32 bits, as on the product; on wider hosts the low 32 bits.
/// Errors:    none; what cannot be read is an empty or shorter snapshot.
/// Threads:   not synchronized; a snapshot that nobody changes may be read from anywhere. Capturing is no cancellation
///            point.
class OSTREL_EXPORT CallStack
{
public:
    static constexpr unsigned int MAX_DEPTH = 64; ///< Addresses that are kept.

    CallStack(); ///< Captures now.
    CallStack(const CallStack& other);
    CallStack& operator=(const CallStack& other);

    unsigned int getDepth() const { return _depth; }

    /// The address at `index`, in the order of the debug file; 0 when there is none.
    unsigned int getAddress(unsigned int index) const { return index < _depth ? _addresses[index] : 0; }

    /// Writes "CallStack:" and one line per address to standard output.
    void print() const;

private:
    friend struct CallStackTestAccess; // the debug file cannot be made on a development host

    OSTREL_LOCAL void read(FILE* file);
    OSTREL_LOCAL void addFrame(const char* line);

    uint32_t _addresses[MAX_DEPTH];
    uint32_t _depth;
};

} // namespace Ostrel
