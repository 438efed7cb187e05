// The systemd units as a service manager runs them, on a machine without one: the router and
// the daemon are started with their units' own ExecStart lines and a notification socket this
// test owns, and how the daemon ends is held against the unit's Restart= policy.
//
// GLYPHD_UNIT_DIR names the units to read (the installed ones in the package test); by
// default they are the build's copies, which name the programs in the build tree.
#include "daemonprocess.h"
#include "msgpeerrun.h"
#include "notifysocket.h"
#include "privatedesktop.h"
#include "routerprocess.h"
#include "serviceunit.h"
#include "simulatorprocess.h"

#include <QtTest>

#include <csignal>

namespace {

QString unitPath(const QString &name)
{
    const QString dir = qEnvironmentVariable("GLYPHD_UNIT_DIR", QStringLiteral(GLYPHD_UNIT_DIR));
    return QDir(dir).filePath(name);
}

} // namespace

class TestServiceUnits : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();

    void readyOnlyAfterTheControlPanelRegistration();
    void endingsFollowTheRestartPolicy_data();
    void endingsFollowTheRestartPolicy();

private:
    // Starts the router from its unit; its READY=1 must come from its own process.
    bool startRouter();
    bool startSimulator();
    // Starts the daemon from its unit against the current router.
    bool startGlyphd();
    bool glyphdIsReady(int timeoutMs = 30000);

    PrivateDesktop m_desktop;
    ServiceUnit m_routerUnit;
    ServiceUnit m_glyphdUnit;
    std::unique_ptr<NotifySocket> m_routerNotify;
    std::unique_ptr<NotifySocket> m_glyphdNotify;
    std::unique_ptr<RouterProcess> m_router;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<DaemonProcess> m_glyphd;
};

void TestServiceUnits::initTestCase()
{
    QVERIFY(m_routerUnit.load(unitPath(QStringLiteral("clientmgr.service"))));
    QVERIFY(m_glyphdUnit.load(unitPath(QStringLiteral("glyphd.service"))));
    for (const ServiceUnit *unit : {&m_routerUnit, &m_glyphdUnit}) {
        QCOMPARE(unit->value("Service", "Type"), QStringLiteral("notify"));
    }
    QCOMPARE(m_glyphdUnit.value("Unit", "Requires"), QStringLiteral("clientmgr.service"));
    QVERIFY(m_glyphdUnit.value("Unit", "After").split(' ').contains("clientmgr.service"));
    qInfo("units from %s", qPrintable(unitPath(QString())));
    QVERIFY(m_desktop.start());
    QVERIFY(m_desktop.ensureHost());
}

void TestServiceUnits::cleanup()
{
    m_glyphd.reset();
    m_simulator.reset();
    m_router.reset();
}

bool TestServiceUnits::startRouter()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("CLIENTMGR_OPTIONS"), QStringLiteral("--verbose"));
    const QStringList command = m_routerUnit.execStart(environment);
    m_routerNotify = std::make_unique<NotifySocket>();
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), m_routerNotify->path());
    // The router's own "--port 0" comes first, so the unit's arguments still have the last word.
    m_router = std::make_unique<RouterProcess>(command.value(0));
    m_router->setEnvironment(environment);
    return m_router->start(command.mid(1)) &&
           m_router->waitUntil([this] { return !m_routerNotify->read().isEmpty(); }, 10000) &&
           m_routerNotify->read() == QStringList{"READY=1"} &&
           m_routerNotify->senders() == QList<qint64>{m_router->processId()};
}

bool TestServiceUnits::startSimulator()
{
    m_simulator = std::make_unique<SimulatorProcess>();
    return m_simulator->start(m_router->port());
}

bool TestServiceUnits::startGlyphd()
{
    QProcessEnvironment environment = m_desktop.environment();
    environment.insert(QStringLiteral("GLYPHD_OPTIONS"),
                       QStringLiteral("--port %1").arg(m_router->port()));
    const QStringList command = m_glyphdUnit.execStart(environment);
    m_glyphdNotify = std::make_unique<NotifySocket>();
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), m_glyphdNotify->path());
    m_glyphd = std::make_unique<DaemonProcess>(command.value(0), command.mid(1), environment);
    return m_glyphd->started;
}

bool TestServiceUnits::glyphdIsReady(int timeoutMs)
{
    // Only the main process may report readiness: a daemon that forked would be lost.
    return m_glyphd->waitUntil([this] { return !m_glyphdNotify->read().isEmpty(); }, timeoutMs) &&
           m_glyphdNotify->read() == QStringList{"READY=1"} &&
           m_glyphdNotify->senders() == QList<qint64>{m_glyphd->processId()};
}

void TestServiceUnits::readyOnlyAfterTheControlPanelRegistration()
{
    QVERIFY(startRouter());
    QVERIFY(startSimulator());
    // A control panel that cannot answer yet holds the daemon in its registration.
    QCOMPARE(::kill(pid_t(m_simulator->processId()), SIGSTOP), 0);
    QVERIFY(startGlyphd());
    QVERIFY(m_router->waitForStandardError("registered as glyphd", 30000));
    QVERIFY(!glyphdIsReady(2000));
    QVERIFY(m_glyphd->isRunning());

    QCOMPARE(::kill(pid_t(m_simulator->processId()), SIGCONT), 0);
    QVERIFY(glyphdIsReady());
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register"));
    QVERIFY(m_simulator->waitForEvent([](const QJsonObject &event) {
        return event.value("event") == "sent" && event.value("command") == "register" &&
               event.value("type") == 2;
    }));
}

void TestServiceUnits::endingsFollowTheRestartPolicy_data()
{
    QTest::addColumn<QString>("ending");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("restarted");
    // Losing the router is a failure: the daemon comes back and registers again.
    QTest::newRow("router lost") << "router" << 1 << true;
    // Told to end, or stopped by the manager: it stays down.
    QTest::newRow("exit command") << "exit" << 0 << false;
    QTest::newRow("stopped") << "stop" << 0 << false;
}

void TestServiceUnits::endingsFollowTheRestartPolicy()
{
    QFETCH(QString, ending);
    QFETCH(int, status);
    QFETCH(bool, restarted);
    QVERIFY(startRouter());
    QVERIFY(startSimulator());
    QVERIFY(startGlyphd());
    QVERIFY(glyphdIsReady());

    if (ending == QLatin1String("router")) {
        m_router->kill();
    } else if (ending == QLatin1String("exit")) {
        QCOMPARE(runMsgPeer(m_router->port(), {"glyphd", "exit"}).exitCode, 0);
    } else {
        QCOMPARE(m_glyphd->stop(30000), status);
    }
    QCOMPARE(m_glyphd->exitStatus(), status);
    QCOMPARE(m_glyphdUnit.restartsAfter({false, status}), restarted);

    if (restarted) { // as the manager would: the router first (Requires=), then the daemon
        QVERIFY(startRouter());
        QVERIFY(startSimulator());
        QVERIFY(startGlyphd());
        QVERIFY(glyphdIsReady());
        QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register"));
    }
}

QTEST_GUILESS_MAIN(TestServiceUnits)
#include "test_serviceunits.moc"
