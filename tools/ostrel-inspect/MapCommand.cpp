#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "ostrel/PropertyMap.h"
#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/JsonWriter.h"
#include "tools/ostrel-inspect/MapLayout.h"
#include "tools/ostrel-inspect/Output.h"
#include "tools/ostrel-inspect/Source.h"

namespace Inspect {

namespace {

const size_t MOST_MAP_BYTES = 2 * MAP_MAX_SIZE; // a form is at most an eighth longer than its map

std::string describeMap(const MapTree& map)
{
    if (map.bufferSize == 0)
        return "unreadable";
    std::string text = map.isForm ? "form" : "image";
    text += " of " + showCount(map.size, "byte", "bytes") + ", " + showCount(map.entries.size(), "entry", "entries");
    if (map.isForm)
        return text + ", needs " + std::to_string(map.bufferSize) + " bytes with " + std::to_string(map.freeSpace) +
               " free";
    return text + ", " + std::to_string(map.freeSpace) + " bytes free at " + std::to_string(map.freeOffset);
}

std::string showBytes(const MapEntry& entry)
{
    const uint32_t FEW = 16;
    return showHex(entry.data, std::min(entry.size, FEW), " ") + (entry.size > FEW ? " ..." : "");
}

void appendEntries(std::string& out, const MapTree& map, bool withHex, int indentation)
{
    for (const MapEntry& entry : map.entries) {
        char columns[80];
        snprintf(columns, sizeof(columns), "%*s%-*d %-6s %8llu %8u  ", indentation, "", std::max(0, 16 - indentation),
                 entry.key, getTypeName(entry.type), static_cast<unsigned long long>(entry.offset), entry.size);
        out += columns + showValue(entry);
        if (withHex && !entry.nested)
            out += "  [" + showHex(entry.data, entry.size, " ") + "]";
        out += '\n';
        if (entry.nested)
            appendEntries(out, *entry.nested, withHex, indentation + 2);
    }
}

/// As JSON, which has numbers for finite values only.
std::string showJsonValue(const MapEntry& entry)
{
    const bool isFraction = entry.type == PM_TYPE_FLOAT || entry.type == PM_TYPE_DOUBLE;
    if (isFraction && !std::isfinite(entry.type == PM_TYPE_FLOAT ? entry.getFloat() : entry.getDouble()))
        return "null";
    if (entry.type == PM_TYPE_STRING)
        return showText(entry.getText(), TextStyle::JSON);
    if (entry.type == PM_TYPE_BINARY)
        return '"' + showHex(entry.data, entry.size, "") + '"';
    return showValue(entry);
}

void writeJson(JsonWriter& json, const char* key, const MapTree& map, bool withHex)
{
    json.open(key, true);
    json.add("format", map.isForm ? "\"form\"" : "\"image\"");
    json.add("offset", std::to_string(map.offset));
    json.add("size", std::to_string(map.size));
    json.add("bufferSize", std::to_string(map.bufferSize));
    json.add("free", std::to_string(map.freeSpace));
    json.open("entries", false);
    for (const MapEntry& entry : map.entries) {
        json.open(nullptr, true);
        json.add("key", std::to_string(entry.key));
        json.add("type", '"' + std::string(getTypeName(entry.type)) + '"');
        json.add("offset", std::to_string(entry.offset));
        json.add("size", std::to_string(entry.size));
        if (entry.nested)
            writeJson(json, "value", *entry.nested, withHex);
        else
            json.add("value", showJsonValue(entry));
        if (withHex && !entry.nested)
            json.add("hex", '"' + showHex(entry.data, entry.size, "") + '"');
        json.close();
    }
    json.close();
    json.close();
}

ExitStatus complainAboutOutput(const std::string& name)
{
    complain(name + ": " + strerror(errno));
    return EXIT_REFUSED;
}

/// To the file that was asked for, which is made only when there is something to write.
ExitStatus writeOutput(const std::string& name, const std::string& content, bool isText)
{
    const bool isStandard = name.empty() || name == "-";
    if (isStandard && !isText && isatty(STDOUT_FILENO) != 0) {
        complain("ostrel-inspect: the form is not for terminals; -o OUT writes it to a file");
        return EXIT_USAGE;
    }
    FILE* out = isStandard ? stdout : fopen(name.c_str(), "wb");
    if (out == nullptr)
        return complainAboutOutput(name);
    const bool isWritten = fwrite(content.data(), 1, content.size(), out) == content.size();
    if (isStandard)
        return EXIT_GOOD; // whether it was written shows at the end of the program
    return fclose(out) == 0 && isWritten ? EXIT_GOOD : complainAboutOutput(name);
}

ExitStatus convertFile(const Options& options)
{
    Source source(options.files[0]);
    const std::string text = source.readUpTo(SIZE_MAX);
    std::string form;
    if (source.complainIfFailed() || !convertFromJson(source.getName(), text, &form))
        return EXIT_REFUSED;
    return writeOutput(options.output, form, false);
}

} // namespace

std::string showValue(const MapEntry& entry)
{
    switch (entry.type) {
    case PM_TYPE_BOOL:
        return entry.getBoolean() ? "true" : "false";
    case PM_TYPE_INT:
        return std::to_string(entry.getInteger());
    case PM_TYPE_FLOAT:
        return showNumber(entry.getFloat());
    case PM_TYPE_DOUBLE:
        return showNumber(entry.getDouble());
    case PM_TYPE_STRING:
        return showText(entry.getText(), TextStyle::QUOTED);
    case PM_TYPE_BINARY:
        return showBytes(entry);
    default:
        return describeMap(*entry.nested);
    }
}

std::string showMap(const MapTree& map, bool withHex)
{
    if (map.bufferSize == 0)
        return "";
    std::string out = describeMap(map) + "\nkey              type     offset     size  value\n";
    appendEntries(out, map, withHex, 0);
    return out;
}

std::string showMapAsJson(const MapTree& map, bool withHex)
{
    std::string out;
    JsonWriter json(&out, false);
    writeJson(json, nullptr, map, withHex);
    return out;
}

bool readBytes(const std::string& file, uint64_t offset, std::string* storage, Bytes* bytes)
{
    Source source(file);
    if (!source.skip(offset) && source.getErrorString() == nullptr) {
        complainAtByte(file, offset, "the file ends before");
        return false;
    }
    *storage = source.readUpTo(MOST_MAP_BYTES);
    *bytes = {reinterpret_cast<const unsigned char*>(storage->data()), storage->size(), offset};
    return !source.complainIfFailed();
}

ExitStatus runMap(const Options& options)
{
    if (options.mode == Mode::FROM_JSON)
        return convertFile(options);
    std::string storage;
    Bytes bytes;
    if (!readBytes(options.files[0], options.offset, &storage, &bytes))
        return EXIT_REFUSED;
    Faults faults;
    const MapTree map = readMap(bytes, options.format, &faults);
    std::string shown;
    if (options.mode == Mode::PLAIN)
        shown = showMap(map, options.hex);
    else if (faults.isEmpty())
        shown = options.mode == Mode::JSON ? showMapAsJson(map, options.hex) : convertToJson(map, &faults);
    const bool isGood = faults.isEmpty() || options.mode == Mode::PLAIN;
    const ExitStatus status = isGood ? writeOutput(options.output, shown, true) : EXIT_REFUSED;
    faults.complain(options.files[0]);
    return faults.isEmpty() ? status : EXIT_REFUSED;
}

} // namespace Inspect
