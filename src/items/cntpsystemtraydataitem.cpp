#include "cntpsystemtraydataitem.h"

namespace glyphd {

CNtpSystemTrayDataItem::CNtpSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(client, parent, CNtpSystemTrayDataItem::tr("NTP"),
                               {"SYNC_TIME_SOURCE",
                                "SYNC_TIME_SOURCE",
                                "DATETIME",
                                "CNtpSystemDataItem could not initialize",
                                {{"NTP", 20}}})
{}

CNtpSystemTrayDataItem::~CNtpSystemTrayDataItem() = default;

} // namespace glyphd
