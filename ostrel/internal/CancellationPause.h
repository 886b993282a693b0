/// Not installed: internal to the library.
///
/// For destructors that make blocking calls.
#pragma once

#include <pthread.h>

namespace Ostrel {

/// Keeps the calling thread from being cancelled for a scope: closing is a cancellation point, and a destructor that
/// is left by one ends the process.
class CancellationPause
{
public:
    CancellationPause() : _state(PTHREAD_CANCEL_DISABLE) { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_state); }
    ~CancellationPause() { pthread_setcancelstate(_state, nullptr); }
    CancellationPause(const CancellationPause&) = delete;
    CancellationPause& operator=(const CancellationPause&) = delete;

private:
    int _state;
};

} // namespace Ostrel
