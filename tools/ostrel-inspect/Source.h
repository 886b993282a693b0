#pragma once

#include <chrono>

#include "ostrel/InputStream.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

/// A place in a text, both from 1; columns are characters.
struct LinePlace
{
    uint64_t line;
    uint64_t column;
};

LinePlace findLine(std::string_view text, size_t offset);

/// `FILE:LINE:COLUMN: why`, then the line of `text` around the byte at `at`, and a caret below that.
void complainWithLine(const std::string& file, LinePlace place, const std::string& why, std::string_view text,
                      size_t at);

/// A file, or standard input, read once from its start to its end in constant memory.
///
/// What was read last can be looked at again, to show the line in which a mistake is. Work that takes longer than a
/// second shows on standard error how far it is, if that is a terminal.
///
/// Errors:    those of the system; the first one ends the data, and `complainIfFailed` tells it.
class Source : public Ostrel::InputStream
{
public:
    explicit Source(const std::string& name);
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() override;

    int read(unsigned char* buffer, unsigned int size) override;
    const char* getErrorString() const override; ///< Null as long as nothing failed.

    const std::string& getName() const { return _name; }

    /// For commands whose output goes on while they read: it must not run into the progress on the same terminal.
    void setQuiet() { _showsProgress = false; }

    bool skip(uint64_t length);         ///< False when the data ends before.
    std::string readUpTo(size_t limit); ///< All that is left; cut at `limit`.

    /// Tells the error, if there was one.
    bool complainIfFailed() const;

    /// As above, for a byte of the data; without the line when that has not been read just now.
    void complainInLine(uint64_t offset, LinePlace place, const std::string& why);

private:
    int readBlock(char* buffer, size_t size);
    void remember(const char* data, size_t length);
    void tellProgress();

    std::string _name;
    int _fd;
    int _error = 0;
    uint64_t _total = 0; ///< Bytes read.
    std::string _recent; ///< The last of them.
    bool _showsProgress;
    std::chrono::steady_clock::time_point _nextProgress;
};

} // namespace Inspect
