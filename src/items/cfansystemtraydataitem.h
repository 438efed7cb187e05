#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// A warning while the instrument reports a cooling-fan fault. Every value refreshes the icon;
// a value that is neither fault nor cleared is logged and keeps the state.
class CFanSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CFanSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CFanSystemTrayDataItem() override;

protected:
    void applyValue(const QByteArray &value) override;
};

} // namespace glyphd
