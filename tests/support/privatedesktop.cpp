#include "privatedesktop.h"

#include <QDBusConnectionInterface>

namespace {

const char kWatcher[] = "org.kde.StatusNotifierWatcher";
const char kConnectionName[] = "desktop";

// Prints "BUS-ADDRESS DISPLAY" once both are up and starts the tray host, then waits.
// Ended by SIGTERM, the shell stops all it started; killed, it takes them along anyway.
const char kDesktopScript[] = R"(
source "$1" || exit 1
desktop_init
desktop_start_bus && desktop_start_xvfb || exit 1
echo "$DBUS_SESSION_BUS_ADDRESS $DISPLAY"
desktop_spawn host "$DESKTOP_PYTHON" "$DESKTOP_SCRIPTS_DIR/sni_host.py"
read -r _
)";

} // namespace

PrivateDesktop::PrivateDesktop()
    : ManagedProcess(QStringLiteral("/bin/bash"))
{}

PrivateDesktop::~PrivateDesktop()
{
    stop();
}

bool PrivateDesktop::start()
{
    if (!launch({"-c", kDesktopScript, "bash", GLYPHD_SESSION_SCRIPT}) ||
        !waitUntil([this] { return process().canReadLine(); }, 30000)) {
        qWarning("no desktop: %s", qPrintable(standardError()));
        return false;
    }
    const QStringList words = QString::fromUtf8(process().readLine()).trimmed().split(' ');
    m_environment = QProcessEnvironment::systemEnvironment();
    m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), words.value(0));
    m_environment.insert(QStringLiteral("DISPLAY"), words.value(1));
    m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    m_environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    m_environment.remove(QStringLiteral("NOTIFY_SOCKET"));
    const QDBusConnection bus = QDBusConnection::connectToBus(words.value(0), kConnectionName);
    return bus.isConnected() &&
           waitUntil([&] { return bus.interface()->isServiceRegistered(kWatcher).value(); }, 30000);
}
