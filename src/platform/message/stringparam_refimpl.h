#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A parameter list kept as one text of comma-separated tokens, with a read cursor.
// It writes tokens and keeps the text; how a token is quoted and how the text is split
// back into tokens is the business of the concrete syntax (StringParam_SCPI).
class StringParam_RefImpl
{
public:
    StringParam_RefImpl() = default;
    explicit StringParam_RefImpl(const std::string &text);
    virtual ~StringParam_RefImpl();

    // Appends text as it is, as a bare token.
    void addToken(const std::string &token);
    // Appends a quoted token whose contents read back as value.
    void addString(const std::string &value);
    // Appends a decimal number.
    void addInt32(std::int32_t value);

    const std::string &getParams() const { return m_text; }
    // Replaces the text and rewinds the read cursor.
    void setParams(const std::string &text);

    // Number of tokens; an empty or all-blank text has none.
    int nbParams() const;

    // index -1 reads the token after the one read last; index >= 0 reads that token (and
    // moves the cursor there). Past the last token the result is empty.
    // getToken gives the token as written (blanks at both ends removed, quotes kept);
    // getString gives its contents (quotes removed, doubled quotes read as one).
    std::string getToken(int index = -1);
    std::string getString(int index = -1);
    // getString read as a base-10 32-bit number; ok is false when it is not one.
    std::int32_t getInt32(int index = -1, bool *ok = nullptr);

protected:
    // The tokens of text, each as written, blanks at both ends removed.
    virtual std::vector<std::string> split(const std::string &text) const = 0;
    // The quoted form of value.
    virtual std::string quote(const std::string &value) const = 0;
    // The contents of a token as written.
    virtual std::string unquote(const std::string &token) const = 0;

private:
    const std::vector<std::string> &tokens() const;
    // Moves the cursor for index and returns the token's position, or -1 past the end.
    int advance(int index);

    std::string m_text;
    mutable std::vector<std::string> m_tokens;
    mutable bool m_tokensValid = false;
    int m_lastRead = -1;
};
