#include "daemonprocess.h"

DaemonProcess::DaemonProcess(const QString &programName, const QStringList &args,
                             const QProcessEnvironment &environment)
    : ManagedProcess(programName)
{
    setEnvironment(environment);
    started = launch(args);
}

int DaemonProcess::exitStatus(int timeoutMs)
{
    return waitUntil([this] { return !isRunning(); }, timeoutMs) ? stop() : -2;
}
