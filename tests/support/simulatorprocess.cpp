#include "simulatorprocess.h"

#include <QJsonDocument>

namespace {

bool isEvent(const QJsonObject &event, const QString &name)
{
    return event.value(QStringLiteral("event")).toString() == name;
}

} // namespace

SimulatorProcess::SimulatorProcess()
    : ManagedProcess(QStringLiteral("instrument-sim"))
{
    QObject::connect(&process(), &QProcess::readyReadStandardOutput,
                     [this] { readStandardOutput(); });
}

bool SimulatorProcess::start(quint16 routerPort, const QStringList &extraArgs, int timeoutMs)
{
    const auto ready = [](const QJsonObject &event) { return isEvent(event, "ready"); };
    return launchUntilReady(
               QStringList{QStringLiteral("--port"), QString::number(routerPort)} + extraArgs,
               [&] { return findUnmatched(ready) >= 0; }, timeoutMs) &&
           waitForEvent(ready, 0);
}

bool SimulatorProcess::command(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    return process().write(bytes) == bytes.size() && process().waitForBytesWritten(5000);
}

bool SimulatorProcess::sync(int timeoutMs)
{
    const QString marker = QStringLiteral("sync-%1").arg(++m_syncCount);
    return command(QStringLiteral("echo ") + marker) &&
           waitForEvent(
               [&](const QJsonObject &event) {
                   return isEvent(event, "echo") && event.value("text").toString() == marker;
               },
               timeoutMs);
}

bool SimulatorProcess::waitForEvent(const EventPredicate &match, int timeoutMs, QJsonObject *out)
{
    int index = -1;
    if (!waitUntil([&] { return (index = findUnmatched(match)) >= 0; }, timeoutMs))
        return false;
    m_matched[index] = true;
    if (out)
        *out = m_events.at(index);
    return true;
}

bool SimulatorProcess::waitForRecv(const QString &to, const QString &command, int timeoutMs,
                                   QJsonObject *out)
{
    return waitForEvent(
        [&](const QJsonObject &candidate) {
            return isEvent(candidate, "recv") && candidate.value("to").toString() == to &&
                   candidate.value("command").toString() == command;
        },
        timeoutMs, out);
}

void SimulatorProcess::readStandardOutput()
{
    m_pendingLine += process().readAllStandardOutput();
    for (int newline; (newline = m_pendingLine.indexOf('\n')) >= 0;) {
        const QByteArray line = m_pendingLine.left(newline);
        m_pendingLine.remove(0, newline + 1);
        if (line.trimmed().isEmpty())
            continue;
        const QJsonDocument document = QJsonDocument::fromJson(line);
        if (!document.isObject())
            qWarning("instrument-sim wrote a line that is not a JSON object: %s", line.constData());
        m_events.append(document.object()); // empty for such a line: it matches no wait
        m_matched.append(false);
    }
}

int SimulatorProcess::findUnmatched(const EventPredicate &match) const
{
    for (int i = 0; i < m_events.size(); ++i) {
        if (!m_matched.at(i) && match(m_events.at(i)))
            return i;
    }
    return -1;
}
