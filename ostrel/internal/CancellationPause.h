/// Not installed: internal to the library.
///
/// For destructors and locked steps that make blocking calls.
#pragma once

#include <pthread.h>

namespace Ostrel {

/// Keeps the calling thread from being cancelled for a scope: closing and sending are cancellation points. A destructor
/// that is left by one ends the process; a step under a lock leaves it locked where the unwinder does not come so far.
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
