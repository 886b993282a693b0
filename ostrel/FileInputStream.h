#pragma once

#include <cstdio>

#include "ostrel/Export.h"
#include "ostrel/InputStream.h"

struct timeval;

namespace Ostrel {

/// Reads from a stdio file, at most up to a byte budget.
///
/// For a bare descriptor use `FdInputStream`. Each pass waits for the descriptor before it reads, so on a pipe or a
/// terminal the time-out matters; regular files are always ready. It bounds the waits only: stdio then reads until it
/// has all that is wanted, which on a blocking descriptor takes as long as it takes. Call `setNonBlocking()` first
/// where a read has to end in time.
///
///     FileInputStream in(fopen("settings.json", "r"), true);
///     DataObjectHandler handler;
///     json::JsonDeserializer().parse(in, handler);
///
/// Units:     bytes; the time-out is in seconds and holds for one `read` as a whole.
/// Ownership: the file is closed by the destructor only when `own` is set; a null file is allowed.
/// Errors:    `read` gives -1 without a file. A failure of the file looks like the end: what was read before is
///            delivered, and `getErrorString()` is then not null. A failed wait leaves no error text: a file without a
///            descriptor (`fmemopen`), and one whose descriptor was closed, read as empty.
class OSTREL_EXPORT FileInputStream : public InputStream
{
public:
    static constexpr unsigned int UNLIMITED = 0xFFFFFFFFU; ///< A budget that is never spent.

    /// `budget` is the most that all reads together deliver. With a `timeOut` of 0 a read takes what is there.
    explicit FileInputStream(FILE* file, bool own = false, unsigned int budget = UNLIMITED, unsigned int timeOut = 0);
    FileInputStream(const FileInputStream&) = delete;
    FileInputStream& operator=(const FileInputStream&) = delete;
    ~FileInputStream() override;

    /// The count delivered; 0 at the end, when the budget is spent, on a failure, or when nothing came in time. Bytes
    /// that stdio has buffered beyond this call are only delivered once the descriptor is readable (again).
    int read(unsigned char* buffer, unsigned int size) override;

    /// Makes the descriptor non-blocking, for all who share its open file description.
    void setNonBlocking();

    /// "File not found" without a file; null unless the file is in error; else one text for all errors.
    const char* getErrorString() const override;

    /// Whether the last `read` gave up because nothing came within the time-out, with a time-out of 0 because nothing
    /// was there: then a pipe may go on later. Neither the end nor an error.
    bool hasTimedOut() const { return _hasTimedOut; }

private:
    OSTREL_LOCAL bool clearPassingError();
    OSTREL_LOCAL bool waitThroughSignals(timeval& timeOut);
    OSTREL_LOCAL unsigned int readOnce(unsigned char* buffer, unsigned int size);

    FILE* _file;
    bool _own;
    bool _hasTimedOut;
    unsigned int _budget;
    unsigned int _timeOut;
    int _errno;
    mutable char _errorText[128];
};

} // namespace Ostrel
