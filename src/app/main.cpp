#include "app/commandline.h"
#include "app/csystemtraydaemon.h"
#include "app/cterminationhandler.h"
#include "app/daemonize.h"
#include "app/localeoverride.h"
#include "app/translations.h"
#include "platform/os/ostask.h"
#include "platform/os/systemdnotify.h"

#include <QApplication>

namespace {

// Scope bit of the router registration: this client talks to local peers.
const int kScopeLocal = 1;
const int kUnusedProxyPort = 3000;

} // namespace

int main(int argc, char *argv[])
{
    glyphd::applyLocaleOverride();

    glyphd::StartupSettings settings;
    if (!glyphd::parseCommandLine(argc, argv, settings)) {
        qFatal("Could not parse commandline parameters.");
    }
    // Before any Qt object or thread exists: the process must fork single-threaded.
    if (settings.daemonize) {
        glyphd::daemonize();
    }

    QApplication app(argc, argv);
    // The daemon has no main window; closing a message box must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    glyphd::loadTranslations(QStringLiteral(":/translations"), QStringLiteral("glyphd"),
                             QStringLiteral("_"));
    osTaskAttach();

    int status = 0;
    {
        glyphd::CSystemTrayDaemon daemon(settings.clientName, &app);
        if (!daemon.connect(settings.host, settings.port, std::string(), kScopeLocal, false,
                            std::string(), kUnusedProxyPort)) {
            qFatal("Could not connect to clientmgr.");
        }
        daemon.initializeItems();
        systemd::notify();

        // Stopping the service ends the loop, so the daemon unregisters on the way out.
        glyphd::CTerminationHandler terminationHandler;
        status = app.exec();
        osTaskDetach();
    }
    return status;
}
