// instrument-sim: plays the control panel, the home page and the Bluetooth service for a
// daemon under test, driven by commands on standard input or from a scenario file.

#include "eventoutput.h"
#include "linereader.h"
#include "quitrequest.h"
#include "simulator.h"
#include "simulatoroptions.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <thread>
#include <unistd.h>

namespace {

const int kUsageError = 64;

void runCommands(Simulator &simulator, const SimulatorOptions &options, LineReader &input,
                 QuitRequest &quit)
{
    for (const std::string &line : options.scenario) {
        if (quit.isRequested()) {
            return;
        }
        simulator.execute(line);
    }
    std::string line;
    while (options.readStandardInput && !quit.isRequested() && input.readLine(line)) {
        simulator.execute(line);
    }
}

// Returns when quit was requested or SIGINT / SIGTERM arrived (both blocked in every thread).
void waitForQuit(QuitRequest &quit, const sigset_t &signals)
{
    const timespec pollInterval{0, 100 * 1000 * 1000};
    while (!quit.isRequested()) {
        if (sigtimedwait(&signals, nullptr, &pollInterval) > 0) {
            quit.request(0);
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    SimulatorOptions options;
    bool help = false;
    std::string error;
    if (!SimulatorOptions::parse(argc, argv, options, help, error)) {
        std::fprintf(stderr, "instrument-sim: %s\n%s", error.c_str(), SimulatorOptions::usage());
        return kUsageError;
    }
    if (help) {
        std::fputs(SimulatorOptions::usage(), stdout);
        return 0;
    }

    // Before any thread starts, so that only waitForQuit() takes these signals.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    EventOutput output(stdout);
    QuitRequest quit;
    Simulator simulator(output, quit, std::move(options.values));
    if (!simulator.start(options.host, options.port)) {
        return 1;
    }
    output.ready();

    LineReader input(STDIN_FILENO);
    std::thread commands([&] { runCommands(simulator, options, input, quit); });
    waitForQuit(quit, signals);
    input.interrupt();
    commands.join();
    simulator.stop();
    return quit.status();
}
