#pragma once

#include <exception>
#include <string>

#include "ostrel/Export.h"

namespace Ostrel {

/// Receives the text of XML documents (XML 1.0) in pieces of any size.
///
/// A document is `startDocument`, any number of `parse` calls, `endDocument`; then the next one may follow. Where a
/// piece ends does not matter, not even inside a character.
///
/// Errors:    `parse` may throw `ParseException`; see the class that implements it.
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

    virtual void startDocument() = 0;                              ///< Before the first piece.
    virtual void parse(const char* data, unsigned int length) = 0; ///< `data` is used during the call only.
    virtual void endDocument() = 0;                                ///< After the last piece.
};

} // namespace Ostrel
