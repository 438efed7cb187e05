#include "commandwords.h"

#include <algorithm>

namespace {
const char *const kBlanks = " \t";
}

CommandWords::CommandWords(std::string line)
    : m_line(std::move(line))
{
    while (!m_line.empty() && (m_line.back() == '\n' || m_line.back() == '\r')) {
        m_line.pop_back();
    }
}

std::string CommandWords::word()
{
    skipBlanks();
    const std::size_t end = std::min(m_line.find_first_of(kBlanks, m_position), m_line.size());
    std::string result = m_line.substr(m_position, end - m_position);
    m_position = end;
    return result;
}

std::string CommandWords::rest()
{
    skipBlanks();
    std::string result = m_line.substr(m_position);
    m_position = m_line.size();
    return result;
}

bool CommandWords::atEnd()
{
    skipBlanks();
    return m_position == m_line.size();
}

void CommandWords::skipBlanks()
{
    m_position = std::min(m_line.find_first_not_of(kBlanks, m_position), m_line.size());
}
