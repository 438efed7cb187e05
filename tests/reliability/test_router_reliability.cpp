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
    const std::string valid = encoded(makeMessage("offender", "bystander", "get", "KEY", 7));
    std::string badVersion = valid;
    badVersion[4] = 2;
    std::string fanOutNotification =
        encoded(makeMessage("offender", "bystander", "n", "", 0, MessageType::Notification));
    fanOutNotification[6] = frame::kFlagFanOut;
    const std::string malformed = "malformed frame";
    struct Row
    {
        std::string name, bytes;
        bool hangUp;
        std::string reason;
    };
    std::vector<Row> rows = {
        {"length over the limit", lengthField(frame::kMaxBodyLength + 1), false, malformed},
        {"length under the minimum", lengthField(frame::kMinBodyLength - 1), false, malformed},
        {"field sizes that do not add up",
         lengthField(200) + std::string{1, 1, 0, 0} + randomBytes(196, 99), false, malformed},
        {"version 2", badVersion, false, malformed},
        {"fan-out flag on a notification", fanOutNotification, false, malformed},
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

// 500 clients at once, three times over, then 500 that come and go one after another: every
// name is released, the bystander is served, and the router's memory does not grow with the
// churn.
TEST_F(RouterReliabilityTest, FiveHundredConnectionsOpeningAndClosing)
{
    constexpr int kClients = 500;
    long afterFirstRoundKiB = 0;
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<RouterPeer>> clients;
        for (int i = 0; i < kClients; ++i) {
            clients.push_back(registered("c" + std::to_string(i)));
            ASSERT_FALSE(HasFailure()) << "client " << i;
        }
        ASSERT_TRUE(bystander->pingAnsweredNext());
        clients.clear();
        // Names are released once the router has seen the hang-ups.
        for (const int i : {0, kClients / 2, kClients - 1})
            registered("c" + std::to_string(i));
        if (round == 0)
            afterFirstRoundKiB = residentKiB();
    }
    for (int i = 0; i < kClients; ++i)
        connect(); // opened and closed at once, without a word
    EXPECT_TRUE(bystander->pingAnsweredNext());
    if (kMeasureMemory) {
        EXPECT_LE(residentKiB(), afterFirstRoundKiB + kSlackKiB)
            << "first round " << afterFirstRoundKiB << " KiB, baseline " << baselineKiB;
    }
}

// Two clients that never read are flooded at once with commands. Each is dropped only once its
// queue is past the limit, and from then on its name is unknown; the bystander is served
// throughout, and the router never holds much more than the two queues.
TEST_F(RouterReliabilityTest, ClientsThatNeverReadAreDroppedAtTheQueueLimit)
{
    auto producer = registered("producer");
    const std::string names[] = {"sink1", "sink2"};
    const std::unique_ptr<RouterPeer> sinks[] = {registered(names[0], 4096),
                                                 registered(names[1], 4096)};
    const std::string params(512 * 1024, 'x');
    std::vector<int> sinkOf = {-1}; // by seqn
    std::size_t sent[2] = {0, 0};
    bool gone[2] = {false, false};
    long peakKiB = 0;
    for (std::uint32_t seqn = 1; !(gone[0] && gone[1]) && seqn < 400; ++seqn) {
        const int sink = gone[0] ? 1 : gone[1] ? 0 : int(seqn % 2);
        sinkOf.push_back(sink);
        ASSERT_TRUE(
            producer->writeMessage(makeMessage("producer", names[sink], "dump", params, seqn)));
        sent[sink] += params.size();
        ASSERT_TRUE(bystander->pingAnsweredNext()) << "after frame " << seqn;
        peakKiB = std::max(peakKiB, residentKiB());
        while (const auto refused = producer->receive(0)) {
            ASSERT_LT(refused->seqn(), sinkOf.size());
            const int refusedSink = sinkOf[refused->seqn()];
            EXPECT_EQ(refused, routerReply(MessageType::Error, refused->seqn(), "dump", "producer",
                                           kUnknownDestination));
            gone[refusedSink] = true;
        }
    }
    for (int i : {0, 1}) {
        SCOPED_TRACE(names[i]);
        EXPECT_TRUE(gone[i]);
        EXPECT_GT(sent[i], std::size_t(kQueueLimitKiB) * 1024);
        EXPECT_TRUE(logCloses(sinks[i]->port(), names[i], "outgoing queue")) << log();
        EXPECT_TRUE(sinks[i]->waitForClose());
    }
    if (kMeasureMemory) {
        EXPECT_LE(peakKiB, baselineKiB + 2 * kQueueLimitKiB + kReadBudgetKiB + kSlackKiB)
            << "baseline " << baselineKiB << " KiB";
    }
    registered("sink1");
}
