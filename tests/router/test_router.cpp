// What clientmgr answers and forwards for clients that keep the rules; clients that break
// them are the reliability tests' part.
#include "platform/message/stringparam_scpi.h"
#include "routertest.h"

#include <algorithm>
#include <map>

namespace {

const std::string kNameInUse = "\"Error: name in use\"";
const std::string kInvalidName = "\"Error: invalid name\"";

std::vector<std::string> tokensOf(const std::string &params)
{
    StringParam_SCPI list(params);
    std::vector<std::string> tokens;
    for (int i = 0; i < list.nbParams(); ++i)
        tokens.push_back(list.getString(i));
    return tokens;
}

} // namespace

// One "register" after another on two connections, each with the answer it must get; then
// where the names went, what a routed frame looks like, "unregister", and what the router
// answers itself by whether the sender is registered.
TEST_F(RouterTest, RegistrationAndTheRoutersOwnAnswers)
{
    const std::string longest(64, 'n');
    std::unique_ptr<RouterPeer> peers[] = {connect(), connect()};
    struct Step
    {
        int peer;
        std::string name, params;
        MessageType answer;
        std::string text;
    };
    const MessageType ack = MessageType::Ack, nack = MessageType::NAck;
    const Step steps[] = {
        {0, "alpha", "local", ack, ""},
        {0, "alpha", "", ack, ""},                         // already held by this connection
        {1, "alpha", "proxyHost,force", nack, kNameInUse}, // here "force" is a host name
        {1, "clientmgr", "force", nack, kNameInUse},
        {1, "", "force", nack, kInvalidName},
        {1, "x,y", "force", nack, kInvalidName},
        {1, std::string(65, 'n'), "force", nack, kInvalidName},
        {1, longest, "", ack, ""},
        // Takes the name from connection 0, which is closed, and gives up the longest.
        {1, "alpha", "local,force,proxyPort,3000", ack, ""},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name + " " + step.params);
        RouterPeer &peer = *peers[step.peer];
        const auto answer = peer.registerAs(step.name, step.params);
        EXPECT_EQ(answer, routerReply(step.answer, peer.seqn, "register", step.name, step.text));
    }
    EXPECT_TRUE(peers[0]->waitForClose());
    RouterPeer &alpha = *peers[1];
    auto gamma = registered("gamma");
    EXPECT_EQ(gamma->request(longest, "hello"),
              routerReply(MessageType::Error, 2, "hello", "gamma", kUnknownDestination));
    // To the forced name; the router writes the sender's name as source and changes nothing
    // else. (Order and frames that straddle its reads and writes are the router client's
    // concurrent-send test's part.)
    const std::string params("KEY,\"a \"\"quoted\"\" value\",'x'\0\xff,", 31);
    ASSERT_TRUE(gamma->writeMessage(makeMessage("ctrlpanelsvc", "alpha", "get", params, 77, nack)));
    EXPECT_EQ(alpha.receive(), makeMessage("gamma", "alpha", "get", params, 77, nack));
    // Connection 1 sent 7 frames so far.
    EXPECT_EQ(alpha.request("clientmgr", "unregister"),
              routerReply(MessageType::Ack, 8, "unregister", "alpha"));

    // alpha is unregistered now, gamma still registered. A frame that awaits no answer (seqn 0,
    // or a reply) is dropped without one.
    struct Case
    {
        RouterPeer *peer;
        const char *destination, *command;
        std::uint32_t seqn;
        MessageType type;
        std::optional<std::pair<MessageType, std::string>> answer;
    };
    const auto error = [](const std::string &text) { return std::pair(MessageType::Error, text); };
    const Case cases[] = {
        {&alpha, "gamma", "get", 17, MessageType::Command, error(kNotRegistered)},
        // "register" for another client is an ordinary command: it needs a name to be routed.
        {&alpha, "ctrlpanelsvc", "register", 17, MessageType::Command, error(kNotRegistered)},
        {&alpha, "gamma", "get", 0, MessageType::Command, std::nullopt},
        {gamma.get(), "clientmgr", "list", 19, MessageType::Command,
         std::pair(nack, std::string("\"CMD not supported\""))},
        {gamma.get(), "ghost", "get", 21, nack, std::nullopt},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.destination) + " " + c.command + " " + std::to_string(c.seqn));
        RouterPeer &peer = *c.peer;
        ASSERT_TRUE(peer.writeMessage(
            makeMessage(peer.name, c.destination, c.command, "x", c.seqn, c.type)));
        if (c.answer) {
            EXPECT_EQ(peer.receive(),
                      routerReply(c.answer->first, c.seqn, c.command, peer.name, c.answer->second));
        }
        EXPECT_TRUE(peer.pingAnsweredNext());
    }
    auto newAlpha = registered("alpha");
    const auto delta = alpha.registerAs("delta");
    EXPECT_EQ(delta, routerReply(ack, alpha.seqn, "register", "delta"));
}

TEST_F(RouterTest, FanOutAcknowledgesTheReceiversAndSendsEachACopy)
{
    std::map<std::string, std::unique_ptr<RouterPeer>> peers;
    for (const char *name : {"sender", "bravo", "alpha", "charlie"})
        peers[name] = registered(name);
    auto unregistered = connect();
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
        ASSERT_TRUE(peers["sender"]->writeMessage(request));
        if (c.seqn != 0) {
            const auto ack = peers["sender"]->receive();
            ASSERT_TRUE(ack);
            EXPECT_EQ(*ack,
                      routerReply(MessageType::Ack, c.seqn, "refresh", "sender", ack->params()));
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
            EXPECT_TRUE(peer->pingAnsweredNext()) << name;
        EXPECT_TRUE(unregistered->pingAnsweredNext());
    }
}
