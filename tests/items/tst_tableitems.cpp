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
// a value that hides or keeps a state is seen to do so. Rows are named after their message.
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

    const QByteArray panel("ctrlpanelsvc"), home("homepage");
    // Any message; then a control-panel notification, taken; then one refused.
    const auto row = [&](const char *item, const QByteArray &setup, const QByteArray &source,
                         int type, const QByteArray &command, const QByteArray &params,
                         bool accepted, int state, const QString &warning = QString()) {
        QTest::newRow(qPrintable(item + QByteArray(": ") +
                                 (setup.isEmpty() ? "" : setup + " then ") + source + ' ' +
                                 QByteArray::number(type) + ' ' + command + ' ' + params))
            << item << setup << source << type << command << params << accepted << state << warning;
    };
    const auto taken = [&](const char *item, const QByteArray &setup, const QByteArray &params,
                           int state, const QString &warning = QString()) {
        row(item, setup, panel, kNotify, "notify", params, true, state, warning);
    };
    const auto refused = [&](const char *item, const QByteArray &source, int type,
                             const QByteArray &command, const QByteArray &params) {
        row(item, "", source, type, command, params, false, 0);
    };
    const auto value = [](const char *key, const char *text) {
        return QByteArray(key) + ",\"" + text + '"';
    };

    const QByteArray wifiOn = value("WIFI_CONNECT_STATUS", "ASSOCIATED");
    taken("wifi", "", wifiOn, 22);
    taken("wifi", wifiOn, value("WIFI_CONNECT_STATUS", "DISCONNECTED"), 21);
    for (const char *hiding : {"WIFI_DISABLED", "associated", "SCANNING"})
        taken("wifi", wifiOn, value("WIFI_CONNECT_STATUS", hiding), 0);
    taken("wifi", value("WIFI_CONNECT_STATUS", "DISCONNECTED"), value("WIFI_SIGNAL", "ASSOCIATED"),
          21);
    taken("wifi", "", value("WIFI_CONNECT_STATUSX", "ASSOCIATED"), 0);
    refused("wifi", home, kNotify, "notify", wifiOn);
    refused("wifi", panel, int(MessageType::Ack), "notify", wifiOn);

    row("audio", "initialize", panel, kNotify, "notify", value("AUDIO", "OFF"), false, 11);
    row("audio", "initialize", home, kCommand, "audio_hide", "", false, 11);

    const QByteArray vellumIdle = value("VELLUM_STATUS", "CONNECTED");
    const QByteArray vellumSuccess = value("VELLUM_STATUS", "SUCCESS");
    const QByteArray vellumError = value("VELLUM_STATUS", "ERROR 17");
    const QByteArray vellumSending = value("VELLUM_STATUS", "SENDING");
    for (const char *hiding : {"UNINITIALIZED", "NO_ACCOUNT_ID", ""})
        taken("vellum", vellumIdle, value("VELLUM_STATUS", hiding), 0);
    const QPair<const char *, int> vellumTexts[] = {{"SUCCESS, ERR 3 ignored", 17},
                                                    {"ERROR 17", 18},
                                                    {"FAILURE", 18},
                                                    {"SEND_ERROR", 18},
                                                    {"SENDING", 16},
                                                    {"RECEIVING", 16},
                                                    {"UPGRADING", 16},
                                                    {"DOWNLOADING", 16},
                                                    {"IDLE", 15},
                                                    {"success", 15}};
    for (const auto &text : vellumTexts)
        taken("vellum", "", value("VELLUM_STATUS", text.first), text.second);
    taken("vellum", vellumSending, value("VELLUM_ACCOUNT", "SUCCESS"), 16);
    // The page commands, of any type, clear a success or an error and nothing else.
    row("vellum", vellumSuccess, home, kCommand, "vellum_page_shown", "", true, 0);
    row("vellum", vellumError, home, kNotify, "vellum_page_hidden", "", true, 0);
    row("vellum", vellumSending, home, kCommand, "vellum_page_shown", "", true, 16);
    row("vellum", vellumIdle, home, int(MessageType::Ack), "vellum_page_hidden", "", true, 15);
    row("vellum", "", home, kCommand, "vellum_status", vellumSending, true, 16);
    refused("vellum", home, kCommand, "raise_screen", vellumSending);
    refused("vellum", panel, kCommand, "vellum_page_shown", "");

    const QByteArray job = value("JOBMANAGER_STATUS", "42%");
    taken("jobs", "", job, 19);
    taken("jobs", job, value("JOBMANAGER_STATUS", ""), 0);
    taken("jobs", job, value("JOBMANAGER_COUNT", ""), 19);
    row("jobs", job, home, kCommand, "jobmanager_closed", value("JOBMANAGER_COUNT", ""), true, 19);
    row("jobs", "", home, kNotify, "jobmanager_status", job, true, 19);
    refused("jobs", home, kCommand, "raise_screen", job);
    refused("jobs", "bluetooth", kNotify, "notify", job);

    const QByteArray ntp = value("SYNC_TIME_SOURCE", "NTP");
    taken("ntp", "", ntp, 20);
    for (const char *hiding : {"ntp", "GPS", "MANUAL", ""})
        taken("ntp", ntp, value("SYNC_TIME_SOURCE", hiding), 0);
    taken("ntp", "", value("SYNC_TIME_SOURCEX", "NTP"), 20);
    refused("ntp", home, kNotify, "notify", ntp);

    const QByteArray fault = value("FAN_ALARM_STATUS", "FAN ALARM FAULT");
    taken("fan", "", fault, 42);
    taken("fan", fault, value("FAN_ALARM_STATUS", "FAN ALARM CLEARED"), 0);
    taken("fan", fault, value("FAN_ALARM_STATUS", "fan alarm cleared"), 42,
          "wrong configValue: fan alarm cleared");
    taken("fan", "", value("FAN_ALARM_STATUS", "FAN ALARM FAULT "), 0,
          "wrong configValue: FAN ALARM FAULT ");
    taken("fan", "", value("FAN_ALARM_STATUS2", "FAN ALARM FAULT"), 42);
    refused("fan", home, kNotify, "notify", fault);

    const QByteArray laserOn = value("LASER_WARNING", "True");
    taken("laser", "", laserOn, 43);
    for (const char *clearing : {"False", "true", "TRUE", "1"})
        taken("laser", laserOn, value("LASER_WARNING", clearing), 0);
    row("laser", "", home, kNotify, "laser", laserOn, true, 43);
    row("laser", "", "vfl-daemon", kNotify, "notify", laserOn, true, 43);
    refused("laser", panel, kCommand, "notify", laserOn);
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
