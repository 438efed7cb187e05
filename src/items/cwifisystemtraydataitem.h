#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// The Wi-Fi connection: connected, radio on but not connected, or nothing while Wi-Fi is off.
// Only the connection status counts among the control panel's "WIFI_" keys. A tap raises the
// network settings.
class CWifiSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CWifiSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CWifiSystemTrayDataItem() override;
};

} // namespace glyphd
