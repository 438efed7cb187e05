#pragma once

#include <string>

namespace glyphd {

// What the command line may change; the defaults are what the daemon uses without options.
struct StartupSettings
{
    std::string clientName = "glyphd";
    std::string host = "127.0.0.1";
    int port = 3000;
    bool daemonize = true;
};

} // namespace glyphd
