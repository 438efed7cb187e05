#pragma once

#include "routerprocess.h"
#include "testpeer.h"

#include <gtest/gtest.h>

#include <csignal>

#include <memory>
#include <string>
#include <vector>

// Every test gets its own clientmgr process on a kernel-chosen port.
class RouterTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(router.start(routerArguments())) << router.log(); }
    // Every test ends with a clean shutdown; a sanitizer report would change the exit status.
    void TearDown() override
    {
        if (router.isRunning()) {
            EXPECT_EQ(router.stop(SIGTERM), 0) << router.log();
        }
    }

    virtual std::vector<std::string> routerArguments() const { return {}; }

    std::unique_ptr<TestPeer> connectPeer(int receiveBuffer = 0)
    {
        auto peer = std::make_unique<TestPeer>();
        EXPECT_TRUE(peer->connect(router.port(), receiveBuffer));
        return peer;
    }

    std::unique_ptr<TestPeer> registeredPeer(const std::string &name, int receiveBuffer = 0)
    {
        auto peer = connectPeer(receiveBuffer);
        EXPECT_TRUE(peer->registerAs(name)) << "registering " << name;
        return peer;
    }

    RouterProcess router;
};

// Checks that message is the router's own answer to the request with seqn and command.
inline ::testing::AssertionResult isRouterReply(const Message *message, MessageType type,
                                                std::uint32_t seqn, const std::string &command,
                                                const std::string &destination,
                                                const std::string &params)
{
    if (!message)
        return ::testing::AssertionFailure() << "no answer";
    if (message->type() != type || message->seqn() != seqn || message->command() != command ||
        message->source() != "clientmgr" || message->destination() != destination ||
        message->params() != params || message->isFanOut()) {
        return ::testing::AssertionFailure()
               << "got type " << static_cast<int>(message->type()) << " seqn " << message->seqn()
               << " command " << message->command() << " from " << message->source() << " to "
               << message->destination() << " params " << message->params();
    }
    return ::testing::AssertionSuccess();
}
