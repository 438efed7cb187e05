#include "msgpeerrun.h"

#include "managedprocess.h"

#include <QProcess>

MsgPeerResult runMsgPeer(quint16 port, const QStringList &args, int timeoutMs)
{
    QProcess peer;
    peer.start(ManagedProcess::programPath(QStringLiteral("msgpeer")),
               QStringList{QStringLiteral("--port"), QString::number(port)} + args);
    MsgPeerResult result;
    if (!peer.waitForFinished(timeoutMs)) {
        peer.kill();
        peer.waitForFinished();
    } else if (peer.exitStatus() == QProcess::NormalExit) {
        result.exitCode = peer.exitCode();
    }
    result.output = QString::fromUtf8(peer.readAllStandardOutput());
    result.errorOutput = QString::fromUtf8(peer.readAllStandardError());
    return result;
}
