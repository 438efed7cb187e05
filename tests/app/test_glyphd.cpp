// The built daemon on a private desktop (session bus and Xvfb from scripts/desktop/session.sh,
// the stand-in tray host sni_host.py), started as a service manager starts it: the router and
// the daemon from their units' own ExecStart lines, each with a notification socket this test
// owns, and how the daemon ends held against the unit's Restart= policy.
//
// GLYPHD_UNIT_DIR names the units to read (the installed ones in the package test); by
// default they are the build's copies, which name the programs in the build tree.
#include "app/trayitemtable.h"
#include "daemonprocess.h"
#include "msgpeerrun.h"
#include "notifysocket.h"
#include "privatedesktop.h"
#include "routerprocess.h"
#include "simulatorprocess.h"
#include "support/loopbackpeer.h"

#include <QtTest>

#include <csignal>

namespace {

const char kRegisterWarning[] = "The system tray daemon could not register with the control panel.";

// The items in creation order: which instruments have them, and the keys each asks the
// control panel for at start-up. An item that joins the item table needs its row here.
enum Where { Everywhere, WithoutQrx4400, OnQrx4400WithoutRab };
const struct
{
    const char *className;
    Where where;
    QStringList keys;
} kItems[] = {
    {"CFanSystemTrayDataItem", OnQrx4400WithoutRab, {"FAN_ALARM_STATUS"}},
    {"CBatterySystemTrayDataItem", WithoutQrx4400, {"BATT_STATUS", "BATT_LEVEL", "BATT_ALARM"}},
    {"CNtpSystemTrayDataItem", Everywhere, {"SYNC_TIME_SOURCE"}},
    {"CUsbFlashSystemTrayDataItem", Everywhere, {"FLASH_LIST"}},
    {"CVncSystemTrayDataItem", Everywhere, {"VNC_USERS"}},
    {"CBluetoothSystemTrayDataItem", WithoutQrx4400, {"BLUE_ENABLED"}},
    {"CAudioSystemTrayDataItem", WithoutQrx4400, {}},
    {"CR7300mSystemTrayDataItem", Everywhere, {}},
    {"CVellumSystemTrayDataItem", Everywhere, {"VELLUM_STATUS"}},
    {"CJobManagerSystemTrayDataItem", Everywhere, {"JOBMANAGER_STATUS"}},
    {"CWifiSystemTrayDataItem", WithoutQrx4400, {"WIFI_CONNECT_STATUS"}},
    {"CGpsSystemTrayDataItem", WithoutQrx4400, {}},
    {"CClockSourceTrayDataItem", WithoutQrx4400, {}},
    {"CVflSystemTrayDataItem", Everywhere, {}},
};

// The settings of a unit file as "[Section]Key", the last value of each.
QHash<QString, QString> unitSettings(const QString &name)
{
    QFile file(QDir(qEnvironmentVariable("GLYPHD_UNIT_DIR", GLYPHD_UNIT_DIR)).filePath(name));
    QHash<QString, QString> settings;
    QString section;
    for (bool open = file.open(QIODevice::ReadOnly | QIODevice::Text); open && !file.atEnd();) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith('['))
            section = line;
        else if (!line.startsWith('#') && line.contains('='))
            settings.insert(section + line.section('=', 0, 0), line.section('=', 1));
    }
    return settings;
}

// ExecStart= split into words as the manager does it: a word "$NAME" becomes the variable's
// words, none when it is unset.
QStringList execStart(const QHash<QString, QString> &unit, const QProcessEnvironment &environment)
{
    QStringList words;
    for (const QString &word : unit.value("[Service]ExecStart").split(' ', Qt::SkipEmptyParts)) {
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
    void cleanup();

    void startupFailures_data();
    void startupFailures();
    void registersLocallyUnderItsName();
    void readyOnlyAfterTheControlPanelRegistration();
    void endingsFollowTheRestartPolicy_data();
    void endingsFollowTheRestartPolicy();
    void valueRequestsFollowItemOrder_data();
    void valueRequestsFollowItemOrder();

private:
    bool startServices(const QStringList &simulatorArgs = {});
    // options: what /etc/default/glyphd would give in GLYPHD_OPTIONS.
    bool startGlyphd(const QStringList &options);
    QStringList portOption() const { return {"--port", QString::number(m_router->port())}; }

    PrivateDesktop m_desktop;
    QHash<QString, QString> m_routerUnit, m_glyphdUnit;
    std::unique_ptr<NotifySocket> m_routerNotify, m_glyphdNotify;
    std::unique_ptr<RouterProcess> m_router;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<DaemonProcess> m_glyphd;
};

void TestGlyphd::initTestCase()
{
    m_routerUnit = unitSettings(QStringLiteral("clientmgr.service"));
    m_glyphdUnit = unitSettings(QStringLiteral("glyphd.service"));
    QCOMPARE(m_routerUnit.value("[Service]Type"), QStringLiteral("notify"));
    QCOMPARE(m_glyphdUnit.value("[Service]Type"), QStringLiteral("notify"));
    QCOMPARE(m_glyphdUnit.value("[Unit]Requires"), QStringLiteral("clientmgr.service"));
    QVERIFY(m_glyphdUnit.value("[Unit]After").split(' ').contains("clientmgr.service"));
    QVERIFY(m_desktop.start());
}

void TestGlyphd::cleanup()
{
    m_glyphd.reset();
    m_simulator.reset();
    m_router.reset();
}

bool TestGlyphd::startServices(const QStringList &simulatorArgs)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("CLIENTMGR_OPTIONS"), QStringLiteral("--verbose"));
    const QStringList command = execStart(m_routerUnit, environment);
    m_routerNotify = std::make_unique<NotifySocket>();
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), m_routerNotify->path());
    // The router's own "--port 0" comes first, so the unit's arguments still have the last word.
    m_router = std::make_unique<RouterProcess>(command.value(0));
    m_router->setEnvironment(environment);
    m_simulator = std::make_unique<SimulatorProcess>();
    return m_router->start(command.mid(1)) && readyFrom(*m_routerNotify, *m_router, 10000) &&
           m_simulator->start(m_router->port(), simulatorArgs);
}

bool TestGlyphd::startGlyphd(const QStringList &options)
{
    QProcessEnvironment environment = m_desktop.environment();
    environment.insert(QStringLiteral("GLYPHD_OPTIONS"), options.join(' '));
    for (const char *name : {"QRX4400_CONFIGURED", "RAB_CONFIGURED"}) {
        environment.remove(name);
        if (qEnvironmentVariableIsSet(name))
            environment.insert(name, qEnvironmentVariable(name));
    }
    const QStringList command = execStart(m_glyphdUnit, environment);
    m_glyphdNotify = std::make_unique<NotifySocket>();
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), m_glyphdNotify->path());
    m_glyphd = std::make_unique<DaemonProcess>(command.value(0), command.mid(1), environment);
    return m_glyphd->started;
}

void TestGlyphd::startupFailures_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<QString>("fatal");
    QTest::newRow("--host --port 5")
        << QStringList{"--host", "--port", "5"} << "unknown option: '5'\n\n"
        << "Could not parse commandline parameters.";
    QTest::newRow("port taken as written")
        << QStringList{"--port", "70000"} << "Can't connected 127.0.0.1 on port 70000\n"
        << "Could not connect to clientmgr.";
}

void TestGlyphd::startupFailures()
{
    QFETCH(QStringList, options);
    QFETCH(QString, reason);
    QFETCH(QString, fatal);
    QVERIFY(startGlyphd(options));
    QCOMPARE(m_glyphd->exitStatus(), -1);
    QVERIFY2(m_glyphd->standardError().contains(reason), qPrintable(m_glyphd->standardError()));
    QVERIFY(m_glyphd->standardError().contains(fatal));
}

// With a loopback socket as the router, the registration can be read as it is sent.
void TestGlyphd::registersLocallyUnderItsName()
{
    LoopbackPeer router;
    QVERIFY(startGlyphd({"--clientName", "tray2", "--port", QString::number(router.port())}));
    Message registration;
    QVERIFY(router.accept(30000) && router.readFrame(registration, 30000));
    QCOMPARE(registration,
             makeMessage("tray2", "clientmgr", "register", "local", registration.seqn()));
}

// A control panel that refuses twice and then accepts; while it cannot answer at all (stopped),
// the daemon is not ready. Once running, it refuses commands it does not know, and on SIGTERM it
// unregisters and exits with status 0.
void TestGlyphd::readyOnlyAfterTheControlPanelRegistration()
{
    QVERIFY(startServices());
    QVERIFY(m_simulator->command(QStringLiteral("mode register nack 2")) && m_simulator->sync());
    QCOMPARE(::kill(pid_t(m_simulator->processId()), SIGSTOP), 0);
    QVERIFY(startGlyphd(portOption()));
    QVERIFY(m_router->waitForStandardError("registered as glyphd", 30000));
    QVERIFY(!readyFrom(*m_glyphdNotify, *m_glyphd, 2000));
    QVERIFY(m_glyphd->isRunning());
    QCOMPARE(::kill(pid_t(m_simulator->processId()), SIGCONT), 0);

    QVERIFY(readyFrom(*m_glyphdNotify, *m_glyphd));
    for (int attempt = 0; attempt < 3; ++attempt) {
        QJsonObject registration;
        QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register", 10000, &registration));
        QCOMPARE(registration.value("from").toString(), QStringLiteral("glyphd"));
        QCOMPARE(registration.value("params").toString(), QStringLiteral("YES"));
    }
    QVERIFY(m_simulator->waitForEvent([](const QJsonObject &event) {
        return event.value("event") == "sent" && event.value("command") == "register" &&
               event.value("type") == 2;
    }));
    // Retrying stopped at the ACK: only then do the items ask for their values.
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 10000));
    QTRY_COMPARE(m_glyphd->standardError().count(kRegisterWarning), 2);

    QVERIFY(m_simulator->command(QStringLiteral("send homepage glyphd 1 frobnicate 1")));
    QJsonObject sent, nack;
    QVERIFY(m_simulator->waitForEvent(
        [](const QJsonObject &event) {
            return event.value("event") == "sent" && event.value("command") == "frobnicate";
        },
        10000, &sent));
    QVERIFY(m_simulator->waitForRecv("homepage", "frobnicate", 10000, &nack));
    QCOMPARE(nack.value("type").toInt(), 3);
    QCOMPARE(nack.value("from").toString(), QStringLiteral("glyphd"));
    QCOMPARE(nack.value("params").toString(), QStringLiteral("\"CMD not supported\""));
    QCOMPARE(nack.value("seqn"), sent.value("seqn"));

    QCOMPARE(m_glyphd->stop(30000), 0);
    QVERIFY2(m_router->waitForStandardError("(glyphd) unregistered", 10000),
             qPrintable(m_router->standardError()));
}

void TestGlyphd::endingsFollowTheRestartPolicy_data()
{
    QTest::addColumn<bool>("routerLost");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("restarted");
    // Losing the router is a failure: the daemon comes back and registers again.
    QTest::newRow("router lost") << true << 1 << true;
    // Told to end, it stays down.
    QTest::newRow("exit command") << false << 0 << false;
}

void TestGlyphd::endingsFollowTheRestartPolicy()
{
    QFETCH(bool, routerLost);
    QFETCH(int, status);
    QVERIFY(startServices());
    QVERIFY(startGlyphd(portOption()));
    QVERIFY(readyFrom(*m_glyphdNotify, *m_glyphd));
    if (routerLost) {
        m_router->kill();
    } else {
        const MsgPeerResult exit = runMsgPeer(m_router->port(), {"glyphd", "exit"});
        QCOMPARE(exit.exitCode, 0);
        QVERIFY2(exit.output.startsWith(QStringLiteral("ACK 2 glyphd")), qPrintable(exit.output));
        QVERIFY2(m_router->waitForStandardError("(glyphd) unregistered", 10000),
                 qPrintable(m_router->standardError()));
    }
    QCOMPARE(m_glyphd->exitStatus(), status);
    QTEST(restartsAfterExit(m_glyphdUnit.value("[Service]Restart"), status), "restarted");
}

void TestGlyphd::valueRequestsFollowItemOrder_data()
{
    QTest::addColumn<QByteArray>("qrx4400");
    QTest::addColumn<QByteArray>("rab");
    QTest::addColumn<QList<int>>("where");
    QTest::newRow("neither") << QByteArray() << QByteArray() << QList<int>{0, WithoutQrx4400};
    QTest::newRow("rab alone") << QByteArray() << QByteArray("YES")
                               << QList<int>{0, WithoutQrx4400};
    QTest::newRow("QRX4400") << QByteArray("YES") << QByteArray()
                             << QList<int>{0, OnQrx4400WithoutRab};
    QTest::newRow("QRX4400 on a rab") << QByteArray("YES") << QByteArray("YES") << QList<int>{0};
    QTest::newRow("lower-case yes")
        << QByteArray("yes") << QByteArray("YES") << QList<int>{0, WithoutQrx4400};
}

// The items of the instrument's configuration, in creation order, and the daemon asking the
// control panel for their values in that order before it tells it is ready.
void TestGlyphd::valueRequestsFollowItemOrder()
{
    QFETCH(QByteArray, qrx4400);
    QFETCH(QByteArray, rab);
    QFETCH(QList<int>, where);
    const std::pair<const char *, QByteArray> variables[] = {{"QRX4400_CONFIGURED", qrx4400},
                                                             {"RAB_CONFIGURED", rab}};
    for (const auto &[name, value] : variables) {
        if (value.isEmpty())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    QStringList items, keys;
    for (const auto &item : kItems) {
        if (where.contains(item.where)) {
            items += item.className;
            keys += item.keys;
        }
    }
    QCOMPARE(glyphd::wantedTrayItems(glyphd::InstrumentConfiguration::fromEnvironment()), items);

    QVERIFY(startServices({"--values", GLYPHD_SOURCE_DIR "/tools/simulator/default-values.txt"}));
    QVERIFY(startGlyphd(portOption()));
    QVERIFY(readyFrom(*m_glyphdNotify, *m_glyphd));
    QVERIFY(m_simulator->sync());
    QStringList requested;
    for (const QJsonObject &event : m_simulator->events()) {
        if (event.value("event") == "recv" && event.value("to") == "ctrlpanelsvc" &&
            event.value("command") == "get") {
            QCOMPARE(event.value("from").toString(), QStringLiteral("glyphd"));
            requested << event.value("params").toString();
        }
    }
    QCOMPARE(requested, keys);
}

QTEST_GUILESS_MAIN(TestGlyphd)
#include "test_glyphd.moc"
