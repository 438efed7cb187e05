// The router client against the real router: synchronous requests and their replies,
// time-outs, fan-out, the default answer to commands, and concurrent use of one client.
#include "routerclienttestutil.h"

#include "routerprocess.h"

#include <QElapsedTimer>
#include <QtTest>

#include <csignal>
#include <map>
#include <set>
#include <thread>

namespace {

const char kTimeoutText[] = "\"Error: timeout\"";

// A client of the router with its own name and one answering handler.
struct Peer
{
    Peer(const std::string &name, AnsweringHandler::Answer answer,
         const std::string &answerText = std::string())
        : client(name)
        , handler(&client, answer, answerText)
    {
        client.registerHandler(&handler, false);
    }
    // The receive thread must be gone before the handler is.
    ~Peer() { client.disconnect(); }

    RouterClient client;
    AnsweringHandler handler;
};

// A client that answers nothing itself: what reaches it goes to the default handler.
struct DefaultingClient
{
    explicit DefaultingClient(const std::string &name)
        : client(name)
        , defaultHandler(&client)
    {
        client.setDefaultHandler(&defaultHandler);
    }
    ~DefaultingClient() { client.disconnect(); }

    RouterClient client;
    DefaultMessageHandlerTemplate<CThreadWrapper, QMutex> defaultHandler;
};

std::unique_ptr<Message> command(const std::string &name, const std::string &params = "")
{
    return std::unique_ptr<Message>(Message::createMessage(name, params));
}

} // namespace

class TestRouterClient : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();

    void replyEndsTheWait_data();
    void replyEndsTheWait();
    void unknownDestinationGivesTheRoutersError();
    void silentPeerGivesTimeoutReply();
    void negativeTimeoutDoesNotWait();
    void closedConnectionEndsTheWaitAtOnce();
    void fanOutCollectsEveryReceiver();
    void defaultHandlerAnswersCommandsOnly();
    void secondConnectIsRefused();
    void concurrentSendsWhileDispatching();

private:
    RouterProcess m_router;
};

void TestRouterClient::initTestCase()
{
    QVERIFY(m_router.start());
}

void TestRouterClient::replyEndsTheWait_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("expectedType");
    QTest::newRow("ACK") << int(AnsweringHandler::Answer::Ack) << int(MessageType::Ack);
    QTest::newRow("NACK") << int(AnsweringHandler::Answer::NAck) << int(MessageType::NAck);
    QTest::newRow("error") << int(AnsweringHandler::Answer::Error) << int(MessageType::Error);
}

void TestRouterClient::replyEndsTheWait()
{
    QFETCH(int, answer);
    QFETCH(int, expectedType);
    Peer peer("answering", AnsweringHandler::Answer(answer), "\"ASSOCIATED\"");
    RouterClient client("asking");
    QVERIFY(connectLocal(peer.client, m_router.port()));
    QVERIFY(connectLocal(client, m_router.port()));

    auto request = command("get", "WIFI_CONNECT_STATUS");
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> reply(client.sendAndWait("answering", request.get(), 20000));

    QVERIFY(clock.elapsed() < 10000);
    QCOMPARE(int(reply->type()), expectedType);
    QCOMPARE(reply->params(), std::string("\"ASSOCIATED\""));
    QCOMPARE(reply->seqn(), request->seqn());
    QCOMPARE(reply->source(), std::string("answering"));
    QCOMPARE(client.takePendingReply(), nullptr);
    // The reply went to the waiting request only, never to the peer's own handler list.
    QCOMPARE(peer.handler.receivedCount(), 1);
}

void TestRouterClient::unknownDestinationGivesTheRoutersError()
{
    RouterClient client("asking");
    QVERIFY(connectLocal(client, m_router.port()));

    auto request = command("get", "VNC_USERS");
    std::unique_ptr<Message> reply(client.sendAndWait("nobody", request.get(), 20000));

    QCOMPARE(reply->type(), MessageType::Error);
    QCOMPARE(reply->source(), std::string("clientmgr"));
    QCOMPARE(reply->params(), std::string("\"Error: unknown destination\""));
}

void TestRouterClient::silentPeerGivesTimeoutReply()
{
    Peer peer("silent", AnsweringHandler::Answer::Silent);
    RouterClient client("asking");
    QVERIFY(connectLocal(peer.client, m_router.port()));
    QVERIFY(connectLocal(client, m_router.port()));

    auto request = command("get", "VNC_USERS");
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> reply(client.sendAndWait("silent", request.get(), 300));
    const qint64 elapsed = clock.elapsed();

    QVERIFY2(elapsed >= 290, qPrintable(QString::number(elapsed)));
    QCOMPARE(reply->type(), MessageType::Error);
    QCOMPARE(reply->params(), std::string(kTimeoutText));
    QCOMPARE(reply->seqn(), request->seqn());
    QCOMPARE(reply->command(), std::string("get"));
    QCOMPARE(reply->source(), std::string("silent"));
    QCOMPARE(reply->destination(), std::string("asking"));
    QTRY_COMPARE(peer.handler.receivedCount(), 1);
}

void TestRouterClient::negativeTimeoutDoesNotWait()
{
    Peer peer("silent", AnsweringHandler::Answer::Silent);
    RouterClient client("tapping");
    QVERIFY(connectLocal(peer.client, m_router.port()));
    QVERIFY(connectLocal(client, m_router.port()));

    auto request = command("raise_screen", "NETWORK");
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> reply(client.sendAndWait("silent", request.get(), -1));

    QVERIFY(clock.elapsed() < 1000);
    QCOMPARE(reply->params(), std::string(kTimeoutText));
    QTRY_COMPARE(peer.handler.receivedCount(), 1); // it was sent all the same
}

void TestRouterClient::closedConnectionEndsTheWaitAtOnce()
{
    RouterProcess router;
    QVERIFY(router.start());
    Peer peer("silent", AnsweringHandler::Answer::Silent);
    Peer observed("asking", AnsweringHandler::Answer::Silent);
    RouterClient &client = observed.client;
    QVERIFY(connectLocal(peer.client, router.port()));
    QVERIFY(connectLocal(client, router.port()));

    // The main thread is blocked in the wait; the router dies underneath it. (QProcess
    // belongs to the main thread, so the other thread uses the plain system call.)
    const pid_t routerPid = static_cast<pid_t>(router.processId());
    std::thread stopper([routerPid] { ::kill(routerPid, SIGKILL); });
    auto request = command("get", "VNC_USERS");
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> reply(client.sendAndWait("silent", request.get(), 60000));
    const qint64 elapsed = clock.elapsed();
    stopper.join();
    router.kill();

    QVERIFY2(elapsed < 10000, qPrintable(QString::number(elapsed)));
    QCOMPARE(reply->type(), MessageType::Error);
    QCOMPARE(reply->params(), std::string(kTimeoutText));
    QTRY_COMPARE(observed.handler.closedCount(), 1);
}

void TestRouterClient::fanOutCollectsEveryReceiver()
{
    Peer answering("fan-a", AnsweringHandler::Answer::Ack, "\"A\"");
    Peer silent("fan-b", AnsweringHandler::Answer::Silent);
    RouterClient client("asking");
    QVERIFY(connectLocal(answering.client, m_router.port()));
    QVERIFY(connectLocal(silent.client, m_router.port()));
    QVERIFY(connectLocal(client, m_router.port()));

    auto request = command("ping");
    request->setFanOut(true);
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<Message> routerAck(client.sendAndWait("fan-a,fan-b", request.get(), 500));
    const qint64 elapsed = clock.elapsed();

    QCOMPARE(routerAck->type(), MessageType::Ack);
    QCOMPARE(routerAck->source(), std::string("clientmgr"));
    QCOMPARE(routerAck->params(), std::string("fan-a,fan-b"));
    QVERIFY2(elapsed >= 490, qPrintable(QString::number(elapsed))); // waited for fan-b

    std::unique_ptr<Message> fromA(client.takePendingReply());
    QVERIFY(fromA);
    QCOMPARE(fromA->type(), MessageType::Ack);
    QCOMPARE(fromA->source(), std::string("fan-a"));
    QCOMPARE(fromA->params(), std::string("\"A\""));

    std::unique_ptr<Message> forB(client.takePendingReply());
    QVERIFY(forB);
    QCOMPARE(forB->type(), MessageType::Error);
    QCOMPARE(forB->source(), std::string("fan-b"));
    QCOMPARE(forB->params(), std::string(kTimeoutText));
    QCOMPARE(forB->seqn(), request->seqn());

    QCOMPARE(client.takePendingReply(), nullptr);
    QTRY_COMPARE(silent.handler.receivedCount(), 1);
}

void TestRouterClient::defaultHandlerAnswersCommandsOnly()
{
    DefaultingClient daemon("defaulting");
    Peer sender("sender", AnsweringHandler::Answer::Silent);
    QVERIFY(connectLocal(daemon.client, m_router.port()));
    QVERIFY(connectLocal(sender.client, m_router.port()));

    // Frames from one sender keep their order: had the notification been answered, its
    // answer would come before the NACK of the command sent after it.
    std::unique_ptr<Message> notification(Message::createNotification("notify", "X,1"));
    QVERIFY(sender.client.send("defaulting", notification.get()));
    auto unsolicited = command("frobnicate", "1");
    unsolicited->setSeqn(4711);
    QVERIFY(sender.client.send("defaulting", unsolicited.get()));

    QTRY_COMPARE(sender.handler.receivedCount(), 1);
    const Message nack = sender.handler.received().front();
    QCOMPARE(nack.type(), MessageType::NAck);
    QCOMPARE(nack.params(), std::string("\"CMD not supported\""));
    QCOMPARE(nack.seqn(), 4711u);
    QCOMPARE(nack.command(), std::string("frobnicate"));
    QCOMPARE(nack.source(), std::string("defaulting"));
}

void TestRouterClient::secondConnectIsRefused()
{
    RouterClient client("twice");
    QVERIFY(connectLocal(client, m_router.port()));
    CerrCapture cerr;

    QVERIFY(!client.connect("127.0.0.1", m_router.port(), std::string(), 1, false, std::string(),
                            3000));

    QCOMPARE(QString::fromStdString(cerr.text()),
             QStringLiteral("Already connected 127.0.0.1 on port %1\n").arg(m_router.port()));
    QVERIFY(client.isConnected());
    // Still registered and working.
    auto request = command("get");
    std::unique_ptr<Message> reply(client.sendAndWait("clientmgr", request.get(), 20000));
    QCOMPARE(reply->type(), MessageType::NAck);
    QCOMPARE(reply->params(), std::string("\"CMD not supported\""));
}

// Two threads send through one client while its receive thread dispatches a stream coming
// the other way: every message arrives once, and each sender's messages stay in order.
void TestRouterClient::concurrentSendsWhileDispatching()
{
    const int perThread = 300;
    Peer busy("busy", AnsweringHandler::Answer::Silent);
    Peer echo("echo", AnsweringHandler::Answer::Silent);
    QVERIFY(connectLocal(busy.client, m_router.port()));
    QVERIFY(connectLocal(echo.client, m_router.port()));

    auto sendMany = [&](RouterClient &from, const std::string &to, const std::string &tag) {
        for (int i = 0; i < perThread; ++i) {
            std::unique_ptr<Message> message(
                Message::createNotification("n", tag + "," + std::to_string(i)));
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

    QTRY_COMPARE_WITH_TIMEOUT(echo.handler.receivedCount(), 2 * perThread, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(busy.handler.receivedCount(), perThread, 20000);

    std::map<std::string, int> next;
    std::set<std::uint32_t> seqns;
    for (const Message &message : echo.handler.received()) {
        StringParam_SCPI params(message.params());
        const std::string tag = params.getString(0);
        QCOMPARE(params.getInt32(1), next[tag]);
        ++next[tag];
        QVERIFY(seqns.insert(message.seqn()).second); // no sequence number handed out twice
    }
    QCOMPARE(next["first"], perThread);
    QCOMPARE(next["second"], perThread);
}

QTEST_GUILESS_MAIN(TestRouterClient)
#include "test_routerclient.moc"
