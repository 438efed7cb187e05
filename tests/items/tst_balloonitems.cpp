#include "items/cbluetoothsystemtraydataitem.h"
#include "items/cr7300msystemtraydataitem.h"
#include "items/cusbflashsystemtraydataitem.h"
#include "items/itemtesting.h"
#include "tray/csystemtrayicon.h"
#include "tray/liveinstrument.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <memory>

using glyphd::CBluetoothSystemTrayDataItem;
using glyphd::CR7300mSystemTrayDataItem;
using glyphd::CSystemTrayIcon;
using glyphd::CUsbFlashSystemTrayDataItem;

namespace {

// What the user was told, as the icon handed it to the tray.
struct Balloon
{
    QString title;
    QString text;
    int kind;
    int milliseconds;
    bool operator==(const Balloon &other) const
    {
        return title == other.title && text == other.text && kind == other.kind &&
               milliseconds == other.milliseconds;
    }
};
using Balloons = QList<Balloon>;

// Found by QCOMPARE through argument-dependent lookup, for a readable failure.
char *toString(const Balloon &balloon)
{
    return qstrdup(qPrintable(QStringLiteral("%1 | %2 | kind %3 | %4 ms")
                                  .arg(balloon.title, balloon.text)
                                  .arg(balloon.kind)
                                  .arg(balloon.milliseconds)));
}

// An item as the daemon makes it, with the balloons its icon handed to the tray.
template<class Item>
class WatchedItem : public ItemUnderTest<Item>
{
public:
    explicit WatchedItem(SyncSenderClient *client = nullptr)
        : ItemUnderTest<Item>(client)
    {
        QObject::connect(this->icon(), &CSystemTrayIcon::balloonPresented,
                         [this](const QString &title, const QString &text,
                                QSystemTrayIcon::MessageIcon kind, int milliseconds) {
                             balloons.append({title, text, int(kind), milliseconds});
                         });
    }

    // Ends the icon's show delay now, handing over the balloon it held back.
    void settle()
    {
        QTimer *showTimer = this->icon()->template findChild<QTimer *>(QStringLiteral("showTimer"));
        if (showTimer->isActive()) {
            showTimer->stop();
            this->icon()->slotShowTimeout();
        }
    }
    bool offerSettled(const QByteArray &params, const char *source = "ctrlpanelsvc",
                      MessageType type = MessageType::Notification, const char *command = "notify")
    {
        const bool accepted = this->offer(params, source, type, command);
        settle();
        return accepted;
    }
    bool autoHiding() const
    {
        return this->icon()->template findChild<QTimer *>(QStringLiteral("hideTimer"))->isActive();
    }

    Balloons balloons;
};

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

// A device list in the control panel's form, from "path=state" pairs.
QByteArray deviceList(const QByteArrayList &devices)
{
    QByteArray xml("<flashlist>");
    for (const QByteArray &device : devices) {
        const QByteArrayList parts = device.split('=');
        xml += "<device path=\"" + parts.value(0) + "\" state=\"" + parts.value(1) + "\"/>";
    }
    return xml + "</flashlist>";
}

// A notification of key with value, quoted as the control panel quotes it.
QByteArray notification(const QByteArray &key, QByteArray value)
{
    return key + ",\"" + value.replace('"', "\"\"") + '"';
}

const QString remember = QStringLiteral(
    "Please remember to eject the device from the Removable Storage system page before "
    "removing it.");
const QString safe = QStringLiteral("The device has been ejected and is safe to remove.");
const QString corrupted =
    QStringLiteral("The device was removed without being ejected. Data may be corrupted.");
const QString wrongPort = QStringLiteral(
    "The R7300m Microscope will not function in this USB port.  Please use the other USB port.");

Balloon storage(const QString &text, int kind = QSystemTrayIcon::Information, int ms = 10000)
{
    return {QStringLiteral("Removable Storage"), text, kind, ms};
}
Balloon bluetooth(const QString &text)
{
    return {QStringLiteral("Bluetooth"), text, QSystemTrayIcon::Information, 10000};
}
const Balloon reminder = storage(remember, QSystemTrayIcon::Information, 5000);
const Balloon portWarning = {QStringLiteral("Microscope Error"), wrongPort,
                             QSystemTrayIcon::Critical, 10000};
const Balloon unsupportedWarning = {
    QStringLiteral("Lumiscope Not Supported"),
    QStringLiteral("The Lumiscope microscope is not supported on this instrument."),
    QSystemTrayIcon::Critical, 99999};

} // namespace

Q_DECLARE_METATYPE(Balloons)

// The removable-storage, Bluetooth and microscope items: what their icons show and what their
// balloons tell the user, against the real icon, router and simulator.
class TestBalloonItems : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void storageStory_data();
    void storageStory();
    void formattingBalloons();
    void firstValueAndTap_data();
    void firstValueAndTap();

    void bluetoothMessages_data();
    void bluetoothMessages();

    void microscopeReports_data();
    void microscopeReports();
    void microscopeProbe_data();
    void microscopeProbe();

private:
    LiveInstrument m_live;
};

void TestBalloonItems::initTestCase()
{
    QVERIFY(m_live.start({QStringLiteral("--set"),
                          QStringLiteral("FLASH_LIST=") + deviceList({"/media/usb0=MOUNTED"}),
                          QStringLiteral("--set"), QStringLiteral("BLUE_ENABLED=YES")}));
}

void TestBalloonItems::storageStory_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<bool>("formatting");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<int>("state");
    QTest::addColumn<Balloons>("balloons");
    QTest::addColumn<bool>("autoHide");
    auto row = [](const char *name, const QByteArray &before, const QByteArray &after, int state,
                  Balloons balloons = {}, bool autoHide = false, bool formatting = false) {
        QTest::newRow(name) << before << formatting << after << state << balloons << autoHide;
    };
    const int critical = QSystemTrayIcon::Critical;
    const QByteArray none = deviceList({});
    const QByteArray a = deviceList({"/a=MOUNTED"});
    const QByteArray ab = deviceList({"/a=MOUNTED", "/b=MOUNTED"});
    const QByteArray aEjecting = deviceList({"/a=EJECTING"});
    const QByteArray bMounted = deviceList({"/b=MOUNTED"});
    const QByteArray aEjectingB = deviceList({"/a=EJECTING", "/b=MOUNTED"});
    // The root, the device and the padding: as many elements as the reader takes, and one more.
    auto padded = [](int elements) {
        return "<l><d path=\"/a\"/>" + QByteArray("<x/>").repeated(elements - 2) + "</l>";
    };

    row("first stick", none, a, 2, {reminder});
    row("first sticks", none, ab, 2, {reminder});
    row("second stick", a, ab, 2);
    row("stick swapped", a, bMounted, 3, {storage(corrupted)});
    row("last ejected", aEjecting, none, 1, {storage(safe, critical)}, true);
    row("last ejected while formatting", aEjecting, none, 1, {}, false, true);
    row("one of two ejected", aEjectingB, bMounted, 1, {storage(safe)});
    row("last pulled out", a, none, 3, {storage(corrupted, critical)}, true);
    row("one of two pulled out", ab, a, 3, {storage(corrupted)});
    row("pulled out beats ejected", aEjectingB, none, 3, {storage(corrupted, critical)}, true);
    row("ejecting while present", a, aEjecting, 2);
    row("first stick already ejecting", none, aEjecting, 2);
    row("later duplicate ejects", deviceList({"/a=MOUNTED", "/a=EJECTING"}), none, 1,
        {storage(safe, critical)}, true);
    row("later duplicate mounts", deviceList({"/a=EJECTING", "/a=MOUNTED"}), none, 3,
        {storage(corrupted, critical)}, true);
    row("pathless device never counts", deviceList({"=MOUNTED"}), none, 0);
    row("pathless first device", none, deviceList({"=MOUNTED"}), 2);
    row("only elements named like the first",
        "<x>text<!-- c --><d path=\"/a\"/><e path=\"/b\"/><d path=\"/c\"/></x>",
        deviceList({"/a=MOUNTED", "/c=MOUNTED"}), 2);
    row("missing state reads empty", "<l><d path=\"/a\"/></l>", none, 3,
        {storage(corrupted, critical)}, true);
    row("malformed is empty", a, "<l><d path=\"/a\"", 3, {storage(corrupted, critical)}, true);
    row("malformed first", none, "<l><d path='/a'></l>", 0);
    row("most elements", a, padded(1024), 2);
    row("too many elements is empty", a, padded(1025), 3, {storage(corrupted, critical)}, true);
}

void TestBalloonItems::storageStory()
{
    QFETCH(QByteArray, before);
    QFETCH(bool, formatting);
    QFETCH(QByteArray, after);
    QFETCH(int, state);
    QFETCH(Balloons, balloons);
    QFETCH(bool, autoHide);

    WatchedItem<CUsbFlashSystemTrayDataItem> usb;
    QVERIFY(usb.offerSettled(notification("FLASH_LIST", before)));
    if (formatting)
        QVERIFY(usb.offerSettled("FLASH_FORMAT,\"YES\""));
    usb.balloons.clear();

    QVERIFY(usb.offerSettled(notification("FLASH_LIST", after)));
    QCOMPARE(usb.icon()->state(), state);
    QCOMPARE(usb.icon()->isVisible(), state != 0);
    QCOMPARE(usb.balloons, balloons);
    QCOMPARE(usb.autoHiding(), autoHide);
    if (autoHide) {
        // A tap on the balloon takes the icon away at once.
        usb.icon()->slotMessageClicked();
        QVERIFY(!usb.icon()->isVisible());
    }
}

void TestBalloonItems::formattingBalloons()
{
    const Balloon started = storage(
        QStringLiteral("Formatting device. Do not remove device until process is completed."));
    const Balloon complete = storage(QStringLiteral("Format complete. ") + remember);
    const struct
    {
        const char *params;
        Balloons balloons;
    } steps[] = {
        {"FLASH_FORMAT,\"\"", {}},         {"FLASH_FORMAT,\"sdb1\"", {started}},
        {"FLASH_FORMAT,\"sdb1\"", {}},     {"FLASH_FORMAT,\"other\"", {}},
        {"FLASH_FORMAT,\"\"", {complete}}, {"FLASH_FORMAT,\"\"", {}},
        {"FLASH_FORMATX,\"on\"", {}},      {"FLASH_FORMAT,\"on\"", {started}},
    };
    WatchedItem<CUsbFlashSystemTrayDataItem> usb;
    QVERIFY(usb.offerSettled(notification("FLASH_LIST", deviceList({"/a=MOUNTED"}))));
    for (const auto &step : steps) {
        usb.balloons.clear();
        QVERIFY(usb.offerSettled(step.params));
        QCOMPARE(usb.icon()->state(), 2);
        QCOMPARE(usb.balloons, step.balloons);
        QVERIFY(!usb.autoHiding());
    }
}

void TestBalloonItems::firstValueAndTap_data()
{
    QTest::addColumn<bool>("bluetooth");
    QTest::addColumn<QString>("getMode");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("screenOrWarning");
    QTest::newRow("storage") << false << "ack" << 2 << "USB";
    QTest::newRow("bluetooth") << true << "ack" << 12 << "BLUETOOTH";
    QTest::newRow("storage refused")
        << false << "nack" << 0 << "CUsbFlashSystemDataItem could not initialize";
    QTest::newRow("bluetooth refused")
        << true << "nack" << 0 << "CBluetoothSystemDataItem could not initialize";
}

void TestBalloonItems::firstValueAndTap()
{
    QFETCH(bool, bluetooth);
    QFETCH(QString, getMode);
    QFETCH(int, state);
    QFETCH(QString, screenOrWarning);

    QVERIFY(m_live.simulator.command(QStringLiteral("mode get ") + getMode));
    QVERIFY(m_live.simulator.sync());
    auto check = [&](auto &item) {
        LiveInstrument::Registration registration(*m_live.client, item.item());
        if (state == 0) {
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(QStringLiteral("^Received NACK requesting")));
            QTest::ignoreMessage(QtWarningMsg, qPrintable(screenOrWarning));
        }
        item->initialize();
        QCOMPARE(item.icon()->state(), state);
        if (state == 0)
            return;
        // The storage reminder waits for the icon to settle in the tray.
        QVERIFY(item.balloons.isEmpty());
        item.settle();
        QCOMPARE(item.balloons, bluetooth ? Balloons() : Balloons{reminder});

        emit item.icon()->activated(QSystemTrayIcon::Context);
        QJsonObject raise;
        QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"),
                                             QStringLiteral("raise_screen"), 5000, &raise));
        QCOMPARE(raise.value(QStringLiteral("tokens")).toArray(), QJsonArray{screenOrWarning});
    };
    if (bluetooth) {
        WatchedItem<CBluetoothSystemTrayDataItem> item(m_live.client.get());
        check(item);
    } else {
        WatchedItem<CUsbFlashSystemTrayDataItem> item(m_live.client.get());
        check(item);
    }
    QVERIFY(m_live.simulator.command(QStringLiteral("mode get ack")));
    QVERIFY(m_live.simulator.sync());
}

void TestBalloonItems::bluetoothMessages_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("params");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<int>("state");
    QTest::addColumn<Balloons>("balloons");
    auto row = [](const char *name, const QByteArray &source, const QByteArray &command,
                  const QByteArray &params, bool accepted, int state = 0,
                  const QString &text = QString(), int type = int(MessageType::Notification)) {
        // Twice: a pairing request or a file pops its balloon each time.
        const Balloons balloons =
            text.isEmpty() ? Balloons() : Balloons{bluetooth(text), bluetooth(text)};
        QTest::newRow(name) << source << type << command << params << accepted << state << balloons;
    };
    const QByteArray panel("ctrlpanelsvc");
    const QByteArray bt("bluetooth");
    const QByteArray file("BLUE_OBEX_FILE_RCVD");
    const QString received =
        QStringLiteral("File received and placed in the bluetooth inbox.\nFilename: ");
    const QString pairing = QStringLiteral("Pair requested. You may go to the Bluetooth system "
                                           "page to complete the pair by clicking on the icon "
                                           "above.");
    const int command = int(MessageType::Command);

    row("enabled", panel, "notify", "BLUE_ENABLED,\"YES\"", true, 12);
    row("enabled lower case", panel, "notify", "BLUE_ENABLED,\"yes\"", true, 0);
    row("longer enabled key", panel, "notify", "BLUE_ENABLEDX,\"YES\"", true, 0);
    row("enabled from bluetooth", bt, "notify", "BLUE_ENABLED,\"YES\"", false);
    row("enabled from home page", "homepage", "notify", "BLUE_ENABLED,\"YES\"", false);
    row("enabled as command", panel, "notify", "BLUE_ENABLED,\"YES\"", false, 0, {}, command);
    row("ssp pairing", panel, "notify", "BLUE_PAIRING_STATE,\"SSP_RESPONDER\"", true, 0, pairing);
    row("pin pairing", panel, "notify", "BLUE_PAIRING_STATE,\"PIN_ENTRY_RESPONDER\"", true, 0,
        pairing);
    row("other pairing", panel, "notify", "BLUE_PAIRING_STATE,\"ssp_responder\"", true);
    row("file from bluetooth", bt, file, "photo.jpg", true, 0, received + "photo.jpg");
    row("file from panel, unparsed", panel, file, "\"a b\",c.txt", true, 0,
        received + "\"a b\",c.txt");
    row("file without name", bt, file, "", true);
    row("file from home page", "homepage", file, "photo.jpg", false);
    row("file as command", bt, file, "photo.jpg", false, 0, {}, command);
    row("longer file command", bt, file + 'X', "photo.jpg", false);
}

void TestBalloonItems::bluetoothMessages()
{
    QFETCH(QByteArray, source);
    QFETCH(int, type);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, params);
    QFETCH(bool, accepted);
    QFETCH(int, state);
    QFETCH(Balloons, balloons);

    WatchedItem<CBluetoothSystemTrayDataItem> item;
    for (int time = 0; time < 2; ++time) {
        QCOMPARE(
            item.offerSettled(params, source.constData(), MessageType(type), command.constData()),
            accepted);
    }
    QCOMPARE(item.icon()->state(), state);
    QCOMPARE(item.balloons, balloons);
    QVERIFY(!item.autoHiding());
}

void TestBalloonItems::microscopeReports_data()
{
    QTest::addColumn<QByteArray>("hardware");
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArrayList>("values");
    QTest::addColumn<int>("state");
    QTest::addColumn<Balloons>("balloons");
    auto row = [](const char *name, const QByteArrayList &values, int state, Balloons balloons,
                  const QByteArray &hardware = QByteArray(),
                  const QByteArray &source = "ctrlpanelsvc") {
        QTest::newRow(name) << hardware << source << values << state << balloons;
    };
    Balloon kestrelWarning = portWarning;
    kestrelWarning.text = QStringLiteral("The R7300m Microscope will not function properly in "
                                         "this USB port.  Please use Client USB port with a Mini "
                                         "OTG cable.");

    row("wrong port", {"True"}, 13, {portWarning});
    row("unsupported", {"Unsupported"}, 14, {unsupportedWarning});
    row("any sender", {"True"}, 13, {portWarning}, {}, "scopesvc");
    row("lower case", {"true"}, 0, {});
    row("repeated", {"True", "True"}, 13, {portWarning});
    row("again after cleared", {"True", "False", "True"}, 13, {portWarning, portWarning});
    row("port then unsupported", {"True", "Unsupported"}, 14, {portWarning, unsupportedWarning});
    row("cleared", {"Unsupported", "gone"}, 0, {unsupportedWarning});
    row("kestrel", {"True"}, 13, {kestrelWarning}, "kestrel");
    row("Kestrel", {"True"}, 13, {portWarning}, "Kestrel");
    row("kestrel2", {"True"}, 13, {portWarning}, "kestrel2");
    row("kestrel unsupported", {"Unsupported"}, 14, {unsupportedWarning}, "kestrel");
}

void TestBalloonItems::microscopeReports()
{
    QFETCH(QByteArray, hardware);
    QFETCH(QByteArray, source);
    QFETCH(QByteArrayList, values);
    QFETCH(int, state);
    QFETCH(Balloons, balloons);

    if (hardware.isNull())
        qunsetenv("TORVE_CSR_NAME");
    else
        qputenv("TORVE_CSR_NAME", hardware);
    WatchedItem<CR7300mSystemTrayDataItem> scope;
    QVERIFY(!scope.offer("SCOPE_ERROR,\"True\"", source.constData(), MessageType::Command));
    for (const QByteArray &value : values)
        QVERIFY(scope.offerSettled(notification("SCOPE_ERROR", value), source.constData()));
    QCOMPARE(scope.icon()->state(), state);
    QCOMPARE(scope.icon()->isVisible(), state != 0);
    QCOMPARE(scope.balloons, balloons);
    QVERIFY(!scope.autoHiding());

    // A tap shows the warning again; nothing is raised (there is no client to raise it with).
    scope.balloons.clear();
    emit scope.icon()->activated(QSystemTrayIcon::Trigger);
    QCOMPARE(scope.balloons, state == 0 ? Balloons() : Balloons{balloons.last()});
    qunsetenv("TORVE_CSR_NAME");
}

void TestBalloonItems::microscopeProbe_data()
{
    QTest::addColumn<QStringList>("nodes");
    QTest::addColumn<int>("state");
    QTest::newRow("none") << QStringList() << 0;
    QTest::newRow("invalid 0") << QStringList{"usb_invalid_r7300m0"} << 13;
    QTest::newRow("invalid 31") << QStringList{"usb_invalid_r7300m31"} << 13;
    QTest::newRow("invalid 32") << QStringList{"usb_invalid_r7300m32"} << 0;
    QTest::newRow("leading zero") << QStringList{"usb_invalid_r7300m05"} << 0;
    QTest::newRow("unsupported 31") << QStringList{"usb_unsupported_r7300m31"} << 14;
    QTest::newRow("unsupported 32") << QStringList{"usb_unsupported_r7300m32"} << 0;
    QTest::newRow("invalid before unsupported")
        << QStringList{"usb_unsupported_r7300m0", "usb_invalid_r7300m3"} << 13;
}

void TestBalloonItems::microscopeProbe()
{
    QFETCH(QStringList, nodes);
    QFETCH(int, state);
    QTemporaryDir dev;
    QVERIFY(dev.isValid());
    for (const QString &node : nodes) {
        QFile file(dev.filePath(node));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    ProbedMicroscope::deviceDirectory = dev.path();
    qunsetenv("TORVE_CSR_NAME");

    // Nothing is asked of the control panel: there is no client to ask.
    WatchedItem<ProbedMicroscope> scope;
    scope->initialize();
    QCOMPARE(scope.icon()->state(), state);
    scope.settle();
    const Balloons warnings[] = {{}, {portWarning}, {unsupportedWarning}};
    QCOMPARE(scope.balloons, warnings[state == 0 ? 0 : state - 12]);
}

QTEST_MAIN(TestBalloonItems)
#include "tst_balloonitems.moc"
