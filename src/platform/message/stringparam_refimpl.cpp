#include "stringparam_refimpl.h"

#include <charconv>

StringParam_RefImpl::StringParam_RefImpl(const std::string &text)
    : m_text(text)
{}

StringParam_RefImpl::~StringParam_RefImpl() = default;

void StringParam_RefImpl::addToken(const std::string &token)
{
    if (!m_text.empty())
        m_text += ',';
    m_text += token;
    m_tokensValid = false;
}

void StringParam_RefImpl::addString(const std::string &value)
{
    addToken(quote(value));
}

void StringParam_RefImpl::addInt32(std::int32_t value)
{
    addToken(std::to_string(value));
}

void StringParam_RefImpl::setParams(const std::string &text)
{
    m_text = text;
    m_tokensValid = false;
    m_lastRead = -1;
}

int StringParam_RefImpl::nbParams() const
{
    return static_cast<int>(tokens().size());
}

std::string StringParam_RefImpl::getToken(int index)
{
    const int position = advance(index);
    return position < 0 ? std::string() : tokens()[position];
}

std::string StringParam_RefImpl::getString(int index)
{
    const int position = advance(index);
    return position < 0 ? std::string() : unquote(tokens()[position]);
}

std::int32_t StringParam_RefImpl::getInt32(int index, bool *ok)
{
    const std::string text = getString(index);
    const char *begin = text.data();
    const char *end = begin + text.size();
    // from_chars takes a minus sign but no plus sign; "+-1" is no number either.
    if (begin != end && *begin == '+') {
        ++begin;
        if (begin != end && *begin == '-')
            begin = end;
    }
    std::int32_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, 10);
    const bool parsed = begin != end && error == std::errc() && stop == end;
    if (ok)
        *ok = parsed;
    return parsed ? value : 0;
}

const std::vector<std::string> &StringParam_RefImpl::tokens() const
{
    if (!m_tokensValid) {
        m_tokens = split(m_text);
        m_tokensValid = true;
    }
    return m_tokens;
}

int StringParam_RefImpl::advance(int index)
{
    const int count = nbParams();
    const int position = index < 0 ? m_lastRead + 1 : index;
    // The cursor stops one past the last token so that reading on keeps giving nothing.
    m_lastRead = position < count ? position : count;
    return position < count ? position : -1;
}
