#pragma once

#include "ostrel/Export.h"
#include "ostrel/OutputStream.h"

namespace Ostrel {

/// Writes into the caller's memory, whole pieces or nothing.
///
///     const unsigned char record[] = {1, 2, 3};
///     unsigned char storage[64];
///     ByteArrayOutputStream out(storage, sizeof(storage));
///     if (out.write(record, sizeof(record)) < 0)
///         out.reset(storage, sizeof(storage)); // full: start again
///
/// Units:     bytes; nothing is terminated.
/// Ownership: the storage stays the caller's and outlives the stream; null has no room, whatever the capacity.
/// Errors:    a piece that does not fit gives -1 and is not written at all; a smaller one may still fit afterwards.
class OSTREL_EXPORT ByteArrayOutputStream : public OutputStream
{
public:
    ByteArrayOutputStream(unsigned char* storage, unsigned int capacity);
    ~ByteArrayOutputStream() override;

    /// Starts again, at the beginning of any storage.
    void reset(unsigned char* storage, unsigned int capacity);

    int write(const unsigned char* data, unsigned int size) override;

    /// Of the last write; never null: "Ok" is the text of success.
    const char* getErrorString() const override;

private:
    enum State { STATE_OK = 0, STATE_TOO_SMALL = 1 };

    int _state;
    unsigned char* _storage;
    unsigned int _capacity;
    unsigned char* _next;
};

} // namespace Ostrel
