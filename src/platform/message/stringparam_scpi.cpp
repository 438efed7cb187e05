#include "stringparam_scpi.h"

namespace {

constexpr char kSeparator = ',';
constexpr char kDoubleQuote = '"';
constexpr char kSingleQuote = '\'';

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool isQuote(char c)
{
    return c == kDoubleQuote || c == kSingleQuote;
}

// Position just past the quoted text that starts at text[begin]; text.size() with closed
// false when the quote is never closed.
std::size_t endOfQuoted(const std::string &text, std::size_t begin, bool &closed)
{
    const char quote = text[begin];
    std::size_t pos = begin + 1;
    while (pos < text.size()) {
        if (text[pos] == quote) {
            if (pos + 1 < text.size() && text[pos + 1] == quote) {
                pos += 2;
                continue;
            }
            closed = true;
            return pos + 1;
        }
        ++pos;
    }
    closed = false;
    return text.size();
}

} // namespace

StringParam_SCPI::StringParam_SCPI(const std::string &text)
    : StringParam_RefImpl(text)
{}

StringParam_SCPI::~StringParam_SCPI() = default;

std::vector<std::string> StringParam_SCPI::split(const std::string &text) const
{
    std::vector<std::string> tokens;
    std::size_t pos = 0;
    while (pos < text.size() && isBlank(text[pos]))
        ++pos;
    if (pos == text.size())
        return tokens;

    for (;;) {
        while (pos < text.size() && isBlank(text[pos]))
            ++pos;
        const std::size_t begin = pos;
        bool closed = true;
        if (pos < text.size() && isQuote(text[pos]))
            pos = endOfQuoted(text, pos, closed);
        while (pos < text.size() && text[pos] != kSeparator)
            ++pos;
        std::size_t end = pos;
        // An unclosed quote takes everything up to the end, trailing blanks included.
        if (closed) {
            while (end > begin && isBlank(text[end - 1]))
                --end;
        }
        tokens.emplace_back(text, begin, end - begin);
        if (pos == text.size())
            return tokens;
        ++pos; // the comma
    }
}

std::string StringParam_SCPI::quote(const std::string &value) const
{
    std::string quoted;
    quoted.reserve(value.size() + 2);
    quoted += kDoubleQuote;
    for (const char c : value) {
        if (c == kDoubleQuote)
            quoted += kDoubleQuote;
        quoted += c;
    }
    quoted += kDoubleQuote;
    return quoted;
}

std::string StringParam_SCPI::unquote(const std::string &token) const
{
    if (token.empty() || !isQuote(token.front()))
        return token;
    const char quote = token.front();
    std::string contents;
    for (std::size_t pos = 1; pos < token.size(); ++pos) {
        if (token[pos] == quote) {
            if (pos + 1 < token.size() && token[pos + 1] == quote) {
                contents += quote;
                ++pos;
                continue;
            }
            break; // closing quote: anything after it is not part of the string
        }
        contents += token[pos];
    }
    return contents;
}
