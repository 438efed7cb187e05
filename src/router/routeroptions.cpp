#include "router/routeroptions.h"

#include <cstddef>

namespace {

bool parsePort(const std::string &text, int &port)
{
    if (text.empty() || text.size() > 5)
        return false;
    int value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    if (value > 65535)
        return false;
    port = value;
    return true;
}

} // namespace

bool RouterOptions::parse(const std::vector<std::string> &arguments, std::string &error)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string option = arguments[i];
        std::string value;
        bool hasValue = false;
        const std::size_t equals = option.find('=');
        if (option.rfind("--", 0) == 0 && equals != std::string::npos) {
            value = option.substr(equals + 1);
            option.erase(equals);
            hasValue = true;
        }

        if (option == "--verbose" && !hasValue) {
            verbose = true;
        } else if (option == "--help" && !hasValue) {
            help = true;
        } else if (option == "--host" || option == "--port") {
            if (!hasValue) {
                if (i + 1 == arguments.size()) {
                    error = option + " needs a value";
                    return false;
                }
                value = arguments[++i];
            }
            if (option == "--host") {
                if (value.empty()) {
                    error = "--host needs a value";
                    return false;
                }
                host = value;
            } else if (!parsePort(value, port)) {
                error = "invalid port: " + value;
                return false;
            }
        } else {
            error = "unknown option: " + arguments[i];
            return false;
        }
    }
    return true;
}

std::string RouterOptions::usage()
{
    return "Usage: clientmgr [--host H] [--port P] [--verbose] [--help]\n"
           "Routes messages between the clients of this instrument.\n"
           "  --host H    address to listen on (default 127.0.0.1)\n"
           "  --port P    port to listen on (default 3000, 0 lets the kernel choose)\n"
           "  --verbose   log every routed frame and the counters at exit\n"
           "  --help      show this text\n";
}
