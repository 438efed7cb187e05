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
#include "platform/widgets/cbatterystatuswidget.h"
#include "tray/csystemtraybatteryicon.h"
#include "tray/liveinstrument.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QThread>

#include <functional>

using namespace glyphd;

namespace {

// The microscope's device nodes live in a directory of the test's own.
class ProbedMicroscope : public CR7300mSystemTrayDataItem
{
public:
    ProbedMicroscope(SyncSenderClient *client, QObject *parent)
        : CR7300mSystemTrayDataItem(client, parent, deviceDirectory)
    {}
    static QString deviceDirectory;
};
QString ProbedMicroscope::deviceDirectory;

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
// The root, one device and padding: as many elements as the reader takes, or one more.
QByteArray padded(int elements)
{
    return kv("FLASH_LIST",
              "<l><d path=\"/a\"/>" + QByteArray("<x/>").repeated(elements - 2) + "</l>");
}

const int kInfo = QSystemTrayIcon::Information, kCritical = QSystemTrayIcon::Critical;
const MessageType N = MessageType::Notification, C = MessageType::Command, A = MessageType::Ack;
const QString kRemember = QStringLiteral("Please remember to eject the device from the Removable "
                                         "Storage system page before removing it.");
Balloon storage(const QString &text, int kind = kInfo, int ms = 10000)
{
    return {QStringLiteral("Removable Storage"), text, kind, ms};
}
const Balloon kReminder = storage(kRemember, kInfo, 5000);
const Balloon kSafe = storage(QStringLiteral("The device has been ejected and is safe to remove."));
const Balloon kCorrupted =
    storage(QStringLiteral("The device was removed without being ejected. Data may be corrupted."));
const Balloon kSafeLast = storage(kSafe.text, kCritical),
              kCorruptedLast = {storage(kCorrupted.text, kCritical)};
const Balloon kFormatting =
    storage(QStringLiteral("Formatting device. Do not remove device until process is completed."));
const Balloon kFormatted = storage(QStringLiteral("Format complete. ") + kRemember);
const Balloon kPairing = {QStringLiteral("Bluetooth"),
                          QStringLiteral("Pair requested. You may go to the Bluetooth system page "
                                         "to complete the pair by clicking on the icon above.")};
Balloon received(const QString &name)
{
    return {QStringLiteral("Bluetooth"),
            QStringLiteral("File received and placed in the bluetooth inbox.\nFilename: ") + name};
}
Balloon wrongPort(const char *text)
{
    return {QStringLiteral("Microscope Error"),
            QStringLiteral("The R7300m Microscope will not function ") + QLatin1String(text),
            kCritical};
}
const Balloon kWrongPort = wrongPort("in this USB port.  Please use the other USB port.");
const Balloon kUnsupported = {
    QStringLiteral("Lumiscope Not Supported"),
    QStringLiteral("The Lumiscope microscope is not supported on this instrument."), kCritical,
    99999};

QByteArray scopeError(const char *value)
{
    return kv("SCOPE_ERROR", value);
}

// clang-format off
const QByteArray wifiOn = kv("WIFI_CONNECT_STATUS", "ASSOCIATED"), vellumIdle = kv("VELLUM_STATUS", "CONNECTED"),
    vellumSending = kv("VELLUM_STATUS", "SENDING"), job = kv("JOBMANAGER_STATUS", "42%"), ntp = kv("SYNC_TIME_SOURCE", "NTP"),
    fault = kv("FAN_ALARM_STATUS", "FAN ALARM FAULT"), laserOn = kv("LASER_WARNING", "True"), vnc2 = kv("VNC_USERS", "2"),
    usbA = devices({"/a=MOUNTED"}), usbAB = devices({"/a=MOUNTED", "/b=MOUNTED"}), usbNone = devices({}),
    ejectingA = devices({"/a=EJECTING"}), ejectingAB = devices({"/a=EJECTING", "/b=MOUNTED"}), usbB = devices({"/b=MOUNTED"}),
    formatting = kv("FLASH_FORMAT", "sdb1"), btFile = "BLUE_OBEX_FILE_RCVD", hiding = "hiding";
const char *panel = "ctrlpanelsvc", *home = "homepage", *bt = "bluetooth";

const MessageRow kMessageRows[] = {
    {"wifi", {}, wifiOn, 22}, {"wifi", {wifiOn}, kv("WIFI_CONNECT_STATUS", "DISCONNECTED"), 21},
    {"wifi", {wifiOn}, kv("WIFI_CONNECT_STATUS", "WIFI_DISABLED"), 0}, {"wifi", {wifiOn}, kv("WIFI_CONNECT_STATUS", "associated"), 0},
    {"wifi", {wifiOn}, kv("WIFI_CONNECT_STATUS", "SCANNING"), 0}, {"wifi", {}, kv("WIFI_CONNECT_STATUSX", "ASSOCIATED"), 0},
    {"wifi", {kv("WIFI_CONNECT_STATUS", "DISCONNECTED")}, kv("WIFI_SIGNAL", "ASSOCIATED"), 21},
    {"wifi", {}, wifiOn, kRefused, {}, false, home}, {"wifi", {}, wifiOn, kRefused, {}, false, panel, A},
    {"audio", {"initialize"}, kv("AUDIO", "OFF"), kRefused}, {"audio", {"initialize"}, "", kRefused, {}, false, home, C, "audio_hide"},
    {"vellum", {vellumIdle}, kv("VELLUM_STATUS", "UNINITIALIZED"), 0}, {"vellum", {vellumIdle}, kv("VELLUM_STATUS", "NO_ACCOUNT_ID"), 0},
    {"vellum", {vellumIdle}, kv("VELLUM_STATUS", ""), 0}, {"vellum", {}, kv("VELLUM_STATUS", "SUCCESS, ERR 3 ignored"), 17},
    {"vellum", {}, kv("VELLUM_STATUS", "ERROR 17"), 18}, {"vellum", {}, kv("VELLUM_STATUS", "FAILURE"), 18},
    {"vellum", {}, kv("VELLUM_STATUS", "SEND_ERROR"), 18}, {"vellum", {}, kv("VELLUM_STATUS", "RECEIVING"), 16},
    {"vellum", {}, kv("VELLUM_STATUS", "UPGRADING"), 16}, {"vellum", {}, kv("VELLUM_STATUS", "DOWNLOADING"), 16},
    {"vellum", {}, kv("VELLUM_STATUS", "IDLE"), 15}, {"vellum", {}, kv("VELLUM_STATUS", "success"), 15},
    {"vellum", {vellumSending}, kv("VELLUM_ACCOUNT", "SUCCESS"), 16},
    // The page commands, of any type, clear a success or an error and nothing else.
    {"vellum", {kv("VELLUM_STATUS", "SUCCESS")}, "", 0, {}, false, home, C, "vellum_page_shown"},
    {"vellum", {kv("VELLUM_STATUS", "ERROR 17")}, "", 0, {}, false, home, N, "vellum_page_hidden"},
    {"vellum", {vellumSending}, "", 16, {}, false, home, C, "vellum_page_shown"},
    {"vellum", {vellumIdle}, "", 15, {}, false, home, A, "vellum_page_hidden"},
    {"vellum", {}, vellumSending, 16, {}, false, home, C, "vellum_status"},
    {"vellum", {}, vellumSending, kRefused, {}, false, home, C, "raise_screen"},
    {"vellum", {}, "", kRefused, {}, false, panel, C, "vellum_page_shown"},
    {"jobs", {}, job, 19}, {"jobs", {job}, kv("JOBMANAGER_STATUS", ""), 0}, {"jobs", {job}, kv("JOBMANAGER_COUNT", ""), 19},
    {"jobs", {job}, kv("JOBMANAGER_COUNT", ""), 19, {}, false, home, C, "jobmanager_closed"},
    {"jobs", {}, job, 19, {}, false, home, N, "jobmanager_status"},
    {"jobs", {}, job, kRefused, {}, false, home, C, "raise_screen"}, {"jobs", {}, job, kRefused, {}, false, bt},
    {"ntp", {}, ntp, 20}, {"ntp", {ntp}, kv("SYNC_TIME_SOURCE", "ntp"), 0}, {"ntp", {ntp}, kv("SYNC_TIME_SOURCE", "GPS"), 0},
    {"ntp", {ntp}, kv("SYNC_TIME_SOURCE", ""), 0}, {"ntp", {}, kv("SYNC_TIME_SOURCEX", "NTP"), 20}, {"ntp", {}, ntp, kRefused, {}, false, home},
    {"fan", {}, fault, 42}, {"fan", {fault}, kv("FAN_ALARM_STATUS", "FAN ALARM CLEARED"), 0},
    {"fan", {fault}, kv("FAN_ALARM_STATUS", "fan alarm cleared"), 42, {}, false, panel, N, "notify", "wrong configValue: fan alarm cleared"},
    {"fan", {}, kv("FAN_ALARM_STATUS", "FAN ALARM FAULT "), 0, {}, false, panel, N, "notify", "wrong configValue: FAN ALARM FAULT "},
    {"fan", {}, kv("FAN_ALARM_STATUS2", "FAN ALARM FAULT"), 42}, {"fan", {}, fault, kRefused, {}, false, home},
    {"laser", {}, laserOn, 43}, {"laser", {laserOn}, kv("LASER_WARNING", "False"), 0},
    {"laser", {laserOn}, kv("LASER_WARNING", "true"), 0}, {"laser", {laserOn}, kv("LASER_WARNING", "1"), 0},
    {"laser", {}, laserOn, 43, {}, false, home, N, "laser"}, {"laser", {}, laserOn, 43, {}, false, "vfl-daemon"},
    {"laser", {}, laserOn, kRefused, {}, false, panel, C},
    {"vnc", {vnc2}, kv("VNC_USERS", "0"), 0}, {"vnc", {vnc2}, kv("VNC_USERS", "-3"), 0}, {"vnc", {vnc2}, kv("VNC_USERS", ""), 0},
    {"vnc", {vnc2}, kv("VNC_USERS", "abc"), 0}, {"vnc", {}, kv("VNC_USERS", "1"), 9}, {"vnc", {}, vnc2, 10},
    {"vnc", {}, kv("VNC_USERS", "17"), 10}, {"vnc", {}, kv("VNC_USERSX", "2"), 10}, {"vnc", {}, kv("VNC_USER", "2"), kRefused},
    {"vnc", {}, vnc2, kRefused, {}, false, home}, {"vnc", {}, vnc2, kRefused, {}, false, "ctrlpanelsvc2"},
    {"vnc", {}, vnc2, kRefused, {}, false, panel, A},
    // Removable storage: the device list before, and the one that follows.
    {"usb", {usbNone}, usbA, 2, {kReminder}}, {"usb", {usbNone}, usbAB, 2, {kReminder}}, {"usb", {usbA}, usbAB, 2},
    {"usb", {usbA}, usbB, 3, {kCorrupted}}, {"usb", {ejectingA}, usbNone, 1, {kSafeLast}, true},
    {"usb", {ejectingA, kv("FLASH_FORMAT", "YES")}, usbNone, 1}, {"usb", {ejectingAB}, usbB, 1, {kSafe}},
    {"usb", {usbA}, usbNone, 3, {kCorruptedLast}, true}, {"usb", {usbAB}, usbA, 3, {kCorrupted}},
    {"usb", {ejectingAB}, usbNone, 3, {kCorruptedLast}, true}, {"usb", {usbA}, ejectingA, 2}, {"usb", {usbNone}, ejectingA, 2},
    {"usb", {devices({"/a=MOUNTED", "/a=EJECTING"})}, usbNone, 1, {kSafeLast}, true},
    {"usb", {devices({"/a=EJECTING", "/a=MOUNTED"})}, usbNone, 3, {kCorruptedLast}, true},
    {"usb", {devices({"=MOUNTED"})}, usbNone, 0}, {"usb", {usbNone}, devices({"=MOUNTED"}), 2},
    {"usb", {kv("FLASH_LIST", "<x>text<!-- c --><d path=\"/a\"/><e path=\"/b\"/><d path=\"/c\"/></x>")}, devices({"/a=MOUNTED", "/c=MOUNTED"}), 2},
    {"usb", {kv("FLASH_LIST", "<l><d path=\"/a\"/></l>")}, usbNone, 3, {kCorruptedLast}, true},
    {"usb", {usbA}, kv("FLASH_LIST", "<l><d path=\"/a\""), 3, {kCorruptedLast}, true},
    {"usb", {usbNone}, kv("FLASH_LIST", "<l><d path='/a'></l>"), 0},
    {"usb", {usbA}, padded(1024), 2}, {"usb", {usbA}, padded(1025), 3, {kCorruptedLast}, true},
    {"usb", {usbA}, kv("FLASH_FORMAT", ""), 2}, {"usb", {usbA}, formatting, 2, {kFormatting}}, {"usb", {usbA, formatting}, formatting, 2},
    {"usb", {usbA, formatting}, kv("FLASH_FORMAT", "other"), 2}, {"usb", {usbA, formatting}, kv("FLASH_FORMAT", ""), 2, {kFormatted}},
    {"usb", {usbA, formatting, kv("FLASH_FORMAT", "")}, kv("FLASH_FORMAT", ""), 2}, {"usb", {usbA}, kv("FLASH_FORMATX", "on"), 2},
    // Bluetooth: a pairing request or a file pops its balloon each time.
    {"bluetooth", {}, kv("BLUE_ENABLED", "YES"), 12}, {"bluetooth", {}, kv("BLUE_ENABLED", "yes"), 0},
    {"bluetooth", {}, kv("BLUE_ENABLEDX", "YES"), 0}, {"bluetooth", {}, kv("BLUE_ENABLED", "YES"), kRefused, {}, false, bt},
    {"bluetooth", {}, kv("BLUE_ENABLED", "YES"), kRefused, {}, false, home},
    {"bluetooth", {}, kv("BLUE_ENABLED", "YES"), kRefused, {}, false, panel, C},
    {"bluetooth", {}, kv("BLUE_PAIRING_STATE", "SSP_RESPONDER"), 0, {kPairing}, false, panel, N, "notify", nullptr, 2},
    {"bluetooth", {}, kv("BLUE_PAIRING_STATE", "PIN_ENTRY_RESPONDER"), 0, {kPairing}, false, panel, N, "notify", nullptr, 2},
    {"bluetooth", {}, kv("BLUE_PAIRING_STATE", "ssp_responder"), 0},
    {"bluetooth", {}, "photo.jpg", 0, {received("photo.jpg")}, false, bt, N, btFile, nullptr, 2},
    {"bluetooth", {}, "\"a b\",c.txt", 0, {received("\"a b\",c.txt")}, false, panel, N, btFile},
    {"bluetooth", {}, "", 0, {}, false, bt, N, btFile}, {"bluetooth", {}, "photo.jpg", kRefused, {}, false, home, N, btFile},
    {"bluetooth", {}, "photo.jpg", kRefused, {}, false, bt, C, btFile},
    {"bluetooth", {}, "photo.jpg", kRefused, {}, false, bt, N, "BLUE_OBEX_FILE_RCVDX"},
    // The microscope takes its reports from any sender, and warns once per change.
    {"scope", {}, scopeError("True"), 13, {kWrongPort}}, {"scope", {}, scopeError("Unsupported"), 14, {kUnsupported}},
    {"scope", {}, scopeError("True"), 13, {kWrongPort}, false, "scopesvc"}, {"scope", {}, scopeError("true"), 0},
    {"scope", {scopeError("True")}, scopeError("True"), 13}, {"scope", {scopeError("True"), scopeError("False")}, scopeError("True"), 13, {kWrongPort}},
    {"scope", {scopeError("True")}, scopeError("Unsupported"), 14, {kUnsupported}},
    {"scope", {scopeError("Unsupported")}, scopeError("gone"), 0}, {"scope", {}, scopeError("True"), kRefused, {}, false, panel, C},
    // A refresh of the icon stops a running auto-hide ("hiding"); only the job manager and the fan
    // alarm refresh on every value, the others only when the state changes.
    {"wifi", {kv("WIFI_CONNECT_STATUS", "DISCONNECTED"), hiding}, kv("WIFI_CONNECT_STATUS", "DISCONNECTED"), 21, {}, true},
    {"audio", {"initialize", hiding, "initialize"}, kv("AUDIO", "OFF"), kRefused, {}, true},
    {"vellum", {vellumSending, hiding}, kv("VELLUM_STATUS", "RECEIVING"), 16, {}, true}, {"ntp", {ntp, hiding}, ntp, 20, {}, true},
    {"laser", {laserOn, hiding}, laserOn, 43, {}, true}, {"vnc", {kv("VNC_USERS", "1"), hiding}, kv("VNC_USERS", "1"), 9, {}, true},
    {"vnc", {vnc2, hiding}, kv("VNC_USERS", "5"), 10, {}, true}, {"jobs", {job, hiding}, job, 19}, {"fan", {fault, hiding}, fault, 42},
};

// What the control panel holds ("KEY value", asked in this order), the state it starts the item
// in, the command and screen a tap sends to the home page, and the warning when the control
// panel refuses (none: the item asks nothing).
struct StartRow
{
    const char *item;
    QStringList values;
    int state;
    const char *tap;
    const char *initFailure;
    Balloons balloons = {};
};
const StartRow kStartRows[] = {
    {"wifi", {"WIFI_CONNECT_STATUS ASSOCIATED"}, 22, "raise_screen NETWORK", "CWifiSystemTrayDataItem could not initialize"},
    {"audio", {}, 11, "raise_screen AUDIO", nullptr},
    {"vellum", {"VELLUM_STATUS SUCCESS"}, 17, "raise_screen VELLUM", "CVellumSystemTrayDataItem failed to initialized"},
    {"jobs", {"JOBMANAGER_STATUS 42%"}, 19, "raise_jobmanager", "CJobManagerSystemTrayDataItem failed to initialized"},
    {"ntp", {"SYNC_TIME_SOURCE NTP"}, 20, "raise_screen DATETIME", "CNtpSystemDataItem could not initialize"},
    {"fan", {"FAN_ALARM_STATUS FAN ALARM FAULT"}, 42, "raise_screen FAN", "CFanSystemTrayDataItem could not initialize"},
    // Asks nothing: the laser's value is set, but the icon waits for a notification.
    {"laser", {"LASER_WARNING True"}, 0, "raise_screen", nullptr},
    {"vnc", {"VNC_USERS 2"}, 10, "raise_screen REMOTE", "CVncSystemDataItem could not initialize"},
    {"usb", {"FLASH_LIST <l><d path=\"/media/usb0\" state=\"MOUNTED\"/></l>"}, 2, "raise_screen USB", "CUsbFlashSystemDataItem could not initialize", {kReminder}},
    {"bluetooth", {"BLUE_ENABLED YES"}, 12, "raise_screen BLUETOOTH", "CBluetoothSystemDataItem could not initialize"},
    {"battery", {"BATT_STATUS CHARGING", "BATT_LEVEL 55", "BATT_ALARM NONE"}, 8, "raise_screen POWER", "CBatterySystemTrayDataItem could not initialize"},
};
// clang-format on

QString shownWarning()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            return box->text();
    }
    return QString();
}

} // namespace

class TestItems : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Beeper::setProcessBeeper(&m_silentBeeper);
        // Values only requestValue asks for.
        QVERIFY(m_live.start({"--set", "PROBE_COUNT=3", "--set", "PROBE_EMPTY=", "--set",
                              "PROBE_LIST=FAN ALARM, FAULT"}));
    }
    void cleanup() { QVERIFY(simulatorDoes(QStringLiteral("mode get ack"))); }

    void messages_data();
    void messages();
    void startsFromControlPanelAndTaps_data();
    void startsFromControlPanelAndTaps();
    void batteryGaugeAndWarning();
    void portWarningWording();
    void microscopeProbesDeviceNodes();
    void jobTextIsRedrawnBelowTheClipboard();
    void requestValue();
    void firstAcceptingItemTakesNotificationOnMainThread();
    void postedMessageIsFreedWithItem();

private:
    std::unique_ptr<AnyItem> makeItem(const QString &name)
    {
        return kItems.value(name)(m_live.client.get());
    }
    bool simulatorDoes(const QString &line)
    {
        return m_live.simulator.command(line) && m_live.simulator.sync();
    }
    // What reached the simulator since event "first" for "to": gets of the control panel, or
    // messages sent to the home page.
    QList<QJsonObject> receivedSince(int first, const char *to)
    {
        QList<QJsonObject> events;
        for (const QJsonObject &event : m_live.simulator.events().mid(first)) {
            if (event.value("event") == "recv" && event.value("to") == to)
                events << event;
        }
        return events;
    }

    Beeper m_silentBeeper{QStringLiteral("/nonexistent")};
    LiveInstrument m_live;
};

void TestItems::messages_data()
{
    addIndexedRows(kMessageRows, [](const MessageRow &row) {
        return QStringLiteral("%1 %2 %3").arg(row.item, row.command, row.params.left(50));
    });
}

void TestItems::messages()
{
    const MessageRow &row = kMessageRows[fetchedRow()];
    runMessageRow(*makeItem(row.item), row);
}

void TestItems::startsFromControlPanelAndTaps_data()
{
    addIndexedRows(kStartRows, [](const StartRow &row) { return QString(row.item); });
}

void TestItems::startsFromControlPanelAndTaps()
{
    const StartRow &row = kStartRows[fetchedRow()];
    QStringList keys;
    for (const QString &value : row.values) {
        QVERIFY(simulatorDoes(QStringLiteral("set ") + value));
        keys << value.section(QLatin1Char(' '), 0, 0);
    }
    std::unique_ptr<AnyItem> item = makeItem(row.item);
    int first = m_live.simulator.events().size();
    item->item()->initialize();
    QCOMPARE(item->icon()->state(), row.state);
    QCOMPARE(item->icon()->isVisible(), row.state != 0);
    QVERIFY(item->balloons.isEmpty()); // a balloon waits until the icon has settled in the tray
    item->settle();
    QCOMPARE(item->balloons, row.balloons);
    QVERIFY(simulatorDoes(QStringLiteral("echo asked")));
    QStringList asked;
    for (const QJsonObject &get : receivedSince(first, "ctrlpanelsvc"))
        asked << get.value("command").toString() + ' ' + get.value("params").toString();
    QCOMPARE(asked.join(';'), row.initFailure ? "get " + keys.join(";get ") : QString());

    first = m_live.simulator.events().size();
    emit item->icon()->activated(QSystemTrayIcon::Trigger);
    const QString command = QString(row.tap).section(' ', 0, 0),
                  screen = QString(row.tap).section(' ', 1);
    QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"), command, 5000));
    QVERIFY(simulatorDoes(QStringLiteral("echo tapped")));
    const QList<QJsonObject> taps = receivedSince(first, "homepage");
    QCOMPARE(taps.size(), 1);
    QCOMPARE(taps[0].value("from").toString(), QStringLiteral("glyphd"));
    QCOMPARE(taps[0].value("type").toInt(), int(MessageType::Command));
    QCOMPARE(taps[0].value("params").toString(), screen);
    QCOMPARE(taps[0].value("tokens").toVariant().toStringList(),
             screen.isEmpty() ? QStringList() : QStringList{screen});

    // A control panel that refuses: the item's own warning, and the icon stays hidden.
    if (!row.initFailure)
        return;
    item = makeItem(row.item);
    QVERIFY(simulatorDoes(QStringLiteral("mode get nack")));
    for (const QString &key : keys)
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("^Received NACK requesting value of " + key));
    QTest::ignoreMessage(QtWarningMsg, row.initFailure);
    item->item()->initialize();
    QCOMPARE(item->icon()->state(), 0);
    QVERIFY(!item->icon()->isVisible());
}

void TestItems::batteryGaugeAndWarning()
{
    const QByteArrayList charging = {kv("BATT_STATUS", "CHARGING"), kv("BATT_LEVEL", "55"),
                                     kv("BATT_ALARM", "NONE")};
    const auto low = [](int percent) {
        return QStringLiteral("Battery level is low (%1%). Connect the AC adapter.").arg(percent);
    };
    const QString critical = QStringLiteral("Battery level is critical (4%). Connect the AC "
                                            "adapter now or the instrument will shut down.");
    const QString hot =
        QStringLiteral("Battery temperature is out of range. Charging is suspended.");
    const auto status = [](const char *value) { return kv("BATT_STATUS", value); };
    const auto level = [](const char *value) { return kv("BATT_LEVEL", value); };
    const auto alarm = [](const char *value) { return kv("BATT_ALARM", value); };
    // clang-format off
    const struct { QByteArrayList given; QByteArray params; int state, percent; QString warning; const char *logged; } rows[] = {
        {{}, status("NO_BATTERY_AC"), 4, 55, {}, nullptr}, {{}, status("NO_BATTERY"), 5, 55, {}, nullptr},
        {{}, status("DISCHARGING"), 6, 55, {}, nullptr}, {{}, status("FULL_AC"), 7, 55, {}, nullptr},
        {{status("DISCHARGING")}, status("CHARGING"), 8, 55, {}, nullptr}, {{}, status("charging"), 0, 55, {}, nullptr},
        {{}, level("15"), 8, 15, {}, nullptr}, {{}, level("150"), 8, 100, {}, nullptr},
        {{}, level("-5"), 8, 0, {}, nullptr},
        {{}, level("4x"), 8, 55, {}, "CBatterySystemTrayDataItem ignores BATT_LEVEL \"4x\": not a number"},
        {{level("15")}, alarm("LOW"), 8, 15, low(15), nullptr}, {{alarm("LOW")}, level("15"), 8, 15, low(15), nullptr},
        {{level("4"), alarm("CRITICAL")}, status("DISCHARGING"), 6, 4, critical, nullptr},
        {{}, alarm("TEMPERATURE"), 8, 55, hot, nullptr}, {{alarm("LOW")}, alarm("NONE"), 8, 55, {}, nullptr},
        {{level("15"), alarm("LOW")}, alarm("FIRE"), 8, 15, low(15), "CBatterySystemTrayDataItem ignores BATT_ALARM \"FIRE\": not an alarm"},
    };
    // clang-format on
    for (const auto &row : rows) {
        const auto battery = AnyItem::make<CBatterySystemTrayDataItem>();
        MessageRow messageRow{"battery", charging + row.given, row.params, row.state};
        messageRow.warning = row.logged;
        runMessageRow(*battery, messageRow);
        auto *icon = static_cast<CSystemTrayBatteryIcon *>(battery->icon());
        if (row.state >= CSystemTrayBatteryIcon::DischargingState) {
            QCOMPARE(icon->gauge().chargePercentage(), row.percent);
            QCOMPARE(icon->gauge().fillColor(),
                     QColor(row.warning.isEmpty() ? Qt::green : Qt::red));
        }
        QCOMPARE(shownWarning(), row.warning);
    }
}

void TestItems::portWarningWording()
{
    // Only the kestrel hardware, named exactly so, has the other wording.
    const Balloon kestrel = wrongPort("properly in this USB port.  Please use Client USB port "
                                      "with a Mini OTG cable.");
    for (const char *name : {"", "kestrel", "Kestrel", "kestrel2"}) {
        if (*name)
            qputenv("TORVE_CSR_NAME", name);
        const Balloon expected = QByteArray(name) == "kestrel" ? kestrel : kWrongPort;
        runMessageRow(*makeItem("scope"), {"scope", {}, scopeError("True"), 13, {expected}});
        runMessageRow(*makeItem("scope"),
                      {"scope", {}, scopeError("Unsupported"), 14, {kUnsupported}});
    }
    qunsetenv("TORVE_CSR_NAME");
}

// Invalid nodes win over unsupported ones, numbered 0 to 31 without leading zeros; a tap shows
// the warning again.
void TestItems::microscopeProbesDeviceNodes()
{
    // clang-format off
    const struct { QStringList nodes; int state; } rows[] = {
        {{}, 0}, {{"usb_invalid_r7300m0"}, 13}, {{"usb_invalid_r7300m31"}, 13}, {{"usb_invalid_r7300m32"}, 0},
        {{"usb_invalid_r7300m05"}, 0}, {{"usb_unsupported_r7300m31"}, 14}, {{"usb_unsupported_r7300m32"}, 0},
        {{"usb_unsupported_r7300m0", "usb_invalid_r7300m3"}, 13}};
    // clang-format on
    for (const auto &row : rows) {
        QTemporaryDir dev;
        for (const QString &node : row.nodes)
            QVERIFY(QFile(dev.filePath(node)).open(QIODevice::WriteOnly));
        ProbedMicroscope::deviceDirectory = dev.path();
        const auto scope = AnyItem::make<ProbedMicroscope>();
        scope->item()->initialize();
        scope->settle();
        QCOMPARE(scope->icon()->state(), row.state);
        const Balloons warning[] = {{}, {kWrongPort}, {kUnsupported}};
        const Balloons &expected = warning[row.state == 0 ? 0 : row.state - 12];
        QCOMPARE(scope->balloons, expected);
        emit scope->icon()->activated(QSystemTrayIcon::Trigger);
        QCOMPARE(scope->balloons, expected + expected);
    }
}

// The text goes white into the rectangle 2, 22, 38, 16 of the picture and is drawn anew for
// every value; above the rectangle the picture stays as it is.
void TestItems::jobTextIsRedrawnBelowTheClipboard()
{
    const std::unique_ptr<AnyItem> jobs = makeItem("jobs");
    const QImage bare =
        QImage(CSystemTrayIcon::iconFileForState(19)).convertToFormat(QImage::Format_ARGB32);
    QImage pictures[2];
    const QByteArray texts[2] = {"42%", "43%"};
    for (int i = 0; i < 2; ++i) {
        QVERIFY(jobs->offer(kv("JOBMANAGER_STATUS", texts[i])));
        pictures[i] =
            jobs->icon()->currentPixmap().toImage().convertToFormat(QImage::Format_ARGB32);
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
    QCOMPARE(
        jobs->icon()->icon().pixmap(bare.size()).toImage().convertToFormat(QImage::Format_ARGB32),
        pictures[1]);
}

void TestItems::requestValue()
{
    // The reply mode of the control panel, the key, and the value or the refusal logged.
    // clang-format off
    const struct { const char *mode, *key, *value, *refusal; } rows[] = {
        {"ack", "PROBE_COUNT", "3", nullptr}, {"ack", "PROBE_EMPTY", "", nullptr},
        {"empty", "PROBE_COUNT", "", nullptr}, // a reply without parameters
        {"ack", "PROBE_LIST", "FAN ALARM, FAULT", nullptr},
        {"ack", "NO_SUCH_KEY", "", "unknown key"}, {"nack", "PROBE_COUNT", "", "not available"},
        {"silent", "PROBE_COUNT", "", "timeout"}};
    // clang-format on
    for (const auto &row : rows) {
        QVERIFY(simulatorDoes(QStringLiteral("mode get ") + row.mode));
        ProbeItem item(m_live.client.get());
        const int first = m_live.simulator.events().size();
        if (row.refusal)
            QTest::ignoreMessage(QtWarningMsg, QByteArray("Received NACK requesting value of ") +
                                                   row.key + " -- \"Error: " + row.refusal + '"');
        QElapsedTimer clock;
        clock.start();
        bool ok = row.refusal; // the opposite of what should come back
        QCOMPARE(item.requestValue(row.key, &ok), QByteArray(row.value));
        const qint64 waited = clock.elapsed();
        QCOMPARE(ok, !row.refusal);
        // A silent control panel costs the caller the full second, and not much more.
        if (row.mode == QByteArray("silent"))
            QVERIFY2(waited >= 900 && waited < 5000, qPrintable(QString::number(waited)));
        QVERIFY(simulatorDoes(QStringLiteral("echo asked")));
        const QList<QJsonObject> gets = receivedSince(first, "ctrlpanelsvc");
        QCOMPARE(gets.size(), 1);
        QCOMPARE(gets[0].value("command").toString(), QStringLiteral("get"));
        QCOMPARE(gets[0].value("from").toString(), QStringLiteral("glyphd"));
        QCOMPARE(gets[0].value("params").toString(), QString(row.key));
    }
}

void TestItems::firstAcceptingItemTakesNotificationOnMainThread()
{
    ProbeItem second(m_live.client.get());
    {
        ProbeItem first(m_live.client.get());
        const auto firstRegistration = m_live.registration(&first);
        const auto secondRegistration = m_live.registration(&second);
        QVERIFY(m_live.simulator.command(QStringLiteral("set PROBE_GREETING hello, world")));
        QTRY_COMPARE_WITH_TIMEOUT(first.received.size(), 1, 5000);
        QCOMPARE(first.received[0].first.key, QByteArray("PROBE_GREETING"));
        QCOMPARE(first.received[0].first.value, QByteArray("hello, world"));
        QCOMPARE(first.received[0].second, QThread::currentThread());
        // Both would have been posted by the same dispatch; nothing more is on its way.
        QCoreApplication::sendPostedEvents();
        QVERIFY(second.received.isEmpty());
    }
    // With the first one gone the second takes the next notification.
    const auto registration = m_live.registration(&second);
    QVERIFY(m_live.simulator.command(QStringLiteral("set PROBE_A 2")));
    QTRY_COMPARE_WITH_TIMEOUT(second.received.size(), 1, 5000);
    QCOMPARE(second.received[0].first.value, QByteArray("2"));
}

void TestItems::postedMessageIsFreedWithItem()
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

QTEST_MAIN(TestItems)
#include "tst_items.moc"
