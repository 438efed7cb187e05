#pragma once

#include <QDBusConnection>

#include <functional>

namespace glyphd {

// Waits until the desktop offers a system tray.
//
// Qt decides once per process whether a tray exists, at its first tray call: asked before
// the panel is up, it answers "no tray" for good. So Qt is asked only once the session bus
// shows a StatusNotifier host (org.kde.StatusNotifierWatcher owned and its
// IsStatusNotifierHostRegistered true), or when there is no session bus at all (an X11
// tray, which Qt looks up afresh every time).
class CSystemTrayWaiter
{
public:
    using TrayCheck = std::function<bool()>;

    // qtTrayCheck defaults to QSystemTrayIcon::isSystemTrayAvailable().
    explicit CSystemTrayWaiter(const QDBusConnection &sessionBus = QDBusConnection::sessionBus(),
                               TrayCheck qtTrayCheck = TrayCheck());

    // One look: true when the tray can take icons now.
    bool isTrayAvailable();
    // Polls every 100 ms, without limit, until isTrayAvailable().
    void waitForTray();

    static constexpr int kPollIntervalMs = 100;

private:
    bool isStatusNotifierHostRegistered() const;

    QDBusConnection m_sessionBus;
    TrayCheck m_qtTrayCheck;
};

} // namespace glyphd
