#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// A permanent shortcut to the audio settings: it reads no value and takes no message, and
// shows itself once the daemon initialises it.
class CAudioSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CAudioSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CAudioSystemTrayDataItem() override;
};

} // namespace glyphd
