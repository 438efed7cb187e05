// msgpeer and the simulator against the real router: what msgpeer prints and how it ends (the
// reliability script relies on its exit status).
#include "msgpeerrun.h"
#include "routerprocess.h"
#include "simulatorprocess.h"

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

    // The simulator ends cleanly on SIGTERM (the router does after every router test).
    void cleanupTestCase() { QCOMPARE(m_simulator.stop(), 0); }

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
};

QTEST_GUILESS_MAIN(ToolsTest)
#include "test_tools.moc"
