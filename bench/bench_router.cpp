// clientmgr alone: routed messages per second between pairs of clients, fan-out to 100
// receivers, memory per connected client, and how often it wakes up with nothing to do.
// The clients are plain sockets driven from one thread, so the router is the only program
// that parses frames.
#include "benchframes.h"
#include "framesocket.h"
#include "support/procstatus.h"
#include "support/routerpeer.h"
#include "support/routerprocess.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

constexpr int kBatch = 64; // frames each sender writes before the receivers read

std::string encoded(const std::string &source, const std::string &destination,
                    const std::string &command, const std::string &params, std::uint32_t seqn,
                    MessageType type, bool fanOut = false)
{
    Message message = makeMessage(source, destination, command, params, seqn, type);
    message.setFanOut(fanOut);
    return benchframes::encoded(message);
}

std::string clientName(int i)
{
    return "client" + std::to_string(1000 + i); // one length for all, so frames keep their size
}

// Connected and registered raw clients, closed when it goes away.
class Clients
{
public:
    ~Clients()
    {
        for (const int fd : fds)
            close(fd);
    }
    bool add(int port, const std::string &name)
    {
        const int fd = framesocket::connectTo(port);
        if (fd < 0)
            return false;
        fds.push_back(fd);
        std::string ack;
        return framesocket::writeAll(
                   fd, encoded(name, "clientmgr", "register", "local", 1, MessageType::Command)) &&
               framesocket::readFrame(fd, ack);
    }

    std::vector<int> fds;
};

// A field of /proc/PID/status as a number, or -1.
void BM_RouterThroughput(benchmark::State &state)
{
    const int clients = static_cast<int>(state.range(0));
    RouterProcess router;
    Clients connected;
    bool ok = router.start();
    for (int i = 0; ok && i < clients; ++i)
        ok = connected.add(router.port(), clientName(i));
    if (!ok) {
        state.SkipWithError("router or clients did not start");
        return;
    }
    // Client 2i sends to client 2i+1.
    std::vector<std::string> batches;
    for (int i = 0; i + 1 < clients; i += 2) {
        std::string batch;
        for (int n = 0; n < kBatch; ++n) {
            batch += encoded(clientName(i), clientName(i + 1), "notify", "VNC_USERS,\"2\"", 0,
                             MessageType::Notification);
        }
        batches.push_back(batch);
    }
    for (auto _ : state) {
        for (std::size_t pair = 0; pair < batches.size(); ++pair)
            framesocket::writeAll(connected.fds[2 * pair], batches[pair]);
        for (std::size_t pair = 0; pair < batches.size(); ++pair) {
            if (!framesocket::discard(connected.fds[2 * pair + 1], batches[pair].size())) {
                state.SkipWithError("a receiver lost its connection");
                return;
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch * std::int64_t(batches.size()));
}

void BM_RouterFanOut(benchmark::State &state)
{
    const int receivers = static_cast<int>(state.range(0));
    RouterProcess router;
    Clients connected;
    bool ok = router.start() && connected.add(router.port(), "sender");
    for (int i = 0; ok && i < receivers; ++i)
        ok = connected.add(router.port(), clientName(i));
    if (!ok) {
        state.SkipWithError("router or clients did not start");
        return;
    }
    std::uint32_t seqn = 1;
    std::string frame;
    for (auto _ : state) {
        framesocket::writeAll(connected.fds[0], encoded("sender", "*", "refresh", "ALL", ++seqn,
                                                        MessageType::Command, true));
        bool received = framesocket::readFrame(connected.fds[0], frame); // the receiver list
        for (int i = 1; received && i <= receivers; ++i)
            received = framesocket::readFrame(connected.fds[i], frame);
        if (!received) {
            state.SkipWithError("a copy did not arrive");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * receivers);
}

// Resident memory the router grows by per registered client (the kernel's socket buffers
// are not in it).
void BM_RouterMemoryPerClient(benchmark::State &state)
{
    const int clients = static_cast<int>(state.range(0));
    RouterProcess router;
    if (!router.start()) {
        state.SkipWithError("router did not start");
        return;
    }
    for (auto _ : state) {
        const long before = procStatusField(router.processId(), "VmRSS");
        Clients connected;
        for (int i = 0; i < clients; ++i) {
            if (!connected.add(router.port(), clientName(i))) {
                state.SkipWithError("a client could not register");
                return;
            }
        }
        const long after = procStatusField(router.processId(), "VmRSS");
        state.counters["KiB_per_client"] = double(after - before) / clients;
        state.counters["KiB_base"] = double(before);
    }
}

// Context switches of the router over BENCH_IDLE_SECONDS (10 by default) with ten
// registered clients that say nothing.
void BM_RouterIdleSwitches(benchmark::State &state)
{
    const char *configured = std::getenv("BENCH_IDLE_SECONDS");
    const int seconds = configured ? std::atoi(configured) : 10;
    RouterProcess router;
    Clients connected;
    bool ok = router.start();
    for (int i = 0; ok && i < 10; ++i)
        ok = connected.add(router.port(), clientName(i));
    if (!ok) {
        state.SkipWithError("router or clients did not start");
        return;
    }
    const auto switches = [&router] {
        return procStatusField(router.processId(), "voluntary_ctxt_switches") +
               procStatusField(router.processId(), "nonvoluntary_ctxt_switches");
    };
    for (auto _ : state) {
        const long before = switches();
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        state.counters["switches"] = double(switches() - before);
        state.counters["seconds"] = seconds;
    }
}

} // namespace

BENCHMARK(BM_RouterThroughput)->Arg(2)->Arg(10)->Arg(100)->UseRealTime();
BENCHMARK(BM_RouterFanOut)->Arg(100)->UseRealTime();
BENCHMARK(BM_RouterMemoryPerClient)->Arg(400)->Iterations(1);
BENCHMARK(BM_RouterIdleSwitches)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

BENCHMARK_MAIN();
