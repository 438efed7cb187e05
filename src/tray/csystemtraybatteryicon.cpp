#include "csystemtraybatteryicon.h"

#include "platform/widgets/cbatterystatuswidget.h"

#include <QPainter>
#include <QPalette>

namespace glyphd {

namespace {

// Loaded on first need and kept for the life of the process.
const QPixmap &mainsPlugOverlay()
{
    static const QPixmap overlay(QStringLiteral(":/icons/SysTrayBatteryAc.png"));
    return overlay;
}

} // namespace

CSystemTrayBatteryIcon::CSystemTrayBatteryIcon(const QString &title, QObject *parent,
                                               const QFont &font)
    : CSystemTrayIcon(title, parent, font)
    , m_gauge(new ui::CBatteryStatusWidget)
{
    m_gauge->setContentsMargins(0, 0, 0, 0);
    m_gauge->setFrameWidth(2);
    QPalette palette = m_gauge->palette();
    palette.setBrush(m_gauge->foregroundRole(), QBrush(Qt::darkGray, Qt::SolidPattern));
    m_gauge->setPalette(palette);
}

CSystemTrayBatteryIcon::~CSystemTrayBatteryIcon() = default;

bool CSystemTrayBatteryIcon::showsMainsPlug(int state)
{
    return state == NoBatteryOnAcState || state == FullOnAcState || state == ChargingState;
}

void CSystemTrayBatteryIcon::drawBattery(int percent, bool alarm)
{
    QPixmap &picture = canvas();
    if (state() != HiddenState && !picture.isNull()) {
        const int current = state();
        if (!m_gaugeSized) {
            m_gauge->resize(picture.size());
            m_gaugeSized = true;
        }
        if (current == NoBatteryOnAcState || current == NoBatteryState) {
            m_gauge->setBatteryPresent(false);
        } else {
            m_gauge->setBatteryPresent(true);
            m_gauge->setBatteryCharging(current == ChargingState);
            m_gauge->setChargePercentage(percent);
            m_gauge->setFillColor(alarm ? QColor(Qt::red) : QColor(Qt::green));
        }
        // No window background: the canvas stays transparent where the gauge does not paint.
        m_gauge->render(&picture, QPoint(0, 0), QRegion(), QWidget::DrawChildren);
        if (showsMainsPlug(current)) {
            const QPixmap &overlay = mainsPlugOverlay();
            QPainter painter(&picture);
            painter.drawPixmap(picture.rect(), overlay, overlay.rect());
        }
    }
    refresh();
}

} // namespace glyphd
