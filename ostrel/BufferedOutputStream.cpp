#include "ostrel/BufferedOutputStream.h"

#include <cstring>

namespace Ostrel {

BufferedOutputStream::BufferedOutputStream(const SharedPtr<OutputStream>& target, unsigned int size)
    : _target(target), _buffer(new unsigned char[size]), _size(size), _fill(0)
{}

BufferedOutputStream::~BufferedOutputStream()
{
    BufferedOutputStream::flush();
}

int BufferedOutputStream::write(const unsigned char* data, unsigned int size)
{
    // Strictly less: readers behind the target rely on where the blocks end. Written so that no sum can wrap.
    if (size < _size - _fill) {
        if (size != 0)
            memcpy(_buffer.get() + _fill, data, size);
        _fill += size;
        return static_cast<int>(size);
    }

    const bool isReported = _fill != 0 && !_target; // by flush()
    flush();
    OutputStream* target = isReported ? nullptr : _target.require();
    if (target != nullptr)
        target->write(data, size);
    return static_cast<int>(size); // whatever the target took: its error text tells
}

int BufferedOutputStream::flush()
{
    if (_fill == 0)
        return 0;

    const unsigned int held = _fill;
    _fill = 0; // a failed write is not repeated
    OutputStream* target = _target.require();
    if (target == nullptr)
        return 0;

    target->write(_buffer.get(), held);
    return target->flush();
}

const char* BufferedOutputStream::getErrorString() const
{
    if (!_buffer)
        return "Not enough memory to allocate buffer";

    const OutputStream* target = _target.require();
    return target == nullptr ? nullptr : target->getErrorString();
}

} // namespace Ostrel
