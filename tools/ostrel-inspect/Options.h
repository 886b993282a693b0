#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Inspect {

/// What the program ends with.
enum ExitStatus { EXIT_GOOD = 0, EXIT_REFUSED = 1, EXIT_USAGE = 2 };

enum class Command { MAP, REGISTRY, JSON, XML, DIFF };

/// What a command shows instead of what it shows by itself.
enum class Mode { PLAIN, JSON, TO_JSON, FROM_JSON, COMPACT, PRETTY, EVENTS, GET };

enum class MapFormat { DETECTED, IMAGE, FORM };

enum class ObserverWords { SHOWN, NONE, OFFSETS };

/// The command line, taken apart.
struct Options
{
    Command command = Command::MAP;
    Mode mode = Mode::PLAIN;
    MapFormat format = MapFormat::DETECTED;
    ObserverWords observers = ObserverWords::SHOWN;
    bool hex = false;
    uint64_t offset = 0;
    std::string path;   ///< Of the value that `--get` asks for.
    std::string output; ///< Empty for standard output.
    std::vector<std::string> files;
};

/// False when nothing is left to do: then `*status` is what the program ends with, and the user has been told.
bool parseOptions(int argc, char** argv, Options* options, int* status);

} // namespace Inspect
