// Waiting for the tray: Qt is asked only once the session bus shows a StatusNotifier host,
// or when there is no session bus at all.
#include "app/csystemtraywaiter.h"
#include "trayhostfixture.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QtTest>

using glyphd::CSystemTrayWaiter;

class TestTrayWaiter : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void noWatcherMeansNoTray();
    void watcherWithoutHostMeansNoTray();
    void registeredHostLetsQtDecide();
    void withoutSessionBusQtDecides();
    void waitEndsWhenTheHostComesUp();

private:
    QDBusConnection bus() const { return QDBusConnection(QStringLiteral("private")); }

    TrayHostFixture m_desktop;
    int m_qtChecks = 0;
    bool m_qtAnswer = true;
    CSystemTrayWaiter::TrayCheck qtCheck()
    {
        return [this] {
            ++m_qtChecks;
            return m_qtAnswer;
        };
    }
};

void TestTrayWaiter::initTestCase()
{
    QVERIFY(m_desktop.startBus());
    QVERIFY(QDBusConnection::connectToBus(m_desktop.busAddress(), QStringLiteral("private"))
                .isConnected());
}

void TestTrayWaiter::cleanup()
{
    m_desktop.stopHost();
    m_qtChecks = 0;
    m_qtAnswer = true;
}

void TestTrayWaiter::noWatcherMeansNoTray()
{
    CSystemTrayWaiter waiter(bus(), qtCheck());
    QVERIFY(!waiter.isTrayAvailable());
    QCOMPARE(m_qtChecks, 0);
}

void TestTrayWaiter::watcherWithoutHostMeansNoTray()
{
    QVERIFY(m_desktop.startHost(false));
    CSystemTrayWaiter waiter(bus(), qtCheck());
    QVERIFY(!waiter.isTrayAvailable());
    QCOMPARE(m_qtChecks, 0);
}

void TestTrayWaiter::registeredHostLetsQtDecide()
{
    QVERIFY(m_desktop.startHost(true));
    CSystemTrayWaiter waiter(bus(), qtCheck());
    QVERIFY(waiter.isTrayAvailable());
    QCOMPARE(m_qtChecks, 1);

    m_qtAnswer = false; // e.g. a platform without tray support
    QVERIFY(!waiter.isTrayAvailable());
    QCOMPARE(m_qtChecks, 2);
}

void TestTrayWaiter::withoutSessionBusQtDecides()
{
    const QDBusConnection noBus(QStringLiteral("never-connected"));
    QVERIFY(!noBus.isConnected());
    CSystemTrayWaiter waiter(noBus, qtCheck());
    QVERIFY(waiter.isTrayAvailable());
    QCOMPARE(m_qtChecks, 1);
}

void TestTrayWaiter::waitEndsWhenTheHostComesUp()
{
    CSystemTrayWaiter waiter(bus(), qtCheck());
    QVERIFY(m_desktop.startHostAfter(500));
    QTest::ignoreMessage(QtDebugMsg, "Waiting for the system tray");
    QElapsedTimer clock;
    clock.start();

    waiter.waitForTray();

    QVERIFY(clock.elapsed() >= 400);
    QCOMPARE(m_qtChecks, 1); // Qt was asked once, when the host was there
}

QTEST_GUILESS_MAIN(TestTrayWaiter)
#include "test_traywaiter.moc"
