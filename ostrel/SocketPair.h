#pragma once

#include "ostrel/Export.h"

namespace Ostrel {

/// Two connected local stream sockets.
///
/// Ownership: both descriptors are closed by the destructor.
/// Errors:    a pair that cannot be made is a fatal report and has no descriptors (-1). A close that fails is a fatal
///            report too, so such a pair makes two more when it goes.
/// Threads:   not synchronized; the sockets themselves may be used from any thread.
class OSTREL_EXPORT SocketPair
{
public:
    SocketPair();
    ~SocketPair();
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    int getSocket(unsigned int index) const; ///< -1 unless `index` is 0 or 1.

    /// 0, or -1 when `index` is above 1 or the descriptor refuses.
    int setBlocking(bool blocking, unsigned int index);

private:
    int _sockets[2];
};

} // namespace Ostrel
