#pragma once

#include "valuetable.h"

#include <string>
#include <vector>

// The simulator's command line.
struct SimulatorOptions
{
    std::string host = "127.0.0.1";
    int port = 3000;
    ValueTable values;                 // --values files and --set assignments, in order
    std::vector<std::string> scenario; // the lines of the --scenario file
    bool readStandardInput = true;     // false with --no-stdin

    // Fills options from argv. False with the reason in error on a usage error; help is set
    // for --help.
    static bool parse(int argc, char **argv, SimulatorOptions &options, bool &help,
                      std::string &error);
    static const char *usage();
};
