#pragma once

#include <algorithm>
#include <climits>
#include <cstring>

#include "ostrel/Export.h"
#include "ostrel/InputStream.h"

namespace Ostrel {

/// Makes small reads cheap: fetches `N` bytes at a time from another stream into an array inside the object.
///
///     FdInputStream file(STDIN_FILENO);
///     BufferedInputStream<65536> in(&file);
///     unsigned char byte;
///     while (in.read(&byte, 1) == 1)
///         putchar(byte);
///
/// Units:     bytes. The object is a little larger than `N`: mind the stack.
/// Errors:    see `read`; a null source reads as a failed one. Nothing is kept: the next call asks the source again.
template <unsigned int N>
class OSTREL_EXPORT BufferedInputStream : public InputStream
{
    static_assert(N >= 1 && N <= INT_MAX, "counts are returned as int");

public:
    // The array is left as it is: to zero it would cost more than most documents take to parse.
    explicit BufferedInputStream(InputStream* source) // NOLINT(cppcoreguidelines-pro-type-member-init)
        : _source(source), _cursor(_buffer), _end(_buffer)
    {}
    BufferedInputStream(const BufferedInputStream&) = delete;
    BufferedInputStream& operator=(const BufferedInputStream&) = delete;
    ~BufferedInputStream() override;

    /// Asks the source as often as needed for `size` bytes. The count delivered, less than `size` when the source had
    /// no more. -1 as soon as the source fails: what this call had delivered until then is in `buffer`, but not
    /// counted.
    int read(unsigned char* buffer, unsigned int size) override
    {
        if (size == 1 && _cursor != _end) {
            *buffer = *_cursor++;
            return 1;
        }
        return readBlock(buffer, size);
    }

    const char* getErrorString() const override; ///< The source's; null without one.

private:
    int readBlock(unsigned char* buffer, unsigned int size);
    int refill();

    // Before the array, where short offsets reach them.
    InputStream* _source;
    unsigned char* _cursor;
    unsigned char* _end;
    unsigned char _buffer[N];
};

template <unsigned int N>
BufferedInputStream<N>::~BufferedInputStream() = default;

template <unsigned int N>
const char* BufferedInputStream<N>::getErrorString() const
{
    return _source == nullptr ? nullptr : _source->getErrorString();
}

template <unsigned int N>
int BufferedInputStream<N>::readBlock(unsigned char* buffer, unsigned int size)
{
    unsigned int delivered = 0;
    while (delivered < size) {
        if (_cursor == _end) {
            const int fetched = refill();
            if (fetched < 0)
                return -1;
            if (fetched == 0)
                break;
        }
        const unsigned int count = std::min(size - delivered, static_cast<unsigned int>(_end - _cursor));
        memcpy(buffer + delivered, _cursor, count);
        _cursor += count;
        delivered += count;
    }
    return static_cast<int>(delivered);
}

/// One read of the source. Its result; the buffer is empty unless that is above 0.
template <unsigned int N>
int BufferedInputStream<N>::refill()
{
    _cursor = _end = _buffer;
    if (_source == nullptr)
        return -1;

    // A source that claims more than it was asked for must not lead us behind the array.
    const int count = std::min(_source->read(_buffer, N), static_cast<int>(N));
    if (count > 0)
        _end = _buffer + count;
    return count;
}

// The usual size comes with the library.
extern template class BufferedInputStream<65536>;

} // namespace Ostrel
