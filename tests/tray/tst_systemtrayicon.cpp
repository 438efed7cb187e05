#include "items/itemtesting.h"
#include "tray/csystemtrayicon.h"

#include <QElapsedTimer>
#include <QPen>
#include <QPixmapCache>

using glyphd::CSystemTrayIcon;

namespace {

// Records the balloons instead of handing them to a tray (the test platform has none).
class RecordingTrayIcon : public CSystemTrayIcon
{
public:
    RecordingTrayIcon()
        : CSystemTrayIcon(QStringLiteral("Remote"), nullptr, QFont(QStringLiteral("Helvetica"), 8))
    {}

    Balloons balloons;

    QTimer *timer(const char *name) const { return findChild<QTimer *>(name); }
    // As if the state's picture could not be loaded.
    void losePicture() { canvas() = QPixmap(); }
    // Shown, with the show delay over, so that balloons go out at once.
    void showSettled(int state)
    {
        setState(state);
        refresh();
        timer("showTimer")->stop();
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
    void stateSelectsCachedPicture();
    void unloadablePictureShowsUnknownIcon();
    void drawnTextStaysOffTheCache();
    void balloonsWaitUntilTheIconSettled();
    void emptyTextHidesTheBalloon();
    void autoHideEndsBeforeTheBalloon();
    void messageClickHidesOnlyWhenAutoHiding();
    void everyActivationIsAClick();
};

void TestSystemTrayIcon::stateSelectsCachedPicture()
{
    // States 1 to 43 have pictures of their own, except the free slots 30 to 33.
    const QString unknown = QStringLiteral(":/icons/SysTrayUnknown.png");
    for (int state = 1; state <= 43; ++state) {
        const QString file = CSystemTrayIcon::iconFileForState(state);
        QVERIFY2((file == unknown) == (state >= 30 && state <= 33) && !QPixmap(file).isNull(),
                 qPrintable(QString::number(state)));
    }
    // clang-format off
    const QPair<int, const char *> rows[] = {{9, "SysTrayVnc"}, {29, "SysTrayClockInt"}, {34, "SysTrayClock10MUnlocked"},
        {14, "SysTrayR7300mInvalid"}, {43, "SysTrayLaserWarning"}, {99, "SysTrayUnknown"}};
    // clang-format on
    for (const auto &[state, name] : rows) {
        const QString file = QStringLiteral(":/icons/%1.png").arg(name);
        QCOMPARE(CSystemTrayIcon::iconFileForState(state), file);
        RecordingTrayIcon icon;
        icon.setState(state);
        QCOMPARE(icon.currentPixmap().toImage().convertToFormat(QImage::Format_ARGB32),
                 imageOf(file));
        const qint64 loaded = icon.currentPixmap().cacheKey();
        // Qt's global cache would hand back the same pixmap for a reload; empty it so that only
        // the icon's own cache can.
        QPixmapCache::clear();
        icon.setState(1);
        icon.setState(state);
        QCOMPARE(icon.currentPixmap().cacheKey(), loaded);
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

    // Of the balloons asked for while the icon is new, only the last one is shown, 3000 ms
    // later (a coarse timer may fire up to 5 % early).
    icon.balloon(QStringLiteral("first"), 2000, false);
    icon.showBalloon(QStringLiteral("second"), QSystemTrayIcon::Warning, QStringLiteral("Pairing"),
                     -1, false);
    QVERIFY(icon.balloons.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(icon.balloons.size(), 1, 10000);
    QVERIFY2(clock.elapsed() >= 2850, qPrintable(QString::number(clock.elapsed())));
    const Balloon second = {"Pairing", "second", QSystemTrayIcon::Warning, 10000};
    QCOMPARE(icon.balloons, Balloons{second});

    // The held-back balloon went out once; from now on balloons go out at once, and the
    // icon's title stands in for "default".
    icon.slotShowTimeout();
    icon.balloon(QStringLiteral("third"), 4000, false);
    QCOMPARE(icon.balloons,
             (Balloons{second, {"Remote", "third", QSystemTrayIcon::Information, 4000}}));

    // Only becoming visible again holds balloons back.
    icon.setState(10);
    icon.refresh();
    QVERIFY(!icon.timer("showTimer")->isActive());
}

void TestSystemTrayIcon::emptyTextHidesTheBalloon()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    icon.showBalloon(QString(), QSystemTrayIcon::Critical, QStringLiteral("Error"), 5000, false);
    QCOMPARE(icon.balloons, (Balloons{{QString(), QString(), QSystemTrayIcon::NoIcon, 1}}));
}

void TestSystemTrayIcon::autoHideEndsBeforeTheBalloon()
{
    // Asked for, shown, and when the icon hides.
    const int rows[][3] = {{-1, 10000, 9500}, {2000, 2000, 1500}, {300, 300, 0}};
    for (const auto &row : rows) {
        RecordingTrayIcon icon;
        icon.showSettled(13);
        icon.balloon(QStringLiteral("Unplug"), row[0], true);
        QCOMPARE(icon.balloons.value(0).milliseconds, row[1]);
        QVERIFY(icon.timer("hideTimer")->isActive());
        QCOMPARE(icon.timer("hideTimer")->interval(), row[2]);
        // Run the hide timer out now rather than wait for it.
        icon.timer("hideTimer")->start(0);
        QTRY_VERIFY_WITH_TIMEOUT(!icon.isVisible(), 5000);
        QCOMPARE(icon.state(), 0);
    }
}

void TestSystemTrayIcon::messageClickHidesOnlyWhenAutoHiding()
{
    RecordingTrayIcon icon;
    icon.showSettled(12);
    icon.balloon(QStringLiteral("Pair requested"), -1, false);
    emit icon.messageClicked();
    QCOMPARE(icon.state(), 12);

    icon.balloon(QStringLiteral("Removed"), -1, true);
    emit icon.messageClicked();
    QVERIFY(!icon.isVisible());
    QCOMPARE(icon.state(), 0);
    QVERIFY(!icon.timer("hideTimer")->isActive());

    // Once done, auto-hide is no longer pending: the next click leaves a new state alone.
    icon.showSettled(12);
    emit icon.messageClicked();
    QVERIFY(icon.isVisible());
}

void TestSystemTrayIcon::everyActivationIsAClick()
{
    RecordingTrayIcon icon;
    QSignalSpy clicks(&icon, SIGNAL(trayIconClicked()));
    for (const auto reason :
         {QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick, QSystemTrayIcon::Context,
          QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Unknown})
        emit icon.activated(reason);
    QCOMPARE(clicks.count(), 5);
}

QTEST_MAIN(TestSystemTrayIcon)
#include "tst_systemtrayicon.moc"
