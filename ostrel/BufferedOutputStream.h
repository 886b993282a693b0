#pragma once

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/OutputStream.h"
#include "ostrel/SharedPtr.h"

namespace Ostrel {

/// Gathers small writes and hands them to another stream in blocks.
///
///     const unsigned char text[] = {'H', 'e', 'l', 'l', 'o'};
///     BufferedOutputStream out(SharedPtr<OutputStream>(new (std::nothrow) FileOutputStream(stdout)), 4096);
///     out.write(text, sizeof(text));
///
/// Units:     `size` is bytes; at most `size` - 1 are held back.
/// Ownership: shares the target; owns the buffer, whose allocation throws `std::bad_alloc` as `new` does.
/// Errors:    a failed write of the target is lost: ask `getErrorString()`, which is the target's. When the target is
///            missing, each call that needs it makes one fatal report "m_ptr" and drops the data.
/// Threads:   one stream belongs to one thread at a time. The destructor may block in the target's write, so do not
///            cancel a thread there.
class OSTREL_EXPORT BufferedOutputStream : public OutputStream
{
public:
    BufferedOutputStream(const SharedPtr<OutputStream>& target, unsigned int size);
    BufferedOutputStream(const BufferedOutputStream&) = delete;
    BufferedOutputStream& operator=(const BufferedOutputStream&) = delete;
    ~BufferedOutputStream() override; ///< Flushes.

    /// Always `size`. Data that would fill the buffer to the brim is not buffered: what is held goes out first, then
    /// `data` directly.
    int write(const unsigned char* data, unsigned int size) override;

    /// Writes what is held and gives the target's `flush()`. 0, and no call of the target, when nothing is held.
    int flush() override;

    const char* getErrorString() const override;

private:
    SharedPtr<OutputStream> _target;
    AutoPtr<unsigned char[]> _buffer;
    unsigned int _size;
    unsigned int _fill;
};

} // namespace Ostrel
