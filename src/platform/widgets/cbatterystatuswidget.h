#pragma once

#include <QColor>
#include <QWidget>

namespace ui {

// A battery gauge: the outline of a battery lying on its side, a bar filled to the charge
// percentage, and a bolt while charging. Without a battery only the outline is drawn. The
// outline takes the colour of the widget's foreground role; everything scales with the size
// and the device pixel ratio of what it is rendered into.
class CBatteryStatusWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CBatteryStatusWidget(QWidget *parent = nullptr);
    ~CBatteryStatusWidget() override;

    void setBatteryPresent(bool present);
    bool batteryPresent() const { return m_present; }
    void setBatteryCharging(bool charging);
    bool batteryCharging() const { return m_charging; }
    // Clamped to 0 to 100.
    void setChargePercentage(int percent);
    int chargePercentage() const { return m_percent; }
    void setFillColor(const QColor &color);
    QColor fillColor() const { return m_fillColor; }
    // Thickness of the outline in pixels.
    void setFrameWidth(int width);
    int frameWidth() const { return m_frameWidth; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    bool m_present = true;
    bool m_charging = false;
    int m_percent = 0;
    QColor m_fillColor = Qt::green;
    int m_frameWidth = 1;
};

} // namespace ui
