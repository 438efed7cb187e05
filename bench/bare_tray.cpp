// The reference for the daemon's start-up and memory: a bare QApplication that shows fourteen
// tray icons (one per item of the default instrument) on the same tray host, then tells the
// service manager it is ready, and runs until SIGTERM. Nothing else: no router, no items.
#include "platform/os/systemdnotify.h"

#include <QApplication>
#include <QColor>
#include <QPixmap>
#include <QSocketNotifier>
#include <QSystemTrayIcon>

#include <csignal>
#include <memory>
#include <vector>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int kIcons = 14;

// A plain square of its own colour: no text, so no font is loaded that the daemon would not load.
QIcon plainIcon(int number)
{
    QPixmap pixmap(22, 22);
    pixmap.fill(QColor::fromHsv(number * 360 / kIcons, 200, 200));
    return QIcon(pixmap);
}

} // namespace

int main(int argc, char **argv)
{
    // SIGTERM ends the event loop, so the program leaves as the daemon does.
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    sigprocmask(SIG_BLOCK, &terminate, nullptr);
    const int signalFd = signalfd(-1, &terminate, SFD_CLOEXEC);

    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QSocketNotifier onSignal(signalFd, QSocketNotifier::Read);
    QObject::connect(&onSignal, &QSocketNotifier::activated, &application, &QApplication::quit);

    std::vector<std::unique_ptr<QSystemTrayIcon>> icons;
    for (int i = 0; i < kIcons; ++i) {
        icons.push_back(std::make_unique<QSystemTrayIcon>(plainIcon(i)));
        icons.back()->setToolTip(QStringLiteral("icon %1").arg(i));
        icons.back()->show();
    }
    systemd::notify();
    const int status = QApplication::exec();
    close(signalFd);
    return status;
}
