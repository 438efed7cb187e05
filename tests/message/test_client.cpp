#include "platform/message/client.h"
#include "platform/message/frame.h"
#include "support/loopbackpeer.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <set>
#include <thread>

namespace {

using MessagePtr = std::unique_ptr<Message>;

Message notification(const std::string &params)
{
    MessagePtr message(Message::createNotification("notify", params));
    message->setSource("ctrlpanelsvc");
    message->setDestination("glyphd");
    return *message;
}

// A Client connected to a LoopbackPeer that plays the router.
class ClientTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(client.connect("127.0.0.1", peer.port(), "loopback test"));
        ASSERT_TRUE(peer.accept());
    }

    LoopbackPeer peer;
    Client client{"glyphd"};
};

} // namespace

TEST_F(ClientTest, SendStampsTheSourceAndReceiveSplitsTheStream)
{
    EXPECT_EQ(client.nextSeqn(), 1u);
    MessagePtr request(Message::createMessage("get", "WIFI_CONNECT_STATUS"));
    request->setSeqn(client.nextSeqn());
    request->setSource("impostor");
    ASSERT_TRUE(client.send("ctrlpanelsvc", request.get()));
    EXPECT_EQ(request->source(), "glyphd");
    Message received;
    ASSERT_TRUE(peer.readFrame(received));
    EXPECT_EQ(received, *request);
    EXPECT_EQ(received.seqn(), 2u);

    // Several frames in one write, then one that needs many reads.
    const Message frames[] = {notification("VNC_USERS,2"), notification("A,B"),
                              notification("FLASH_LIST,'" + std::string(900000, 'x') + "'")};
    std::string bytes;
    for (const Message &message : frames)
        ASSERT_TRUE(frame::encode(message, bytes));
    ASSERT_TRUE(peer.write(bytes));
    for (const Message &expected : frames) {
        MessagePtr message(client.receive());
        ASSERT_TRUE(message);
        EXPECT_EQ(*message, expected);
    }
}

// After the last whole frame, receive() gives null for good, whether the peer hung up or sent a
// frame that breaks the rules; a malformed frame makes the client close its side too.
TEST(ClientEnd, MalformedFrameOrHangUpEndsReceive)
{
    for (const bool malformed : {true, false}) {
        SCOPED_TRACE(malformed ? "malformed frame" : "hang-up");
        LoopbackPeer peer;
        Client client("glyphd");
        ASSERT_TRUE(client.connect("127.0.0.1", peer.port(), "loopback test"));
        ASSERT_TRUE(peer.accept());
        std::string bytes;
        ASSERT_TRUE(frame::encode(notification("A,1"), bytes));
        ASSERT_TRUE(frame::encode(notification("B,2"), bytes));
        if (malformed)
            bytes[bytes.size() / 2 + 4] = 2; // the second frame's version
        ASSERT_TRUE(peer.write(malformed ? bytes : bytes.substr(0, bytes.size() / 2)));
        if (!malformed)
            peer.closeConnection();

        MessagePtr good(client.receive());
        ASSERT_TRUE(good);
        EXPECT_EQ(good->params(), "A,1");
        EXPECT_EQ(client.receive(), nullptr);
        EXPECT_FALSE(client.isOpen());
        EXPECT_EQ(client.receive(), nullptr);
        MessagePtr late(Message::createMessage("get", "X"));
        EXPECT_FALSE(client.send("ctrlpanelsvc", late.get()));
        if (malformed) {
            EXPECT_TRUE(peer.waitForClose());
        }
    }
}

TEST_F(ClientTest, DisconnectFromAnotherThreadWakesABlockedReceive)
{
    constexpr auto kWait = std::chrono::seconds(10);
    std::promise<void> firstArrived;
    std::promise<bool> secondWasNull;
    std::thread receiver([&] {
        MessagePtr first(client.receive());
        firstArrived.set_value();
        MessagePtr second(client.receive());
        secondWasNull.set_value(second == nullptr);
    });
    std::future<bool> woke = secondWasNull.get_future();
    EXPECT_TRUE(peer.writeMessage(notification("A,1")));
    // Once the first frame is in, the receiver is (about to be) blocked on the second.
    const bool arrived = firstArrived.get_future().wait_for(kWait) == std::future_status::ready;

    EXPECT_TRUE(client.disconnect());
    const bool wokeInTime = woke.wait_for(kWait) == std::future_status::ready;
    if (!wokeInTime)
        peer.closeConnection(); // lets the thread end so that the test can report the failure
    receiver.join();

    EXPECT_TRUE(arrived);
    ASSERT_TRUE(wokeInTime);
    EXPECT_TRUE(woke.get());
    EXPECT_FALSE(client.isOpen());
    EXPECT_TRUE(peer.waitForClose());
}

// Two threads send at once while a third blocks in receive: every frame must arrive whole,
// each sender's frames in the order they were sent, with seqns that are never repeated.
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
    Message received;
    for (int i = 0; i < 2 * kPerSender; ++i) {
        const bool whole = peer.readFrame(received);
        const int sender = whole ? received.params()[0] - '0' : -1;
        if (sender != 0 && sender != 1) {
            ADD_FAILURE() << "frame " << i << " is not whole";
            break;
        }
        EXPECT_EQ(received.params(), paramsFor(sender, next[sender]++));
        seqns.insert(received.seqn());
    }
    // Wakes the receiver, and the senders too should the peer have stopped reading.
    client.disconnect();
    receiver.join();
    for (auto &sender : senders)
        EXPECT_EQ(sender.get(), kPerSender);
    EXPECT_EQ(seqns.size(), 2u * kPerSender);
}

TEST(ClientEnd, ConnectToAClosedPortFails)
{
    int closedPort;
    {
        LoopbackPeer gone;
        closedPort = gone.port();
    }
    Client client("glyphd");
    EXPECT_FALSE(client.connect("127.0.0.1", closedPort, "nobody listening"));
    EXPECT_FALSE(client.isOpen());
    EXPECT_EQ(client.receive(), nullptr);
}
