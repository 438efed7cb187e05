// The battery gauge icon, and the warning box that beeps on the process's beeper: the beeper
// writes its tone events into a FIFO, as into an input device, and the test reads them back.
#include "items/itemtesting.h"
#include "platform/beeper/beeper.h"
#include "platform/widgets/cbatterystatuswidget.h"
#include "tray/cbeepingwarning.h"
#include "tray/csystemtraybatteryicon.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

using glyphd::CBeepingWarning;
using glyphd::CSystemTrayBatteryIcon;

namespace {

// Landmarks of the 32 px gauge: the body spans y 8 to 23 with a 2 px outline, the bar x 3 to
// 26 and y 11 to 20; the mains plug reaches below the body.
const QPoint outlinePoint(0, 15);
const QPoint barStartPoint(4, 14);
const QPoint barEndPoint(25, 14);
const QPoint chargingMarkPoint(10, 15);
const QPoint plugBelowBodyPoint(19, 27);
const QPoint cornerPoint(0, 0);

QColor pixel(const CSystemTrayBatteryIcon &icon, const QPoint &point)
{
    return icon.currentPixmap().toImage().pixelColor(point);
}

bool isBlank(const QPixmap &pixmap)
{
    QImage blank(pixmap.size(), QImage::Format_ARGB32);
    blank.fill(Qt::transparent);
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32) == blank;
}

const QColor transparent(0, 0, 0, 0), green(Qt::green), red(Qt::red);
// The bar's colour at its start (transparent: no bar) and its end (invalid: not looked at).
// clang-format off
const struct GaugeRow { const char *name; int state, percent; bool alarm; QColor barStart, barEnd; bool plug; } kGaugeRows[] = {
    {"4 no battery, AC", 4, 80, false, transparent, transparent, true}, {"5 no battery", 5, 80, true, transparent, transparent, false},
    {"6 discharging 55", 6, 55, false, green, transparent, false}, {"6 discharging 15 alarm", 6, 15, true, red, transparent, false},
    {"6 discharging 100", 6, 100, false, green, green, false}, {"7 full on AC", 7, 100, false, green, QColor(), true},
    {"8 charging 55", 8, 55, false, green, QColor(), true}, {"8 charging 30 alarm", 8, 30, true, red, QColor(), true}};
// clang-format on

// Steps: "show:TEXT", "ignore" (the Ignore button), "close" (the window closed), "hide",
// "off" (wait for the tone to end), "repeat" (the beep timer, shortened tenfold, runs twice); then
// whether the box shows, the beeps heard and the box's text.
// clang-format off
const struct WarningRow { const char *steps; bool visible; int beeps; const char *text; } kWarningRows[] = {
    {"show:first show:second", true, 1, "second"}, {"show:first ignore show:second", false, 1, "second"},
    {"show:first close show:second", false, 1, "second"}, {"show:first ignore hide show:second", true, 2, "second"},
    {"show:low off", true, 1, "low"}, {"show:low repeat hide", false, 3, "low"}};
// clang-format on

} // namespace

class TestBattery : public QObject
{
    Q_OBJECT

private slots:
    void stateDrawsGauge_data()
    {
        addIndexedRows(kGaugeRows, [](const GaugeRow &row) { return QString(row.name); });
    }

    void stateDrawsGauge()
    {
        const auto &[name, state, percent, alarm, barStart, barEnd, plug] =
            kGaugeRows[fetchedRow()];
        CSystemTrayBatteryIcon icon(QStringLiteral("Battery/Charger"), nullptr, QFont());
        // Whatever was drawn before, setState starts from a blank canvas.
        icon.setState(8);
        icon.drawBattery(100, true);
        icon.setState(state);
        QVERIFY(isBlank(icon.currentPixmap()));
        icon.drawBattery(percent, alarm);
        const bool present = state >= 6, charging = state == 8;

        QCOMPARE(pixel(icon, outlinePoint), QColor(Qt::darkGray));
        QCOMPARE(pixel(icon, cornerPoint), transparent);
        QCOMPARE(pixel(icon, barStartPoint), barStart);
        if (barEnd.isValid())
            QCOMPARE(pixel(icon, barEndPoint), barEnd);
        if (present)
            QCOMPARE(pixel(icon, chargingMarkPoint) == QColor(Qt::white), charging);
        QCOMPARE(pixel(icon, plugBelowBodyPoint) != transparent, plug);
    }

    void warningStates_data()
    {
        addIndexedRows(kWarningRows, [](const WarningRow &row) { return QString(row.steps); });
    }

    void warningStates()
    {
        const auto &[steps, visible, beeps, text] = kWarningRows[fetchedRow()];
        // The beeper writes into a FIFO the test reads back, one value per EV_SND record.
        QTemporaryDir dir;
        const QByteArray fifo = QFile::encodeName(dir.filePath(QStringLiteral("event-fifo")));
        QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
        const int readFd = ::open(fifo.constData(), O_RDONLY | O_NONBLOCK);
        QVERIFY(readFd >= 0);
        std::unique_ptr<Beeper> beeper = Beeper::forToneDevice(QFile::decodeName(fifo));
        const auto restore = qScopeGuard([&] {
            Beeper::setProcessBeeper(nullptr);
            beeper.reset(); // it still writes the tone off
            ::close(readFd);
        });
        QVERIFY(beeper->hasDevice());
        Beeper::setProcessBeeper(beeper.get());
        QList<int> tones;
        const auto hear = [&] {
            for (input_event event; ::read(readFd, &event, sizeof(event)) == sizeof(event);) {
                if (event.type != EV_SYN)
                    tones << (event.type == EV_SND && event.code == SND_TONE ? event.value : -1);
            }
            return tones;
        };

        QElapsedTimer clock;
        clock.start();
        {
            CBeepingWarning warning(QPixmap(16, 16));
            for (const QString &step : QString(steps).split(QLatin1Char(' '))) {
                if (step.startsWith(QLatin1String("show:"))) {
                    warning.showWarning(step.mid(5));
                } else if (step == QLatin1String("ignore")) {
                    warning.box()->button(QMessageBox::Ignore)->click();
                } else if (step == QLatin1String("close")) {
                    warning.box()->close();
                } else if (step == QLatin1String("hide")) {
                    warning.hideWarning();
                } else if (step == QLatin1String("off")) {
                    QTRY_VERIFY_WITH_TIMEOUT(hear().contains(0), 10000);
                    QCOMPARE(tones, (QList<int>{1000, 0}));
                    QVERIFY(clock.elapsed() >= CBeepingWarning::BeepMs - 10);
                } else if (step == QLatin1String("repeat")) {
                    const int intervalMs = CBeepingWarning::BeepIntervalMs / 10;
                    warning.beepTimer()->start(intervalMs);
                    clock.restart();
                    QSignalSpy ticks(warning.beepTimer(), SIGNAL(timeout()));
                    QTRY_COMPARE_WITH_TIMEOUT(ticks.count(), 2, 20000);
                    // A coarse timer may fire up to 5 % early.
                    QVERIFY(clock.elapsed() >= 2 * intervalMs * 95 / 100);
                }
            }
            QCOMPARE(warning.box() != nullptr, *text != 0);
            if (warning.box()) {
                QCOMPARE(warning.box()->isVisible(), visible);
                QCOMPARE(warning.box()->text(), QString(text));
                QCOMPARE(warning.box()->windowTitle(), QStringLiteral("System Warning"));
            }
            QCOMPARE(warning.beepTimer()->isActive(), visible);
        }
        hear();
        QCOMPARE(tones.count(1000), beeps);
        QCOMPARE(tones.count(1000) + tones.count(0), tones.size());
    }

    // A folder whose event file is no device: the warning still shows and beeps, without tones.
    void withoutToneDeviceFallsBackQuietly()
    {
        QTemporaryDir devices;
        QVERIFY(QFile(devices.filePath(QStringLiteral("event0"))).open(QIODevice::WriteOnly));
        Beeper fallback(devices.path());
        QVERIFY(!fallback.hasDevice());
        Beeper::setProcessBeeper(&fallback);
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^No input device plays tones"));
        {
            CBeepingWarning warning{QPixmap()};
            warning.showWarning(QStringLiteral("low"));
            warning.beep();
        }
        Beeper::setProcessBeeper(nullptr);
    }
};

QTEST_MAIN(TestBattery)
#include "tst_battery.moc"
