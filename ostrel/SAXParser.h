#pragma once

#include <exception>
#include <map>
#include <string>

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/SharedPtr.h"
#include "ostrel/WeakPtr.h"

struct XML_ParserStruct;

extern "C" {
// What expat calls. They are for the parser below alone.
void SAXParser_startElement(void* userData, const char* name, const char** attributes);
void SAXParser_endElement(void* userData, const char* name);
void SAXParser_charData(void* userData, const char* text, int length);
}

namespace Ostrel {

class XmlEventTexts;

/// Receives the text of XML documents (XML 1.0) in pieces of any size.
///
/// A document is `startDocument`, any number of `parse` calls, `endDocument`; then the next one may follow. Where a
/// piece ends does not matter, not even inside a character.
///
/// Units:     lengths are bytes.
/// Ownership: the text stays the caller's.
/// Errors:    `parse` may throw `ParseException`; see the class that implements it.
/// Threads:   one parser belongs to one thread at a time.
class OSTREL_EXPORT XMLParser
{
public:
    /// What goes through `parse` when a document is malformed or whoever receives it gives up.
    class OSTREL_EXPORT ParseException : public std::exception
    {
    public:
        explicit ParseException(const std::string& message);
        ParseException(const ParseException& other);
        ParseException& operator=(const ParseException& other);
        ~ParseException() override;

        const char* what() const noexcept override; ///< Lives as long as the exception.

    private:
        std::string _message;
    };

    virtual ~XMLParser();

    virtual void startDocument() = 0;
    virtual void parse(const char* data, unsigned int length) = 0; ///< `data` is used during the call only.
    virtual void endDocument() = 0;
};

/// Receives the events of a document. Derive from it; `DataObjectSaxHandler` builds a tree.
///
/// Units:     texts are UTF-8, whatever the document's encoding was.
/// Ownership: all arguments live until the call returns; the parser that makes it is neither fed nor destroyed in it.
/// Errors:    what a call throws does not reach the parser's caller directly: see `SAXParser`.
/// Threads:   called on the thread that feeds the parser.
class OSTREL_EXPORT SAXHandler
{
public:
    virtual ~SAXHandler();

    virtual void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) = 0;
    virtual void endElement(const std::string& name) = 0;
    virtual void charData(const std::string& text) = 0; ///< Text may come in several calls, cut between characters.
    virtual void finished() = 0;                        ///< The document ended, complete or not.
    virtual bool parseError() = 0; ///< True: a malformed document is only reported; false: `parse` throws.
};

/// Turns the text of XML documents into calls of a `SAXHandler`, by means of expat.
///
/// For files use `XMLFileProcessor`, for streams `XmlStreamFilter`, both with this parser.
///
///     const char text[] = "<server><port>8080</port></server>";
///     Ostrel::DataObjectSaxHandler handler;
///     Ostrel::SAXParser parser(handler);
///     parser.startDocument();
///     parser.parse(text, strlen(text));
///     parser.endDocument();
///
/// A `ParseException` that an event throws stops the document: `parse` throws one with the same message, now and in
/// each call up to `endDocument`. Anything else that an event throws is kept while parsing goes on. Whichever came last
/// stays, across documents too, and is what every later `parse` that fails throws, before `parseError` is asked. What
/// `parseError` and `finished` throw passes through; the parser is then not ready for the next document until
/// `endDocument` comes to its end.
///
/// Units:     lengths are bytes.
/// Ownership: a handler given as `SharedPtr` is shared; one given as `WeakPtr` stays the caller's and outlives the
///            parser. Room that texts and attributes took is kept for later ones until the parser dies.
/// Errors:    a malformed document is a recoverable report or an exception of `parse`, as the handler's `parseError`
///            tells; in `endDocument` it is always a report. A missing handler is a fatal report "m_ptr" at each call
///            that it misses, and counts as one that wants reports. Lack of memory for expat is a malformed document.
/// Threads:   one parser belongs to one thread at a time. A thread must not be cancelled inside a handler's call.
class OSTREL_EXPORT SAXParser : public XMLParser
{
public:
    explicit SAXParser(const SharedPtr<SAXHandler>& handler);
    explicit SAXParser(const WeakPtr<SAXHandler>& handler);
    /// Tells the two apart for a pointer to a derived handler, which converts to both.
    template <class Handler>
    explicit SAXParser(const SharedPtr<Handler>& handler) : SAXParser(SharedPtr<SAXHandler>(handler))
    {}
    ~SAXParser() override;
    SAXParser(const SAXParser&) = delete;
    SAXParser& operator=(const SAXParser&) = delete;

    void startDocument() override; ///< Does nothing.
    void parse(const char* data, unsigned int length) override;
    void endDocument() override; ///< Also ends a document that failed. Throws nothing but what `finished` throws.

private:
    friend void ::SAXParser_startElement(void* userData, const char* name, const char** attributes);
    friend void ::SAXParser_endElement(void* userData, const char* name);
    friend void ::SAXParser_charData(void* userData, const char* text, int length);

    void createExpatParser();
    void initExpatParser();
    bool parsePiece(const char* data, unsigned int length, bool isFinal);
    void handleParseFailure();
    const char* getError() const;
    unsigned long getErrorLine() const;

    template <class Call>
    void guard(Call call);
    template <class Create>
    void keepException(Create create);
    static ParseException createException(const std::exception* exception);

    XML_ParserStruct* m_expatParser; ///< Null when memory was exhausted.
    SharedPtr<SAXHandler> _handler;  ///< Empty when the handler is the caller's.
    WeakPtr<SAXHandler> _calledHandler;
    SharedPtr<ParseException> _pendingException;
    AutoPtr<XmlEventTexts> _texts;
};

} // namespace Ostrel
