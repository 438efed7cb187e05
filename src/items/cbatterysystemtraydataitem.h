#pragma once

#include "tray/csystemtraydataitem.h"

#include <memory>

class QObject;

namespace glyphd {

class CBeepingWarning;
class CSystemTrayBatteryIcon;

// The battery and charger: a gauge icon from three values (status, charge level, alarm), and a
// beeping warning while an alarm stands. A tap raises the power settings.
class CBatterySystemTrayDataItem : public CSystemTrayDataItem
{
    Q_OBJECT
public:
    enum class Alarm { None, Low, Critical, Temperature };

    CBatterySystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CBatterySystemTrayDataItem() override;

    bool acceptsMessage(const Message *message) override;
    // Asks for BATT_STATUS, BATT_LEVEL and BATT_ALARM, in this order.
    void initialize() override;

    // The warning the user sees for an alarm at this charge level; empty for Alarm::None.
    static QString warningText(Alarm alarm, int percent);

protected:
    void processMessage(Message *message) override;

private:
    // False when the key is not one of the item's.
    bool applyValue(const QByteArray &key, const QByteArray &value);
    void applyStatus(const QByteArray &value);
    void applyLevel(const QByteArray &value);
    void applyAlarm(const QByteArray &value);
    // Paints the gauge afresh and opens, updates or closes the warning.
    void showBattery();

    CSystemTrayBatteryIcon *const m_icon;
    const std::unique_ptr<CBeepingWarning> m_warning;
    int m_state = 0;
    int m_percent = 0;
    Alarm m_alarm = Alarm::None;
};

} // namespace glyphd
