// The simulator against the real router: how it answers, whom it notifies, and how it runs
// commands and scenarios.

#include "toolstest.h"

#include "common/disconnectdeadline.h"
#include "common/routerregistration.h"
#include "platform/message/client.h"
#include "platform/message/message.h"

#include <QTemporaryFile>
#include <QtTest/QTest>

#include <memory>

namespace {

// A client of the router that stays connected, so it can receive what the simulator sends.
class LivePeer
{
public:
    explicit LivePeer(const std::string &name)
        : m_client(name)
    {}

    bool connect(quint16 port)
    {
        std::string error;
        return m_client.connect("127.0.0.1", port, "test") &&
               registerWithRouter(m_client, 5000, error);
    }

    // The next message, or null when none comes within timeoutMs (the connection is closed
    // then).
    std::unique_ptr<Message> receive(int timeoutMs = 5000)
    {
        DisconnectDeadline deadline(m_client, timeoutMs);
        return std::unique_ptr<Message>(m_client.receive());
    }

    // Sends a command and returns the next message, which should be its reply.
    std::unique_ptr<Message> call(const std::string &destination, const std::string &command,
                                  const std::string &params = std::string())
    {
        std::unique_ptr<Message> request(Message::createMessage(command, params));
        request->setSeqn(m_client.nextSeqn());
        if (!m_client.send(destination, request.get())) {
            return nullptr;
        }
        return receive();
    }

private:
    Client m_client;
};

} // namespace

class SimulatorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Instrument> m_instrument;

    SimulatorProcess &simulator() { return m_instrument->simulator; }
    quint16 port() const { return m_instrument->router.port(); }

    bool runCommand(const QString &line) { return simulator().command(line) && simulator().sync(); }

private slots:
    void init()
    {
        m_instrument = std::make_unique<Instrument>();
        QVERIFY(m_instrument->start());
    }

    void cleanup() { m_instrument.reset(); }

    void getIsAnsweredAndBothSidesArePrinted()
    {
        const MsgPeerResult result =
            m_instrument->peer({"--name", "asker", "ctrlpanelsvc", "get", "VNC_USERS"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 ctrlpanelsvc \"2\"\n"));

        QJsonObject request;
        QVERIFY(simulator().waitForRecv("ctrlpanelsvc", "get", 5000, &request));
        QCOMPARE(request.value("from").toString(), QStringLiteral("asker"));
        QCOMPARE(request.value("type").toInt(), 1);
        QCOMPARE(tokensOf(request), QStringList{"VNC_USERS"});
        QJsonObject reply;
        QVERIFY(simulator().waitForEvent("sent", "get", 5000, &reply));
        QCOMPARE(reply.value("to").toString(), QStringLiteral("asker"));
        QCOMPARE(reply.value("type").toInt(), 2);
        QCOMPARE(reply.value("seqn"), request.value("seqn"));
        QCOMPARE(reply.value("params").toString(), QStringLiteral("\"2\""));
        QCOMPARE(tokensOf(reply), QStringList{"2"});
    }

    void getModes()
    {
        QVERIFY(runCommand("mode get nack"));
        MsgPeerResult result = m_instrument->peer({"ctrlpanelsvc", "get", "VNC_USERS"});
        QCOMPARE(result.output, QStringLiteral("NACK 3 ctrlpanelsvc \"Error: not available\"\n"));
        QCOMPARE(result.exitCode, 1);

        QVERIFY(runCommand("mode get silent"));
        result = m_instrument->peer({"--timeout", "300", "ctrlpanelsvc", "get", "VNC_USERS"});
        QCOMPARE(result.exitCode, 2);

        QVERIFY(runCommand("mode get ack"));
        result = m_instrument->peer({"ctrlpanelsvc", "get", "VNC_USERS"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 ctrlpanelsvc \"2\"\n"));
    }

    void notificationsGoOnlyToRegisteredClients()
    {
        LivePeer listener("listener");
        LivePeer bystander("bystander");
        QVERIFY(listener.connect(port()));
        QVERIFY(bystander.connect(port()));
        std::unique_ptr<Message> ack = listener.call("ctrlpanelsvc", "register", "YES");
        QVERIFY(ack);
        QCOMPARE(ack->type(), MessageType::Ack);

        QVERIFY(simulator().command("set WIFI_CONNECT_STATUS DISCONNECTED"));
        // Same sender as the notification, so it would arrive after one sent to bystander.
        QVERIFY(simulator().command("send ctrlpanelsvc bystander 4 marker"));
        std::unique_ptr<Message> notification = listener.receive();
        QVERIFY(notification);
        QCOMPARE(notification->type(), MessageType::Notification);
        QCOMPARE(notification->source(), std::string("ctrlpanelsvc"));
        QCOMPARE(notification->command(), std::string("notify"));
        QCOMPARE(notification->params(), std::string("WIFI_CONNECT_STATUS,\"DISCONNECTED\""));
        std::unique_ptr<Message> marker = bystander.receive();
        QVERIFY(marker);
        QCOMPARE(marker->command(), std::string("marker"));

        // The stored value is what "get" answers from now on.
        QCOMPARE(m_instrument->peer({"ctrlpanelsvc", "get", "WIFI_CONNECT_STATUS"}).output,
                 QStringLiteral("ACK 2 ctrlpanelsvc \"DISCONNECTED\"\n"));

        QVERIFY(simulator().command("btfile holiday photo.jpg"));
        std::unique_ptr<Message> file = listener.receive();
        QVERIFY(file);
        QCOMPARE(file->source(), std::string("bluetooth"));
        QCOMPARE(file->type(), MessageType::Notification);
        QCOMPARE(file->command(), std::string("BLUE_OBEX_FILE_RCVD"));
        QCOMPARE(file->params(), std::string("holiday photo.jpg"));

        QVERIFY(simulator().command("page vellum_page_shown VELLUM_STATUS"));
        std::unique_ptr<Message> page = listener.receive();
        QVERIFY(page);
        QCOMPARE(page->source(), std::string("homepage"));
        QCOMPARE(page->type(), MessageType::Command);
        QCOMPARE(page->seqn(), 0u);
        QCOMPARE(page->command(), std::string("vellum_page_shown"));
        QCOMPARE(page->params(), std::string("VELLUM_STATUS"));

        QVERIFY(simulator().command("notify-raw FAN_ALARM_STATUS, 'FAN ALARM FAULT'"));
        std::unique_ptr<Message> raw = listener.receive();
        QVERIFY(raw);
        QCOMPARE(raw->params(), std::string("FAN_ALARM_STATUS, 'FAN ALARM FAULT'"));

        // After "unregister" the listener is left out like the bystander.
        ack = listener.call("ctrlpanelsvc", "unregister");
        QVERIFY(ack);
        QCOMPARE(ack->type(), MessageType::Ack);
        QVERIFY(simulator().command("set VNC_USERS 3"));
        QVERIFY(simulator().command("send ctrlpanelsvc listener 4 marker"));
        marker = listener.receive();
        QVERIFY(marker);
        QCOMPARE(marker->command(), std::string("marker"));
    }

    void registerModes()
    {
        QVERIFY(runCommand("mode register nack 1"));
        MsgPeerResult result = m_instrument->peer({"ctrlpanelsvc", "register", "YES"});
        QCOMPARE(result.output, QStringLiteral("NACK 3 ctrlpanelsvc \"Error: not ready\"\n"));
        QCOMPARE(result.exitCode, 1);
        result = m_instrument->peer({"ctrlpanelsvc", "register", "YES"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 ctrlpanelsvc\n"));
        QCOMPARE(result.exitCode, 0);

        // A silent control panel still takes the client as a listener.
        QVERIFY(runCommand("mode register silent"));
        result = m_instrument->peer(
            {"--name", "unanswered", "--timeout", "300", "ctrlpanelsvc", "register", "YES"});
        QCOMPARE(result.exitCode, 2);
        QVERIFY(runCommand("set VNC_USERS 4"));
        QVERIFY(simulator().waitForEvent([](const QJsonObject &event) {
            return event.value("event").toString() == "sent" &&
                   event.value("to").toString() == "unanswered" &&
                   event.value("command").toString() == "notify";
        }));
    }

    void homePageAndBluetoothAcknowledgeCommands()
    {
        MsgPeerResult result =
            m_instrument->peer({"--name", "tapper", "homepage", "raise_screen", "NETWORK"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 homepage\n"));
        QCOMPARE(result.exitCode, 0);
        QJsonObject event;
        QVERIFY(simulator().waitForRecv("homepage", "raise_screen", 5000, &event));
        QCOMPARE(event.value("from").toString(), QStringLiteral("tapper"));
        QCOMPARE(event.value("params").toString(), QStringLiteral("NETWORK"));
        QCOMPARE(tokensOf(event), QStringList{"NETWORK"});
        QVERIFY(event.value("seqn").toInt() > 0);

        result = m_instrument->peer({"homepage", "raise_jobmanager"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 homepage\n"));
        QVERIFY(simulator().waitForRecv("homepage", "raise_jobmanager", 5000, &event));
        QCOMPARE(tokensOf(event), QStringList());

        result = m_instrument->peer({"bluetooth", "anything"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 bluetooth\n"));
    }

    void sendSpeaksForEachServiceAndEscapesItsOutput()
    {
        // Quotes, a backslash, a control character and a non-ASCII letter must all come
        // through the JSON lines unchanged.
        const QString params = QStringLiteral("KEY,\"a \"\"q\"\" \\ \u0001 \u00e9\"");
        QVERIFY(simulator().command("send homepage ctrlpanelsvc 4 note " + params));
        QJsonObject received;
        QVERIFY(simulator().waitForRecv("ctrlpanelsvc", "note", 5000, &received));
        QCOMPARE(received.value("from").toString(), QStringLiteral("homepage"));
        QCOMPARE(received.value("type").toInt(), 4);
        QCOMPARE(received.value("seqn").toInt(), 0);
        QCOMPARE(received.value("params").toString(), params);
        QCOMPARE(tokensOf(received),
                 (QStringList{"KEY", QStringLiteral("a \"q\" \\ \u0001 \u00e9")}));

        // A command gets a seqn and homepage's ACK goes back to bluetooth.
        QVERIFY(simulator().command("send bluetooth homepage 1 ping"));
        QJsonObject reply;
        QVERIFY(simulator().waitForEvent(
            [](const QJsonObject &event) {
                return event.value("event").toString() == "recv" &&
                       event.value("to").toString() == "bluetooth" &&
                       event.value("command").toString() == "ping";
            },
            5000, &reply));
        QCOMPARE(reply.value("type").toInt(), 2);
        QCOMPARE(reply.value("from").toString(), QStringLiteral("homepage"));
        QVERIFY(reply.value("seqn").toInt() > 0);

        for (const QJsonObject &event : simulator().events()) {
            QVERIFY2(event.value("event").toString() != "invalid-json",
                     qPrintable(event.value("line").toString()));
        }
    }

    void badCommandsAreReported_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("unknown") << QStringLiteral("frobnicate now");
        QTest::newRow("mode") << QStringLiteral("mode get sometimes");
        QTest::newRow("register count") << QStringLiteral("mode register nack many");
        QTest::newRow("send identity") << QStringLiteral("send glyphd homepage 1 x");
        QTest::newRow("send type") << QStringLiteral("send homepage bluetooth 9 x");
        QTest::newRow("wait") << QStringLiteral("wait forever");
    }

    void badCommandsAreReported()
    {
        QFETCH(QString, line);
        QVERIFY(simulator().command(line));
        QVERIFY(simulator().waitForEvent("error"));
        QVERIFY(simulator().isRunning());
    }

    void scenarioRunsInOrderBeforeStandardInput()
    {
        QTemporaryFile scenario;
        QVERIFY(scenario.open());
        scenario.write("# paced steps, then a value\n"
                       "send homepage ctrlpanelsvc 4 step one\n"
                       "\n"
                       "wait 300\n"
                       "send bluetooth homepage 4 step two\n"
                       "set SCENARIO_KEY from scenario\n"
                       "send ctrlpanelsvc bluetooth 4 step three\n");
        scenario.close();

        Instrument instrument;
        QVERIFY(instrument.start({"--scenario", scenario.fileName()}));
        // Written while the scenario may still be waiting: runs after its last line.
        QVERIFY(instrument.simulator.command("send homepage bluetooth 4 step four"));
        QVERIFY(instrument.simulator.sync());

        QStringList steps;
        for (const QJsonObject &event : instrument.simulator.events()) {
            if (event.value("event").toString() == "sent") {
                steps << event.value("params").toString();
            }
        }
        QCOMPARE(steps, (QStringList{"one", "two", "three", "four"}));
        QCOMPARE(instrument.peer({"ctrlpanelsvc", "get", "SCENARIO_KEY"}).output,
                 QStringLiteral("ACK 2 ctrlpanelsvc \"from scenario\"\n"));
    }

    void endsWithStatusZeroOnQuitAndOnSigterm()
    {
        QVERIFY(simulator().command("quit"));
        QVERIFY(simulator().waitUntil([this] { return !simulator().isRunning(); }, 5000));
        QCOMPARE(simulator().stop(), 0);

        SimulatorProcess second;
        QVERIFY(second.start(port(), {"--no-stdin"}));
        QCOMPARE(second.stop(), 0);
    }

    void reportsTheLostRouterAndEndsWithStatusOne()
    {
        QCOMPARE(m_instrument->router.stop(), 0);
        QVERIFY(simulator().waitForEvent("error"));
        QVERIFY(simulator().waitUntil([this] { return !simulator().isRunning(); }, 5000));
        QCOMPARE(simulator().stop(), 1);
    }
};

QTEST_GUILESS_MAIN(SimulatorTest)
#include "test_tools_simulator.moc"
