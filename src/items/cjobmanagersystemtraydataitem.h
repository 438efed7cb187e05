#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// An open job of the job manager, with the job manager's short status text (a progress
// figure, say) written on the lower part of the icon. A tap opens the job manager itself
// rather than a settings screen.
class CJobManagerSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CJobManagerSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CJobManagerSystemTrayDataItem() override;

public slots:
    void slotJmIconClicked();

protected:
    void applyValue(const QByteArray &value) override;
};

} // namespace glyphd
