// msgpeer and the simulator against the real router: what they answer, print and send.
#include "jsontext.h"
#include "msgpeerrun.h"
#include "routerprocess.h"
#include "simulatorprocess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryFile>
#include <QtTest/QTest>

class ToolsTest : public QObject
{
    Q_OBJECT

private:
    RouterProcess m_router;
    SimulatorProcess m_simulator;

    bool simulatorDoes(const QString &line)
    {
        return m_simulator.command(line) && m_simulator.sync();
    }
    MsgPeerResult peer(const QStringList &args) { return runMsgPeer(m_router.port(), args); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_router.start());
        QVERIFY(m_simulator.start(m_router.port(), {"--set", "VNC_USERS=2"}));
    }

    void init() { QVERIFY(simulatorDoes("mode get ack")); }

    // Both end cleanly on SIGTERM.
    void cleanupTestCase()
    {
        QCOMPARE(m_simulator.stop(), 0);
        QCOMPARE(m_router.stop(), 0);
    }

    void msgPeerPrintsTheReply_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("output");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("get") << QString() << QStringList{"ctrlpanelsvc", "get", "VNC_USERS"}
                             << "ACK 2 ctrlpanelsvc \"2\"\n"
                             << 0;
        QTest::newRow("unknown key")
            << QString() << QStringList{"ctrlpanelsvc", "get", "NO_SUCH_KEY"}
            << "NACK 3 ctrlpanelsvc \"Error: unknown key\"\n"
            << 1;
        QTest::newRow("refused get")
            << "mode get nack" << QStringList{"ctrlpanelsvc", "get", "VNC_USERS"}
            << "NACK 3 ctrlpanelsvc \"Error: not available\"\n"
            << 1;
        QTest::newRow("silent") << "mode get silent"
                                << QStringList{"--timeout", "300", "ctrlpanelsvc", "get",
                                               "VNC_USERS"}
                                << QString() << 2;
        QTest::newRow("raise screen")
            << QString() << QStringList{"homepage", "raise_screen", "NETWORK"} << "ACK 2 homepage\n"
            << 0;
        QTest::newRow("unknown destination") << QString() << QStringList{"nobody", "ping"}
                                             << "ERROR 5 clientmgr \"Error: unknown destination\"\n"
                                             << 1;
        QTest::newRow("usage") << QString() << QStringList{"ctrlpanelsvc"} << QString() << 64;
    }

    void msgPeerPrintsTheReply()
    {
        QFETCH(QString, mode);
        QFETCH(QStringList, args);
        QFETCH(QString, output);
        QFETCH(int, exitCode);
        if (!mode.isEmpty())
            QVERIFY(simulatorDoes(mode));
        const MsgPeerResult result = peer(args);
        QCOMPARE(result.output, output);
        QCOMPARE(result.exitCode, exitCode);
    }

    void scenarioRunsInOrderBeforeStandardInput()
    {
        QTemporaryFile scenario;
        QVERIFY(scenario.open());
        scenario.write("# paced steps\n"
                       "send homepage ctrlpanelsvc 4 step one\n"
                       "\n"
                       "wait 300\n"
                       "send bluetooth homepage 4 step two\n"
                       "send ctrlpanelsvc bluetooth 4 step three\n");
        scenario.close();

        // A simulator of its own: the shared one holds the service names.
        RouterProcess router;
        SimulatorProcess simulator;
        QVERIFY(router.start());
        QVERIFY(simulator.start(router.port(), {"--scenario", scenario.fileName()}));
        // Written while the scenario may still be waiting: runs after its last line.
        QVERIFY(simulator.command("send homepage bluetooth 4 step four"));
        QVERIFY(simulator.sync());

        QStringList steps;
        for (const QJsonObject &event : simulator.events()) {
            if (event.value("event") == "sent")
                steps << event.value("params").toString();
        }
        QCOMPARE(steps, (QStringList{"one", "two", "three", "four"}));
    }

    // The simulator's events are JSON lines whatever bytes a peer sends: bytes that are not
    // UTF-8 stand for the code point of their value.
    void jsonTextParsesBack_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        for (const char *same :
             {"", R"(a "b" c\d)", "tab\there\nnl\r\x01\x1f end", "caf\xc3\xa9", "\xf0\x9f\x93\x81"})
            QTest::newRow(same) << QByteArray(same) << QString::fromUtf8(same);
        QTest::newRow("latin-1") << QByteArray("caf\xe9") << QStringLiteral("caf\u00e9");
        QTest::newRow("truncated at end") << QByteArray("x\xc3") << QStringLiteral("x\u00c3");
        QTest::newRow("overlong slash") << QByteArray("\xc0\xaf") << QStringLiteral("\u00c0\u00af");
        QTest::newRow("surrogate")
            << QByteArray("\xed\xa0\x80") << QStringLiteral("\u00ed\u00a0\u0080");
        QTest::newRow("valid after invalid")
            << QByteArray("\xff\xc3\xa9") << QStringLiteral("\u00ff\u00e9");
    }

    void jsonTextParsesBack()
    {
        QFETCH(QByteArray, bytes);
        const std::string literal = jsonString(bytes.toStdString());
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray("[") + literal.c_str() + "]", &error);
        QVERIFY2(error.error == QJsonParseError::NoError, literal.c_str());
        QTEST(document.array().at(0).toString(), "text");
    }
};

QTEST_GUILESS_MAIN(ToolsTest)
#include "test_tools.moc"
