// The router client: its handler list and registration (against a loopback socket), then
// synchronous requests, time-outs, fan-out, the default answer and concurrent use through the
// real router.
#include "libclient/messagehandlerclient.h"
#include "routerprocess.h"
#include "support/loopbackpeer.h"

#include <QMutex>
#include <QtTest>

#include <csignal>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>

using RouterClient = MessageHandlerClientTemplate<CThreadWrapper, QMutex>;
Q_DECLARE_METATYPE(MessageType)

namespace {

// Takes what it is offered (or nothing), records it, and answers commands with "ASSOCIATED"
// in a reply of the type it was given (Notification: no answer).
struct Recorder : MessageHandler
{
    explicit Recorder(RouterClient *client, MessageType answer = MessageType::Notification,
                      bool accepts = true)
        : client(client)
        , answer(answer)
        , accepts(accepts)
    {}
    bool acceptsMessage(const Message *) override
    {
        ++offered;
        return accepts;
    }
    void handle(Message *message) override
    {
        const std::unique_ptr<Message> received(message);
        {
            // Recorded before answering: whoever gets the answer may look at once.
            std::lock_guard<std::mutex> locker(mutex);
            messages.push_back(*received);
        }
        if (received->type() == MessageType::Command && answer != MessageType::Notification) {
            std::unique_ptr<Message> reply(Message::createAckMessage(received.get(), "ASSOCIATED"));
            reply->setType(answer);
            client->send(reply->destination(), reply.get());
        }
    }
    void connectionClosed() override { ++closed; }
    std::vector<Message> received()
    {
        std::lock_guard<std::mutex> locker(mutex);
        return messages;
    }
    int count() { return int(received().size()); }

    RouterClient *const client;
    const MessageType answer;
    const bool accepts;
    std::atomic<int> offered{0}, closed{0};
    std::mutex mutex;
    std::vector<Message> messages;
};

// A client with a recorder and, once installed, the default handler behind it.
struct Peer
{
    explicit Peer(const std::string &name, MessageType answer = MessageType::Notification,
                  bool accepts = true)
        : client(name)
        , handler(&client, answer, accepts)
        , fallback(&client)
    {
        client.registerHandler(&handler, false);
    }
    ~Peer() { client.disconnect(); } // the receive thread must be gone before the handlers
    bool connect(quint16 port)
    {
        return client.connect("127.0.0.1", port, std::string(), 1, false, std::string(), 3000);
    }

    RouterClient client;
    Recorder handler;
    DefaultMessageHandlerTemplate<CThreadWrapper, QMutex> fallback;
};

std::unique_ptr<Message> command(const std::string &name, const std::string &params = "")
{
    return std::unique_ptr<Message>(Message::createMessage(name, params));
}

// "TYPE SOURCE PARAMS", to compare a reply in one go.
QString summary(const Message *message)
{
    return message == nullptr ? QStringLiteral("none")
                              : QStringLiteral("%1 %2 %3")
                                    .arg(int(message->type()))
                                    .arg(QString::fromStdString(message->source()),
                                         QString::fromStdString(message->params()));
}

} // namespace

char *toString(const Message &message)
{
    return qstrdup(qPrintable(QStringLiteral("seqn %1 %2 -> %3 %4 ")
                                  .arg(message.seqn())
                                  .arg(QString::fromStdString(message.source()),
                                       QString::fromStdString(message.destination()),
                                       QString::fromStdString(message.command())) +
                              summary(&message)));
}

class TestRouterClient : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY(m_router.start()); }
    void handlerList();
    void registrationParameters_data();
    void registrationParameters();
    void replyEndsTheWait_data();
    void replyEndsTheWait();
    void closedConnectionEndsTheWaitAtOnce();
    void fanOutCollectsEveryReceiver();
    void defaultHandlerAnswersCommandsOnlyAndSecondConnectIsRefused();
    void concurrentSendsWhileDispatching();

private:
    RouterProcess m_router;
};

void TestRouterClient::handlerList()
{
    Peer peer("dispatch", MessageType::Notification, false);
    Recorder first(&peer.client), second(&peer.client), fallback(&peer.client);
    // "offered/taken" for the peer's own handler, first, second and fallback.
    const auto dispatch = [&] {
        peer.client.dispatch(Message::createNotification("notify", "VNC_USERS,1"));
        QString state;
        for (Recorder *handler : {&peer.handler, &first, &second, &fallback})
            state += QStringLiteral("%1/%2 ").arg(handler->offered).arg(handler->count());
        return state.trimmed();
    };
    peer.client.registerHandler(&first, false);
    peer.client.registerHandler(&second, false);
    // To the first that accepts, in registration order; at the front is asked before all.
    QCOMPARE(dispatch(), QStringLiteral("1/0 1/1 0/0 0/0"));
    peer.client.registerHandler(&second, true);
    QCOMPARE(dispatch(), QStringLiteral("1/0 1/1 1/1 0/0"));
    QCOMPARE(peer.client.handlerCount(), 4);
    peer.client.unregisterHandler(&second); // both of its registrations
    QCOMPARE(peer.client.handlerCount(), 2);
    peer.client.notifyConnectionClosed();
    QCOMPARE(QList<int>({peer.handler.closed, first.closed, second.closed}), QList<int>({1, 1, 0}));

    // What nobody accepts goes to the default handler without asking it; without one it is
    // dropped (the sanitizer build's leak checker sees that it is freed).
    peer.client.unregisterHandler(&first);
    peer.client.setDefaultHandler(&fallback);
    QCOMPARE(dispatch(), QStringLiteral("2/0 1/1 1/1 0/1"));
    peer.client.setDefaultHandler(nullptr);
    QCOMPARE(dispatch(), QStringLiteral("3/0 1/1 1/1 0/1"));
}

void TestRouterClient::registrationParameters_data()
{
    QTest::addColumn<int>("scope");
    QTest::addColumn<bool>("force");
    QTest::addColumn<QString>("proxyHost");
    QTest::addColumn<QString>("params");
    QTest::newRow("none") << 0 << false << QString() << "none";
    QTest::newRow("all") << -1 << false << QString() << "all";
    QTest::newRow("local") << 1 << false << QString() << "local";
    QTest::newRow("remote") << 2 << false << QString() << "remote";
    QTest::newRow("local and remote") << 3 << false << QString() << "local,remote";
    QTest::newRow("force") << 1 << true << QString() << "local,force";
    QTest::newRow("proxy") << 1 << true << "10.0.0.2"
                           << "local,force,proxyHost,10.0.0.2,proxyPort,4000";
}

// Registered on connect with the router's ACK, unregistered on disconnect without waiting.
void TestRouterClient::registrationParameters()
{
    QFETCH(int, scope);
    QFETCH(bool, force);
    QFETCH(QString, proxyHost);
    LoopbackPeer router;
    Message registration, unregistration;
    std::thread routerThread([&] {
        if (router.accept() && router.readFrame(registration)) {
            std::unique_ptr<Message> ack(Message::createAckMessage(&registration, ""));
            router.writeMessage(*ack);
            router.readFrame(unregistration);
        }
    });
    RouterClient client("glyphd");
    const bool connected = client.connect("127.0.0.1", router.port(), std::string(), scope, force,
                                          proxyHost.toStdString(), 4000);
    const bool disconnected = client.disconnect();
    routerThread.join();

    QVERIFY(connected && disconnected);
    QVERIFY(registration.seqn() != 0);
    registration.setSeqn(1);
    QFETCH(QString, params);
    QCOMPARE(registration, makeMessage("glyphd", "clientmgr", "register", params.toStdString(), 1));
    QCOMPARE(unregistration, makeMessage("glyphd", "clientmgr", "unregister"));
}

void TestRouterClient::replyEndsTheWait_data()
{
    QTest::addColumn<MessageType>("answer");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<int>("timeoutMs");
    QTest::addColumn<QString>("reply");
    const QString timeout = "5 answering \"Error: timeout\"";
    QTest::newRow("ACK") << MessageType::Ack << "answering" << 20000 << "2 answering ASSOCIATED";
    QTest::newRow("NACK") << MessageType::NAck << "answering" << 20000 << "3 answering ASSOCIATED";
    QTest::newRow("error") << MessageType::Error << "answering" << 20000
                           << "5 answering ASSOCIATED";
    QTest::newRow("time-out") << MessageType::Notification << "answering" << 300 << timeout;
    QTest::newRow("negative: no wait") << MessageType::Notification << "answering" << -1 << timeout;
    QTest::newRow("unknown destination")
        << MessageType::Ack << "nobody" << 20000 << "5 clientmgr \"Error: unknown destination\"";
}

void TestRouterClient::replyEndsTheWait()
{
    QFETCH(MessageType, answer);
    QFETCH(QString, destination);
    QFETCH(int, timeoutMs);
    Peer peer("answering", answer);
    Peer asking("asking");
    QVERIFY(peer.connect(m_router.port()) && asking.connect(m_router.port()));

    auto request = command("get", "WIFI_CONNECT_STATUS");
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> reply(
        asking.client.sendAndWait(destination.toStdString(), request.get(), timeoutMs));
    const qint64 elapsed = clock.elapsed();

    QTEST(summary(reply.get()), "reply");
    // A time-out takes its time; everything else ends the wait as soon as it comes.
    const bool timesOut = timeoutMs > 0 && reply->params() == "\"Error: timeout\"";
    QVERIFY2(elapsed >= (timesOut ? timeoutMs - 10 : 0) && elapsed < (timeoutMs < 0 ? 1000 : 10000),
             qPrintable(QString::number(elapsed)));
    QCOMPARE(reply->seqn(), request->seqn());
    QCOMPARE(reply->command(), std::string("get"));
    QCOMPARE(reply->destination(), std::string("asking"));
    QCOMPARE(asking.client.takePendingReply(), nullptr);
    // The request reached the peer's handler; the reply went to the waiting call only.
    QTRY_COMPARE(peer.handler.count(), destination == "answering" ? 1 : 0);
    QCOMPARE(asking.handler.count(), 0);
}

void TestRouterClient::closedConnectionEndsTheWaitAtOnce()
{
    RouterProcess router;
    QVERIFY(router.start());
    Peer silent("silent");
    Peer asking("asking");
    QVERIFY(silent.connect(router.port()) && asking.connect(router.port()));

    // The main thread is blocked in the wait; the router dies underneath it. (QProcess
    // belongs to the main thread, so the other thread uses the plain system call.)
    std::thread stopper([pid = pid_t(router.processId())] { ::kill(pid, SIGKILL); });
    auto request = command("get", "VNC_USERS");
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> reply(asking.client.sendAndWait("silent", request.get(), 60000));
    const qint64 elapsed = clock.elapsed();
    stopper.join();
    router.kill();

    QVERIFY2(elapsed < 10000, qPrintable(QString::number(elapsed)));
    QCOMPARE(summary(reply.get()), QStringLiteral("5 silent \"Error: timeout\""));
    QTRY_COMPARE(asking.handler.closed.load(), 1);
}

void TestRouterClient::fanOutCollectsEveryReceiver()
{
    Peer answering("fan-a", MessageType::Ack);
    Peer silent("fan-b");
    Peer asking("asking");
    QVERIFY(answering.connect(m_router.port()) && silent.connect(m_router.port()) &&
            asking.connect(m_router.port()));

    auto request = command("ping");
    request->setFanOut(true);
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> routerAck(
        asking.client.sendAndWait("fan-a,fan-b", request.get(), 500));
    QVERIFY2(clock.elapsed() >= 490, qPrintable(QString::number(clock.elapsed()))); // for fan-b

    QCOMPARE(summary(routerAck.get()), QStringLiteral("2 clientmgr fan-a,fan-b"));
    std::unique_ptr<Message> fromA(asking.client.takePendingReply());
    QCOMPARE(summary(fromA.get()), QStringLiteral("2 fan-a ASSOCIATED"));
    std::unique_ptr<Message> forB(asking.client.takePendingReply());
    QCOMPARE(summary(forB.get()), QStringLiteral("5 fan-b \"Error: timeout\""));
    QCOMPARE(forB->seqn(), request->seqn());
    QCOMPARE(asking.client.takePendingReply(), nullptr);
    QTRY_COMPARE(silent.handler.count(), 1);
}

void TestRouterClient::defaultHandlerAnswersCommandsOnlyAndSecondConnectIsRefused()
{
    Peer daemon("defaulting", MessageType::Notification, false);
    daemon.client.setDefaultHandler(&daemon.fallback);
    Peer sender("sender");
    QVERIFY(daemon.connect(m_router.port()) && sender.connect(m_router.port()));

    // Frames from one sender keep their order: had the notification been answered, its
    // answer would come before the NACK of the command sent after it.
    std::unique_ptr<Message> notification(Message::createNotification("notify", "X,1"));
    QVERIFY(sender.client.send("defaulting", notification.get()));
    auto unsolicited = command("frobnicate", "1");
    unsolicited->setSeqn(4711);
    QVERIFY(sender.client.send("defaulting", unsolicited.get()));
    QTRY_COMPARE(sender.handler.count(), 1);
    const Message nack = sender.handler.received().front();
    QCOMPARE(nack, makeMessage("defaulting", "sender", "frobnicate", "\"CMD not supported\"", 4711,
                               MessageType::NAck));

    std::ostringstream cerr;
    std::streambuf *const previous = std::cerr.rdbuf(cerr.rdbuf());
    const bool connectedAgain = sender.connect(m_router.port());
    std::cerr.rdbuf(previous);
    QVERIFY(!connectedAgain);
    QCOMPARE(cerr.str(),
             "Already connected 127.0.0.1 on port " + std::to_string(m_router.port()) + "\n");
    QVERIFY(sender.client.isConnected());
}

// Two threads send through one client while its receive thread dispatches a stream coming
// the other way: every message arrives once and whole (some need several writes), each
// sender's messages in order, with sequence numbers never handed out twice.
void TestRouterClient::concurrentSendsWhileDispatching()
{
    const int perThread = 200;
    const auto paramsFor = [](const std::string &tag, int i) {
        return tag + "," + std::to_string(i) + "," + std::string(i % 8 ? i : 200000 + i, 'p');
    };
    Peer busy("busy");
    Peer echo("echo");
    QVERIFY(busy.connect(m_router.port()) && echo.connect(m_router.port()));
    auto sendMany = [&](RouterClient &from, const std::string &to, const std::string &tag) {
        for (int i = 0; i < perThread; ++i) {
            std::unique_ptr<Message> message(Message::createNotification("n", paramsFor(tag, i)));
            message->setSeqn(from.nextSeqn());
            from.send(to, message.get());
        }
    };
    std::thread first(sendMany, std::ref(busy.client), "echo", "first");
    std::thread second(sendMany, std::ref(busy.client), "echo", "second");
    std::thread back(sendMany, std::ref(echo.client), "busy", "back");
    first.join();
    second.join();
    back.join();

    QTRY_COMPARE_WITH_TIMEOUT(echo.handler.count(), 2 * perThread, 30000);
    QTRY_COMPARE_WITH_TIMEOUT(busy.handler.count(), perThread, 30000);
    std::map<std::string, int> next;
    std::set<std::uint32_t> seqns;
    for (const Message &message : echo.handler.received()) {
        const std::string tag = message.params().substr(0, message.params().find(','));
        QVERIFY(message.params() == paramsFor(tag, next[tag]++));
        QVERIFY(seqns.insert(message.seqn()).second);
    }
    QCOMPARE(next["first"], perThread);
    QCOMPARE(next["second"], perThread);
}

QTEST_GUILESS_MAIN(TestRouterClient)
#include "test_routerclient.moc"
