#pragma once

#include "tray/csystemtraydataitem.h"

class QObject;

namespace glyphd {

class CSystemTrayIcon;

// An item fed by a platform service on the D-Bus system bus rather than by the control panel:
// it accepts no system-data message, follows the service's PropertiesChanged signal, and
// refreshes its icon only when the state changes.
class CPlatformServiceTrayDataItem : public CSystemTrayDataItem
{
    Q_OBJECT
public:
    ~CPlatformServiceTrayDataItem() override;

    bool acceptsMessage(const Message *message) override;

protected:
    // The icon belongs to iconParent, or to the item when there is none. It starts hidden.
    CPlatformServiceTrayDataItem(SyncSenderClient *client, QObject *iconParent,
                                 const QString &title, const QString &screenName);

    void processMessage(Message *message) override;

    // Connects the service's PropertiesChanged to slot, a SLOT() taking
    // (QString, QMap<QString, QVariant>). A failure is logged and otherwise borne: the item
    // then learns its values only when it reads them.
    void followPropertyChanges(const char *service, const char *path, const char *slot);

    void showState(int state);
    CSystemTrayIcon *trayIcon() const { return m_icon; }

private:
    CSystemTrayIcon *const m_icon;
};

} // namespace glyphd
