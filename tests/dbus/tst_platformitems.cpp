#include "dbus/gpsinterface.h"
#include "dbus/platformservices.h"
#include "items/cclocksourcetraydataitem.h"
#include "items/cgpssystemtraydataitem.h"
#include "platformbus.h"
#include "tray/csystemtrayicon.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QTimer>
#include <QtTest>

#include <memory>

using glyphd::CClockSourceTrayDataItem;
using glyphd::CGpsSystemTrayDataItem;
using glyphd::CSystemTrayIcon;
namespace services = glyphd::platformservices;

// The GPS and clock-source items against a private system bus and platform-sim, a separate
// process. Each test starts from freshly made items and the services' values reset.
class TestPlatformItems : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void stateFromServiceReads_data();
    void stateFromServiceReads();
    void stateFromChangeSignals_data();
    void stateFromChangeSignals();
    void gpsFollowsServiceComingAndGoing();
    void wronglyTypedFixStatusStillReadsAsFix();
    void burstOfChangesEndsInLastState_data();
    void burstOfChangesEndsInLastState();

private:
    CSystemTrayIcon *icon(const QString &item) const
    {
        QObject *owner = item == QLatin1String("gps") ? m_gpsIcons.get() : m_clockIcons.get();
        return owner->findChild<CSystemTrayIcon *>();
    }
    void initializeItem(const QString &item)
    {
        if (item == QLatin1String("gps"))
            m_gps->initialize();
        else
            m_clock->initialize();
    }
    // Lets every change signal the simulator has sent so far reach the items: a call to the
    // simulator's connection is answered after the signals it sent before, on the same bus
    // connection as the items'.
    void deliverSignals()
    {
        const QDBusMessage ping = QDBusConnection::systemBus().call(QDBusMessage::createMethodCall(
            QLatin1String(services::GpsService), QLatin1String(services::GpsPath),
            QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
        QVERIFY2(ping.type() == QDBusMessage::ReplyMessage, qPrintable(ping.errorMessage()));
        QCoreApplication::sendPostedEvents();
    }

    SystemBusProcess m_bus;
    PlatformSimProcess m_sim;
    std::unique_ptr<QObject> m_gpsIcons;
    std::unique_ptr<QObject> m_clockIcons;
    std::unique_ptr<CGpsSystemTrayDataItem> m_gps;
    std::unique_ptr<CClockSourceTrayDataItem> m_clock;
};

void TestPlatformItems::initTestCase()
{
    QVERIFY(m_bus.start());
    // Before anything opens the system bus: Qt reads the address once.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().toUtf8());
}

void TestPlatformItems::init()
{
    QVERIFY(m_sim.start(m_bus.address()));
    m_gpsIcons = std::make_unique<QObject>();
    m_clockIcons = std::make_unique<QObject>();
    m_gps = std::make_unique<CGpsSystemTrayDataItem>(nullptr, m_gpsIcons.get());
    m_clock = std::make_unique<CClockSourceTrayDataItem>(nullptr, m_clockIcons.get());
    // A new service reports the receiver off and no timing source.
    QCOMPARE(icon("gps")->state(), 0);
    QCOMPARE(icon("clock")->state(), 0);
}

void TestPlatformItems::cleanup()
{
    m_gps.reset();
    m_clock.reset();
    m_gpsIcons.reset();
    m_clockIcons.reset();
    QCOMPARE(m_sim.stop(), 0);
}

// The values are stored without change signals; the item learns them by reading, as at
// start-up.
void TestPlatformItems::stateFromServiceReads_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<int>("state");
    const auto gps = [](const char *row, bool on, uint fix, const char *band, int state) {
        QTest::newRow(row) << QStringLiteral("gps")
                           << QStringList{QStringLiteral("store GnssStatus %1").arg(on),
                                          QStringLiteral("store FixStatus %1").arg(fix),
                                          QStringLiteral("store Band ") + QLatin1String(band)}
                           << state;
    };
    gps("receiver off", false, 1, "0,2", 0);
    gps("searching", true, 0, "0,2", 27);
    gps("locked 0,0,0", true, 1, "0,0,0", 25);
    gps("dual band '0, 2'", true, 1, "0, 2", 26);
    gps("locked, empty band", true, 1, "", 25);
    gps("locked ',,'", true, 1, ",,", 25);
    gps("dual band abc,1", true, 1, "abc,1", 26);
    gps("any fix status", true, 7, "3", 26);

    const auto clock = [](const char *row, uint source, uint autoSelect, uint lock, int state) {
        QTest::newRow(row)
            << QStringLiteral("clock")
            << QStringList{QStringLiteral("store TimingSourceStatus %1").arg(source),
                           QStringLiteral("store AutoSelectStatus %1").arg(autoSelect),
                           QStringLiteral("store ClockLockStatus %1").arg(lock)}
            << state;
    };
    clock("10M unlocked", 1, 0, 0, 34);
    clock("10M locked", 1, 0, 1, 35);
    clock("13M unlocked", 2, 0, 0, 36);
    clock("13M locked, any nonzero lock", 2, 4, 9, 37);
    clock("15M unlocked", 3, 0, 0, 38);
    clock("15M locked", 3, 0, 1, 39);
    clock("GPS unlocked", 4, 0, 0, 40);
    clock("GPS locked", 4, 0, 1, 41);
    clock("auto settled on 13M, locked", 5, 2, 1, 37);
    clock("auto searching, unlocked", 5, 5, 0, 28);
    clock("auto searching, locked", 5, 5, 1, 28);
    clock("auto without a source", 5, 0, 1, 0);
    clock("no source", 0, 2, 1, 0);
    clock("source 6", 6, 2, 1, 0);
    clock("source above 6", 1000, 1, 1, 0);
}

void TestPlatformItems::stateFromServiceReads()
{
    QFETCH(QString, item);
    QFETCH(QStringList, values);
    QFETCH(int, state);

    QVERIFY(m_sim.run(values));
    initializeItem(item);
    QCOMPARE(icon(item)->state(), state);
    QCOMPARE(icon(item)->isVisible(), state != 0);
}

// Starting from a read state, one command of the simulator: "set" stores and signals,
// "signal" sends a change signal that the service's values contradict.
void TestPlatformItems::stateFromChangeSignals_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("state");
    // Read first: receiver on, fix, one band (state 25); 13M locked (state 37).
    QTest::newRow("gps fix lost") << "gps"
                                  << "set FixStatus 0" << 27;
    QTest::newRow("gps second band") << "gps"
                                     << "set Band 0,1" << 26;
    QTest::newRow("gps bands as text") << "gps"
                                       << "set Band abc, 4" << 26;
    QTest::newRow("gps signal wins over values") << "gps"
                                                 << "signal FixStatus 0" << 27;
    // The receiver's on/off state is read only when the service appears.
    QTest::newRow("gps GnssStatus alone ignored") << "gps"
                                                  << "set GnssStatus false" << 25;
    QTest::newRow("gps other property") << "gps"
                                        << "set Latitude 48.1" << 25;
    QTest::newRow("clock source") << "clock"
                                  << "set TimingSourceStatus 4" << 41;
    QTest::newRow("clock auto, settled") << "clock"
                                         << "set TimingSourceStatus 5" << 0;
    QTest::newRow("clock auto status") << "clock"
                                       << "set AutoSelectStatus 3" << 37;
    QTest::newRow("clock unlocked") << "clock"
                                    << "set ClockLockStatus 0" << 36;
    // The lock is read afresh on every refresh: the service's answer beats the signal's.
    QTest::newRow("clock lock contradicted") << "clock"
                                             << "signal ClockLockStatus 0" << 37;
}

void TestPlatformItems::stateFromChangeSignals()
{
    QFETCH(QString, item);
    QFETCH(QString, command);
    QFETCH(int, state);

    QVERIFY(m_sim.run({"store GnssStatus true", "store FixStatus 1", "store Band 0",
                       "store TimingSourceStatus 2", "store AutoSelectStatus 0",
                       "store ClockLockStatus 1"}));
    initializeItem(item);
    QCOMPARE(icon(item)->state(), item == QLatin1String("gps") ? 25 : 37);

    QVERIFY(m_sim.run({command}));
    deliverSignals();
    QCOMPARE(icon(item)->state(), state);
    QCOMPARE(icon(item)->isVisible(), state != 0);
}

void TestPlatformItems::gpsFollowsServiceComingAndGoing()
{
    // Nothing on the bus: nothing to show and nothing read.
    QVERIFY(m_sim.run({"leave gps"}));
    m_gps.reset();
    m_gpsIcons = std::make_unique<QObject>();
    m_gps = std::make_unique<CGpsSystemTrayDataItem>(nullptr, m_gpsIcons.get());
    m_gps->initialize();
    QCOMPARE(icon("gps")->state(), 0);

    // Appearing after the item started: read in full without anyone calling initialize.
    QVERIFY(
        m_sim.run({"store GnssStatus true", "store FixStatus 1", "store Band 0,1", "join gps"}));
    QTRY_COMPARE_WITH_TIMEOUT(icon("gps")->state(), 26, 10000);
    QVERIFY(icon("gps")->isVisible());

    // Vanishing hides the icon even with a fix.
    QVERIFY(m_sim.run({"leave gps"}));
    QTRY_COMPARE_WITH_TIMEOUT(icon("gps")->state(), 0, 10000);
    QVERIFY(!icon("gps")->isVisible());

    // Coming back is a full re-read, the receiver state included.
    QVERIFY(m_sim.run({"store FixStatus 0", "join gps"}));
    QTRY_COMPARE_WITH_TIMEOUT(icon("gps")->state(), 27, 10000);
    QVERIFY(m_sim.run({"leave gps", "store GnssStatus false", "join gps"}));
    QTRY_COMPARE_WITH_TIMEOUT(icon("gps")->state(), 0, 10000);
    QVERIFY(m_sim.run({"leave gps", "store GnssStatus true", "join gps"}));
    QTRY_COMPARE_WITH_TIMEOUT(icon("gps")->state(), 27, 10000);
}

void TestPlatformItems::wronglyTypedFixStatusStillReadsAsFix()
{
    QVERIFY(m_sim.run({"store GnssStatus true", "store Band 0", "wrongtype FixStatus 1"}));

    // Qt's generated proxy refuses a string where the interface says unsigned: its getter
    // gives 0 and records a signature error.
    ComOrvantasystemsPlatformGpsInterface proxy(QLatin1String(services::GpsService),
                                                QLatin1String(services::GpsPath),
                                                QDBusConnection::systemBus());
    QCOMPARE(proxy.fixStatus(), 0u);
    QCOMPARE(proxy.lastError().type(), QDBusError::InvalidSignature);

    // The item converts the value itself, so the string "1" is a fix.
    m_gps->initialize();
    QCOMPARE(icon("gps")->state(), 25);
    QVERIFY(m_sim.run({"wrongtype FixStatus 0"}));
    m_gps->initialize();
    QCOMPARE(icon("gps")->state(), 27);
}

void TestPlatformItems::burstOfChangesEndsInLastState_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QStringList>("alternating");
    QTest::addColumn<QString>("last");
    QTest::addColumn<int>("state");
    // Each pair alternates between two values of the same state, so the icon must never be
    // refreshed; only the last value may change it.
    QTest::newRow("gps, same state")
        << "gps" << QStringList{"set Band 0", "set Band 0,0"} << "set Band" << 25;
    QTest::newRow("gps, last changes")
        << "gps" << QStringList{"set Band 0", "set Band ,"} << "set Band 2" << 26;
    QTest::newRow("clock, same state")
        << "clock" << QStringList{"set AutoSelectStatus 1", "set AutoSelectStatus 3"}
        << "set ClockLockStatus 1" << 37;
    QTest::newRow("clock, last changes")
        << "clock" << QStringList{"set AutoSelectStatus 1", "set AutoSelectStatus 3"}
        << "set TimingSourceStatus 1" << 35;
}

void TestPlatformItems::burstOfChangesEndsInLastState()
{
    QFETCH(QString, item);
    QFETCH(QStringList, alternating);
    QFETCH(QString, last);
    QFETCH(int, state);

    QVERIFY(m_sim.run({"store GnssStatus true", "store FixStatus 1", "store Band 0",
                       "store TimingSourceStatus 2", "store ClockLockStatus 1"}));
    initializeItem(item);
    CSystemTrayIcon *trayIcon = icon(item);
    // A refresh or a state change would stop a running auto-hide timer.
    trayIcon->findChild<QTimer *>(QStringLiteral("showTimer"))->stop();
    trayIcon->showBalloon(QStringLiteral("burst"), QSystemTrayIcon::Information,
                          QStringLiteral("default"), 600000, true);

    QStringList burst;
    for (int i = 0; i < 999; ++i)
        burst << alternating.at(i % 2);
    burst << last;
    QVERIFY(m_sim.run(burst, 60000));
    deliverSignals();

    QCOMPARE(trayIcon->state(), state);
    const bool changed = state != (item == QLatin1String("gps") ? 25 : 37);
    QCOMPARE(trayIcon->findChild<QTimer *>(QStringLiteral("hideTimer"))->isActive(), !changed);
}

QTEST_MAIN(TestPlatformItems)
#include "tst_platformitems.moc"
