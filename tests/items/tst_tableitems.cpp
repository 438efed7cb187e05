// The Wi-Fi, audio, cloud sync, job manager, time source, fan alarm and laser items: each one's
// value table, acceptance rules and departures, against the real tray icon class, and their
// start-up values and taps through the real router client, router and simulator.
#include "items/caudiosystemtraydataitem.h"
#include "items/cfansystemtraydataitem.h"
#include "items/cjobmanagersystemtraydataitem.h"
#include "items/cntpsystemtraydataitem.h"
#include "items/cvellumsystemtraydataitem.h"
#include "items/cvflsystemtraydataitem.h"
#include "items/cwifisystemtraydataitem.h"
#include "items/itemtesting.h"
#include "tray/csystemtrayicon.h"
#include "tray/liveinstrument.h"

#include <QTimer>
#include <QtTest>

#include <functional>
#include <memory>

using glyphd::CSystemTrayIcon;

namespace {

// Any one of the items, built as the daemon builds it.
class AnyItem
{
public:
    virtual ~AnyItem() = default;
    virtual glyphd::CSystemTrayDataItem *item() const = 0;
    virtual CSystemTrayIcon *icon() const = 0;
    virtual bool offer(const QByteArray &params, const char *source, MessageType type,
                       const char *command) = 0;
};

template<class Item>
class TypedItem : public AnyItem
{
public:
    explicit TypedItem(SyncSenderClient *client)
        : m_item(client)
    {}
    glyphd::CSystemTrayDataItem *item() const override { return m_item.item(); }
    CSystemTrayIcon *icon() const override { return m_item.icon(); }
    bool offer(const QByteArray &params, const char *source, MessageType type,
               const char *command) override
    {
        return m_item.offer(params, source, type, command);
    }

private:
    ItemUnderTest<Item> m_item;
};

template<class Item>
std::unique_ptr<AnyItem> makeItem(SyncSenderClient *client)
{
    return std::make_unique<TypedItem<Item>>(client);
}

const QHash<QString, std::function<std::unique_ptr<AnyItem>(SyncSenderClient *)>> kItems = {
    {"wifi", makeItem<glyphd::CWifiSystemTrayDataItem>},
    {"audio", makeItem<glyphd::CAudioSystemTrayDataItem>},
    {"vellum", makeItem<glyphd::CVellumSystemTrayDataItem>},
    {"jobs", makeItem<glyphd::CJobManagerSystemTrayDataItem>},
    {"ntp", makeItem<glyphd::CNtpSystemTrayDataItem>},
    {"fan", makeItem<glyphd::CFanSystemTrayDataItem>},
    {"laser", makeItem<glyphd::CVflSystemTrayDataItem>},
};

const int kNotify = int(MessageType::Notification);
const int kCommand = int(MessageType::Command);

} // namespace

class TestTableItems : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup() { m_item.reset(); }

    void messageSelectsState_data();
    void messageSelectsState();
    void repeatedValueRefreshes_data();
    void repeatedValueRefreshes();
    void jobTextIsRedrawnBelowTheClipboard();
    void startsFromControlPanelAndTaps_data();
    void startsFromControlPanelAndTaps();

private:
    void make(const QString &name)
    {
        m_item = kItems.value(name)(m_live.client.get());
        QCOMPARE(m_item->icon()->state(), 0);
        QVERIFY(!m_item->icon()->isVisible());
    }
    bool notify(const QByteArray &params)
    {
        return m_item->offer(params, "ctrlpanelsvc", MessageType::Notification, "notify");
    }
    bool simulatorDoes(const QString &line)
    {
        return m_live.simulator.command(line) && m_live.simulator.sync();
    }

    LiveInstrument m_live;
    std::unique_ptr<AnyItem> m_item;
};

void TestTableItems::initTestCase()
{
    QVERIFY(m_live.start());
}

// "setup" is a control-panel notification given first (the audio item: "initialize"), so that
// a value that hides or keeps a state is seen to do so.
void TestTableItems::messageSelectsState_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QByteArray>("setup");
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("params");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("warning");

    const QByteArray panel("ctrlpanelsvc"), home("homepage"), notify("notify");
    const auto row = [&](const char *name, const char *item, const QByteArray &setup,
                         const QByteArray &source, int type, const QByteArray &command,
                         const QByteArray &params, bool accepted, int state,
                         const QString &warning = QString()) {
        QTest::newRow(name) << item << setup << source << type << command << params << accepted
                            << state << warning;
    };
    const QByteArray wifiOn("WIFI_CONNECT_STATUS,\"ASSOCIATED\"");
    row("wifi associated", "wifi", "", panel, kNotify, notify, wifiOn, true, 22);
    row("wifi disconnected", "wifi", wifiOn, panel, kNotify, notify,
        "WIFI_CONNECT_STATUS,\"DISCONNECTED\"", true, 21);
    row("wifi disabled", "wifi", wifiOn, panel, kNotify, notify,
        "WIFI_CONNECT_STATUS,\"WIFI_DISABLED\"", true, 0);
    row("wifi lower case", "wifi", wifiOn, panel, kNotify, notify,
        "WIFI_CONNECT_STATUS,\"associated\"", true, 0);
    row("wifi unknown", "wifi", wifiOn, panel, kNotify, notify, "WIFI_CONNECT_STATUS,\"SCANNING\"",
        true, 0);
    row("wifi other key", "wifi", "WIFI_CONNECT_STATUS,\"DISCONNECTED\"", panel, kNotify, notify,
        "WIFI_SIGNAL,\"ASSOCIATED\"", true, 21);
    row("wifi longer key", "wifi", "", panel, kNotify, notify,
        "WIFI_CONNECT_STATUSX,\"ASSOCIATED\"", true, 0);
    row("wifi from home page", "wifi", "", home, kNotify, notify, wifiOn, false, 0);
    row("wifi reply", "wifi", "", panel, int(MessageType::Ack), notify, wifiOn, false, 0);

    row("audio notification", "audio", "initialize", panel, kNotify, notify, "AUDIO,\"OFF\"", false,
        11);
    row("audio command", "audio", "initialize", home, kCommand, "audio_hide", "", false, 11);

    const QByteArray vellumIdle("VELLUM_STATUS,\"CONNECTED\"");
    const QByteArray vellumSuccess("VELLUM_STATUS,\"SUCCESS\"");
    const QByteArray vellumError("VELLUM_STATUS,\"ERROR 17\"");
    const QByteArray vellumSending("VELLUM_STATUS,\"SENDING\"");
    row("vellum uninitialized", "vellum", vellumIdle, panel, kNotify, notify,
        "VELLUM_STATUS,\"UNINITIALIZED\"", true, 0);
    row("vellum no account", "vellum", vellumIdle, panel, kNotify, notify,
        "VELLUM_STATUS,\"NO_ACCOUNT_ID\"", true, 0);
    row("vellum empty", "vellum", vellumIdle, panel, kNotify, notify, "VELLUM_STATUS,\"\"", true,
        0);
    row("vellum success before error", "vellum", "", panel, kNotify, notify,
        "VELLUM_STATUS,\"SUCCESS, ERR 3 ignored\"", true, 17);
    row("vellum error", "vellum", "", panel, kNotify, notify, vellumError, true, 18);
    row("vellum failure", "vellum", "", panel, kNotify, notify, "VELLUM_STATUS,\"FAILURE\"", true,
        18);
    row("vellum error before sending", "vellum", "", panel, kNotify, notify,
        "VELLUM_STATUS,\"SEND_ERROR\"", true, 18);
    row("vellum sending", "vellum", "", panel, kNotify, notify, vellumSending, true, 16);
    row("vellum receiving", "vellum", "", panel, kNotify, notify, "VELLUM_STATUS,\"RECEIVING\"",
        true, 16);
    row("vellum upgrading", "vellum", "", panel, kNotify, notify, "VELLUM_STATUS,\"UPGRADING\"",
        true, 16);
    row("vellum downloading", "vellum", "", panel, kNotify, notify, "VELLUM_STATUS,\"DOWNLOADING\"",
        true, 16);
    row("vellum idle", "vellum", "", panel, kNotify, notify, "VELLUM_STATUS,\"IDLE\"", true, 15);
    row("vellum lower case", "vellum", "", panel, kNotify, notify, "VELLUM_STATUS,\"success\"",
        true, 15);
    row("vellum other key", "vellum", vellumSending, panel, kNotify, notify,
        "VELLUM_ACCOUNT,\"SUCCESS\"", true, 16);
    row("vellum shown clears success", "vellum", vellumSuccess, home, kCommand, "vellum_page_shown",
        "", true, 0);
    row("vellum hidden clears error", "vellum", vellumError, home, kNotify, "vellum_page_hidden",
        "", true, 0);
    row("vellum shown keeps sending", "vellum", vellumSending, home, kCommand, "vellum_page_shown",
        "", true, 16);
    row("vellum hidden keeps idle", "vellum", vellumIdle, home, int(MessageType::Ack),
        "vellum_page_hidden", "", true, 15);
    row("vellum home page status", "vellum", "", home, kCommand, "vellum_status", vellumSending,
        true, 16);
    row("vellum raise_screen", "vellum", vellumSuccess, home, kCommand, "raise_screen", "", false,
        17);
    row("vellum page command from panel", "vellum", vellumSuccess, panel, kCommand,
        "vellum_page_shown", "", false, 17);

    const QByteArray job("JOBMANAGER_STATUS,\"42%\"");
    row("jobs text", "jobs", "", panel, kNotify, notify, job, true, 19);
    row("jobs empty", "jobs", job, panel, kNotify, notify, "JOBMANAGER_STATUS,\"\"", true, 0);
    row("jobs other key", "jobs", job, panel, kNotify, notify, "JOBMANAGER_COUNT,\"\"", true, 19);
    row("jobs home page without key", "jobs", job, home, kCommand, "jobmanager_closed",
        "JOBMANAGER_COUNT,\"\"", true, 19);
    row("jobs home page status", "jobs", "", home, kNotify, "jobmanager_status", job, true, 19);
    row("jobs raise_screen", "jobs", "", home, kCommand, "raise_screen", job, false, 0);
    row("jobs from elsewhere", "jobs", "", "bluetooth", kNotify, notify, job, false, 0);

    row("ntp", "ntp", "", panel, kNotify, notify, "SYNC_TIME_SOURCE,\"NTP\"", true, 20);
    const QByteArray ntp("SYNC_TIME_SOURCE,\"NTP\"");
    for (const char *other : {"ntp", "GPS", "MANUAL", ""}) {
        row(QByteArray("ntp then ") + other, "ntp", ntp, panel, kNotify, notify,
            "SYNC_TIME_SOURCE,\"" + QByteArray(other) + '"', true, 0);
    }
    row("ntp longer key", "ntp", "", panel, kNotify, notify, "SYNC_TIME_SOURCEX,\"NTP\"", true, 20);
    row("ntp from home page", "ntp", "", home, kNotify, notify, ntp, false, 0);

    const QByteArray fault("FAN_ALARM_STATUS,\"FAN ALARM FAULT\"");
    row("fan fault", "fan", "", panel, kNotify, notify, fault, true, 42);
    row("fan cleared", "fan", fault, panel, kNotify, notify,
        "FAN_ALARM_STATUS,\"FAN ALARM CLEARED\"", true, 0);
    row("fan lower case", "fan", fault, panel, kNotify, notify,
        "FAN_ALARM_STATUS,\"fan alarm cleared\"", true, 42, "wrong configValue: fan alarm cleared");
    row("fan trailing blank", "fan", "", panel, kNotify, notify,
        "FAN_ALARM_STATUS,\"FAN ALARM FAULT \"", true, 0, "wrong configValue: FAN ALARM FAULT ");
    row("fan longer key", "fan", "", panel, kNotify, notify,
        "FAN_ALARM_STATUS2,\"FAN ALARM FAULT\"", true, 42);
    row("fan from home page", "fan", "", home, kNotify, notify, fault, false, 0);

    const QByteArray laserOn("LASER_WARNING,\"True\"");
    row("laser on", "laser", "", panel, kNotify, notify, laserOn, true, 43);
    for (const char *other : {"False", "true", "TRUE", "1"}) {
        row(QByteArray("laser then ") + other, "laser", laserOn, panel, kNotify, notify,
            "LASER_WARNING,\"" + QByteArray(other) + '"', true, 0);
    }
    row("laser from home page", "laser", "", home, kNotify, "laser", laserOn, true, 43);
    row("laser from anyone", "laser", "", "fvl-daemon", kNotify, notify, laserOn, true, 43);
    row("laser command", "laser", "", panel, kCommand, notify, laserOn, false, 0);
}

void TestTableItems::messageSelectsState()
{
    QFETCH(QString, item);
    QFETCH(QByteArray, setup);
    QFETCH(QByteArray, source);
    QFETCH(int, type);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, params);
    QFETCH(bool, accepted);
    QFETCH(int, state);
    QFETCH(QString, warning);

    make(item);
    if (setup == "initialize")
        m_item->item()->initialize();
    else if (!setup.isEmpty())
        QVERIFY(notify(setup));
    const int before = m_item->icon()->state();
    if (!warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));

    QCOMPARE(m_item->offer(params, source.constData(), MessageType(type), command.constData()),
             accepted);
    QCOMPARE(m_item->icon()->state(), accepted ? state : before);
    QCOMPARE(m_item->icon()->isVisible(), state != 0);
}

// A refresh stops a running auto-hide; an item that refreshes only on a change must leave it
// running when a value keeps the state.
void TestTableItems::repeatedValueRefreshes_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QByteArray>("params"); // given twice; "initialize": initialised twice
    QTest::addColumn<bool>("refreshes");
    QTest::newRow("wifi") << "wifi" << QByteArray("WIFI_CONNECT_STATUS,\"DISCONNECTED\"") << false;
    QTest::newRow("audio") << "audio" << QByteArray("initialize") << false;
    QTest::newRow("vellum") << "vellum" << QByteArray("VELLUM_STATUS,\"SENDING\"") << false;
    QTest::newRow("ntp") << "ntp" << QByteArray("SYNC_TIME_SOURCE,\"NTP\"") << false;
    QTest::newRow("laser") << "laser" << QByteArray("LASER_WARNING,\"True\"") << false;
    QTest::newRow("jobs") << "jobs" << QByteArray("JOBMANAGER_STATUS,\"42%\"") << true;
    QTest::newRow("fan") << "fan" << QByteArray("FAN_ALARM_STATUS,\"FAN ALARM FAULT\"") << true;
}

void TestTableItems::repeatedValueRefreshes()
{
    QFETCH(QString, item);
    QFETCH(QByteArray, params);
    QFETCH(bool, refreshes);

    make(item);
    const auto give = [&] {
        if (params == "initialize")
            m_item->item()->initialize();
        else
            QVERIFY(notify(params));
    };
    give();
    CSystemTrayIcon *icon = m_item->icon();
    QVERIFY(icon->isVisible());
    icon->findChild<QTimer *>(QStringLiteral("showTimer"))->stop();
    icon->showBalloon(QStringLiteral("hiding soon"), QSystemTrayIcon::Information,
                      QStringLiteral("default"), 60000, true);
    give();
    QCOMPARE(!icon->findChild<QTimer *>(QStringLiteral("hideTimer"))->isActive(), refreshes);
}

// The text goes white into the rectangle 2, 22, 38, 16 of the picture and is drawn anew for
// every value; above the rectangle the picture stays as it is.
void TestTableItems::jobTextIsRedrawnBelowTheClipboard()
{
    make(QStringLiteral("jobs"));
    const QImage bare =
        QImage(CSystemTrayIcon::iconFileForState(19)).convertToFormat(QImage::Format_ARGB32);
    QVERIFY(!bare.isNull());
    QImage pictures[2];
    const QByteArray texts[2] = {"42%", "43%"};
    for (int i = 0; i < 2; ++i) {
        QVERIFY(notify("JOBMANAGER_STATUS,\"" + texts[i] + '"'));
        QCOMPARE(m_item->icon()->state(), 19);
        pictures[i] =
            m_item->icon()->currentPixmap().toImage().convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(pictures[i].size(), bare.size());
        int whiteBelow = 0;
        for (int y = 0; y < bare.height(); ++y) {
            for (int x = 0; x < bare.width(); ++x) {
                const QRgb pixel = pictures[i].pixel(x, y);
                if (y < 22 || x < 2)
                    QVERIFY2(pixel == bare.pixel(x, y),
                             qPrintable(QStringLiteral("%1,%2").arg(x).arg(y)));
                else if (pixel != bare.pixel(x, y) && qAlpha(pixel) > 0)
                    whiteBelow += qMin(qMin(qRed(pixel), qGreen(pixel)), qBlue(pixel)) > 240;
            }
        }
        QVERIFY2(whiteBelow > 6, texts[i].constData());
    }
    QVERIFY(pictures[0] != pictures[1]);
    QVERIFY(m_item->icon()
                ->icon()
                .pixmap(bare.size())
                .toImage()
                .convertToFormat(QImage::Format_ARGB32) == pictures[1]);
}

// The value the control panel holds at start-up (or none), the warning when it has none, and
// what a tap sends to the home page.
void TestTableItems::startsFromControlPanelAndTaps_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("initFailure");
    QTest::addColumn<QString>("tapCommand");
    QTest::addColumn<QStringList>("tapTokens");
    QTest::newRow("wifi") << "wifi"
                          << "WIFI_CONNECT_STATUS"
                          << "ASSOCIATED" << 22 << "CWifiSystemTrayDataItem could not initialize"
                          << "raise_screen" << QStringList{"NETWORK"};
    QTest::newRow("audio") << "audio" << QString() << QString() << 11 << QString() << "raise_screen"
                           << QStringList{"AUDIO"};
    QTest::newRow("vellum") << "vellum"
                            << "VELLUM_STATUS"
                            << "SUCCESS" << 17 << "CVellumSystemTrayDataItem failed to initialized"
                            << "raise_screen" << QStringList{"VELLUM"};
    QTest::newRow("jobs") << "jobs"
                          << "JOBMANAGER_STATUS"
                          << "42%" << 19 << "CJobManagerSystemTrayDataItem failed to initialized"
                          << "raise_jobmanager" << QStringList();
    QTest::newRow("ntp") << "ntp"
                         << "SYNC_TIME_SOURCE"
                         << "NTP" << 20 << "CNtpSystemDataItem could not initialize"
                         << "raise_screen" << QStringList{"DATETIME"};
    QTest::newRow("fan") << "fan"
                         << "FAN_ALARM_STATUS"
                         << "FAN ALARM FAULT" << 42 << "CFanSystemTrayDataItem could not initialize"
                         << "raise_screen" << QStringList{"FAN"};
    // Asks nothing: the laser's value is set, but the icon waits for a notification.
    QTest::newRow("laser") << "laser"
                           << "LASER_WARNING"
                           << "True" << 0 << QString() << "raise_screen" << QStringList{""};
}

void TestTableItems::startsFromControlPanelAndTaps()
{
    QFETCH(QString, item);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(int, state);
    QFETCH(QString, initFailure);
    QFETCH(QString, tapCommand);
    QFETCH(QStringList, tapTokens);

    if (!key.isEmpty())
        QVERIFY(simulatorDoes(QStringLiteral("set %1 %2").arg(key, value)));
    make(item);
    const auto requestsOfKey = [&] {
        int count = 0;
        for (const QJsonObject &event : m_live.simulator.events()) {
            count += event.value("event") == "recv" && event.value("command") == "get" &&
                     event.value("params") == key;
        }
        return count;
    };
    const int requestsBefore = requestsOfKey();
    m_item->item()->initialize();
    QCOMPARE(m_item->icon()->state(), state);
    QCOMPARE(m_item->icon()->isVisible(), state != 0);
    QVERIFY(simulatorDoes(QStringLiteral("echo requests")));
    QCOMPARE(requestsOfKey() - requestsBefore, initFailure.isEmpty() ? 0 : 1);

    const auto homePageMessages = [&] {
        int count = 0;
        for (const QJsonObject &event : m_live.simulator.events())
            count += event.value("event") == "recv" && event.value("to") == "homepage";
        return count;
    };
    const int homePageBefore = homePageMessages();
    emit m_item->icon()->activated(QSystemTrayIcon::Trigger);
    QJsonObject tap;
    QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"), tapCommand, 5000, &tap));
    QCOMPARE(tap.value("from").toString(), QStringLiteral("glyphd"));
    QCOMPARE(tap.value("type").toInt(), kCommand);
    QCOMPARE(tap.value("tokens").toVariant().toStringList(),
             tapTokens == QStringList{""} ? QStringList() : tapTokens);
    QCOMPARE(tap.value("params").toString(), tapTokens.value(0));
    QVERIFY(simulatorDoes(QStringLiteral("echo taps")));
    QCOMPARE(homePageMessages() - homePageBefore, 1); // the job manager: no raise_screen too

    // A control panel that refuses: the item's own warning, and the icon stays hidden.
    if (initFailure.isEmpty())
        return;
    make(item);
    QVERIFY(simulatorDoes(QStringLiteral("mode get nack")));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^Received NACK requesting value of " + key));
    QTest::ignoreMessage(QtWarningMsg, qPrintable(initFailure));
    m_item->item()->initialize();
    QVERIFY(simulatorDoes(QStringLiteral("mode get ack")));
    QCOMPARE(m_item->icon()->state(), 0);
}

QTEST_MAIN(TestTableItems)
#include "tst_tableitems.moc"
