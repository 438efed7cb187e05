#include "cbatterystatuswidget.h"

#include <QPainter>
#include <QPainterPath>

namespace ui {

CBatteryStatusWidget::CBatteryStatusWidget(QWidget *parent)
    : QWidget(parent)
{}

CBatteryStatusWidget::~CBatteryStatusWidget() = default;

void CBatteryStatusWidget::setBatteryPresent(bool present)
{
    m_present = present;
    update();
}

void CBatteryStatusWidget::setBatteryCharging(bool charging)
{
    m_charging = charging;
    update();
}

void CBatteryStatusWidget::setChargePercentage(int percent)
{
    m_percent = qBound(0, percent, 100);
    update();
}

void CBatteryStatusWidget::setFillColor(const QColor &color)
{
    m_fillColor = color;
    update();
}

void CBatteryStatusWidget::setFrameWidth(int width)
{
    m_frameWidth = qMax(0, width);
    update();
}

QSize CBatteryStatusWidget::sizeHint() const
{
    return QSize(32, 32);
}

void CBatteryStatusWidget::paintEvent(QPaintEvent *)
{
    const QRect area = contentsRect();
    if (area.width() < 4 || area.height() < 4)
        return;

    // A battery on its side, about twice as wide as high, with its terminal on the right.
    const int terminalWidth = qMax(2, area.width() / 12);
    const int bodyWidth = area.width() - terminalWidth;
    const int bodyHeight = qMin(area.height(), bodyWidth * 5 / 9);
    const QRect body(area.left(), area.top() + (area.height() - bodyHeight) / 2, bodyWidth,
                     bodyHeight);
    const QRect terminal(body.right() + 1, body.top() + bodyHeight / 3, terminalWidth,
                         bodyHeight - 2 * (bodyHeight / 3));

    QPainter painter(this);
    const QColor outline = palette().color(foregroundRole());
    // Whole-pixel rectangles filled, not stroked: the edges stay sharp at any pixel ratio.
    const int frame = m_frameWidth;
    if (frame > 0) {
        QPainterPath path;
        path.addRect(body);
        path.addRect(body.adjusted(frame, frame, -frame, -frame));
        painter.fillPath(path, outline);
        painter.fillRect(terminal, outline);
    }
    if (!m_present)
        return;

    // One pixel of air between the outline and the bar.
    const QRect inside = body.adjusted(frame + 1, frame + 1, -frame - 1, -frame - 1);
    if (inside.isEmpty())
        return;
    const int filled = (inside.width() * m_percent + 50) / 100;
    painter.fillRect(QRect(inside.topLeft(), QSize(filled, inside.height())), m_fillColor);

    // The bolt keeps to the left half: a mains plug may be drawn over the right one.
    if (m_charging) {
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF b(inside);
        const QPointF points[] = {
            {b.left() + b.width() * 0.38, b.top()},
            {b.left() + b.width() * 0.14, b.top() + b.height() * 0.58},
            {b.left() + b.width() * 0.30, b.top() + b.height() * 0.58},
            {b.left() + b.width() * 0.24, b.bottom()},
            {b.left() + b.width() * 0.50, b.top() + b.height() * 0.38},
            {b.left() + b.width() * 0.34, b.top() + b.height() * 0.38},
        };
        painter.setPen(QPen(outline, 1.0));
        painter.setBrush(Qt::white);
        painter.drawPolygon(points, int(sizeof(points) / sizeof(points[0])));
    }
}

} // namespace ui
