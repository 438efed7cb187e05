#pragma once

#include "managedprocess.h"

#include <QProcess>

// What one run of msgpeer gave.
struct MsgPeerResult
{
    int exitCode = -1; // -1: it crashed or had to be killed
    QString output;    // one line per reply
};

// Runs "msgpeer --port port args..." to its end (killed after timeoutMs). Blocks without
// pumping events: the router and the simulator are separate processes and need none.
inline MsgPeerResult runMsgPeer(quint16 port, const QStringList &args, int timeoutMs = 15000)
{
    QProcess peer;
    peer.start(ManagedProcess::programPath(QStringLiteral("msgpeer")),
               QStringList{QStringLiteral("--port"), QString::number(port)} + args);
    MsgPeerResult result;
    // One still running after timeoutMs is killed when peer goes away.
    if (peer.waitForFinished(timeoutMs) && peer.exitStatus() == QProcess::NormalExit)
        result.exitCode = peer.exitCode();
    result.output = QString::fromUtf8(peer.readAllStandardOutput());
    return result;
}
