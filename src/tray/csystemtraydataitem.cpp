#include "csystemtraydataitem.h"

#include "csystemtrayicon.h"
#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"
#include "platform/message/syncsenderclient.h"
#include "servicenames.h"

#include <QtDebug>

#include <memory>
#include <string>

namespace glyphd {

namespace {

// The control panel answers from memory; a value that takes longer is not worth blocking the
// user interface for.
constexpr int valueRequestTimeoutMs = 1000;
// The home page is not waited for: a tap has done its part once the command is sent.
constexpr int homePageTimeoutMs = -1;

void setResult(bool *ok, bool value)
{
    if (ok)
        *ok = value;
}

} // namespace

CSystemTrayDataItem::CSystemTrayDataItem(SyncSenderClient *client)
    : MessageEventHandler(nullptr)
    , m_client(client)
{}

CSystemTrayDataItem::~CSystemTrayDataItem() = default;

void CSystemTrayDataItem::onIconClicked()
{
    sendToHomePage("raise_screen", m_screenName.toUtf8());
}

void CSystemTrayDataItem::sendToHomePage(const char *command, const QByteArray &params)
{
    std::unique_ptr<Message> request(Message::createMessage(command, params.toStdString()));
    std::unique_ptr<Message> reply(
        m_client->sendAndWait(kHomePageService, request.get(), homePageTimeoutMs));
}

void CSystemTrayDataItem::slotIconClicked()
{
    onIconClicked();
}

void CSystemTrayDataItem::attachTrayIcon(CSystemTrayIcon *icon, const QString &screenName)
{
    m_screenName = screenName;
    connect(icon, SIGNAL(trayIconClicked()), this, SLOT(slotIconClicked()));
}

QByteArray CSystemTrayDataItem::requestValue(const QByteArray &key, bool *ok)
{
    std::unique_ptr<Message> request(Message::createMessage("get", key.toStdString()));
    request->setDestination(kControlPanelService);
    std::unique_ptr<Message> reply(
        m_client->sendAndWait(kControlPanelService, request.get(), valueRequestTimeoutMs));
    request.reset();

    if (!reply) {
        qWarning("No reply when requesting value of %s", key.constData());
        setResult(ok, false);
        return QByteArray();
    }
    if (reply->type() != MessageType::Ack) {
        qWarning("Received NACK requesting value of %s -- %s", key.constData(),
                 reply->params().c_str());
        setResult(ok, false);
        return QByteArray();
    }
    StringParam_SCPI reader;
    reader.setParams(reply->params());
    setResult(ok, true);
    return QByteArray::fromStdString(reader.getString(-1));
}

bool CSystemTrayDataItem::acceptsNotification(const Message *message, const char *keyPrefix)
{
    return message->source() == kControlPanelService &&
           message->type() == MessageType::Notification && paramsBeginWith(message, keyPrefix);
}

bool CSystemTrayDataItem::paramsBeginWith(const Message *message, const char *prefix)
{
    return message->params().rfind(prefix, 0) == 0;
}

CSystemTrayDataItem::KeyValue CSystemTrayDataItem::readKeyValue(const Message *message)
{
    StringParam_SCPI reader(message->params());
    KeyValue keyValue;
    keyValue.key = QByteArray::fromStdString(reader.getString(-1));
    keyValue.value = QByteArray::fromStdString(reader.getString(-1));
    return keyValue;
}

QFont CSystemTrayDataItem::iconFont()
{
    return QFont(QStringLiteral("Helvetica"), 8);
}

} // namespace glyphd
