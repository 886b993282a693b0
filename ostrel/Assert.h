/// Checks that stop the process: calls that are plainly the program's mistake and have no safe way on.
///
/// On in every build type, whatever NDEBUG says. What can be survived is reported instead (`ostrel/Report.h`).
/// The message is that of the C library's assertion facility, on standard error, followed by `abort()`.
#pragma once

#include "ostrel/Export.h"

namespace Ostrel {

/// Ends the process with the C library's assertion message. All texts are borrowed; never returns.
[[noreturn]] OSTREL_EXPORT void assertionFailed(const char* text, const char* file, unsigned int line,
                                                const char* function);

} // namespace Ostrel

/// Stops the process unless `condition` holds; `text` and `line` are what the message shows. Texts and fixed lines are
/// those of `ostrel/Report.h`: neither follows a change of the source.
#define OSTREL_ASSERT_AT(condition, text, line)                                                                        \
    ((condition) ? static_cast<void>(0) : Ostrel::assertionFailed(text, __FILE__, line, __PRETTY_FUNCTION__))

/// The same with this line.
#define OSTREL_ASSERT_TEXT(condition, text) OSTREL_ASSERT_AT(condition, text, __LINE__)

/// The same with this line and the condition as it is written.
#define OSTREL_ASSERT(condition) OSTREL_ASSERT_AT(condition, #condition, __LINE__)
