// The status items that follow the control panel: what each message makes of the icon and of
// its balloons, against the real tray icon class; their start-up values and taps, and the item
// base's requests and notifications, through the real router client, router and simulator.
#include "items/caudiosystemtraydataitem.h"
#include "items/cbatterysystemtraydataitem.h"
#include "items/cbluetoothsystemtraydataitem.h"
#include "items/cfansystemtraydataitem.h"
#include "items/cjobmanagersystemtraydataitem.h"
#include "items/cntpsystemtraydataitem.h"
#include "items/cr7300msystemtraydataitem.h"
#include "items/cusbflashsystemtraydataitem.h"
#include "items/cvellumsystemtraydataitem.h"
#include "items/cvflsystemtraydataitem.h"
#include "items/cvncsystemtraydataitem.h"
#include "items/cwifisystemtraydataitem.h"
#include "items/itemtesting.h"
#include "platform/beeper/beeper.h"
#include "tray/liveinstrument.h"

#include <QApplication>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QThread>

#include <functional>

using namespace glyphd;

namespace {

// Takes the control panel's PROBE_ notifications and records what reaches processMessage, and
// on which thread.
class ProbeItem : public CSystemTrayDataItem
{
public:
    using CSystemTrayDataItem::CSystemTrayDataItem;
    using CSystemTrayDataItem::requestValue;
    bool acceptsMessage(const Message *message) override
    {
        return acceptsNotification(message, "PROBE_");
    }

    void initialize() override {}
    QList<QPair<KeyValue, QThread *>> received;

protected:
    void processMessage(Message *message) override
    {
        received.append({readKeyValue(message), QThread::currentThread()});
    }
};

template<class Item>
constexpr auto make = AnyItem::make<Item>;
const QHash<QString, std::function<std::unique_ptr<AnyItem>(SyncSenderClient *)>> kItems = {
    {"wifi", make<CWifiSystemTrayDataItem>},     {"audio", make<CAudioSystemTrayDataItem>},
    {"vellum", make<CVellumSystemTrayDataItem>}, {"jobs", make<CJobManagerSystemTrayDataItem>},
    {"ntp", make<CNtpSystemTrayDataItem>},       {"fan", make<CFanSystemTrayDataItem>},
    {"laser", make<CVflSystemTrayDataItem>},     {"vnc", make<CVncSystemTrayDataItem>},
    {"usb", make<CUsbFlashSystemTrayDataItem>},  {"bluetooth", make<CBluetoothSystemTrayDataItem>},
    {"scope", make<CR7300mSystemTrayDataItem>},  {"battery", make<CBatterySystemTrayDataItem>},
};

// A notification's parameters: key and value, quoted as the control panel quotes them.
QByteArray kv(const QByteArray &key, QByteArray value)
{
    return key + ",\"" + value.replace('"', "\"\"") + '"';
}
// A device list in the control panel's form, from "path=state" pairs.
QByteArray devices(const QByteArrayList &pairs)
{
    QByteArray xml("<flashlist>");
    for (const QByteArray &pair : pairs)
        xml += "<device path=\"" + pair.split('=').value(0) + "\" state=\"" +
               pair.split('=').value(1) + "\"/>";
    return kv("FLASH_LIST", xml + "</flashlist>");
}

const MessageType N = MessageType::Notification, C = MessageType::Command, A = MessageType::Ack;
// Balloons as the tray gets them: kind 1 is information, 3 critical.
const QString kRemember = "Please remember to eject the device from the Removable Storage system "
                          "page before removing it.";
const QString kSafeText = "Removable Storage | The device has been ejected and is safe to remove.",
              kCorruptedText = "Removable Storage | The device was removed without being ejected. "
                               "Data may be corrupted.";
const QString kReminder = "Removable Storage | " + kRemember + " | 1 | 5000",
              kSafe = kSafeText + " | 1 | 10000", kSafeLast = kSafeText + " | 3 | 10000",
              kCorrupted = kCorruptedText + " | 1 | 10000",
              kCorruptedLast = kCorruptedText + " | 3 | 10000";
const QString kFormatting = "Removable Storage | Formatting device. Do not remove device until "
                            "process is completed. | 1 | 10000",
              kFormatted = "Removable Storage | Format complete. " + kRemember + " | 1 | 10000";
const QString kPairing = "Bluetooth | Pair requested. You may go to the Bluetooth system page to "
                         "complete the pair by clicking on the icon above. | 1 | 10000";
const QString kReceived = "Bluetooth | File received and placed in the bluetooth inbox.\n"
                          "Filename: \"a b\",c.txt | 1 | 10000";
const QString kWrongPort = "Microscope Error | The R7300m Microscope will not function in this "
                           "USB port.  Please use the other USB port. | 3 | 10000",
              kUnsupported = "Lumiscope Not Supported | The Lumiscope microscope is not supported "
                             "on this instrument. | 3 | 99999";

QByteArray scopeError(const char *value)
{
    return kv("SCOPE_ERROR", value);
}

// The battery as it starts, charging at 55 % without an alarm, and what it is told next.
QByteArrayList battery(const QByteArrayList &next = {})
{
    return QByteArrayList{kv("BATT_STATUS", "CHARGING"), kv("BATT_LEVEL", "55"),
                          kv("BATT_ALARM", "NONE")} +
           next;
}
QString low(int percent)
{
    return QStringLiteral("Battery level is low (%1%). Connect the AC adapter.").arg(percent);
}
const QString kCritical = "Battery level is critical (4%). Connect the AC adapter now or the "
                          "instrument will shut down.",
              kHot = "Battery temperature is out of range. Charging is suspended.";

// One message offered to a new item and what must come of it. "given" are control-panel
// notifications offered first ("initialize": the item's start-up; "hiding": a balloon that hides
// the icon when it ends, see armAutoHide), whose balloons do not count.
constexpr int kRefused = -1; // as a state: the item does not take the message
struct MessageRow
{
    const char *item;
    QByteArrayList given;
    QByteArray params;
    int state;
    QStringList told = {}; // the balloons, then the text of a warning box left on screen
    bool autoHide = false; // the icon hides when the balloon ends, or at once when it is tapped
    const char *sender = "ctrlpanelsvc";
    MessageType type = MessageType::Notification;
    const char *command = "notify";
    const char *warning = nullptr; // logged by the item
};

// The text of the warning box on screen, if any.
QStringList warningShown()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            return {box->text()};
    }
    return {};
}

void runMessageRow(AnyItem &item, const MessageRow &row)
{
    for (const QByteArray &given : row.given) {
        if (given == "initialize")
            item.item()->initialize();
        else if (given == "hiding")
            item.armAutoHide();
        else
            QVERIFY2(item.offer(given), given.constData());
    }
    item.settle();
    const int before = item.icon()->state();
    item.balloons.clear();
    if (row.warning)
        QTest::ignoreMessage(QtWarningMsg, row.warning);
    QCOMPARE(item.offer(row.params, row.sender, row.type, row.command), row.state != kRefused);
    QCOMPARE(item.icon()->state(), row.state == kRefused ? before : row.state);
    QCOMPARE(item.balloons + warningShown(), row.told);
    QCOMPARE(item.icon()->isVisible(), item.icon()->state() != 0);
    QCOMPARE(item.autoHiding(), row.autoHide);
    if (row.autoHide) {
        emit item.icon()->messageClicked();
        QVERIFY(!item.icon()->isVisible());
    }
}

// clang-format off
const QByteArray wifiOn = kv("WIFI_CONNECT_STATUS", "ASSOCIATED"), vellumIdle = kv("VELLUM_STATUS", "CONNECTED"),
    vellumSending = kv("VELLUM_STATUS", "SENDING"), job = kv("JOBMANAGER_STATUS", "42%"), ntp = kv("SYNC_TIME_SOURCE", "NTP"),
    fault = kv("FAN_ALARM_STATUS", "FAN ALARM FAULT"), laserOn = kv("LASER_WARNING", "True"), vnc2 = kv("VNC_USERS", "2"),
    usbA = devices({"/a=MOUNTED"}), usbAB = devices({"/a=MOUNTED", "/b=MOUNTED"}), usbNone = devices({}),
    ejectingA = devices({"/a=EJECTING"}), ejectingAB = devices({"/a=EJECTING", "/b=MOUNTED"}), usbB = devices({"/b=MOUNTED"}),
    formatting = kv("FLASH_FORMAT", "sdb1"), btFile = "BLUE_OBEX_FILE_RCVD", hiding = "hiding",
    pairing = kv("BLUE_PAIRING_STATE", "SSP_RESPONDER");
const char *panel = "ctrlpanelsvc", *home = "homepage", *bt = "bluetooth";

// One row per behaviour. The item base's rules show on Wi-Fi: a case-sensitive value, a longer
// key that misses, and the senders and types it refuses; the other items show where they depart.
const MessageRow kMessageRows[] = {
    {"wifi", {}, wifiOn, 22}, {"wifi", {wifiOn}, kv("WIFI_CONNECT_STATUS", "DISCONNECTED"), 21},
    {"wifi", {wifiOn}, kv("WIFI_CONNECT_STATUS", "associated"), 0}, {"wifi", {}, kv("WIFI_CONNECT_STATUSX", "ASSOCIATED"), 0},
    {"wifi", {}, wifiOn, kRefused, {}, false, home}, {"wifi", {}, wifiOn, kRefused, {}, false, panel, A},
    {"audio", {"initialize"}, kv("AUDIO", "OFF"), kRefused}, {"audio", {"initialize"}, "", kRefused, {}, false, home, C, "audio_hide"},
    // The cloud sync rules in their order, then the page commands, of any type, which clear a
    // success or an error and nothing else.
    {"vellum", {vellumIdle}, kv("VELLUM_STATUS", "UNINITIALIZED"), 0}, {"vellum", {}, kv("VELLUM_STATUS", "SUCCESS, ERR 3 ignored"), 17},
    {"vellum", {}, kv("VELLUM_STATUS", "ERROR 17"), 18}, {"vellum", {}, kv("VELLUM_STATUS", "RECEIVING"), 16},
    {"vellum", {}, kv("VELLUM_STATUS", "success"), 15}, {"vellum", {vellumSending}, kv("VELLUM_ACCOUNT", "SUCCESS"), 16},
    {"vellum", {kv("VELLUM_STATUS", "SUCCESS")}, "", 0, {}, false, home, C, "vellum_page_shown"},
    {"vellum", {kv("VELLUM_STATUS", "ERROR 17")}, "", 0, {}, false, home, N, "vellum_page_hidden"},
    {"vellum", {vellumSending}, "", 16, {}, false, home, A, "vellum_page_shown"},
    {"vellum", {}, vellumSending, 16, {}, false, home, C, "vellum_status"},
    {"vellum", {}, vellumSending, kRefused, {}, false, home, C, "raise_screen"},
    {"vellum", {}, "", kRefused, {}, false, panel, C, "vellum_page_shown"},
    {"jobs", {}, job, 19}, {"jobs", {job}, kv("JOBMANAGER_STATUS", ""), 0}, {"jobs", {job}, kv("JOBMANAGER_COUNT", ""), 19},
    {"jobs", {}, job, 19, {}, false, home, N, "jobmanager_status"},
    // The clock's source and the remote users take a longer key.
    {"ntp", {}, ntp, 20}, {"ntp", {}, kv("SYNC_TIME_SOURCEX", "NTP"), 20},
    {"fan", {}, fault, 42}, {"fan", {fault}, kv("FAN_ALARM_STATUS", "FAN ALARM CLEARED"), 0},
    {"fan", {fault}, kv("FAN_ALARM_STATUS", "fan alarm cleared"), 42, {}, false, panel, N, "notify", "wrong configValue: fan alarm cleared"},
    {"laser", {}, laserOn, 43}, {"laser", {}, laserOn, 43, {}, false, "vfl-daemon"},
    {"vnc", {vnc2}, kv("VNC_USERS", "-3"), 0}, {"vnc", {vnc2}, kv("VNC_USERS", "abc"), 0}, {"vnc", {}, kv("VNC_USERS", "1"), 9},
    {"vnc", {}, kv("VNC_USERS", "17"), 10}, {"vnc", {}, kv("VNC_USERSX", "2"), 10}, {"vnc", {}, kv("VNC_USER", "2"), kRefused},
    // Removable storage: the device list before, and the one that follows.
    {"usb", {usbNone}, usbA, 2, {kReminder}}, {"usb", {usbA}, usbAB, 2}, {"usb", {usbAB}, usbA, 3, {kCorrupted}},
    {"usb", {ejectingA}, usbNone, 1, {kSafeLast}, true}, {"usb", {ejectingA, kv("FLASH_FORMAT", "YES")}, usbNone, 1},
    {"usb", {ejectingAB}, usbB, 1, {kSafe}}, {"usb", {usbA}, usbNone, 3, {kCorruptedLast}, true}, {"usb", {usbA}, ejectingA, 2},
    {"usb", {devices({"/a=MOUNTED", "/a=EJECTING"})}, usbNone, 1, {kSafeLast}, true},
    {"usb", {kv("FLASH_LIST", "<x>text<!-- c --><d path=\"/a\"/><e path=\"/b\"/><d path=\"/c\"/></x>")}, devices({"/a=MOUNTED", "/c=MOUNTED"}), 2},
    {"usb", {usbA}, kv("FLASH_LIST", "<l><d path=\"/a\""), 3, {kCorruptedLast}, true},
    {"usb", {usbA}, formatting, 2, {kFormatting}}, {"usb", {usbA, formatting}, kv("FLASH_FORMAT", ""), 2, {kFormatted}},
    // Bluetooth: its own service may not set the icon, but may send a file; a pairing request or
    // a file pops its balloon each time.
    {"bluetooth", {}, kv("BLUE_ENABLED", "YES"), 12}, {"bluetooth", {}, kv("BLUE_ENABLED", "YES"), kRefused, {}, false, bt},
    {"bluetooth", {pairing}, pairing, 0, {kPairing}}, {"bluetooth", {}, kv("BLUE_PAIRING_STATE", "PIN_ENTRY_RESPONDER"), 0, {kPairing}},
    {"bluetooth", {}, "\"a b\",c.txt", 0, {kReceived}, false, panel, N, btFile},
    {"bluetooth", {}, "", 0, {}, false, bt, N, btFile}, {"bluetooth", {}, "photo.jpg", kRefused, {}, false, home, N, btFile},
    {"bluetooth", {}, "photo.jpg", kRefused, {}, false, bt, C, btFile},
    // The microscope takes its reports from any sender, and warns once per change.
    {"scope", {}, scopeError("Unsupported"), 14, {kUnsupported}}, {"scope", {}, scopeError("true"), 0},
    {"scope", {scopeError("True")}, scopeError("True"), 13}, {"scope", {scopeError("True"), scopeError("False")}, scopeError("True"), 13, {kWrongPort}},
    {"scope", {scopeError("Unsupported")}, scopeError("gone"), 0},
    // The battery: the text of its warning box shows what it made of the level.
    {"battery", battery({kv("BATT_ALARM", "LOW")}), kv("BATT_LEVEL", "150"), 8, {low(100)}},
    {"battery", battery({kv("BATT_ALARM", "LOW")}), kv("BATT_LEVEL", "-5"), 8, {low(0)}},
    {"battery", battery({kv("BATT_LEVEL", "15")}), kv("BATT_ALARM", "LOW"), 8, {low(15)}},
    {"battery", battery({kv("BATT_LEVEL", "4"), kv("BATT_ALARM", "CRITICAL")}), kv("BATT_STATUS", "DISCHARGING"), 6, {kCritical}},
    {"battery", battery(), kv("BATT_ALARM", "TEMPERATURE"), 8, {kHot}}, {"battery", battery({kv("BATT_ALARM", "LOW")}), kv("BATT_ALARM", "NONE"), 8},
    {"battery", battery({kv("BATT_ALARM", "LOW")}), kv("BATT_LEVEL", "4x"), 8, {low(55)}, false, panel, N, "notify",
     "CBatterySystemTrayDataItem ignores BATT_LEVEL \"4x\": not a number"},
    {"battery", battery({kv("BATT_LEVEL", "15"), kv("BATT_ALARM", "LOW")}), kv("BATT_ALARM", "FIRE"), 8, {low(15)}, false, panel, N, "notify",
     "CBatterySystemTrayDataItem ignores BATT_ALARM \"FIRE\": not an alarm"},
    // A refresh of the icon stops a running auto-hide ("hiding"); only the job manager and the fan
    // alarm refresh on every value, the others only when the state changes.
    {"wifi", {kv("WIFI_CONNECT_STATUS", "DISCONNECTED"), hiding}, kv("WIFI_CONNECT_STATUS", "DISCONNECTED"), 21, {}, true},
    {"vnc", {vnc2, hiding}, kv("VNC_USERS", "5"), 10, {}, true}, {"jobs", {job, hiding}, job, 19}, {"fan", {fault, hiding}, fault, 42},
};

// What the control panel holds ("KEY value", asked in this order), the state it starts the item
// in, the command and parameters a tap sends to the home page, and the warning when the control
// panel refuses. One item per way of starting; the end-to-end cases start and tap the others.
struct StartRow
{
    const char *item;
    QStringList values;
    int state;
    const char *tap;
    const char *initFailure;
    QStringList balloons = {};
};
const StartRow kStartRows[] = {
    {"usb", {"FLASH_LIST <l><d path=\"/media/usb0\" state=\"MOUNTED\"/></l>"}, 2, "raise_screen USB", "CUsbFlashSystemDataItem could not initialize", {kReminder}},
    {"battery", {"BATT_STATUS CHARGING", "BATT_LEVEL 55", "BATT_ALARM NONE"}, 8, "raise_screen POWER", "CBatterySystemTrayDataItem could not initialize"},
};
// clang-format on

} // namespace

class TestItems : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Beeper::setProcessBeeper(&m_silentBeeper);
        QVERIFY(m_live.start({"--set", "PROBE_COUNT=3"})); // a value only requestValue asks for
    }

    void cleanup() { QVERIFY(simulatorDoes(QStringLiteral("mode get ack"))); }

    void messages_data()
    {
        addIndexedRows(kMessageRows, [](const MessageRow &row) {
            return QStringLiteral("%1 %2 %3").arg(row.item, row.command, row.params.left(50));
        });
    }

    void messages()
    {
        const MessageRow &row = kMessageRows[fetchedRow()];
        runMessageRow(*makeItem(row.item), row);
    }

    void startsFromControlPanelAndTaps_data()
    {
        addIndexedRows(kStartRows, [](const StartRow &row) { return QString(row.item); });
    }

    void startsFromControlPanelAndTaps()
    {
        const StartRow &row = kStartRows[fetchedRow()];
        for (const QString &value : row.values)
            QVERIFY(simulatorDoes(QStringLiteral("set ") + value));
        std::unique_ptr<AnyItem> item = makeItem(row.item);
        item->item()->initialize();
        QCOMPARE(item->icon()->state(), row.state);
        item->settle();
        QCOMPARE(item->balloons, row.balloons);

        // Any activation is a tap; the end-to-end cases click.
        emit item->icon()->activated(QSystemTrayIcon::Context);
        QJsonObject raised;
        QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"),
                                             QString(row.tap).section(' ', 0, 0), 5000, &raised));
        QCOMPARE(raised.value("params").toString(), QString(row.tap).section(' ', 1));

        // A control panel that refuses: the item's own warning, after one for each value asked for
        // (in the order that the daemon's tests check), and the icon stays hidden.
        item = makeItem(row.item);
        QVERIFY(simulatorDoes(QStringLiteral("mode get nack")));
        for (const QString &value : row.values)
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression("^Received NACK requesting value of " +
                                                    value.section(QLatin1Char(' '), 0, 0)));
        QTest::ignoreMessage(QtWarningMsg, row.initFailure);
        item->item()->initialize();
        QCOMPARE(item->icon()->state(), 0);
        QVERIFY(!item->icon()->isVisible());
    }

    // Only the kestrel hardware, named exactly so, has the other wording of the port warning.
    void portWarningWording()
    {
        const QString kestrel = "Microscope Error | The R7300m Microscope will not function "
                                "properly in this USB port.  Please use Client USB port with a "
                                "Mini OTG cable. | 3 | 10000";
        for (const char *name : {"Kestrel", "kestrel"}) {
            qputenv("TORVE_CSR_NAME", name);
            const QString expected = QByteArray(name) == "kestrel" ? kestrel : kWrongPort;
            runMessageRow(*makeItem("scope"), {"scope", {}, scopeError("True"), 13, {expected}});
        }
        qunsetenv("TORVE_CSR_NAME");
    }

    // Invalid nodes win over unsupported ones, numbered 0 to 31 without leading zeros.
    void microscopeProbesDeviceNodes()
    {
        // clang-format off
        const struct { QStringList nodes; int state; } rows[] = {
            {{}, 0}, {{"usb_invalid_r7300m31"}, 13}, {{"usb_invalid_r7300m32"}, 0}, {{"usb_invalid_r7300m05"}, 0},
            {{"usb_unsupported_r7300m31"}, 14}, {{"usb_unsupported_r7300m0", "usb_invalid_r7300m3"}, 13}};
        // clang-format on
        for (const auto &row : rows) {
            QTemporaryDir dev;
            for (const QString &node : row.nodes)
                QVERIFY(QFile(dev.filePath(node)).open(QIODevice::WriteOnly));
            // The microscope's device nodes live in a directory of the test's own.
            const auto scope = AnyItem::make<CR7300mSystemTrayDataItem>(nullptr, dev.path());
            scope->item()->initialize();
            scope->settle();
            QCOMPARE(scope->icon()->state(), row.state);
            // Warned about as a report of the same value would be (see the message table).
            QCOMPARE(scope->balloons.size(), row.state ? 1 : 0);
        }
    }

    // How long a silent control panel holds up each request, the reliability case
    // silent-control-panel measures.
    void requestValue()
    {
        // The reply mode of the control panel, the value, and the refusal logged.
        // clang-format off
        const struct { const char *mode, *value, *refusal; } rows[] = {
            {"ack", "3", nullptr}, {"empty", "", nullptr}, // a reply without parameters
            {"nack", "", "not available"}, {"silent", "", "timeout"}};
        // clang-format on
        for (const auto &row : rows) {
            QVERIFY(simulatorDoes(QStringLiteral("mode get ") + row.mode));
            ProbeItem item(m_live.client.get());
            if (row.refusal)
                QTest::ignoreMessage(QtWarningMsg,
                                     QByteArray("Received NACK requesting value of PROBE_COUNT -- "
                                                "\"Error: ") +
                                         row.refusal + '"');
            bool ok = row.refusal; // the opposite of what should come back
            QCOMPARE(item.requestValue("PROBE_COUNT", &ok), QByteArray(row.value));
            QCOMPARE(ok, !row.refusal);
        }
    }

    // The router client's receive thread hands the notification over; the item processes it on
    // the main thread.
    void notificationIsProcessedOnMainThread()
    {
        ProbeItem item(m_live.client.get());
        m_live.client->registerHandler(&item, false);
        // Let go of the item before it goes: the receive thread may still hold it.
        const auto unregister = qScopeGuard([&] { m_live.client->unregisterHandler(&item); });
        QVERIFY(m_live.simulator.command(QStringLiteral("set PROBE_GREETING hello, world")));
        QTRY_COMPARE_WITH_TIMEOUT(item.received.size(), 1, 5000);
        QCOMPARE(item.received[0].first.key, QByteArray("PROBE_GREETING"));
        QCOMPARE(item.received[0].first.value, QByteArray("hello, world"));
        QCOMPARE(item.received[0].second, QThread::currentThread());
    }

    void postedMessageIsFreedWithItem()
    {
        auto *item = new ProbeItem(m_live.client.get());
        Message *message = Message::createNotification("notify", "PROBE_A,\"1\"");
        message->setSource("ctrlpanelsvc");
        // Posted as the receive thread posts it, and never processed: the sanitizer build reports
        // a leak unless it goes with the item.
        item->handle(message);
        delete item;
        QCoreApplication::sendPostedEvents();
    }

private:
    std::unique_ptr<AnyItem> makeItem(const QString &name)
    {
        return kItems.value(name)(m_live.client.get());
    }
    bool simulatorDoes(const QString &line)
    {
        return m_live.simulator.command(line) && m_live.simulator.sync();
    }

    Beeper m_silentBeeper{QStringLiteral("/nonexistent")};
    LiveInstrument m_live;
};

QTEST_MAIN(TestItems)
#include "tst_items.moc"
