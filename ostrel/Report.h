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
/// Some sites, and some assertions, tell a fixed line, a `constexpr int LINE_X` of theirs, and not the one they stand
/// on: log collectors and readers of crash logs match on file and line together. So the number outlives every edit, and
/// the source keeps its name.
///
/// Errors:    a report that finds no server (memory exhausted) is dropped.
/// Threads:   any thread; see `ErrorServer`.
#pragma once

#include "ostrel/Export.h"

namespace Ostrel {

/// How bad the thing reported is; selects the operation of the `ErrorPolicy`.
enum class Severity { FATAL, RECOVERABLE, TRIVIAL };

/// Reports "%s:%d - test '%s' failed". Always false, which is the value of the failed check.
[[gnu::cold]] OSTREL_EXPORT bool reportFailedCheck(Severity severity, const char* file, int line, const char* text);

/// Reports a message whose format already has its frame.
[[gnu::cold, gnu::format(printf, 2, 3)]] OSTREL_EXPORT void reportMessage(Severity severity, const char* format, ...);

/// Reports "%s:%d - 'text'".
[[gnu::cold, gnu::format(printf, 4, 5)]] OSTREL_EXPORT void reportText(Severity severity, const char* file, int line,
                                                                       const char* text, ...);

} // namespace Ostrel

/// A check, or a report, that goes by the name of `file` and a fixed line of it.
#define OSTREL_CHECK_FROM(severity, file, line, text, condition)                                                       \
    ((condition) || Ostrel::reportFailedCheck(Ostrel::Severity::severity, file, line, text))

/// A check that goes by a fixed line of this file.
#define OSTREL_CHECK_AT(severity, line, text, condition) OSTREL_CHECK_FROM(severity, __FILE__, line, text, condition)

/// A check.
#define OSTREL_CHECK(severity, text, condition) OSTREL_CHECK_AT(severity, __LINE__, text, condition)

/// The text comes first behind the line, and may hold placeholders for the arguments behind it.
#define OSTREL_REPORT_FROM(severity, file, line, ...)                                                                  \
    Ostrel::reportText(Ostrel::Severity::severity, file, line, __VA_ARGS__)

/// A report that goes by a fixed line of this file.
#define OSTREL_REPORT_AT(severity, line, ...) OSTREL_REPORT_FROM(severity, __FILE__, line, __VA_ARGS__)

/// A report.
#define OSTREL_REPORT(severity, ...) OSTREL_REPORT_AT(severity, __LINE__, __VA_ARGS__)
