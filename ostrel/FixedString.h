#pragma once

#include "ostrel/WritableString.h"

namespace Ostrel {

/// UTF-8 text of at most `SIZE` - 1 bytes inside the object, for names and other short texts.
///
///     FixedString<32> name;
///     name.assign("worker");
///
/// Units:     `SIZE` is bytes, terminator included.
/// Ownership: the storage is part of the object.
template <unsigned int SIZE>
class FixedString : public WritableString
{
    static_assert(SIZE > 0, "the terminator needs a byte");

public:
    FixedString() : WritableString(_storage, SIZE) { _storage[0] = '\0'; }

private:
    char _storage[SIZE];
};

} // namespace Ostrel
