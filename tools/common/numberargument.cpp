#include "common/numberargument.h"

#include <cerrno>
#include <cstdlib>

bool parseNumberArgument(const std::string &text, long min, long max, long &value)
{
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char *end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || number < min || number > max) {
        return false;
    }
    value = number;
    return true;
}
