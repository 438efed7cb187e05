#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// An NTP icon while the clock follows a network time server, nothing for any other time
// source. A tap raises the date and time settings.
class CNtpSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CNtpSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CNtpSystemTrayDataItem() override;
};

} // namespace glyphd
