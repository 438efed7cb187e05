#include "csinglevaluetraydataitem.h"

#include "csystemtrayicon.h"
#include "platform/message/message.h"

#include <QtDebug>

#include <utility>

namespace glyphd {

CSingleValueTrayDataItem::CSingleValueTrayDataItem(SyncSenderClient *client, QObject *iconParent,
                                                   const QString &title, Description description)
    : CSystemTrayDataItem(client)
    , m_description(std::move(description))
    , m_icon(new CSystemTrayIcon(title, iconParent ? iconParent : this, iconFont()))
{
    if (m_description.screenName)
        attachTrayIcon(m_icon, QString::fromLatin1(m_description.screenName));
    m_icon->setState(CSystemTrayIcon::HiddenState);
    m_icon->refresh();
}

CSingleValueTrayDataItem::~CSingleValueTrayDataItem() = default;

bool CSingleValueTrayDataItem::acceptsMessage(const Message *message)
{
    if (isHomePageCommand(message))
        return true;
    if (!m_description.keyPrefix || message->type() != MessageType::Notification)
        return false;
    if (m_description.source && message->source() != m_description.source)
        return false;
    return paramsBeginWith(message, m_description.keyPrefix);
}

bool CSingleValueTrayDataItem::isHomePageCommand(const Message *message) const
{
    const char *prefix = m_description.homePageCommandPrefix;
    return prefix && message->source() == kHomePageService &&
           message->command().rfind(prefix, 0) == 0;
}

void CSingleValueTrayDataItem::initialize()
{
    if (!m_description.key) {
        applyValue(QByteArray());
        return;
    }
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
    const KeyValue keyValue = readKeyValue(message);
    if (m_description.keyMustMatch && keyValue.key != m_description.key)
        return;
    applyValue(keyValue.value);
}

int CSingleValueTrayDataItem::stateForValue(const QByteArray &value) const
{
    for (const ValueState &row : m_description.states) {
        if (value == row.value)
            return row.state;
    }
    return m_description.otherState;
}

void CSingleValueTrayDataItem::applyValue(const QByteArray &value)
{
    showState(stateForValue(value));
}

void CSingleValueTrayDataItem::showState(int state, Refresh refresh)
{
    if (refresh == Refresh::OnChange && state == m_icon->state())
        return;
    m_icon->setState(state);
    m_icon->refresh();
}

} // namespace glyphd
