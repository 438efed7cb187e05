#include "routerprocess.h"

#include <QRegularExpression>

RouterProcess::RouterProcess(const QString &program)
    : ManagedProcess(program)
{}

bool RouterProcess::start(const QStringList &extraArgs, int timeoutMs)
{
    return launchUntilReady(
        QStringList{QStringLiteral("--port"), QStringLiteral("0")} + extraArgs,
        [this] { return parseListeningLine(); }, timeoutMs);
}

bool RouterProcess::parseListeningLine()
{
    static const QRegularExpression line(QStringLiteral("^clientmgr: listening on (.+):(\\d+)$"),
                                         QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = line.match(standardError());
    if (!match.hasMatch()) {
        return false;
    }
    m_host = match.captured(1);
    m_port = match.captured(2).toUShort();
    return true;
}
