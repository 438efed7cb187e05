#include "csinglevaluetraydataitem.h"

#include "csystemtrayicon.h"

#include <QtDebug>

namespace glyphd {

CSingleValueTrayDataItem::CSingleValueTrayDataItem(SyncSenderClient *client, QObject *iconParent,
                                                   const QString &title,
                                                   const Description &description)
    : CSystemTrayDataItem(client)
    , m_description(description)
    , m_icon(new CSystemTrayIcon(title, iconParent ? iconParent : this, iconFont()))
{
    attachTrayIcon(m_icon, QString::fromLatin1(m_description.screenName));
    m_icon->setState(CSystemTrayIcon::HiddenState);
    m_icon->refresh();
}

CSingleValueTrayDataItem::~CSingleValueTrayDataItem() = default;

bool CSingleValueTrayDataItem::acceptsMessage(const Message *message)
{
    return acceptsNotification(message, m_description.keyPrefix);
}

void CSingleValueTrayDataItem::initialize()
{
    bool ok = false;
    const QByteArray value = requestValue(m_description.key, &ok);
    if (!ok) {
        qWarning("%s", m_description.initFailure);
        return;
    }
    applyValue(value);
}

void CSingleValueTrayDataItem::processMessage(Message *message)
{
    applyValue(readKeyValue(message).value);
}

void CSingleValueTrayDataItem::applyValue(const QByteArray &value)
{
    showState(stateForValue(value));
}

void CSingleValueTrayDataItem::showState(int state)
{
    if (state == m_icon->state())
        return;
    m_icon->setState(state);
    m_icon->refresh();
}

} // namespace glyphd
