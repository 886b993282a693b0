#pragma once

#include <expat.h>

#include <algorithm>
#include <string>

#include "ostrel/SAXParser.h"

/// Writes the events down. Pieces of one text stand together.
class XmlEventLog : public Ostrel::SAXHandler
{
public:
    void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) override
    {
        text += "<" + name;
        for (const auto& attribute : attributes)
            text += "\n " + attribute.first + "=" + attribute.second;
        text += ">";
        tagEnd = text.size();
    }
    void endElement(const std::string& name) override
    {
        text += "</" + name + ">";
        tagEnd = text.size();
    }
    void charData(const std::string& piece) override { text += piece; }
    void finished() override { text += "."; }
    bool parseError() override { return true; }

    std::string text = "";
    size_t tagEnd = 0; ///< Behind the last tag.
};

/// Expat without us calls the handler.
class XmlJudge
{
public:
    XmlJudge(Ostrel::SAXHandler& handler, const char* data, size_t size, size_t pieceSize) : _handler(handler)
    {
        XML_SetUserData(_parser, this);
        XML_SetElementHandler(_parser, startElement, endElement);
        XML_SetCharacterDataHandler(_parser, charData);
        isWellFormed = true;
        for (size_t count; isWellFormed && size > 0; data += count, size -= count) {
            count = std::min(size, pieceSize);
            isWellFormed = XML_Parse(_parser, data, static_cast<int>(count), 0) == XML_STATUS_OK;
        }
        isWellFormed = isWellFormed && XML_Parse(_parser, nullptr, 0, 1) == XML_STATUS_OK;
        _handler.finished();
    }
    ~XmlJudge() { XML_ParserFree(_parser); }
    XmlJudge(const XmlJudge&) = delete;
    XmlJudge& operator=(const XmlJudge&) = delete;

    bool isWellFormed;
    size_t rootEnd = 0; ///< Behind the root element; 0 where that has no end.

private:
    static void startElement(void* data, const char* name, const char** attributes)
    {
        XmlJudge& judge = *static_cast<XmlJudge*>(data);
        std::map<std::string, std::string> map;
        for (; *attributes != nullptr; attributes += 2)
            map.emplace(attributes[0], attributes[1]);
        judge._handler.startElement(name, map);
        ++judge._depth;
    }

    static void endElement(void* data, const char* name)
    {
        XmlJudge& judge = *static_cast<XmlJudge*>(data);
        judge._handler.endElement(name);
        if (--judge._depth > 0)
            return;
        judge.rootEnd = static_cast<size_t>(XML_GetCurrentByteIndex(judge._parser)) +
                        static_cast<size_t>(XML_GetCurrentByteCount(judge._parser));
    }

    static void charData(void* data, const char* text, int length)
    {
        static_cast<XmlJudge*>(data)->_handler.charData(std::string(text, static_cast<size_t>(length)));
    }

    Ostrel::SAXHandler& _handler;
    XML_Parser _parser = XML_ParserCreate(nullptr);
    unsigned int _depth = 0;
};
