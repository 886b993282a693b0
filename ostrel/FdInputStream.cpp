#include "ostrel/FdInputStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ostrel/internal/CancellationPause.h"
#include "ostrel/internal/Descriptor.h"

namespace Ostrel {

FdInputStream::FdInputStream(int fd, bool own)
    : _fd(fd), _own(own), _hasTimedOut(false), _errno(0), _timeOut(0), _blocking(true), _errorText("")
{}

FdInputStream::~FdInputStream()
{
    const CancellationPause pause;
    if (_own && _fd >= 0)
        close(_fd);
}

int FdInputStream::read(unsigned char* buffer, unsigned int size)
{
    if (_fd < 0)
        return -1;

    _errno = 0;
    _hasTimedOut = false;
    unsigned int total = 0;
    do {
        if (_timeOut != 0 && !waitOnce())
            break;

        const ssize_t count = retryInterrupted([&] { return ::read(_fd, buffer + total, size - total); });
        if (count == 0)
            break;
        // Any failure is taken for a passing one and tried again, whatever it is: with a time-out the wait ends this.
        if (count < 0) {
            _errno = errno;
        } else {
            total += static_cast<unsigned int>(count);
        }
    } while (total < size);
    return static_cast<int>(total);
}

/// A wait that is interrupted ends the call too: a signal gets the caller's attention at once.
bool FdInputStream::waitOnce()
{
    timeval timeOut = toTimeVal(_timeOut);
    const int ready = waitUntilReadable(_fd, timeOut);
    if (ready < 0)
        _errno = errno;
    _hasTimedOut = ready == 0;
    return ready > 0;
}

void FdInputStream::setTimeOut(unsigned int seconds)
{
    _timeOut = seconds;
    // Without a time-out the descriptor becomes non-blocking: see docs/compatibility.md.
    setBlocking(seconds != 0);
}

void FdInputStream::setBlocking(bool blocking)
{
    if (_fd < 0 || fcntl(_fd, F_GETFL) == -1)
        return;

    _blocking = blocking; // even where the descriptor has flags but lets nobody set them
    setDescriptorBlocking(_fd, blocking);
}

const char* FdInputStream::getErrorString() const
{
    if (_fd < 0)
        return "File not found";
    if (_errno == 0)
        return nullptr;

    // The GNU form never gives null, so every error has this one text: see docs/compatibility.md.
    const char* text = strerror_r(_errno, _errorText, sizeof(_errorText));
    return text != nullptr ? "FdInputStream::getErrorString cannot format this error." : _errorText;
}

} // namespace Ostrel
