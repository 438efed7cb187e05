#include "platformbus.h"

#include <QFileInfo>
#include <QStandardPaths>

SystemBusProcess::SystemBusProcess()
    : ManagedProcess(QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")))
{}

bool SystemBusProcess::start(int timeoutMs)
{
    if (!m_dir.isValid() || !launch({QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                                     QStringLiteral("--config-file=" GLYPHD_SYSTEMBUS_CONFIG),
                                     QStringLiteral("--address=") + address()}))
        return false;
    const QString socket = m_dir.filePath(QStringLiteral("system_bus_socket"));
    return waitUntil([&] { return !isRunning() || QFileInfo(socket).exists(); }, timeoutMs) &&
           isRunning();
}

QString SystemBusProcess::address() const
{
    return QStringLiteral("unix:path=") + m_dir.filePath(QStringLiteral("system_bus_socket"));
}

PlatformSimProcess::PlatformSimProcess()
    : ManagedProcess(QStringLiteral("platform-sim"))
{
    QObject::connect(&process(), &QProcess::readyReadStandardOutput,
                     [this] { m_output += process().readAllStandardOutput(); });
}

bool PlatformSimProcess::start(const QString &busAddress, const QStringList &extraArgs,
                               int timeoutMs)
{
    m_output.clear();
    if (!launch(QStringList{QStringLiteral("--address"), busAddress} + extraArgs))
        return false;
    const bool ready = waitUntil(
        [this] { return !isRunning() || m_output.contains("{\"event\":\"ready\"}"); }, timeoutMs);
    if (!ready || !isRunning()) {
        qWarning("platform-sim did not get ready: %s", qPrintable(standardError()));
        return false;
    }
    return true;
}

bool PlatformSimProcess::run(const QStringList &lines, int timeoutMs)
{
    const int errorsBefore = m_output.count("\"event\":\"error\"");
    const QByteArray marker = "sync-" + QByteArray::number(++m_syncCount);
    QByteArray input;
    for (const QString &line : lines)
        input += line.toUtf8() + '\n';
    input += "echo " + marker + '\n';
    if (process().write(input) != input.size())
        return false;
    const QByteArray echo = "{\"event\":\"echo\",\"text\":\"" + marker + "\"}";
    if (!waitUntil([&] { return m_output.contains(echo); }, timeoutMs))
        return false;
    if (m_output.count("\"event\":\"error\"") != errorsBefore) {
        qWarning("platform-sim refused a command: %s", m_output.constData());
        return false;
    }
    return true;
}
