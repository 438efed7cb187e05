#pragma once

#include <string>

// Splits one command line: words separated by blanks, and the rest of the line as it stands.
class CommandWords
{
public:
    explicit CommandWords(std::string line);

    // The next word, or empty at the end of the line.
    std::string word();
    // Everything after the words read so far, leading blanks dropped.
    std::string rest();
    bool atEnd();

private:
    void skipBlanks();

    std::string m_line;
    std::size_t m_position = 0;
};
