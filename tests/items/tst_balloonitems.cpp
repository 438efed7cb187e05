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

struct Balloon
{
    QString title;
    QString text;
    int kind;
    int milliseconds;
};

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

    QList<Balloon> balloons;
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

// A device list in the control panel's form: "path=state" pairs.
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

const int info = QSystemTrayIcon::Information;
const int critical = QSystemTrayIcon::Critical;
const QString storage = QStringLiteral("Removable Storage");
const QString remember = QStringLiteral(
    "Please remember to eject the device from the Removable Storage system page before "
    "removing it.");
const QString safe = QStringLiteral("The device has been ejected and is safe to remove.");
const QString corrupted =
    QStringLiteral("The device was removed without being ejected. Data may be corrupted.");
const QString pairing = QStringLiteral("Pair requested. You may go to the Bluetooth system page "
                                       "to complete the pair by clicking on the icon above.");
const QString wrongPort = QStringLiteral(
    "The R7300m Microscope will not function in this USB port.  Please use the other USB port.");
const QString wrongPortKestrel =
    QStringLiteral("The R7300m Microscope will not function properly in this USB port.  Please "
                   "use Client USB port with a Mini OTG cable.");
const QString unsupported =
    QStringLiteral("The Lumiscope microscope is not supported on this instrument.");

} // namespace

Q_DECLARE_METATYPE(QByteArrayList)

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
    void microscopePortWording_data();
    void microscopePortWording();
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
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("milliseconds");
    QTest::addColumn<bool>("autoHide");

    const QByteArray none = deviceList({});
    const QByteArray a = deviceList({"/a=MOUNTED"});
    const QByteArray b = deviceList({"/b=MOUNTED"});
    const QByteArray ab = deviceList({"/a=MOUNTED", "/b=MOUNTED"});
    const QByteArray aEjecting = deviceList({"/a=EJECTING"});
    QTest::newRow("first stick") << none << false << a << 2 << remember << info << 5000 << false;
    QTest::newRow("first sticks") << none << false << ab << 2 << remember << info << 5000 << false;
    QTest::newRow("second stick") << a << false << ab << 2 << QString() << 0 << 0 << false;
    QTest::newRow("stick swapped") << a << false << b << 3 << corrupted << info << 10000 << false;
    QTest::newRow("last ejected") << aEjecting << false << none << 1 << safe << critical << 10000
                                  << true;
    QTest::newRow("last ejected formatting")
        << aEjecting << true << none << 1 << QString() << 0 << 0 << false;
    QTest::newRow("one of two ejected") << deviceList({"/a=EJECTING", "/b=MOUNTED"}) << false << b
                                        << 1 << safe << info << 10000 << false;
    QTest::newRow("last pulled out")
        << a << false << none << 3 << corrupted << critical << 10000 << true;
    QTest::newRow("one of two pulled out")
        << ab << false << a << 3 << corrupted << info << 10000 << false;
    QTest::newRow("pulled out beats ejected")
        << deviceList({"/a=EJECTING", "/b=MOUNTED"}) << false << none << 3 << corrupted << critical
        << 10000 << true;
    QTest::newRow("ejecting while present")
        << a << false << aEjecting << 2 << QString() << 0 << 0 << false;
    QTest::newRow("first stick already ejecting")
        << none << false << aEjecting << 2 << QString() << 0 << 0 << false;
    QTest::newRow("later duplicate ejects") << deviceList({"/a=MOUNTED", "/a=EJECTING"}) << false
                                            << none << 1 << safe << critical << 10000 << true;
    QTest::newRow("later duplicate mounts") << deviceList({"/a=EJECTING", "/a=MOUNTED"}) << false
                                            << none << 3 << corrupted << critical << 10000 << true;
    QTest::newRow("pathless device never counts")
        << deviceList({"=MOUNTED"}) << false << none << 0 << QString() << 0 << 0 << false;
    QTest::newRow("pathless first device")
        << none << false << deviceList({"=MOUNTED"}) << 2 << QString() << 0 << 0 << false;
    QTest::newRow("only elements named like the first")
        << QByteArray("<x>text<!-- c --><d path=\"/a\"/><e path=\"/b\"/><d path=\"/c\"/></x>")
        << false << deviceList({"/a=MOUNTED", "/c=MOUNTED"}) << 2 << QString() << 0 << 0 << false;
    QTest::newRow("missing state reads empty")
        << QByteArray("<l><d path=\"/a\"/></l>") << false << none << 3 << corrupted << critical
        << 10000 << true;
    QTest::newRow("malformed is empty") << a << false << QByteArray("<l><d path=\"/a\"") << 3
                                        << corrupted << critical << 10000 << true;
    QTest::newRow("malformed first")
        << none << false << QByteArray("<l><d path='/a'></l>") << 0 << QString() << 0 << 0 << false;
    // The root, the device and the padding: as many elements as the reader takes, and one more.
    auto padded = [](int elements) {
        return "<l><d path=\"/a\"/>" + QByteArray("<x/>").repeated(elements - 2) + "</l>";
    };
    QTest::newRow("most elements")
        << a << false << padded(1024) << 2 << QString() << 0 << 0 << false;
    QTest::newRow("too many elements is empty")
        << a << false << padded(1025) << 3 << corrupted << critical << 10000 << true;
}

void TestBalloonItems::storageStory()
{
    QFETCH(QByteArray, before);
    QFETCH(bool, formatting);
    QFETCH(QByteArray, after);
    QFETCH(int, state);
    QFETCH(QString, text);
    QFETCH(int, kind);
    QFETCH(int, milliseconds);
    QFETCH(bool, autoHide);

    WatchedItem<CUsbFlashSystemTrayDataItem> usb;
    QVERIFY(usb.offerSettled(notification("FLASH_LIST", before)));
    if (formatting)
        QVERIFY(usb.offerSettled("FLASH_FORMAT,\"YES\""));
    usb.balloons.clear();

    QVERIFY(usb.offerSettled(notification("FLASH_LIST", after)));
    QCOMPARE(usb.icon()->state(), state);
    QCOMPARE(usb.icon()->isVisible(), state != 0);
    QCOMPARE(usb.balloons.size(), text.isEmpty() ? 0 : 1);
    if (!text.isEmpty()) {
        QCOMPARE(usb.balloons[0].title, storage);
        QCOMPARE(usb.balloons[0].text, text);
        QCOMPARE(usb.balloons[0].kind, kind);
        QCOMPARE(usb.balloons[0].milliseconds, milliseconds);
    }
    QCOMPARE(usb.autoHiding(), autoHide);
    if (autoHide) {
        // A tap on the balloon takes the icon away at once.
        usb.icon()->slotMessageClicked();
        QVERIFY(!usb.icon()->isVisible());
    }
}

void TestBalloonItems::formattingBalloons()
{
    const QString started =
        QStringLiteral("Formatting device. Do not remove device until process is completed.");
    const QString complete = QStringLiteral("Format complete. ") + remember;
    const struct
    {
        const char *params;
        QString text;
    } steps[] = {
        {"FLASH_FORMAT,\"\"", QString()},     {"FLASH_FORMAT,\"sdb1\"", started},
        {"FLASH_FORMAT,\"sdb1\"", QString()}, {"FLASH_FORMAT,\"other\"", QString()},
        {"FLASH_FORMAT,\"\"", complete},      {"FLASH_FORMAT,\"\"", QString()},
        {"FLASH_FORMATX,\"on\"", QString()},  {"FLASH_FORMAT,\"on\"", started},
    };
    WatchedItem<CUsbFlashSystemTrayDataItem> usb;
    QVERIFY(usb.offerSettled(notification("FLASH_LIST", deviceList({"/a=MOUNTED"}))));
    for (const auto &step : steps) {
        usb.balloons.clear();
        QVERIFY(usb.offerSettled(step.params));
        QCOMPARE(usb.icon()->state(), 2);
        QCOMPARE(usb.balloons.size(), step.text.isEmpty() ? 0 : 1);
        if (!step.text.isEmpty()) {
            QCOMPARE(usb.balloons[0].title, storage);
            QCOMPARE(usb.balloons[0].text, step.text);
            QCOMPARE(usb.balloons[0].kind, info);
            QCOMPARE(usb.balloons[0].milliseconds, 10000);
            QVERIFY(!usb.autoHiding());
        }
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
        QCOMPARE(item.balloons.size(), bluetooth ? 0 : 1);
        if (!bluetooth)
            QCOMPARE(item.balloons[0].text, remember);

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
    QTest::addColumn<QString>("text");

    const QByteArray panel("ctrlpanelsvc");
    const QByteArray bt("bluetooth");
    const int notify = int(MessageType::Notification);
    const QByteArray file("BLUE_OBEX_FILE_RCVD");
    const QString received =
        QStringLiteral("File received and placed in the bluetooth inbox.\nFilename: ");
    QTest::newRow("enabled") << panel << notify << QByteArray("notify")
                             << QByteArray("BLUE_ENABLED,\"YES\"") << true << 12 << QString();
    QTest::newRow("enabled lower case")
        << panel << notify << QByteArray("notify") << QByteArray("BLUE_ENABLED,\"yes\"") << true
        << 0 << QString();
    QTest::newRow("longer enabled key")
        << panel << notify << QByteArray("notify") << QByteArray("BLUE_ENABLEDX,\"YES\"") << true
        << 0 << QString();
    QTest::newRow("enabled from bluetooth")
        << bt << notify << QByteArray("notify") << QByteArray("BLUE_ENABLED,\"YES\"") << false << 0
        << QString();
    QTest::newRow("enabled from home page")
        << QByteArray("homepage") << notify << QByteArray("notify")
        << QByteArray("BLUE_ENABLED,\"YES\"") << false << 0 << QString();
    QTest::newRow("enabled as command")
        << panel << int(MessageType::Command) << QByteArray("notify")
        << QByteArray("BLUE_ENABLED,\"YES\"") << false << 0 << QString();
    QTest::newRow("ssp pairing") << panel << notify << QByteArray("notify")
                                 << QByteArray("BLUE_PAIRING_STATE,\"SSP_RESPONDER\"") << true << 0
                                 << pairing;
    QTest::newRow("pin pairing") << panel << notify << QByteArray("notify")
                                 << QByteArray("BLUE_PAIRING_STATE,\"PIN_ENTRY_RESPONDER\"") << true
                                 << 0 << pairing;
    QTest::newRow("other pairing")
        << panel << notify << QByteArray("notify")
        << QByteArray("BLUE_PAIRING_STATE,\"ssp_responder\"") << true << 0 << QString();
    QTest::newRow("file from bluetooth")
        << bt << notify << file << QByteArray("photo.jpg") << true << 0 << received + "photo.jpg";
    QTest::newRow("file from panel, unparsed")
        << panel << notify << file << QByteArray("\"a b\",c.txt") << true << 0
        << received + "\"a b\",c.txt";
    QTest::newRow("file without name")
        << bt << notify << file << QByteArray() << true << 0 << QString();
    QTest::newRow("file from home page") << QByteArray("homepage") << notify << file
                                         << QByteArray("photo.jpg") << false << 0 << QString();
    QTest::newRow("file as command") << bt << int(MessageType::Command) << file
                                     << QByteArray("photo.jpg") << false << 0 << QString();
    QTest::newRow("longer file command")
        << bt << notify << file + 'X' << QByteArray("photo.jpg") << false << 0 << QString();
}

void TestBalloonItems::bluetoothMessages()
{
    QFETCH(QByteArray, source);
    QFETCH(int, type);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, params);
    QFETCH(bool, accepted);
    QFETCH(int, state);
    QFETCH(QString, text);

    // Twice: a pairing request or a file pops its balloon each time, even on a hidden icon.
    WatchedItem<CBluetoothSystemTrayDataItem> bluetooth;
    for (int time = 0; time < 2; ++time) {
        QCOMPARE(bluetooth.offerSettled(params, source.constData(), MessageType(type),
                                        command.constData()),
                 accepted);
    }
    QCOMPARE(bluetooth.icon()->state(), state);
    QCOMPARE(bluetooth.balloons.size(), text.isEmpty() ? 0 : 2);
    for (const Balloon &balloon : qAsConst(bluetooth.balloons)) {
        QCOMPARE(balloon.title, QStringLiteral("Bluetooth"));
        QCOMPARE(balloon.text, text);
        QCOMPARE(balloon.kind, info);
        QCOMPARE(balloon.milliseconds, 10000);
        QVERIFY(!bluetooth.autoHiding());
    }
}

void TestBalloonItems::microscopeReports_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArrayList>("values");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<int>("state");
    QTest::addColumn<QStringList>("warnings");

    const QByteArray panel("ctrlpanelsvc");
    QTest::newRow("wrong port") << panel << QByteArrayList{"True"} << true << 13
                                << QStringList{wrongPort};
    QTest::newRow("unsupported") << panel << QByteArrayList{"Unsupported"} << true << 14
                                 << QStringList{unsupported};
    QTest::newRow("any sender") << QByteArray("scopesvc") << QByteArrayList{"True"} << true << 13
                                << QStringList{wrongPort};
    QTest::newRow("lower case") << panel << QByteArrayList{"true"} << true << 0 << QStringList();
    QTest::newRow("repeated") << panel << QByteArrayList{"True", "True"} << true << 13
                              << QStringList{wrongPort};
    QTest::newRow("again after cleared") << panel << QByteArrayList{"True", "False", "True"} << true
                                         << 13 << QStringList{wrongPort, wrongPort};
    QTest::newRow("port then unsupported") << panel << QByteArrayList{"True", "Unsupported"} << true
                                           << 14 << QStringList{wrongPort, unsupported};
    QTest::newRow("cleared") << panel << QByteArrayList{"Unsupported", "gone"} << true << 0
                             << QStringList{unsupported};
}

void TestBalloonItems::microscopeReports()
{
    QFETCH(QByteArray, source);
    QFETCH(QByteArrayList, values);
    QFETCH(bool, accepted);
    QFETCH(int, state);
    QFETCH(QStringList, warnings);

    qunsetenv("TORVE_CSR_NAME");
    WatchedItem<CR7300mSystemTrayDataItem> scope;
    QVERIFY(!scope.offer("SCOPE_ERROR,\"True\"", source.constData(), MessageType::Command));
    for (const QByteArray &value : values)
        QCOMPARE(scope.offerSettled(notification("SCOPE_ERROR", value), source.constData()),
                 accepted);
    QCOMPARE(scope.icon()->state(), state);
    QCOMPARE(scope.icon()->isVisible(), state != 0);
    QStringList shown;
    for (const Balloon &balloon : qAsConst(scope.balloons)) {
        shown.append(balloon.text);
        const bool port = balloon.text == wrongPort;
        QCOMPARE(balloon.title, port ? QStringLiteral("Microscope Error")
                                     : QStringLiteral("Lumiscope Not Supported"));
        QCOMPARE(balloon.kind, critical);
        QCOMPARE(balloon.milliseconds, port ? 10000 : 99999);
    }
    QCOMPARE(shown, warnings);
    QVERIFY(!scope.autoHiding());

    // A tap shows the warning again; nothing is raised.
    scope.balloons.clear();
    emit scope.icon()->activated(QSystemTrayIcon::Trigger);
    QCOMPARE(scope.balloons.size(), state == 0 ? 0 : 1);
    if (state != 0)
        QCOMPARE(scope.balloons[0].text, warnings.last());
}

void TestBalloonItems::microscopePortWording_data()
{
    QTest::addColumn<QByteArray>("hardware");
    QTest::addColumn<QString>("text");
    QTest::newRow("unset") << QByteArray() << wrongPort;
    QTest::newRow("kestrel") << QByteArray("kestrel") << wrongPortKestrel;
    QTest::newRow("Kestrel") << QByteArray("Kestrel") << wrongPort;
    QTest::newRow("kestrel2") << QByteArray("kestrel2") << wrongPort;
}

void TestBalloonItems::microscopePortWording()
{
    QFETCH(QByteArray, hardware);
    QFETCH(QString, text);
    if (hardware.isNull())
        qunsetenv("TORVE_CSR_NAME");
    else
        qputenv("TORVE_CSR_NAME", hardware);
    WatchedItem<CR7300mSystemTrayDataItem> scope;
    QVERIFY(scope.offerSettled("SCOPE_ERROR,\"True\""));
    QCOMPARE(scope.balloons.size(), 1);
    QCOMPARE(scope.balloons[0].text, text);
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
    QCOMPARE(scope.balloons.size(), state == 0 ? 0 : 1);
    if (state != 0)
        QCOMPARE(scope.balloons[0].text, state == 13 ? wrongPort : unsupported);
}

QTEST_MAIN(TestBalloonItems)
#include "tst_balloonitems.moc"
