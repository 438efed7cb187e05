#pragma once

#include "cplatformservicetraydataitem.h"

#include <QMap>
#include <QString>
#include <QVariant>

class ComOrvantasystemsPlatformGpsInterface;

namespace glyphd {

// The GNSS receiver: off (nothing shown), searching, fix, or fix with dual-band reception. The
// item watches the GNSS service come and go on the system bus and reads it afresh whenever it
// appears. A tap raises the GNSS settings.
class CGpsSystemTrayDataItem : public CPlatformServiceTrayDataItem
{
    Q_OBJECT
public:
    CGpsSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CGpsSystemTrayDataItem() override;

    // Reads the receiver state, the fix and the bands, and shows them. Also run whenever the
    // service registers on the bus.
    void initialize() override;

public slots:
    // The receiver's on/off state is deliberately not taken from here: it is read only when
    // the service (re)appears.
    void handlePropertiesChanged(const QString &interface_name,
                                 const QMap<QString, QVariant> &changed_properties);
    void checkGpsServiceReady();
    // Dual band when any comma-separated entry of a Band value is 1 or more.
    void checkDualBand(QString data);

private:
    void showReceiverState();

    ComOrvantasystemsPlatformGpsInterface *const m_proxy;
    bool m_gnssOn = false;
    uint m_fixStatus = 0;
    bool m_dualBand = false;
};

} // namespace glyphd
