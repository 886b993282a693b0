#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/Output.h"

using namespace Inspect; // NOLINT(google-build-using-namespace): this is the program that the namespace is for

namespace {

ExitStatus run(const Options& options)
{
    switch (options.command) {
    case Command::MAP:
        return runMap(options);
    case Command::REGISTRY:
        return runRegistry(options);
    case Command::JSON:
        return runJson(options);
    case Command::XML:
        return runXml(options);
    default:
        return runDiff(options);
    }
}

/// What could not be written, because a disk is full, shows here at last.
int finish(int status)
{
    if (fflush(stdout) == 0 && ferror(stdout) == 0)
        return status;
    complain(std::string("ostrel-inspect: standard output: ") + strerror(errno));
    return EXIT_REFUSED;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    int status = EXIT_GOOD;
    try {
        if (parseOptions(argc, argv, &options, &status))
            status = run(options);
    } catch (const std::exception& error) { // no memory
        complain(std::string("ostrel-inspect: ") + error.what());
        status = EXIT_REFUSED;
    }
    return finish(status);
}
