#include "ostrel/FileOutputStream.h"

#include <cstring>

#include "ostrel/internal/CancellationPause.h"

namespace Ostrel {

FileOutputStream::FileOutputStream(FILE* file, bool own) : _file(file), _own(own) {}

FileOutputStream::~FileOutputStream()
{
    const CancellationPause pause;
    if (_own && _file != nullptr)
        fclose(_file);
}

int FileOutputStream::write(const unsigned char* data, unsigned int size)
{
    if (_file == nullptr)
        return -1;
    if (size == 0)
        return 0; // `data` may be null then

    return static_cast<int>(fwrite(data, 1, size, _file));
}

int FileOutputStream::flush()
{
    return _file == nullptr ? 0 : fflush(_file);
}

const char* FileOutputStream::getErrorString() const
{
    if (_file == nullptr)
        return "File not found";
    const int error = ferror(_file);
    if (error == 0)
        return nullptr;

    // The flag, not `errno`, which other calls have changed since. It is 1 when set, and the text of 1 is static: the
    // buffer would be used for unknown numbers only.
    char buffer[256];
    const char* text = strerror_r(error, buffer, sizeof(buffer));
    return text;
}

} // namespace Ostrel
