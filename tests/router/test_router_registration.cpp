#include "routertest.h"

#include "platform/message/client.h"

#include <chrono>
#include <thread>

namespace {

const std::string kNameInUse = "\"Error: name in use\"";
const std::string kInvalidName = "\"Error: invalid name\"";
const std::string kNotRegistered = "\"Error: not registered\"";

class Registration : public RouterTest
{};

TEST_F(Registration, FreeNameAndTheSameNameAgainAreAcknowledged)
{
    auto peer = connectPeer();
    ASSERT_TRUE(peer->send(makeMessage("alpha", "clientmgr", "register", "local", 41)));
    EXPECT_TRUE(
        isRouterReply(peer->receive().get(), MessageType::Ack, 41, "register", "alpha", ""));
    ASSERT_TRUE(peer->send(makeMessage("alpha", "clientmgr", "register", "", 42)));
    EXPECT_TRUE(
        isRouterReply(peer->receive().get(), MessageType::Ack, 42, "register", "alpha", ""));

    // The library's client registers the same way.
    Client client("beta");
    ASSERT_TRUE(client.connect("127.0.0.1", router.port(), "registration test"));
    Message request = makeMessage("", "clientmgr", "register", "remote,proxyHost,10.0.0.2", 7);
    ASSERT_TRUE(client.send(&request));
    std::unique_ptr<Message> answer(client.receive());
    EXPECT_TRUE(isRouterReply(answer.get(), MessageType::Ack, 7, "register", "beta", ""));
}

TEST_F(Registration, NameHeldByAnotherConnectionIsRefusedAndStaysWithItsHolder)
{
    auto holder = registeredPeer("alpha");
    auto other = connectPeer();
    ASSERT_TRUE(other->send(makeMessage("alpha", "clientmgr", "register", "local", 3)));
    EXPECT_TRUE(isRouterReply(other->receive().get(), MessageType::NAck, 3, "register", "alpha",
                              kNameInUse));
    // "force" as the value of proxyHost is a host name, not the option.
    ASSERT_TRUE(other->send(makeMessage("alpha", "clientmgr", "register", "proxyHost,force", 4)));
    EXPECT_TRUE(isRouterReply(other->receive().get(), MessageType::NAck, 4, "register", "alpha",
                              kNameInUse));

    ASSERT_TRUE(other->registerAs("beta"));
    ASSERT_TRUE(other->send(makeMessage("beta", "alpha", "hello", "", 0)));
    const auto delivered = holder->receive();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(delivered->source(), "beta");
}

TEST_F(Registration, ForceMovesTheNameAndClosesTheOldConnection)
{
    auto oldHolder = registeredPeer("alpha");
    auto newHolder = connectPeer();
    ASSERT_TRUE(newHolder->send(makeMessage("alpha", "clientmgr", "register", "local,force", 5)));
    EXPECT_TRUE(
        isRouterReply(newHolder->receive().get(), MessageType::Ack, 5, "register", "alpha", ""));
    EXPECT_TRUE(oldHolder->waitClosed());

    auto sender = registeredPeer("gamma");
    ASSERT_TRUE(sender->send(makeMessage("gamma", "alpha", "hello", "", 0)));
    const auto delivered = newHolder->receive();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(delivered->command(), "hello");
}

TEST_F(Registration, InvalidNamesAreRefused)
{
    auto peer = connectPeer();
    const std::vector<std::string> invalid{
        "", "two words", "a*", "x,y", "caf\xc3\xa9", std::string(65, 'n'), std::string("nu\0l", 4)};
    for (const std::string &name : invalid) {
        const auto answer = peer->sendRegister(name, "force");
        EXPECT_TRUE(isRouterReply(answer.get(), MessageType::NAck, answer ? answer->seqn() : 0,
                                  "register", name, kInvalidName))
            << "name \"" << name << "\"";
    }
    // Nobody takes over the router's own name.
    EXPECT_TRUE(isRouterReply(peer->sendRegister("clientmgr", "force").get(), MessageType::NAck, 8,
                              "register", "clientmgr", kNameInUse));

    const std::string longest(64, 'n');
    EXPECT_TRUE(isRouterReply(peer->sendRegister(longest).get(), MessageType::Ack, 9, "register",
                              longest, ""));
    EXPECT_TRUE(isRouterReply(peer->sendRegister("A-z_0.9").get(), MessageType::Ack, 10, "register",
                              "A-z_0.9", ""));
}

TEST_F(Registration, ASecondNameReplacesTheFirst)
{
    auto peer = registeredPeer("alpha");
    ASSERT_TRUE(peer->registerAs("beta"));
    EXPECT_EQ(peer->name(), "beta");

    auto other = registeredPeer("gamma");
    EXPECT_TRUE(isRouterReply(other->request("alpha", "hello").get(), MessageType::Error, 2,
                              "hello", "gamma", "\"Error: unknown destination\""));
    ASSERT_TRUE(other->send(makeMessage("gamma", "beta", "hello", "", 0)));
    const auto delivered = peer->receive();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(delivered->destination(), "beta");
    // The first name is free for anybody.
    EXPECT_TRUE(connectPeer()->registerAs("alpha"));
}

TEST_F(Registration, UnregisterReleasesTheNameAndAllowsRegisteringAgain)
{
    auto peer = registeredPeer("alpha");
    EXPECT_TRUE(isRouterReply(peer->request("clientmgr", "unregister").get(), MessageType::Ack, 2,
                              "unregister", "alpha", ""));
    EXPECT_TRUE(isRouterReply(peer->request("beta", "hello").get(), MessageType::Error, 3, "hello",
                              "alpha", kNotRegistered));

    auto other = connectPeer();
    ASSERT_TRUE(other->registerAs("alpha"));
    EXPECT_TRUE(peer->registerAs("gamma"));
    const auto refused = peer->sendRegister("alpha");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->params(), kNameInUse);
}

TEST_F(Registration, ClosingTheConnectionReleasesTheName)
{
    registeredPeer("alpha")->close();
    // The router may see the new client's frame before the hang-up: ask again until it has.
    auto peer = connectPeer();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    std::unique_ptr<Message> answer;
    while ((answer = peer->sendRegister("alpha")) && answer->type() == MessageType::NAck &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->type(), MessageType::Ack);
}

TEST_F(Registration, UnregisteredConnectionsGetNotRegisteredForAllButRegister)
{
    auto peer = connectPeer();
    // A "register" for another client is an ordinary command: it needs a name to be routed.
    for (const char *destination : {"ctrlpanelsvc", "clientmgr"}) {
        for (const std::string command : {"register", "get", "unregister"}) {
            if (std::string(destination) == "clientmgr" && command == "register")
                continue;
            ASSERT_TRUE(peer->send(makeMessage("who", destination, command, "x", 17)));
            EXPECT_TRUE(isRouterReply(peer->receive().get(), MessageType::Error, 17, command, "who",
                                      kNotRegistered))
                << command << " to " << destination;
        }
    }
    // What awaits no answer is dropped without one.
    ASSERT_TRUE(peer->send(makeMessage("who", "ctrlpanelsvc", "get", "x", 0)));
    ASSERT_TRUE(
        peer->send(makeMessage("who", "ctrlpanelsvc", "n", "", 0, MessageType::Notification)));
    ASSERT_TRUE(peer->send(makeMessage("who", "ctrlpanelsvc", "get", "", 18, MessageType::Ack)));
    EXPECT_TRUE(peer->nothingPending());
}

TEST_F(Registration, OtherRouterCommandsAreNotSupported)
{
    auto peer = registeredPeer("alpha");
    for (const std::string command : {"list", "REGISTER", "get"}) {
        const auto answer = peer->request("clientmgr", command, "x");
        EXPECT_TRUE(isRouterReply(answer.get(), MessageType::NAck, answer ? answer->seqn() : 0,
                                  command, "alpha", "\"CMD not supported\""));
    }
    // A registration with seqn 0 takes effect without an answer.
    ASSERT_TRUE(peer->send(makeMessage("beta", "clientmgr", "register", "", 0)));
    EXPECT_TRUE(peer->nothingPending());
    const auto refused = connectPeer()->sendRegister("beta");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->params(), kNameInUse);
}

} // namespace
