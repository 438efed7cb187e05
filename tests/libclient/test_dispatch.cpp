// The handler registry of the router client and its registration with the router, without a
// real router: handlers are driven through dispatch(), the router is a loopback socket.
#include "routerclienttestutil.h"

#include "message/loopbackpeer.h"
#include "platform/message/frame.h"

#include <QtTest>

#include <thread>

namespace {

// Accepts or refuses everything and counts what it gets.
class CountingHandler : public MessageHandler
{
public:
    explicit CountingHandler(bool accepts)
        : m_accepts(accepts)
    {}
    bool acceptsMessage(const Message *) override
    {
        ++offered;
        return m_accepts;
    }
    void handle(Message *message) override
    {
        ++handled;
        delete message;
    }
    void connectionClosed() override { ++closed; }

    int offered = 0;
    int handled = 0;
    int closed = 0;

private:
    const bool m_accepts;
};

Message *notification()
{
    return Message::createNotification("notify", "VNC_USERS,1");
}

} // namespace

class TestDispatch : public QObject
{
    Q_OBJECT
private slots:
    void firstAcceptorWinsInRegistrationOrder();
    void handlerAtFrontIsAskedFirst();
    void defaultHandlerTakesWhatNobodyAccepts();
    void unregisterRemovesEveryRegistration();
    void unregisterNullIsReportedAndIgnored();
    void connectionClosedReachesEveryHandler();
    void registrationParameters_data();
    void registrationParameters();
    void refusedRegistrationFailsConnect();
};

void TestDispatch::firstAcceptorWinsInRegistrationOrder()
{
    RouterClient client("dispatch");
    CountingHandler refusing(false), first(true), second(true);
    client.registerHandler(&refusing, false);
    client.registerHandler(&first, false);
    client.registerHandler(&second, false);

    client.dispatch(notification());

    QCOMPARE(refusing.offered, 1);
    QCOMPARE(first.handled, 1);
    QCOMPARE(second.offered, 0);
    QCOMPARE(second.handled, 0);
}

void TestDispatch::handlerAtFrontIsAskedFirst()
{
    RouterClient client("dispatch");
    CountingHandler item(true), waiter(true);
    client.registerHandler(&item, false);
    client.registerHandler(&waiter, true);

    client.dispatch(notification());

    QCOMPARE(waiter.handled, 1);
    QCOMPARE(item.offered, 0);
}

void TestDispatch::defaultHandlerTakesWhatNobodyAccepts()
{
    RouterClient client("dispatch");
    CountingHandler refusing(false), fallback(false);
    client.registerHandler(&refusing, false);
    client.setDefaultHandler(&fallback);

    client.dispatch(notification());

    QCOMPARE(refusing.offered, 1);
    QCOMPARE(fallback.offered, 0); // the default handler is not asked, it simply takes
    QCOMPARE(fallback.handled, 1);

    // Without a default handler the message is dropped (the leak checker of the sanitizer
    // build watches that it is freed).
    client.setDefaultHandler(nullptr);
    client.dispatch(notification());
    QCOMPARE(fallback.handled, 1);
}

void TestDispatch::unregisterRemovesEveryRegistration()
{
    RouterClient client("dispatch");
    CountingHandler twice(true), other(true);
    client.registerHandler(&twice, false);
    client.registerHandler(&other, false);
    client.registerHandler(&twice, true);
    QCOMPARE(client.handlerCount(), 3);

    client.unregisterHandler(&twice);

    QCOMPARE(client.handlerCount(), 1);
    client.dispatch(notification());
    QCOMPARE(twice.offered, 0);
    QCOMPARE(other.handled, 1);
}

void TestDispatch::unregisterNullIsReportedAndIgnored()
{
    RouterClient client("dispatch");
    CountingHandler handler(true);
    client.registerHandler(&handler, false);
    CerrCapture cerr;

    client.unregisterHandler(nullptr);

    QCOMPARE(QString::fromStdString(cerr.text()),
             QStringLiteral("MessageHandlerClientTemplate::unregisterHandler(MessageHandler "
                            "*pMessageHandler): pMessageHandler is NULL\n"));
    QCOMPARE(client.handlerCount(), 1);
}

void TestDispatch::connectionClosedReachesEveryHandler()
{
    RouterClient client("dispatch");
    CountingHandler a(true), b(false);
    client.registerHandler(&a, false);
    client.registerHandler(&b, false);

    client.notifyConnectionClosed();

    QCOMPARE(a.closed, 1);
    QCOMPARE(b.closed, 1);
}

void TestDispatch::registrationParameters_data()
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
                           << "local,force,proxyHost,10.0.0.2,proxyPort,3000";
}

void TestDispatch::registrationParameters()
{
    QFETCH(int, scope);
    QFETCH(bool, force);
    QFETCH(QString, proxyHost);
    QFETCH(QString, params);

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
                                          proxyHost.toStdString(), 3000);
    const bool disconnected = client.disconnect();
    routerThread.join();

    QVERIFY(connected);
    QCOMPARE(registration.command(), std::string("register"));
    QCOMPARE(registration.destination(), std::string("clientmgr"));
    QCOMPARE(registration.source(), std::string("glyphd"));
    QVERIFY(registration.seqn() != 0);
    QCOMPARE(QString::fromStdString(registration.params()), params);

    QVERIFY(disconnected);
    QVERIFY(!client.isConnected());
    QCOMPARE(unregistration.command(), std::string("unregister"));
    QCOMPARE(unregistration.destination(), std::string("clientmgr"));
    QCOMPARE(unregistration.seqn(), 0u); // nobody waits for the answer
    QVERIFY(!client.disconnect());
}

void TestDispatch::refusedRegistrationFailsConnect()
{
    LoopbackPeer router;
    std::thread routerThread([&] {
        Message registration;
        if (router.accept() && router.readFrame(registration)) {
            std::unique_ptr<Message> nack(
                Message::createNAckMessage(&registration, "\"Error: name in use\""));
            router.writeMessage(*nack);
        }
    });

    CerrCapture cerr;
    {
        RouterClient client("glyphd");
        QVERIFY(!client.connect("127.0.0.1", router.port(), std::string(), 1, false,
                                "proxy.example", 4000));
        QVERIFY(!client.isConnected());
        QVERIFY(!client.disconnect());
    } // the receive thread still runs here and must end with the client
    routerThread.join();

    QCOMPARE(QString::fromStdString(cerr.text()),
             QStringLiteral("Failed to register with host(s) 127.0.0.1,proxy.example on "
                            "port(s) %1,4000\n")
                 .arg(router.port()));
}

QTEST_GUILESS_MAIN(TestDispatch)
#include "test_dispatch.moc"
