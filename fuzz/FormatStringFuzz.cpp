// Formats put together of pieces that suit their arguments give the tree that calls build. Any other format is read
// too, from a block that ends where the format ends, so that a step too far is seen.
#include <climits>
#include <cstring>
#include <list>

#include "fuzz/Judge.h"
#include "json/JsonSerializer.h"
#include "ostrel/DataObject.h"
#include "tests/support/LogBuilder.h"

using Ostrel::AutoPtr;
using Ostrel::DataObject;

namespace {

const size_t MAX_ARGUMENTS = 16;

/// Each argument takes a slot of eight bytes on the hosts of these targets, of which a directive reads what it needs.
AutoPtr<DataObject> parse(const char* format, const long long (&a)[MAX_ARGUMENTS])
{
    return DataObject::parse(format, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11], a[12],
                             a[13], a[14], a[15]);
}

/// Writes a format and its arguments, and builds the tree beside it.
class Composer
{
public:
    explicit Composer(Choices& choices) : _choices(choices) {}

    AutoPtr<DataObject> composeValue(unsigned int depth)
    {
        addBlank();
        const unsigned int kind = _choices.below(depth == 0 ? 6 : 9);
        if (kind < 5)
            return composeScalar(kind);
        if (kind == 5) {
            format += "null";
            addBlank();
            return AutoPtr<DataObject>(new Ostrel::NullDataObject);
        }
        return kind == 6 ? composeMap(depth - 1) : composeList(depth - 1);
    }

    std::string format;
    long long arguments[MAX_ARGUMENTS] = {};

private:
    void addBlank() { format += _choices.below(4) == 1 ? "\t " : ""; }

    long long addArgument(long long value)
    {
        arguments[_argumentCount++] = value;
        return value;
    }

    AutoPtr<DataObject> composeScalar(unsigned int kind)
    {
        if (kind == 0 || _argumentCount == MAX_ARGUMENTS)
            return composeLiteral();
        if (kind == 1)
            return composeQuoted();
        const char* const directives[] = {"%s", "%d", _choices.below(2) == 0 ? "%ld" : "%lld"};
        format += directives[kind - 2];
        AutoPtr<DataObject> node;
        if (kind == 2) {
            _texts.push_back(_choices.bytes(_choices.below(20)));
            addArgument(reinterpret_cast<intptr_t>(_texts.back().c_str()));
            node = DataObject::createString(_texts.back().c_str());
        } else {
            const long long value = addArgument(_choices.integer());
            node = DataObject::createInt(kind == 3 ? static_cast<int>(value) : value);
        }
        addBlank();
        return node;
    }

    AutoPtr<DataObject> composeLiteral()
    {
        static const char* const FORMS[] = {"%llu", "0x%llX", "0%llo"};
        const auto value = static_cast<unsigned long long>(_choices.integer());
        char text[32];
        snprintf(text, sizeof(text), FORMS[_choices.below(3)], value);
        format += text;
        addBlank();
        return DataObject::createInt(value > LLONG_MAX ? LLONG_MAX : static_cast<long long>(value));
    }

    /// Its end is a quote before a separator, so that nothing stands between the two, and no such pair is inside.
    AutoPtr<DataObject> composeQuoted()
    {
        static const char* const PIECES[] = {"a", "B", "'x", "' ", "%d", "[", "{", "],", "\xC3\xA9", "\\"};
        std::string text;
        for (unsigned int count = _choices.below(6); count > 0; --count)
            text += PIECES[_choices.below(10)];
        format += "'" + text + "'";
        return DataObject::createString(text.c_str());
    }

    AutoPtr<DataObject> composeList(unsigned int depth)
    {
        AutoPtr<DataObject> list(new Ostrel::DataObjectList);
        format += "[";
        for (unsigned int count = _choices.below(5); count > 0; --count) {
            const bool isRead = !_isOver;
            AutoPtr<DataObject> child = composeValue(depth);
            require(!isRead || list->append(std::move(child)) == 0);
            format += count > 1 ? "," : "";
        }
        format += "]";
        addBlank();
        return list;
    }

    /// The brace at the end is not taken, which ends whatever is around the map too.
    AutoPtr<DataObject> composeMap(unsigned int depth)
    {
        AutoPtr<DataObject> map(new Ostrel::DataObjectMap);
        format += "{";
        for (unsigned int count = _choices.below(5); count > 0; --count) {
            const bool isRead = !_isOver;
            const size_t before = format.size();
            const size_t argumentsBefore = _argumentCount;
            const AutoPtr<DataObject> keyNode = composeScalar(_choices.below(5));
            const std::string key = keyNode->toString(std::to_string(keyNode->toInt(INT_MIN)).c_str());
            if (keyNode->toInt(0) == INT_MIN || map->has(key.c_str())) { // no key, or no new one
                format.resize(before);
                _argumentCount = argumentsBefore;
                continue;
            }
            format += ":";
            AutoPtr<DataObject> child = composeValue(depth);
            require(!isRead || map->set(key.c_str(), std::move(child)) == 0);
            format += ",";
        }
        if (format.back() == ',')
            format.back() = '}';
        else
            format += '}';
        _isOver = true;
        return map;
    }

    Choices& _choices;
    size_t _argumentCount = 0;
    std::list<std::string> _texts;
    bool _isOver = false; ///< Nothing behind is read.
};

/// With every "%s" turned into "%d", since the kind of an argument is the format's to choose, and not more directives
/// than there are arguments.
void makeSafe(char* format)
{
    size_t directives = 0;
    for (char* c = format; (c = strchr(c, '%')) != nullptr; ++c) {
        if (++directives > MAX_ARGUMENTS)
            *c = ' ';
        else if (c[1] == 's')
            c[1] = 'd';
    }
}

void readAnything(const std::string& text)
{
    const AutoPtr<char[]> format(new char[text.size() + 1]);
    memcpy(format.get(), text.c_str(), text.size() + 1);
    makeSafe(format.get());
    const AutoPtr<DataObject> tree =
        parse(format.get(), {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1});
    json::JsonSerializer serializer;
    if (tree != nullptr)
        tree->clone()->serialize(serializer);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    if (choices.below(2) == 1) {
        readAnything(choices.bytes(size));
        return 0;
    }
    Composer composer(choices);
    const AutoPtr<DataObject> expected = composer.composeValue(5);
    const AutoPtr<DataObject> tree = parse(composer.format.c_str(), composer.arguments);
    require(describe(tree.get()) == describe(expected.get()));
    return 0;
}
