#include "ostrel/Assert.h"

// <cassert> hides this declaration under NDEBUG, and our checks outlive NDEBUG.
extern "C" [[noreturn]] void __assert_fail(const char* text, const char* file, unsigned int line,
                                           const char* function) noexcept;

namespace Ostrel {

void assertionFailed(const char* text, const char* file, unsigned int line, const char* function)
{
    __assert_fail(text, file, line, function);
}

} // namespace Ostrel
