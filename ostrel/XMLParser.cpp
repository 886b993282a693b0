#include "ostrel/XMLParser.h"

namespace Ostrel {

XMLParser::ParseException::ParseException(const std::string& message) : _message(message) {}

XMLParser::ParseException::ParseException(const ParseException& other) = default;

XMLParser::ParseException& XMLParser::ParseException::operator=(const ParseException& other) = default;

XMLParser::ParseException::~ParseException() = default;

const char* XMLParser::ParseException::what() const noexcept
{
    return _message.c_str();
}

XMLParser::~XMLParser() = default;

} // namespace Ostrel
