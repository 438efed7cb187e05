#include "router/routeroptions.h"

#include <gtest/gtest.h>

namespace {

TEST(RouterOptions, DefaultsAndBothValueForms)
{
    RouterOptions defaults;
    std::string error;
    ASSERT_TRUE(defaults.parse({}, error));
    EXPECT_EQ(defaults.host, "127.0.0.1");
    EXPECT_EQ(defaults.port, 3000);
    EXPECT_FALSE(defaults.verbose);

    RouterOptions options;
    ASSERT_TRUE(options.parse({"--host", "0.0.0.0", "--port=0", "--verbose"}, error)) << error;
    EXPECT_EQ(options.host, "0.0.0.0");
    EXPECT_EQ(options.port, 0);
    EXPECT_TRUE(options.verbose);

    ASSERT_TRUE(options.parse({"--port", "65535", "--host=::1", "--help"}, error)) << error;
    EXPECT_EQ(options.port, 65535);
    EXPECT_EQ(options.host, "::1");
    EXPECT_TRUE(options.help);
}

TEST(RouterOptions, RejectsWhatItCannotUse)
{
    const std::vector<std::vector<std::string>> bad{
        {"--port"}, {"--port", "65536"}, {"--port", "-1"}, {"--port", "30x"}, {"--port="},
        {"--host"}, {"--host="},         {"--verbose=1"},  {"--frobnicate"},  {"3000"},
    };
    for (const auto &arguments : bad) {
        RouterOptions options;
        std::string error;
        EXPECT_FALSE(options.parse(arguments, error)) << arguments.front();
        EXPECT_FALSE(error.empty());
    }
}

} // namespace
