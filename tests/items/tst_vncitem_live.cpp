#include "items/cvncsystemtraydataitem.h"
#include "tray/csystemtrayicon.h"
#include "tray/liveinstrument.h"

#include <QtTest>

#include <mutex>
#include <string>
#include <vector>

using glyphd::CSystemTrayIcon;
using glyphd::CVncSystemTrayDataItem;

namespace {

// Registered after the item: sees what the item refused.
class RefusedMessages : public MessageHandler
{
public:
    bool acceptsMessage(const Message *) override { return true; }
    void handle(Message *message) override
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        m_params.push_back(message->params());
        delete message;
    }
    void connectionClosed() override {}

    std::vector<std::string> params() const
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        return m_params;
    }

private:
    // Not a QMutex: the thread sanitizer cannot see inside the Qt library.
    mutable std::mutex m_mutex;
    std::vector<std::string> m_params;
};

} // namespace

// The VNC item against the real router client, router and simulator, as the daemon runs it.
class TestVncItemLive : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void startupShowsCurrentUsers();
    void notificationsFollowUsers();
    void silentControlPanelLeavesItemHidden();
    void tapRaisesRemoteScreen();

private:
    CSystemTrayIcon *icon() const { return m_iconOwner->findChild<CSystemTrayIcon *>(); }
    bool simulatorDoes(const QString &line)
    {
        return m_live.simulator.command(line) && m_live.simulator.sync();
    }

    LiveInstrument m_live;
    std::unique_ptr<QObject> m_iconOwner;
    std::unique_ptr<CVncSystemTrayDataItem> m_item;
    std::unique_ptr<LiveInstrument::Registration> m_registration;
};

void TestVncItemLive::initTestCase()
{
    QVERIFY(m_live.start({QStringLiteral("--set"), QStringLiteral("VNC_USERS=1")}));
}

void TestVncItemLive::init()
{
    QVERIFY(simulatorDoes(QStringLiteral("mode get ack")));
    QVERIFY(simulatorDoes(QStringLiteral("set VNC_USERS 1")));
    m_iconOwner = std::make_unique<QObject>();
    m_item = std::make_unique<CVncSystemTrayDataItem>(m_live.client.get(), m_iconOwner.get());
    m_registration = std::make_unique<LiveInstrument::Registration>(*m_live.client, m_item.get());
}

void TestVncItemLive::cleanup()
{
    m_registration.reset();
    m_item.reset();
    m_iconOwner.reset();
}

void TestVncItemLive::startupShowsCurrentUsers()
{
    QCOMPARE(icon()->state(), 0);
    m_item->initialize();
    QCOMPARE(icon()->state(), 9);
    QVERIFY(icon()->isVisible());
}

void TestVncItemLive::notificationsFollowUsers()
{
    QVERIFY(m_live.simulator.command(QStringLiteral("set VNC_USERS 2")));
    QTRY_COMPARE_WITH_TIMEOUT(icon()->state(), 10, 5000);
    QVERIFY(icon()->isVisible());

    QVERIFY(m_live.simulator.command(QStringLiteral("set VNC_USERS 0")));
    QTRY_COMPARE_WITH_TIMEOUT(icon()->state(), 0, 5000);
    QVERIFY(!icon()->isVisible());

    // The key is only tested as a prefix.
    QVERIFY(m_live.simulator.command(QStringLiteral("notify-raw VNC_USERSX,\"1\"")));
    QTRY_COMPARE_WITH_TIMEOUT(icon()->state(), 9, 5000);

    // Not from the control panel: refused, so it falls through to the next handler.
    RefusedMessages refused;
    LiveInstrument::Registration afterItem(*m_live.client, &refused);
    QVERIFY(
        m_live.simulator.command(QStringLiteral("send homepage glyphd 4 notify VNC_USERS,\"0\"")));
    QTRY_VERIFY_WITH_TIMEOUT(refused.params() == std::vector<std::string>{"VNC_USERS,\"0\""}, 5000);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(icon()->state(), 9);
}

void TestVncItemLive::silentControlPanelLeavesItemHidden()
{
    QVERIFY(simulatorDoes(QStringLiteral("mode get silent")));
    QTest::ignoreMessage(QtWarningMsg,
                         "Received NACK requesting value of VNC_USERS -- \"Error: timeout\"");
    QTest::ignoreMessage(QtWarningMsg, "CVncSystemDataItem could not initialize");
    m_item->initialize();
    QCOMPARE(icon()->state(), 0);
    QVERIFY(!icon()->isVisible());
}

void TestVncItemLive::tapRaisesRemoteScreen()
{
    emit icon()->activated(QSystemTrayIcon::Trigger);
    QJsonObject raise;
    QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"), QStringLiteral("raise_screen"),
                                         5000, &raise));
    QCOMPARE(raise.value(QStringLiteral("from")).toString(), QStringLiteral("glyphd"));
    QCOMPARE(raise.value(QStringLiteral("type")).toInt(), 1);
    QCOMPARE(raise.value(QStringLiteral("tokens")).toArray(), QJsonArray{QStringLiteral("REMOTE")});
}

QTEST_MAIN(TestVncItemLive)
#include "tst_vncitem_live.moc"
