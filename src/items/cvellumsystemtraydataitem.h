#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// The cloud asset-sync service: connected, transferring, last transfer succeeded or failed.
// Its status is free text, classified by keywords. A success or an error is reported once:
// the home page's word that the service's page was shown or hidden clears it. A tap raises
// the service's settings.
class CVellumSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CVellumSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CVellumSystemTrayDataItem() override;

protected:
    void processMessage(Message *message) override;
    int stateForValue(const QByteArray &value) const override;
};

} // namespace glyphd
