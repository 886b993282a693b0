// Handlers that hand collections over, parse other documents from inside an event, and throw, all as a script has it:
// the same calls as from a slow reader with a plain stack of handlers.
#include <vector>

#include "fuzz/Judge.h"
#include "fuzz/SlowJsonReader.h"
#include "json/JsonDeserializer.h"
#include "ostrel/ByteArrayInputStream.h"

using Ostrel::WeakPtr;
using Handler = Ostrel::Deserializer::Handler;
using Deserializer = Ostrel::Deserializer;

namespace {

/// What is judged, and what judges.
class Engine
{
public:
    virtual ~Engine() = default;
    virtual int parse(const std::string& document, Handler* handler) = 0;
    virtual std::string getError() const = 0;
};

std::string describeError(const char* text, const json::JsonError& error)
{
    return (text == nullptr ? "fine" : text) + (" " + std::to_string(error.reason)) + "@" +
           std::to_string(error.offset);
}

class RealEngine : public Engine
{
public:
    int parse(const std::string& document, Handler* handler) override
    {
        Ostrel::ByteArrayInputStream stream(document.c_str());
        return _deserializer.parse(stream, handler);
    }

    std::string getError() const override
    {
        return describeError(_deserializer.getErrorString(), _deserializer.getError());
    }

private:
    json::JsonDeserializer _deserializer;
};

/// Keeps for each parse and each open collection who receives what is in it.
class SlowEngine : public Engine, json::JsonParser::EventHandler
{
public:
    int parse(const std::string& document, Handler* handler) override
    {
        if (_handed == MOST_HANDLERS || handler == nullptr) {
            _error = _handed == MOST_HANDLERS ? "Too many handlers 23@0" : "Invalid handler 22@0";
            return -1;
        }
        const std::vector<Receiver> receivers = _receivers;
        const unsigned int handed = _handed;
        const auto leave = [&] {
            _receivers = receivers;
            _handed = handed;
        };
        json::JsonError error;
        try {
            _receivers.push_back({handler, true});
            ++_handed;
            handler->reset();
            error = SlowJsonReader(document, *this).read();
        } catch (int) {
            leave();
            throw;
        }
        leave();
        const char* const text = SlowJsonReader::getErrorString(error);
        _error = describeError(text, error);
        return text == nullptr ? 0 : -1;
    }

    std::string getError() const override { return _error; }

private:
    using Parser = json::JsonParser;
    using EventHandler::onInteger;

    struct Receiver
    {
        Handler* handler;
        bool isHanded;
    };

    static constexpr unsigned int MOST_HANDLERS = 8;

    Handler& getTop() const { return *_receivers.back().handler; }

    void enter(Handler* contents)
    {
        const bool isHanded = contents != nullptr && _handed < MOST_HANDLERS;
        _handed += isHanded;
        _receivers.push_back({isHanded ? contents : &getTop(), isHanded});
    }

    void leave()
    {
        _handed -= _receivers.back().isHanded;
        _receivers.pop_back();
    }

    void onInteger(Parser*, const char* key, long long value) override { getTop().onInteger(nullptr, key, value); }
    void onDouble(Parser*, const char* key, double value) override { getTop().onDouble(nullptr, key, value); }
    void onString(Parser*, const char* key, const char* value) override { getTop().onString(nullptr, key, value); }
    void onBoolean(Parser*, const char* key, bool value) override { getTop().onBoolean(nullptr, key, value); }
    void onNull(Parser*, const char* key) override { getTop().onNull(nullptr, key); }
    void arrayStart(Parser*, const char* key) override { enter(getTop().arrayStart(nullptr, key)); }
    void objectStart(Parser*, const char* key) override { enter(getTop().objectStart(nullptr, key)); }
    void arrayEnd(Parser*) override
    {
        leave();
        getTop().arrayEnd(nullptr);
    }
    void objectEnd(Parser*) override
    {
        leave();
        getTop().objectEnd(nullptr);
    }

    std::vector<Receiver> _receivers;
    unsigned int _handed = 0;
    std::string _error = "fine 0@0";
};

class Play;

/// A handler that writes down what it receives, and does what the script has it do.
class Actor : public Handler
{
public:
    using Handler::onInteger;
    Play* play = nullptr;

    void reset() override { note("reset", nullptr); }
    void onInteger(WeakPtr<Deserializer>, const char* key, long long v) override { act(std::to_string(v), key); }
    void onDouble(WeakPtr<Deserializer>, const char* key, double v) override { act("d" + std::to_string(v), key); }
    void onString(WeakPtr<Deserializer>, const char* key, const char* v) override { act("s" + std::string(v), key); }
    void onBoolean(WeakPtr<Deserializer>, const char* key, bool v) override { act(v ? "true" : "false", key); }
    void onNull(WeakPtr<Deserializer>, const char* key) override { act("null", key); }
    Handler* arrayStart(WeakPtr<Deserializer>, const char* key) override { return start("[", key); }
    Handler* objectStart(WeakPtr<Deserializer>, const char* key) override { return start("{", key); }
    void arrayEnd(WeakPtr<Deserializer>) override { act("]", nullptr); }
    void objectEnd(WeakPtr<Deserializer>) override { act("}", nullptr); }

private:
    void note(const std::string& event, const char* key);
    void act(const std::string& event, const char* key);
    Handler* start(const std::string& event, const char* key);
};

/// One run of the script with an engine.
class Play
{
public:
    Play(Engine& engine, const std::string& script)
        : _engine(engine), _script(reinterpret_cast<const uint8_t*>(script.data()), script.size())
    {
        for (Actor& actor : _actors)
            actor.play = this;
    }

    std::string run(const std::string& document)
    {
        for (int i = 0; i < 2; ++i) // the second one after whatever the first one has left
            parse(document, true);
        return _log;
    }

    void note(const Actor* actor, const std::string& event, const char* key)
    {
        _log += std::to_string(actor - _actors) + ":" + (key == nullptr ? "" : key + std::string("=")) + event + "\n";
    }

    void act()
    {
        static const char* const DOCUMENTS[] = {"1",      "[[[[[[[[[", "{\"a\":{\"b\":[1,{}]},\"c\":[]}",
                                                "[1,2,]", "",          "[[],{}]"};
        const unsigned int action = _script.below(8);
        if (action == 7)
            throw 1;
        if (action > 4)
            parse(DOCUMENTS[_script.below(6)], _script.below(2) == 0);
    }

    Handler* pickHandler()
    {
        const unsigned int choice = _script.below(8);
        return choice < 4 ? nullptr : &_actors[choice - 4];
    }

private:
    void parse(const std::string& document, bool catches)
    {
        try {
            const int result = _engine.parse(document, _script.below(10) == 9 ? nullptr : &_actors[_script.below(4)]);
            _log += std::to_string(result);
        } catch (int) {
            _log += "thrown";
            if (!catches)
                throw;
        }
        _log += " " + _engine.getError() + "\n";
    }

    Engine& _engine;
    Choices _script;
    Actor _actors[4];
    std::string _log;
};

void Actor::note(const std::string& event, const char* key)
{
    play->note(this, event, key);
}

void Actor::act(const std::string& event, const char* key)
{
    note(event, key);
    play->act();
}

Handler* Actor::start(const std::string& event, const char* key)
{
    act(event, key);
    return play->pickHandler();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    const std::string script = choices.bytes(choices.below(256));
    const std::string document = choices.bytes(size).c_str();
    RealEngine real;
    SlowEngine slow;
    require(Play(real, script).run(document) == Play(slow, script).run(document));
    return 0;
}
