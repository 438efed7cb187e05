#pragma once

#include "support/managedprocess.h"

#include <QTemporaryDir>

// A private system bus: dbus-daemon with the project's configuration, on a socket in a
// temporary directory.
class SystemBusProcess : public ManagedProcess
{
public:
    SystemBusProcess();

    bool start(int timeoutMs = 10000);
    QString address() const;

private:
    QTemporaryDir m_dir;
};

// platform-sim on a bus, with its standard input for commands.
class PlatformSimProcess : public ManagedProcess
{
public:
    PlatformSimProcess();

    // Waits for its ready line; false when it does not come or the simulator ends first.
    bool start(const QString &busAddress, const QStringList &extraArgs = {}, int timeoutMs = 10000);
    // Runs the lines in order and waits until the simulator has run all of them. A line that
    // the simulator refuses fails the call.
    bool run(const QStringList &lines, int timeoutMs = 10000);

private:
    QByteArray m_output;
    int m_syncCount = 0;
};
