#pragma once

#include "managedprocess.h"

// The message router clientmgr on a port chosen by the kernel. program is the build's
// clientmgr unless an absolute path (an installed one) is given.
class RouterProcess : public ManagedProcess
{
public:
    explicit RouterProcess(const QString &program = QStringLiteral("clientmgr"));

    // Starts "clientmgr --port 0 extraArgs..." and waits for its line
    // "clientmgr: listening on HOST:PORT". False when it does not come within timeoutMs or
    // the router exits first.
    bool start(const QStringList &extraArgs = {}, int timeoutMs = 10000);

    // Valid after a successful start.
    QString host() const { return m_host; }
    quint16 port() const { return m_port; }

private:
    bool parseListeningLine();

    QString m_host;
    quint16 m_port = 0;
};
