#include "valuetable.h"

#include <fstream>

namespace {

std::string trimmed(const std::string &text)
{
    const char *const blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

void ValueTable::set(const std::string &key, const std::string &value)
{
    m_values[key] = value;
}

bool ValueTable::get(const std::string &key, std::string &value) const
{
    const auto found = m_values.find(key);
    if (found == m_values.end()) {
        return false;
    }
    value = found->second;
    return true;
}

bool ValueTable::assign(const std::string &assignment)
{
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
        return false;
    }
    const std::string key = trimmed(assignment.substr(0, equals));
    if (key.empty()) {
        return false;
    }
    set(key, trimmed(assignment.substr(equals + 1)));
    return true;
}

bool ValueTable::loadFile(const std::string &path, std::string &error)
{
    std::ifstream file(path);
    if (!file) {
        error = "cannot read " + path;
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        const std::string content = trimmed(line);
        if (content.empty() || content[0] == '#') {
            continue;
        }
        if (!assign(content)) {
            error = path + ":" + std::to_string(number) + ": expected KEY=VALUE";
            return false;
        }
    }
    return true;
}
