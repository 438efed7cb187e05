#include "items/cvncsystemtraydataitem.h"
#include "items/itemtesting.h"
#include "tray/csystemtrayicon.h"
#include "tray/liveinstrument.h"

#include <QTimer>
#include <QtTest>

#include <memory>

using glyphd::CSystemTrayIcon;
using glyphd::CVncSystemTrayDataItem;

// The VNC item, its icon, and the real router client, router and simulator.
class TestVncItem : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void notificationSelectsState_data();
    void notificationSelectsState();
    void sameStateDoesNotRefresh();
    void startsWithControlPanelValueAndRaisesRemoteScreen();

private:
    CSystemTrayIcon *icon() const { return m_item->icon(); }
    bool offer(const QByteArray &params, const char *source = "ctrlpanelsvc",
               MessageType type = MessageType::Notification)
    {
        return m_item->offer(params, source, type);
    }

    LiveInstrument m_live;
    std::unique_ptr<ItemUnderTest<CVncSystemTrayDataItem>> m_item;
};

void TestVncItem::initTestCase()
{
    QVERIFY(m_live.start({QStringLiteral("--set"), QStringLiteral("VNC_USERS=2")}));
}

void TestVncItem::init()
{
    m_item = std::make_unique<ItemUnderTest<CVncSystemTrayDataItem>>(m_live.client.get());
    QCOMPARE(icon()->state(), 0);
    QVERIFY(!icon()->isVisible());
}

void TestVncItem::cleanup()
{
    m_item.reset();
}

void TestVncItem::notificationSelectsState_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("params");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<int>("state");
    const QByteArray panel("ctrlpanelsvc");
    const int notify = int(MessageType::Notification);
    QTest::newRow("nobody") << panel << notify << QByteArray("VNC_USERS,\"0\"") << true << 0;
    QTest::newRow("negative") << panel << notify << QByteArray("VNC_USERS,\"-3\"") << true << 0;
    QTest::newRow("empty") << panel << notify << QByteArray("VNC_USERS,\"\"") << true << 0;
    QTest::newRow("letters") << panel << notify << QByteArray("VNC_USERS,\"abc\"") << true << 0;
    QTest::newRow("one") << panel << notify << QByteArray("VNC_USERS,\"1\"") << true << 9;
    QTest::newRow("two") << panel << notify << QByteArray("VNC_USERS,\"2\"") << true << 10;
    QTest::newRow("seventeen") << panel << notify << QByteArray("VNC_USERS,\"17\"") << true << 10;
    QTest::newRow("longer key") << panel << notify << QByteArray("VNC_USERSX,\"2\"") << true << 10;
    QTest::newRow("shorter key") << panel << notify << QByteArray("VNC_USER,\"2\"") << false << 0;
    QTest::newRow("other source") << QByteArray("homepage") << notify
                                  << QByteArray("VNC_USERS,\"2\"") << false << 0;
    QTest::newRow("longer source")
        << QByteArray("ctrlpanelsvc2") << notify << QByteArray("VNC_USERS,\"2\"") << false << 0;
    QTest::newRow("reply") << panel << int(MessageType::Ack) << QByteArray("VNC_USERS,\"2\"")
                           << false << 0;
}

void TestVncItem::notificationSelectsState()
{
    QFETCH(QByteArray, source);
    QFETCH(int, type);
    QFETCH(QByteArray, params);
    QFETCH(bool, accepted);
    QFETCH(int, state);

    // A value that hides is given to a shown icon, so that it is seen to hide.
    if (state == 0)
        QVERIFY(offer("VNC_USERS,\"5\""));
    const int before = icon()->state();
    QCOMPARE(offer(params, source.constData(), MessageType(type)), accepted);
    QCOMPARE(icon()->state(), accepted ? state : before);
    QCOMPARE(icon()->isVisible(), icon()->state() != 0);
}

void TestVncItem::sameStateDoesNotRefresh()
{
    // A refresh would stop a running auto-hide; a count that keeps the state must not.
    const QByteArray counts[][2] = {{"1", "1"}, {"2", "5"}};
    for (const auto &pair : counts) {
        QVERIFY(offer("VNC_USERS,\"" + pair[0] + '"'));
        icon()->findChild<QTimer *>(QStringLiteral("showTimer"))->stop();
        icon()->showBalloon(QStringLiteral("connected"), QSystemTrayIcon::Information,
                            QStringLiteral("default"), 60000, true);
        QVERIFY(offer("VNC_USERS,\"" + pair[1] + '"'));
        QVERIFY2(icon()->findChild<QTimer *>(QStringLiteral("hideTimer"))->isActive(),
                 pair[1].constData());
    }
}

void TestVncItem::startsWithControlPanelValueAndRaisesRemoteScreen()
{
    LiveInstrument::Registration registration(*m_live.client, m_item->item());
    (*m_item)->initialize();
    QCOMPARE(icon()->state(), 10);
    QVERIFY(icon()->isVisible());

    emit icon()->activated(QSystemTrayIcon::Trigger);
    QJsonObject raise;
    QVERIFY(m_live.simulator.waitForRecv(QStringLiteral("homepage"), QStringLiteral("raise_screen"),
                                         5000, &raise));
    QCOMPARE(raise.value(QStringLiteral("from")).toString(), QStringLiteral("glyphd"));
    QCOMPARE(raise.value(QStringLiteral("type")).toInt(), 1);
    QCOMPARE(raise.value(QStringLiteral("tokens")).toArray(), QJsonArray{QStringLiteral("REMOTE")});

    // Later changes come as notifications.
    QVERIFY(m_live.simulator.command(QStringLiteral("set VNC_USERS 0")));
    QTRY_COMPARE_WITH_TIMEOUT(icon()->state(), 0, 5000);
}

QTEST_MAIN(TestVncItem)
#include "tst_vncitem.moc"
