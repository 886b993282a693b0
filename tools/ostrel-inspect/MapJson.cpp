// Property maps as JSON objects with integer keys, and back.
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>

#include "json/JsonParser.h"
#include "ostrel/InputStream.h"
#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"
#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/JsonWriter.h"
#include "tools/ostrel-inspect/MapLayout.h"
#include "tools/ostrel-inspect/Output.h"
#include "tools/ostrel-inspect/Source.h"

namespace Inspect {

namespace {

const unsigned int MOST_LEVELS = 15; // of what our parser reads

/// Why a value cannot be said in JSON so that it comes back as it was; null when it can.
const char* findObstacle(const MapEntry& entry, unsigned int level)
{
    if (entry.type == PM_TYPE_FLOAT)
        return "a float, which would come back as a double";
    if (entry.type == PM_TYPE_DOUBLE && !std::isfinite(entry.getDouble()))
        return "no finite number";
    if (entry.type == PM_TYPE_STRING && !isValidUtf8(entry.getText()))
        return "a text that is no UTF-8";
    if (entry.type == PM_TYPE_BINARY)
        return "binary data, for which JSON has nothing";
    return entry.nested && level == MOST_LEVELS ? "a map nested too deep for our parser" : nullptr;
}

void writeMembers(JsonWriter& json, const MapTree& map, unsigned int level, Faults* faults)
{
    for (const MapEntry& entry : map.entries) {
        const std::string key = std::to_string(entry.key);
        const char* const obstacle = findObstacle(entry, level);
        if (obstacle != nullptr) {
            faults->add(entry.offset, "key " + key + " is " + obstacle);
        } else if (entry.nested) {
            json.open(key.c_str(), true);
            writeMembers(json, *entry.nested, level + 1, faults);
            json.close();
        } else if (entry.type == PM_TYPE_BOOL) {
            json.add(key.c_str(), entry.getBoolean() ? "true" : "false");
        } else if (entry.type == PM_TYPE_INT) {
            json.add(key.c_str(), std::to_string(entry.getInteger()));
        } else if (entry.type == PM_TYPE_DOUBLE) {
            json.add(key.c_str(), showNumber(entry.getDouble()));
        } else {
            json.add(key.c_str(), showText(entry.getText(), TextStyle::JSON));
        }
    }
}

/// A JSON text for the parser, a byte at a time, so that its events can be told from where in the text they come.
class PlacedText : public Ostrel::InputStream
{
public:
    explicit PlacedText(std::string_view text) : _text(text) {}

    int read(unsigned char* buffer, unsigned int size) override;
    const char* getErrorString() const override { return nullptr; }

    /// Of the token that the parser has just had, and of the text token before it, which is its key.
    size_t getTokenStart() const { return _tokenStart; }
    size_t getKeyStart() const { return _keyStart; }
    std::string_view getToken() const { return _text.substr(_tokenStart, _next - _tokenStart); }

private:
    void follow(char byte);

    std::string_view _text;
    size_t _next = 0;
    size_t _tokenStart = 0;
    size_t _textStart = 0;
    size_t _keyStart = 0;
    enum { BETWEEN, IN_TOKEN, IN_TEXT, BEHIND_BACKSLASH } _state = BETWEEN;
};

int PlacedText::read(unsigned char* buffer, unsigned int size)
{
    if (_next == _text.size() || size == 0)
        return 0;
    follow(_text[_next]);
    *buffer = static_cast<unsigned char>(_text[_next++]);
    return 1;
}

void PlacedText::follow(char byte)
{
    if (_state == BEHIND_BACKSLASH) {
        _state = IN_TEXT;
    } else if (_state == IN_TEXT) {
        _state = byte == '"' ? BETWEEN : byte == '\\' ? BEHIND_BACKSLASH : IN_TEXT;
    } else if (byte == '"') {
        _tokenStart = _textStart = _next;
        _state = IN_TEXT;
    } else if (byte == ':') {
        _keyStart = _textStart;
        _state = BETWEEN;
    } else if (strchr(" \t\r\n,]}", byte) != nullptr) { // a NUL too, which is an error
        _state = BETWEEN;
    } else if (_state == BETWEEN) {
        _tokenStart = _next;
        _state = byte == '{' || byte == '[' ? BETWEEN : IN_TOKEN;
    }
}

bool hasNul(std::string_view token)
{
    for (size_t i = 0; i < token.size(); i += token[i] == '\\' ? 2 : 1) {
        if (token[i] == '\0' || token.substr(i, 6) == "\\u0000")
            return true;
    }
    return false;
}

template <class Word>
void appendWord(std::string& record, Word word)
{
    record.append(reinterpret_cast<const char*>(&word), sizeof(word));
}

/// Makes records of the form out of the parser's events, up to the first that it cannot take.
class FormBuilder : public json::JsonParser::EventHandler
{
public:
    explicit FormBuilder(const PlacedText* text) : _text(*text) {}

    using EventHandler::onInteger;
    void onInteger(json::JsonParser* parser, const char* key, long long value) override;
    void onDouble(json::JsonParser* parser, const char* key, double value) override;
    void onString(json::JsonParser* parser, const char* key, const char* value) override;
    void onBoolean(json::JsonParser* parser, const char* key, bool value) override;
    void onNull(json::JsonParser* parser, const char* key) override;
    void arrayStart(json::JsonParser* parser, const char* key) override;
    void objectStart(json::JsonParser* parser, const char* key) override;
    void objectEnd(json::JsonParser* parser) override;

    bool isRefused() const { return !_why.empty(); }
    size_t getPlace() const { return _place; }
    const std::string& getWhy() const { return _why; }
    const std::string& getForm() const { return _form; }

private:
    struct Level
    {
        int key = 0;
        size_t place = 0;
        uint64_t size = MAP_HEADER_SIZE; // in a buffer
        std::map<int, std::string> records;
    };

    void refuse(size_t place, const std::string& why);
    bool takeKey(const char* text, int* key);
    std::string* startRecord(const char* key, unsigned int type, uint64_t valueSize);

    const PlacedText& _text;
    std::vector<Level> _levels;
    std::string _form; ///< Of the object that ended last.
    size_t _place = 0;
    std::string _why;
};

void FormBuilder::refuse(size_t place, const std::string& why)
{
    if (isRefused())
        return;
    _place = place;
    _why = why;
}

bool FormBuilder::takeKey(const char* text, int* key)
{
    const char* const end = text + strlen(text);
    const std::from_chars_result result = std::from_chars(text, end, *key);
    if (result.ec == std::errc() && result.ptr == end && std::to_string(*key) == text)
        return true;
    refuse(_text.getKeyStart(), "a key is an integer from -2147483648 to 2147483647, as it is usually written");
    return false;
}

/// The record of a value, with its beginning; null when there can be none.
std::string* FormBuilder::startRecord(const char* key, unsigned int type, uint64_t valueSize)
{
    if (key == nullptr)
        refuse(_text.getTokenStart(), "a map is an object");
    int number = 0;
    if (isRefused() || !takeKey(key, &number))
        return nullptr;
    std::string& record = _levels.back().records[number];
    if (!record.empty()) {
        refuse(_text.getKeyStart(), "key " + std::to_string(number) + " is there already");
        return nullptr;
    }
    const bool isInline = type < PM_TYPE_DOUBLE && isShortKey(number);
    _levels.back().size += MAP_ENTRY_SIZE + (isInline ? 0 : valueSize);
    record += static_cast<char>(type);
    appendWord(record, htobe32(static_cast<uint32_t>(number)));
    return &record;
}

void FormBuilder::onInteger(json::JsonParser*, const char* key, long long value)
{
    if (value < INT32_MIN || value > INT32_MAX)
        refuse(_text.getTokenStart(), "an integer has 32 bits");
    else if (std::string* record = startRecord(key, PM_TYPE_INT, sizeof(uint32_t)))
        appendWord(*record, htobe32(static_cast<uint32_t>(value)));
}

void FormBuilder::onDouble(json::JsonParser*, const char* key, double value)
{
    if (!std::isfinite(value))
        refuse(_text.getTokenStart(), "the number is too large for a double");
    else if (std::string* record = startRecord(key, PM_TYPE_DOUBLE, sizeof(value)))
        appendWord(*record, htobe64(Ostrel::loadU64(&value)));
}

void FormBuilder::onString(json::JsonParser*, const char* key, const char* value)
{
    if (hasNul(_text.getToken()))
        refuse(_text.getTokenStart(), "a text in a map has no zero byte");
    else if (std::string* record = startRecord(key, PM_TYPE_STRING, strlen(value) + 1))
        record->append(value, strlen(value) + 1);
}

void FormBuilder::onBoolean(json::JsonParser*, const char* key, bool value)
{
    std::string* record = startRecord(key, PM_TYPE_BOOL, 0);
    if (record != nullptr && value)
        record->front() = static_cast<char>(FORM_TRUE);
}

void FormBuilder::onNull(json::JsonParser*, const char*)
{
    refuse(_text.getTokenStart(), "a map has no null");
}

void FormBuilder::arrayStart(json::JsonParser*, const char*)
{
    refuse(_text.getTokenStart(), "a map has no arrays");
}

void FormBuilder::objectStart(json::JsonParser*, const char* key)
{
    Level level;
    level.place = _text.getTokenStart();
    if (!_levels.empty() && startRecord(key, PM_TYPE_PROPERTY_MAP, MAP_LENGTH_SIZE) != nullptr)
        takeKey(key, &level.key);
    if (!isRefused())
        _levels.push_back(std::move(level));
}

void FormBuilder::objectEnd(json::JsonParser*)
{
    if (isRefused())
        return;
    const Level level = std::move(_levels.back());
    _levels.pop_back();
    if (level.size > MAP_MAX_SIZE)
        return refuse(level.place,
                      "a map of " + std::to_string(level.size) + " bytes is too large, 16777215 is the most");
    _form.clear();
    appendWord(_form, htobe32(static_cast<uint32_t>(level.size)));
    for (const auto& record : level.records)
        _form += record.second;
    _form += static_cast<char>(PM_MAX_TYPE);
    if (_levels.empty())
        return;
    _levels.back().records[level.key] += _form;
    _levels.back().size += level.size;
}

} // namespace

std::string convertToJson(const MapTree& map, Faults* faults)
{
    std::string out;
    JsonWriter json(&out, true);
    json.open(nullptr, true);
    writeMembers(json, map, 1, faults);
    json.close();
    return out;
}

bool convertFromJson(const std::string& file, const std::string& text, std::string* form)
{
    PlacedText placed(text);
    FormBuilder builder(&placed);
    json::JsonParser parser(&builder);
    const int result = parser.parseUnbuffered(&placed);
    const json::JsonError error = parser.getError();
    if (builder.isRefused())
        complainWithLine(file, findLine(text, builder.getPlace()), builder.getWhy(), text, builder.getPlace());
    else if (result != 0)
        complainWithLine(file, {error.line, error.column}, error.getText(), text, static_cast<size_t>(error.offset));
    else
        *form = builder.getForm();
    return result == 0 && !builder.isRefused();
}

} // namespace Inspect
