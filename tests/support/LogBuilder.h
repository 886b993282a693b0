#pragma once

#include <functional>
#include <string>

#include "ostrel/StructBuilder.h"

/// Writes down the calls it receives: "{a:i1 list:[null s(x) ] } ".
class LogBuilder : public Ostrel::StructBuilder
{
public:
    using Ostrel::StructBuilder::add;

    const char* getErrorString() const override { return nullptr; }
    void reset() override { text.clear(); }
    bool isOk() const override { return true; }
    StructBuilder& map(const char* key) override { return log(key, "{"); }
    StructBuilder& map() override { return log("{"); }
    StructBuilder& list(const char* key) override { return log(key, "["); }
    StructBuilder& list() override { return log("["); }
    StructBuilder& end() override
    {
        const char closing = _open.back() == '{' ? '}' : ']';
        _open.pop_back();
        text += std::string(1, closing) + " ";
        return *this;
    }
    StructBuilder& add(const char* key, const Ostrel::Serializable& value) override
    {
        text += std::string(key) + ":";
        return add(value);
    }
    StructBuilder& add(const Ostrel::Serializable& value) override
    {
        value.serialize(*this);
        return *this;
    }
    StructBuilder& add(const char* key, int value) override { return log(key, "I" + std::to_string(value)); }
    StructBuilder& add(int value) override { return log("I" + std::to_string(value)); }
    StructBuilder& add(const char* key, long long value) override { return log(key, "i" + std::to_string(value)); }
    StructBuilder& add(long long value) override { return log("i" + std::to_string(value)); }
    StructBuilder& add(const char* key, double value) override { return log(key, "d" + std::to_string(value)); }
    StructBuilder& add(const char* key, double value, unsigned char) override { return add(key, value); }
    StructBuilder& add(double value) override { return log("d" + std::to_string(value)); }
    StructBuilder& add(double value, unsigned char) override { return add(value); }
    StructBuilder& add(const char* key, const char* value) override { return log(key, "s(" + toText(value) + ")"); }
    StructBuilder& add(const char* value) override { return log("s(" + toText(value) + ")"); }
    StructBuilder& add(const char* key, bool value) override { return log(key, value ? "true" : "false"); }
    StructBuilder& add(bool value) override { return log(value ? "true" : "false"); }
    StructBuilder& add(const char* key, NullType) override { return log(key, "null"); }
    StructBuilder& add(NullType) override { return log("null"); }

    std::string text;

private:
    static std::string toText(const char* value) { return value == nullptr ? "<null>" : value; }
    StructBuilder& log(const char* key, const std::string& value) { return log(std::string(key) + ":" + value); }
    StructBuilder& log(const std::string& value)
    {
        text += value;
        if (value.back() == '{' || value.back() == '[')
            _open += value.back();
        else
            text += ' ';
        return *this;
    }

    std::string _open;
};

/// What a value says of itself.
inline std::string describe(const Ostrel::Serializable* value)
{
    LogBuilder builder;
    if (value != nullptr)
        value->serialize(builder);
    return value == nullptr ? "nothing" : builder.text;
}

/// Describes itself by the calls it is given.
struct Described : Ostrel::Serializable
{
    using Calls = std::function<void(Ostrel::StructBuilder&)>;
    explicit Described(Calls ownCalls) : calls(std::move(ownCalls)) {}
    const char* getTypeName() const override { return "Described"; }
    void serialize(Ostrel::WeakPtr<Ostrel::StructBuilder> builder) const override { calls(*builder); }

    const Calls calls;
};
