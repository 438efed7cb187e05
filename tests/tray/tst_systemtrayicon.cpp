#include "tray/csystemtrayicon.h"

#include <QElapsedTimer>
#include <QMenu>
#include <QPen>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

using glyphd::CSystemTrayIcon;

namespace {

struct Balloon
{
    QString title;
    QString text;
    QSystemTrayIcon::MessageIcon kind;
    int milliseconds;
};

// Records the balloons instead of handing them to a tray (the test platform has none).
class RecordingTrayIcon : public CSystemTrayIcon
{
public:
    RecordingTrayIcon()
        : CSystemTrayIcon(QStringLiteral("Remote"), nullptr, QFont(QStringLiteral("Helvetica"), 8))
    {}

    QList<Balloon> balloons;

    QTimer *showTimer() const { return findChild<QTimer *>(QStringLiteral("showTimer")); }
    QTimer *hideTimer() const { return findChild<QTimer *>(QStringLiteral("hideTimer")); }

    // Shown, with the show delay over, so that balloons go out at once.
    void showSettled(int state)
    {
        setState(state);
        refresh();
        showTimer()->stop();
    }

protected:
    void presentMessage(const QString &title, const QString &text,
                        QSystemTrayIcon::MessageIcon kind, int milliseconds) override
    {
        balloons.append({title, text, kind, milliseconds});
    }
};

bool haveIcons()
{
    return QFile::exists(QStringLiteral(":/icons/SysTrayVnc.png"));
}

} // namespace

class TestSystemTrayIcon : public QObject
{
    Q_OBJECT

private slots:
    void statesWithoutPictureShowUnknown_data();
    void statesWithoutPictureShowUnknown();
    void picturesAreLoadedOncePerState();
    void drawnTextStaysOffTheCache();
    void textInRectIsCentred();
    void refreshShowsAndStartsShowDelay();
    void stateZeroHides();
    void balloonIsHeldBackWhileIconIsNew();
    void balloonGoesOutWhenSettled();
    void emptyBalloonClearsTheArea();
    void autoHideEndsBeforeBalloon_data();
    void autoHideEndsBeforeBalloon();
    void autoHideOfHeldBackBalloonStartsWhenShown();
    void messageClickHidesOnlyWhenAutoHiding();
    void newStateCancelsAutoHide();
    void autoHideHidesInRealTime();
    void everyActivationIsAClick();
    void titleIsToolTipAndMenuIsEmpty();
};

void TestSystemTrayIcon::statesWithoutPictureShowUnknown_data()
{
    QTest::addColumn<int>("state");
    QTest::newRow("free slot 30") << 30;
    QTest::newRow("free slot 31") << 31;
    QTest::newRow("free slot 33") << 33;
    QTest::newRow("past the table") << 44;
    QTest::newRow("far off") << 99;
    QTest::newRow("negative") << -1;
}

void TestSystemTrayIcon::statesWithoutPictureShowUnknown()
{
    QFETCH(int, state);
    QCOMPARE(CSystemTrayIcon::iconFileForState(state),
             QStringLiteral(":/icons/SysTrayUnknown.png"));

    if (!haveIcons())
        return;
    RecordingTrayIcon icon;
    icon.setState(state);
    QVERIFY(!icon.currentPixmap().isNull());
    QCOMPARE(icon.currentPixmap().toImage(),
             QPixmap(QStringLiteral(":/icons/SysTrayUnknown.png")).toImage());
}

void TestSystemTrayIcon::picturesAreLoadedOncePerState()
{
    QCOMPARE(CSystemTrayIcon::iconFileForState(9), QStringLiteral(":/icons/SysTrayVnc.png"));
    QCOMPARE(CSystemTrayIcon::iconFileForState(29), QStringLiteral(":/icons/SysTrayClockInt.png"));
    QCOMPARE(CSystemTrayIcon::iconFileForState(34),
             QStringLiteral(":/icons/SysTrayClock10MUnlocked.png"));
    QCOMPARE(CSystemTrayIcon::iconFileForState(43),
             QStringLiteral(":/icons/SysTrayLaserWarning.png"));
    // Every state from 1 to 43 outside the free slots has a picture of its own in the table.
    for (int state = 1; state <= 43; ++state) {
        if (state < 30 || state > 33)
            QVERIFY2(CSystemTrayIcon::iconFileForState(state) !=
                         QStringLiteral(":/icons/SysTrayUnknown.png"),
                     qPrintable(QString::number(state)));
    }

    if (!haveIcons())
        QSKIP("icon resources are not linked into this build");
    RecordingTrayIcon icon;
    icon.setState(9);
    const qint64 vncKey = icon.currentPixmap().cacheKey();
    icon.setState(10);
    QVERIFY(icon.currentPixmap().cacheKey() != vncKey);
    icon.setState(9);
    // A reload would make a new pixmap; the cached one comes back as a shared copy.
    QCOMPARE(icon.currentPixmap().cacheKey(), vncKey);
    QCOMPARE(icon.currentPixmap().toImage(),
             QPixmap(QStringLiteral(":/icons/SysTrayVnc.png")).toImage());
}

void TestSystemTrayIcon::drawnTextStaysOffTheCache()
{
    if (!haveIcons())
        QSKIP("icon resources are not linked into this build");
    RecordingTrayIcon icon;
    icon.setState(19);
    const QImage bare = icon.currentPixmap().toImage();

    icon.drawText(QStringLiteral("42%"), 4, 30, QPen(Qt::white));
    QVERIFY(icon.currentPixmap().toImage() != bare);

    icon.setState(19);
    QCOMPARE(icon.currentPixmap().toImage(), bare);
}

void TestSystemTrayIcon::textInRectIsCentred()
{
    if (!haveIcons())
        QSKIP("icon resources are not linked into this build");
    RecordingTrayIcon icon;
    icon.setState(4); // a blank canvas
    const QImage bare = icon.currentPixmap().toImage();
    icon.drawTextInRect(QStringLiteral("42%"), 2, 22, 38, 16, QPen(Qt::white));
    const QImage drawn = icon.currentPixmap().toImage();

    QRect changed;
    for (int y = 0; y < drawn.height(); ++y)
        for (int x = 0; x < drawn.width(); ++x)
            if (drawn.pixel(x, y) != bare.pixel(x, y))
                changed |= QRect(x, y, 1, 1);
    QVERIFY(!changed.isEmpty());
    const QRect box(2, 22, 38, 16);
    QVERIFY2(box.contains(changed), qPrintable(QStringLiteral("text outside the rectangle")));
    // Centred: the margins left and right of the text differ by a few pixels at most.
    const int left = changed.left() - box.left();
    const int right = box.right() - changed.right();
    QVERIFY2(qAbs(left - right) <= 3, qPrintable(QStringLiteral("%1 vs %2").arg(left).arg(right)));

    icon.setState(4);
    QCOMPARE(icon.currentPixmap().toImage(), bare);
}

void TestSystemTrayIcon::refreshShowsAndStartsShowDelay()
{
    RecordingTrayIcon icon;
    QVERIFY(!icon.isVisible());
    QVERIFY(!icon.showTimer()->isActive());

    icon.setState(9);
    QVERIFY2(!icon.isVisible(), "setState alone must not show the icon");
    icon.refresh();
    QVERIFY(icon.isVisible());
    QVERIFY(icon.showTimer()->isActive());
    QVERIFY(icon.showTimer()->isSingleShot());
    QCOMPARE(icon.showTimer()->interval(), 3000);

    // Only becoming visible starts the delay again.
    icon.showTimer()->stop();
    icon.setState(10);
    icon.refresh();
    QVERIFY(icon.isVisible());
    QVERIFY(!icon.showTimer()->isActive());
}

void TestSystemTrayIcon::stateZeroHides()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    QVERIFY(icon.isVisible());

    icon.setState(0);
    QVERIFY(!icon.isVisible());
    QCOMPARE(icon.state(), 0);
    icon.refresh();
    QVERIFY(!icon.isVisible());

    icon.setState(12);
    icon.refresh();
    QVERIFY(icon.isVisible());
    QVERIFY(icon.showTimer()->isActive());
}

void TestSystemTrayIcon::balloonIsHeldBackWhileIconIsNew()
{
    RecordingTrayIcon icon;
    icon.setState(12);
    icon.refresh();
    QVERIFY(icon.showTimer()->isActive());

    icon.showBalloon(QStringLiteral("first"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 2000, false);
    icon.showBalloon(QStringLiteral("second"), QSystemTrayIcon::Warning, QStringLiteral("Pairing"),
                     -1, false);
    QVERIFY(icon.balloons.isEmpty());

    icon.showTimer()->stop();
    icon.slotShowTimeout();
    QCOMPARE(icon.balloons.size(), 1);
    QCOMPARE(icon.balloons[0].text, QStringLiteral("second"));
    QCOMPARE(icon.balloons[0].title, QStringLiteral("Pairing"));
    QCOMPARE(icon.balloons[0].kind, QSystemTrayIcon::Warning);
    QCOMPARE(icon.balloons[0].milliseconds, 10000);

    // The held-back balloon went out once; a later run of the timer has nothing to show.
    icon.slotShowTimeout();
    QCOMPARE(icon.balloons.size(), 1);
}

void TestSystemTrayIcon::balloonGoesOutWhenSettled()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);

    icon.showBalloon(QStringLiteral("File received"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 4000, false);
    icon.showBalloon(QStringLiteral("Again"), QSystemTrayIcon::Critical, QStringLiteral("Error"),
                     99999, false);
    QCOMPARE(icon.balloons.size(), 2);
    QCOMPARE(icon.balloons[0].title, QStringLiteral("Remote"));
    QCOMPARE(icon.balloons[0].text, QStringLiteral("File received"));
    QCOMPARE(icon.balloons[0].kind, QSystemTrayIcon::Information);
    QCOMPARE(icon.balloons[0].milliseconds, 4000);
    QCOMPARE(icon.balloons[1].title, QStringLiteral("Error"));
    QCOMPARE(icon.balloons[1].milliseconds, 99999);
    QVERIFY(!icon.hideTimer()->isActive());

    // A hidden icon does not hold balloons back either.
    RecordingTrayIcon hidden;
    hidden.showBalloon(QStringLiteral("photo.jpg"), QSystemTrayIcon::Information,
                       QStringLiteral("default"), -1, false);
    QCOMPARE(hidden.balloons.size(), 1);
}

void TestSystemTrayIcon::emptyBalloonClearsTheArea()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    icon.showBalloon(QString(), QSystemTrayIcon::Critical, QStringLiteral("default"), 5000, false);
    QCOMPARE(icon.balloons.size(), 1);
    QCOMPARE(icon.balloons[0].text, QString());
    QCOMPARE(icon.balloons[0].title, QString());
    QCOMPARE(icon.balloons[0].milliseconds, 1);

    // Held back, an empty balloon is dropped: there is nothing to clear yet.
    icon.setState(0);
    icon.setState(12);
    icon.refresh();
    icon.showBalloon(QString(), QSystemTrayIcon::Critical, QStringLiteral("default"), 5000, false);
    icon.showTimer()->stop();
    icon.slotShowTimeout();
    QCOMPARE(icon.balloons.size(), 1);
}

void TestSystemTrayIcon::autoHideEndsBeforeBalloon_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("shown");
    QTest::addColumn<int>("hideAfter");
    QTest::newRow("default time") << -1 << 10000 << 9500;
    QTest::newRow("two seconds") << 2000 << 2000 << 1500;
    QTest::newRow("shorter than the lead") << 300 << 300 << 0;
}

void TestSystemTrayIcon::autoHideEndsBeforeBalloon()
{
    QFETCH(int, requested);
    QFETCH(int, shown);
    QFETCH(int, hideAfter);

    RecordingTrayIcon icon;
    icon.showSettled(13);
    icon.showBalloon(QStringLiteral("Unplug"), QSystemTrayIcon::Critical, QStringLiteral("default"),
                     requested, true);
    QCOMPARE(icon.balloons.size(), 1);
    QCOMPARE(icon.balloons[0].milliseconds, shown);
    QVERIFY(icon.hideTimer()->isActive());
    QVERIFY(icon.hideTimer()->isSingleShot());
    QCOMPARE(icon.hideTimer()->interval(), hideAfter);

    icon.hideTimer()->stop();
    icon.slotHideTimeout();
    QVERIFY(!icon.isVisible());
    QCOMPARE(icon.state(), 0);
}

void TestSystemTrayIcon::autoHideOfHeldBackBalloonStartsWhenShown()
{
    RecordingTrayIcon icon;
    icon.setState(3);
    icon.refresh();
    icon.showBalloon(QStringLiteral("Safe to remove"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 4000, true);
    QVERIFY(!icon.hideTimer()->isActive());

    icon.showTimer()->stop();
    icon.slotShowTimeout();
    QCOMPARE(icon.balloons.size(), 1);
    QVERIFY(icon.hideTimer()->isActive());
    QCOMPARE(icon.hideTimer()->interval(), 3500);
}

void TestSystemTrayIcon::messageClickHidesOnlyWhenAutoHiding()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    icon.showBalloon(QStringLiteral("Pair requested"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), -1, false);
    emit icon.messageClicked();
    QVERIFY(icon.isVisible());
    QCOMPARE(icon.state(), 12);

    icon.showBalloon(QStringLiteral("Removed"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), -1, true);
    emit icon.messageClicked();
    QVERIFY(!icon.isVisible());
    QCOMPARE(icon.state(), 0);
    QVERIFY(!icon.hideTimer()->isActive());

    // Once done, auto-hide is no longer pending: the next click leaves a new state alone.
    icon.showSettled(12);
    emit icon.messageClicked();
    QVERIFY(icon.isVisible());
}

void TestSystemTrayIcon::newStateCancelsAutoHide()
{
    RecordingTrayIcon icon;
    icon.showSettled(2);
    icon.showBalloon(QStringLiteral("Removed"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 2000, true);
    QVERIFY(icon.hideTimer()->isActive());
    icon.setState(1);
    QVERIFY(!icon.hideTimer()->isActive());

    icon.showBalloon(QStringLiteral("Removed"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 2000, true);
    icon.refresh();
    QVERIFY(!icon.hideTimer()->isActive());

    // A following balloon without auto-hide ends the pending one.
    icon.showBalloon(QStringLiteral("Removed"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 2000, true);
    icon.showBalloon(QStringLiteral("Formatted"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 2000, false);
    QVERIFY(!icon.hideTimer()->isActive());
    icon.slotHideTimeout();
    QVERIFY(icon.isVisible());
}

void TestSystemTrayIcon::autoHideHidesInRealTime()
{
    RecordingTrayIcon icon;
    icon.showSettled(1);
    QElapsedTimer clock;
    clock.start();
    icon.showBalloon(QStringLiteral("Removed"), QSystemTrayIcon::Information,
                     QStringLiteral("default"), 700, true);
    QVERIFY(icon.isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(!icon.isVisible(), 10000);
    // 200 ms in all; a coarse timer may fire a little early, never at once.
    QVERIFY2(clock.elapsed() >= 150, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(icon.state(), 0);
}

void TestSystemTrayIcon::everyActivationIsAClick()
{
    RecordingTrayIcon icon;
    QSignalSpy clicks(&icon, SIGNAL(trayIconClicked()));
    const QSystemTrayIcon::ActivationReason reasons[] = {
        QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick, QSystemTrayIcon::Context,
        QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Unknown};
    int expected = 0;
    for (const auto reason : reasons) {
        emit icon.activated(reason);
        QCOMPARE(clicks.count(), ++expected);
    }
}

void TestSystemTrayIcon::titleIsToolTipAndMenuIsEmpty()
{
    RecordingTrayIcon icon;
    QCOMPARE(icon.title(), QStringLiteral("Remote"));
    QCOMPARE(icon.toolTip(), QStringLiteral("Remote"));
    QVERIFY(icon.contextMenu());
    QVERIFY(icon.contextMenu()->actions().isEmpty());
    QVERIFY(!icon.contextMenu()->parent());
}

QTEST_MAIN(TestSystemTrayIcon)
#include "tst_systemtrayicon.moc"
