// The built daemon on a private desktop (session bus and Xvfb from scripts/desktop/session.sh,
// the stand-in tray host sni_host.py), started as a service manager starts it: the router and
// the daemon from their units' own ExecStart lines, each with a notification socket this test
// owns, and how the daemon ends held against the unit's Restart= policy.
//
// GLYPHD_UNIT_DIR names the units to read (the installed ones in the package test); by
// default they are the build's copies, which name the programs in the build tree.
#include "daemonprocess.h"
#include "msgpeerrun.h"
#include "notifysocket.h"
#include "privatedesktop.h"
#include "routerprocess.h"
#include "simulatorprocess.h"

#include <QtTest>

#include <csignal>

namespace {

const char kRegisterWarning[] = "The system tray daemon could not register with the control panel.";

// The keys the control panel is asked for at start-up, in the daemon's item order, by instrument.
const QString kKeysWithoutQrx4400 = "BATT_STATUS BATT_LEVEL BATT_ALARM SYNC_TIME_SOURCE FLASH_LIST "
                                    "VNC_USERS BLUE_ENABLED VELLUM_STATUS JOBMANAGER_STATUS "
                                    "WIFI_CONNECT_STATUS";
const QString kKeysOnQrx4400 =
    "SYNC_TIME_SOURCE FLASH_LIST VNC_USERS VELLUM_STATUS JOBMANAGER_STATUS";

// A unit file read as an INI file: "Service/ExecStart" and "Service/Restart" are plain values.
QSettings *readUnit(const QString &name, QObject *parent)
{
    const QDir units(qEnvironmentVariable("GLYPHD_UNIT_DIR", GLYPHD_UNIT_DIR));
    return new QSettings(units.filePath(name), QSettings::IniFormat, parent);
}

// ExecStart= split into words as the manager does it: a word "$NAME" becomes the variable's
// words, none when it is unset.
QStringList execStart(const QSettings *unit, const QProcessEnvironment &environment)
{
    QStringList words;
    for (const QString &word :
         unit->value("Service/ExecStart").toString().split(' ', Qt::SkipEmptyParts)) {
        words += word.startsWith('$')
                     ? environment.value(word.mid(1)).split(' ', Qt::SkipEmptyParts)
                     : QStringList{word};
    }
    return words;
}

// Whether the manager starts the service again after its main process exited with status.
bool restartsAfterExit(const QString &policy, int status)
{
    return policy == "always" || (policy == "on-success" && status == 0) ||
           (policy == "on-failure" && status != 0);
}

// Waits for READY=1 from process and nothing else: a daemon that forked would be lost to the
// manager, which accepts readiness from the main process only.
bool readyFrom(NotifySocket &notify, ManagedProcess &process, int timeoutMs = 30000)
{
    return process.waitUntil([&] { return !notify.read().isEmpty(); }, timeoutMs) &&
           notify.read() == QStringList{"READY=1"} &&
           notify.senders() == QList<qint64>{process.processId()};
}

} // namespace

class TestGlyphd : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void startsAndEndsAsAService_data();
    void startsAndEndsAsAService();
    void startupFailures_data();
    void startupFailures();

private:
    PrivateDesktop m_desktop;
    const QSettings *m_routerUnit = nullptr, *m_glyphdUnit = nullptr;
};

void TestGlyphd::initTestCase()
{
    m_routerUnit = readUnit(QStringLiteral("clientmgr.service"), this);
    m_glyphdUnit = readUnit(QStringLiteral("glyphd.service"), this);
    QVERIFY(m_glyphdUnit->contains(QStringLiteral("Service/ExecStart")));
    QVERIFY(m_desktop.start());
}

void TestGlyphd::startsAndEndsAsAService_data()
{
    QTest::addColumn<QStringList>("variables");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("ending"); // SIGTERM, a peer's "exit" command or the router lost
    QTest::newRow("neither") << QStringList() << kKeysWithoutQrx4400 << "SIGTERM";
    QTest::newRow("rab alone") << QStringList{"RAB_CONFIGURED=YES"} << kKeysWithoutQrx4400
                               << "router lost";
    QTest::newRow("QRX4400") << QStringList{"QRX4400_CONFIGURED=YES"}
                             << "FAN_ALARM_STATUS " + kKeysOnQrx4400 << "exit";
    QTest::newRow("QRX4400 on a rab") << QStringList{"QRX4400_CONFIGURED=YES", "RAB_CONFIGURED=YES"}
                                      << kKeysOnQrx4400 << "router lost";
    QTest::newRow("lower-case yes") << QStringList{"QRX4400_CONFIGURED=yes", "RAB_CONFIGURED=YES"}
                                    << kKeysWithoutQrx4400 << "router lost";
}

// A control panel that refuses the registration twice and then accepts it; while it cannot
// answer at all (stopped), the daemon is not ready. Once ready, it has asked for the values of
// its configuration's items in their creation order. How it ends decides, against the unit's
// Restart= policy, whether the manager starts it again: only after losing the router.
void TestGlyphd::startsAndEndsAsAService()
{
    QFETCH(QStringList, variables);
    QFETCH(QString, ending);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("CLIENTMGR_OPTIONS"), QStringLiteral("--verbose"));
    const QStringList routerCommand = execStart(m_routerUnit, environment);
    NotifySocket routerNotify;
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), routerNotify.path());
    // The router's own "--port 0" comes first, so the unit's arguments still have the last word.
    RouterProcess router(routerCommand.value(0));
    router.setEnvironment(environment);
    QVERIFY(router.start(routerCommand.mid(1)) && readyFrom(routerNotify, router, 10000));
    SimulatorProcess simulator;
    QVERIFY(simulator.start(router.port(),
                            {"--values", GLYPHD_SOURCE_DIR "/tools/simulator/default-values.txt"}));

    QVERIFY(simulator.command(QStringLiteral("mode register nack 2")) && simulator.sync());
    QCOMPARE(::kill(pid_t(simulator.processId()), SIGSTOP), 0);

    // The daemon's options as /etc/default/glyphd would give them, the instrument's variables.
    environment = m_desktop.environment();
    environment.insert(QStringLiteral("GLYPHD_OPTIONS"),
                       "--port " + QString::number(router.port()));
    environment.remove(QStringLiteral("QRX4400_CONFIGURED"));
    environment.remove(QStringLiteral("RAB_CONFIGURED"));
    for (const QString &variable : variables)
        environment.insert(variable.section('=', 0, 0), variable.section('=', 1));
    const QStringList command = execStart(m_glyphdUnit, environment);
    NotifySocket glyphdNotify;
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), glyphdNotify.path());
    DaemonProcess glyphd(command.value(0), command.mid(1), environment);
    QVERIFY(glyphd.started);
    QVERIFY(router.waitForStandardError("registered as glyphd", 30000));
    QVERIFY(!readyFrom(glyphdNotify, glyphd, 2000));
    QCOMPARE(::kill(pid_t(simulator.processId()), SIGCONT), 0);
    QVERIFY(readyFrom(glyphdNotify, glyphd));
    QVERIFY(simulator.sync());
    // The parameters of each such command the control panel has received from the daemon.
    const auto controlPanelReceived = [&simulator](const char *command) {
        QStringList params;
        for (const QJsonObject &event : simulator.events()) {
            if (event.value("event") == "recv" && event.value("to") == "ctrlpanelsvc" &&
                event.value("from") == "glyphd" && event.value("command") == command)
                params << event.value("params").toString();
        }
        return params;
    };
    QCOMPARE(controlPanelReceived("register"), QStringList({"YES", "YES", "YES"}));
    QCOMPARE(glyphd.standardError().count(kRegisterWarning), 2);
    QTEST(controlPanelReceived("get").join(' '), "keys");

    if (ending == "router lost") {
        router.kill();
    } else if (ending == "exit") {
        // A command the daemon does not know is refused, so that its sender does not wait.
        const MsgPeerResult unknown = runMsgPeer(router.port(), {"glyphd", "ping"});
        QVERIFY2(QRegularExpression("^NACK [0-9]+ glyphd \"CMD not supported\"\n$")
                     .match(unknown.output)
                     .hasMatch(),
                 qPrintable(unknown.output));
        const MsgPeerResult exit = runMsgPeer(router.port(), {"glyphd", "exit"});
        QVERIFY2(exit.exitCode == 0 && exit.output.startsWith(QStringLiteral("ACK 2 glyphd")),
                 qPrintable(exit.output));
    }
    const int status = ending == "SIGTERM" ? glyphd.stop(30000) : glyphd.exitStatus();
    QCOMPARE(status, ending == "router lost" ? 1 : 0);
    if (status == 0) {
        QVERIFY2(router.waitForStandardError("(glyphd) unregistered", 10000),
                 qPrintable(router.standardError()));
    }
    QCOMPARE(restartsAfterExit(m_glyphdUnit->value("Service/Restart").toString(), status),
             status != 0);
}

void TestGlyphd::startupFailures_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("reason"); // what the daemon prints before its fatal message
    QTest::addColumn<QString>("fatal");
    QTest::newRow("--host --port 5")
        << QStringList{"--host", "--port", "5"} << "unknown option: '5'\n\n"
        << "Could not parse commandline parameters.";
    QTest::newRow("port taken as written")
        << QStringList{"--port", "70000"} << "Can't connected 127.0.0.1 on port 70000\n"
        << "Could not connect to clientmgr.";
}

// A start that cannot go on ends in a fatal message, which aborts; the manager then retries.
void TestGlyphd::startupFailures()
{
    QFETCH(QStringList, options);
    QFETCH(QString, reason);
    QFETCH(QString, fatal);
    DaemonProcess glyphd(QStringLiteral("glyphd"), QStringList{"--no-daemon"} + options,
                         m_desktop.environment());
    QVERIFY(glyphd.started);
    QCOMPARE(glyphd.exitStatus(), -1);
    QVERIFY2(glyphd.standardError().contains(reason) && glyphd.standardError().contains(fatal),
             qPrintable(glyphd.standardError()));
}

QTEST_GUILESS_MAIN(TestGlyphd)
#include "test_glyphd.moc"
