// Any bytes as a view, followed by the terminator. The first bytes choose what is asked of it. Whether a view is a
// document a slow reader tells.
#include <cstdio>
#include <cstring>

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static FILE* const sink = freopen("/dev/null", "w", stdout); // what print writes
    const size_t STEPS = 3;
    if (size < STEPS || sink == nullptr)
        return 0;
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
