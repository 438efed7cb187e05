#include "platform/widgets/cbatterystatuswidget.h"
#include "tray/csystemtraybatteryicon.h"

#include <QtTest>

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
    const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) != 0)
                return false;
    return true;
}

const QColor transparent(0, 0, 0, 0);

} // namespace

class TestBatteryIcon : public QObject
{
    Q_OBJECT

private slots:
    void stateDrawsGauge_data();
    void stateDrawsGauge();
    void everySetStateStartsBlank();
    void rendersCrisplyAtTwiceTheSize();
};

void TestBatteryIcon::stateDrawsGauge_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("percent");
    QTest::addColumn<bool>("alarm");
    QTest::addColumn<QColor>("barStart"); // transparent: no bar
    QTest::addColumn<QColor>("barEnd");   // invalid: not looked at
    QTest::addColumn<bool>("plug");
    const QColor green(Qt::green), red(Qt::red), none = transparent;
    // clang-format off
    QTest::newRow("4 no battery, AC") << 4 << 80 << false << none << none << true;
    QTest::newRow("5 no battery") << 5 << 80 << true << none << none << false;
    QTest::newRow("6 discharging 55") << 6 << 55 << false << green << none << false;
    QTest::newRow("6 discharging 15 alarm") << 6 << 15 << true << red << none << false;
    QTest::newRow("6 discharging 100") << 6 << 100 << false << green << green << false;
    QTest::newRow("7 full on AC") << 7 << 100 << false << green << QColor() << true;
    QTest::newRow("8 charging 55") << 8 << 55 << false << green << QColor() << true;
    QTest::newRow("8 charging 30 alarm") << 8 << 30 << true << red << QColor() << true;
    // clang-format on
}

void TestBatteryIcon::stateDrawsGauge()
{
    QFETCH(int, state);
    QFETCH(int, percent);
    QFETCH(bool, alarm);
    QFETCH(QColor, barStart);
    QFETCH(QColor, barEnd);
    QFETCH(bool, plug);

    CSystemTrayBatteryIcon icon(QStringLiteral("Battery/Charger"), nullptr, QFont());
    icon.setState(state);
    icon.drawBattery(percent, alarm);
    const bool present = state >= 6, charging = state == 8;
    QCOMPARE(icon.gauge().batteryPresent(), present);
    QCOMPARE(icon.gauge().size(), icon.currentPixmap().size());
    QVERIFY(icon.isVisible());

    QCOMPARE(pixel(icon, outlinePoint), QColor(Qt::darkGray));
    QCOMPARE(pixel(icon, cornerPoint), transparent);
    QCOMPARE(pixel(icon, barStartPoint), barStart);
    if (barEnd.isValid())
        QCOMPARE(pixel(icon, barEndPoint), barEnd);
    if (present)
        QCOMPARE(pixel(icon, chargingMarkPoint) == QColor(Qt::white), charging);
    QCOMPARE(pixel(icon, plugBelowBodyPoint) != transparent, plug);
}

void TestBatteryIcon::everySetStateStartsBlank()
{
    CSystemTrayBatteryIcon icon(QStringLiteral("Battery/Charger"), nullptr, QFont());
    for (int state : {8, 6, 4, 7, 5, 8}) {
        icon.setState(state);
        QVERIFY2(isBlank(icon.currentPixmap()), qPrintable(QString::number(state)));
        icon.drawBattery(100, true);
        QVERIFY(!isBlank(icon.currentPixmap()));
    }
    // Without setState the next drawing goes over the last one: the full red bar stays.
    icon.setState(6);
    icon.drawBattery(100, true);
    icon.drawBattery(10, false);
    QCOMPARE(pixel(icon, barEndPoint), QColor(Qt::red));
    icon.setState(6);
    icon.drawBattery(10, false);
    QCOMPARE(pixel(icon, barEndPoint), transparent);

    // A hidden icon paints nothing, and its gauge keeps the last level.
    const QImage before = icon.currentPixmap().toImage();
    icon.setState(0);
    icon.drawBattery(100, true);
    QVERIFY(!icon.isVisible());
    QCOMPARE(icon.currentPixmap().toImage(), before);
    QCOMPARE(icon.gauge().chargePercentage(), 10);
}

void TestBatteryIcon::rendersCrisplyAtTwiceTheSize()
{
    // At twice the size every edge of the outline and the bar stays on whole pixels: no pixel
    // is a blend of the outline or fill colours with the background.
    ui::CBatteryStatusWidget gauge;
    gauge.setFrameWidth(2);
    gauge.setChargePercentage(40);
    gauge.resize(32, 32);
    QPixmap picture(64, 64);
    picture.setDevicePixelRatio(2);
    picture.fill(Qt::transparent);
    gauge.render(&picture, QPoint(), QRegion(), QWidget::DrawChildren);
    const QImage image = picture.toImage().convertToFormat(QImage::Format_ARGB32);
    const QColor outline = gauge.palette().color(gauge.foregroundRole());
    int painted = 0;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            const QColor color = image.pixelColor(x, y);
            if (color.alpha() == 0)
                continue;
            ++painted;
            QVERIFY2(color == outline || color == QColor(Qt::green),
                     qPrintable(QStringLiteral("%1,%2").arg(x).arg(y)));
        }
    }
    QVERIFY(painted > 200);
}

QTEST_MAIN(TestBatteryIcon)
#include "tst_batteryicon.moc"
