#include "ostrel/DataObjectSaxHandler.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "ostrel/Report.h"
#include "ostrel/StringUtils.h"
#include "ostrel/WeakPtr.h"

namespace Ostrel {

namespace {

constexpr int LINE_TOO_DEEP = 21;
constexpr int LINE_END_ELEMENT = 47;

const char TEXT_KEY[] = "cdata";
const uint64_t LARGEST_TEXT = 0x40000; // a larger one is reported by the string

bool store(DataObjectMap& map, const char* name, AutoPtr<DataObject> entry)
{
    return OSTREL_CHECK(FATAL, "0 == map.set(name, entry)", entry != nullptr && map.set(name, std::move(entry)) == 0);
}

} // namespace

void DataObjectSaxHandler::Text::add(const char* piece)
{
    uint64_t count = strlen(piece);
    if (_length + count >= _byteSize) {
        const uint64_t size = _byteSize + count + 1;
        if (setByteSize(static_cast<unsigned int>(std::min(size, uint64_t{UINT32_MAX}))) != RC_OK) {
            OSTREL_CHECK(FATAL, "size > LARGEST_TEXT", size > LARGEST_TEXT);
            const char* const end = _byteSize == 0 ? nullptr : calculateTruncationPoint(piece, _byteSize - 1 - _length);
            if (end == nullptr)
                return;
            count = static_cast<uint64_t>(end - piece);
        }
    }
    memcpy(getStorage() + _length, piece, count);
    _length += static_cast<unsigned int>(count);
    getStorage()[_length] = '\0';
}

void DataObjectSaxHandler::Text::clear()
{
    _length = 0;
    assign("");
}

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
    // Its end tag pops an element all the same: see docs/compatibility.md.
    if (_top >= STACK_SIZE - 1) {
        OSTREL_REPORT_AT(RECOVERABLE, LINE_TOO_DEEP, "Error: stack too shallow to handle XML");
        return;
    }
    if (_top < 0)
        reset();
    AutoPtr<DataObjectMap> element(new (std::nothrow) DataObjectMap);
    if (element != nullptr) {
        for (const auto& attribute : attributes)
            store(*element, attribute.first.c_str(), DataObject::createString(attribute.second.c_str()));
    }
    push(name.c_str(), std::move(element));
}

void DataObjectSaxHandler::push(const char* name, AutoPtr<DataObjectMap> element)
{
    DataObjectMap* const parent = WeakPtr<DataObjectMap>(_stack[_top]).require();
    DataObjectMap* const pushed = element.get();
    ++_top;
    // An element that is not in the tree is destroyed here, so that the stack must not keep it.
    const bool isInTree = parent != nullptr && store(*parent, name, std::move(element));
    _stack[_top] = isInTree ? pushed : nullptr;
}

void DataObjectSaxHandler::endElement(const std::string&)
{
    if (!OSTREL_CHECK_AT(RECOVERABLE, LINE_END_ELEMENT, "_top >= 0", _top >= 0))
        return;

    storeText();
    _stack[_top--] = nullptr;
    _text.clear(); // here alone, so that text ahead of a child counts as the child's
}

void DataObjectSaxHandler::storeText()
{
    _text.trim();
    if (_text.getByteLength() > 0 && _stack[_top] != nullptr)
        store(*_stack[_top], TEXT_KEY, DataObject::createString(_text));
}

void DataObjectSaxHandler::charData(const std::string& text)
{
    // A text over the limit is reported there and cut: the tree is to hold what it can.
    _text.add(text.c_str());
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
