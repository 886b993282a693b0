#include "ostrel/XmlSegment.h"

#include <algorithm>
#include <cstring>

namespace Ostrel {

namespace {

/// No element is shorter, so that waiting for them holds nothing back.
const unsigned int ENCODING_BYTES = 4;

const char UTF_8_MARK[] = "\xEF\xBB\xBF";
const unsigned int UTF_8_MARK_LENGTH = sizeof(UTF_8_MARK) - 1;

bool beginsWith(const char* bytes, const char* wanted, size_t length)
{
    return memcmp(bytes, wanted, length) == 0;
}

/// A NUL is no character of XML: there it is one half of a wider unit.
bool isAsciiCompatible(const char* bytes)
{
    return bytes[0] != '\0' && bytes[1] != '\0' && !beginsWith(bytes, "\xFE\xFF", 2) &&
           !beginsWith(bytes, "\xFF\xFE", 2) && !beginsWith(bytes, "\x4C\x6F\xA7\x94", ENCODING_BYTES);
}

} // namespace

const char* findTagMarker(const char* text, unsigned int length, const char* name)
{
    XmlSegment::Scanner scanner(name);
    const char* const end = text + length;
    const char* marker = nullptr;
    for (const char* position = text; position != end;) {
        const XmlSegment::Scanner::Event event = scanner.scan(position, end);
        if (event == XmlSegment::Scanner::MARKUP)
            marker = position - 1;
        else if (event >= XmlSegment::Scanner::START_TAG)
            return marker;
    }
    return nullptr;
}

XmlSegment::XmlSegment(char* buffer, unsigned int size, const char* name, Between between)
    : _buffer(buffer), _size(buffer == nullptr || size < ENCODING_BYTES ? 0 : size), _between(between), _scanner(name)
{}

char* XmlSegment::getFreeSpace(unsigned int& size)
{
    // While bytes wait to be looked at, nothing is moved: moving them for each element would be slow.
    if (_scanned == _end && _start > 0) {
        memmove(_buffer, _buffer + _start, _end - _start);
        _offset += _start;
        _end -= _start;
        _scanned = _end;
        _start = 0;
    }
    size = _size - _end;
    return size == 0 ? nullptr : _buffer + _end;
}

void XmlSegment::commit(unsigned int length)
{
    _end += std::min(length, _size - _end);
}

unsigned int XmlSegment::feed(const char* data, unsigned int length)
{
    unsigned int room;
    char* const space = getFreeSpace(room);
    const unsigned int count = std::min(length, room);
    if (count > 0)
        memcpy(space, data, count);
    commit(count);
    return count;
}

XmlSegment::ReturnCode XmlSegment::next(const char*& element, unsigned int& length)
{
    element = nullptr;
    length = 0;
    ReturnCode code = checkEncoding();
    while (code == RC_NEED_MORE && _isEncodingKnown && _scanned < _end)
        code = readOn();
    if (code == RC_OK) {
        element = _buffer + (_position - _offset);
        length = static_cast<unsigned int>(_buffer + _scanned - element);
    }
    return code == RC_NEED_MORE && _isEncodingKnown ? makeRoom() : code;
}

/// `RC_NEED_MORE`: nothing is against it so far.
XmlSegment::ReturnCode XmlSegment::checkEncoding()
{
    if (!_isEncodingKnown && _end >= ENCODING_BYTES) {
        _isEncodingKnown = true;
        _isEncodingRefused = !isAsciiCompatible(_buffer);
        if (beginsWith(_buffer, UTF_8_MARK, UTF_8_MARK_LENGTH))
            _scanned = UTF_8_MARK_LENGTH;
    }
    if (!_isEncodingRefused || _scanned == _end)
        return RC_NEED_MORE;
    _start = _scanned = _end;
    return RC_ENCODING;
}

/// `RC_NEED_MORE`: nothing is to be told so far.
XmlSegment::ReturnCode XmlSegment::readOn()
{
    if (_depth == 0 && _scanner.isInText() && !passBlanks()) {
        const ReturnCode code = refuse(_offset + _scanned);
        if (code != RC_NEED_MORE)
            return code;
    }
    switch (scan()) {
    case Scanner::MARKUP:
        beginMarkup();
        break;
    case Scanner::DECLARATION:
        beginDocument();
        break;
    case Scanner::FOREIGN:
        return refuse(_markup);
    case Scanner::START_TAG:
        ++_depth;
        break;
    case Scanner::EMPTY_TAG:
        return _depth == 0 ? complete() : RC_NEED_MORE;
    case Scanner::END_TAG:
        return endElement();
    case Scanner::PASSED:
    case Scanner::NOTHING:
        break;
    }
    return RC_NEED_MORE;
}

XmlSegment::Scanner::Event XmlSegment::scan()
{
    const char* position = _buffer + _scanned;
    const Scanner::Event event = _scanner.scan(position, _buffer + _end);
    _scanned = static_cast<unsigned int>(position - _buffer);
    return event;
}

/// False when text follows. What is kept begins with the first byte that is not blank.
bool XmlSegment::passBlanks()
{
    while (_scanned < _end && Scanner::isBlank(_buffer[_scanned]))
        ++_scanned;
    if (!_hasKept)
        _start = _scanned;
    if (_scanned == _end)
        return true;
    _hasKept = _between == KEEP;
    return _buffer[_scanned] == '<';
}

void XmlSegment::beginMarkup()
{
    _markup = _offset + _scanned - 1;
    if (_depth > 0 || _between == KEEP)
        return;
    _start = _scanned - 1;
    _isSkipping = false;
}

void XmlSegment::beginDocument()
{
    if (_depth == 0 && _between == KEEP && !_isSkipping)
        _start = static_cast<unsigned int>(_markup - _offset);
}

XmlSegment::ReturnCode XmlSegment::endElement()
{
    if (_depth == 0)
        return refuse(_markup);
    return --_depth == 0 ? complete() : RC_NEED_MORE;
}

XmlSegment::ReturnCode XmlSegment::complete()
{
    const bool isGiven = !_isSkipping;
    if (isGiven)
        _position = _offset + _start;
    _start = _scanned;
    _isSkipping = false;
    _isRefused = false;
    _hasKept = false;
    return isGiven ? RC_OK : RC_NEED_MORE;
}

XmlSegment::ReturnCode XmlSegment::refuse(uint64_t position)
{
    if (_between != REFUSE || _isRefused || _depth > 0)
        return RC_NEED_MORE;
    _isRefused = true;
    _position = position;
    return RC_BETWEEN;
}

/// Everything is looked at: what cannot be a part of an element goes, and a full buffer means that one is too large.
XmlSegment::ReturnCode XmlSegment::makeRoom()
{
    if (_isSkipping || (_depth == 0 && _between != KEEP && !_scanner.mayOpen()))
        _start = _scanned;
    if (_start == _end || _end - _start < _size)
        return RC_NEED_MORE;
    _isSkipping = true;
    _position = _offset + _start;
    return RC_TOO_LARGE;
}

bool XmlSegment::isBetweenElements() const
{
    if (!_isEncodingKnown) // too few bytes came to be looked at
        return std::all_of(_buffer, _buffer + _end, Scanner::isBlank);
    return _depth == 0 && _scanned == _end && _scanner.isInText() && !_isEncodingRefused;
}

} // namespace Ostrel
