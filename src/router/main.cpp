#include "router/router.h"
#include "router/routeroptions.h"

#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

namespace {

Router *g_router = nullptr;

void onStopSignal(int)
{
    if (g_router)
        g_router->requestStop();
}

} // namespace

int main(int argc, char *argv[])
{
    RouterOptions options;
    std::string error;
    if (!options.parse(std::vector<std::string>(argv + 1, argv + argc), error)) {
        std::fprintf(stderr, "clientmgr: %s\n%s", error.c_str(), RouterOptions::usage().c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(RouterOptions::usage().c_str(), stdout);
        return 0;
    }

    // A client that vanishes mid-write must cost one connection, not the router.
    std::signal(SIGPIPE, SIG_IGN);

    Router router(Router::kDefaultQueueLimit, options.verbose);
    if (!router.listen(options.host, options.port, error)) {
        std::fprintf(stderr, "clientmgr: %s\n", error.c_str());
        return 1;
    }

    g_router = &router;
    struct sigaction action = {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    std::fprintf(stderr, "clientmgr: listening on %s:%d\n", options.host.c_str(), router.port());
    // Under a service manager, clients ordered after the router may connect from now on.
    sd_notify(0, "READY=1");
    const bool ok = router.run();

    g_router = nullptr;
    return ok ? 0 : 1;
}
