#pragma once

// The real clientmgr on a kernel-chosen port for each test, spoken to over raw TCP so that a
// test can write anything: a false source, broken frames, a client that stops reading.
#include "support/routerpeer.h"
#include "support/routerprocess.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

inline void PrintTo(const Message &m, std::ostream *out)
{
    *out << "type " << int(m.type()) << " seqn " << m.seqn() << " " << m.source() << " -> "
         << m.destination() << (m.isFanOut() ? " (fan-out) " : " ") << m.command() << " ["
         << m.params().substr(0, 80) << "]";
}

inline const std::string kNotRegistered = "\"Error: not registered\"";
inline const std::string kUnknownDestination = "\"Error: unknown destination\"";

// An answer the router makes itself.
inline Message routerReply(MessageType type, std::uint32_t seqn, const std::string &command,
                           const std::string &to, const std::string &params = {})
{
    return makeMessage("clientmgr", to, command, params, seqn, type);
}

class RouterTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(router.start()); }
    // A clean SIGTERM exit after every test: the router never crashed, no sanitizer report.
    void TearDown() override { EXPECT_EQ(router.stop(), 0) << log(); }

    std::unique_ptr<RouterPeer> connect(int receiveBuffer = 0)
    {
        // One that could not connect fails at its first write or read.
        return std::make_unique<RouterPeer>(router.port(), receiveBuffer);
    }
    std::unique_ptr<RouterPeer> registered(const std::string &name, int receiveBuffer = 0)
    {
        auto peer = connect(receiveBuffer);
        const auto answer = peer->registerAs(name);
        EXPECT_EQ(answer, routerReply(MessageType::Ack, peer->seqn, "register", name));
        return peer;
    }
    // Waits for the log line that names the connection from port and why the router closed it.
    bool logCloses(int port, const std::string &name, const std::string &reason)
    {
        return router.waitForStandardError(
            QString::fromStdString("closing 127.0.0.1:" + std::to_string(port) + " (" + name +
                                   "): " + reason),
            RouterPeer::kTimeoutMs);
    }
    std::string log() const { return router.standardError().toStdString(); }

    RouterProcess router;
};
