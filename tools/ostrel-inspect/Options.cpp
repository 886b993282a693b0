#include "tools/ostrel-inspect/Options.h"

#include <getopt.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ostrel/Version.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

namespace {

const char HELP[] =
    R"(usage: ostrel-inspect COMMAND [OPTION ...] FILE [FILE]

Looks inside what libostrel reads and writes. FILE may be - for standard input.

Commands:
  map FILE            a property map: key, type, offset, size and value of each entry
  registry FILE       the registry of an observable: its events and their observers
  json FILE           checks a JSON document
  xml FILE            checks an XML document
  diff A B            two property maps, key by key

Options of map:
  --image             take the bytes for an image, a map as it lies in memory
  --form              take the bytes for an externalized form
  --offset N          the map begins at byte N of the file
  --hex               show the bytes of each value too
  --json              show it as JSON, for programs
  --to-json           write the map as a JSON object with integer keys
  --from-json         FILE is such an object; write the externalized form
  -o, --output OUT    write to OUT instead of standard output

Options of registry:
  --offset N          the registry begins at byte N of the file
  --observers WHAT    none: without the observer words; offsets: with their places

Options of json:
  --compact           write the document in one line, as the library's tree keeps it
  --pretty            write the document with one value a line
  --events            show the parser's events, one a line
  --get PATH          show one value, such as servers[0].port

Options of xml:
  --json              write the document as JSON, as the library's tree keeps it
  --events            show the parser's events, one a line

  -h, --help          show this text
  -V, --version       show the version

Ends with 0 when all is good, 1 when something is refused or differs, 2 for wrong usage.
)";

enum OptionId {
    OPTION_IMAGE = 256, // above all letters
    OPTION_FORM,
    OPTION_OFFSET,
    OPTION_HEX,
    OPTION_OBSERVERS,
    OPTION_MODE // behind it the modes
};

constexpr int modeId(Mode mode)
{
    return OPTION_MODE + static_cast<int>(mode);
}

const option OPTIONS[] = {
    {"image", no_argument, nullptr, OPTION_IMAGE},
    {"form", no_argument, nullptr, OPTION_FORM},
    {"offset", required_argument, nullptr, OPTION_OFFSET},
    {"hex", no_argument, nullptr, OPTION_HEX},
    {"observers", required_argument, nullptr, OPTION_OBSERVERS},
    {"output", required_argument, nullptr, 'o'},
    {"json", no_argument, nullptr, modeId(Mode::JSON)},
    {"to-json", no_argument, nullptr, modeId(Mode::TO_JSON)},
    {"from-json", no_argument, nullptr, modeId(Mode::FROM_JSON)},
    {"compact", no_argument, nullptr, modeId(Mode::COMPACT)},
    {"pretty", no_argument, nullptr, modeId(Mode::PRETTY)},
    {"events", no_argument, nullptr, modeId(Mode::EVENTS)},
    {"get", required_argument, nullptr, modeId(Mode::GET)},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

struct CommandRow
{
    const char* name;
    Command command;
    size_t fileCount;
    std::vector<int> options;
};

const CommandRow* findCommand(const std::string& name)
{
    static const CommandRow COMMANDS[] = {
        {"map",
         Command::MAP,
         1,
         {OPTION_IMAGE, OPTION_FORM, OPTION_OFFSET, OPTION_HEX, 'o', modeId(Mode::JSON), modeId(Mode::TO_JSON),
          modeId(Mode::FROM_JSON)}},
        {"registry", Command::REGISTRY, 1, {OPTION_OFFSET, OPTION_OBSERVERS}},
        {"json",
         Command::JSON,
         1,
         {modeId(Mode::COMPACT), modeId(Mode::PRETTY), modeId(Mode::EVENTS), modeId(Mode::GET)}},
        {"xml", Command::XML, 1, {modeId(Mode::JSON), modeId(Mode::EVENTS)}},
        {"diff", Command::DIFF, 2, {}},
    };
    for (const CommandRow& row : COMMANDS) {
        if (name == row.name)
            return &row;
    }
    return nullptr;
}

bool refuseUsage(const std::string& why)
{
    complain("ostrel-inspect: " + why + "; ostrel-inspect --help tells more");
    return false;
}

bool readOffset(const char* text, uint64_t* offset)
{
    char* end = nullptr;
    errno = 0;
    *offset = strtoull(text, &end, 0); // hexadecimal as well
    const bool isNumber = text[0] >= '0' && text[0] <= '9' && *end == '\0' && errno == 0;
    return isNumber || refuseUsage("'" + std::string(text) + "' is no offset");
}

bool readObservers(const char* text, ObserverWords* observers)
{
    const bool isNone = strcmp(text, "none") == 0;
    *observers = isNone ? ObserverWords::NONE : ObserverWords::OFFSETS;
    return isNone || strcmp(text, "offsets") == 0 || refuseUsage("--observers is none or offsets");
}

bool setMode(Mode mode, Options* options)
{
    if (options->mode != Mode::PLAIN && options->mode != mode)
        return refuseUsage("two options ask for different output");
    options->mode = mode;
    if (mode == Mode::GET)
        options->path = optarg;
    return true;
}

bool setFormat(MapFormat format, Options* options)
{
    if (options->format != MapFormat::DETECTED && options->format != format)
        return refuseUsage("--image and --form exclude each other");
    options->format = format;
    return true;
}

bool takeOption(int id, Options* options)
{
    switch (id) {
    case OPTION_IMAGE:
        return setFormat(MapFormat::IMAGE, options);
    case OPTION_FORM:
        return setFormat(MapFormat::FORM, options);
    case OPTION_OFFSET:
        return readOffset(optarg, &options->offset);
    case OPTION_HEX:
        options->hex = true;
        return true;
    case OPTION_OBSERVERS:
        return readObservers(optarg, &options->observers);
    case 'o':
        options->output = optarg;
        return true;
    default:
        return setMode(static_cast<Mode>(id - OPTION_MODE), options);
    }
}

/// Whether the command knows what was given.
bool checkOptions(const CommandRow& row, const std::vector<int>& given, const Options& options)
{
    for (const int id : given) {
        bool isKnown = false;
        for (const int known : row.options)
            isKnown = isKnown || known == id;
        if (!isKnown)
            return refuseUsage(std::string(row.name) + " has no such option");
    }
    if (options.files.size() != row.fileCount)
        return refuseUsage(std::string(row.name) + (row.fileCount == 1 ? " takes one file" : " takes two files"));
    if (row.fileCount == 2 && options.files[0] == "-" && options.files[1] == "-")
        return refuseUsage("standard input can be read once only");
    const bool isAboutMaps = options.format != MapFormat::DETECTED || options.hex || options.offset != 0;
    if (options.mode == Mode::FROM_JSON && isAboutMaps)
        return refuseUsage("--from-json goes without --image, --form, --hex and --offset");
    const bool writesFile = options.mode == Mode::TO_JSON || options.mode == Mode::FROM_JSON;
    return options.output.empty() || writesFile || refuseUsage("-o goes with --to-json and --from-json");
}

/// What is left of the command line behind the options.
bool takeArguments(int argc, char** argv, const std::vector<int>& given, Options* options)
{
    if (optind == argc)
        return refuseUsage("a command is missing");
    const std::string name = argv[optind++];
    const CommandRow* row = findCommand(name);
    if (row == nullptr)
        return refuseUsage("there is no command '" + name + "'");
    options->command = row->command;
    options->files.assign(argv + optind, argv + argc);
    return checkOptions(*row, given, *options);
}

/// The one that `getopt_long` has just refused.
std::string nameOption(char** argv)
{
    const bool isLetter = optopt != 0 && optopt < OPTION_IMAGE;
    return isLetter ? std::string("-") + static_cast<char>(optopt) : argv[optind - 1];
}

} // namespace

bool parseOptions(int argc, char** argv, Options* options, int* status)
{
    *status = EXIT_USAGE;
    std::vector<int> given;
    opterr = 0; // its messages would show what was typed as it is
    for (;;) {
        const int id = getopt_long(argc, argv, ":o:hV", OPTIONS, nullptr);
        if (id == -1)
            return takeArguments(argc, argv, given, options);
        if (id == 'h' || id == 'V') {
            if (id == 'h')
                fputs(HELP, stdout);
            else
                printf("ostrel-inspect %s, with libostrel %s\n", OSTREL_VERSION, ostrel_get_version());
            *status = EXIT_GOOD;
            return false;
        }
        if (id == '?' || id == ':')
            return refuseUsage(std::string(id == '?' ? "wrong option " : "no value for ") + nameOption(argv));
        if (!takeOption(id, options))
            return false;
        given.push_back(id);
    }
}

} // namespace Inspect
