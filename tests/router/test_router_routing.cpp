#include "routertest.h"

#include "platform/message/client.h"
#include "platform/message/frame.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

const std::string kUnknownDestination = "\"Error: unknown destination\"";

// With --verbose, so the per-frame log lines and the counters can be checked.
class Routing : public RouterTest
{
protected:
    std::vector<std::string> routerArguments() const override { return {"--verbose"}; }
};

TEST_F(Routing, SourceIsStampedWithTheSendersNameAndAllElseArrivesUnchanged)
{
    auto alpha = registeredPeer("alpha");
    auto beta = registeredPeer("beta");
    const std::string params("KEY,\"a \"\"quoted\"\" value\",'x'\0\xff,", 31);
    for (const MessageType type : {MessageType::Command, MessageType::Ack, MessageType::NAck,
                                   MessageType::Notification, MessageType::Error}) {
        const Message sent = makeMessage("ctrlpanelsvc", "beta", "get", params, 77, type);
        ASSERT_TRUE(alpha->send(sent));
        const auto received = beta->receive();
        ASSERT_TRUE(received);
        Message expected = sent;
        expected.setSource("alpha");
        EXPECT_EQ(*received, expected) << "type " << static_cast<int>(type);
    }
    // Sending to oneself is routed like anything else.
    ASSERT_TRUE(beta->send(makeMessage("nobody", "beta", "echo", "1", 0)));
    const auto echoed = beta->receive();
    ASSERT_TRUE(echoed);
    EXPECT_EQ(echoed->source(), "beta");
}

TEST_F(Routing, UnknownDestinationAnswersCommandsAwaitingAReplyAndDropsTheRest)
{
    auto alpha = registeredPeer("alpha");
    EXPECT_TRUE(isRouterReply(alpha->request("ghost", "get", "WIFI").get(), MessageType::Error, 2,
                              "get", "alpha", kUnknownDestination));

    ASSERT_TRUE(alpha->send(makeMessage("alpha", "ghost", "get", "", 0)));
    ASSERT_TRUE(
        alpha->send(makeMessage("alpha", "ghost", "notify", "", 0, MessageType::Notification)));
    ASSERT_TRUE(alpha->send(makeMessage("alpha", "ghost", "get", "", 9, MessageType::Ack)));
    EXPECT_TRUE(alpha->nothingPending());

    // A name that was registered once is unknown again after its client left.
    auto beta = registeredPeer("beta");
    ASSERT_TRUE(beta->request("clientmgr", "unregister"));
    EXPECT_TRUE(isRouterReply(alpha->request("beta", "get").get(), MessageType::Error, 4, "get",
                              "alpha", kUnknownDestination));

    EXPECT_EQ(router.stop(SIGTERM), 0);
    EXPECT_NE(router.log().find("dropped 3,"), std::string::npos) << router.log();
}

TEST_F(Routing, VerboseLogsOneLinePerRoutedFrame)
{
    auto alpha = registeredPeer("alpha");
    auto beta = registeredPeer("beta");
    const Message sent = makeMessage("alpha", "beta", "raise_screen", "NETWORK", 12);
    ASSERT_TRUE(alpha->send(sent));
    ASSERT_TRUE(beta->receive());
    std::string bytes;
    ASSERT_TRUE(frame::encode(sent, bytes));
    EXPECT_TRUE(router.waitForLog("alpha -> beta type=1 seqn=12 command=raise_screen bytes=" +
                                  std::to_string(bytes.size())))
        << router.log();
}

// Closes a client after a deadline so its blocking receive() cannot hang the test.
class ReceiveWatchdog
{
public:
    ReceiveWatchdog(Client &client, int timeoutMs)
        : m_thread([this, &client, timeoutMs] {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (!m_done.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                 [this] { return m_finished; }))
                client.disconnect();
        })
    {}
    ~ReceiveWatchdog()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_finished = true;
        }
        m_done.notify_all();
        m_thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_finished = false;
    std::thread m_thread;
};

std::unique_ptr<Message> registerClient(Client &client, int port)
{
    if (!client.connect("127.0.0.1", port, "routing test"))
        return nullptr;
    Message request = makeMessage("", "clientmgr", "register", "", client.nextSeqn());
    if (!client.send(&request))
        return nullptr;
    return std::unique_ptr<Message>(client.receive());
}

TEST_F(Routing, FramesFromOneSenderToOneReceiverKeepTheirOrder)
{
    Client producer("producer");
    Client consumer("consumer");
    ReceiveWatchdog watchdog(consumer, 3 * kWaitMs);
    ASSERT_TRUE(registerClient(producer, router.port()));
    ASSERT_TRUE(registerClient(consumer, router.port()));

    // Sizes vary so frames straddle the router's reads and writes.
    constexpr int kCount = 1000;
    std::thread sending([&] {
        for (int i = 0; i < kCount; ++i) {
            Message message =
                makeMessage("", "consumer", "n",
                            std::to_string(i) + "." +
                                std::string(static_cast<std::size_t>(i * 37 % 5000), '.'));
            if (!producer.send(&message))
                return;
        }
    });
    int received = 0;
    for (; received < kCount; ++received) {
        std::unique_ptr<Message> message(consumer.receive());
        if (!message)
            break;
        const std::string expected = std::to_string(received) + ".";
        if (message->source() != "producer" || message->params().rfind(expected, 0) != 0) {
            ADD_FAILURE() << "frame " << received << " is " << message->params().substr(0, 10)
                          << " from " << message->source();
            break;
        }
    }
    sending.join();
    EXPECT_EQ(received, kCount);
}

} // namespace
