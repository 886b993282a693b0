#include "json/JsonDeserializer.h"

#include <new>

#include "json/JsonParser.h"
#include "ostrel/Report.h"
#include "ostrel/internal/RestoredValue.h"

namespace json {

namespace {

/// Of a parse that was not begun, which has no place.
JsonError makeError(JsonError::Reason reason)
{
    JsonError error;
    error.reason = reason;
    return error;
}

} // namespace

class OSTREL_LOCAL JsonDeserializer::Impl final : public JsonParser::EventHandler
{
public:
    using Handler = Deserializer::Handler;

    explicit Impl(JsonDeserializer* owner) : _owner(owner), _parser(this) {}

    int parse(Ostrel::InputStream* input, Ostrel::WeakPtr<Handler> handler);
    const char* getErrorString() const { return _refusal != nullptr ? _refusal : _parser.getErrorString(); }
    JsonError getError() const { return _refusal != nullptr ? makeError(_refusalReason) : _parser.getError(); }

    void onInteger(JsonParser* parser, const char* key, int value) override;
    void onInteger(JsonParser* parser, const char* key, long long value) override;
    void onDouble(JsonParser* parser, const char* key, double value) override;
    void onString(JsonParser* parser, const char* key, const char* value) override;
    void onBoolean(JsonParser* parser, const char* key, bool value) override;
    void onNull(JsonParser* parser, const char* key) override;
    void arrayStart(JsonParser* parser, const char* key) override;
    void arrayEnd(JsonParser* parser) override;
    void objectStart(JsonParser* parser, const char* key) override;
    void objectEnd(JsonParser* parser) override;

private:
    enum { MAX_HANDLER_STACK_DEPTH = 8 };

    struct Entry
    {
        Handler* handler;
        unsigned int level; ///< The level at which the entry was pushed.
    };

    int refuse(const char* text, JsonError::Reason reason);
    bool push(Handler* handler);
    Handler* getTop() const;
    void enter(Handler* contentsHandler);
    void leave();

    JsonDeserializer* _owner;
    JsonParser _parser;
    Entry _handlers[MAX_HANDLER_STACK_DEPTH] = {};
    unsigned int _stackDepth = 0;
    unsigned int _level = 0;        ///< One for each parse in progress and one for each open collection.
    const char* _refusal = nullptr; ///< Why the last parse to end was not begun; null when it was.
    JsonError::Reason _refusalReason = JsonError::NONE;
};

int JsonDeserializer::Impl::parse(Ostrel::InputStream* input, Ostrel::WeakPtr<Handler> handler)
{
    // Set back rather than counted down: a document that stops in the middle leaves open collections behind. And on
    // every way out, since a handler may throw and its thread may be cancelled.
    const Ostrel::RestoredValue<unsigned int> level(_level);
    const Ostrel::RestoredValue<unsigned int> depth(_stackDepth);
    if (!push(handler.get()))
        return refuse("Too many handlers", JsonError::TOO_MANY_HANDLERS);
    ++_level;
    Handler* const target = handler.require();
    if (target == nullptr)
        return refuse("Invalid handler", JsonError::INVALID_HANDLER);
    target->reset();
    const int result = _parser.parse(input);
    _refusal = nullptr;
    return result;
}

int JsonDeserializer::Impl::refuse(const char* text, JsonError::Reason reason)
{
    _refusal = text;
    _refusalReason = reason;
    return -1;
}

bool JsonDeserializer::Impl::push(Handler* handler)
{
    if (!OSTREL_CHECK(FATAL, "_stackDepth < MAX_HANDLER_STACK_DEPTH", _stackDepth < MAX_HANDLER_STACK_DEPTH))
        return false;
    _handlers[_stackDepth++] = {handler, _level};
    return true;
}

/// The handler that receives events now; null, which has been reported, when there is none.
inline JsonDeserializer::Handler* JsonDeserializer::Impl::getTop() const
{
    if (!OSTREL_CHECK(FATAL, "_stackDepth > 0", _stackDepth > 0))
        return nullptr;
    return Ostrel::WeakPtr<Handler>(_handlers[_stackDepth - 1].handler).require();
}

void JsonDeserializer::Impl::enter(Handler* contentsHandler)
{
    if (contentsHandler != nullptr)
        push(contentsHandler); // one too many is reported; its contents then stay with the handler of the start
    ++_level;
}

void JsonDeserializer::Impl::leave()
{
    --_level;
    if (_level != 0 && _stackDepth > 0 && _level == _handlers[_stackDepth - 1].level)
        --_stackDepth;
}

void JsonDeserializer::Impl::onInteger(JsonParser*, const char* key, int value)
{
    if (Handler* top = getTop())
        top->onInteger(_owner, key, value);
}

void JsonDeserializer::Impl::onInteger(JsonParser*, const char* key, long long value)
{
    if (Handler* top = getTop())
        top->onInteger(_owner, key, value);
}

void JsonDeserializer::Impl::onDouble(JsonParser*, const char* key, double value)
{
    if (Handler* top = getTop())
        top->onDouble(_owner, key, value);
}

void JsonDeserializer::Impl::onString(JsonParser*, const char* key, const char* value)
{
    if (Handler* top = getTop())
        top->onString(_owner, key, value);
}

void JsonDeserializer::Impl::onBoolean(JsonParser*, const char* key, bool value)
{
    if (Handler* top = getTop())
        top->onBoolean(_owner, key, value);
}

void JsonDeserializer::Impl::onNull(JsonParser*, const char* key)
{
    if (Handler* top = getTop())
        top->onNull(_owner, key);
}

void JsonDeserializer::Impl::arrayStart(JsonParser*, const char* key)
{
    if (Handler* top = getTop())
        enter(top->arrayStart(_owner, key));
}

void JsonDeserializer::Impl::arrayEnd(JsonParser*)
{
    leave();
    if (Handler* top = getTop())
        top->arrayEnd(_owner);
}

void JsonDeserializer::Impl::objectStart(JsonParser*, const char* key)
{
    if (Handler* top = getTop())
        enter(top->objectStart(_owner, key));
}

void JsonDeserializer::Impl::objectEnd(JsonParser*)
{
    leave();
    if (Handler* top = getTop())
        top->objectEnd(_owner);
}

JsonDeserializer::JsonDeserializer() : _impl(new (std::nothrow) Impl(this)) {}

JsonDeserializer::~JsonDeserializer() = default;

int JsonDeserializer::parse(Ostrel::WeakPtr<Ostrel::InputStream> input, Ostrel::WeakPtr<Handler> handler)
{
    // A null input is the parser's to judge, so it is not required here.
    return _impl == nullptr ? -1 : _impl->parse(input.get(), handler);
}

const char* JsonDeserializer::getErrorString() const
{
    return _impl == nullptr ? "Out of memory" : _impl->getErrorString();
}

JsonError JsonDeserializer::getError() const
{
    return _impl == nullptr ? makeError(JsonError::OUT_OF_MEMORY) : _impl->getError();
}

} // namespace json
