#include "ostrel/SocketPair.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

#include "ostrel/Report.h"
#include "ostrel/internal/CancellationPause.h"
#include "ostrel/internal/Descriptor.h"

namespace Ostrel {

namespace {

constexpr int LINE_CLOSE = 27;
constexpr int LINE_CREATE = 35;

} // namespace

SocketPair::SocketPair() : _sockets{-1, -1}
{
    OSTREL_CHECK_AT(FATAL, LINE_CREATE, "0 == socketpair(AF_UNIX, SOCK_STREAM, 0, _sockets)",
                    0 == socketpair(AF_UNIX, SOCK_STREAM, 0, _sockets));
}

SocketPair::~SocketPair()
{
    const CancellationPause pause;
    for (const int fd : _sockets) {
        int rc;
        do { // not on EINTR: the descriptor is closed then
            rc = close(fd);
        } while (rc == -1 && errno == EAGAIN);
        OSTREL_CHECK_AT(FATAL, LINE_CLOSE, "rc == 0", rc == 0);
    }
}

int SocketPair::getSocket(unsigned int index) const
{
    return index > 1 ? -1 : _sockets[index];
}

int SocketPair::setBlocking(bool blocking, unsigned int index)
{
    return index > 1 ? -1 : setDescriptorBlocking(_sockets[index], blocking);
}

} // namespace Ostrel
