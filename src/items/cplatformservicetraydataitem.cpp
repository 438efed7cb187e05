#include "cplatformservicetraydataitem.h"

#include "dbus/platformservices.h"
#include "tray/csystemtrayicon.h"

#include <QDBusConnection>
#include <QtDebug>

namespace glyphd {

CPlatformServiceTrayDataItem::CPlatformServiceTrayDataItem(SyncSenderClient *client,
                                                           QObject *iconParent,
                                                           const QString &title,
                                                           const QString &screenName)
    : CSystemTrayDataItem(client)
    , m_icon(new CSystemTrayIcon(title, iconParent ? iconParent : this, iconFont()))
{
    attachTrayIcon(m_icon, screenName);
    m_icon->setState(CSystemTrayIcon::HiddenState);
    m_icon->refresh();
}

CPlatformServiceTrayDataItem::~CPlatformServiceTrayDataItem() = default;

bool CPlatformServiceTrayDataItem::acceptsMessage(const Message *)
{
    return false;
}

void CPlatformServiceTrayDataItem::processMessage(Message *) {}

void CPlatformServiceTrayDataItem::followPropertyChanges(const char *service, const char *path,
                                                         const char *slot)
{
    const bool connected = QDBusConnection::systemBus().connect(
        QLatin1String(service), QLatin1String(path),
        QLatin1String(platformservices::PropertiesInterface),
        QLatin1String(platformservices::PropertiesChangedSignal), this, slot);
    if (!connected)
        qWarning("Failed to connect Properties Changed signal");
}

void CPlatformServiceTrayDataItem::showState(int state)
{
    if (state == m_icon->state())
        return;
    m_icon->setState(state);
    m_icon->refresh();
}

} // namespace glyphd
