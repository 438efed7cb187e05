// The built daemon against the real router and simulator, on a private desktop with a
// stand-in tray.
#include "routerprocess.h"
#include "simulatorprocess.h"
#include "trayhostfixture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const char kRegisterWarning[] = "The system tray daemon could not register with the control panel.";

// glyphd as a child of the test.
class GlyphdProcess : public ManagedProcess
{
public:
    GlyphdProcess()
        : ManagedProcess(QStringLiteral("glyphd"))
    {}
    bool start(const QStringList &args, const QProcessEnvironment &environment)
    {
        process().setProcessEnvironment(environment);
        return launch(args);
    }
    // A detached daemon outlives the pipes of its parent: give it a file to write to.
    void writeOutputTo(const QString &path)
    {
        process().setStandardOutputFile(path);
        process().setStandardErrorFile(path, QIODevice::Append);
    }
    bool waitForExit(int timeoutMs = 30000)
    {
        return waitUntil([this] { return !isRunning(); }, timeoutMs);
    }
    int exitCode() { return process().exitCode(); }
    QProcess::ExitStatus exitStatus() { return process().exitStatus(); }
    QByteArray standardOutput() { return process().readAllStandardOutput(); }
};

// A unix datagram socket standing in for the service manager's notification socket.
class NotifySocket
{
public:
    NotifySocket()
    {
        m_path = m_dir.filePath(QStringLiteral("notify"));
        m_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(m_path).constData(), sizeof address.sun_path);
        m_bound = bind(m_fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    ~NotifySocket() { close(m_fd); }

    bool isBound() const { return m_bound; }
    QString path() const { return m_path; }
    // What has arrived so far, one datagram per entry.
    QStringList read()
    {
        char buffer[4096];
        ssize_t size;
        while ((size = recv(m_fd, buffer, sizeof buffer, 0)) > 0) {
            m_datagrams.append(QString::fromUtf8(buffer, int(size)));
        }
        return m_datagrams;
    }

private:
    QTemporaryDir m_dir;
    QString m_path;
    int m_fd = -1;
    bool m_bound = false;
    QStringList m_datagrams;
};

} // namespace

class TestGlyphd : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void rejectedCommandLine_data();
    void rejectedCommandLine();
    void portIsTakenAsWritten_data();
    void portIsTakenAsWritten();
    void registersRetriesOnNackAndServes();
    void readyOnlyAfterTheControlPanelAccepted();
    void endsCleanlyOnSigterm();
    void lostRouterEndsWithStatusOne();
    void daemonModeDetaches();

private:
    QStringList portArgs() const
    {
        return {QStringLiteral("--port"), QString::number(m_router->port())};
    }
    bool startDaemon(const QStringList &args);

    TrayHostFixture m_desktop;
    std::unique_ptr<RouterProcess> m_router;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<GlyphdProcess> m_glyphd;
    qint64 m_detachedPid = 0;
};

void TestGlyphd::initTestCase()
{
    QVERIFY(m_desktop.startAll());
}

void TestGlyphd::init()
{
    m_router = std::make_unique<RouterProcess>();
    QVERIFY(m_router->start({QStringLiteral("--verbose")}));
    m_simulator = std::make_unique<SimulatorProcess>();
    QVERIFY(m_simulator->start(m_router->port()));
    m_glyphd = std::make_unique<GlyphdProcess>();
}

void TestGlyphd::cleanup()
{
    m_glyphd.reset();
    if (m_detachedPid > 0) {
        ::kill(pid_t(m_detachedPid), SIGKILL);
        m_detachedPid = 0;
    }
    m_simulator.reset();
    m_router.reset();
}

bool TestGlyphd::startDaemon(const QStringList &args)
{
    return m_glyphd->start(args, m_desktop.environment());
}

void TestGlyphd::rejectedCommandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("--host --port 5")
        << QStringList{"--host", "--port", "5"} << "unknown option: '5'\n\n";
    QTest::newRow("unknown option")
        << QStringList{"--no-daemon", "--verbose"} << "unknown option: '--verbose'\n\n";
}

void TestGlyphd::rejectedCommandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, complaint);
    QVERIFY(startDaemon(arguments));
    QVERIFY(m_glyphd->waitForExit());
    QCOMPARE(m_glyphd->exitStatus(), QProcess::CrashExit); // qFatal aborts
    QVERIFY2(m_glyphd->standardError().startsWith(complaint),
             qPrintable(m_glyphd->standardError()));
    QVERIFY(m_glyphd->standardError().contains("Could not parse commandline parameters."));
}

void TestGlyphd::portIsTakenAsWritten_data()
{
    QTest::addColumn<QString>("port");
    QTest::newRow("above 65535") << "70000";
    QTest::newRow("negative") << "-1";
}

void TestGlyphd::portIsTakenAsWritten()
{
    QFETCH(QString, port);
    QVERIFY(startDaemon({"--no-daemon", "--port", port}));
    QVERIFY(m_glyphd->waitForExit());
    QCOMPARE(m_glyphd->exitStatus(), QProcess::CrashExit);
    QVERIFY2(m_glyphd->standardError().contains("Can't connected 127.0.0.1 on port " + port + "\n"),
             qPrintable(m_glyphd->standardError()));
    QVERIFY(m_glyphd->standardError().contains("Could not connect to clientmgr."));
}

void TestGlyphd::registersRetriesOnNackAndServes()
{
    QVERIFY(m_simulator->command(QStringLiteral("mode register nack 1")));
    // A trailing --port keeps the value given before it.
    QVERIFY(startDaemon(QStringList{"--no-daemon"} + portArgs() + QStringList{"--port"}));

    QJsonObject refused, accepted;
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register", 30000, &refused));
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register", 30000, &accepted));
    QCOMPARE(accepted.value("from").toString(), QStringLiteral("glyphd"));
    QCOMPARE(accepted.value("params").toString(), QStringLiteral("YES"));
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 30000)); // items ask afterwards
    QCOMPARE(m_glyphd->standardError().count(kRegisterWarning), 1);
    QVERIFY(!m_simulator->waitForRecv("ctrlpanelsvc", "register", 300));

    // An unsolicited command is refused with its own sequence number.
    QVERIFY(m_simulator->command(QStringLiteral("send homepage glyphd 1 frobnicate 1")));
    QJsonObject sent, nack;
    QVERIFY(m_simulator->waitForEvent("sent", "frobnicate", 10000, &sent));
    QVERIFY(m_simulator->waitForEvent(
        [](const QJsonObject &event) {
            return event.value("event") == "recv" && event.value("to") == "homepage" &&
                   event.value("command") == "frobnicate";
        },
        10000, &nack));
    QCOMPARE(nack.value("type").toInt(), 3);
    QCOMPARE(nack.value("from").toString(), QStringLiteral("glyphd"));
    QCOMPARE(nack.value("params").toString(), QStringLiteral("\"CMD not supported\""));
    QCOMPARE(nack.value("seqn"), sent.value("seqn"));

    QProcess peer;
    peer.start(ManagedProcess::programPath("msgpeer"),
               QStringList{"--port", QString::number(m_router->port()), "glyphd", "whatever"});
    QVERIFY(peer.waitForFinished(30000));
    QCOMPARE(QString::fromUtf8(peer.readAllStandardOutput()).trimmed(),
             QStringLiteral("NACK 3 glyphd \"CMD not supported\""));
}

void TestGlyphd::readyOnlyAfterTheControlPanelAccepted()
{
    NotifySocket notifySocket;
    QVERIFY(notifySocket.isBound());
    QVERIFY(m_simulator->command(QStringLiteral("mode register nack 3")));
    QProcessEnvironment environment = m_desktop.environment();
    environment.insert(QStringLiteral("NOTIFY_SOCKET"), notifySocket.path());
    QVERIFY(m_glyphd->start(QStringList{"--no-daemon"} + portArgs(), environment));

    QVERIFY(m_glyphd->waitUntil([&] { return !notifySocket.read().isEmpty(); }, 30000));
    QCOMPARE(notifySocket.read(), QStringList{"READY=1"});
    // By then the control panel has seen three refused attempts and the accepted one, and
    // the items have asked for their values.
    for (int attempt = 0; attempt < 4; ++attempt) {
        QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "register", 5000));
    }
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 5000));
    QCOMPARE(m_glyphd->standardError().count(kRegisterWarning), 3);
}

void TestGlyphd::endsCleanlyOnSigterm()
{
    QVERIFY(startDaemon(QStringList{"--no-daemon"} + portArgs()));
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 30000));
    QVERIFY(m_router->standardError().contains("registered as glyphd"));

    QCOMPARE(m_glyphd->stop(30000), 0);
    QVERIFY2(m_router->waitForStandardError("unregistered", 10000),
             qPrintable(m_router->standardError()));
}

void TestGlyphd::lostRouterEndsWithStatusOne()
{
    QVERIFY(startDaemon(QStringList{"--no-daemon"} + portArgs()));
    QVERIFY(m_simulator->waitForRecv("ctrlpanelsvc", "get", 30000));

    m_router->kill();

    QVERIFY(m_glyphd->waitForExit());
    QCOMPARE(m_glyphd->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_glyphd->exitCode(), 1);
}

void TestGlyphd::daemonModeDetaches()
{
    const QString name =
        QStringLiteral("glyphd-detached-%1").arg(QCoreApplication::applicationPid());
    QTemporaryDir logDir;
    m_glyphd->writeOutputTo(logDir.filePath("glyphd.log"));
    QVERIFY(startDaemon(QStringList{"--clientName", name} + portArgs()));
    QVERIFY(m_glyphd->waitForExit(10000)); // the parent returns at once
    QCOMPARE(m_glyphd->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_glyphd->exitCode(), 0);

    QJsonObject registration;
    QVERIFY(m_simulator->waitForEvent(
        [&name](const QJsonObject &event) {
            return event.value("event") == "recv" && event.value("command") == "register" &&
                   event.value("from") == name;
        },
        30000, &registration));

    // Find the detached daemon by its unique client name.
    const QByteArray marker = name.toUtf8();
    for (const QString &entry : QDir("/proc").entryList(QDir::Dirs)) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        QFile cmdline("/proc/" + entry + "/cmdline");
        if (isPid && cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(marker)) {
            m_detachedPid = pid;
        }
    }
    QVERIFY(m_detachedPid > 0);
    QCOMPARE(QFile::symLinkTarget("/proc/" + QString::number(m_detachedPid) + "/cwd"),
             QStringLiteral("/"));
    const pid_t session = getsid(pid_t(m_detachedPid));
    QVERIFY(session > 0);
    QVERIFY(session != getsid(0));
    QVERIFY(session != pid_t(m_detachedPid)); // not a session leader: no terminal again

    ::kill(pid_t(m_detachedPid), SIGTERM);
    QVERIFY(m_router->waitForStandardError("unregistered", 20000));
    QTRY_VERIFY_WITH_TIMEOUT(
        !QFile::exists("/proc/" + QString::number(m_detachedPid) + "/cwd") ||
            QFile::symLinkTarget("/proc/" + QString::number(m_detachedPid) + "/cwd").isEmpty(),
        20000);
    m_detachedPid = 0;
}

QTEST_GUILESS_MAIN(TestGlyphd)
#include "test_glyphd.moc"
