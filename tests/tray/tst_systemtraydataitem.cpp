#include "tray/csystemtraydataitem.h"
#include "tray/csystemtrayicon.h"
#include "tray/fakesyncsender.h"

#include <QThread>
#include <QtTest>

#include <thread>

using glyphd::CSystemTrayDataItem;
using glyphd::CSystemTrayIcon;

namespace {

// The smallest item: takes PROBE_ notifications and records what reaches processMessage.
class ProbeItem : public CSystemTrayDataItem
{
public:
    ProbeItem(SyncSenderClient *client, const QString &screen)
        : CSystemTrayDataItem(client)
        , icon(new CSystemTrayIcon(QStringLiteral("Probe"), this, iconFont()))
    {
        attachTrayIcon(icon, screen);
    }

    using CSystemTrayDataItem::requestValue;

    bool acceptsMessage(const Message *message) override
    {
        return acceptsNotification(message, "PROBE_");
    }
    void initialize() override {}

    CSystemTrayIcon *const icon;
    QList<KeyValue> received;
    QList<QThread *> receivedOn;

protected:
    void processMessage(Message *message) override
    {
        received.append(readKeyValue(message));
        receivedOn.append(QThread::currentThread());
    }
};

Message *notification(const std::string &source, const std::string &params,
                      MessageType type = MessageType::Notification)
{
    Message *message = Message::createNotification("notify", params);
    message->setSource(source);
    message->setType(type);
    return message;
}

} // namespace

class TestSystemTrayDataItem : public QObject
{
    Q_OBJECT

private slots:
    void requestValueAsksControlPanel();
    void requestValueTakesFirstParameterWhole_data();
    void requestValueTakesFirstParameterWhole();
    void refusedRequestIsReported_data();
    void refusedRequestIsReported();
    void missingReplyIsReported();
    void tapRaisesScreen_data();
    void tapRaisesScreen();
    void acceptsOnlyControlPanelNotifications_data();
    void acceptsOnlyControlPanelNotifications();
    void messagesAreProcessedOnItemThread();
    void pendingMessageIsFreedWithItem();
    void itemWorksThroughHandlerFace();
};

void TestSystemTrayDataItem::requestValueAsksControlPanel()
{
    FakeSyncSender client;
    client.answer = FakeSyncSender::replyWith(MessageType::Ack, "\"3\"");
    ProbeItem item(&client, QStringLiteral("REMOTE"));

    bool ok = false;
    QCOMPARE(item.requestValue("VNC_USERS", &ok), QByteArray("3"));
    QVERIFY(ok);
    QCOMPARE(client.sent.size(), size_t(1));
    const FakeSyncSender::Sent &get = client.sent.front();
    QCOMPARE(get.destination, std::string("ctrlpanelsvc"));
    QCOMPARE(get.message.destination(), std::string("ctrlpanelsvc"));
    QCOMPARE(get.message.command(), std::string("get"));
    QCOMPARE(get.message.params(), std::string("VNC_USERS"));
    QCOMPARE(get.message.type(), MessageType::Command);
    QCOMPARE(get.timeoutMs, 1000);

    // ok is optional.
    QCOMPARE(item.requestValue("VNC_USERS"), QByteArray("3"));
}

void TestSystemTrayDataItem::requestValueTakesFirstParameterWhole_data()
{
    QTest::addColumn<QByteArray>("params");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("bare") << QByteArray("ASSOCIATED") << QByteArray("ASSOCIATED");
    QTest::newRow("phrase with comma")
        << QByteArray("\"FAN ALARM, FAULT\",x") << QByteArray("FAN ALARM, FAULT");
    QTest::newRow("xml with doubled quotes")
        << QByteArray("\"<list><dev name=\"\"sda1\"\"/></list>\"")
        << QByteArray("<list><dev name=\"sda1\"/></list>");
}

void TestSystemTrayDataItem::requestValueTakesFirstParameterWhole()
{
    QFETCH(QByteArray, params);
    QFETCH(QByteArray, value);
    FakeSyncSender client;
    client.answer = FakeSyncSender::replyWith(MessageType::Ack, params.toStdString());
    ProbeItem item(&client, QString());

    bool ok = false;
    QCOMPARE(item.requestValue("FLASH_LIST", &ok), value);
    QVERIFY(ok);
}

void TestSystemTrayDataItem::refusedRequestIsReported_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("params");
    QTest::newRow("nack") << int(MessageType::NAck) << QByteArray("\"Error: unknown key\"");
    QTest::newRow("timeout") << int(MessageType::Error) << QByteArray("\"Error: timeout\"");
    QTest::newRow("notification") << int(MessageType::Notification) << QByteArray("\"1\"");
}

void TestSystemTrayDataItem::refusedRequestIsReported()
{
    QFETCH(int, type);
    QFETCH(QByteArray, params);
    FakeSyncSender client;
    client.answer = FakeSyncSender::replyWith(MessageType(type), params.toStdString());
    ProbeItem item(&client, QString());

    QTest::ignoreMessage(QtWarningMsg,
                         "Received NACK requesting value of BLUE_ENABLED -- " + params);
    bool ok = true;
    QCOMPARE(item.requestValue("BLUE_ENABLED", &ok), QByteArray());
    QVERIFY(!ok);
}

void TestSystemTrayDataItem::missingReplyIsReported()
{
    FakeSyncSender client;
    ProbeItem item(&client, QString());

    QTest::ignoreMessage(QtWarningMsg, "No reply when requesting value of SCOPE_ERROR");
    bool ok = true;
    QCOMPARE(item.requestValue("SCOPE_ERROR", &ok), QByteArray());
    QVERIFY(!ok);
}

void TestSystemTrayDataItem::tapRaisesScreen_data()
{
    QTest::addColumn<QString>("screen");
    QTest::addColumn<bool>("replied");
    QTest::newRow("screen, answered") << QStringLiteral("REMOTE") << true;
    QTest::newRow("screen, unanswered") << QStringLiteral("NETWORK") << false;
    QTest::newRow("no screen") << QString() << true;
    QTest::newRow("non-ASCII screen") << QStringLiteral("ÉCRAN") << false;
}

void TestSystemTrayDataItem::tapRaisesScreen()
{
    QFETCH(QString, screen);
    QFETCH(bool, replied);
    FakeSyncSender client;
    if (replied)
        client.answer = FakeSyncSender::replyWith(MessageType::Ack, "");
    ProbeItem item(&client, screen);

    emit item.icon->activated(QSystemTrayIcon::Trigger);
    QCOMPARE(client.sent.size(), size_t(1));
    const FakeSyncSender::Sent &raise = client.sent.front();
    QCOMPARE(raise.destination, std::string("homepage"));
    QCOMPARE(raise.message.command(), std::string("raise_screen"));
    QCOMPARE(raise.message.params(), screen.toUtf8().toStdString());
    QCOMPARE(raise.timeoutMs, -1);
}

void TestSystemTrayDataItem::acceptsOnlyControlPanelNotifications_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("params");
    QTest::addColumn<bool>("accepted");
    const int notify = int(MessageType::Notification);
    QTest::newRow("ours") << QByteArray("ctrlpanelsvc") << notify << QByteArray("PROBE_A,\"1\"")
                          << true;
    QTest::newRow("longer key") << QByteArray("ctrlpanelsvc") << notify
                                << QByteArray("PROBE_AX,\"1\"") << true;
    QTest::newRow("prefix alone") << QByteArray("ctrlpanelsvc") << notify << QByteArray("PROBE_")
                                  << true;
    QTest::newRow("prefix later") << QByteArray("ctrlpanelsvc") << notify
                                  << QByteArray("X,PROBE_A,\"1\"") << false;
    QTest::newRow("prefix cut") << QByteArray("ctrlpanelsvc") << notify << QByteArray("PROBE")
                                << false;
    QTest::newRow("lower case") << QByteArray("ctrlpanelsvc") << notify
                                << QByteArray("probe_A,\"1\"") << false;
    QTest::newRow("other source") << QByteArray("homepage") << notify << QByteArray("PROBE_A,\"1\"")
                                  << false;
    QTest::newRow("source longer")
        << QByteArray("ctrlpanelsvc2") << notify << QByteArray("PROBE_A,\"1\"") << false;
    QTest::newRow("source shorter")
        << QByteArray("ctrlpanel") << notify << QByteArray("PROBE_A,\"1\"") << false;
    QTest::newRow("command") << QByteArray("ctrlpanelsvc") << int(MessageType::Command)
                             << QByteArray("PROBE_A,\"1\"") << false;
    QTest::newRow("ack") << QByteArray("ctrlpanelsvc") << int(MessageType::Ack)
                         << QByteArray("PROBE_A,\"1\"") << false;
}

void TestSystemTrayDataItem::acceptsOnlyControlPanelNotifications()
{
    QFETCH(QByteArray, source);
    QFETCH(int, type);
    QFETCH(QByteArray, params);
    QFETCH(bool, accepted);
    FakeSyncSender client;
    ProbeItem item(&client, QString());
    std::unique_ptr<Message> message(
        notification(source.toStdString(), params.toStdString(), MessageType(type)));
    QCOMPARE(item.acceptsMessage(message.get()), accepted);
}

void TestSystemTrayDataItem::messagesAreProcessedOnItemThread()
{
    FakeSyncSender client;
    ProbeItem item(&client, QString());

    // As the router client's receive thread does it: handle() from another thread.
    std::thread receiver([&item] {
        item.handle(notification("ctrlpanelsvc", "PROBE_A,\"x, y\""));
        item.handle(notification("ctrlpanelsvc", "PROBE_B,plain"));
    });
    receiver.join();
    QVERIFY(item.received.isEmpty());

    QTRY_COMPARE_WITH_TIMEOUT(item.received.size(), 2, 5000);
    QCOMPARE(item.received[0].key, QByteArray("PROBE_A"));
    QCOMPARE(item.received[0].value, QByteArray("x, y"));
    QCOMPARE(item.received[1].key, QByteArray("PROBE_B"));
    QCOMPARE(item.received[1].value, QByteArray("plain"));
    QCOMPARE(item.receivedOn[0], QThread::currentThread());
    QCOMPARE(item.receivedOn[1], QThread::currentThread());
}

void TestSystemTrayDataItem::pendingMessageIsFreedWithItem()
{
    FakeSyncSender client;
    auto *item = new ProbeItem(&client, QString());
    item->handle(notification("ctrlpanelsvc", "PROBE_A,\"1\""));
    delete item; // the posted message goes with it: the sanitizer build reports a leak if not
    QCoreApplication::sendPostedEvents();
}

void TestSystemTrayDataItem::itemWorksThroughHandlerFace()
{
    FakeSyncSender client;
    MessageHandler *handler = new ProbeItem(&client, QString());
    std::unique_ptr<Message> foreign(notification("bluetooth", "PROBE_A,\"1\""));
    QVERIFY(!handler->acceptsMessage(foreign.get()));
    Message *ours = notification("ctrlpanelsvc", "PROBE_A,\"1\"");
    QVERIFY(handler->acceptsMessage(ours));
    handler->handle(ours);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(static_cast<ProbeItem *>(handler)->received.size(), 1);
    delete handler;
}

QTEST_MAIN(TestSystemTrayDataItem)
#include "tst_systemtraydataitem.moc"
