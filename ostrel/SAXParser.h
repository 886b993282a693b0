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

    /// An element begins; `attributes` has the values by name.
    virtual void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) = 0;
    virtual void endElement(const std::string& name) = 0; ///< The innermost open element ends.
    virtual void charData(const std::string& text) = 0;   ///< Text may come in several calls, cut between characters.
    virtual void finished() = 0;                          ///< The document ended, complete or not.
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
///     if (!parser.isWellFormed())
///         printf("%llu:%llu: %s\n", parser.getError().line, parser.getError().column, parser.getError().text);
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
    /// Why and where a document is not well-formed; all null and 0 where nothing is known to be wrong. The place is as
    /// expat tells it: outside of the root it may depend on the pieces in which the document came.
    struct Error
    {
        int code = 0;                  ///< Expat's `XML_Error`; that of "parsing aborted" after a `ParseException`.
        const char* text = nullptr;    ///< Expat's; lives for ever.
        unsigned long long line = 0;   ///< From 1.
        unsigned long long column = 0; ///< In characters; lines and columns count from 1.
        long long offset = 0;          ///< In bytes, from 0. Hosts of 32 bits count them in 32 bits.
    };

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

    /// Whether the last document has been ended, and was whole and without a mistake: a document that was cut is not.
    /// From within `finished` on, until the next document's first piece.
    bool isWellFormed() const { return _hasEnded && _error.code == 0; }

    /// The first mistake of the document, during it too. Until the next document's first piece.
    const Error& getError() const { return _error; }

    /// Whether the root element of the document is complete. Only comments and the like may follow.
    bool hasRootEnded() const { return _hasRootEnded; }

private:
    friend class ExpatCallbacks;

    OSTREL_LOCAL bool createExpatParser();
    OSTREL_LOCAL void initExpatParser();
    OSTREL_LOCAL bool parsePiece(const char* data, unsigned int length, bool isFinal);
    OSTREL_LOCAL bool parseByExpat(const char* data, unsigned int length, bool isFinal);
    OSTREL_LOCAL void noteError();
    OSTREL_LOCAL void handleParseFailure();
    OSTREL_LOCAL void stopWithoutMemory();
    OSTREL_LOCAL int getErrorCode() const;
    OSTREL_LOCAL const char* getErrorText() const;
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
    bool _isInDocument = false;
    bool _hasEnded = false; ///< The last piece was parsed, though `endDocument` may not be through.
    bool _hasRootEnded = false;
    unsigned int _openElements = 0;
    Error _error;
};

} // namespace Ostrel
