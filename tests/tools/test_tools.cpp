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

    // The simulator's answer mode, msgpeer's arguments, what it prints and its exit status.
    void msgPeerPrintsTheReply()
    {
        const struct
        {
            QString mode;
            QStringList args;
            QString output;
            int exitCode;
        } cases[] = {
            {"mode get ack", {"ctrlpanelsvc", "get", "VNC_USERS"}, "ACK 2 ctrlpanelsvc \"2\"\n", 0},
            {"mode get silent", {"--timeout", "300", "ctrlpanelsvc", "get", "VNC_USERS"}, "", 2},
            {"mode get ack",
             {"nobody", "ping"},
             "ERROR 5 clientmgr \"Error: unknown destination\"\n",
             1},
        };
        for (const auto &c : cases) {
            QVERIFY(m_simulator.command(c.mode) && m_simulator.sync());
            const MsgPeerResult result = runMsgPeer(m_router.port(), c.args);
            QCOMPARE(result.output, c.output);
            QCOMPARE(result.exitCode, c.exitCode);
        }
    }
};

QTEST_GUILESS_MAIN(ToolsTest)
#include "test_tools.moc"
