// Random calls of a generator, whose text the parser reads back; where calls are refused, the status says why. Keys are
// names and texts without markup, as the generator asks for; a root is put round what it wrote.
#include "fuzz/GeneratorModel.h"
#include "fuzz/Judge.h"
#include "fuzz/XmlJudge.h"
#include "xml/XmlGen.h"

using xml::XmlGen;

namespace {

const char ROOT[] = "<root>";

class XmlCalls
{
public:
    explicit XmlCalls(Choices& choices) : _choices(choices) {}

    void step()
    {
        const unsigned int action = _choices.below(14);
        if (action < 3)
            end();
        else if (action < 7)
            startCollection(action);
        else if (action < 13)
            addValue(action);
        else
            reset();
        require(_generator.getStatus() == _model.getStatus() && _generator.getDepth() == _model.getDepth());
    }

    void check()
    {
        if (_isBroken)
            return;
        std::string text(_generator.getData() == nullptr ? "" : _generator.getData(), _generator.getLength());
        require(std::count(text.begin(), text.end(), '\0') == _ends);
        text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
        const size_t declaration = text.compare(0, 2, "<?") == 0 ? text.find("?>") + 2 : 0;
        require((declaration > 0) == _hasDeclaration);
        text.insert(declaration, ROOT);

        XmlEventLog log;
        Ostrel::SAXParser parser(log);
        parser.startDocument();
        parser.parse(text.data(), static_cast<unsigned int>(text.size()));
        require(log.text == ROOT + _written); // of an incomplete text the beginning
    }

private:
    struct Level
    {
        bool hasName;
        bool isObject;
    };

    const char* pickName()
    {
        static const char* const NAMES[] = {"a", "b", "list", "a.long-name_1", "\xC3\xA9", "item"};
        return NAMES[_choices.below(6)];
    }

    void end()
    {
        if (_model.close()) {
            const Level level = _levels.back();
            _levels.pop_back();
            if (!level.hasName)
                ++_ends;
            else if (--_nameDepth, level.isObject)
                _written += "</" + _names[_nameDepth] + ">";
        }
        _generator.end();
    }

    void startCollection(unsigned int action)
    {
        const bool hasKey = _choices.below(8) == 0 ? action % 2 == 0 : _model.isInObject();
        const char* const key = hasKey ? pickName() : nullptr;
        const bool isObject = action < 5;
        const bool isDocument = _model.getStatus() == XmlGen::INITIALIZED;
        const XmlGen::Status type = _choices.below(100) == 99 ? XmlGen::DONE
                                    : isObject                ? XmlGen::STARTING_OBJECT
                                                              : XmlGen::STARTING_ARRAY;
        _generator.startCollection(key, type);
        if (!_model.open(hasKey, type, true))
            return;
        const bool hasName = !isDocument && (hasKey || _nameDepth > 0);
        _hasDeclaration = _hasDeclaration || isDocument;
        _levels.push_back({hasName, isObject});
        if (!hasName)
            return;
        _names[_nameDepth] = hasKey ? key : _names[_nameDepth - 1];
        _written += isObject ? "<" + _names[_nameDepth] + ">" : "";
        ++_nameDepth;
    }

    void addValue(unsigned int action)
    {
        const bool hasKey = _choices.below(8) == 0 ? action % 2 == 0 : _model.isInObject();
        const char* const key = pickName();
        const int value = static_cast<int>(_choices.integer());
        if (action == 7)
            add(hasKey, key, XmlGen::NullType(), "Null");
        else if (action == 8)
            add(hasKey, key, value % 2 == 0, value % 2 == 0 ? "true" : "false");
        else if (action < 11)
            add(hasKey, key, value, std::to_string(value));
        else if (action == 11)
            addText(hasKey, key);
        else
            hasKey ? _generator.add(key, 1.5, 2) : _generator.add(1.5, 2); // does nothing
    }

    void addText(bool hasKey, const char* key)
    {
        static const char* const PIECES[] = {"a", "\"", "\\", "\n", "\t", "/", ">", "\xC3\xA9", " ", "\b\f\r"};
        static const char* const ESCAPED[] = {"a", "\\\"", "\\\\",     "\\n", "\\t",
                                              "/", ">",    "\xC3\xA9", " ",   "\\b\\f\\r"};
        const unsigned int count = _choices.below(12);
        std::string text;
        std::string escaped;
        for (unsigned int i = 0; i < count; ++i) {
            const unsigned int piece = _choices.below(10);
            text += PIECES[piece];
            escaped += ESCAPED[piece];
        }
        if (count == 11)
            add<const char*>(hasKey, key, nullptr, "(null)");
        else
            add(hasKey, key, text.c_str(), escaped);
    }

    template <class Value>
    void add(bool hasKey, const char* key, Value value, const std::string& text)
    {
        if (hasKey)
            _generator.add(key, value);
        else
            _generator.add(value);
        if (!_model.add(hasKey))
            return;
        // Without a key that of the collection which was closed last at this place, if there was one.
        const std::string name = hasKey ? key : _names[_nameDepth];
        _isBroken = _isBroken || name.empty();
        _written.append("<").append(name).append(">").append(text).append("</").append(name).append(">");
    }

    void reset()
    {
        check();
        _generator.reset();
        _model.reset();
        _written.clear();
        _levels.clear();
        _nameDepth = 0;
        _ends = 0;
        _hasDeclaration = _isBroken = false;
    }

    Choices& _choices;
    XmlGen _generator;
    GeneratorModel _model;
    std::string _written;
    std::vector<Level> _levels;
    std::string _names[XmlGen::MAXIMUM_DEPTH + 1];
    unsigned int _nameDepth = 0;
    int _ends = 0;
    bool _hasDeclaration = false;
    bool _isBroken = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    XmlCalls calls(choices);
    while (!choices.isEmpty())
        calls.step();
    calls.check();
    return 0;
}
