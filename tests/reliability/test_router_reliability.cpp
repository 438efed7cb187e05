// clientmgr against clients that misbehave: garbage, broken and truncated frames, hundreds of
// connections coming and going, clients that never read. Whatever they do, the router stays up,
// serves a well-behaved bystander, keeps its memory bounded and names each offender in its log.
#include "platform/message/frame.h"
#include "router/routertest.h"
#include "support/procstatus.h"

#include <random>

namespace {

constexpr long kQueueLimitKiB = 8 * 1024; // the router's per-client queue limit
constexpr long kReadBudgetKiB = 1024;     // what one connection may have buffered in
constexpr long kSlackKiB = 4 * 1024;      // allocator and kernel noise
#ifdef GLYPHD_SANITIZED
constexpr bool kMeasureMemory = false; // the sanitizers' quarantine keeps freed memory
#else
constexpr bool kMeasureMemory = true;
#endif

std::string encoded(const Message &message)
{
    std::string bytes;
    frame::encode(message, bytes);
    return bytes;
}

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

// Each row is one offender registered as "offender": what it writes, whether it then hangs
// up, and the reason the log must give with its address and name.
TEST_F(RouterReliabilityTest, OffendersAreClosedAndNamedWhileOthersAreServed)
{
    // Each rule of the frame format is the decoder's tests' part; here one frame that breaks it
    // and random bytes show what the router does with whatever breaks it.
    const std::string valid = encoded(makeMessage("offender", "bystander", "get", "KEY", 7));
    const std::string malformed = "malformed frame";
    struct Row
    {
        std::string name, bytes;
        bool hangUp;
        std::string reason;
    };
    std::vector<Row> rows = {
        {"length over the limit", lengthField(frame::kMaxBodyLength + 1), false, malformed},
        {"truncated frame, then hang-up", valid.substr(0, valid.size() / 2), true,
         "peer closed the connection in the middle of a frame"},
    };
    for (unsigned stream = 1; stream <= 16; ++stream) {
        rows.push_back({"random bytes, stream " + std::to_string(stream),
                        randomBytes(1 + stream * 997, stream), false, malformed});
    }
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        auto offender = registered("offender");
        ASSERT_TRUE(offender->write(row.bytes));
        if (row.hangUp)
            offender->closeConnection();
        else
            EXPECT_TRUE(offender->waitForClose());
        EXPECT_TRUE(logCloses(offender->port(), "offender", row.reason)) << log();
        EXPECT_TRUE(bystander->pingAnsweredNext());
        registered("offender"); // the name went with the connection
    }
}

// 500 clients registered at once, twice over, then 500 that open and close without a word:
// every name is released, the bystander is served, and the router's memory does not grow with
// the churn.
TEST_F(RouterReliabilityTest, FiveHundredConnectionsOpeningAndClosing)
{
    long afterFirstRoundKiB = 0;
    for (int round = 0; round < 2; ++round) {
        std::vector<std::unique_ptr<RouterPeer>> clients;
        for (int i = 0; i < 500 && !HasFailure(); ++i)
            clients.push_back(registered("c" + std::to_string(i)));
        ASSERT_TRUE(bystander->pingAnsweredNext());
        afterFirstRoundKiB = afterFirstRoundKiB ? afterFirstRoundKiB : residentKiB();
    }
    for (int i = 0; i < 500; ++i)
        connect();
    registered("c0");
    if (kMeasureMemory) {
        EXPECT_LE(residentKiB(), afterFirstRoundKiB + kSlackKiB)
            << "first round " << afterFirstRoundKiB << " KiB, baseline " << baselineKiB;
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
    EXPECT_TRUE(sink->waitForClose());
    if (kMeasureMemory) {
        EXPECT_LE(peakKiB, baselineKiB + kQueueLimitKiB + kReadBudgetKiB + kSlackKiB)
            << "baseline " << baselineKiB << " KiB";
    }
    registered("sink");
}
