#pragma once

#include "ostrel/Export.h"
#include "ostrel/InputStream.h"

namespace Ostrel {

/// Reads from memory.
///
///     ByteArrayInputStream in("{\"volume\": 11}");
///
/// Units:     bytes; the terminator of a text is not part of the data.
/// Errors:    none; null data is empty.
class OSTREL_EXPORT ByteArrayInputStream : public InputStream
{
public:
    explicit ByteArrayInputStream(const char* text);
    ByteArrayInputStream(const unsigned char* data, unsigned int length);
    ~ByteArrayInputStream() override;

    int read(unsigned char* buffer, unsigned int size) override;
    const char* getErrorString() const override; ///< Always null.

private:
    const unsigned char* _data;
    unsigned int _length;
    unsigned int _position;
};

} // namespace Ostrel
