// The router client: its handler list, then synchronous requests, time-outs, fan-out and
// concurrent use through the real router. What it registers with is the daemon test's part.
#include "libclient/messagehandlerclient.h"
#include "routerprocess.h"

#include <QMutex>
#include <QtTest>

#include <csignal>
#include <map>
#include <mutex>
#include <set>
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
    int count()
    {
        std::lock_guard<std::mutex> locker(mutex);
        return int(messages.size());
    }

    RouterClient *const client;
    const MessageType answer;
    const bool accepts;
    std::atomic<int> offered{0}, closed{0};
    std::mutex mutex;
    std::vector<Message> messages;
};

// A client with a recorder, connected to the router on port.
struct Peer
{
    Peer(const std::string &name, quint16 port, MessageType answer = MessageType::Notification)
        : client(name)
        , handler(&client, answer)
    {
        client.registerHandler(&handler, false);
        connected = client.connect("127.0.0.1", port, std::string(), 1, false, std::string(), 3000);
    }
    ~Peer() { client.disconnect(); } // the receive thread must be gone before the handlers

    RouterClient client;
    Recorder handler;
    bool connected = false;
};

// "TYPE SOURCE>DESTINATION COMMAND PARAMS", to compare a reply in one go.
QString summary(const Message *message)
{
    return message == nullptr ? QStringLiteral("none")
                              : QStringLiteral("%1 %2>%3 %4 %5")
                                    .arg(int(message->type()))
                                    .arg(QString::fromStdString(message->source()),
                                         QString::fromStdString(message->destination()),
                                         QString::fromStdString(message->command()),
                                         QString::fromStdString(message->params()));
}

} // namespace

class TestRouterClient : public QObject
{
    Q_OBJECT

    RouterProcess m_router;

private slots:
    void initTestCase() { QVERIFY(m_router.start()); }

    void handlerList()
    {
        RouterClient client("dispatch");
        Recorder declining(&client, MessageType::Notification, false), first(&client),
            second(&client), fallback(&client);
        // "offered/taken" for declining, first, second and fallback.
        const auto dispatch = [&] {
            client.dispatch(Message::createNotification("notify", "VNC_USERS,1"));
            QString state;
            for (Recorder *handler : {&declining, &first, &second, &fallback})
                state += QStringLiteral("%1/%2 ").arg(handler->offered).arg(handler->count());
            return state.trimmed();
        };
        client.registerHandler(&declining, false);
        client.registerHandler(&first, false);
        client.registerHandler(&second, false);
        // To the first that accepts, in registration order. (A handler put at the front is how a
        // waiting call gets its reply before all others: replyEndsTheWait.)
        QCOMPARE(dispatch(), QStringLiteral("1/0 1/1 0/0 0/0"));
        client.unregisterHandler(&first);
        QCOMPARE(dispatch(), QStringLiteral("2/0 1/1 1/1 0/0"));
        client.notifyConnectionClosed();
        QCOMPARE(QList<int>({declining.closed, first.closed, second.closed}),
                 QList<int>({1, 0, 1}));

        // What nobody accepts goes to the default handler without asking it; without one it is
        // dropped (the sanitizer build's leak checker sees that it is freed).
        client.unregisterHandler(&second);
        client.setDefaultHandler(&fallback);
        QCOMPARE(dispatch(), QStringLiteral("3/0 1/1 1/1 0/1"));
        client.setDefaultHandler(nullptr);
        QCOMPARE(dispatch(), QStringLiteral("4/0 1/1 1/1 0/1"));
    }

    void replyEndsTheWait_data()
    {
        QTest::addColumn<MessageType>("answer");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<bool>("routerDies");
        QTest::addColumn<QString>("reply");
        const QString timeout = "5 answering>asking get \"Error: timeout\"";
        const MessageType silent = MessageType::Notification;
        // ACK and NACK replies and the time-out are also shown by the item tests' value requests.
        QTest::newRow("error") << MessageType::Error << 20000 << false
                               << "5 answering>asking get ASSOCIATED";
        QTest::newRow("time-out") << silent << 300 << false << timeout;
        // The router dies under the waiting call: it returns at once, not after the minute.
        QTest::newRow("router dies") << silent << 60000 << true << timeout;
    }

    void replyEndsTheWait()
    {
        QFETCH(MessageType, answer);
        QFETCH(int, timeoutMs);
        QFETCH(bool, routerDies);
        RouterProcess router;
        QVERIFY(router.start());
        Peer peer("answering", router.port(), answer);
        Peer asking("asking", router.port());
        QVERIFY(peer.connected && asking.connected);

        // Once the request has reached the peer, the router dies under the waiting call. QProcess
        // belongs to this thread, which is blocked in the wait: the plain system call.
        std::thread stopper([&, pid = pid_t(router.processId())] {
            const QDeadlineTimer deadline(10000);
            while (routerDies && peer.handler.count() == 0 && !deadline.hasExpired())
                QThread::msleep(1);
            if (routerDies)
                ::kill(pid, SIGKILL);
        });
        const std::unique_ptr<Message> request(
            Message::createMessage("get", "WIFI_CONNECT_STATUS"));
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<Message> reply(
            asking.client.sendAndWait("answering", request.get(), timeoutMs));
        const qint64 elapsed = clock.elapsed();
        stopper.join();

        QTEST(summary(reply.get()), "reply");
        // That a silent peer is waited for to the end is the fan-out case's check.
        QVERIFY2(elapsed < 10000, qPrintable(QString::number(elapsed)));
        QCOMPARE(reply->seqn(), request->seqn());
        QTRY_COMPARE(asking.handler.closed.load(), routerDies ? 1 : 0);
        // The request reached the peer's handler; the reply went to the waiting call only.
        QTRY_COMPARE(peer.handler.count(), 1);
        QCOMPARE(asking.handler.count(), 0);
    }

    void fanOutCollectsEveryReceiver()
    {
        Peer answering("fan-a", m_router.port(), MessageType::Ack);
        Peer silent("fan-b", m_router.port());
        Peer asking("asking", m_router.port());
        QVERIFY(answering.connected && silent.connected && asking.connected);

        const std::unique_ptr<Message> request(Message::createMessage("ping", ""));
        request->setFanOut(true);
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<Message> routerAck(
            asking.client.sendAndWait("fan-a,fan-b", request.get(), 500));
        QVERIFY2(clock.elapsed() >= 490, qPrintable(QString::number(clock.elapsed()))); // for fan-b

        QCOMPARE(summary(routerAck.get()), QStringLiteral("2 clientmgr>asking ping fan-a,fan-b"));
        std::unique_ptr<Message> fromA(asking.client.takePendingReply());
        QCOMPARE(summary(fromA.get()), QStringLiteral("2 fan-a>asking ping ASSOCIATED"));
        std::unique_ptr<Message> forB(asking.client.takePendingReply());
        QCOMPARE(summary(forB.get()), QStringLiteral("5 fan-b>asking ping \"Error: timeout\""));
        QCOMPARE(forB->seqn(), request->seqn());
        QCOMPARE(asking.client.takePendingReply(), nullptr);
    }

    // Two threads send through one client while its receive thread dispatches a stream coming
    // the other way: every message arrives once and whole (some need several writes), each
    // sender's messages in order, with sequence numbers never handed out twice.
    void concurrentSendsWhileDispatching()
    {
        const int perThread = 200;
        const auto paramsFor = [](const std::string &tag, int i) {
            return tag + "," + std::to_string(i) + "," + std::string(i % 8 ? i : 200000 + i, 'p');
        };
        Peer busy("busy", m_router.port());
        Peer echo("echo", m_router.port());
        QVERIFY(busy.connected && echo.connected);
        auto sendMany = [&](RouterClient &from, const std::string &to, const std::string &tag) {
            for (int i = 0; i < perThread; ++i) {
                std::unique_ptr<Message> message(
                    Message::createNotification("n", paramsFor(tag, i)));
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
        // The count was taken under the lock after the last message: no more writes to come.
        for (const Message &message : echo.handler.messages) {
            const std::string tag = message.params().substr(0, message.params().find(','));
            QVERIFY(message.params() == paramsFor(tag, next[tag]++));
            QVERIFY(seqns.insert(message.seqn()).second);
        }
    }
};

QTEST_GUILESS_MAIN(TestRouterClient)
#include "test_routerclient.moc"
