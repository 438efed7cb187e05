#include "msgpeeroptions.h"

#include "common/numberargument.h"

#include <climits>
#include <vector>

const char *MsgPeerOptions::usage()
{
    return "usage: msgpeer [--host H] [--port P] [--name NAME] [--type N] [--fanout]\n"
           "               [--timeout MS] DESTINATION COMMAND [PARAMS]\n";
}

bool MsgPeerOptions::parse(int argc, char **argv, MsgPeerOptions &options, bool &help,
                           std::string &error)
{
    help = false;
    std::vector<std::string> positional;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (!positional.empty() || argument.rfind("--", 0) != 0) {
            positional.push_back(argument);
            continue;
        }
        if (argument == "--help") {
            help = true;
            return true;
        }
        if (argument == "--fanout") {
            options.fanOut = true;
            continue;
        }
        if (i + 1 >= argc) {
            error = argument + " needs a value";
            return false;
        }
        const std::string value = argv[++i];
        long number = 0;
        if (argument == "--host") {
            options.host = value;
        } else if (argument == "--name") {
            options.name = value;
        } else if (argument == "--port" || argument == "--type" || argument == "--timeout") {
            const bool isPort = argument == "--port";
            const bool isType = argument == "--type";
            const long min = isPort || isType ? 1 : 0;
            const long max = isPort ? 65535 : isType ? 5 : INT_MAX;
            if (!parseNumberArgument(value, min, max, number)) {
                error = argument + " needs a number from " + std::to_string(min) + " to " +
                        std::to_string(max);
                return false;
            }
            (isPort   ? options.port
             : isType ? options.type
                      : options.timeoutMs) = static_cast<int>(number);
        } else {
            error = "unknown option " + argument;
            return false;
        }
    }
    if (positional.size() < 2) {
        error = "DESTINATION and COMMAND are needed";
        return false;
    }
    if (options.fanOut && options.type != 1) {
        error = "--fanout needs a command (--type 1)";
        return false;
    }
    options.destination = positional[0];
    options.command = positional[1];
    for (std::size_t i = 2; i < positional.size(); ++i) {
        options.params += (i > 2 ? " " : "") + positional[i];
    }
    return true;
}
