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

QStringList s_warnings;

void recordWarning(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtWarningMsg)
        s_warnings.append(text);
}

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

    // The item starts charging at 55 % without alarm; commands are "set" lines, "; "-separated.
    const struct
    {
        const char *tag;
        const char *commands;
        int state;
        int percent;
        Alarm alarm;
        const char *logged;
    } rows[] = {
        {"NO_BATTERY_AC", "BATT_STATUS NO_BATTERY_AC", 4, 55, Alarm::None, ""},
        {"NO_BATTERY", "BATT_STATUS NO_BATTERY", 5, 55, Alarm::None, ""},
        {"DISCHARGING", "BATT_STATUS DISCHARGING", 6, 55, Alarm::None, ""},
        {"FULL_AC", "BATT_STATUS FULL_AC", 7, 55, Alarm::None, ""},
        {"CHARGING", "BATT_STATUS DISCHARGING; BATT_STATUS CHARGING", 8, 55, Alarm::None, ""},
        {"lower case hides", "BATT_STATUS charging", 0, 55, Alarm::None, ""},
        {"level", "BATT_LEVEL 15", 8, 15, Alarm::None, ""},
        {"level above 100", "BATT_LEVEL 150", 8, 100, Alarm::None, ""},
        {"level below 0", "BATT_LEVEL -5", 8, 0, Alarm::None, ""},
        {"level not a number", "BATT_LEVEL 4x", 8, 55, Alarm::None,
         "CBatterySystemTrayDataItem ignores BATT_LEVEL \"4x\": not a number"},
        {"LOW", "BATT_LEVEL 15; BATT_ALARM LOW", 8, 15, Alarm::Low, ""},
        {"LOW follows the level", "BATT_ALARM LOW; BATT_LEVEL 15", 8, 15, Alarm::Low, ""},
        {"CRITICAL", "BATT_LEVEL 4; BATT_ALARM CRITICAL; BATT_STATUS DISCHARGING", 6, 4,
         Alarm::Critical, ""},
        {"TEMPERATURE", "BATT_ALARM TEMPERATURE", 8, 55, Alarm::Temperature, ""},
        {"NONE clears", "BATT_ALARM LOW; BATT_ALARM NONE", 8, 55, Alarm::None, ""},
        {"unknown alarm ignored", "BATT_LEVEL 15; BATT_ALARM LOW; BATT_ALARM FIRE", 8, 15,
         Alarm::Low, "CBatterySystemTrayDataItem ignores BATT_ALARM \"FIRE\": not an alarm"},
    };
    for (const auto &row : rows) {
        QStringList commands;
        for (const QString &command : QString::fromLatin1(row.commands).split(QLatin1String("; ")))
            commands.append(QStringLiteral("set ") + command);
        QTest::newRow(row.tag) << commands << row.state << row.percent << (row.alarm != Alarm::None)
                               << CBatterySystemTrayDataItem::warningText(row.alarm, row.percent)
                               << QByteArray(row.logged);
    }
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
    s_warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(recordWarning);
    m_item->initialize();
    qInstallMessageHandler(previous);
    QCOMPARE(s_warnings.filter(QStringLiteral("Received NACK requesting value of BATT_")).size(),
             3);
    QCOMPARE(s_warnings.count(QStringLiteral("CBatterySystemTrayDataItem could not initialize")),
             1);
    QCOMPARE(icon()->state(), 0);
    QVERIFY(!icon()->isVisible());
}

QTEST_MAIN(TestBatteryItem)
#include "tst_batteryitem.moc"
