#include "items/cbatterysystemtraydataitem.h"
#include "platform/beeper/beeper.h"
#include "platform/messaging/messageeventhandler.h"
#include "platform/widgets/cbatterystatuswidget.h"
#include "tray/csystemtraybatteryicon.h"
#include "tray/liveinstrument.h"

#include <QApplication>
#include <QMessageBox>
#include <QtTest>

#include <memory>

using glyphd::CBatterySystemTrayDataItem;
using glyphd::CSystemTrayBatteryIcon;
using Alarm = CBatterySystemTrayDataItem::Alarm;

namespace {

// Counts the simulator's TEST_MARK notifications. Registered after the item, it sees them after
// everything sent before them has reached the item.
class Marker : public platform::message::MessageEventHandler
{
public:
    bool acceptsMessage(const Message *message) override
    {
        return message->params().rfind("TEST_MARK", 0) == 0;
    }
    int count = 0;

protected:
    void processMessage(Message *) override { ++count; }
};

QMessageBox *shownWarning()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            return box;
    }
    return nullptr;
}

} // namespace

// The battery item against the real router and simulator; the simulator's control panel starts
// with a battery charging at 55 % without alarm.
class TestBatteryItem : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void startsFromThreeValuesAndRaisesPowerScreen();
    void notificationsRepaint_data();
    void notificationsRepaint();
    void failedRequestsLeaveTheItemHidden();

private:
    CSystemTrayBatteryIcon *icon() const
    {
        return m_iconOwner->findChild<CSystemTrayBatteryIcon *>();
    }
    // Runs the simulator commands and waits until the item has seen all of them.
    bool run(const QStringList &commands);

    LiveInstrument m_live;
    Beeper m_silentBeeper{QStringLiteral("/nonexistent")};
    std::unique_ptr<QObject> m_iconOwner;
    std::unique_ptr<CBatterySystemTrayDataItem> m_item;
    Marker m_marker;
    std::unique_ptr<LiveInstrument::Registration> m_itemRegistration;
    std::unique_ptr<LiveInstrument::Registration> m_markerRegistration;
};

void TestBatteryItem::initTestCase()
{
    Beeper::setProcessBeeper(&m_silentBeeper);
    QVERIFY(m_live.start(
        {"--set", "BATT_STATUS=CHARGING", "--set", "BATT_LEVEL=55", "--set", "BATT_ALARM=NONE"}));
}

void TestBatteryItem::init()
{
    // The control panel's values go back to the start; the item is made once they have passed.
    m_markerRegistration =
        std::make_unique<LiveInstrument::Registration>(*m_live.client, &m_marker);
    QVERIFY(m_live.simulator.command(QStringLiteral("mode get ack")));
    QVERIFY(run({"set BATT_STATUS CHARGING", "set BATT_LEVEL 55", "set BATT_ALARM NONE"}));

    m_iconOwner = std::make_unique<QObject>();
    m_item = std::make_unique<CBatterySystemTrayDataItem>(m_live.client.get(), m_iconOwner.get());
    QCOMPARE(icon()->state(), 0);
    QVERIFY(!icon()->isVisible());
    m_itemRegistration =
        std::make_unique<LiveInstrument::Registration>(*m_live.client, m_item.get());
}

void TestBatteryItem::cleanup()
{
    m_itemRegistration.reset();
    m_markerRegistration.reset();
    m_item.reset();
    m_iconOwner.reset();
}

bool TestBatteryItem::run(const QStringList &commands)
{
    for (const QString &command : commands) {
        if (!m_live.simulator.command(command))
            return false;
    }
    const int marks = m_marker.count + 1;
    if (!m_live.simulator.command(QStringLiteral("set TEST_MARK %1").arg(marks)))
        return false;
    return QTest::qWaitFor([&] { return m_marker.count >= marks; }, 10000);
}

void TestBatteryItem::startsFromThreeValuesAndRaisesPowerScreen()
{
    m_item->initialize();
    for (const char *key : {"BATT_STATUS", "BATT_LEVEL", "BATT_ALARM"}) {
        QJsonObject get;
        QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("ctrlpanelsvc"), QStringLiteral("get"),
                                             5000, &get));
        QCOMPARE(get.value(QStringLiteral("params")).toString(), QLatin1String(key));
    }
    QCOMPARE(icon()->state(), int(CSystemTrayBatteryIcon::ChargingState));
    QCOMPARE(icon()->gauge().chargePercentage(), 55);
    QCOMPARE(icon()->gauge().fillColor(), QColor(Qt::green));
    QCOMPARE(icon()->toolTip(), QStringLiteral("Battery/Charger"));
    QVERIFY(icon()->isVisible());

    emit icon()->activated(QSystemTrayIcon::Trigger);
    QJsonObject raise;
    QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"), QStringLiteral("raise_screen"),
                                         5000, &raise));
    QCOMPARE(raise.value(QStringLiteral("tokens")).toArray(), QJsonArray{QStringLiteral("POWER")});
}

void TestBatteryItem::notificationsRepaint_data()
{
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("percent");
    QTest::addColumn<bool>("red");
    QTest::addColumn<QString>("warning"); // empty: no warning on screen
    QTest::addColumn<QByteArray>("logged");

    const QString low = CBatterySystemTrayDataItem::warningText(Alarm::Low, 15);
    QTest::newRow("NO_BATTERY_AC") << QStringList{"set BATT_STATUS NO_BATTERY_AC"} << 4 << 55
                                   << false << QString() << QByteArray();
    QTest::newRow("NO_BATTERY") << QStringList{"set BATT_STATUS NO_BATTERY"} << 5 << 55 << false
                                << QString() << QByteArray();
    QTest::newRow("DISCHARGING") << QStringList{"set BATT_STATUS DISCHARGING"} << 6 << 55 << false
                                 << QString() << QByteArray();
    QTest::newRow("FULL_AC") << QStringList{"set BATT_STATUS FULL_AC"} << 7 << 55 << false
                             << QString() << QByteArray();
    QTest::newRow("CHARGING") << QStringList{"set BATT_STATUS DISCHARGING",
                                             "set BATT_STATUS CHARGING"}
                              << 8 << 55 << false << QString() << QByteArray();
    QTest::newRow("lower-case status hides")
        << QStringList{"set BATT_STATUS charging"} << 0 << 55 << false << QString() << QByteArray();
    QTest::newRow("level") << QStringList{"set BATT_LEVEL 15"} << 8 << 15 << false << QString()
                           << QByteArray();
    QTest::newRow("level above 100")
        << QStringList{"set BATT_LEVEL 150"} << 8 << 100 << false << QString() << QByteArray();
    QTest::newRow("level below 0")
        << QStringList{"set BATT_LEVEL -5"} << 8 << 0 << false << QString() << QByteArray();
    QTest::newRow("level not a number")
        << QStringList{"set BATT_LEVEL 4x"} << 8 << 55 << false << QString()
        << QByteArray("CBatterySystemTrayDataItem ignores BATT_LEVEL \"4x\": not a number");
    QTest::newRow("LOW") << QStringList{"set BATT_LEVEL 15", "set BATT_ALARM LOW"} << 8 << 15
                         << true << low << QByteArray();
    QTest::newRow("LOW follows the level") << QStringList{"set BATT_ALARM LOW", "set BATT_LEVEL 15"}
                                           << 8 << 15 << true << low << QByteArray();
    QTest::newRow("CRITICAL") << QStringList{"set BATT_LEVEL 4", "set BATT_ALARM CRITICAL",
                                             "set BATT_STATUS DISCHARGING"}
                              << 6 << 4 << true
                              << CBatterySystemTrayDataItem::warningText(Alarm::Critical, 4)
                              << QByteArray();
    QTest::newRow("TEMPERATURE") << QStringList{"set BATT_ALARM TEMPERATURE"} << 8 << 55 << true
                                 << CBatterySystemTrayDataItem::warningText(Alarm::Temperature, 55)
                                 << QByteArray();
    QTest::newRow("NONE clears") << QStringList{"set BATT_ALARM LOW", "set BATT_ALARM NONE"} << 8
                                 << 55 << false << QString() << QByteArray();
    QTest::newRow("unknown alarm ignored")
        << QStringList{"set BATT_LEVEL 15", "set BATT_ALARM LOW", "set BATT_ALARM FIRE"} << 8 << 15
        << true << low
        << QByteArray("CBatterySystemTrayDataItem ignores BATT_ALARM \"FIRE\": not an alarm");
}

void TestBatteryItem::notificationsRepaint()
{
    QFETCH(QStringList, commands);
    QFETCH(int, state);
    QFETCH(int, percent);
    QFETCH(bool, red);
    QFETCH(QString, warning);
    QFETCH(QByteArray, logged);

    m_item->initialize();
    QCOMPARE(icon()->state(), 8);
    if (!logged.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, logged.constData());
    QVERIFY(run(commands));

    QCOMPARE(icon()->state(), state);
    QCOMPARE(icon()->isVisible(), state != 0);
    if (state >= CSystemTrayBatteryIcon::DischargingState) {
        QCOMPARE(icon()->gauge().chargePercentage(), percent);
        QCOMPARE(icon()->gauge().fillColor(), red ? QColor(Qt::red) : QColor(Qt::green));
    }
    QMessageBox *box = shownWarning();
    QCOMPARE(box ? box->text() : QString(), warning);
    if (box)
        QCOMPARE(box->iconPixmap().toImage(), icon()->currentPixmap().toImage());
}

void TestBatteryItem::failedRequestsLeaveTheItemHidden()
{
    QVERIFY(m_live.simulator.command(QStringLiteral("mode get nack")));
    QVERIFY(m_live.simulator.sync());
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^Received NACK requesting value of BATT_"));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^Received NACK requesting value of BATT_"));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^Received NACK requesting value of BATT_"));
    QTest::ignoreMessage(QtWarningMsg, "CBatterySystemTrayDataItem could not initialize");
    m_item->initialize();
    QCOMPARE(icon()->state(), 0);
    QVERIFY(!icon()->isVisible());
}

QTEST_MAIN(TestBatteryItem)
#include "tst_batteryitem.moc"
