#pragma once

#include "tests/support/TestIncludes.h"

/// A file that is gone with the object, to be read from its begin.
struct TemporaryFile
{
    ~TemporaryFile() { fclose(file); }

    /// Makes `text` its content, and gives its descriptor.
    int write(const char* text) const
    {
        rewind(file); // clears the error too
        fputs(text, file);
        fflush(file);
        return static_cast<int>(lseek(fd, 0, SEEK_SET)) + fd;
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
