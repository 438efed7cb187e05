// The Client against a loopback socket that plays the router. Sends from several threads and a
// disconnect that wakes a blocked receive are the router client tests' part.
#include "platform/message/client.h"
#include "platform/message/frame.h"
#include "support/loopbackpeer.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using MessagePtr = std::unique_ptr<Message>;

Message notification(const std::string &params)
{
    return makeMessage("ctrlpanelsvc", "glyphd", "notify", params, 0, MessageType::Notification);
}

} // namespace

TEST(Client, SendStampsTheSourceAndReceiveSplitsTheStream)
{
    LoopbackPeer peer;
    Client client("glyphd");
    ASSERT_TRUE(client.connect("127.0.0.1", peer.port(), "loopback test"));
    ASSERT_TRUE(peer.accept());
    EXPECT_EQ(client.nextSeqn(), 1u);
    MessagePtr request(Message::createMessage("get", "WIFI_CONNECT_STATUS"));
    request->setSeqn(client.nextSeqn());
    request->setSource("impostor");
    ASSERT_TRUE(client.send("ctrlpanelsvc", request.get()));
    Message received;
    ASSERT_TRUE(peer.readFrame(received));
    EXPECT_EQ(received, makeMessage("glyphd", "ctrlpanelsvc", "get", "WIFI_CONNECT_STATUS", 2));

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
// frame that breaks the rules (the client then closes its side too).
TEST(Client, MalformedFrameOrHangUpEndsReceive)
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
        else
            bytes.resize(bytes.size() / 2);
        ASSERT_TRUE(peer.write(bytes));
        if (!malformed)
            peer.closeConnection();
        MessagePtr good(client.receive());
        ASSERT_TRUE(good);
        EXPECT_EQ(good->params(), "A,1");
        EXPECT_EQ(client.receive(), nullptr);
        EXPECT_FALSE(client.isOpen());
        MessagePtr late(Message::createMessage("get", "X"));
        EXPECT_FALSE(client.send("ctrlpanelsvc", late.get()));
        if (malformed) {
            EXPECT_TRUE(peer.waitForClose());
        }
    }
}
