#include "simulatorprocess.h"

#include <QJsonDocument>
#include <QJsonParseError>

SimulatorProcess::SimulatorProcess()
    : ManagedProcess(QStringLiteral("instrument-sim"))
{
    QObject::connect(&process(), &QProcess::readyReadStandardOutput,
                     [this] { readStandardOutput(); });
}

bool SimulatorProcess::start(quint16 routerPort, const QStringList &extraArgs, int timeoutMs)
{
    m_pendingLine.clear();
    m_events.clear();
    m_matched.clear();
    if (!launch(QStringList{QStringLiteral("--port"), QString::number(routerPort)} + extraArgs)) {
        return false;
    }
    const EventPredicate isReady = [](const QJsonObject &event) {
        return event.value(QStringLiteral("event")).toString() == QLatin1String("ready");
    };
    bool exited = false;
    const bool ready = waitUntil(
        [&] {
            exited = !isRunning();
            return exited || findUnmatched(isReady) >= 0;
        },
        timeoutMs);
    if (!ready || exited) {
        qWarning("instrument-sim did not get ready; its standard error:\n%s",
                 qPrintable(standardError()));
        kill();
        return false;
    }
    m_matched[findUnmatched(isReady)] = true;
    return true;
}

bool SimulatorProcess::command(const QString &line)
{
    QByteArray bytes = line.toUtf8();
    bytes += '\n';
    return process().write(bytes) == bytes.size() && process().waitForBytesWritten(5000);
}

bool SimulatorProcess::sync(int timeoutMs)
{
    const QString marker = QStringLiteral("sync-%1").arg(++m_syncCount);
    return command(QStringLiteral("echo ") + marker) &&
           waitForEvent(
               [&](const QJsonObject &event) {
                   return event.value(QStringLiteral("event")).toString() ==
                              QLatin1String("echo") &&
                          event.value(QStringLiteral("text")).toString() == marker;
               },
               timeoutMs);
}

bool SimulatorProcess::waitForEvent(const EventPredicate &match, int timeoutMs, QJsonObject *out)
{
    int index = -1;
    if (!waitUntil([&] { return (index = findUnmatched(match)) >= 0; }, timeoutMs)) {
        return false;
    }
    m_matched[index] = true;
    if (out) {
        *out = m_events.at(index);
    }
    return true;
}

bool SimulatorProcess::waitForEvent(const QString &event, const QString &command, int timeoutMs,
                                    QJsonObject *out)
{
    return waitForEvent(
        [&](const QJsonObject &candidate) {
            return candidate.value(QStringLiteral("event")).toString() == event &&
                   (command.isEmpty() ||
                    candidate.value(QStringLiteral("command")).toString() == command);
        },
        timeoutMs, out);
}

bool SimulatorProcess::waitForRecv(const QString &to, const QString &command, int timeoutMs,
                                   QJsonObject *out)
{
    return waitForEvent(
        [&](const QJsonObject &candidate) {
            return candidate.value(QStringLiteral("event")).toString() == QLatin1String("recv") &&
                   candidate.value(QStringLiteral("to")).toString() == to &&
                   candidate.value(QStringLiteral("command")).toString() == command;
        },
        timeoutMs, out);
}

void SimulatorProcess::readStandardOutput()
{
    m_pendingLine += process().readAllStandardOutput();
    int newline;
    while ((newline = m_pendingLine.indexOf('\n')) >= 0) {
        const QByteArray line = m_pendingLine.left(newline);
        m_pendingLine.remove(0, newline + 1);
        if (line.trimmed().isEmpty()) {
            continue;
        }
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line, &error);
        if (error.error == QJsonParseError::NoError && document.isObject()) {
            m_events.append(document.object());
        } else {
            qWarning("instrument-sim wrote a line that is not a JSON object: %s", line.constData());
            m_events.append(QJsonObject{{QStringLiteral("event"), QStringLiteral("invalid-json")},
                                        {QStringLiteral("line"), QString::fromUtf8(line)}});
        }
        m_matched.append(false);
    }
}

int SimulatorProcess::findUnmatched(const EventPredicate &match) const
{
    for (int i = 0; i < m_events.size(); ++i) {
        if (!m_matched.at(i) && match(m_events.at(i))) {
            return i;
        }
    }
    return -1;
}
