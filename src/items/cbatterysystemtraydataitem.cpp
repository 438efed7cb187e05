#include "cbatterysystemtraydataitem.h"

#include "tray/cbeepingwarning.h"
#include "tray/csystemtraybatteryicon.h"

#include <QtDebug>

namespace glyphd {

namespace {

const char keyPrefix[] = "BATT_";
const char statusKey[] = "BATT_STATUS";
const char levelKey[] = "BATT_LEVEL";
const char alarmKey[] = "BATT_ALARM";

struct StatusRow
{
    const char *value;
    int state;
};

// Any other status hides the icon.
const StatusRow statusTable[] = {
    {"NO_BATTERY_AC", CSystemTrayBatteryIcon::NoBatteryOnAcState},
    {"NO_BATTERY", CSystemTrayBatteryIcon::NoBatteryState},
    {"DISCHARGING", CSystemTrayBatteryIcon::DischargingState},
    {"FULL_AC", CSystemTrayBatteryIcon::FullOnAcState},
    {"CHARGING", CSystemTrayBatteryIcon::ChargingState},
};

struct AlarmRow
{
    const char *value;
    CBatterySystemTrayDataItem::Alarm alarm;
};

const AlarmRow alarmTable[] = {
    {"NONE", CBatterySystemTrayDataItem::Alarm::None},
    {"LOW", CBatterySystemTrayDataItem::Alarm::Low},
    {"CRITICAL", CBatterySystemTrayDataItem::Alarm::Critical},
    {"TEMPERATURE", CBatterySystemTrayDataItem::Alarm::Temperature},
};

} // namespace

// Texts are translated with the class named, so that lupdate files them under this class.
CBatterySystemTrayDataItem::CBatterySystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSystemTrayDataItem(client)
    , m_icon(new CSystemTrayBatteryIcon(CBatterySystemTrayDataItem::tr("Battery/Charger"),
                                        parent ? parent : this, iconFont()))
    // Made before any window of the process: it settles how warnings reach the screen.
    , m_warning(new CBeepingWarning(QPixmap()))
{
    attachTrayIcon(m_icon, QStringLiteral("POWER"));
    m_icon->setState(0);
    m_icon->refresh();
}

CBatterySystemTrayDataItem::~CBatterySystemTrayDataItem() = default;

QString CBatterySystemTrayDataItem::warningText(Alarm alarm, int percent)
{
    switch (alarm) {
    case Alarm::None:
        break;
    case Alarm::Low:
        return CBatterySystemTrayDataItem::tr("Battery level is low (%1%). Connect the AC adapter.")
            .arg(percent);
    case Alarm::Critical:
        return CBatterySystemTrayDataItem::tr("Battery level is critical (%1%). Connect the AC "
                                              "adapter now or the instrument will shut down.")
            .arg(percent);
    case Alarm::Temperature:
        return CBatterySystemTrayDataItem::tr(
            "Battery temperature is out of range. Charging is suspended.");
    }
    return QString();
}

bool CBatterySystemTrayDataItem::acceptsMessage(const Message *message)
{
    return acceptsNotification(message, keyPrefix);
}

void CBatterySystemTrayDataItem::initialize()
{
    bool anyValue = false;
    bool failureLogged = false;
    for (const char *key : {statusKey, levelKey, alarmKey}) {
        bool ok = false;
        const QByteArray value = requestValue(key, &ok);
        if (ok) {
            applyValue(key, value);
            anyValue = true;
        } else if (!failureLogged) {
            qWarning("CBatterySystemTrayDataItem could not initialize");
            failureLogged = true;
        }
    }
    if (anyValue)
        showBattery();
}

void CBatterySystemTrayDataItem::processMessage(Message *message)
{
    const KeyValue keyValue = readKeyValue(message);
    if (applyValue(keyValue.key, keyValue.value))
        showBattery();
}

bool CBatterySystemTrayDataItem::applyValue(const QByteArray &key, const QByteArray &value)
{
    if (key == statusKey)
        applyStatus(value);
    else if (key == levelKey)
        applyLevel(value);
    else if (key == alarmKey)
        applyAlarm(value);
    else
        return false;
    return true;
}

void CBatterySystemTrayDataItem::applyStatus(const QByteArray &value)
{
    m_state = 0;
    for (const StatusRow &row : statusTable) {
        if (value == row.value)
            m_state = row.state;
    }
}

void CBatterySystemTrayDataItem::applyLevel(const QByteArray &value)
{
    bool isNumber = false;
    const int percent = value.trimmed().toInt(&isNumber, 10);
    if (!isNumber) {
        qWarning("CBatterySystemTrayDataItem ignores BATT_LEVEL \"%s\": not a number",
                 value.constData());
        return;
    }
    m_percent = qBound(0, percent, 100);
}

void CBatterySystemTrayDataItem::applyAlarm(const QByteArray &value)
{
    for (const AlarmRow &row : alarmTable) {
        if (value == row.value) {
            m_alarm = row.alarm;
            return;
        }
    }
    qWarning("CBatterySystemTrayDataItem ignores BATT_ALARM \"%s\": not an alarm",
             value.constData());
}

void CBatterySystemTrayDataItem::showBattery()
{
    m_icon->setState(m_state);
    m_icon->drawBattery(m_percent, m_alarm != Alarm::None);
    if (m_alarm == Alarm::None) {
        m_warning->hideWarning();
        return;
    }
    m_warning->setIconPixmap(m_icon->currentPixmap());
    m_warning->showWarning(warningText(m_alarm, m_percent));
}

} // namespace glyphd
