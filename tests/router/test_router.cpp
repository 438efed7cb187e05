// The real clientmgr, each test on its own kernel-chosen port, spoken to over raw TCP so that
// the tests can write anything: a false source, broken frames, a client that stops reading.
#include "platform/message/frame.h"
#include "platform/message/stringparam_scpi.h"
#include "support/loopbackpeer.h"
#include "support/routerprocess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>

void PrintTo(const Message &m, std::ostream *out)
{
    *out << "type " << static_cast<int>(m.type()) << " seqn " << m.seqn() << " " << m.source()
         << " -> " << m.destination() << (m.isFanOut() ? " (fan-out) " : " ") << m.command() << " ["
         << m.params().substr(0, 80) << "]";
}

namespace {

const std::string kNameInUse = "\"Error: name in use\"";
const std::string kNotRegistered = "\"Error: not registered\"";
const std::string kUnknownDestination = "\"Error: unknown destination\"";
constexpr std::size_t kQueueLimit = 8 * 1024 * 1024;

// An answer the router makes itself.
Message reply(MessageType type, std::uint32_t seqn, const std::string &command,
              const std::string &to, const std::string &params = {})
{
    return makeMessage("clientmgr", to, command, params, seqn, type);
}

// A router client on a raw socket that writes its own name as source and counts its seqns.
class Peer : public LoopbackPeer
{
public:
    using LoopbackPeer::LoopbackPeer;

    std::optional<Message> receive(int timeoutMs = kTimeoutMs)
    {
        Message message;
        return readFrame(message, timeoutMs) ? std::optional<Message>(message) : std::nullopt;
    }
    // Sends a command with the next seqn and returns the next frame that arrives.
    std::optional<Message> request(const std::string &destination, const std::string &command,
                                   const std::string &params = {})
    {
        return writeMessage(makeMessage(name, destination, command, params, ++seqn)) ? receive()
                                                                                     : std::nullopt;
    }
    std::optional<Message> registerAs(const std::string &newName, const std::string &params = {})
    {
        const Message registration = makeMessage(newName, "clientmgr", "register", params, ++seqn);
        auto answer = writeMessage(registration) ? receive() : std::nullopt;
        if (answer && answer->type() == MessageType::Ack)
            name = newName;
        return answer;
    }
    // True when nothing else waits: a round trip to the router is answered by the next frame.
    bool nothingPending()
    {
        const auto answer = request("clientmgr", "ping");
        return answer && answer->command() == "ping" && answer->seqn() == seqn;
    }

    std::string name = "anonymous";
    std::uint32_t seqn = 0;
};

class RouterTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(router.start()); }
    // Every test ends with a clean SIGTERM shutdown; a sanitizer report changes the status.
    void TearDown() override { EXPECT_EQ(router.stop(), 0) << log(); }

    std::unique_ptr<Peer> connect(int receiveBuffer = 0)
    {
        auto peer = std::make_unique<Peer>(router.port(), receiveBuffer);
        EXPECT_TRUE(peer->isConnected());
        return peer;
    }
    std::unique_ptr<Peer> registered(const std::string &name, int receiveBuffer = 0)
    {
        auto peer = connect(receiveBuffer);
        EXPECT_EQ(peer->registerAs(name), reply(MessageType::Ack, 1, "register", name));
        return peer;
    }
    bool logShows(const std::string &text)
    {
        return router.waitForStandardError(QString::fromStdString(text), LoopbackPeer::kTimeoutMs);
    }
    std::string log() const { return router.standardError().toStdString(); }

    RouterProcess router;
};

std::vector<std::string> tokensOf(const std::string &params)
{
    StringParam_SCPI list(params);
    std::vector<std::string> tokens;
    for (int i = 0; i < list.nbParams(); ++i)
        tokens.push_back(list.getString(i));
    return tokens;
}

} // namespace

TEST_F(RouterTest, NameInUseIsRefusedUnlessForcedWhichClosesTheHolder)
{
    auto holder = connect();
    EXPECT_EQ(holder->registerAs("alpha", "local"),
              reply(MessageType::Ack, 1, "register", "alpha"));
    EXPECT_EQ(holder->registerAs("alpha"), reply(MessageType::Ack, 2, "register", "alpha"));

    auto other = connect();
    EXPECT_EQ(other->registerAs("alpha", "remote"),
              reply(MessageType::NAck, 1, "register", "alpha", kNameInUse));
    // "force" as the value of proxyHost is a host name, not the option.
    EXPECT_EQ(other->registerAs("alpha", "proxyHost,force"),
              reply(MessageType::NAck, 2, "register", "alpha", kNameInUse));
    EXPECT_EQ(other->registerAs("alpha", "local,force,proxyPort,3000"),
              reply(MessageType::Ack, 3, "register", "alpha"));
    EXPECT_TRUE(holder->waitForClose());

    auto gamma = registered("gamma");
    ASSERT_TRUE(gamma->writeMessage(makeMessage("gamma", "alpha", "hello")));
    EXPECT_EQ(other->receive(), makeMessage("gamma", "alpha", "hello"));
}

TEST_F(RouterTest, InvalidNamesAreRefused)
{
    auto peer = connect();
    std::uint32_t seqn = 0;
    for (const std::string &name :
         {std::string(), std::string("two words"), std::string("a*"), std::string("x,y"),
          std::string("caf\xc3\xa9"), std::string(65, 'n'), std::string("nu\0l", 4)}) {
        EXPECT_EQ(peer->registerAs(name, "force"),
                  reply(MessageType::NAck, ++seqn, "register", name, "\"Error: invalid name\""));
    }
    EXPECT_EQ(peer->registerAs("clientmgr", "force"),
              reply(MessageType::NAck, 8, "register", "clientmgr", kNameInUse));
    const std::string longest(64, 'n');
    EXPECT_EQ(peer->registerAs(longest), reply(MessageType::Ack, 9, "register", longest));
}

TEST_F(RouterTest, ANewNameReplacesTheOldAndUnregisterReleasesIt)
{
    auto peer = registered("alpha");
    EXPECT_EQ(peer->registerAs("beta"), reply(MessageType::Ack, 2, "register", "beta"));
    auto gamma = registered("gamma");
    EXPECT_EQ(gamma->request("alpha", "hello"),
              reply(MessageType::Error, 2, "hello", "gamma", kUnknownDestination));
    ASSERT_TRUE(gamma->writeMessage(makeMessage("gamma", "beta", "hello")));
    EXPECT_EQ(peer->receive(), makeMessage("gamma", "beta", "hello"));
    registered("alpha");

    EXPECT_EQ(peer->request("clientmgr", "unregister"),
              reply(MessageType::Ack, 3, "unregister", "beta"));
    EXPECT_EQ(peer->request("gamma", "hello"),
              reply(MessageType::Error, 4, "hello", "beta", kNotRegistered));
    registered("beta");
    EXPECT_EQ(peer->registerAs("delta"), reply(MessageType::Ack, 5, "register", "delta"));
}

// What the router answers itself, by whether the sender is registered. A frame that awaits no
// answer is dropped without one.
TEST_F(RouterTest, AnswersOfTheRouterItself)
{
    struct Case
    {
        bool registered;
        const char *destination, *command;
        std::uint32_t seqn;
        MessageType type;
        std::optional<std::pair<MessageType, std::string>> answer;
    };
    const auto error = [](const std::string &text) { return std::pair(MessageType::Error, text); };
    const Case cases[] = {
        // "register" for another client is an ordinary command: it needs a name to be routed.
        {false, "ctrlpanelsvc", "register", 17, MessageType::Command, error(kNotRegistered)},
        {false, "ctrlpanelsvc", "get", 17, MessageType::Command, error(kNotRegistered)},
        {false, "clientmgr", "unregister", 17, MessageType::Command, error(kNotRegistered)},
        {false, "ctrlpanelsvc", "get", 0, MessageType::Command, std::nullopt},
        {false, "ctrlpanelsvc", "notify", 0, MessageType::Notification, std::nullopt},
        {false, "ctrlpanelsvc", "get", 18, MessageType::Ack, std::nullopt},
        {true, "clientmgr", "list", 19, MessageType::Command,
         std::pair(MessageType::NAck, std::string("\"CMD not supported\""))},
        {true, "ghost", "get", 20, MessageType::Command, error(kUnknownDestination)},
        {true, "ghost", "get", 0, MessageType::Command, std::nullopt},
        {true, "ghost", "notify", 0, MessageType::Notification, std::nullopt},
        {true, "ghost", "get", 21, MessageType::NAck, std::nullopt},
    };
    auto unregistered = connect();
    auto alpha = registered("alpha");
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.destination) + " " + c.command + " " + std::to_string(c.seqn));
        Peer &peer = c.registered ? *alpha : *unregistered;
        ASSERT_TRUE(peer.writeMessage(
            makeMessage(peer.name, c.destination, c.command, "x", c.seqn, c.type)));
        if (c.answer) {
            EXPECT_EQ(peer.receive(),
                      reply(c.answer->first, c.seqn, c.command, peer.name, c.answer->second));
        }
        EXPECT_TRUE(peer.nothingPending());
    }
}

TEST_F(RouterTest, SourceIsStampedAndEverythingElseArrivesUnchangedInOrder)
{
    auto alpha = registered("alpha");
    auto beta = registered("beta");
    const std::string params("KEY,\"a \"\"quoted\"\" value\",'x'\0\xff,", 31);
    for (const MessageType type : {MessageType::Command, MessageType::Ack, MessageType::NAck,
                                   MessageType::Notification, MessageType::Error}) {
        ASSERT_TRUE(
            alpha->writeMessage(makeMessage("ctrlpanelsvc", "beta", "get", params, 77, type)));
        EXPECT_EQ(beta->receive(), makeMessage("alpha", "beta", "get", params, 77, type));
    }

    // Sizes vary so that frames straddle the router's reads and writes; all of them together
    // stay below the queue limit, so they can be written before any is read.
    constexpr int kCount = 1000;
    std::string bytes;
    for (int i = 0; i < kCount; ++i) {
        const std::string padding(static_cast<std::size_t>(i * 37 % 5000), '.');
        ASSERT_TRUE(frame::encode(
            makeMessage("alpha", "beta", "n", std::to_string(i) + ":" + padding), bytes));
    }
    ASSERT_TRUE(alpha->write(bytes));
    for (int i = 0; i < kCount; ++i) {
        const auto message = beta->receive();
        ASSERT_TRUE(message) << "frame " << i;
        ASSERT_EQ(message->params().substr(0, message->params().find(':')), std::to_string(i));
    }
}

TEST_F(RouterTest, FanOutAcknowledgesTheReceiversAndSendsEachACopy)
{
    std::map<std::string, std::unique_ptr<Peer>> peers;
    for (const char *name : {"sender", "bravo", "alpha", "charlie"})
        peers[name] = registered(name);
    auto unregistered = connect();
    Peer &sender = *peers["sender"];

    struct Case
    {
        std::string destination;
        std::uint32_t seqn;
        std::vector<std::string> receivers; // for "*" in any order
    };
    const Case cases[] = {
        // No duplicates, never the sender, the router or a name nobody holds.
        {"charlie,ghost,sender,alpha,clientmgr,charlie,", 31, {"charlie", "alpha"}},
        {"*", 32, {"alpha", "bravo", "charlie"}},
        {"ghost,sender", 33, {}},
        {"bravo", 0, {"bravo"}}, // awaits no answer: the copies go out without an ACK
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.destination);
        Message request = makeMessage("sender", c.destination, "refresh", "ALL,\"now\"", c.seqn);
        request.setFanOut(true);
        ASSERT_TRUE(sender.writeMessage(request));
        if (c.seqn != 0) {
            const auto ack = sender.receive();
            ASSERT_TRUE(ack);
            EXPECT_EQ(*ack, reply(MessageType::Ack, c.seqn, "refresh", "sender", ack->params()));
            auto tokens = tokensOf(ack->params());
            if (c.destination == "*")
                std::sort(tokens.begin(), tokens.end());
            EXPECT_EQ(tokens, c.receivers);
        }
        for (const std::string &name : c.receivers) {
            request.setDestination(name);
            request.setFanOut(false);
            EXPECT_EQ(peers[name]->receive(), request) << name;
        }
        for (auto &[name, peer] : peers)
            EXPECT_TRUE(peer->nothingPending()) << name;
        EXPECT_TRUE(unregistered->nothingPending());
    }
}

// Floods "sink", which never reads, through "producer" until the router drops it; "observer"
// makes a round trip after every frame to show that the router keeps serving the others.
TEST_F(RouterTest, ClientThatStopsReadingIsDroppedAtTheQueueLimit)
{
    auto sink = registered("sink", 4096);
    auto producer = registered("producer");
    auto observer = registered("observer");

    const std::string params(512 * 1024, 'x');
    std::size_t sent = 0;
    std::optional<Message> refused;
    while (!refused && sent < 12 * kQueueLimit) {
        ASSERT_TRUE(producer->writeMessage(makeMessage("producer", "sink", "dump", params, 1)));
        sent += params.size();
        ASSERT_TRUE(observer->nothingPending()) << "after " << sent << " bytes";
        // The first "unknown destination" tells that the sink is gone.
        refused = producer->receive(0);
    }
    EXPECT_EQ(refused, reply(MessageType::Error, 1, "dump", "producer", kUnknownDestination));
    EXPECT_GT(sent, kQueueLimit);
    EXPECT_TRUE(
        logShows("closing 127.0.0.1:" + std::to_string(sink->port()) + " (sink): outgoing queue"))
        << log();
    EXPECT_TRUE(sink->waitForClose());
    registered("sink");
    EXPECT_TRUE(observer->nothingPending());
}

TEST_F(RouterTest, MalformedFrameClosesTheConnectionAndReleasesItsName)
{
    std::string badVersion, fanOutNotification;
    frame::encode(makeMessage("alpha", "bystander", "get", "KEY", 5), badVersion);
    badVersion[4] = 2;
    frame::encode(makeMessage("alpha", "bystander", "n", "", 0, MessageType::Notification),
                  fanOutNotification);
    fanOutNotification[6] = frame::kFlagFanOut;

    auto bystander = registered("bystander");
    for (const std::string &bytes : {badVersion, fanOutNotification}) {
        auto alpha = registered("alpha");
        ASSERT_TRUE(alpha->write(bytes));
        EXPECT_TRUE(alpha->waitForClose());
        EXPECT_TRUE(
            logShows("closing 127.0.0.1:" + std::to_string(alpha->port()) + " (alpha): malformed"))
            << log();
        EXPECT_TRUE(bystander->nothingPending());
    }
    registered("alpha");
}

TEST_F(RouterTest, SigtermExitsCleanlyAndClosesEveryConnection)
{
    auto alpha = registered("alpha");
    auto idle = connect();
    EXPECT_EQ(router.stop(), 0) << log();
    EXPECT_TRUE(alpha->waitForClose());
    EXPECT_TRUE(idle->waitForClose());
}
