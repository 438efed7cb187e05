// clientmgr against clients that misbehave: random bytes, a frame over the length limit, a
// truncated one, 500 connections coming and going, a client that never reads. Whatever they do, the
// router stays up, serves a well-behaved bystander, keeps its memory bounded and names each
// offender in its log.
#include "platform/message/frame.h"
#include "router/routertest.h"
#include "support/procstatus.h"

#include <random>

namespace {

constexpr long kQueueLimitKiB = 8 * 1024; // the router's per-client queue limit
constexpr long kReadBudgetKiB = 1024;     // what one connection may have buffered in
constexpr long kSlackKiB = 4 * 1024;      // allocator and kernel noise
// The sanitizers' quarantine keeps freed memory.
constexpr bool kMeasureMemory = !GLYPHD_SANITIZED;

std::string randomBytes(std::size_t size, unsigned stream)
{
    std::mt19937 generator(stream);
    std::string bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(generator() & 0xff);
    return bytes;
}

std::string lengthField(std::uint32_t length)
{
    return {char(length >> 24), char(length >> 16), char(length >> 8), char(length)};
}

class RouterReliabilityTest : public RouterTest
{
protected:
    void SetUp() override
    {
        RouterTest::SetUp();
        if (!HasFatalFailure()) {
            bystander = registered("bystander");
            baselineKiB = residentKiB();
        }
    }

    long residentKiB() const { return procStatusField(router.processId(), "VmRSS"); }

    std::unique_ptr<RouterPeer> bystander;
    long baselineKiB = 0;
};

} // namespace

// Each offender registers as "offender" and writes its bytes: the router closes the connection,
// logs the reason with the offender's address and name, and the name is free again.
TEST_F(RouterReliabilityTest, OffendersAreClosedAndNamedWhileOthersAreServed)
{
    // The rules of the frame format are the decoder's tests' part (and its fuzzer's); here a
    // length over the limit and random bytes show what the router does with a frame that breaks
    // them, and half a frame and a hang-up what a client killed in the middle of a frame does.
    std::string valid;
    frame::encode(makeMessage("offender", "bystander", "get", "KEY", 7), valid);
    const std::string truncated = valid.substr(0, valid.size() / 2);
    std::vector<std::string> offences = {lengthField(frame::kMaxBodyLength + 1), truncated};
    for (unsigned stream = 1; stream <= 8; ++stream)
        offences.push_back(randomBytes(1 + stream * 997, stream));
    for (std::size_t i = 0; i < offences.size(); ++i) {
        SCOPED_TRACE("offence " + std::to_string(i));
        const bool hangUp = offences[i] == truncated;
        auto offender = registered("offender");
        ASSERT_TRUE(offender->write(offences[i]));
        if (hangUp)
            offender->closeConnection();
        else
            EXPECT_TRUE(offender->waitForClose());
        EXPECT_TRUE(logCloses(offender->port(), "offender",
                              hangUp ? "peer closed the connection in the middle of a frame"
                                     : "malformed frame"))
            << log();
        EXPECT_TRUE(bystander->pingAnsweredNext());
        registered("offender"); // the name went with the connection
    }
}

// 500 clients at once, twice, then 500 that open and close without a word: every name is
// released, the bystander is served, and the router's memory does not grow with the churn.
TEST_F(RouterReliabilityTest, FiveHundredConnectionsOpeningAndClosing)
{
    constexpr int kClients = 500;
    long afterFirstRoundKiB = 0;
    for (int round = 0; round < 2; ++round) {
        std::vector<std::unique_ptr<RouterPeer>> clients;
        for (int i = 0; i < kClients; ++i) {
            clients.push_back(registered("c" + std::to_string(i)));
            ASSERT_FALSE(HasFailure()) << "client " << i;
        }
        ASSERT_TRUE(bystander->pingAnsweredNext());
        clients.clear();
        for (const int i : {0, kClients - 1})
            registered("c" + std::to_string(i)); // released once the router saw the hang-up
        if (round == 0)
            afterFirstRoundKiB = residentKiB();
    }
    for (int i = 0; i < kClients; ++i)
        connect();
    EXPECT_TRUE(bystander->pingAnsweredNext());
    if (kMeasureMemory) {
        EXPECT_LE(residentKiB(), afterFirstRoundKiB + kSlackKiB) << "baseline " << baselineKiB;
    }
}

// A client that never reads is flooded with commands. It is dropped only once its queue is past
// the limit, and from then on its name is unknown; the bystander is served throughout, and the
// router never holds much more than that queue.
TEST_F(RouterReliabilityTest, AClientThatNeverReadsIsDroppedAtTheQueueLimit)
{
    auto producer = registered("producer");
    const auto sink = registered("sink", 4096);
    const std::string params(512 * 1024, 'x');
    std::size_t sent = 0;
    long peakKiB = 0;
    std::optional<Message> refused;
    for (std::uint32_t seqn = 1; !refused && seqn < 200; ++seqn) {
        ASSERT_TRUE(producer->writeMessage(makeMessage("producer", "sink", "dump", params, seqn)));
        sent += params.size();
        ASSERT_TRUE(bystander->pingAnsweredNext()) << "after frame " << seqn;
        peakKiB = std::max(peakKiB, residentKiB());
        refused = producer->receive(0);
    }
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused, routerReply(MessageType::Error, refused->seqn(), "dump", "producer",
                                   kUnknownDestination));
    EXPECT_GT(sent, std::size_t(kQueueLimitKiB) * 1024);
    EXPECT_TRUE(logCloses(sink->port(), "sink", "outgoing queue")) << log();
    if (kMeasureMemory) {
        EXPECT_LE(peakKiB, baselineKiB + kQueueLimitKiB + kReadBudgetKiB + kSlackKiB)
            << "baseline " << baselineKiB << " KiB";
    }
}
