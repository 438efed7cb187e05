#include "platform/message/stringparam_scpi.h"

#include <gtest/gtest.h>

namespace {

using Strings = std::vector<std::string>;

Strings stringsOf(const std::string &text)
{
    StringParam_SCPI params(text);
    Strings out;
    for (int i = 0; i < params.nbParams(); ++i)
        out.push_back(params.getString());
    return out;
}

} // namespace

TEST(StringParamScpi, ReadingTable)
{
    const std::pair<std::string, Strings> cases[] = {
        // The examples of the parameter text format.
        {"WIFI_CONNECT_STATUS,ASSOCIATED", {"WIFI_CONNECT_STATUS", "ASSOCIATED"}},
        {"FAN_ALARM_STATUS, \"FAN ALARM FAULT\"", {"FAN_ALARM_STATUS", "FAN ALARM FAULT"}},
        {"FLASH_LIST,'<l><d path=\"/media/a\" state=\"EJECTING\"/></l>'",
         {"FLASH_LIST", "<l><d path=\"/media/a\" state=\"EJECTING\"/></l>"}},
        // Commas inside quotes belong to the string; a doubled quote stands for one.
        {"'a, b',\"c, d\"", {"a, b", "c, d"}},
        {"\"say \"\"hi\"\"\",'it''s'", {"say \"hi\"", "it's"}},
        {"\"it's\",'say \"hi\"'", {"it's", "say \"hi\""}},
        // Blanks around tokens are not part of them; inside a bare token they are.
        {" \tA B ,\n ' x ' \r\n", {"A B", " x "}},
        // Empty tokens count; a quote inside a bare token is an ordinary byte.
        {",,\"\"", {"", "", ""}},
        {"ab\"c,d'", {"ab\"c", "d'"}},
        // An unclosed quote runs to the end.
        {"KEY,\"open, still open  ", {"KEY", "open, still open  "}},
        {"", {}},
        {" \t\r\n ", {}}, // blanks only: no token, not one empty one
    };
    for (const auto &[text, tokens] : cases)
        EXPECT_EQ(stringsOf(text), tokens) << "text: " << text;
}

// Appends are separated by commas; addString quotes whatever it holds.
TEST(StringParamScpi, Writing)
{
    StringParam_SCPI params("A");
    params.addToken("KEY");
    params.addString("a \"quoted\", value");
    params.addInt32(-12);
    EXPECT_EQ(params.getParams(), "A,KEY,\"a \"\"quoted\"\", value\",-12");
}
