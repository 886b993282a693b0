#include "ostrel/Runnable.h"

#include "ostrel/Report.h"

namespace {

constexpr int LINE_CANCEL_RUN = 30;

} // namespace

Runnable::~Runnable() = default;

void Runnable::cancelRun()
{
    OSTREL_CHECK_AT(FATAL, LINE_CANCEL_RUN, "assert_not_reached", false);
}
