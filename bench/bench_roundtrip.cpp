// One synchronous "get" answered by the control panel, three ways over the same process
// boundaries (requester -> intermediary -> answering peer -> back):
//   Clientmgr: the daemon's own client (receive thread, sendAndWait) through clientmgr;
//   Floor:     the same frames over a bare byte relay, a receive thread and a semaphore;
//   DBus:      a blocking QtDBus method call through a private dbus-daemon.
#include "benchframes.h"
#include "benchprocess.h"
#include "framesocket.h"
#include "latencyrecorder.h"
#include "libclient/messagehandlerclient.h"
#include "support/routerprocess.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QMutex>

#include <memory>
#include <thread>

#include <semaphore.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kTimeoutMs = 1000;
constexpr int kWarmUp = 200;

// Warms the path up, then times each round trip on its own; a failed one ends the run with
// the reason.
template<class RoundTrip>
void timeRoundTrips(benchmark::State &state, RoundTrip roundTrip, const char *failure)
{
    for (int i = 0; i < kWarmUp; ++i)
        roundTrip();
    LatencyRecorder latency;
    for (auto _ : state) {
        const auto start = LatencyRecorder::Clock::now();
        if (!roundTrip()) {
            state.SkipWithError(failure);
            break;
        }
        latency.add(start);
    }
    latency.report(state);
}

void BM_RoundTrip_Clientmgr(benchmark::State &state)
{
    RouterProcess router;
    BenchProcess answerer(QStringLiteral("bench_peer"));
    if (!router.start() || !answerer.start({"answer", QString::number(router.port())})) {
        state.SkipWithError("router or answering peer did not start");
        return;
    }
    MessageHandlerClientTemplate<CThreadWrapper, QMutex> client(benchframes::kRequester);
    if (!client.connect("127.0.0.1", router.port(), "bench", 1, false, std::string(), 0)) {
        state.SkipWithError("no connection to clientmgr");
        return;
    }
    const auto roundTrip = [&client] {
        std::unique_ptr<Message> request(Message::createMessage("get", benchframes::kKey));
        std::unique_ptr<Message> reply(
            client.sendAndWait(benchframes::kAnswerer, request.get(), kTimeoutMs));
        return reply->type() == MessageType::Ack;
    };
    timeRoundTrips(state, roundTrip, "a request was not answered");
    client.disconnect();
}

// What any request/reply over a router costs at least: the same bytes through a relay that
// never parses them, read by a receive thread that wakes the waiting caller with a semaphore.
class FloorRequester
{
public:
    explicit FloorRequester(int fd)
        : m_fd(fd)
    {
        sem_init(&m_replied, 0, 0);
        m_receiver = std::thread([this] {
            for (std::string frame; framesocket::readFrame(m_fd, frame);)
                sem_post(&m_replied);
            sem_post(&m_replied);
        });
    }
    ~FloorRequester()
    {
        shutdown(m_fd, SHUT_RDWR);
        m_receiver.join();
        close(m_fd);
        sem_destroy(&m_replied);
    }
    bool roundTrip(const std::string &request)
    {
        return framesocket::writeAll(m_fd, request) && sem_wait(&m_replied) == 0;
    }

private:
    int m_fd;
    sem_t m_replied;
    std::thread m_receiver;
};

void BM_RoundTrip_Floor(benchmark::State &state)
{
    BenchProcess relay(QStringLiteral("bench_peer"));
    if (!relay.start({"relay"})) {
        state.SkipWithError("relay did not start");
        return;
    }
    const int port = relay.readyDetail().toInt();
    const int fd = framesocket::connectTo(port);
    BenchProcess echo(QStringLiteral("bench_peer"));
    if (fd < 0 || !echo.start({"echo", QString::number(port)})) {
        state.SkipWithError("echo peer did not start");
        return;
    }
    FloorRequester requester(fd);
    const std::string request = benchframes::encoded(benchframes::request(1));
    timeRoundTrips(
        state, [&] { return requester.roundTrip(request); }, "the relay went away");
}

void BM_RoundTrip_DBus(benchmark::State &state)
{
    BenchProcess daemon(QStringLiteral("/usr/bin/dbus-daemon"));
    if (!daemon.start({"--session", "--nofork", "--nopidfile", "--address=unix:tmpdir=/tmp",
                       "--print-address=2"},
                      QStringLiteral("unix:"))) {
        state.SkipWithError("no private dbus-daemon");
        return;
    }
    const QString address = QStringLiteral("unix:") + daemon.readyDetail();
    BenchProcess answerer(QStringLiteral("bench_peer"));
    if (!answerer.start({"dbus", address})) {
        state.SkipWithError("D-Bus peer did not start");
        return;
    }
    QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("requester"));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.glyphd.BenchPeer"), QStringLiteral("/"),
        QStringLiteral("org.glyphd.BenchPeer"), QStringLiteral("Get"));
    call << QString::fromStdString(benchframes::kKey);
    const auto roundTrip = [&] {
        return bus.call(call, QDBus::Block, kTimeoutMs).type() == QDBusMessage::ReplyMessage;
    };
    timeRoundTrips(state, roundTrip, "the D-Bus call failed");
    QDBusConnection::disconnectFromBus(QStringLiteral("requester"));
}

} // namespace

BENCHMARK(BM_RoundTrip_Floor)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RoundTrip_Clientmgr)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RoundTrip_DBus)->UseRealTime()->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv); // QtDBus wants one
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
