#include "tray/csystemtrayicon.h"

#include <QElapsedTimer>
#include <QPen>
#include <QPixmapCache>
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
    // As if the state's picture could not be loaded.
    void losePicture() { canvas() = QPixmap(); }

    // Shown, with the show delay over, so that balloons go out at once.
    void showSettled(int state)
    {
        setState(state);
        refresh();
        showTimer()->stop();
    }
    void balloon(const QString &text, int milliseconds, bool autoHide)
    {
        showBalloon(text, QSystemTrayIcon::Information, QStringLiteral("default"), milliseconds,
                    autoHide);
    }

protected:
    void presentMessage(const QString &title, const QString &text,
                        QSystemTrayIcon::MessageIcon kind, int milliseconds) override
    {
        balloons.append({title, text, kind, milliseconds});
    }
};

QImage imageOf(const QString &file)
{
    return QPixmap(file).toImage().convertToFormat(QImage::Format_ARGB32);
}

// What the icon hands to the tray.
QImage shownImage(const QSystemTrayIcon &icon)
{
    return icon.icon().pixmap(QSize(32, 32)).toImage().convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TestSystemTrayIcon : public QObject
{
    Q_OBJECT

private slots:
    void stateSelectsCachedPicture_data();
    void stateSelectsCachedPicture();
    void everyTableStateHasAPicture();
    void unloadablePictureShowsUnknownIcon();
    void drawnTextStaysOffTheCache();
    void balloonsWaitUntilTheIconSettled();
    void emptyTextHidesTheBalloon();
    void autoHideEndsBeforeTheBalloon_data();
    void autoHideEndsBeforeTheBalloon();
    void messageClickHidesOnlyWhenAutoHiding();
    void everyActivationIsAClick();
};

void TestSystemTrayIcon::stateSelectsCachedPicture_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("file");
    QTest::newRow("vnc") << 9 << QStringLiteral(":/icons/SysTrayVnc.png");
    QTest::newRow("last before the gap") << 29 << QStringLiteral(":/icons/SysTrayClockInt.png");
    QTest::newRow("first after the gap")
        << 34 << QStringLiteral(":/icons/SysTrayClock10MUnlocked.png");
    QTest::newRow("shared picture") << 14 << QStringLiteral(":/icons/SysTrayR7300mInvalid.png");
    QTest::newRow("last") << 43 << QStringLiteral(":/icons/SysTrayLaserWarning.png");
    QTest::newRow("free slot") << 31 << QStringLiteral(":/icons/SysTrayUnknown.png");
    QTest::newRow("past the table") << 99 << QStringLiteral(":/icons/SysTrayUnknown.png");
}

void TestSystemTrayIcon::stateSelectsCachedPicture()
{
    QFETCH(int, state);
    QFETCH(QString, file);
    QCOMPARE(CSystemTrayIcon::iconFileForState(state), file);

    RecordingTrayIcon icon;
    icon.setState(state);
    QCOMPARE(icon.currentPixmap().toImage().convertToFormat(QImage::Format_ARGB32), imageOf(file));
    const qint64 loaded = icon.currentPixmap().cacheKey();

    // Qt's global cache would hand back the same pixmap for a reload; empty it so that only the
    // icon's own cache can.
    QPixmapCache::clear();
    icon.setState(1); // not in the table above
    icon.setState(state);
    QCOMPARE(icon.currentPixmap().cacheKey(), loaded);
}

void TestSystemTrayIcon::everyTableStateHasAPicture()
{
    const QString unknown = CSystemTrayIcon::iconFileForState(31);
    for (int state = 1; state <= 43; ++state) {
        if (state >= 30 && state <= 33)
            continue;
        const QString file = CSystemTrayIcon::iconFileForState(state);
        QVERIFY2(file != unknown && !QPixmap(file).isNull(), qPrintable(QString::number(state)));
    }
}

void TestSystemTrayIcon::unloadablePictureShowsUnknownIcon()
{
    RecordingTrayIcon icon;
    icon.setState(9);
    icon.refresh();
    QCOMPARE(shownImage(icon), imageOf(QStringLiteral(":/icons/SysTrayVnc.png")));

    icon.losePicture();
    icon.refresh();
    QCOMPARE(shownImage(icon), imageOf(QStringLiteral(":/icons/SysTrayIconUnknown.png")));
}

void TestSystemTrayIcon::drawnTextStaysOffTheCache()
{
    RecordingTrayIcon icon;
    icon.setState(19);
    const QImage bare = icon.currentPixmap().toImage();

    icon.drawText(QStringLiteral("42%"), 4, 30, QPen(Qt::white));
    QVERIFY(icon.currentPixmap().toImage() != bare);
    icon.drawTextInRect(QStringLiteral("7"), 2, 2, 28, 28, QPen(Qt::white));

    icon.setState(19);
    QCOMPARE(icon.currentPixmap().toImage(), bare);
}

void TestSystemTrayIcon::balloonsWaitUntilTheIconSettled()
{
    RecordingTrayIcon icon;
    QElapsedTimer clock;
    clock.start();
    icon.setState(12);
    icon.refresh();
    QVERIFY(icon.isVisible());

    // Of the balloons asked for while the icon is new, only the last one is shown.
    icon.balloon(QStringLiteral("first"), 2000, false);
    icon.showBalloon(QStringLiteral("second"), QSystemTrayIcon::Warning, QStringLiteral("Pairing"),
                     -1, false);
    QVERIFY(icon.balloons.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(icon.balloons.size(), 1, 10000);
    // 3000 ms; a coarse timer may fire up to 5 % early.
    QVERIFY2(clock.elapsed() >= 2850, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(icon.balloons[0].text, QStringLiteral("second"));
    QCOMPARE(icon.balloons[0].title, QStringLiteral("Pairing"));
    QCOMPARE(icon.balloons[0].kind, QSystemTrayIcon::Warning);
    QCOMPARE(icon.balloons[0].milliseconds, 10000);

    // The held-back balloon went out once; from now on balloons go out at once, and the
    // icon's title stands in for "default".
    icon.slotShowTimeout();
    QCOMPARE(icon.balloons.size(), 1);
    icon.balloon(QStringLiteral("third"), 4000, false);
    QCOMPARE(icon.balloons.size(), 2);
    QCOMPARE(icon.balloons[1].title, QStringLiteral("Remote"));
    QCOMPARE(icon.balloons[1].milliseconds, 4000);

    // Only becoming visible again holds balloons back.
    icon.setState(10);
    icon.refresh();
    QVERIFY(!icon.showTimer()->isActive());
}

void TestSystemTrayIcon::emptyTextHidesTheBalloon()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    icon.showBalloon(QString(), QSystemTrayIcon::Critical, QStringLiteral("Error"), 5000, false);
    QCOMPARE(icon.balloons.size(), 1);
    QCOMPARE(icon.balloons[0].text, QString());
    QCOMPARE(icon.balloons[0].title, QString());
    QCOMPARE(icon.balloons[0].milliseconds, 1);
}

void TestSystemTrayIcon::autoHideEndsBeforeTheBalloon_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("shown");
    QTest::addColumn<int>("hideAfter");
    QTest::newRow("default time") << -1 << 10000 << 9500;
    QTest::newRow("two seconds") << 2000 << 2000 << 1500;
    QTest::newRow("shorter than the lead") << 300 << 300 << 0;
}

void TestSystemTrayIcon::autoHideEndsBeforeTheBalloon()
{
    QFETCH(int, requested);
    QFETCH(int, shown);
    QFETCH(int, hideAfter);

    RecordingTrayIcon icon;
    icon.showSettled(13);
    icon.balloon(QStringLiteral("Unplug"), requested, true);
    QCOMPARE(icon.balloons.size(), 1);
    QCOMPARE(icon.balloons[0].milliseconds, shown);
    QVERIFY(icon.hideTimer()->isActive());
    QCOMPARE(icon.hideTimer()->interval(), hideAfter);

    // Run the hide timer out now rather than wait for it.
    icon.hideTimer()->start(0);
    QTRY_VERIFY_WITH_TIMEOUT(!icon.isVisible(), 5000);
    QCOMPARE(icon.state(), 0);
}

void TestSystemTrayIcon::messageClickHidesOnlyWhenAutoHiding()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    icon.balloon(QStringLiteral("Pair requested"), -1, false);
    emit icon.messageClicked();
    QVERIFY(icon.isVisible());
    QCOMPARE(icon.state(), 12);

    icon.balloon(QStringLiteral("Removed"), -1, true);
    emit icon.messageClicked();
    QVERIFY(!icon.isVisible());
    QCOMPARE(icon.state(), 0);
    QVERIFY(!icon.hideTimer()->isActive());

    // Once done, auto-hide is no longer pending: the next click leaves a new state alone.
    icon.showSettled(12);
    emit icon.messageClicked();
    QVERIFY(icon.isVisible());
}

void TestSystemTrayIcon::everyActivationIsAClick()
{
    RecordingTrayIcon icon;
    QSignalSpy clicks(&icon, SIGNAL(trayIconClicked()));
    const QSystemTrayIcon::ActivationReason reasons[] = {
        QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick, QSystemTrayIcon::Context,
        QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Unknown};
    for (const auto reason : reasons)
        emit icon.activated(reason);
    QCOMPARE(clicks.count(), 5);
}

QTEST_MAIN(TestSystemTrayIcon)
#include "tst_systemtrayicon.moc"
