// Any bytes as a view, followed by the terminator: the first bytes choose what is asked of it, and whether a view is a
// document a slow reader tells. And documents of numbers, literals and collections, in which everything is found.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "fuzz/Judge.h"
#include "fuzz/SlowJsonReader.h"
#include "json/JsonData.h"
#include "ostrel/AutoPtr.h"

using json::JsonData;

namespace {

void requireInside(const JsonData& view, const JsonData& outer)
{
    if (view.getData() == nullptr ? view.isValid()
                                  : view.getData() < outer.getData() ||
                                        view.getData() + view.getLength() > outer.getData() + outer.getLength())
        abort();
}

void convert(const JsonData& view, const JsonData& document)
{
    view.toInt();
    view.toFloat();
    requireInside(view.toString(), document); // beyond the view, when a comma cut a text
    view.print("log");
    JsonData checked = view;
    json::JsonParser::EventHandler nobody;
    const std::string text(view.getData() == nullptr ? "" : view.getData(), view.getLength());
    const bool isGood = SlowJsonReader(text, nobody).read().reason == json::JsonError::NONE;
    require(checked.validate() == (isGood ? 0 : -1) && checked.getLength() == (isGood ? view.getLength() : 0));
}

struct Node
{
    std::string text;
    std::string key; ///< Inside an object.
    std::vector<Node> children;
    bool isObject = false;
};

/// The text of a value in `node`, and in its children that of what is in it.
Node composeNode(Choices& choices, unsigned int depth)
{
    static const char* const BLANKS[] = {"", " ", "\n\t", ""};
    Node node;
    const unsigned int kind = choices.below(depth == 0 ? 2 : 4);
    if (kind < 2) {
        node.text = kind == 0 ? std::to_string(static_cast<int>(choices.integer())) : "null";
        return node;
    }
    node.isObject = kind == 2;
    node.text = node.isObject ? "{" : "[";
    for (unsigned int count = choices.below(5), i = 0; i < count; ++i) {
        node.children.push_back(composeNode(choices, depth - 1));
        Node& child = node.children.back();
        const char* const blank = BLANKS[choices.below(4)];
        child.key = node.isObject ? "k" + std::to_string(5 * i) : "";
        node.text += (i == 0 ? "" : ",") + std::string(blank);
        node.text += node.isObject ? '"' + child.key + "\":" + blank : "";
        node.text += child.text + blank;
    }
    node.text += node.isObject ? "}" : "]";
    return node;
}

void requireNode(const JsonData& view, const Node& node)
{
    const std::string text(view.getData(), view.getLength());
    const size_t start = text.find_first_not_of(" \n\t");
    require(text.substr(start, text.find_last_not_of(" \n\t") + 1 - start) == node.text);
    for (unsigned int i = 0; i < node.children.size(); ++i) {
        const Node& child = node.children[i];
        requireNode(node.isObject ? view(child.key.c_str()) : view[i], child);
    }
    require(!view("k").isValid());
    require(!view[static_cast<unsigned int>(node.children.size())].isValid());
    errno = 0;
    if (isdigit(static_cast<unsigned char>(node.text.back())) != 0)
        require(std::to_string(view.toInt()) == node.text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static FILE* const sink = freopen("/dev/null", "w", stdout); // what print writes
    const size_t STEPS = 3;
    if (size < STEPS || sink == nullptr)
        return 0;
    Choices choices(data, std::min<size_t>(size, 100));
    const Node node = composeNode(choices, 5);
    requireNode(JsonData(node.text.c_str()), node);

    const size_t length = size - STEPS;
    const Ostrel::AutoPtr<char[]> text(new char[length + 1]);
    memcpy(text.get(), data + STEPS, length);
    text[length] = '\0';

    const JsonData document(text.get(), static_cast<unsigned int>(length));
    JsonData view = document;
    for (size_t step = 0; step < STEPS; ++step) {
        convert(view, document);
        const char key[] = {static_cast<char>(data[step]), '\0'};
        const JsonData inner = data[step] < ' ' ? view[data[step]] : view(key);
        requireInside(inner, view);
        view = inner;
    }
    convert(view, document);
    return 0;
}
