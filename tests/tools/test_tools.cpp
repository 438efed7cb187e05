// msgpeer and the simulator against the real router: what msgpeer prints and how it ends (the
// reliability script relies on its exit status), and the simulator's event text.
#include "jsontext.h"
#include "msgpeerrun.h"
#include "routerprocess.h"
#include "simulatorprocess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest/QTest>

class ToolsTest : public QObject
{
    Q_OBJECT

private:
    RouterProcess m_router;
    SimulatorProcess m_simulator;

private slots:
    void initTestCase()
    {
        QVERIFY(m_router.start());
        QVERIFY(m_simulator.start(m_router.port(), {"--set", "VNC_USERS=2"}));
    }

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
        QTest::newRow("get") << "mode get ack" << QStringList{"ctrlpanelsvc", "get", "VNC_USERS"}
                             << "ACK 2 ctrlpanelsvc \"2\"\n"
                             << 0;
        QTest::newRow("silent") << "mode get silent"
                                << QStringList{"--timeout", "300", "ctrlpanelsvc", "get",
                                               "VNC_USERS"}
                                << QString() << 2;
        QTest::newRow("unknown destination") << "mode get ack" << QStringList{"nobody", "ping"}
                                             << "ERROR 5 clientmgr \"Error: unknown destination\"\n"
                                             << 1;
    }

    void msgPeerPrintsTheReply()
    {
        QFETCH(QString, mode);
        QFETCH(QStringList, args);
        QFETCH(QString, output);
        QFETCH(int, exitCode);
        QVERIFY(m_simulator.command(mode) && m_simulator.sync());
        const MsgPeerResult result = runMsgPeer(m_router.port(), args);
        QCOMPARE(result.output, output);
        QCOMPARE(result.exitCode, exitCode);
    }

    // The simulator's events are JSON lines whatever bytes a peer sends: control characters are
    // escaped, and bytes that are not UTF-8 stand for the code point of their value while valid
    // UTF-8 after them still reads. (Quotes inside texts are in the events of every test that
    // reads a NACK.)
    void jsonTextParsesBack()
    {
        const std::string literal = jsonString("tab\there\nnl\r\x01\x1f caf\xc3\xa9\xff\xc3\xa9");
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(QByteArray("[") + literal.c_str() + "]", &error);
        QVERIFY2(error.error == QJsonParseError::NoError, literal.c_str());
        QCOMPARE(document.array().at(0).toString(),
                 QStringLiteral("tab\there\nnl\r\x01\x1f caf\u00e9\u00ff\u00e9"));
    }
};

QTEST_GUILESS_MAIN(ToolsTest)
#include "test_tools.moc"
