#include "items/cvncsystemtraydataitem.h"
#include "tray/csystemtrayicon.h"
#include "tray/fakesyncsender.h"

#include <QTimer>
#include <QtTest>

using glyphd::CSystemTrayIcon;
using glyphd::CVncSystemTrayDataItem;

namespace {

Message *usersNotification(const std::string &params, const std::string &source = "ctrlpanelsvc")
{
    Message *message = Message::createNotification("notify", params);
    message->setSource(source);
    return message;
}

// One VNC item with its icon, fed through the same path the router client uses.
struct VncFixture
{
    FakeSyncSender client;
    QObject iconOwner;
    CVncSystemTrayDataItem item{&client, &iconOwner};

    CSystemTrayIcon *icon() const { return iconOwner.findChild<CSystemTrayIcon *>(); }
    QTimer *hideTimer() const { return icon()->findChild<QTimer *>(QStringLiteral("hideTimer")); }

    // Delivers a notification as the receive thread would, and waits until it is processed.
    bool notify(const std::string &params)
    {
        Message *message = usersNotification(params);
        if (!item.acceptsMessage(message)) {
            delete message;
            return false;
        }
        item.handle(message);
        QCoreApplication::sendPostedEvents(&item);
        return true;
    }
};

} // namespace

class TestVncSystemTrayDataItem : public QObject
{
    Q_OBJECT

private slots:
    void startsHidden();
    void userCountSelectsState_data();
    void userCountSelectsState();
    void startupValueSelectsState();
    void failedStartupLeavesItemHidden();
    void repeatedCountDoesNotRefresh();
    void acceptsUsersKeyFromControlPanelOnly_data();
    void acceptsUsersKeyFromControlPanelOnly();
    void longerKeyCountsAsUsers();
    void tapRaisesRemoteScreen();
};

void TestVncSystemTrayDataItem::startsHidden()
{
    VncFixture f;
    QVERIFY(f.icon());
    QCOMPARE(f.icon()->state(), 0);
    QVERIFY(!f.icon()->isVisible());
    QCOMPARE(f.icon()->title(), QStringLiteral("VNC"));
    QCOMPARE(f.icon()->font().family(), QStringLiteral("Helvetica"));
    QCOMPARE(f.icon()->font().pointSize(), 8);
    QVERIFY(f.client.sent.empty());
}

void TestVncSystemTrayDataItem::userCountSelectsState_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("state");
    QTest::newRow("nobody") << QByteArray("0") << 0;
    QTest::newRow("negative") << QByteArray("-3") << 0;
    QTest::newRow("empty") << QByteArray() << 0;
    QTest::newRow("letters") << QByteArray("abc") << 0;
    QTest::newRow("number and letters") << QByteArray("2abc") << 0;
    QTest::newRow("one") << QByteArray("1") << 9;
    QTest::newRow("two") << QByteArray("2") << 10;
    QTest::newRow("seventeen") << QByteArray("17") << 10;
}

void TestVncSystemTrayDataItem::userCountSelectsState()
{
    QFETCH(QByteArray, value);
    QFETCH(int, state);

    // From hidden and from shown, so that a hiding value is seen to hide.
    for (const char *before : {"", "1"}) {
        VncFixture f;
        if (*before)
            QVERIFY(f.notify(std::string("VNC_USERS,\"") + before + "\""));
        QVERIFY(f.notify("VNC_USERS,\"" + value.toStdString() + "\""));
        QCOMPARE(f.icon()->state(), state);
        QCOMPARE(f.icon()->isVisible(), state != 0);
    }
}

void TestVncSystemTrayDataItem::startupValueSelectsState()
{
    VncFixture f;
    f.client.answer = FakeSyncSender::replyWith(MessageType::Ack, "\"2\"");
    f.item.initialize();
    QCOMPARE(f.client.sent.size(), size_t(1));
    QCOMPARE(f.client.sent[0].message.command(), std::string("get"));
    QCOMPARE(f.client.sent[0].message.params(), std::string("VNC_USERS"));
    QCOMPARE(f.icon()->state(), 10);
    QVERIFY(f.icon()->isVisible());
}

void TestVncSystemTrayDataItem::failedStartupLeavesItemHidden()
{
    VncFixture f;
    f.client.answer = FakeSyncSender::replyWith(MessageType::NAck, "\"Error: unknown key\"");
    QTest::ignoreMessage(QtWarningMsg,
                         "Received NACK requesting value of VNC_USERS -- \"Error: unknown key\"");
    QTest::ignoreMessage(QtWarningMsg, "CVncSystemDataItem could not initialize");
    f.item.initialize();
    QCOMPARE(f.icon()->state(), 0);
    QVERIFY(!f.icon()->isVisible());

    // A notification still brings it up.
    QVERIFY(f.notify("VNC_USERS,\"1\""));
    QCOMPARE(f.icon()->state(), 9);
}

void TestVncSystemTrayDataItem::repeatedCountDoesNotRefresh()
{
    VncFixture f;
    QVERIFY(f.notify("VNC_USERS,\"1\""));
    QCOMPARE(f.icon()->state(), 9);

    // Setting or refreshing the icon would stop a running auto-hide; a repeated count must not.
    f.icon()->findChild<QTimer *>(QStringLiteral("showTimer"))->stop();
    f.icon()->showBalloon(QStringLiteral("connected"), QSystemTrayIcon::Information,
                          QStringLiteral("default"), 60000, true);
    QVERIFY(f.hideTimer()->isActive());
    QVERIFY(f.notify("VNC_USERS,\"1\""));
    QVERIFY(f.hideTimer()->isActive());

    // Another number that gives the same state is no change either.
    QVERIFY(f.notify("VNC_USERS,\"2\""));
    QVERIFY(!f.hideTimer()->isActive());
    f.icon()->showBalloon(QStringLiteral("connected"), QSystemTrayIcon::Information,
                          QStringLiteral("default"), 60000, true);
    QVERIFY(f.notify("VNC_USERS,\"5\""));
    QVERIFY(f.hideTimer()->isActive());
    QCOMPARE(f.icon()->state(), 10);
}

void TestVncSystemTrayDataItem::acceptsUsersKeyFromControlPanelOnly_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("params");
    QTest::addColumn<bool>("accepted");
    const int notify = int(MessageType::Notification);
    QTest::newRow("users") << QByteArray("ctrlpanelsvc") << notify << QByteArray("VNC_USERS,\"2\"")
                           << true;
    QTest::newRow("shorter key") << QByteArray("ctrlpanelsvc") << notify
                                 << QByteArray("VNC_USER,\"2\"") << false;
    QTest::newRow("other source") << QByteArray("homepage") << notify
                                  << QByteArray("VNC_USERS,\"2\"") << false;
    QTest::newRow("reply") << QByteArray("ctrlpanelsvc") << int(MessageType::Ack)
                           << QByteArray("VNC_USERS,\"2\"") << false;
}

void TestVncSystemTrayDataItem::acceptsUsersKeyFromControlPanelOnly()
{
    QFETCH(QByteArray, source);
    QFETCH(int, type);
    QFETCH(QByteArray, params);
    QFETCH(bool, accepted);
    VncFixture f;
    std::unique_ptr<Message> message(usersNotification(params.toStdString(), source.toStdString()));
    message->setType(MessageType(type));
    QCOMPARE(f.item.acceptsMessage(message.get()), accepted);
}

void TestVncSystemTrayDataItem::longerKeyCountsAsUsers()
{
    VncFixture f;
    QVERIFY(f.notify("VNC_USERSX,\"2\""));
    QCOMPARE(f.icon()->state(), 10);
}

void TestVncSystemTrayDataItem::tapRaisesRemoteScreen()
{
    VncFixture f;
    emit f.icon()->activated(QSystemTrayIcon::DoubleClick);
    QCOMPARE(f.client.sent.size(), size_t(1));
    QCOMPARE(f.client.sent[0].destination, std::string("homepage"));
    QCOMPARE(f.client.sent[0].message.command(), std::string("raise_screen"));
    QCOMPARE(f.client.sent[0].message.params(), std::string("REMOTE"));
}

QTEST_MAIN(TestVncSystemTrayDataItem)
#include "tst_vncsystemtraydataitem.moc"
