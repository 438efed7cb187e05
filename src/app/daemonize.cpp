#include "daemonize.h"

#include <QtGlobal>

#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace glyphd {

namespace {

// Only the child comes back.
void forkAndLeaveParent()
{
    const pid_t pid = fork();
    if (pid < 0) {
        std::cerr << "Could not daemonize" << std::endl;
        std::exit(1);
    }
    if (pid > 0) {
        std::exit(0);
    }
}

} // namespace

void daemonize()
{
    forkAndLeaveParent();
    setsid();
    // The second fork leaves a process that is not a session leader, so it can never
    // acquire a controlling terminal again.
    forkAndLeaveParent();
    if (chdir("/") != 0) {
        qDebug("Oh dear, looks like we're missing root dir?");
    }
}

} // namespace glyphd
