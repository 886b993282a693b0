#pragma once

#include "ostrel/Export.h"
#include "ostrel/InputStream.h"

namespace Ostrel {

/// Reads from a file descriptor until the wanted bytes are there: pipes, sockets, terminals.
///
/// For a stdio file use `FileInputStream`; for single bytes put a `BufferedInputStream` in front, but mind that it asks
/// for whole buffers, which a live source fills slowly.
///
///     FdInputStream in(open("/dev/ttyS0", O_RDONLY), true);
///     in.setTimeOut(2);
///     unsigned char message[16];
///     const int count = in.read(message, sizeof(message)); // short when 2 s passed without a byte
///     if (count < 16)
///         puts(in.hasTimedOut() ? "too slow" : in.getErrorString() != nullptr ? "failed" : "hung up");
///
/// Units:     bytes; the time-out is in seconds and starts again with every wait.
/// Ownership: the descriptor is closed by the destructor only when `own` is set; a negative one stands for none.
/// Errors:    `read` gives -1 without a descriptor, else what was read so far.
class OSTREL_EXPORT FdInputStream : public InputStream
{
public:
    explicit FdInputStream(int fd, bool own = false);
    FdInputStream(const FdInputStream&) = delete;
    FdInputStream& operator=(const FdInputStream&) = delete;
    ~FdInputStream() override;

    /// Returns when `size` bytes are there, at the end of the file, at a time-out, or when a wait fails or is
    /// interrupted. A failed read is tried again: without a time-out a non-blocking descriptor is polled without pause
    /// until data or the end arrives. A descriptor that cannot be read at all keeps the call for good, and busy; with a
    /// time-out too where it counts as readable, as a directory does or a terminal that was hung up.
    int read(unsigned char* buffer, unsigned int size) override;

    /// 0 means no time-out. Also makes the descriptor blocking, or with 0 non-blocking: call `setBlocking(true)`
    /// afterwards for one that blocks without limit.
    virtual void setTimeOut(unsigned int seconds);

    /// Sets the mode for all who share the open file description. Does nothing when the descriptor has no flags.
    void setBlocking(bool blocking);
    bool isBlocking() const { return _blocking; } ///< As last set here; true at first.

    /// "File not found" without a descriptor; null unless a wait or read of the last `read` failed, even if it went on
    /// successfully; else one text for all errors.
    const char* getErrorString() const override;

    /// Whether the last `read` gave up because a wait took longer than the time-out: neither the end nor an error.
    bool hasTimedOut() const { return _hasTimedOut; }

private:
    OSTREL_LOCAL bool waitOnce();

    int _fd;
    bool _own;
    bool _hasTimedOut;
    int _errno;
    unsigned int _timeOut;
    bool _blocking;
    mutable char _errorText[128];
};

} // namespace Ostrel
