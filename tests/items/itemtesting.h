#pragma once

#include "platform/message/message.h"
#include "tray/csystemtraydataitem.h"
#include "tray/csystemtrayicon.h"

#include <QCoreApplication>
#include <QObject>

#include <memory>

class SyncSenderClient;

// One status item as the daemon makes it: built with the client and an owner object for its
// icon, and offered messages as the router client's receive thread offers them.
template<class Item>
class ItemUnderTest
{
public:
    explicit ItemUnderTest(SyncSenderClient *client)
        : m_owner(std::make_unique<QObject>())
        , m_item(std::make_unique<Item>(client, m_owner.get()))
    {}
    ~ItemUnderTest()
    {
        m_item.reset();
        m_owner.reset();
    }

    Item *item() const { return m_item.get(); }
    Item *operator->() const { return m_item.get(); }

    // The icon belongs to the owner, or to the item itself for the items that keep it.
    glyphd::CSystemTrayIcon *icon() const
    {
        if (auto *icon = m_owner->findChild<glyphd::CSystemTrayIcon *>())
            return icon;
        return m_item->template findChild<glyphd::CSystemTrayIcon *>();
    }

    // True when the item took the message; it has then been processed on this thread.
    bool offer(const QByteArray &params, const char *source = "ctrlpanelsvc",
               MessageType type = MessageType::Notification, const char *command = "notify")
    {
        std::unique_ptr<Message> message(
            Message::createNotification(command, params.toStdString()));
        message->setSource(source);
        message->setType(type);
        if (!m_item->acceptsMessage(message.get()))
            return false;
        m_item->handle(message.release());
        QCoreApplication::sendPostedEvents(m_item.get());
        return true;
    }

private:
    std::unique_ptr<QObject> m_owner;
    std::unique_ptr<Item> m_item;
};
