#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// Remote (VNC) users of the instrument: one icon for a single user, another for several,
// nothing while nobody is connected. A tap raises the remote-access settings.
class CVncSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CVncSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CVncSystemTrayDataItem() override;

protected:
    int stateForValue(const QByteArray &value) const override;
};

} // namespace glyphd
