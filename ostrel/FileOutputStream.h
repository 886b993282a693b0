#pragma once

#include <cstdio>

#include "ostrel/Export.h"
#include "ostrel/OutputStream.h"

namespace Ostrel {

/// Writes to a stdio file, which does its own buffering.
///
///     const unsigned char text[] = {'[', '1', ']'};
///     FileOutputStream out(fopen("settings.json", "w"), true);
///     out.write(text, sizeof(text));
///     out.flush();
///     if (out.getErrorString() != nullptr)
///         puts(out.getErrorString());
///
/// Ownership: the file is closed by the destructor only when `own` is set; a null file is allowed.
/// Errors:    `write` gives -1 without a file and a count below `size` (0 too) when the file fails; `flush` gives EOF
///            (-1) when it fails, and 0 without a file. What fails in the destructor, which writes what stdio still
///            holds, is lost: flush before. A pipe or socket that nobody reads any more raises SIGPIPE, which ends the
///            process unless it is ignored.
class OSTREL_EXPORT FileOutputStream : public OutputStream
{
public:
    explicit FileOutputStream(FILE* file, bool own = false);
    FileOutputStream(const FileOutputStream&) = delete;
    FileOutputStream& operator=(const FileOutputStream&) = delete;
    ~FileOutputStream() override;

    int write(const unsigned char* data, unsigned int size) override;
    int flush() override;

    /// "File not found" without a file; null unless the file is in error; else the same text whatever the cause.
    const char* getErrorString() const override;

private:
    FILE* _file;
    bool _own;
};

} // namespace Ostrel
