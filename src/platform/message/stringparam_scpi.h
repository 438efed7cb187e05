#pragma once

#include "stringparam_refimpl.h"

// SCPI-style parameter text: tokens separated by commas, either bare or quoted with '"' or
// '\'' (a doubled quote inside stands for one; an unclosed quote runs to the end of the text).
class StringParam_SCPI : public StringParam_RefImpl
{
public:
    StringParam_SCPI() = default;
    explicit StringParam_SCPI(const std::string &text);
    ~StringParam_SCPI() override;

protected:
    std::vector<std::string> split(const std::string &text) const override;
    std::string quote(const std::string &value) const override;
    std::string unquote(const std::string &token) const override;
};
