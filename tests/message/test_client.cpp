// The Client against a loopback socket that plays the router. Sending, the stream split into
// frames and a hang-up are seen through the router client tests with the real router; a
// malformed frame can only come from here, as the router forwards only whole frames.
#include "platform/message/client.h"
#include "platform/message/frame.h"
#include "support/loopbackpeer.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

Message notification(const std::string &params)
{
    return makeMessage("ctrlpanelsvc", "glyphd", "notify", params, 0, MessageType::Notification);
}

} // namespace

// After the last whole frame, a frame that breaks the rules ends receive() for good, and the
// client closes its side.
TEST(Client, MalformedFrameEndsReceive)
{
    LoopbackPeer peer;
    Client client("glyphd");
    ASSERT_TRUE(client.connect("127.0.0.1", peer.port(), "loopback test"));
    ASSERT_TRUE(peer.accept());
    std::string bytes;
    ASSERT_TRUE(frame::encode(notification("A,1"), bytes));
    ASSERT_TRUE(frame::encode(notification("B,2"), bytes));
    bytes[bytes.size() / 2 + 4] = 2; // the second frame's version
    ASSERT_TRUE(peer.write(bytes));
    const std::unique_ptr<Message> good(client.receive());
    ASSERT_TRUE(good);
    EXPECT_EQ(*good, notification("A,1"));
    EXPECT_EQ(client.receive(), nullptr);
    EXPECT_FALSE(client.isOpen());
    const std::unique_ptr<Message> late(Message::createMessage("get", "X"));
    EXPECT_FALSE(client.send("ctrlpanelsvc", late.get()));
    EXPECT_TRUE(peer.waitForClose());
}
