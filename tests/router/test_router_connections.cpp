#include "routertest.h"

#include "platform/message/frame.h"
#include "router/router.h"

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>

namespace {

std::string localAddress(const TestPeer &peer)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(peer.fd(), reinterpret_cast<sockaddr *>(&address), &length);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

std::string encoded(const Message &message)
{
    std::string bytes;
    frame::encode(message, bytes);
    return bytes;
}

class Connections : public RouterTest
{};

TEST_F(Connections, MalformedFramesCloseTheConnectionAndReleaseItsName)
{
    const std::string valid = encoded(makeMessage("alpha", "beta", "get", "KEY", 5));
    struct Case
    {
        const char *what;
        std::string bytes;
    };
    std::vector<Case> cases{
        {"version 2", valid},
        {"unknown flag bit", valid},
        {"fan-out flag on a notification",
         encoded(makeMessage("alpha", "beta", "n", "", 0, MessageType::Notification))},
        {"length below the minimum", std::string("\0\0\0\x13", 4) + std::string(19, '\0')},
        {"length above the maximum", std::string("\0\x10\0\x01", 4)},
    };
    cases[0].bytes[4] = 2;
    cases[1].bytes[6] = 0x02;
    cases[2].bytes[6] = frame::kFlagFanOut;

    auto bystander = registeredPeer("bystander");
    for (const Case &test : cases) {
        auto peer = registeredPeer("alpha");
        ASSERT_TRUE(peer->sendRaw(test.bytes));
        EXPECT_TRUE(peer->waitClosed()) << test.what;
        // The log names the peer, and the name is free again.
        EXPECT_TRUE(router.waitForLog("closing " + localAddress(*peer) + " (alpha): malformed"))
            << test.what << "\n"
            << router.log();
        EXPECT_TRUE(bystander->nothingPending()) << test.what;
    }
    EXPECT_TRUE(connectPeer()->registerAs("alpha"));
}

TEST_F(Connections, FramesBeforeTheHangUpAreStillDelivered)
{
    auto receiver = registeredPeer("receiver");
    auto sender = registeredPeer("sender");
    ASSERT_TRUE(sender->send(makeMessage("sender", "receiver", "last", "words", 0)));
    sender->close();
    const auto delivered = receiver->receive();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(delivered->params(), "words");
}

// Floods a client that never reads until the router drops it. The flood goes through
// "producer"; "observer" makes a round trip after every frame to show that the router keeps
// serving others meanwhile. Returns the bytes sent to the sink before it was dropped, or 0.
std::size_t floodUntilDropped(TestPeer &producer, TestPeer &observer)
{
    constexpr std::size_t kFrameParams = 512 * 1024;
    constexpr std::size_t kGiveUpAfter = 96 * 1024 * 1024;
    const std::string params(kFrameParams, 'x');
    std::size_t sent = 0;
    while (sent < kGiveUpAfter) {
        const std::uint32_t seqn = producer.nextSeqn();
        if (!producer.send(makeMessage("producer", "sink", "dump", params, seqn)))
            break;
        sent += params.size();
        if (!observer.nothingPending()) {
            ADD_FAILURE() << "observer not served after " << sent << " bytes";
            return 0;
        }
        // The first "unknown destination" tells that the sink is gone. The frames sent after
        // the one that overflowed it get the same answer: read them all, up to a marker.
        if (producer.receive(0)) {
            const std::uint32_t marker = producer.nextSeqn();
            producer.send(makeMessage("producer", "clientmgr", "marker", "", marker));
            for (auto answer = producer.receive(); answer && answer->seqn() != marker;
                 answer = producer.receive()) {
                EXPECT_TRUE(isRouterReply(answer.get(), MessageType::Error, answer->seqn(), "dump",
                                          "producer", "\"Error: unknown destination\""));
            }
            return sent;
        }
    }
    ADD_FAILURE() << "sink still served after " << sent << " bytes";
    return 0;
}

TEST_F(Connections, ClientThatDoesNotReadIsDroppedAfterEightMebibytes)
{
    auto sink = registeredPeer("sink", 4096);
    auto producer = registeredPeer("producer");
    auto observer = registeredPeer("observer");

    const std::size_t sent = floodUntilDropped(*producer, *observer);
    RecordProperty("bytes_sent_before_drop", std::to_string(sent));
    EXPECT_GT(sent, Router::kDefaultQueueLimit);
    EXPECT_TRUE(router.waitForLog("closing " + localAddress(*sink) + " (sink): outgoing queue"))
        << router.log();
    EXPECT_TRUE(sink->waitClosed());

    EXPECT_TRUE(connectPeer()->registerAs("sink"));
    EXPECT_TRUE(observer->nothingPending());
    EXPECT_TRUE(producer->nothingPending());
}

TEST(RouterQueueLimit, LimitIsAConstructorParameter)
{
    constexpr std::size_t kLimit = 256 * 1024;
    Router router(kLimit);
    std::string error;
    ASSERT_TRUE(router.listen("127.0.0.1", 0, error)) << error;
    std::thread loop([&router] { EXPECT_TRUE(router.run()); });

    std::size_t sent = 0;
    {
        TestPeer sink, producer, observer, late;
        ASSERT_TRUE(sink.connect(router.port(), 4096) && sink.registerAs("sink"));
        ASSERT_TRUE(producer.connect(router.port()) && producer.registerAs("producer"));
        ASSERT_TRUE(observer.connect(router.port()) && observer.registerAs("observer"));
        sent = floodUntilDropped(producer, observer);
        EXPECT_TRUE(sink.waitClosed());
        EXPECT_TRUE(late.connect(router.port()) && late.registerAs("sink"));
    }

    router.requestStop();
    loop.join();
    EXPECT_GT(sent, kLimit);
    EXPECT_EQ(router.counters().overflowed, 1u);
    EXPECT_EQ(router.counters().accepted, 4u);
}

TEST_F(Connections, SigtermAndSigintExitCleanlyAndCloseEveryConnection)
{
    auto alpha = registeredPeer("alpha");
    auto idle = connectPeer();
    EXPECT_EQ(router.stop(SIGTERM), 0) << router.log();
    EXPECT_TRUE(alpha->waitClosed());
    EXPECT_TRUE(idle->waitClosed());

    RouterProcess second;
    ASSERT_TRUE(second.start());
    TestPeer peer;
    ASSERT_TRUE(peer.connect(second.port()) && peer.registerAs("alpha"));
    EXPECT_EQ(second.stop(SIGINT), 0) << second.log();
    EXPECT_TRUE(peer.waitClosed());
}

TEST(RouterCommandLine, BadOptionsAndBusyPortsFail)
{
    RouterProcess router;
    ASSERT_TRUE(router.start());
    RouterProcess sameHost;
    // A second router on the same port cannot bind it.
    EXPECT_FALSE(sameHost.start({"--port", std::to_string(router.port())}, 5000));
    EXPECT_NE(sameHost.log().find("bind"), std::string::npos) << sameHost.log();

    RouterProcess badOption;
    EXPECT_FALSE(badOption.start({"--colour"}, 5000));
    EXPECT_NE(badOption.log().find("unknown option: --colour"), std::string::npos);
    EXPECT_EQ(router.stop(SIGTERM), 0) << router.log();
}

} // namespace
