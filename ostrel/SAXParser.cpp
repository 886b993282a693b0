#include "ostrel/SAXParser.h"

#include <cxxabi.h>
#include <expat.h>

#include <cstdio>
#include <cstring>
#include <new>

#include "ostrel/Report.h"
#include "ostrel/XmlEventTexts.h"

namespace Ostrel {

namespace {

// Log collectors match on file and line, so the numbers of these sites outlive edits.
enum ReportLine { LINE_PARSE = 150, LINE_END_DOCUMENT = 173, LINE_RESET = 179 };

const unsigned int MESSAGE_SIZE = 256;
const unsigned int LARGEST_PIECE = 1U << 30; // expat's lengths are signed

} // namespace

XMLParser::ParseException::ParseException(const std::string& message) : _message(message) {}

XMLParser::ParseException::ParseException(const ParseException& other) = default;

XMLParser::ParseException& XMLParser::ParseException::operator=(const ParseException& other) = default;

XMLParser::ParseException::~ParseException() = default;

const char* XMLParser::ParseException::what() const noexcept
{
    return _message.c_str();
}

XMLParser::~XMLParser() = default;

SAXHandler::~SAXHandler() = default;

SAXParser::SAXParser(const SharedPtr<SAXHandler>& handler)
    : m_expatParser(nullptr), _handler(handler), _calledHandler(handler), _texts(new (std::nothrow) XmlEventTexts)
{
    createExpatParser();
}

SAXParser::SAXParser(const WeakPtr<SAXHandler>& handler)
    : m_expatParser(nullptr), _calledHandler(handler), _texts(new (std::nothrow) XmlEventTexts)
{
    createExpatParser();
}

SAXParser::~SAXParser()
{
    XML_ParserFree(m_expatParser);
}

void SAXParser::createExpatParser()
{
    if (_texts)
        m_expatParser = XML_ParserCreate(nullptr);
    initExpatParser();
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
    return m_expatParser != nullptr &&
           XML_Parse(m_expatParser, data, static_cast<int>(length), isFinal) != XML_STATUS_ERROR;
}

void SAXParser::handleParseFailure()
{
    // Stays stored: callers that go on after the exception get it again.
    if (_pendingException)
        throw ParseException(*_pendingException);

    SAXHandler* const handler = _calledHandler.require();
    if (handler != nullptr && !handler->parseError()) {
        char message[MESSAGE_SIZE];
        snprintf(message, sizeof(message), "Expat error '%s' on line %ld of document", getError(),
                 static_cast<long>(getErrorLine()));
        throw ParseException(message);
    }
    // Without the usual opening apostrophe; log readers know this line so.
    reportMessage(Severity::RECOVERABLE, "%s:%d - expat error '%s' on line %d", __FILE__, LINE_PARSE, getError(),
                  static_cast<int>(getErrorLine()));
}

void SAXParser::endDocument()
{
    if (!parsePiece(nullptr, 0, true))
        OSTREL_REPORT_AT(RECOVERABLE, LINE_END_DOCUMENT, "expat error '%s' on line %d", getError(),
                         static_cast<int>(getErrorLine()));
    if (SAXHandler* const handler = _calledHandler.require())
        handler->finished();
    OSTREL_CHECK_AT(RECOVERABLE, LINE_RESET, "XML_ParserReset(m_expatParser, 0)",
                    m_expatParser != nullptr && XML_ParserReset(m_expatParser, nullptr) == XML_TRUE);
    initExpatParser(); // the reset has dropped the callbacks
}

const char* SAXParser::getError() const
{
    return XML_ErrorString(m_expatParser == nullptr ? XML_ERROR_NO_MEMORY : XML_GetErrorCode(m_expatParser));
}

unsigned long SAXParser::getErrorLine() const
{
    return m_expatParser == nullptr ? 0 : XML_GetCurrentLineNumber(m_expatParser);
}

/// Nothing may be thrown through expat, whose frames cannot be unwound.
template <class Call>
void SAXParser::guard(Call call)
{
    try {
        if (SAXHandler* const handler = _calledHandler.require())
            call(*handler);
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
            _pendingException.swap(exception);
    } catch (const std::bad_alloc&) {
        // An earlier one stays, and a document that fails without any is malformed to the handler.
    }
}

XMLParser::ParseException SAXParser::createException(const std::exception* exception)
{
    std::string message("Unexpected exception ");
    if (exception != nullptr)
        message.append(exception->what()).append("' "); // no opening apostrophe: log readers know it so
    return ParseException(message.append("caught in ").append(__FILE__).append(":").append(__func__));
}

} // namespace Ostrel

using Ostrel::SAXHandler;
using Ostrel::SAXParser;

void XMLCALL SAXParser_startElement(void* userData, const char* name, const char** attributes)
{
    SAXParser& parser = *static_cast<SAXParser*>(userData);
    parser.guard([&](SAXHandler& handler) {
        const size_t length = strlen(name);
        handler.startElement(parser._texts->setText(name, length),
                             parser._texts->setAttributes(name, length, attributes));
    });
}

void XMLCALL SAXParser_endElement(void* userData, const char* name)
{
    SAXParser& parser = *static_cast<SAXParser*>(userData);
    parser.guard([&](SAXHandler& handler) { handler.endElement(parser._texts->setText(name, strlen(name))); });
}

void XMLCALL SAXParser_charData(void* userData, const char* text, int length)
{
    SAXParser& parser = *static_cast<SAXParser*>(userData);
    parser.guard(
        [&](SAXHandler& handler) { handler.charData(parser._texts->setText(text, static_cast<size_t>(length))); });
}
