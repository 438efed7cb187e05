#pragma once

#include <map>
#include <string>

// The system-data values the simulated control panel answers "get" with.
class ValueTable
{
public:
    void set(const std::string &key, const std::string &value);
    // True and the value in value when key is known.
    bool get(const std::string &key, std::string &value) const;

    // Reads "KEY=VALUE" lines ('#' starts a comment line, blank lines are skipped; blanks
    // around key and value are dropped). False with the reason in error when the file cannot
    // be read or a line has no key.
    bool loadFile(const std::string &path, std::string &error);
    // One "KEY=VALUE" assignment; false when it has no '=' or no key.
    bool assign(const std::string &assignment);

private:
    std::map<std::string, std::string> m_values;
};
