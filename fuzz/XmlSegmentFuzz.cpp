// Arbitrary bytes give the same in pieces as in one, each element being the bytes at its place. What expat takes for a
// document is judged by it: where its elements are, and that what is cut from several in a row parses.
#include <expat.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/XmlSegment.h"

using Ostrel::XmlSegment;

namespace {

struct Told
{
    int code;
    uint64_t position;
    std::string element;
    bool operator==(const Told& other) const
    {
        return code == other.code && position == other.position && element == other.element;
    }
};

struct Options
{
    size_t pieceSize;
    unsigned int bufferSize;
    const char* name;
    XmlSegment::Between between;
};

std::vector<Told> cut(const std::string& text, const Options& options)
{
    std::vector<char> buffer(options.bufferSize);
    XmlSegment segment(buffer.data(), options.bufferSize, options.name, options.between);
    std::vector<Told> log;
    for (size_t done = 0; done < text.size();) {
        const size_t count = std::min(options.pieceSize, text.size() - done);
        const unsigned int taken = segment.feed(text.data() + done, static_cast<unsigned int>(count));
        require(taken > 0);
        done += taken;
        const char* element;
        unsigned int length;
        for (int code; (code = segment.next(element, length)) != XmlSegment::RC_NEED_MORE;) {
            if (code == XmlSegment::RC_ENCODING)
                return {{code, 0, ""}};
            log.push_back({code, segment.getPosition(), std::string(element == nullptr ? "" : element, length)});
        }
    }
    return log;
}

/// What expat finds: the places of the elements that lie in no other of the name.
struct Judge
{
    XML_Parser parser = XML_ParserCreate(nullptr);
    const char* name;
    unsigned int depth = 0;
    size_t start = 0;
    std::vector<Told> elements;
    const std::string& text;

    Judge(const std::string& document, const char* wanted) : name(wanted), text(document)
    {
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, startElement, endElement);
        XML_SetDefaultHandler(parser, [](void*, const char*, int) {}); // entities stay references
    }
    ~Judge() { XML_ParserFree(parser); }
    Judge(const Judge&) = delete;
    Judge& operator=(const Judge&) = delete;

    bool isWellFormed() { return XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK; }

    static void startElement(void* data, const char* element, const char**)
    {
        Judge& judge = *static_cast<Judge*>(data);
        if (judge.name != nullptr && strcmp(judge.name, element) != 0)
            return;
        if (judge.depth++ == 0)
            judge.start = static_cast<size_t>(XML_GetCurrentByteIndex(judge.parser));
    }

    static void endElement(void* data, const char* element)
    {
        Judge& judge = *static_cast<Judge*>(data);
        if ((judge.name != nullptr && strcmp(judge.name, element) != 0) || --judge.depth > 0)
            return;
        const size_t end = static_cast<size_t>(XML_GetCurrentByteIndex(judge.parser)) +
                           static_cast<size_t>(XML_GetCurrentByteCount(judge.parser));
        judge.elements.push_back({XmlSegment::RC_OK, judge.start, judge.text.substr(judge.start, end - judge.start)});
    }
};

void requireSensible(const std::string& text, const std::vector<Told>& log)
{
    size_t end = 0;
    for (const Told& told : log) {
        require(told.position >= end);
        require(text.compare(told.position, told.element.size(), told.element) == 0);
        end = told.position + told.element.size();
    }
}

void requireElements(const std::string& text, std::vector<Told> elements, const Options& options)
{
    const char* const marker = Ostrel::findTagMarker(text.data(), static_cast<unsigned int>(text.size()), options.name);
    require(elements.empty() ? marker == nullptr : marker == text.data() + elements[0].position);
    for (Told& told : elements) {
        if (told.element.size() > options.bufferSize)
            told = {XmlSegment::RC_TOO_LARGE, told.position, ""};
    }
    require(cut(text, {options.pieceSize, options.bufferSize, options.name, XmlSegment::SKIP}) == elements);
}

/// The document twice, so that what stands behind the first one's root is there too.
void requireDocuments(const std::string& text, size_t pieceSize)
{
    const std::string both = text + text;
    const unsigned int size = static_cast<unsigned int>(both.size());
    const std::vector<Told> documents = cut(both, {pieceSize, size, nullptr, XmlSegment::KEEP});
    require(documents.size() == 2);
    for (const Told& document : documents)
        require(document.code == XmlSegment::RC_OK && Judge(document.element, nullptr).isWellFormed());
    for (const Told& told : cut(both, {pieceSize, size, nullptr, XmlSegment::REFUSE}))
        require(told.code == XmlSegment::RC_OK);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const char* const NAMES[] = {nullptr, "a", "b", "ab"};
    const size_t HEADER = 3;
    if (size < HEADER)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data + HEADER), size - HEADER);
    const Options options = {size_t{1} + data[0] % 16, 5U + data[1], NAMES[data[2] % 4],
                             static_cast<XmlSegment::Between>(data[2] / 4 % 3)};
    const std::vector<Told> log = cut(text, options);
    requireSensible(text, log);
    require(log == cut(text, {size, options.bufferSize, options.name, options.between}));

    Judge judge(text, options.name);
    if (!judge.isWellFormed())
        return 0;
    if (text.find('\0') != std::string::npos) { // no text of one byte a character has one
        require(log == std::vector<Told>{{XmlSegment::RC_ENCODING, 0, ""}});
        return 0;
    }
    requireElements(text, judge.elements, options);
    if (text.compare(0, 3, "\xEF\xBB\xBF") != 0) // stands at the beginning of a stream alone
        requireDocuments(text, options.pieceSize);
    return 0;
}
