#pragma once

#include <map>
#include <string>

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/SharedPtr.h"
#include "ostrel/WeakPtr.h"
#include "ostrel/XMLParser.h"

struct XML_ParserStruct;

namespace Ostrel {

class ExpatCallbacks;
class XmlEventTexts;

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
/// Documents are UTF-8, UTF-16, ISO-8859-1 or US-ASCII; any other encoding makes them malformed. Names come as they
/// are written, prefixes and `xmlns` attributes included. External entities, the external part of a DTD among them, are
/// never read.
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
/// Expat holds back what the next piece may go on with, so that events may still come inside `endDocument`. Before its
/// version 2.6 it reads a tag or comment that comes in many pieces from the start again with each: a large one is slow.
///
/// A `ParseException` that an event throws stops the document: `parse` throws one with the same message, now and in
/// each call up to `endDocument`. Anything else that an event throws is kept while parsing goes on. Whichever came last
/// stays, across documents too, and is what every later `parse` that fails throws, before `parseError` is asked. What
/// `parseError` and `finished` throw passes through; the parser is then not ready for the next document until
/// `endDocument` comes to its end.
///
/// Ownership: a handler given as `SharedPtr` is shared; one given as `WeakPtr` stays the caller's and outlives the
///            parser. Room that texts and attributes took is kept for later ones until the parser dies.
/// Errors:    a malformed document is a recoverable report or an exception of `parse`, as the handler's `parseError`
///            tells; in `endDocument` it is always a report. A missing handler is a fatal report "m_ptr" at each call
///            that it misses, and counts as one that wants reports. Lack of memory, expat's or the parser's own, is a
///            malformed document with the error "out of memory": no event follows but `finished`, and the next document
///            finds the parser as good as new. `bad_alloc` passes only where `parseError` or `finished` throws it.
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
    friend class ExpatCallbacks;

    OSTREL_LOCAL bool createExpatParser();
    OSTREL_LOCAL void initExpatParser();
    OSTREL_LOCAL bool parsePiece(const char* data, unsigned int length, bool isFinal);
    OSTREL_LOCAL void handleParseFailure();
    OSTREL_LOCAL void stopWithoutMemory();
    OSTREL_LOCAL const char* getError() const;
    OSTREL_LOCAL unsigned long getErrorLine() const;

    template <class Call>
    OSTREL_LOCAL void guard(Call call);
    template <class Create>
    OSTREL_LOCAL void keepException(Create create);
    OSTREL_LOCAL static ParseException createException(const std::exception* exception);

    XML_ParserStruct* m_expatParser; ///< Null when memory was exhausted; tried again for the next document.
    SharedPtr<SAXHandler> _handler;  ///< Empty when the handler is the caller's.
    WeakPtr<SAXHandler> _calledHandler;
    SharedPtr<ParseException> _pendingException;
    AutoPtr<XmlEventTexts> _texts;
    bool _isOutOfMemory; ///< The rest of the document is dropped.
};

} // namespace Ostrel
