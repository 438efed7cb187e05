#include "csystemtraywaiter.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QSystemTrayIcon>

#include <cerrno>
#include <ctime>

namespace glyphd {

namespace {

const char kWatcherService[] = "org.kde.StatusNotifierWatcher";
const char kWatcherPath[] = "/StatusNotifierWatcher";
const char kWatcherInterface[] = "org.kde.StatusNotifierWatcher";
const char kHostRegisteredProperty[] = "IsStatusNotifierHostRegistered";
const int kBusCallTimeoutMs = 1000;

void sleepMs(int ms)
{
    timespec remaining = {ms / 1000, (ms % 1000) * 1000000L};
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}

} // namespace

CSystemTrayWaiter::CSystemTrayWaiter(const QDBusConnection &sessionBus, TrayCheck qtTrayCheck)
    : m_sessionBus(sessionBus)
    , m_qtTrayCheck(qtTrayCheck ? std::move(qtTrayCheck) : &QSystemTrayIcon::isSystemTrayAvailable)
{}

bool CSystemTrayWaiter::isTrayAvailable()
{
    if (m_sessionBus.isConnected() && !isStatusNotifierHostRegistered()) {
        return false;
    }
    return m_qtTrayCheck();
}

void CSystemTrayWaiter::waitForTray()
{
    bool announced = false;
    while (!isTrayAvailable()) {
        if (!announced) {
            qDebug("Waiting for the system tray");
            announced = true;
        }
        sleepMs(kPollIntervalMs);
    }
}

bool CSystemTrayWaiter::isStatusNotifierHostRegistered() const
{
    QDBusConnectionInterface *bus = m_sessionBus.interface();
    if (bus == nullptr || !bus->isServiceRegistered(QLatin1String(kWatcherService)).value()) {
        return false;
    }
    // A plain Properties.Get: a QDBusInterface would introspect the watcher first.
    QDBusMessage get = QDBusMessage::createMethodCall(
        QLatin1String(kWatcherService), QLatin1String(kWatcherPath),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QLatin1String(kWatcherInterface) << QLatin1String(kHostRegisteredProperty);
    const QDBusMessage reply = m_sessionBus.call(get, QDBus::Block, kBusCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

} // namespace glyphd
