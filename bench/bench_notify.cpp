// The notification path: a notification from the control panel through clientmgr to an item's
// processMessage on the daemon's main thread, beside its floor, the very same frame through the
// same router read by a bare socket thread. The daemon's side is its own client with every item
// of the default instrument offered each message first (as in the daemon), then a counting item
// that takes the stamped ones. Every notification carries the time it was sent; both receivers
// take their latency from it.
//
//   bench_notify [--seconds S] [--repetitions N] [--burst COUNT]
//
// Prints one JSON object per line: the latency runs (at 1,000 and 10,000 notifications per
// second and as fast as the daemon keeps up) and the bursts (COUNT notifications, at most 50,000
// ahead of the daemon, then all at once: how many were processed, the resident set before, at
// the peak and afterwards).
#include "app/trayitemtable.h"
#include "framesocket.h"
#include "libclient/messagehandlerclient.h"
#include "platform/message/frame.h"
#include "platform/messaging/messageeventhandler.h"
#include "support/procstatus.h"
#include "support/routerpeer.h"
#include "support/routerprocess.h"
#include "tray/csystemtraydataitem.h"

#include <QApplication>
#include <QMutex>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

const char kStampKey[] = "BENCH_STAMP";
const std::string kFloorName = "floorpeer";
constexpr int kMaxInFlight =
    64; // the "as fast as it keeps up" run: notifications not yet processed

std::int64_t nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

// The stamp of "BENCH_STAMP,<ns>", or -1.
std::int64_t stampOf(const std::string &params)
{
    const std::size_t comma = params.find(',');
    if (params.rfind(kStampKey, 0) != 0 || comma == std::string::npos)
        return -1;
    return std::strtoll(params.c_str() + comma + 1, nullptr, 10);
}

// Latencies of one run in nanoseconds; the counter also counts what is not recorded.
class Samples
{
public:
    void add(std::int64_t stamp)
    {
        if (recording)
            values.push_back(nowNs() - stamp);
        count.fetch_add(1, std::memory_order_release);
    }
    double quantileUs(double quantile)
    {
        if (values.empty())
            return 0;
        std::sort(values.begin(), values.end());
        return double(values[std::size_t(quantile * double(values.size() - 1))]) / 1000.0;
    }
    void reset(bool record)
    {
        values.clear();
        values.shrink_to_fit();
        recording = record;
        count.store(0);
    }

    std::vector<std::int64_t> values;
    std::atomic<long> count{0};
    bool recording = true;
};

// The item at the end of the daemon's chain: takes the stamped notifications on the main thread.
class CountingItem : public platform::message::MessageEventHandler
{
public:
    explicit CountingItem(Samples &samples)
        : m_samples(samples)
    {}
    bool acceptsMessage(const Message *message) override
    {
        return message->params().rfind(kStampKey, 0) == 0;
    }

protected:
    void processMessage(Message *message) override { m_samples.add(stampOf(message->params())); }

private:
    Samples &m_samples;
};

// The floor: a thread that reads the router's frames off a bare socket as they come, as many
// as one read brings, and decodes them.
class FloorReader
{
public:
    FloorReader(int fd, Samples &samples)
        : m_fd(fd)
        , m_thread([this, &samples] { readLoop(samples); })
    {}
    ~FloorReader()
    {
        shutdown(m_fd, SHUT_RDWR);
        m_thread.join();
        close(m_fd);
    }

private:
    void readLoop(Samples &samples)
    {
        std::string pending;
        char buffer[65536];
        Message message;
        for (ssize_t got; (got = recv(m_fd, buffer, sizeof buffer, 0)) > 0;) {
            pending.append(buffer, std::size_t(got));
            std::size_t at = 0;
            for (;;) {
                const frame::DecodeResult result =
                    frame::decode(pending.data() + at, pending.size() - at, message);
                if (result.status != frame::DecodeStatus::Complete)
                    break;
                samples.add(stampOf(message.params()));
                at += result.consumed;
            }
            pending.erase(0, at);
        }
    }

    int m_fd;
    std::thread m_thread;
};

long residentKiB()
{
    return procStatusField(QCoreApplication::applicationPid(), "VmRSS");
}

int registeredSocket(int port, const std::string &name)
{
    const int fd = framesocket::connectTo(port);
    std::string ack;
    if (fd < 0 ||
        !framesocket::writeAll(
            fd,
            [&] {
                std::string bytes;
                frame::encode(makeMessage(name, "clientmgr", "register", "local", 1), bytes);
                return bytes;
            }()) ||
        !framesocket::readFrame(fd, ack)) {
        return -1;
    }
    return fd;
}

// The two frames of one stamped notification from the control panel: to the daemon and to
// the floor, written together so that both leave at the same moment.
std::string stampedPair(std::int64_t stamp)
{
    const std::string params = std::string(kStampKey) + ',' + std::to_string(stamp);
    std::string bytes;
    for (const std::string &to : {std::string("glyphd"), kFloorName})
        frame::encode(
            makeMessage("ctrlpanelsvc", to, "notify", params, 0, MessageType::Notification), bytes);
    return bytes;
}

// Runs the Qt event loop until done() or timeoutMs; false on time-out.
template<class Done>
bool spinUntil(Done done, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    QTimer tick; // wakes the loop so that done() is looked at
    tick.start(20);
    while (!done()) {
        if (Clock::now() > deadline)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

struct Options
{
    double seconds = 3;
    int repetitions = 5;
    long burst = 1000000;
};

Options parseOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--seconds"))
            options.seconds = std::atof(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--repetitions"))
            options.repetitions = std::atoi(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--burst"))
            options.burst = std::atol(argv[i + 1]);
    }
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    const Options options = parseOptions(argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);

    RouterProcess router;
    if (!router.start()) {
        std::fprintf(stderr, "bench_notify: the router did not start\n");
        return 1;
    }
    Samples daemonSamples;
    Samples floorSamples;
    MessageHandlerClientTemplate<CThreadWrapper, QMutex> client("glyphd");
    if (!client.connect("127.0.0.1", router.port(), "bench", 1, false, std::string(), 0)) {
        std::fprintf(stderr, "bench_notify: no connection to clientmgr\n");
        return 1;
    }
    std::vector<std::unique_ptr<glyphd::CSystemTrayDataItem>> items;
    for (const glyphd::TrayItemRow &row : glyphd::trayItemTable()) {
        items.emplace_back(row.create(&client, &application));
        client.registerHandler(items.back().get(), false);
    }
    CountingItem counter(daemonSamples);
    client.registerHandler(&counter, false);

    const int sender = registeredSocket(router.port(), "ctrlpanelsvc");
    const int floorFd = registeredSocket(router.port(), kFloorName);
    if (sender < 0 || floorFd < 0) {
        std::fprintf(stderr, "bench_notify: raw clients could not register\n");
        return 1;
    }
    FloorReader floor(floorFd, floorSamples);
    int status = 0;

    // rate 0: as fast as the daemon keeps up (at most kMaxInFlight waiting).
    const auto latencyRun = [&](const char *name, int rate, int repetition) {
        daemonSamples.reset(true);
        floorSamples.reset(true);
        std::atomic<long> sent{0};
        std::atomic<bool> paced{false};
        double sendingSeconds = 0;
        const auto duration = std::chrono::duration<double>(options.seconds);
        // The main thread runs the event loop meanwhile: that is where the items live.
        std::thread pacer([&] {
            const auto start = Clock::now();
            auto next = start;
            const auto interval =
                rate ? std::chrono::nanoseconds(1000000000 / rate) : std::chrono::nanoseconds(0);
            while (Clock::now() - start < duration) {
                if (rate) {
                    std::this_thread::sleep_until(next);
                    next += interval;
                } else {
                    // Sleeps rather than spins: pinned, the main thread needs this CPU.
                    while (sent - daemonSamples.count.load(std::memory_order_acquire) >=
                           kMaxInFlight)
                        std::this_thread::sleep_for(std::chrono::microseconds(20));
                }
                framesocket::writeAll(sender, stampedPair(nowNs()));
                ++sent;
            }
            sendingSeconds = std::chrono::duration<double>(Clock::now() - start).count();
            paced = true;
        });
        const bool complete = spinUntil(
            [&] { return paced && daemonSamples.count >= sent && floorSamples.count >= sent; },
            int(options.seconds * 1000) + 30000);
        pacer.join();
        const double seconds = sendingSeconds;
        std::printf("{\"run\":\"%s\",\"repetition\":%d,\"sent\":%ld,\"processed\":%ld,"
                    "\"floor_received\":%ld,\"rate\":%.0f,\"p50_us\":%.1f,\"p99_us\":%.1f,"
                    "\"floor_p50_us\":%.1f,\"floor_p99_us\":%.1f}\n",
                    name, repetition, sent.load(), daemonSamples.count.load(),
                    floorSamples.count.load(), double(sent) / seconds,
                    daemonSamples.quantileUs(0.5), daemonSamples.quantileUs(0.99),
                    floorSamples.quantileUs(0.5), floorSamples.quantileUs(0.99));
        std::fflush(stdout);
        if (!complete)
            status = 1;
    };
    for (int repetition = 0; repetition < options.repetitions; ++repetition) {
        latencyRun("1k/s", 1000, repetition);
        latencyRun("10k/s", 10000, repetition);
        latencyRun("max", 0, repetition);
    }

    // The bursts: COUNT notifications written as fast as the socket takes them (in blocks, so
    // the sender holds little), nothing recorded but the count, then the resident set once all
    // of them are processed. With a window the writer keeps at most that many ahead of the
    // daemon; without one the router's 8 MiB queue limit may drop the daemon, so that run
    // comes last and ends when nothing moves for 10 s (a dropped client learns it only later).
    const auto burstRun = [&](const char *name, long window) {
        daemonSamples.reset(false);
        floorSamples.reset(false);
        spinUntil([] { return false; }, 200);
        malloc_trim(0);
        const long before = residentKiB();
        long peak = before;
        std::atomic<long> written{0};
        std::atomic<bool> stop{false};
        const auto start = Clock::now();
        std::thread burster([&] {
            constexpr long kBlock = 1000;
            while (written < options.burst && !stop) {
                if (window && written - daemonSamples.count.load() > window - kBlock) {
                    std::this_thread::sleep_for(std::chrono::microseconds(100));
                    continue;
                }
                std::string block;
                for (long i = 0; i < kBlock && written + i < options.burst; ++i)
                    block += stampedPair(nowNs());
                if (!framesocket::writeAll(sender, block))
                    break;
                written += kBlock;
            }
        });
        long lastCount = -1;
        auto lastProgress = Clock::now();
        const bool complete = spinUntil(
            [&] {
                peak = std::max(peak, residentKiB());
                if (daemonSamples.count != lastCount) {
                    lastCount = daemonSamples.count;
                    lastProgress = Clock::now();
                }
                return (daemonSamples.count >= options.burst &&
                        floorSamples.count >= options.burst) ||
                       !client.isConnected() ||
                       Clock::now() - lastProgress > std::chrono::seconds(10);
            },
            600000);
        stop = true;
        burster.join();
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        // Let the last events go, then what the allocator keeps and what it gives back.
        spinUntil([] { return false; }, 200);
        const long after = residentKiB();
        malloc_trim(0);
        const long trimmed = residentKiB();
        const bool allProcessed = complete && daemonSamples.count >= options.burst;
        std::printf("{\"run\":\"%s\",\"window\":%ld,\"sent\":%ld,\"processed\":%ld,"
                    "\"floor_received\":%ld,\"seconds\":%.2f,"
                    "\"rss_before_kib\":%ld,\"rss_peak_kib\":%ld,\"rss_after_kib\":%ld,"
                    "\"rss_after_trim_kib\":%ld}\n",
                    name, window, options.burst, daemonSamples.count.load(),
                    floorSamples.count.load(), seconds, before, peak, after, trimmed);
        std::fflush(stdout);
        if (!allProcessed)
            status = 1;
    };
    burstRun("burst-window", 50000);
    burstRun("burst", 0);

    close(sender);
    client.disconnect();
    for (const auto &item : items)
        client.unregisterHandler(item.get());
    client.unregisterHandler(&counter);
    return status;
}
