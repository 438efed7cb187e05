// The daemon on a private desktop, set up as the end-to-end tests do it (session bus and Xvfb
// from scripts/desktop/session.sh, the stand-in tray host sni_host.py): its wait for the
// tray, and the built program against the real router and simulator.
#include "app/csystemtraywaiter.h"
#include "app/trayitemtable.h"
#include "daemonprocess.h"
#include "msgpeerrun.h"
#include "notifysocket.h"
#include "privatedesktop.h"
#include "routerprocess.h"
#include "simulatorprocess.h"
#include "support/loopbackpeer.h"

#include <QtTest>

namespace {

const char kRegisterWarning[] = "The system tray daemon could not register with the control panel.";

// The keys each item asks the control panel for at start-up, by class. Items that read
// D-Bus, probe device nodes or ask nothing have an empty list. A built item missing here
// fails the configuration test: add its keys when it joins the item table.
const QHash<QString, QStringList> kStartupKeys = {
    {"CFanSystemTrayDataItem", {"FAN_ALARM_STATUS"}},
    {"CBatterySystemTrayDataItem", {"BATT_STATUS", "BATT_LEVEL", "BATT_ALARM"}},
    {"CNtpSystemTrayDataItem", {"SYNC_TIME_SOURCE"}},
    {"CUsbFlashSystemTrayDataItem", {"FLASH_LIST"}},
    {"CVncSystemTrayDataItem", {"VNC_USERS"}},
    {"CBluetoothSystemTrayDataItem", {"BLUE_ENABLED"}},
    {"CAudioSystemTrayDataItem", {}},
    {"CR7300mSystemTrayDataItem", {}},
    {"CVellumSystemTrayDataItem", {"VELLUM_STATUS"}},
    {"CJobManagerSystemTrayDataItem", {"JOBMANAGER_STATUS"}},
    {"CWifiSystemTrayDataItem", {"WIFI_CONNECT_STATUS"}},
    {"CGpsSystemTrayDataItem", {}},
    {"CClockSourceTrayDataItem", {}},
    {"CVflSystemTrayDataItem", {}},
};

} // namespace

class TestGlyphd : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY(m_desktop.start()); }
    void cleanup();

    // First: the tray host comes up during it.
    void trayWaiterFindsALateHost();
    void startupFailures_data();
    void startupFailures();
    void registersLocallyUnderItsName();
    void registersWithTheControlPanelAndServes();
    void exitCommandEndsWithStatusZero();
    void valueRequestsFollowItemOrder_data();
    void valueRequestsFollowItemOrder();

private:
    bool startServices(const QStringList &simulatorArgs = {});
    // variables: set in glyphd's environment, or removed from it when empty.
    bool startGlyphd(const QStringList &args, NotifySocket *notify = nullptr,
                     const QHash<QString, QByteArray> &variables = {});
    QStringList portArgs() const { return {"--port", QString::number(m_router->port())}; }

    PrivateDesktop m_desktop;
    std::unique_ptr<RouterProcess> m_router;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<DaemonProcess> m_glyphd;
};

void TestGlyphd::cleanup()
{
    m_glyphd.reset();
    m_simulator.reset();
    m_router.reset();
}

bool TestGlyphd::startServices(const QStringList &simulatorArgs)
{
    m_router = std::make_unique<RouterProcess>();
    m_simulator = std::make_unique<SimulatorProcess>();
    return m_router->start({QStringLiteral("--verbose")}) &&
           m_simulator->start(m_router->port(), simulatorArgs);
}

bool TestGlyphd::startGlyphd(const QStringList &args, NotifySocket *notify,
                             const QHash<QString, QByteArray> &variables)
{
    if (!m_desktop.ensureHost()) {
        return false;
    }
    QProcessEnvironment environment = m_desktop.environment();
    if (notify != nullptr) {
        environment.insert(QStringLiteral("NOTIFY_SOCKET"), notify->path());
    }
    for (auto variable = variables.begin(); variable != variables.end(); ++variable) {
        environment.remove(variable.key());
        if (!variable.value().isEmpty())
            environment.insert(variable.key(), QString::fromLatin1(variable.value()));
    }
    m_glyphd = std::make_unique<DaemonProcess>(
        QStringLiteral("glyphd"), QStringList{QStringLiteral("--no-daemon")} + args, environment);
    return m_glyphd->started;
}

void TestGlyphd::trayWaiterFindsALateHost()
{
    int qtChecks = 0;
    bool qtAnswer = true;
    // Without a session bus (an X11 tray) Qt alone decides.
    glyphd::CSystemTrayWaiter noBus(QDBusConnection(QStringLiteral("never-connected")),
                                    [&qtChecks] { return ++qtChecks > 0; });
    QVERIFY(noBus.isTrayAvailable());
    QCOMPARE(qtChecks, 1);

    qtChecks = 0;
    glyphd::CSystemTrayWaiter waiter(m_desktop.bus(), [&] {
        ++qtChecks;
        return qtAnswer;
    });
    QVERIFY(!waiter.isTrayAvailable()); // a session bus without a host: Qt is not asked
    QCOMPARE(qtChecks, 0);

    m_desktop.startHost();
    waiter.waitForTray();
    QVERIFY(m_desktop.hostIsUp());
    QCOMPARE(qtChecks, 1);
    qtAnswer = false; // e.g. a platform without tray support: Qt still has the last word
    QVERIFY(!waiter.isTrayAvailable());
}

void TestGlyphd::startupFailures_data()
{
    QTest::addColumn<QStringList>("arguments");
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
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    QFETCH(QString, fatal);
    QVERIFY(startGlyphd(arguments));
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
    QCOMPARE(registration.command(), std::string("register"));
    QCOMPARE(registration.source(), std::string("tray2"));
    QCOMPARE(registration.destination(), std::string("clientmgr"));
    QCOMPARE(registration.params(), std::string("local"));
}

void TestGlyphd::registersWithTheControlPanelAndServes()
{
    QVERIFY(startServices());
    NotifySocket notify;
    QVERIFY(m_simulator->command(QStringLiteral("mode register nack 2")) && m_simulator->sync());
    QVERIFY(startGlyphd(portArgs(), &notify));

    QVERIFY(m_glyphd->waitUntil([&] { return !notify.read().isEmpty(); }, 30000));
    QCOMPARE(notify.read(), QStringList{"READY=1"});
    for (int attempt = 0; attempt < 3; ++attempt) { // two refused, then accepted
        QJsonObject registration;
        QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register", 10000, &registration));
        QCOMPARE(registration.value("from").toString(), QStringLiteral("glyphd"));
        QCOMPARE(registration.value("params").toString(), QStringLiteral("YES"));
    }
    // Retrying stopped at the ACK: only then do the items ask for their values.
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 10000));
    QTRY_COMPARE(m_glyphd->standardError().count(kRegisterWarning), 2);

    // An unsolicited command is refused with its own sequence number.
    QVERIFY(m_simulator->command(QStringLiteral("send homepage glyphd 1 frobnicate 1")));
    QJsonObject sent, nack;
    QVERIFY(m_simulator->waitForEvent("sent", "frobnicate", 10000, &sent));
    QVERIFY(m_simulator->waitForRecv("homepage", "frobnicate", 10000, &nack));
    QCOMPARE(nack.value("type").toInt(), 3);
    QCOMPARE(nack.value("from").toString(), QStringLiteral("glyphd"));
    QCOMPARE(nack.value("params").toString(), QStringLiteral("\"CMD not supported\""));
    QCOMPARE(nack.value("seqn"), sent.value("seqn"));

    QCOMPARE(m_glyphd->stop(30000), 0);
    QVERIFY2(m_router->waitForStandardError("(glyphd) unregistered", 10000),
             qPrintable(m_router->standardError()));
}

void TestGlyphd::exitCommandEndsWithStatusZero()
{
    QVERIFY(startServices());
    QVERIFY(startGlyphd(portArgs()));
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 30000));
    const MsgPeerResult exit = runMsgPeer(m_router->port(), {"glyphd", "exit"});
    QCOMPARE(exit.exitCode, 0);
    QVERIFY2(exit.output.startsWith(QStringLiteral("ACK 2 glyphd")), qPrintable(exit.output));
    QCOMPARE(m_glyphd->exitStatus(), 0);
    QVERIFY2(m_router->waitForStandardError("(glyphd) unregistered", 10000),
             qPrintable(m_router->standardError()));
}

void TestGlyphd::valueRequestsFollowItemOrder_data()
{
    QTest::addColumn<QByteArray>("qrx4400");
    QTest::addColumn<QByteArray>("rab");
    QTest::newRow("neither") << QByteArray() << QByteArray();
    QTest::newRow("rab alone") << QByteArray() << QByteArray("YES");
    QTest::newRow("QRX4400") << QByteArray("YES") << QByteArray();
    QTest::newRow("QRX4400 on a rab") << QByteArray("YES") << QByteArray("YES");
}

// The control panel is asked for the values in the daemon's item order, for the items of the
// instrument's configuration only.
void TestGlyphd::valueRequestsFollowItemOrder()
{
    QFETCH(QByteArray, qrx4400);
    QFETCH(QByteArray, rab);
    glyphd::InstrumentConfiguration configuration;
    configuration.qrx4400 = !qrx4400.isEmpty();
    configuration.rab = !rab.isEmpty();
    QStringList expected;
    for (const glyphd::TrayItemRow &row : glyphd::trayItemTable()) {
        if (!row.wanted(configuration))
            continue;
        QVERIFY2(kStartupKeys.contains(row.className), row.className);
        expected += kStartupKeys.value(row.className);
    }

    QVERIFY(startServices({"--values", GLYPHD_SOURCE_DIR "/tools/simulator/default-values.txt"}));
    NotifySocket notify;
    QVERIFY(startGlyphd(portArgs(), &notify,
                        {{"QRX4400_CONFIGURED", qrx4400}, {"RAB_CONFIGURED", rab}}));
    // Ready is told once every item is initialised.
    QVERIFY(m_glyphd->waitUntil([&] { return !notify.read().isEmpty(); }, 30000));
    QVERIFY(m_simulator->sync());

    QStringList requested;
    for (const QJsonObject &event : m_simulator->events()) {
        if (event.value("event") == "recv" && event.value("to") == "ctrlpanelsvc" &&
            event.value("command") == "get") {
            QCOMPARE(event.value("from").toString(), QStringLiteral("glyphd"));
            requested << event.value("params").toString();
        }
    }
    QCOMPARE(requested, expected);
}

QTEST_GUILESS_MAIN(TestGlyphd)
#include "test_glyphd.moc"
