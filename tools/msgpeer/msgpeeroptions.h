#pragma once

#include <string>

// msgpeer's command line.
struct MsgPeerOptions
{
    std::string host = "127.0.0.1";
    int port = 3000;
    std::string name; // empty: msgpeer-<pid>
    int type = 1;
    bool fanOut = false;
    int timeoutMs = 2000;
    std::string destination;
    std::string command;
    std::string params; // the remaining arguments joined by single blanks

    // False with the reason in error on a usage error; help is set for --help.
    static bool parse(int argc, char **argv, MsgPeerOptions &options, bool &help,
                      std::string &error);
    static const char *usage();
};
