#include "commandline.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

namespace glyphd {

namespace {

void reportError(const char *first, const char *argument = nullptr, const char *last = nullptr)
{
    std::cerr << first;
    if (argument != nullptr) {
        std::cerr << argument << last;
    }
    std::cerr << std::endl << std::endl;
}

} // namespace

bool parseCommandLine(int argc, char **argv, StartupSettings &settings)
{
    bool expectClientName = false;
    bool expectHost = false;
    bool expectPort = false;

    // The keywords that switch modes are recognised before a pending value is taken, the
    // others after: "--host --port 5" makes "--port" the host.
    for (int i = 1; i < argc; ++i) {
        const char *argument = argv[i];
        if (argument == nullptr) {
            reportError("error parsing command line options");
            return false;
        }
        if (std::strcmp(argument, "--no-daemon") == 0) {
            settings.daemonize = false;
        } else if (std::strcmp(argument, "--clientName") == 0) {
            expectClientName = true;
        } else if (expectClientName) {
            settings.clientName = argument;
            expectClientName = false;
        } else if (std::strcmp(argument, "--host") == 0) {
            expectHost = true;
        } else if (expectHost) {
            settings.host = argument;
            expectHost = false;
        } else if (std::strcmp(argument, "--port") == 0) {
            expectPort = true;
        } else if (expectPort) {
            settings.port = static_cast<int>(std::strtol(argument, nullptr, 10));
            expectPort = false;
        } else {
            reportError("unknown option: '", argument, "'");
            return false;
        }
    }
    return true;
}

} // namespace glyphd
