#include "ostrel/SAXParser.h"

#include <cxxabi.h>
#include <expat.h>

#include <cstdio>
#include <cstring>
#include <new>

#include "ostrel/Report.h"
#include "ostrel/internal/XmlEventTexts.h"

extern "C" {
// What expat calls.
void SAXParser_startElement(void* userData, const char* name, const char** attributes);
void SAXParser_endElement(void* userData, const char* name);
void SAXParser_charData(void* userData, const char* text, int length);
}

namespace Ostrel {

namespace {

constexpr int LINE_PARSE = 150;
constexpr int LINE_END_DOCUMENT = 173;
constexpr int LINE_RESET = 179;

const unsigned int MESSAGE_SIZE = 256;
const unsigned int LARGEST_PIECE = 1U << 30; // expat's lengths are signed

template <class Create>
XMLParser::ParseException createWithinMemory(Create create)
{
    try {
        return create();
    } catch (const std::bad_alloc&) {
        return XMLParser::ParseException("out of memory"); // short enough to need no block
    }
}

} // namespace

SAXHandler::~SAXHandler() = default;

SAXParser::SAXParser(const SharedPtr<SAXHandler>& handler)
    : m_expatParser(nullptr), _handler(handler), _calledHandler(handler), _isOutOfMemory(false)
{
    createExpatParser();
}

SAXParser::SAXParser(const WeakPtr<SAXHandler>& handler)
    : m_expatParser(nullptr), _calledHandler(handler), _isOutOfMemory(false)
{
    createExpatParser();
}

SAXParser::~SAXParser()
{
    XML_ParserFree(m_expatParser);
}

/// Whether there is one now.
bool SAXParser::createExpatParser()
{
    if (m_expatParser != nullptr)
        return true;
    if (_texts == nullptr)
        _texts.reset(new (std::nothrow) XmlEventTexts);
    if (_texts != nullptr)
        m_expatParser = XML_ParserCreate(nullptr);
    initExpatParser();
    return m_expatParser != nullptr;
}

void SAXParser::initExpatParser()
{
    if (m_expatParser == nullptr)
        return;
    XML_SetUserData(m_expatParser, this);
    XML_SetElementHandler(m_expatParser, SAXParser_startElement, SAXParser_endElement);
    XML_SetCharacterDataHandler(m_expatParser, SAXParser_charData);
}

void SAXParser::startDocument() {}

void SAXParser::parse(const char* data, unsigned int length)
{
    for (; length > LARGEST_PIECE; data += LARGEST_PIECE, length -= LARGEST_PIECE) {
        if (!parsePiece(data, LARGEST_PIECE, false))
            return handleParseFailure();
    }
    if (!parsePiece(data, length, false))
        handleParseFailure();
}

bool SAXParser::parsePiece(const char* data, unsigned int length, bool isFinal)
{
    if (!_isInDocument) {
        _isInDocument = true;
        _hasEnded = _hasRootEnded = false;
        _openElements = 0;
        _error = Error();
    }
    const bool isParsed = parseByExpat(data, length, isFinal);
    if (!isParsed)
        noteError();
    _hasEnded = _hasEnded || isFinal;
    return isParsed;
}

bool SAXParser::parseByExpat(const char* data, unsigned int length, bool isFinal)
{
    if (_isOutOfMemory)
        return false;
    if (!createExpatParser()) {
        _isOutOfMemory = true;
        return false;
    }
    const bool isParsed = XML_Parse(m_expatParser, data, static_cast<int>(length), isFinal) != XML_STATUS_ERROR;
    // Expat itself would go on with the next piece, as if the one that it had no room for had never been there.
    if (!isParsed && XML_GetErrorCode(m_expatParser) == XML_ERROR_NO_MEMORY)
        _isOutOfMemory = true;
    return isParsed && !_isOutOfMemory;
}

/// The first one of a document is kept: all later pieces fail with it or behind it.
void SAXParser::noteError()
{
    const int code = getErrorCode();
    // A document may be ended twice, when `finished` has thrown the first time.
    if (_error.code != 0 || code == XML_ERROR_FINISHED)
        return;
    _error.code = code;
    _error.text = getErrorText();
    if (m_expatParser == nullptr)
        return;
    _error.line = XML_GetCurrentLineNumber(m_expatParser);
    _error.column = XML_GetCurrentColumnNumber(m_expatParser) + 1ULL;
    const long long offset = XML_GetCurrentByteIndex(m_expatParser);
    _error.offset = offset != -1 ? offset : 0; // some versions know no place in an empty document
}

void SAXParser::handleParseFailure()
{
    // Stays stored, so that later failures throw it again: see docs/compatibility.md.
    if (_pendingException)
        throw createWithinMemory([&] { return ParseException(*_pendingException); });

    SAXHandler* const handler = _calledHandler.require();
    if (handler != nullptr && !handler->parseError()) {
        char message[MESSAGE_SIZE];
        snprintf(message, sizeof(message), "Expat error '%s' on line %ld of document", getErrorText(),
                 static_cast<long>(getErrorLine()));
        throw createWithinMemory([&] { return ParseException(message); });
    }
    // Without the usual opening apostrophe: see docs/compatibility.md.
    reportMessage(Severity::RECOVERABLE, "%s:%d - expat error '%s' on line %d", __FILE__, LINE_PARSE, getErrorText(),
                  static_cast<int>(getErrorLine()));
}

void SAXParser::endDocument()
{
    if (!parsePiece(nullptr, 0, true))
        OSTREL_REPORT_AT(RECOVERABLE, LINE_END_DOCUMENT, "expat error '%s' on line %d", getErrorText(),
                         static_cast<int>(getErrorLine()));
    if (SAXHandler* const handler = _calledHandler.require())
        handler->finished();
    OSTREL_CHECK_AT(RECOVERABLE, LINE_RESET, "XML_ParserReset(m_expatParser, 0)",
                    m_expatParser != nullptr && XML_ParserReset(m_expatParser, nullptr) == XML_TRUE);
    initExpatParser(); // the reset has dropped the callbacks
    _isOutOfMemory = false;
    _isInDocument = false;
}

int SAXParser::getErrorCode() const
{
    return _isOutOfMemory ? XML_ERROR_NO_MEMORY : XML_GetErrorCode(m_expatParser);
}

const char* SAXParser::getErrorText() const
{
    return XML_ErrorString(static_cast<XML_Error>(getErrorCode()));
}

unsigned long SAXParser::getErrorLine() const
{
    return m_expatParser == nullptr ? 0 : XML_GetCurrentLineNumber(m_expatParser);
}

/// Nothing may be thrown through expat, whose frames cannot be unwound. In line: a sixth of our own time.
template <class Call>
__attribute__((always_inline)) inline void SAXParser::guard(Call call)
{
    if (_isOutOfMemory)
        return; // expat may go on for some events after it was told to stop
    try {
        if (SAXHandler* const handler = _calledHandler.require())
            call(*handler);
    } catch (const XmlEventTexts::OutOfMemory&) {
        stopWithoutMemory();
    } catch (const ParseException& exception) {
        keepException([&] { return exception; });
        XML_StopParser(m_expatParser, XML_FALSE);
    } catch (abi::__forced_unwind&) {
        throw; // the thread is being cancelled, which nobody may hold up
    } catch (const std::exception& exception) {
        // Parsing goes on: only if the document fails later does anybody hear of it.
        keepException([&] { return createException(&exception); });
    } catch (...) {
        keepException([] { return createException(nullptr); });
    }
}

template <class Create>
void SAXParser::keepException(Create create)
{
    try {
        SharedPtr<ParseException> exception(new ParseException(create()));
        if (exception)
            return _pendingException.swap(exception);
    } catch (const std::bad_alloc&) {
    }
    // An earlier one stays. Without any, the document is malformed to the handler.
    stopWithoutMemory();
}

/// A tree would be bent by a document that goes on without one of its events.
void SAXParser::stopWithoutMemory()
{
    _isOutOfMemory = true;
    XML_StopParser(m_expatParser, XML_FALSE);
}

XMLParser::ParseException SAXParser::createException(const std::exception* exception)
{
    std::string message("Unexpected exception ");
    if (exception != nullptr) {
        const char* const what = exception->what(); // a handler's own class may give null
        if (what != nullptr)
            message.append(what);
        message.append("' "); // no opening apostrophe: see docs/compatibility.md
    }
    return ParseException(message.append("caught in ").append(__FILE__).append(":").append(__func__));
}

/// What expat calls: the user data is the parser.
class ExpatCallbacks
{
public:
    static void startElement(SAXParser& parser, const char* name, const char** attributes)
    {
        ++parser._openElements;
        parser.guard([&](SAXHandler& handler) {
            const size_t length = strlen(name);
            handler.startElement(parser._texts->setText(name, length),
                                 parser._texts->setAttributes(name, length, attributes));
        });
    }

    static void endElement(SAXParser& parser, const char* name)
    {
        parser._hasRootEnded = --parser._openElements == 0;
        parser.guard([&](SAXHandler& handler) { handler.endElement(parser._texts->setText(name, strlen(name))); });
    }

    static void charData(SAXParser& parser, const char* text, size_t length)
    {
        parser.guard([&](SAXHandler& handler) { handler.charData(parser._texts->setText(text, length)); });
    }
};

} // namespace Ostrel

using Ostrel::ExpatCallbacks;
using Ostrel::SAXParser;

extern "C" {

void XMLCALL SAXParser_startElement(void* userData, const char* name, const char** attributes)
{
    ExpatCallbacks::startElement(*static_cast<SAXParser*>(userData), name, attributes);
}

void XMLCALL SAXParser_endElement(void* userData, const char* name)
{
    ExpatCallbacks::endElement(*static_cast<SAXParser*>(userData), name);
}

void XMLCALL SAXParser_charData(void* userData, const char* text, int length)
{
    ExpatCallbacks::charData(*static_cast<SAXParser*>(userData), text, static_cast<size_t>(length));
}

} // extern "C"
