#include <cstring>

#include "ostrel/XmlSegment.h"

namespace Ostrel {

namespace {

const char* findByte(const char* position, const char* end, char wanted)
{
    const void* const found = memchr(position, wanted, static_cast<size_t>(end - position));
    return found == nullptr ? end : static_cast<const char*>(found);
}

template <char... WANTED>
const char* findAnyOf(const char* position, const char* end)
{
    while (position != end && ((*position != WANTED) && ...))
        ++position;
    return position;
}

/// Bytes of other characters than ASCII count as letters.
bool isNameStart(char byte)
{
    const unsigned char lower = static_cast<unsigned char>(byte) | 0x20U;
    return (lower >= 'a' && lower <= 'z') || lower >= 0x80 || byte == '_' || byte == ':';
}

} // namespace

XmlSegment::Scanner::Event XmlSegment::Scanner::scan(const char*& position, const char* end)
{
    Event event = NOTHING;
    while (event == NOTHING && position != end)
        event = step(position, end);
    return event;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::step(const char*& position, const char* end)
{
    switch (_state) {
    case TEXT:
        return readText(position, end);
    case OPEN:
        return readOpen(position);
    case NAME:
        return readName(position, end);
    case TAG:
        return readTag(position, end);
    case QUOTED:
        return readQuoted(position, end);
    case TARGET:
        return readTarget(position);
    case EXCLAMATION:
        return readExclamation(position);
    case DASH:
        return readDash(position);
    case CDATA:
        return readCdata(position);
    case SECTION:
        return readSection(position, end);
    case DECLARING:
        return readDeclaring(position, end);
    case SUBSET:
        return readSubset(position, end);
    case SUBSET_OPEN:
        break;
    }
    return readSubsetOpen(position);
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readText(const char*& position, const char* end)
{
    position = findByte(position, end, '<');
    if (position == end)
        return NOTHING;
    ++position;
    return openMarkup();
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readOpen(const char*& position)
{
    if (isNameStart(*position)) {
        _state = NAME;
        _expected = _name;
        return NOTHING;
    }
    _mayOpen = false;
    if (*position == '/' && !_isEndTag) {
        _isEndTag = true;
        ++position;
        return NOTHING;
    }
    if (_isEndTag || (*position != '!' && *position != '?')) {
        _state = TEXT;
        return FOREIGN;
    }
    _state = *position++ == '!' ? EXCLAMATION : TARGET;
    _expected = "xml";
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readName(const char*& position, const char* end)
{
    for (; position != end; ++position) {
        if (isBlank(*position) || *position == '/' || *position == '>' || *position == '<')
            return finishName(_name == nullptr || *_expected == '\0');
        // The terminator is looked for first: a NUL in the text must not match it.
        if (_name != nullptr && (*_expected == '\0' || *_expected++ != *position))
            return finishName(false);
    }
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::finishName(bool matches)
{
    _state = TAG;
    _isWanted = matches;
    _isEmptyTag = false;
    _mayOpen = _mayOpen && matches;
    return matches ? NOTHING : FOREIGN;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readTag(const char*& position, const char* end)
{
    const char* const found = findAnyOf<'>', '<', '"', '\''>(position, end);
    if (found != position)
        _isEmptyTag = found[-1] == '/';
    position = found;
    if (position == end)
        return NOTHING;

    const char byte = *position++;
    if (byte == '>')
        return finishTag();
    if (byte == '<')
        return openMarkup();
    enterQuotes(byte);
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::finishTag()
{
    leaveMarkup();
    if (!_isWanted)
        return PASSED;
    if (_isEndTag)
        return END_TAG;
    return _isEmptyTag ? EMPTY_TAG : START_TAG;
}

void XmlSegment::Scanner::enterQuotes(char quote)
{
    _stateBehindQuotes = _state;
    _state = QUOTED;
    _quote = quote;
    _isEmptyTag = false;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readQuoted(const char*& position, const char* end)
{
    position = findByte(position, end, _quote);
    if (position == end)
        return NOTHING;
    ++position;
    _state = _stateBehindQuotes;
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readTarget(const char*& position)
{
    if (*_expected != '\0' && *_expected == *position) {
        ++_expected;
        ++position;
        return NOTHING;
    }
    enterSection('?', 1);
    return *_expected == '\0' && isBlank(*position) ? DECLARATION : NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readExclamation(const char*& position)
{
    if (*position == '-') {
        _state = DASH;
        ++position;
        return NOTHING;
    }
    if (*position != '[' || _isInSubset) {
        _state = DECLARING;
        return NOTHING;
    }
    _state = CDATA;
    _expected = "CDATA[";
    ++position;
    return FOREIGN;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readDash(const char*& position)
{
    if (*position == '-') {
        ++position;
        enterSection('-', 2);
    } else {
        _state = DECLARING;
    }
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readCdata(const char*& position)
{
    if (*_expected != *position) {
        _state = DECLARING;
        return NOTHING;
    }
    ++position;
    if (*++_expected == '\0')
        enterSection(']', 2);
    return NOTHING;
}

void XmlSegment::Scanner::enterSection(char closer, unsigned char needed)
{
    _state = SECTION;
    _closer = closer;
    _closersNeeded = needed;
    _closersSeen = 0;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readSection(const char*& position, const char* end)
{
    if (_closersSeen == 0)
        position = findByte(position, end, _closer);
    if (position == end)
        return NOTHING;

    const char byte = *position++;
    if (byte == '>' && _closersSeen == _closersNeeded)
        return leaveMarkup();
    if (byte != _closer)
        _closersSeen = 0;
    else if (_closersSeen < _closersNeeded)
        ++_closersSeen;
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readDeclaring(const char*& position, const char* end)
{
    position = findAnyOf<'>', '<', '[', '"', '\''>(position, end);
    if (position == end)
        return NOTHING;

    const char byte = *position++;
    if (byte == '>')
        return leaveMarkup();
    if (byte == '<')
        return openMarkup();
    if (byte != '[') {
        enterQuotes(byte);
    } else if (!_isInSubset) {
        _isInSubset = true;
        _state = SUBSET;
    }
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readSubset(const char*& position, const char* end)
{
    position = findAnyOf<'<', ']'>(position, end);
    if (position == end)
        return NOTHING;
    if (*position++ == '<')
        return openMarkup();
    _isInSubset = false;
    _state = DECLARING;
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::readSubsetOpen(const char*& position)
{
    if (*position == '!')
        _state = EXCLAMATION;
    else if (*position == '?')
        enterSection('?', 1);
    else
        _state = SUBSET;
    if (_state != SUBSET)
        ++position;
    return NOTHING;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::openMarkup()
{
    if (_isInSubset) {
        _state = SUBSET_OPEN;
        return NOTHING;
    }
    _state = OPEN;
    _isEndTag = false;
    _mayOpen = true;
    return MARKUP;
}

XmlSegment::Scanner::Event XmlSegment::Scanner::leaveMarkup()
{
    _state = _isInSubset ? SUBSET : TEXT;
    _mayOpen = false;
    return _isInSubset ? NOTHING : PASSED;
}

} // namespace Ostrel
