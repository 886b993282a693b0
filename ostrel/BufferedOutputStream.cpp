#include "ostrel/BufferedOutputStream.h"

#include <cstring>

#include "ostrel/internal/CancellationPause.h"

namespace Ostrel {

BufferedOutputStream::BufferedOutputStream(const SharedPtr<OutputStream>& target, unsigned int size)
    : _target(target), _buffer(new unsigned char[size]), _size(size), _fill(0)
{}

BufferedOutputStream::~BufferedOutputStream()
{
    const CancellationPause pause;
    BufferedOutputStream::flush();
}

int BufferedOutputStream::write(const unsigned char* data, unsigned int size)
{
    // Strictly less, which settles where blocks end: see docs/compatibility.md. Written so that no sum can wrap.
    if (size < _size - _fill) {
        if (size != 0)
            memcpy(_buffer.get() + _fill, data, size);
        _fill += size;
        return static_cast<int>(size);
    }

    if (OutputStream* target = _target.require()) {
        flush();
        target->write(data, size);
    } else {
        _fill = 0; // one report is enough, so flush() is not asked to drop what is held
    }
    return static_cast<int>(size); // whatever the target took: its error text tells
}

int BufferedOutputStream::flush()
{
    if (_fill == 0)
        return 0;

    OutputStream* target = _target.require();
    if (target != nullptr)
        target->write(_buffer.get(), _fill);
    _fill = 0; // whatever the target took: a failed write is not repeated
    return target == nullptr ? 0 : target->flush();
}

const char* BufferedOutputStream::getErrorString() const
{
    if (!_buffer)
        return "Not enough memory to allocate buffer";

    const OutputStream* target = _target.require();
    return target == nullptr ? nullptr : target->getErrorString();
}

} // namespace Ostrel
