#include "trayhostfixture.h"

#include <QDebug>

namespace {

const int kStartTimeoutMs = 15000;

void stopProcess(QProcess &process)
{
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
}

} // namespace

TrayHostFixture::TrayHostFixture() = default;

TrayHostFixture::~TrayHostFixture()
{
    stopHost();
    stopProcess(m_display);
    stopProcess(m_bus);
}

bool TrayHostFixture::startAndReadLine(QProcess &process, const QString &program,
                                       const QStringList &args, QString &line)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, args);
    if (!process.waitForStarted(kStartTimeoutMs)) {
        qWarning() << "could not start" << program << process.errorString();
        return false;
    }
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(kStartTimeoutMs)) {
            qWarning() << program << "said nothing";
            return false;
        }
    }
    line = QString::fromUtf8(process.readLine()).trimmed();
    return !line.isEmpty();
}

bool TrayHostFixture::startBus()
{
    return startAndReadLine(m_bus, QStringLiteral("dbus-daemon"),
                            {QStringLiteral("--config-file=" GLYPHD_TEST_BUS_CONFIG),
                             QStringLiteral("--nofork"), QStringLiteral("--print-address=1")},
                            m_busAddress);
}

bool TrayHostFixture::startDisplay()
{
    QString number;
    if (!startAndReadLine(
            m_display, QStringLiteral("Xvfb"),
            {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
             QStringLiteral("0"), QStringLiteral("1024x600x24"), QStringLiteral("-nolisten"),
             QStringLiteral("tcp"), QStringLiteral("-extension"), QStringLiteral("GLX")},
            number)) {
        return false;
    }
    m_displayName = QLatin1Char(':') + number;
    return true;
}

bool TrayHostFixture::startHost(bool hostRegistered)
{
    m_host.setProcessEnvironment(hostEnvironment());
    QString ready;
    return startAndReadLine(m_host, QStringLiteral("/usr/bin/python3"),
                            {QStringLiteral(GLYPHD_TEST_TRAYHOST),
                             QStringLiteral("--host-registered"),
                             hostRegistered ? QStringLiteral("true") : QStringLiteral("false")},
                            ready) &&
           ready == QLatin1String("ready");
}

bool TrayHostFixture::startHostAfter(int delayMs)
{
    m_host.setProcessEnvironment(hostEnvironment());
    m_host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_host.start(QStringLiteral("/bin/sh"),
                 {QStringLiteral("-c"), QStringLiteral("sleep %1; exec /usr/bin/python3 %2")
                                            .arg(delayMs / 1000.0)
                                            .arg(QStringLiteral(GLYPHD_TEST_TRAYHOST))});
    return m_host.waitForStarted(kStartTimeoutMs);
}

QProcessEnvironment TrayHostFixture::hostEnvironment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    return environment;
}

void TrayHostFixture::stopHost()
{
    stopProcess(m_host);
}

bool TrayHostFixture::startAll()
{
    return startBus() && startDisplay() && startHost(true);
}

QProcessEnvironment TrayHostFixture::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    environment.insert(QStringLiteral("DISPLAY"), m_displayName);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("NOTIFY_SOCKET"));
    return environment;
}
