#include "ostrel/DataObjectSaxHandler.h"

#include <new>
#include <utility>

#include "ostrel/Report.h"
#include "ostrel/WeakPtr.h"

namespace Ostrel {

namespace {

// Log collectors match on file and line, so the numbers of these sites outlive edits.
enum ReportLine { LINE_TOO_DEEP = 21, LINE_END_ELEMENT = 47 };

const char TEXT_KEY[] = "cdata";

} // namespace

DataObjectSaxHandler::DataObjectSaxHandler() : _stack(), _top(-1) {}

void DataObjectSaxHandler::reset()
{
    DataObjectMap* const root = new (std::nothrow) DataObjectMap;
    _root.reset(root);
    _stack[0] = _root ? root : nullptr; // without memory for the count, the map is gone
    _top = 0;
}

void DataObjectSaxHandler::startElement(const std::string& name, const std::map<std::string, std::string>& attributes)
{
    // Its end tag pops an element all the same. Readers of such documents know their trees in that shape.
    if (_top >= STACK_SIZE - 1) {
        OSTREL_REPORT_AT(RECOVERABLE, LINE_TOO_DEEP, "Error: stack too shallow to handle XML");
        return;
    }
    if (_top < 0)
        reset();
    AutoPtr<DataObjectMap> element(new (std::nothrow) DataObjectMap);
    if (element != nullptr) {
        for (const auto& attribute : attributes)
            element->set(attribute.first.c_str(), DataObject::createString(attribute.second.c_str()));
    }
    push(name.c_str(), std::move(element));
}

void DataObjectSaxHandler::push(const char* name, AutoPtr<DataObjectMap> element)
{
    DataObjectMap* const parent = WeakPtr<DataObjectMap>(_stack[_top]).require();
    DataObjectMap* const pushed = element.get();
    ++_top;
    // An element that is not in the tree is destroyed here, so that the stack must not keep it.
    const bool isInTree = parent != nullptr && parent->set(name, std::move(element)) == 0;
    _stack[_top] = isInTree ? pushed : nullptr;
}

void DataObjectSaxHandler::endElement(const std::string&)
{
    if (!OSTREL_CHECK_AT(RECOVERABLE, LINE_END_ELEMENT, "_top >= 0", _top >= 0))
        return;

    storeText();
    _stack[_top--] = nullptr;
    // Here alone, so that text ahead of a child counts as the child's. The storage stays, for the next element.
    _text.assign("");
}

void DataObjectSaxHandler::storeText()
{
    _text.trim();
    if (_text.getByteLength() > 0 && _stack[_top] != nullptr)
        _stack[_top]->set(TEXT_KEY, DataObject::createString(_text));
}

void DataObjectSaxHandler::charData(const std::string& text)
{
    // A text over the limit is reported there and cut: the tree is to hold what it can.
    _text.growAndAppend(text.c_str());
}

void DataObjectSaxHandler::finished()
{
    _top = -1;
}

bool DataObjectSaxHandler::parseError()
{
    return true;
}

} // namespace Ostrel
