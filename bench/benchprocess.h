#pragma once

#include "support/managedprocess.h"

// A helper program of a benchmark (bench_peer, dbus-daemon), started and stopped like the
// test fixtures, ready once a line starting with a given text appears on its standard error.
class BenchProcess : public ManagedProcess
{
public:
    explicit BenchProcess(const QString &program)
        : ManagedProcess(program)
    {}

    bool start(const QStringList &args, const QString &readyText = QStringLiteral("ready"));
    // The ready line without the ready text ("ready 41235" gives "41235").
    QString readyDetail() const { return m_detail; }

private:
    QString m_detail;
};
