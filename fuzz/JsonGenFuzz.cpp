// Random calls of a generator, whose text the parser reads back; where calls are refused, the status says why.
#include <climits>

#include "fuzz/GeneratorModel.h"
#include "fuzz/Judge.h"
#include "json/JsonGen.h"
#include "tests/support/JsonEventLog.h"

using json::JsonGen;

namespace {

class JsonCalls
{
public:
    explicit JsonCalls(Choices& choices) : _choices(choices) {}

    void step()
    {
        const unsigned int action = _choices.below(16);
        if (action < 3)
            end();
        else if (action < 7)
            startCollection(action);
        else if (action < 15)
            addValue(action);
        else
            reset();
        require(_generator.getStatus() == _model.getStatus() && _generator.getDepth() == _model.getDepth());
        require(_generator.isOk() == (_generator.getStatus() <= JsonGen::DONE));
    }

    void check()
    {
        if (_isBroken)
            return;
        JsonEventLog read;
        json::JsonParser parser(&read);
        const int result =
            parser.parse(_generator.getData() == nullptr ? "" : _generator.getData(), _generator.getLength());
        require(read.text == _written.text); // of an incomplete text the beginning
        require((result == 0) == (_isStarted && _model.getDepth() == 0));
        _generator.nullTerminate();
        require(_generator.getData()[_generator.getLength()] == '\0');
    }

private:
    /// Null now and then.
    const char* pickText(std::string& storage)
    {
        const unsigned int size = _choices.below(40);
        storage = _choices.bytes(size);
        return size == 39 ? nullptr : storage.c_str();
    }

    /// Without the control characters that have no letter, for each of which there is a blank at the end.
    static std::string toRead(const char* text)
    {
        std::string kept;
        std::string blanks;
        for (const char* c = text == nullptr ? "(null)" : text; *c != '\0'; ++c) {
            const bool isDropped =
                (static_cast<unsigned char>(*c) < ' ' && (*c < '\b' || *c > '\r' || *c == '\v')) || *c == '\x7F';
            (isDropped ? blanks : kept) += isDropped ? ' ' : *c;
        }
        return kept + blanks;
    }

    void end()
    {
        const bool isObject = _model.isInObject();
        if (_model.close())
            isObject ? _written.objectEnd(nullptr) : _written.arrayEnd(nullptr);
        _generator.end();
    }

    void startCollection(unsigned int action)
    {
        std::string storage;
        const bool hasKey = _choices.below(5) == 0 ? action % 2 == 0 : _model.isInObject();
        const char* const key = hasKey ? pickText(storage) : nullptr;
        const bool isObject = action < 5;
        const bool isWrongType = _choices.below(100) == 99;
        const JsonGen::Status type = isWrongType ? JsonGen::DONE
                                     : isObject  ? JsonGen::STARTING_OBJECT
                                                 : JsonGen::STARTING_ARRAY;
        const bool lacksKey = key == nullptr && _model.isInObject(); // accepted, but no JSON
        _generator.startCollection(key, type);
        if (!_model.open(key != nullptr, type, false))
            return;
        _isStarted = true;
        _isBroken = _isBroken || lacksKey;
        const std::string name = toRead(key);
        const char* const read = key == nullptr ? nullptr : name.c_str();
        isObject ? _written.objectStart(nullptr, read) : _written.arrayStart(nullptr, read);
    }

    void addValue(unsigned int action)
    {
        const bool hasKey = _choices.below(8) == 0 ? action % 2 == 0 : _model.isInObject();
        if (action == 7) {
            addFormatted();
        } else if (action == 8) {
            addDouble(hasKey);
        } else {
            std::string key;
            std::string text;
            const char* const name = hasKey ? pickText(key) : nullptr;
            const std::string read = toRead(name);
            addSimple(action, hasKey, name, hasKey ? read.c_str() : nullptr);
        }
    }

    template <class Value>
    bool call(bool hasKey, const char* key, Value value)
    {
        if (hasKey)
            _generator.add(key, value);
        else
            _generator.add(value);
        const bool isWritten = _model.add(hasKey);
        _isStarted = _isStarted || isWritten;
        return isWritten;
    }

    void addSimple(unsigned int action, bool hasKey, const char* key, const char* read)
    {
        long long value = _choices.integer();
        if (value == LLONG_MIN || value == LLONG_MAX) // which the parser does not take back
            value = 0;
        std::string text;
        if (action == 9 && call(hasKey, key, JsonGen::NullType()))
            _written.onNull(nullptr, read);
        if (action == 10 && call(hasKey, key, value % 2 == 0))
            _written.onBoolean(nullptr, read, value % 2 == 0);
        if (action == 11 && call(hasKey, key, static_cast<int>(value)))
            _written.onInteger(nullptr, read, static_cast<long long>(static_cast<int>(value)));
        if (action == 12 && call(hasKey, key, value))
            _written.onInteger(nullptr, read, value);
        if (action > 12) {
            const char* const written = pickText(text);
            if (call(hasKey, key, written))
                _written.onString(nullptr, read, toRead(written).c_str());
        }
    }

    void addDouble(bool hasKey)
    {
        const double value = static_cast<double>(_choices.integer() / 1024) / 16;
        const unsigned int digits = _choices.below(20) + 1;
        if (hasKey)
            _generator.add("key", value, static_cast<unsigned char>(digits));
        else
            _generator.add(value, static_cast<unsigned char>(digits));
        if (!_model.add(hasKey))
            return;
        _isStarted = true;
        char text[64];
        snprintf(text, sizeof(text), "%.*f", static_cast<int>(std::min(digits, 16U)), value);
        _written.onDouble(nullptr, hasKey ? "key" : nullptr, strtod(text, nullptr));
    }

    void addFormatted()
    {
        const int value = static_cast<int>(_choices.below(256));
        const bool hasKey = _model.isInObject();
        _generator.addWithFormat(hasKey ? "\"%s\":%d" : "%.0s%d", "key", value);
        if (!_model.place())
            return;
        _isStarted = true;
        _written.onInteger(nullptr, hasKey ? "key" : nullptr, static_cast<long long>(value));
    }

    void reset()
    {
        check();
        _generator.reset();
        _model.reset();
        _written.text.clear();
        _isStarted = _isBroken = false;
    }

    Choices& _choices;
    JsonGen _generator;
    GeneratorModel _model;
    JsonEventLog _written;
    bool _isStarted = false;
    bool _isBroken = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    JsonCalls calls(choices);
    while (!choices.isEmpty())
        calls.step();
    calls.check();
    return 0;
}
