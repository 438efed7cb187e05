#include "dbus/platformservices.h"
#include "items/cclocksourcetraydataitem.h"
#include "items/cgpssystemtraydataitem.h"
#include "items/itemtesting.h"
#include "support/managedprocess.h"

#include <QDBusConnection>
#include <QDBusMessage>

using glyphd::CClockSourceTrayDataItem;
using glyphd::CGpsSystemTrayDataItem;
namespace services = glyphd::platformservices;

namespace {

// platform-sim on a bus, with its standard input for commands.
class PlatformSimProcess : public ManagedProcess
{
public:
    PlatformSimProcess()
        : ManagedProcess(QStringLiteral("platform-sim"))
    {
        QObject::connect(&process(), &QProcess::readyReadStandardOutput,
                         [this] { m_output += process().readAllStandardOutput(); });
    }

    // Waits for its ready line.
    bool start(const QString &busAddress)
    {
        m_output.clear();
        return launchUntilReady(
            {QStringLiteral("--address"), busAddress},
            [this] { return m_output.contains("{\"event\":\"ready\"}"); }, 10000);
    }

    // Runs the lines in order and waits until the simulator has run all of them. A line that
    // the simulator refuses fails the call.
    bool run(const QStringList &lines, int timeoutMs = 10000)
    {
        const int errorsBefore = m_output.count("\"event\":\"error\"");
        const QByteArray marker = "sync-" + QByteArray::number(++m_syncCount);
        const QByteArray input = (lines.join('\n') + "\necho " + marker + '\n').toUtf8();
        const QByteArray echo = "{\"event\":\"echo\",\"text\":\"" + marker + "\"}";
        return process().write(input) == input.size() &&
               waitUntil([&] { return m_output.contains(echo); }, timeoutMs) &&
               m_output.count("\"event\":\"error\"") == errorsBefore;
    }

private:
    QByteArray m_output;
    int m_syncCount = 0;
};

QStringList gps(bool on, uint fix, const char *band)
{
    return {QStringLiteral("store GnssStatus %1").arg(on),
            QStringLiteral("store FixStatus %1").arg(fix), QStringLiteral("store Band ") + band};
}
QStringList clock(uint source, uint autoSelect, uint lock)
{
    return {QStringLiteral("store TimingSourceStatus %1").arg(source),
            QStringLiteral("store AutoSelectStatus %1").arg(autoSelect),
            QStringLiteral("store ClockLockStatus %1").arg(lock)};
}
// Receiver on, fix, one band: state 25; 13M locked: state 37.
const QStringList kLocked = gps(true, 1, "0") + clock(2, 0, 1);

} // namespace

// The GPS and clock-source items against a private system bus and platform-sim, a separate
// process started afresh for each test, so that every test starts from the services' defaults.
class TestPlatformItems : public QObject
{
    Q_OBJECT

private slots:
    // The test runs inside a private bus with the system bus's configuration (see CMakeLists.txt),
    // which it takes for the system bus before anything opens that: Qt reads the address once.
    void initTestCase()
    {
        QVERIFY(qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS")));
    }

    void init() { QVERIFY(m_sim.start(qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS"))); }
    void cleanup() { QCOMPARE(m_sim.stop(), 0); }

    // The values are stored without change signals and read by the item at start-up; then the
    // changes: "set" stores and signals, "signal" sends a change signal the values contradict. A
    // change that leaves the state as it was must not refresh the icon either.
    void stateFromValuesAndSignals_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QStringList>("stored");
        QTest::addColumn<QStringList>("changes");
        QTest::addColumn<int>("state");
        const auto row = [](const char *item, const QStringList &stored, const QString &change,
                            int state) {
            QTest::newRow(qPrintable(
                QStringLiteral("%1 %2 %3").arg(item, stored.join(','), change.right(60))))
                << item << stored << change.split('\n', Qt::SkipEmptyParts) << state;
        };
        // clang-format off
        row("gps", {}, "", 0); // a new service: receiver off
        row("gps", gps(true, 0, "0,2"), "", 27); row("gps", gps(true, 1, "0,0,0"), "", 25);
        row("gps", gps(true, 1, "0, 2"), "", 26); row("gps", gps(true, 1, ""), "", 25);
        row("gps", gps(true, 1, ",,"), "", 25); row("gps", gps(true, 1, "abc,1"), "", 26);
        // FixStatus as a string: Qt's generated proxy refuses it (its getter gives 0 and records
        // an InvalidSignature error), so the item reads and converts the value itself.
        row("gps", gps(true, 0, "0") << "wrongtype FixStatus 1", "", 25);
        row("gps", gps(true, 1, "0") << "wrongtype FixStatus 0", "", 27);
        // A fixed source: the clock burst's last row; auto, settled: the e2e items case.
        row("clock", clock(5, 5, 0), "", 28); // auto, searching
        row("clock", clock(5, 0, 1), "", 0); row("clock", clock(6, 2, 1), "", 0);
        row("gps", kLocked, "signal FixStatus 0", 27); // the signal's value wins
        row("gps", kLocked, "set GnssStatus false", 25); // read only when the service appears
        row("clock", kLocked, "signal ClockLockStatus 0", 37); // the lock is read afresh
        // The GNSS service appears after the item started and is read in full; it comes back after
        // vanishing (which hides the icon: the reliability case platform-churn) and is read again.
        row("gps", {"leave gps"}, gps(true, 1, "0,1").join('\n') + "\njoin gps", 26);
        row("gps", kLocked, "leave gps\nstore FixStatus 0\njoin gps", 27);
        // 1000 changes alternating between two values of the same state, and a last one.
        row("gps", kLocked, QString("set Band 0\nset Band 0,0\n").repeated(500) + "set Band", 25);
        row("clock", kLocked, QString("set AutoSelectStatus 1\nset AutoSelectStatus 3\n").repeated(500) + "set TimingSourceStatus 1", 35);
        // clang-format on
    }

    void stateFromValuesAndSignals()
    {
        QFETCH(QString, item);
        QFETCH(QStringList, stored);
        QFETCH(QStringList, changes);
        QFETCH(int, state);

        QVERIFY(m_sim.run(stored));
        const std::unique_ptr<AnyItem> tray = item == QLatin1String("gps")
                                                  ? AnyItem::make<CGpsSystemTrayDataItem>()
                                                  : AnyItem::make<CClockSourceTrayDataItem>();
        tray->item()->initialize();
        const int before = tray->icon()->state();
        tray->armAutoHide(); // a refresh or a state change would stop it
        QVERIFY(m_sim.run(changes, 60000));
        deliverSignals();
        // A service that comes or goes is read when the bus says so, which may come later still.
        QTRY_COMPARE_WITH_TIMEOUT(tray->icon()->state(), state, 10000);
        QCOMPARE(tray->autoHiding(), state == before);
        QCOMPARE(tray->icon()->isVisible(), state != 0);
    }

private:
    // Lets every change signal the simulator has sent so far reach the items: a call to the
    // simulator's connection is answered after the signals it sent before, on the same bus
    // connection as the items'.
    static void deliverSignals()
    {
        const QDBusMessage ping = QDBusConnection::systemBus().call(QDBusMessage::createMethodCall(
            QLatin1String(services::ClockSourceService), QLatin1String(services::ClockSourcePath),
            QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
        QVERIFY2(ping.type() == QDBusMessage::ReplyMessage, qPrintable(ping.errorMessage()));
        QCoreApplication::sendPostedEvents();
    }

    PlatformSimProcess m_sim;
};

QTEST_MAIN(TestPlatformItems)
#include "tst_platformitems.moc"
