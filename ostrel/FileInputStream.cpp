#include "ostrel/FileInputStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "ostrel/internal/CancellationPause.h"
#include "ostrel/internal/Descriptor.h"

namespace Ostrel {

FileInputStream::FileInputStream(FILE* file, bool own, unsigned int budget, unsigned int timeOut)
    : _file(file), _own(own), _hasTimedOut(false), _budget(budget), _timeOut(timeOut), _errno(0), _errorText("")
{}

FileInputStream::~FileInputStream()
{
    const CancellationPause pause;
    if (_own && _file != nullptr)
        fclose(_file);
}

int FileInputStream::read(unsigned char* buffer, unsigned int size)
{
    if (_file == nullptr)
        return -1;

    _hasTimedOut = false;
    const unsigned int wanted = std::min(size, _budget); // UNLIMITED is the largest value, so it cuts nothing
    if (wanted == 0)
        return 0;

    // One value for all waits of this call: each takes off the time it has used.
    timeval timeOut = toTimeVal(_timeOut);
    unsigned int total = 0;
    while (total < wanted && !feof(_file)) {
        if (ferror(_file) && !clearPassingError())
            break;
        if (!waitThroughSignals(timeOut))
            break;
        total += readOnce(buffer + total, wanted - total);
    }
    return static_cast<int>(total);
}

/// An interrupted or an empty-handed read marks the file as failed, though nothing is lost.
bool FileInputStream::clearPassingError()
{
    if (_errno != EINTR && _errno != EAGAIN)
        return false;

    clearerr(_file);
    _errno = 0;
    return true;
}

bool FileInputStream::waitThroughSignals(timeval& timeOut)
{
    const int fd = fileno(_file);
    if (fd == -1) {
        _errno = errno; // a file in memory has no descriptor
        return false;
    }
    const int ready = retryInterrupted([&] { return waitUntilReadable(fd, timeOut); });
    _errno = errno;
    _hasTimedOut = ready == 0;
    return ready == 1;
}

unsigned int FileInputStream::readOnce(unsigned char* buffer, unsigned int size)
{
    const unsigned int count = static_cast<unsigned int>(fread(buffer, 1, size, _file));
    _errno = errno; // says nothing after a success, but is looked at only while the file is in error
    if (_budget != UNLIMITED)
        _budget -= count;
    return count;
}

void FileInputStream::setNonBlocking()
{
    if (_file != nullptr)
        setDescriptorBlocking(fileno(_file), false);
}

const char* FileInputStream::getErrorString() const
{
    if (_file == nullptr)
        return "File not found";
    if (!ferror(_file))
        return nullptr;

    // The GNU form never gives null, so every error has this one text: see docs/compatibility.md.
    const char* text = strerror_r(_errno, _errorText, sizeof(_errorText));
    return text != nullptr ? "FileInputStream::getErrorString cannot format this error." : _errorText;
}

} // namespace Ostrel
