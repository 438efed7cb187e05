#include "platform/message/stringparam_scpi.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::string> strings(const std::string &text)
{
    StringParam_SCPI params(text);
    std::vector<std::string> out;
    for (int i = 0; i < params.nbParams(); ++i)
        out.push_back(params.getString());
    return out;
}

using Strings = std::vector<std::string>;

} // namespace

TEST(StringParamScpi, ReadsTheProtocolExamples)
{
    EXPECT_EQ(strings("WIFI_CONNECT_STATUS,ASSOCIATED"),
              (Strings{"WIFI_CONNECT_STATUS", "ASSOCIATED"}));
    EXPECT_EQ(strings("FAN_ALARM_STATUS, \"FAN ALARM FAULT\""),
              (Strings{"FAN_ALARM_STATUS", "FAN ALARM FAULT"}));
    EXPECT_EQ(strings("FLASH_LIST,'<l><d path=\"/media/a\" state=\"EJECTING\"/></l>'"),
              (Strings{"FLASH_LIST", "<l><d path=\"/media/a\" state=\"EJECTING\"/></l>"}));
    EXPECT_EQ(strings("\"CMD not supported\""), (Strings{"CMD not supported"}));
    EXPECT_EQ(strings("local,force,proxyHost,10.0.0.2,proxyPort,3000"),
              (Strings{"local", "force", "proxyHost", "10.0.0.2", "proxyPort", "3000"}));
}

TEST(StringParamScpi, QuotingAndBlanks)
{
    // Commas and blanks inside quotes belong to the string, doubled quotes stand for one.
    EXPECT_EQ(strings("'a, b',\"c, d\""), (Strings{"a, b", "c, d"}));
    EXPECT_EQ(strings("\"say \"\"hi\"\"\",'it''s'"), (Strings{"say \"hi\"", "it's"}));
    EXPECT_EQ(strings("\"it's\",'say \"hi\"'"), (Strings{"it's", "say \"hi\""}));
    // Blanks around tokens are not part of them; inside a bare token they are.
    EXPECT_EQ(strings(" \tA B ,\n ' x ' \r\n"), (Strings{"A B", " x "}));
    // Empty tokens between commas still count.
    EXPECT_EQ(strings(",,\"\""), (Strings{"", "", ""}));
    EXPECT_EQ(strings("A,"), (Strings{"A", ""}));
    // A quote inside a bare token is an ordinary byte.
    EXPECT_EQ(strings("ab\"c,d'"), (Strings{"ab\"c", "d'"}));
}

TEST(StringParamScpi, UnclosedQuoteRunsToTheEnd)
{
    EXPECT_EQ(strings("KEY,\"open, still open  "), (Strings{"KEY", "open, still open  "}));
    EXPECT_EQ(strings("'it''s"), (Strings{"it's"}));
    EXPECT_EQ(strings("\""), (Strings{""}));
}

TEST(StringParamScpi, TokensKeepTheirQuotes)
{
    StringParam_SCPI params(" KEY , \"A \"\"B\"\"\" ");
    ASSERT_EQ(params.nbParams(), 2);
    EXPECT_EQ(params.getToken(0), "KEY");
    EXPECT_EQ(params.getToken(1), "\"A \"\"B\"\"\"");
    EXPECT_EQ(params.getString(1), "A \"B\"");
}

TEST(StringParamScpi, EmptyOrBlankTextHasNoTokens)
{
    for (const char *text : {"", " ", " \t\r\n "}) {
        StringParam_SCPI params(text);
        EXPECT_EQ(params.nbParams(), 0) << '"' << text << '"';
        EXPECT_EQ(params.getString(), "");
        EXPECT_EQ(params.getString(0), "");
    }
}

TEST(StringParamScpi, CursorReadsOnFromTheLastToken)
{
    StringParam_SCPI params("A,B,C,D");
    EXPECT_EQ(params.getString(), "A");
    EXPECT_EQ(params.getString(), "B");
    EXPECT_EQ(params.getString(3), "D");
    EXPECT_EQ(params.getString(), "");
    EXPECT_EQ(params.getString(), "");
    EXPECT_EQ(params.getString(1), "B");
    EXPECT_EQ(params.getToken(), "C");
    EXPECT_EQ(params.getString(7), "");
    EXPECT_EQ(params.getString(), "");

    params.setParams("X,Y");
    EXPECT_EQ(params.nbParams(), 2);
    EXPECT_EQ(params.getString(), "X");
}

TEST(StringParamScpi, Int32)
{
    StringParam_SCPI params("42,-7,+5,\"13\",2147483647,-2147483648,2147483648,12a,,+,+-1, 9");
    const std::pair<std::int32_t, bool> expected[] = {
        {42, true}, {-7, true}, {5, true},  {13, true}, {2147483647, true}, {INT32_MIN, true},
        {0, false}, {0, false}, {0, false}, {0, false}, {0, false},         {9, true},
    };
    ASSERT_EQ(params.nbParams(), static_cast<int>(std::size(expected)));
    for (const auto &[value, valid] : expected) {
        bool ok = !valid;
        EXPECT_EQ(params.getInt32(-1, &ok), value);
        EXPECT_EQ(ok, valid) << value;
    }
    EXPECT_EQ(params.getInt32(), 0);
}

TEST(StringParamScpi, WritingSeparatesWithCommas)
{
    StringParam_SCPI params;
    params.addToken("KEY");
    params.addString("a \"quoted\", value");
    params.addInt32(-12);
    params.addString("");
    EXPECT_EQ(params.getParams(), "KEY,\"a \"\"quoted\"\", value\",-12,\"\"");
    EXPECT_EQ(params.nbParams(), 4);
    EXPECT_EQ(params.getString(1), "a \"quoted\", value");
    EXPECT_EQ(params.getInt32(2), -12);

    // Appending to received text goes after what is there.
    StringParam_SCPI received("A");
    received.addToken("B");
    EXPECT_EQ(received.getParams(), "A,B");
    EXPECT_EQ(received.getString(1), "B");
}

TEST(StringParamScpi, AddStringReadsBackUnchanged)
{
    const std::string values[] = {
        "",
        "plain",
        "  blanks around  ",
        "\"",
        "'",
        "\"\"''\"",
        "a,b,,c",
        "<l><d path=\"/media/usb 1\" state='MOUNTED'/></l>",
        "caf\xc3\xa9 \xff\x80\xfe",
        std::string("nul\0inside\0", 11),
        std::string(1, '\0'),
        "line\nbreak\r\n",
    };
    StringParam_SCPI all;
    for (const std::string &value : values) {
        StringParam_SCPI one;
        one.addString(value);
        EXPECT_EQ(one.nbParams(), 1);
        EXPECT_EQ(one.getString(0), value);
        all.addString(value);
    }
    StringParam_SCPI reread(all.getParams());
    ASSERT_EQ(reread.nbParams(), static_cast<int>(std::size(values)));
    for (const std::string &value : values)
        EXPECT_EQ(reread.getString(), value);
}
