#include "cwifisystemtraydataitem.h"

namespace glyphd {

// Values compare whole and case-sensitively: a lower-case or unknown status hides the icon.
CWifiSystemTrayDataItem::CWifiSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(client, parent, CWifiSystemTrayDataItem::tr("Wi-Fi"),
                               {"WIFI_CONNECT_STATUS",
                                "WIFI_",
                                "NETWORK",
                                "CWifiSystemTrayDataItem could not initialize",
                                {{"WIFI_DISABLED", 0}, {"ASSOCIATED", 22}, {"DISCONNECTED", 21}},
                                /* otherState */ 0,
                                kControlPanelService,
                                /* keyMustMatch */ true})
{}

CWifiSystemTrayDataItem::~CWifiSystemTrayDataItem() = default;

} // namespace glyphd
