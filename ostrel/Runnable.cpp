#include "ostrel/Runnable.h"

#include "ostrel/Report.h"

namespace {

enum {
    LINE_CANCEL_RUN = 30 // log collectors match on file and line, so the number outlives edits
};

} // namespace

Runnable::~Runnable() = default;

void Runnable::cancelRun()
{
    OSTREL_CHECK_AT(FATAL, LINE_CANCEL_RUN, "assert_not_reached", false);
}
