#include "simulatoroptions.h"

#include "common/numberargument.h"

#include <fstream>

namespace {

bool readLines(const std::string &path, std::vector<std::string> &lines)
{
    std::ifstream file(path);
    if (!file) {
        return false;
    }
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return true;
}

} // namespace

const char *SimulatorOptions::usage()
{
    return "usage: instrument-sim [--host H] [--port P] [--values FILE] [--set KEY=VALUE]...\n"
           "                      [--scenario FILE] [--no-stdin]\n";
}

bool SimulatorOptions::parse(int argc, char **argv, SimulatorOptions &options, bool &help,
                             std::string &error)
{
    help = false;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            help = true;
            return true;
        }
        if (option == "--no-stdin") {
            options.readStandardInput = false;
            continue;
        }
        if (i + 1 >= argc) {
            error = option.rfind("--", 0) == 0 ? option + " needs a value"
                                               : "unexpected argument " + option;
            return false;
        }
        const std::string value = argv[++i];
        long port = 0;
        if (option == "--host") {
            options.host = value;
        } else if (option == "--port") {
            if (!parseNumberArgument(value, 1, 65535, port)) {
                error = "--port needs a number from 1 to 65535";
                return false;
            }
            options.port = static_cast<int>(port);
        } else if (option == "--values") {
            if (!options.values.loadFile(value, error)) {
                return false;
            }
        } else if (option == "--set") {
            if (!options.values.assign(value)) {
                error = "--set needs KEY=VALUE";
                return false;
            }
        } else if (option == "--scenario") {
            if (!readLines(value, options.scenario)) {
                error = "cannot read " + value;
                return false;
            }
        } else {
            error = "unknown option " + option;
            return false;
        }
    }
    return true;
}
