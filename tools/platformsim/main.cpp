// platform-sim: plays the instrument's GNSS and clock-source platform services on a D-Bus bus
// (the system bus unless an address is given), driven by commands on standard input or from a
// scenario file.

#include "commandqueue.h"
#include "platformsimulator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QFile>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const int kUsageError = 64;
int signalPipe[2];

// SIGINT and SIGTERM end the event loop through a pipe, as signal handlers may not touch Qt.
void onQuitSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

bool readScenario(const QString &path, QStringList *lines)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    *lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("platform-sim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays the GNSS and clock-source platform services on a D-Bus bus."));
    parser.addHelpOption();
    const QCommandLineOption address(QStringLiteral("address"),
                                     QStringLiteral("Bus address (default: the system bus)."),
                                     QStringLiteral("address"));
    const QCommandLineOption set(QStringLiteral("set"),
                                 QStringLiteral("Start with this property value."),
                                 QStringLiteral("NAME=VALUE"));
    const QCommandLineOption absent(QStringLiteral("absent"),
                                    QStringLiteral("Start without owning the service names."));
    const QCommandLineOption scenario(QStringLiteral("scenario"),
                                      QStringLiteral("Run these commands first."),
                                      QStringLiteral("file"));
    const QCommandLineOption noStdin(QStringLiteral("no-stdin"),
                                     QStringLiteral("Do not read commands from standard input."));
    parser.addOptions({address, set, absent, scenario, noStdin});
    if (!parser.parse(QCoreApplication::arguments())) {
        std::fprintf(stderr, "platform-sim: %s\n", qPrintable(parser.errorText()));
        return kUsageError;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    QStringList scenarioLines;
    if (parser.isSet(scenario) && !readScenario(parser.value(scenario), &scenarioLines)) {
        std::fprintf(stderr, "platform-sim: cannot read %s\n", qPrintable(parser.value(scenario)));
        return kUsageError;
    }

    const QDBusConnection connection =
        parser.isSet(address)
            ? QDBusConnection::connectToBus(parser.value(address), QStringLiteral("platform-sim"))
            : QDBusConnection::systemBus();
    if (!connection.isConnected()) {
        std::fprintf(stderr, "platform-sim: no bus: %s\n",
                     qPrintable(connection.lastError().message()));
        return 1;
    }

    PlatformSimulator simulator(connection);
    for (const QString &assignment : parser.values(set)) {
        if (!simulator.presetValue(assignment))
            return kUsageError;
    }
    if (!parser.isSet(absent) && !simulator.joinAll())
        return 1;

    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return 1;
    QSocketNotifier quitNotifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&quitNotifier, &QSocketNotifier::activated, &app,
                     [] { QCoreApplication::exit(0); });
    std::signal(SIGINT, onQuitSignal);
    std::signal(SIGTERM, onQuitSignal);

    PlatformSimulator::printEvent(QStringLiteral("ready"));
    CommandQueue commands(scenarioLines, !parser.isSet(noStdin),
                          [&simulator](const QString &line) { simulator.execute(line); });
    return app.exec();
}
