// msgpeer against the real router and the simulator: what it prints and how it exits.

#include "toolstest.h"

#include <QRegularExpression>
#include <QtTest/QTest>

#include <memory>

class MsgPeerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Instrument> m_instrument;

    MsgPeerResult peer(const QStringList &args) { return m_instrument->peer(args); }

private slots:
    void init()
    {
        m_instrument = std::make_unique<Instrument>();
        QVERIFY(m_instrument->start());
    }

    void cleanup() { m_instrument.reset(); }

    void printsTheReplyAndExitsByItsType_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("output");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("get known key") << QStringList{"ctrlpanelsvc", "get", "VNC_USERS"}
                                       << QStringLiteral("ACK 2 ctrlpanelsvc \"2\"\n") << 0;
        QTest::newRow("get xml value") << QStringList{"ctrlpanelsvc", "get", "FLASH_LIST"}
                                       << QStringLiteral("ACK 2 ctrlpanelsvc \"<l></l>\"\n") << 0;
        QTest::newRow("get unknown key")
            << QStringList{"ctrlpanelsvc", "get", "NO_SUCH_KEY"}
            << QStringLiteral("NACK 3 ctrlpanelsvc \"Error: unknown key\"\n") << 1;
        QTest::newRow("unknown destination")
            << QStringList{"nobody", "ping"}
            << QStringLiteral("ERROR 5 clientmgr \"Error: unknown destination\"\n") << 1;
        QTest::newRow("empty ack") << QStringList{"homepage", "raise_jobmanager"}
                                   << QStringLiteral("ACK 2 homepage\n") << 0;
    }

    void printsTheReplyAndExitsByItsType()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, output);
        QFETCH(int, exitCode);
        const MsgPeerResult result = peer(args);
        QCOMPARE(result.output, output);
        QCOMPARE(result.exitCode, exitCode);
    }

    void timesOutWithStatusTwoWhenNobodyAnswers()
    {
        QVERIFY(m_instrument->simulator.command(QStringLiteral("mode get silent")));
        QVERIFY(m_instrument->simulator.sync());
        const MsgPeerResult result =
            peer({"--timeout", "300", "--name", "patient", "ctrlpanelsvc", "get", "VNC_USERS"});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.output, QString());
        QVERIFY2(result.errorOutput.contains(QLatin1String("no reply within 300 ms")),
                 qPrintable(result.errorOutput));
        // The request did arrive; it was just not answered.
        QJsonObject request;
        QVERIFY(m_instrument->simulator.waitForRecv("ctrlpanelsvc", "get", 5000, &request));
        QCOMPARE(request.value("from").toString(), QStringLiteral("patient"));
    }

    void connectionFailureIsStatusTwo()
    {
        RouterProcess gone;
        QVERIFY(gone.start());
        const quint16 port = gone.port();
        QCOMPARE(gone.stop(), 0);
        const MsgPeerResult result = runMsgPeer(port, {"ctrlpanelsvc", "get", "VNC_USERS"});
        QCOMPARE(result.exitCode, 2);
    }

    void nameHeldByAnotherClientIsStatusTwo()
    {
        const MsgPeerResult result = peer({"--name", "homepage", "ctrlpanelsvc", "get", "X"});
        QCOMPARE(result.exitCode, 2);
        QVERIFY2(result.errorOutput.contains(QLatin1String("name in use")),
                 qPrintable(result.errorOutput));
    }

    void usageErrorsAreStatus64_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no command") << QStringList{"ctrlpanelsvc"};
        QTest::newRow("type out of range") << QStringList{"--type", "6", "homepage", "x"};
        QTest::newRow("fan-out of a notification")
            << QStringList{"--fanout", "--type", "4", "*", "x"};
        QTest::newRow("timeout not a number") << QStringList{"--timeout", "soon", "homepage", "x"};
        QTest::newRow("unknown option") << QStringList{"--loud", "homepage", "x"};
    }

    void usageErrorsAreStatus64()
    {
        QFETCH(QStringList, args);
        const MsgPeerResult result = peer(args);
        QCOMPARE(result.exitCode, 64);
        QVERIFY(result.errorOutput.contains(QLatin1String("usage: msgpeer")));
    }

    void notificationIsSentWithoutWaiting()
    {
        const MsgPeerResult result =
            peer({"--type", "4", "--name", "notifier", "homepage", "hello", "two", "words"});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.output, QString());
        QJsonObject event;
        QVERIFY(m_instrument->simulator.waitForRecv("homepage", "hello", 5000, &event));
        QCOMPARE(event.value("type").toInt(), 4);
        QCOMPARE(event.value("seqn").toInt(), 0);
        QCOMPARE(event.value("from").toString(), QStringLiteral("notifier"));
        QCOMPARE(event.value("params").toString(), QStringLiteral("two words"));
    }

    void fanOutPrintsTheRouterAckThenEveryAnswer()
    {
        const MsgPeerResult result = peer({"--fanout", "homepage,bluetooth,ghost", "ping"});
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.output.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines.at(0), QStringLiteral("ACK 2 clientmgr homepage,bluetooth"));
        QCOMPARE(QSet<QString>(lines.begin() + 1, lines.end()),
                 (QSet<QString>{"ACK 2 homepage", "ACK 2 bluetooth"}));
    }

    void fanOutWithOneRefusalIsStatusOne()
    {
        const MsgPeerResult result = peer({"--fanout", "ctrlpanelsvc,homepage", "get", "NOPE"});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(
            result.output.contains(QLatin1String("NACK 3 ctrlpanelsvc \"Error: unknown key\"\n")));
        QVERIFY(result.output.contains(QLatin1String("ACK 2 homepage\n")));
    }
};

// The router's verbose log shows a get travelling over TCP both ways, while msgpeer prints
// the reply: the smallest demonstration that the whole chain works.
class VerboseRouterTest : public QObject
{
    Q_OBJECT

private slots:
    void routedFramesOfAGetAreLogged()
    {
        Instrument instrument;
        QVERIFY(instrument.start(defaultSimulatorArgs(), {QStringLiteral("--verbose")}));
        const MsgPeerResult result =
            instrument.peer({"--name", "probe", "ctrlpanelsvc", "get", "WIFI_CONNECT_STATUS"});
        QCOMPARE(result.output, QStringLiteral("ACK 2 ctrlpanelsvc \"ASSOCIATED\"\n"));
        QCOMPARE(result.exitCode, 0);

        const QRegularExpression request(QStringLiteral("probe\\s*->\\s*ctrlpanelsvc.*get"));
        const QRegularExpression reply(QStringLiteral("ctrlpanelsvc\\s*->\\s*probe.*get"));
        QVERIFY2(instrument.router.waitUntil(
                     [&] {
                         const QString log = instrument.router.standardError();
                         return request.match(log).hasMatch() && reply.match(log).hasMatch();
                     },
                     5000),
                 qPrintable(instrument.router.standardError()));
        const QString log = instrument.router.standardError();
        QVERIFY(request.match(log).capturedStart() < reply.match(log).capturedStart());
    }
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    MsgPeerTest peerTest;
    VerboseRouterTest verboseTest;
    return QTest::qExec(&peerTest, argc, argv) | QTest::qExec(&verboseTest, argc, argv);
}

#include "test_tools_msgpeer.moc"
