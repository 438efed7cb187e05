#include "loopbackpeer.h"

#include "platform/message/client.h"
#include "platform/message/frame.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <set>
#include <thread>

namespace {

using MessagePtr = std::unique_ptr<Message>;

constexpr auto kWait = std::chrono::seconds(10);

class ClientTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(client.connect("127.0.0.1", peer.port(), "loopback test"));
        ASSERT_TRUE(peer.accept());
    }

    static Message notification(const std::string &params)
    {
        MessagePtr message(Message::createNotification("notify", params));
        message->setSource("ctrlpanelsvc");
        message->setDestination("glyphd");
        return *message;
    }

    LoopbackPeer peer;
    Client client{"glyphd"};
};

} // namespace

TEST_F(ClientTest, SendStampsTheSourceAndWritesOneFrame)
{
    EXPECT_TRUE(client.isOpen());
    MessagePtr request(Message::createMessage("get", "WIFI_CONNECT_STATUS"));
    request->setSeqn(client.nextSeqn());
    request->setSource("impostor");
    ASSERT_TRUE(client.send("ctrlpanelsvc", request.get()));
    EXPECT_EQ(request->source(), "glyphd");
    EXPECT_EQ(request->destination(), "ctrlpanelsvc");

    Message received;
    ASSERT_TRUE(peer.readFrame(received));
    EXPECT_EQ(received, *request);
}

TEST_F(ClientTest, ReceiveSplitsTheStreamIntoFrames)
{
    // Several frames in one write, then one large frame that needs many reads.
    const Message first = notification("VNC_USERS,2");
    const Message second = notification("WIFI_CONNECT_STATUS,ASSOCIATED");
    const Message large = notification("FLASH_LIST,'" + std::string(900000, 'x') + "'");
    std::string bytes;
    ASSERT_TRUE(frame::encode(first, bytes));
    ASSERT_TRUE(frame::encode(second, bytes));
    ASSERT_TRUE(frame::encode(large, bytes));
    ASSERT_TRUE(peer.write(bytes));

    for (const Message *expected : {&first, &second, &large}) {
        MessagePtr received(client.receive());
        ASSERT_TRUE(received);
        EXPECT_EQ(*received, *expected);
    }
}

TEST_F(ClientTest, MalformedFrameClosesTheConnection)
{
    ASSERT_TRUE(peer.writeMessage(notification("A,1")));
    std::string bad;
    ASSERT_TRUE(frame::encode(notification("B,2"), bad));
    bad[4] = 2; // version
    ASSERT_TRUE(peer.write(bad));

    MessagePtr good(client.receive());
    ASSERT_TRUE(good);
    EXPECT_EQ(good->params(), "A,1");
    EXPECT_EQ(client.receive(), nullptr);
    EXPECT_FALSE(client.isOpen());
    EXPECT_TRUE(peer.waitForClose());
    EXPECT_EQ(client.receive(), nullptr);

    MessagePtr late(Message::createMessage("get", "X"));
    EXPECT_FALSE(client.send("ctrlpanelsvc", late.get()));
}

TEST_F(ClientTest, PeerClosingEndsReceive)
{
    peer.closeConnection();
    EXPECT_EQ(client.receive(), nullptr);
    EXPECT_FALSE(client.isOpen());
    EXPECT_FALSE(client.disconnect());
}

TEST_F(ClientTest, DisconnectWakesABlockedReceive)
{
    std::promise<void> firstArrived;
    std::promise<bool> secondWasNull;
    std::thread receiver([&] {
        MessagePtr first(client.receive());
        firstArrived.set_value();
        MessagePtr second(client.receive());
        secondWasNull.set_value(second == nullptr);
    });
    ASSERT_TRUE(peer.writeMessage(notification("A,1")));
    std::future<bool> woke = secondWasNull.get_future();
    const bool arrived = firstArrived.get_future().wait_for(kWait) == std::future_status::ready;

    EXPECT_TRUE(client.disconnect());
    const bool wokeInTime = woke.wait_for(kWait) == std::future_status::ready;
    if (!wokeInTime)
        peer.closeConnection(); // let the thread end so the test can report the failure
    receiver.join();

    EXPECT_TRUE(arrived);
    ASSERT_TRUE(wokeInTime);
    EXPECT_TRUE(woke.get());
    EXPECT_FALSE(client.isOpen());
    EXPECT_FALSE(client.disconnect());
    EXPECT_TRUE(peer.waitForClose());
}

// Two threads send at once while a third blocks in receive: every frame must arrive whole
// and each sender's frames in the order they were sent.
TEST_F(ClientTest, ConcurrentSendsKeepFramesIntact)
{
    constexpr int kPerSender = 150;
    const auto paramsFor = [](int sender, int index) {
        // Every seventh frame is large enough to need several writes.
        const std::size_t padding = index % 7 == 0 ? 200000 + index : index;
        return std::to_string(sender) + ":" + std::to_string(index) + ":" +
               std::string(padding, static_cast<char>('a' + sender));
    };

    std::thread receiver([this] { MessagePtr none(client.receive()); });
    std::vector<std::future<int>> senders;
    for (int sender = 0; sender < 2; ++sender) {
        senders.push_back(std::async(std::launch::async, [&, sender] {
            int sent = 0;
            for (int index = 0; index < kPerSender; ++index) {
                MessagePtr message(Message::createMessage("test", paramsFor(sender, index)));
                message->setSeqn(client.nextSeqn());
                sent += client.send("peer", message.get()) ? 1 : 0;
            }
            return sent;
        }));
    }

    int next[2] = {0, 0};
    std::set<std::uint32_t> seqns;
    for (int i = 0; i < 2 * kPerSender; ++i) {
        Message received;
        ASSERT_TRUE(peer.readFrame(received)) << "frame " << i;
        const int sender = received.params()[0] - '0';
        ASSERT_TRUE(sender == 0 || sender == 1);
        EXPECT_EQ(received.params(), paramsFor(sender, next[sender]));
        EXPECT_EQ(received.source(), "glyphd");
        seqns.insert(received.seqn());
        ++next[sender];
    }
    for (auto &sender : senders)
        EXPECT_EQ(sender.get(), kPerSender);
    EXPECT_EQ(seqns.size(), 2u * kPerSender);
    EXPECT_EQ(seqns.count(0), 0u);

    client.disconnect();
    receiver.join();
}

TEST_F(ClientTest, SecondConnectFailsAndKeepsTheFirst)
{
    LoopbackPeer other;
    EXPECT_FALSE(client.connect("127.0.0.1", other.port(), "second"));
    EXPECT_TRUE(client.isOpen());

    MessagePtr message(Message::createMessage("get", "X"));
    ASSERT_TRUE(client.send("ctrlpanelsvc", message.get()));
    Message received;
    EXPECT_TRUE(peer.readFrame(received));
}

TEST_F(ClientTest, ReconnectsAfterDisconnect)
{
    ASSERT_TRUE(client.disconnect());
    MessagePtr message(Message::createMessage("get", "X"));
    EXPECT_FALSE(client.send("ctrlpanelsvc", message.get()));
    EXPECT_TRUE(peer.waitForClose());

    LoopbackPeer other;
    ASSERT_TRUE(client.connect("localhost", other.port(), "again"));
    ASSERT_TRUE(other.accept());
    ASSERT_TRUE(client.send("ctrlpanelsvc", message.get()));
    Message received;
    ASSERT_TRUE(other.readFrame(received));
    EXPECT_EQ(received, *message);

    ASSERT_TRUE(other.writeMessage(notification("B,2")));
    MessagePtr reply(client.receive());
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->params(), "B,2");
}

TEST(ClientWithoutPeer, FailsCleanly)
{
    int closedPort;
    {
        LoopbackPeer gone;
        closedPort = gone.port();
    }
    Client client("glyphd");
    EXPECT_FALSE(client.connect("127.0.0.1", closedPort, "nobody listening"));
    EXPECT_FALSE(client.connect("127.0.0.1", 70000, "bad port"));
    EXPECT_FALSE(client.isOpen());
    EXPECT_FALSE(client.disconnect());
    EXPECT_EQ(client.receive(), nullptr);

    MessagePtr message(Message::createMessage("get", "X"));
    EXPECT_FALSE(client.send("ctrlpanelsvc", message.get()));
    EXPECT_FALSE(client.send(nullptr));
}

TEST(ClientWithoutPeer, SequenceNumbersCountFromOne)
{
    Client client("glyphd");
    EXPECT_EQ(client.nextSeqn(), 1u);
    EXPECT_EQ(client.nextSeqn(), 2u);
    EXPECT_EQ(client.nextSeqn(), 3u);
    Client other("other");
    EXPECT_EQ(other.nextSeqn(), 1u);
}
