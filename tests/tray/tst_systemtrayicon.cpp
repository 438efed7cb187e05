// The tray icon class against the pictures compiled into the program.
#include "items/itemtesting.h"
#include "tray/csystemtrayicon.h"

#include <QDir>
#include <QPen>
#include <QPixmapCache>

using glyphd::CSystemTrayIcon;

namespace {

// Records the balloons it hands to the tray.
class RecordingTrayIcon : public CSystemTrayIcon
{
public:
    RecordingTrayIcon()
        : CSystemTrayIcon(QStringLiteral("Remote"), nullptr, QFont(QStringLiteral("Helvetica"), 8))
    {
        connect(this, &CSystemTrayIcon::balloonPresented,
                [this](const QString &title, const QString &text, MessageIcon kind, int ms) {
                    balloons.append(balloon(title, text, kind, ms));
                });
    }

    QStringList balloons;

    QTimer *timer(const char *name) const { return findChild<QTimer *>(name); }
    // As if the state's picture could not be loaded.
    void losePicture() { canvas() = QPixmap(); }
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
    // Every picture at bar size, no two alike; states 1 to 43 have pictures of their own among
    // them, except the free slots 30 to 33.
    void statesShowTheirCachedPictures()
    {
        QList<QImage> images;
        for (const QString &name : QDir(QStringLiteral(":/icons")).entryList({"*.png"})) {
            const QString file = QStringLiteral(":/icons/") + name;
            if (file.contains(QLatin1String("@2x")))
                continue;
            // The job manager's picture leaves room below for the text the item writes.
            const int side = file.endsWith(QLatin1String("JobManagerActive.png")) ? 40 : 32;
            QVERIFY2(QPixmap(file).size() == QSize(side, side) && !images.contains(imageOf(file)),
                     qPrintable(file));
            images << imageOf(file);
        }
        const QString unknown = QStringLiteral(":/icons/SysTrayUnknown.png");
        for (int state = 1; state <= 44; ++state) {
            const QString file = CSystemTrayIcon::iconFileForState(state);
            QVERIFY2((file == unknown) == ((state >= 30 && state <= 33) || state == 44) &&
                         images.contains(imageOf(file)),
                     qPrintable(QString::number(state)));
        }

        RecordingTrayIcon icon;
        icon.setState(9);
        icon.refresh();
        QCOMPARE(shownImage(icon), imageOf(QStringLiteral(":/icons/SysTrayVnc.png")));
        const qint64 loaded = icon.currentPixmap().cacheKey();
        // Qt's global cache would hand back the same pixmap for a reload; empty it so that only the
        // icon's own cache can.
        QPixmapCache::clear();
        icon.setState(1);
        icon.setState(9);
        QCOMPARE(icon.currentPixmap().cacheKey(), loaded);

        // A picture that could not be loaded shows as the unknown icon.
        icon.losePicture();
        icon.refresh();
        QCOMPARE(shownImage(icon), imageOf(QStringLiteral(":/icons/SysTrayIconUnknown.png")));
    }

    void drawnTextStaysOffTheCache()
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

    void balloonsWaitUntilTheIconSettled()
    {
        RecordingTrayIcon icon;
        icon.setState(12);
        icon.refresh();
        QVERIFY(icon.isVisible());

        // Of the balloons asked for while the icon is new, only the last one is shown, 3000 ms
        // later (the end-to-end cases time that on the tray host; here the delay is cut short).
        icon.showBalloon(QStringLiteral("first"), QSystemTrayIcon::Information,
                         QStringLiteral("default"), 2000, false);
        icon.showBalloon(QStringLiteral("second"), QSystemTrayIcon::Warning,
                         QStringLiteral("Pairing"), -1, false);
        QVERIFY(icon.balloons.isEmpty());
        QCOMPARE(icon.timer("showTimer")->interval(), 3000);
        icon.timer("showTimer")->start(0);
        QTRY_COMPARE_WITH_TIMEOUT(icon.balloons.size(), 1, 5000);

        // The held-back balloon went out once; from now on balloons go out at once, the icon's
        // title stands in for "default", and an empty text hides the balloon.
        icon.slotShowTimeout();
        icon.showBalloon(QStringLiteral("third"), QSystemTrayIcon::Information,
                         QStringLiteral("default"), 4000, false);
        icon.showBalloon(QString(), QSystemTrayIcon::Critical, QStringLiteral("Error"), 5000,
                         false);
        QCOMPARE(icon.balloons,
                 (QStringList{balloon("Pairing", "second", QSystemTrayIcon::Warning),
                              balloon("Remote", "third", QSystemTrayIcon::Information, 4000),
                              balloon(QString(), QString(), QSystemTrayIcon::NoIcon, 1)}));

        // A click on a balloon that does not hide the icon leaves it alone.
        emit icon.messageClicked();
        QCOMPARE(icon.state(), 12);

        // Only becoming visible again holds balloons back.
        icon.setState(10);
        icon.refresh();
        QVERIFY(!icon.timer("showTimer")->isActive());
    }

    void autoHideEndsBeforeTheBalloon()
    {
        // Asked for, shown, and when the icon hides.
        const int rows[][3] = {{-1, 10000, 9500}, {2000, 2000, 1500}, {300, 300, 0}};
        for (const auto &row : rows) {
            RecordingTrayIcon icon;
            icon.setState(13);
            icon.refresh();
            icon.timer("showTimer")->stop(); // balloons go out at once
            icon.showBalloon(QStringLiteral("Unplug"), QSystemTrayIcon::Information,
                             QStringLiteral("default"), row[0], true);
            QCOMPARE(icon.balloons.value(0).section(" | ", 3), QString::number(row[1]));
            QVERIFY(icon.timer("hideTimer")->isActive());
            QCOMPARE(icon.timer("hideTimer")->interval(), row[2]);
            // Run the hide timer out now rather than wait for it.
            icon.timer("hideTimer")->start(0);
            QTRY_VERIFY_WITH_TIMEOUT(!icon.isVisible(), 5000);
            QCOMPARE(icon.state(), 0);
        }
    }
};

QTEST_MAIN(TestSystemTrayIcon)
#include "tst_systemtrayicon.moc"
