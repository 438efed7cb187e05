#pragma once

#include "csystemtrayicon.h"

#include <memory>

namespace ui {
class CBatteryStatusWidget;
}

namespace glyphd {

// The battery item's icon: states 4 to 8 are a blank canvas on which the battery gauge is
// painted, with a mains plug over it while the instrument runs on AC.
class CSystemTrayBatteryIcon : public CSystemTrayIcon
{
    Q_OBJECT
public:
    enum BatteryState : int {
        NoBatteryOnAcState = 4,
        NoBatteryState = 5,
        DischargingState = 6,
        FullOnAcState = 7,
        ChargingState = 8,
    };

    CSystemTrayBatteryIcon(const QString &title, QObject *parent, const QFont &font);
    ~CSystemTrayBatteryIcon() override;

    // Paints the gauge for the current state on the current picture and refreshes; call
    // setState() first, which brings back the blank canvas. An alarm fills the bar red.
    void drawBattery(int percent, bool alarm);

    const ui::CBatteryStatusWidget &gauge() const { return *m_gauge; }

private:
    static bool showsMainsPlug(int state);

    const std::unique_ptr<ui::CBatteryStatusWidget> m_gauge;
    bool m_gaugeSized = false;
};

} // namespace glyphd
