#include "tools/ostrel-inspect/JsonWriter.h"

#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

void JsonWriter::open(const char* key, bool isObject)
{
    startValue(key);
    _out += isObject ? '{' : '[';
    _brackets += isObject ? '}' : ']';
    _isFirst = true;
}

void JsonWriter::close()
{
    const char bracket = _brackets.back();
    _brackets.pop_back();
    if (!_isFirst)
        startLine();
    _out += bracket;
    _isFirst = false;
    if (_brackets.empty())
        _out += '\n';
}

void JsonWriter::add(const char* key, const std::string& value)
{
    startValue(key);
    _out += value;
    if (_brackets.empty())
        _out += '\n';
}

void JsonWriter::startValue(const char* key)
{
    if (!_isFirst)
        _out += ',';
    if (!_brackets.empty())
        startLine();
    if (key != nullptr) {
        appendText(_out, key, TextStyle::JSON);
        _out += _isIndented ? ": " : ":";
    }
    _isFirst = false;
}

void JsonWriter::startLine()
{
    if (_isIndented)
        _out.append(1, '\n').append(2 * _brackets.size(), ' ');
}

} // namespace Inspect
