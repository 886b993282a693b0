/// How library code reports a failed check or a message to the `ErrorServer`.
///
/// A check is an expression that yields whether it held, so that the site branches on it:
///
///     DynamicArrayList<int, 8> list;
///     if (!OSTREL_CHECK(FATAL, "0 == list.append(7)", 0 == list.append(7)))
///         return;
///
/// Severities are FATAL, RECOVERABLE and TRIVIAL. Texts are literals: log readers match on them, so they do not follow
/// a renamed variable. The condition is evaluated once, in every build type. After a report the site goes on along its
/// own failure path; nothing stops by itself.
///
/// Errors:    a report that finds no server (memory exhausted) is dropped.
/// Threads:   any thread; see `ErrorServer`.
#pragma once

#include "ostrel/ErrorServer.h"
#include "ostrel/Export.h"

namespace Ostrel {

/// Reports "%s:%d - test '%s' failed". Always false, which is the value of the failed check.
[[gnu::cold]] OSTREL_EXPORT bool reportFailedCheck(Severity severity, const char* file, int line, const char* text);

/// Reports a message whose format already has its frame.
[[gnu::cold, gnu::format(printf, 2, 3)]] OSTREL_EXPORT void reportMessage(Severity severity, const char* format, ...);

/// Reports "%s:%d - 'text'".
[[gnu::cold, gnu::format(printf, 4, 5)]] OSTREL_EXPORT void reportText(Severity severity, const char* file, int line,
                                                                       const char* text, ...);

} // namespace Ostrel

#define OSTREL_CHECK_AT(severity, line, text, condition)                                                               \
    ((condition) || Ostrel::reportFailedCheck(Ostrel::Severity::severity, __FILE__, line, text))

#define OSTREL_CHECK(severity, text, condition) OSTREL_CHECK_AT(severity, __LINE__, text, condition)

/// The text comes first behind the line, and may hold placeholders for the arguments behind it.
#define OSTREL_REPORT_AT(severity, line, ...)                                                                          \
    Ostrel::reportText(Ostrel::Severity::severity, __FILE__, line, __VA_ARGS__)

#define OSTREL_REPORT(severity, ...) OSTREL_REPORT_AT(severity, __LINE__, __VA_ARGS__)
