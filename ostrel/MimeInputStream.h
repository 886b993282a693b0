#pragma once

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/InputStream.h"
#include "ostrel/SharedPtr.h"

namespace Ostrel {

/// Delivers what another stream reads as base64 text (RFC 2045): lines of 76 characters, each ended by CR LF, with '='
/// at the end. It encodes only.
///
///     SharedPtr<InputStream> file(new (std::nothrow) FileInputStream(fopen("photo.jpg", "r"), true));
///     MimeInputStream text(file, 7800);
///     unsigned char buffer[4096];
///     for (int count; (count = text.read(buffer, sizeof(buffer))) > 0;)
///         fwrite(buffer, 1, static_cast<size_t>(count), stdout);
///
/// A last line that is shorter than 76 characters has no CR LF. The source is read once for each `size` / 78 * 57
/// bytes, and what one such read gives is encoded by itself: a source that gives less in the middle of its data leaves
/// '=' and a short line without CR LF in the middle of the text.
///
/// Ownership: shares the source; has a buffer of `size` bytes.
/// Errors:    -1 from `read` when the buffer could not be allocated. A source that fails reads as one at its end, and
///            is asked again by the next read; so does a missing one, after the report "m_ptr".
class OSTREL_EXPORT MimeInputStream : public InputStream
{
public:
    static const char OUT_OF_MEMORY[]; ///< "Out of memory"

    /// `size` is that of the buffer, at least 78 whatever is given. The larger, the fewer reads of the source.
    MimeInputStream(const SharedPtr<InputStream>& source, unsigned int size);
    ~MimeInputStream() override;

    /// Fills `buffer` as far as the source's data goes.
    int read(unsigned char* buffer, unsigned int size) override;

    /// Always null, without memory too: callers tell that by the -1.
    const char* getErrorString() const override;

    /// Reads and encodes the next bytes of the source, unless encoded ones are waiting.
    void checkAndFillBuffer();

private:
    SharedPtr<InputStream> _source;
    AutoPtr<unsigned char[]> _buffer;
    unsigned int _size;
    unsigned int _fill; ///< Encoded bytes in the buffer.
    unsigned int _position;
    const char* _error;
};

} // namespace Ostrel
