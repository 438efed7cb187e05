#pragma once

#include <string>
#include <vector>

// The command line of clientmgr.
struct RouterOptions
{
    std::string host = "127.0.0.1";
    int port = 3000; // 0: the kernel chooses
    bool verbose = false;
    bool help = false;

    // Reads the arguments after the program name; "--port 3000" and "--port=3000" both work.
    // Returns false and says why in error on an unknown option, a missing value or a port
    // outside 0..65535.
    bool parse(const std::vector<std::string> &arguments, std::string &error);

    static std::string usage();
};
