#include "tools/ostrel-inspect/Source.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Inspect {

namespace {

const size_t BLOCK = 65536;
const uint64_t SHOWN_BEFORE = 60; // bytes of the line before and behind a mistake
const size_t SHOWN_BEHIND = 20;

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

size_t countCharacters(std::string_view text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuation(byte); }));
}

/// A tab would move the caret away from what it points at.
std::string showPiece(std::string_view text)
{
    std::string piece(text);
    std::replace(piece.begin(), piece.end(), '\t', ' ');
    return showText(piece, TextStyle::PLAIN);
}

bool isLineEnd(char byte)
{
    return byte == '\n' || byte == '\r';
}

} // namespace

LinePlace findLine(std::string_view text, size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const size_t lineStart = before.rfind('\n') + 1; // 0 when there is none
    return {static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1,
            countCharacters(before.substr(lineStart)) + 1};
}

void complainWithLine(const std::string& file, LinePlace place, const std::string& why, std::string_view text,
                      size_t at)
{
    complainAt(file, place.line, place.column, why);
    size_t first = at;
    while (first > 0 && at - first < SHOWN_BEFORE && !isLineEnd(text[first - 1]))
        --first;
    while (first < at && isContinuation(text[first]))
        ++first;
    size_t end = at;
    while (end < text.size() && !isLineEnd(text[end]) && (end - at < SHOWN_BEHIND || isContinuation(text[end])))
        ++end;
    const std::string before = showPiece(text.substr(first, at - first));
    const std::string behind = showPiece(text.substr(at, end - at));
    if (before.empty() && behind.empty())
        return;
    fprintf(stderr, "  %s%s\n  %*s^\n", before.c_str(), behind.c_str(), static_cast<int>(countCharacters(before)), "");
}

Source::Source(const std::string& name)
    : _name(name),
      _fd(name == "-" ? STDIN_FILENO : open64(name.c_str(), O_RDONLY | O_CLOEXEC)),
      _error(_fd < 0 ? errno : 0),
      _showsProgress(isatty(STDERR_FILENO) != 0),
      _nextProgress(std::chrono::steady_clock::now() + std::chrono::seconds(1))
{}

Source::~Source()
{
    clearProgress();
    if (_fd > STDIN_FILENO)
        close(_fd);
}

int Source::read(unsigned char* buffer, unsigned int size)
{
    const int count = readBlock(reinterpret_cast<char*>(buffer), size);
    if (count > 0)
        remember(reinterpret_cast<const char*>(buffer), static_cast<size_t>(count));
    if (_showsProgress)
        tellProgress();
    return count;
}

const char* Source::getErrorString() const
{
    return _error == 0 ? nullptr : strerror(_error);
}

int Source::readBlock(char* buffer, size_t size)
{
    if (_error != 0)
        return -1;
    ssize_t count = 0;
    do
        count = ::read(_fd, buffer, std::min(size, BLOCK));
    while (count < 0 && errno == EINTR);
    if (count < 0)
        _error = errno;
    else
        _total += static_cast<uint64_t>(count);
    return static_cast<int>(count);
}

void Source::remember(const char* data, size_t length)
{
    if (_recent.size() > SHOWN_BEFORE)
        _recent.erase(0, _recent.size() - SHOWN_BEFORE);
    _recent.append(data, length);
}

void Source::tellProgress()
{
    const auto now = std::chrono::steady_clock::now();
    if (now < _nextProgress)
        return;
    const uint64_t MEGABYTE = 1000000;
    showProgress(std::to_string(_total / MEGABYTE) + " MB read");
    _nextProgress = now + std::chrono::milliseconds(200);
}

bool Source::skip(uint64_t length)
{
    unsigned char block[4096];
    while (length != 0) {
        const int count = read(block, static_cast<unsigned int>(std::min<uint64_t>(length, sizeof(block))));
        if (count <= 0)
            return false;
        length -= static_cast<uint64_t>(count);
    }
    return true;
}

std::string Source::readUpTo(size_t limit)
{
    std::string text;
    char block[4096];
    for (int count = 0;
         (count = read(reinterpret_cast<unsigned char*>(block), sizeof(block))) > 0 && text.size() < limit;)
        text.append(block, std::min(static_cast<size_t>(count), limit - text.size()));
    return text;
}

bool Source::complainIfFailed() const
{
    if (_error == 0)
        return false;
    complain(_name + ": " + strerror(_error));
    return true;
}

void Source::complainInLine(uint64_t offset, LinePlace place, const std::string& why)
{
    const uint64_t firstRecent = _total - _recent.size();
    if (offset < firstRecent || offset > _total)
        return complainAt(_name, place.line, place.column, why);
    // The rest of the line may not have been read yet.
    char rest[SHOWN_BEHIND];
    const int count = _total - offset < SHOWN_BEHIND ? readBlock(rest, sizeof(rest)) : 0;
    if (count > 0)
        _recent.append(rest, static_cast<size_t>(count));
    complainWithLine(_name, place, why, _recent, static_cast<size_t>(offset - firstRecent));
}

} // namespace Inspect
