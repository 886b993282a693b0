#pragma once

#include "tests/support/TestIncludes.h"

/// A file that is gone with the object.
struct TemporaryFile
{
    ~TemporaryFile() { fclose(file); }

    /// Makes `text` its content, to be read from the begin, and gives its descriptor.
    int write(const std::string& text) const
    {
        rewind(file); // clears the error too
        const bool isWritten = ftruncate(fd, 0) == 0 && pwrite(fd, text.data(), text.size(), 0) > 0;
        return lseek(fd, 0, SEEK_SET) == 0 && isWritten ? fd : -1;
    }

    FILE* const file = tmpfile();
    const int fd = fileno(file);
};

/// The number that the next descriptor gets.
inline int getNextDescriptor()
{
    const int fd = dup(0);
    close(fd);
    return fd;
}
