#pragma once

#include "cplatformservicetraydataitem.h"

#include <QMap>
#include <QString>
#include <QVariant>

class ComOrvantasystemsPlatformClockSourceInterface;

namespace glyphd {

// The timing reference of the instrument's clock (10, 13 or 15 MHz or GPS, locked or not) or
// the automatic selection still searching. Unlike the GPS item it does not watch the service:
// it reads it when the daemon initialises it and then follows the change signals. A tap
// raises the clock-source settings.
class CClockSourceTrayDataItem : public CPlatformServiceTrayDataItem
{
    Q_OBJECT
public:
    CClockSourceTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CClockSourceTrayDataItem() override;

    void initialize() override;

public slots:
    void handlePropertiesChanged(const QString &interface_name,
                                 const QMap<QString, QVariant> &changed_properties);

private:
    void showClockState();

    ComOrvantasystemsPlatformClockSourceInterface *const m_proxy;
    uint m_autoSelectStatus = 0;
    uint m_timingSource = 0;
    bool m_locked = false;
};

} // namespace glyphd
