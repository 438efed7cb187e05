// clientmgr against clients that misbehave: garbage, broken and truncated frames, a client
// killed in the middle of a frame, hundreds of connections coming and going, clients that
// never read. Whatever they do, the router stays up, serves a well-behaved bystander, keeps
// its memory bounded and names each offender in its log.
#include "platform/message/frame.h"
#include "support/loopbackpeer.h"
#include "support/routerprocess.h"

#include <gtest/gtest.h>

#include <QFile>

#include <csignal>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr long kMiB = 1024;               // in KiB, the unit of VmRSS
constexpr long kQueueLimitKiB = 8 * kMiB; // the router's per-client queue limit
constexpr long kReadBudgetKiB = 1 * kMiB; // what one connection may have buffered in
constexpr long kSlackKiB = 4 * kMiB;      // allocator and kernel noise
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
    return {static_cast<char>(length >> 24), static_cast<char>(length >> 16),
            static_cast<char>(length >> 8), static_cast<char>(length)};
}

// A router client on a raw socket.
class Peer : public LoopbackPeer
{
public:
    using LoopbackPeer::LoopbackPeer;

    // Sends a command and returns whether the next frame is its answer (the router's own
    // answers come in order, so this also shows that nothing else was waiting).
    bool roundTrip(const std::string &destination, const std::string &command,
                   const std::string &params = {}, MessageType expected = MessageType::Ack)
    {
        const std::uint32_t seqn = ++m_seqn;
        Message answer;
        return writeMessage(makeMessage(m_name, destination, command, params, seqn)) &&
               readFrame(answer) && answer.seqn() == seqn && answer.command() == command &&
               answer.type() == expected;
    }
    bool registerAs(const std::string &name)
    {
        m_name = name;
        return roundTrip("clientmgr", "register", "local");
    }
    bool isServed() { return roundTrip("clientmgr", "ping", {}, MessageType::NAck); }

private:
    std::string m_name = "anonymous";
    std::uint32_t m_seqn = 0;
};

class RouterReliabilityTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(router.start());
        bystander = connect();
        ASSERT_TRUE(bystander->registerAs("bystander"));
        baselineKiB = residentKiB();
    }
    // A clean SIGTERM exit after everything: the router never crashed.
    void TearDown() override { EXPECT_EQ(router.stop(), 0) << log(); }

    std::unique_ptr<Peer> connect(int receiveBuffer = 0)
    {
        auto peer = std::make_unique<Peer>(router.port(), receiveBuffer);
        EXPECT_TRUE(peer->isConnected());
        return peer;
    }
    bool logNames(int port, const std::string &what)
    {
        return router.waitForStandardError(
            QString::fromStdString("closing 127.0.0.1:" + std::to_string(port) + what),
            LoopbackPeer::kTimeoutMs);
    }
    std::string log() const { return router.standardError().toStdString(); }

    long residentKiB() const
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(router.processId()));
        if (!status.open(QIODevice::ReadOnly))
            return -1;
        for (QByteArray line; !(line = status.readLine()).isEmpty();) {
            if (line.startsWith("VmRSS:"))
                return line.mid(6).trimmed().split(' ').value(0).toLong();
        }
        return -1;
    }

    RouterProcess router;
    std::unique_ptr<Peer> bystander;
    long baselineKiB = 0;
};

// Forks a client that connects, writes bytes and waits to be killed. Returns its local port
// and pid through the out parameters.
bool startDoomedClient(int routerPort, const std::string &bytes, int &port, pid_t &pid)
{
    int channel[2];
    if (pipe(channel) != 0)
        return false;
    pid = fork();
    if (pid == 0) {
        Peer doomed(routerPort);
        const int localPort =
            doomed.registerAs("doomed") && doomed.write(bytes) ? doomed.port() : 0;
        [[maybe_unused]] const auto written = ::write(channel[1], &localPort, sizeof localPort);
        for (;;)
            pause();
    }
    close(channel[1]);
    const bool told = pid > 0 && read(channel[0], &port, sizeof port) == sizeof port && port > 0;
    close(channel[0]);
    return told;
}

} // namespace

// Each row is one offender registered as "offender": what it writes, whether it then hangs
// up, and the reason the log must give with its address and name.
TEST_F(RouterReliabilityTest, OffendersAreClosedAndNamedWhileOthersAreServed)
{
    const std::string valid = encoded(makeMessage("offender", "bystander", "get", "KEY", 7));
    std::string badSizes = lengthField(200) + std::string{1, 1, 0, 0} + randomBytes(196, 99);
    struct Row
    {
        std::string name;
        std::string bytes;
        bool hangUp;
        std::string reason;
    };
    std::vector<Row> rows = {
        {"length over the limit", lengthField(frame::kMaxBodyLength + 1), false,
         " (offender): malformed frame"},
        {"length under the minimum", lengthField(frame::kMinBodyLength - 1), false,
         " (offender): malformed frame"},
        {"field sizes that do not add up", badSizes, false, " (offender): malformed frame"},
        {"truncated frame, then hang-up", valid.substr(0, valid.size() / 2), true,
         " (offender): peer closed the connection in the middle of a frame"},
    };
    for (unsigned stream = 1; stream <= 16; ++stream) {
        rows.push_back({"random bytes, stream " + std::to_string(stream),
                        randomBytes(1 + stream * 997, stream), false,
                        " (offender): malformed frame"});
    }

    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        auto offender = connect();
        ASSERT_TRUE(offender->registerAs("offender"));
        ASSERT_TRUE(offender->write(row.bytes));
        if (row.hangUp)
            offender->closeConnection();
        else
            EXPECT_TRUE(offender->waitForClose());
        EXPECT_TRUE(logNames(offender->port(), row.reason)) << log();
        EXPECT_TRUE(bystander->isServed());
        // The name was released with the connection.
        EXPECT_TRUE(connect()->registerAs("offender"));
    }
}

TEST_F(RouterReliabilityTest, ClientKilledInTheMiddleOfAFrame)
{
    const std::string valid = encoded(makeMessage("doomed", "bystander", "get", "KEY", 3));
    int port = 0;
    pid_t pid = -1;
    ASSERT_TRUE(startDoomedClient(router.port(), valid.substr(0, 11), port, pid));
    ASSERT_TRUE(bystander->isServed()); // the half frame has reached the router
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    EXPECT_TRUE(logNames(port, " (doomed): peer closed the connection in the middle of a frame"))
        << log();
    EXPECT_TRUE(bystander->isServed());
    EXPECT_TRUE(connect()->registerAs("doomed"));
}

// A sender that trickles its frame in byte by byte holds up nobody, and the frame arrives.
TEST_F(RouterReliabilityTest, FrameTrickledByteByByteArrivesWhole)
{
    auto slow = connect();
    ASSERT_TRUE(slow->registerAs("slow"));
    const std::string bytes = encoded(
        makeMessage("slow", "bystander", "note", "VNC_USERS,2", 0, MessageType::Notification));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        ASSERT_TRUE(slow->write(bytes.substr(i, 1)));
        if (i % 8 == 0) {
            ASSERT_TRUE(bystander->isServed()) << "after byte " << i;
        }
    }
    Message arrived;
    ASSERT_TRUE(bystander->readFrame(arrived));
    EXPECT_EQ(arrived.source(), "slow");
    EXPECT_EQ(arrived.params(), "VNC_USERS,2");
}

// 500 clients at once, three times over, then 500 that come and go one after another: every
// name is released, the bystander is served, and the router's memory does not grow with the
// churn.
TEST_F(RouterReliabilityTest, FiveHundredConnectionsOpeningAndClosing)
{
    constexpr int kClients = 500;
    long afterFirstRoundKiB = 0;
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<Peer>> clients;
        for (int i = 0; i < kClients; ++i) {
            clients.push_back(connect());
            ASSERT_TRUE(clients.back()->registerAs("c" + std::to_string(i))) << i;
        }
        ASSERT_TRUE(bystander->isServed());
        clients.clear();
        // Names are released once the router has seen the hang-ups.
        for (const int i : {0, kClients / 2, kClients - 1})
            EXPECT_TRUE(connect()->registerAs("c" + std::to_string(i))) << i;
        if (round == 0)
            afterFirstRoundKiB = residentKiB();
    }
    for (int i = 0; i < kClients; ++i)
        connect(); // opened and closed at once, without a word
    EXPECT_TRUE(bystander->isServed());
    if (kMeasureMemory) {
        EXPECT_LE(residentKiB(), afterFirstRoundKiB + kSlackKiB)
            << "first round " << afterFirstRoundKiB << " KiB, baseline " << baselineKiB;
    }
}

// Two clients that never read are flooded at once; each is dropped at its queue limit, the
// bystander is served throughout, and the router never holds much more than the two queues.
TEST_F(RouterReliabilityTest, ClientsThatNeverReadCostAtMostTheirQueues)
{
    auto producer = connect();
    ASSERT_TRUE(producer->registerAs("producer"));
    const std::vector<std::string> names = {"sink1", "sink2"};
    std::vector<std::unique_ptr<Peer>> sinks;
    for (const std::string &name : names) {
        sinks.push_back(connect(4096));
        ASSERT_TRUE(sinks.back()->registerAs(name));
    }

    long peakKiB = 0;
    // Notifications to a vanished name are dropped silently, so the flood runs a fixed
    // length: three times what both queues can hold.
    for (int i = 0; i < 3 * 2 * 16; ++i) {
        ASSERT_TRUE(producer->writeMessage(makeMessage("producer", names[i % 2], "dump",
                                                       std::string(512 * 1024, 'x'), 0,
                                                       MessageType::Notification)));
        ASSERT_TRUE(bystander->isServed()) << "after frame " << i;
        peakKiB = std::max(peakKiB, residentKiB());
    }
    for (std::size_t i = 0; i < sinks.size(); ++i) {
        EXPECT_TRUE(logNames(sinks[i]->port(), " (" + names[i] + "): outgoing queue")) << log();
        EXPECT_TRUE(sinks[i]->waitForClose());
    }
    if (kMeasureMemory) {
        EXPECT_LE(peakKiB, baselineKiB + 2 * kQueueLimitKiB + kReadBudgetKiB + kSlackKiB)
            << "baseline " << baselineKiB << " KiB";
    }
    EXPECT_TRUE(connect()->registerAs("sink1"));
}
