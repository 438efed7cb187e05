#include "routertest.h"

#include "platform/message/stringparam_scpi.h"

namespace {

std::vector<std::string> tokensOf(const std::string &params)
{
    StringParam_SCPI list(params);
    std::vector<std::string> tokens;
    for (int i = 0; i < list.nbParams(); ++i)
        tokens.push_back(list.getString(i));
    return tokens;
}

Message fanOutRequest(const std::string &destination, std::uint32_t seqn)
{
    Message request = makeMessage("sender", destination, "refresh", "ALL,\"now\"", seqn);
    request.setFanOut(true);
    return request;
}

class FanOut : public RouterTest
{
protected:
    void SetUp() override
    {
        RouterTest::SetUp();
        for (const char *name : {"sender", "bravo", "alpha", "charlie"})
            peers[name] = registeredPeer(name);
        unregistered = connectPeer();
    }

    // Checks that each named peer got one copy of request, addressed to it, flag cleared,
    // and that nothing else waits for any peer.
    void expectCopies(const Message &request, const std::vector<std::string> &receivers)
    {
        for (const std::string &name : receivers) {
            const auto copy = peers[name]->receive();
            ASSERT_TRUE(copy) << name;
            Message expected = request;
            expected.setSource("sender");
            expected.setDestination(name);
            expected.setFanOut(false);
            EXPECT_EQ(*copy, expected) << name << " got " << copy->destination();
        }
        for (auto &entry : peers)
            EXPECT_TRUE(entry.second->nothingPending()) << entry.first;
        EXPECT_TRUE(unregistered->nothingPending());
    }

    std::map<std::string, std::unique_ptr<TestPeer>> peers;
    std::unique_ptr<TestPeer> unregistered;
};

TEST_F(FanOut, ListReachesRegisteredNamesInListOrderOnce)
{
    // "ghost" is nobody; the sender and the router never receive their own fan-out.
    const Message request = fanOutRequest("charlie,ghost,sender,alpha,clientmgr,charlie,", 31);
    ASSERT_TRUE(peers["sender"]->send(request));
    const auto ack = peers["sender"]->receive();
    ASSERT_TRUE(ack);
    EXPECT_TRUE(isRouterReply(ack.get(), MessageType::Ack, 31, "refresh", "sender", ack->params()));
    EXPECT_EQ(tokensOf(ack->params()), (std::vector<std::string>{"charlie", "alpha"}));
    expectCopies(request, {"charlie", "alpha"});

    // Receivers answer the sender directly.
    ASSERT_TRUE(peers["alpha"]->send(
        makeMessage("alpha", "sender", "refresh", "done", 31, MessageType::Ack)));
    const auto answer = peers["sender"]->receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->source(), "alpha");
    EXPECT_EQ(answer->params(), "done");
}

TEST_F(FanOut, StarReachesEveryRegisteredClientButTheSender)
{
    const Message request = fanOutRequest("*", 32);
    ASSERT_TRUE(peers["sender"]->send(request));
    const auto ack = peers["sender"]->receive();
    ASSERT_TRUE(ack);
    EXPECT_EQ(ack->type(), MessageType::Ack);
    EXPECT_EQ(tokensOf(ack->params()), (std::vector<std::string>{"alpha", "bravo", "charlie"}));
    expectCopies(request, {"alpha", "bravo", "charlie"});
}

TEST_F(FanOut, NoReceiverGivesAnEmptyAcknowledgement)
{
    const Message request = fanOutRequest("ghost,sender", 33);
    ASSERT_TRUE(peers["sender"]->send(request));
    EXPECT_TRUE(isRouterReply(peers["sender"]->receive().get(), MessageType::Ack, 33, "refresh",
                              "sender", ""));
    expectCopies(request, {});
}

TEST_F(FanOut, WithoutSeqnTheCopiesGoOutUnacknowledged)
{
    const Message request = fanOutRequest("bravo", 0);
    ASSERT_TRUE(peers["sender"]->send(request));
    expectCopies(request, {"bravo"});
}

} // namespace
