#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// A warning while the visual fault locator's laser emits. It takes the laser's notification
// from any sender, asks nothing at start-up, and its tap raises no particular screen.
class CVflSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CVflSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CVflSystemTrayDataItem() override;
};

} // namespace glyphd
