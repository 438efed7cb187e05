#pragma once

#include <QString>
#include <QStringList>

// What one run of msgpeer gave.
struct MsgPeerResult
{
    int exitCode = -1; // -1: it crashed or had to be killed
    QString output;    // one line per reply
    QString errorOutput;
};

// Runs "msgpeer --port port args..." to its end (killed after timeoutMs). Blocks without
// pumping events: the router and the simulator are separate processes and need none.
MsgPeerResult runMsgPeer(quint16 port, const QStringList &args, int timeoutMs = 15000);
