#pragma once

#include <string>

namespace Inspect {

/// Writes JSON with one value a line, or all in one line.
class JsonWriter
{
public:
    JsonWriter(std::string* out, bool isIndented) : _out(*out), _isIndented(isIndented) {}

    /// A null key for the root and in arrays.
    void open(const char* key, bool isObject);
    void close();
    void add(const char* key, const std::string& value); ///< `value` as it is to stand there.

private:
    void startValue(const char* key);
    void startLine();

    std::string& _out;
    bool _isIndented;
    std::string _brackets; ///< Those that close what is open.
    bool _isFirst = true;
};

} // namespace Inspect
