#pragma once

#include "managedprocess.h"

#include <QProcessEnvironment>

// A daemon run in the foreground with its own environment: glyphd --no-daemon, or what a
// unit's ExecStart names. programName is looked up in the build's bin directory unless it is
// an absolute path.
class DaemonProcess : public ManagedProcess
{
public:
    DaemonProcess(const QString &programName, const QStringList &args,
                  const QProcessEnvironment &environment)
        : ManagedProcess(programName)
    {
        setEnvironment(environment);
        started = launch(args);
    }

    // The exit status once it has ended by itself; -1 for a crash (qFatal aborts), -2 when it
    // still runs after timeoutMs.
    int exitStatus(int timeoutMs = 30000)
    {
        return waitUntil([this] { return !isRunning(); }, timeoutMs) ? stop() : -2;
    }

    bool started = false;
};
