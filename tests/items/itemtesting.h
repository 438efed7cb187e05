#pragma once

#include "platform/message/message.h"
#include "tray/csystemtraydataitem.h"
#include "tray/csystemtrayicon.h"

#include <QTimer>
#include <QtTest>

#include <memory>

class SyncSenderClient;

// What the user was told, as an icon handed it to the tray: "title | text | kind | ms".
inline QString balloon(const QString &title, const QString &text,
                       int kind = QSystemTrayIcon::Information, int milliseconds = 10000)
{
    return QStringLiteral("%1 | %2 | %3 | %4").arg(title, text).arg(kind).arg(milliseconds);
}

// Any status item as the daemon makes it: built with the client and an owner object for its
// icon, offered messages as the router client's receive thread offers them, and with the
// balloons its icon handed to the tray.
class AnyItem
{
public:
    template<class Item, class... Args>
    static std::unique_ptr<AnyItem> make(SyncSenderClient *client = nullptr, Args... args)
    {
        std::unique_ptr<AnyItem> any(new AnyItem);
        any->m_item = std::make_unique<Item>(client, any->m_owner.get(), args...);
        QObject::connect(any->icon(), &glyphd::CSystemTrayIcon::balloonPresented,
                         [balloons = &any->balloons](const QString &title, const QString &text,
                                                     QSystemTrayIcon::MessageIcon kind, int ms) {
                             balloons->append(balloon(title, text, kind, ms));
                         });
        return any;
    }
    glyphd::CSystemTrayDataItem *item() const { return m_item.get(); }

    // The icon belongs to the owner, or to the item itself for the items that keep it.
    glyphd::CSystemTrayIcon *icon() const
    {
        if (auto *icon = m_owner->findChild<glyphd::CSystemTrayIcon *>())
            return icon;
        return item()->findChild<glyphd::CSystemTrayIcon *>();
    }
    QTimer *timer(const char *name) const { return icon()->findChild<QTimer *>(name); }

    // True when the item took the message; it has then been processed on this thread, and the
    // icon's show delay is over, so that a balloon it held back has gone out.
    bool offer(const QByteArray &params, const char *source = "ctrlpanelsvc",
               MessageType type = MessageType::Notification, const char *command = "notify")
    {
        std::unique_ptr<Message> message(
            Message::createNotification(command, params.toStdString()));
        message->setSource(source);
        message->setType(type);
        if (!item()->acceptsMessage(message.get()))
            return false;
        item()->handle(message.release());
        QCoreApplication::sendPostedEvents(item());
        settle();
        return true;
    }
    void settle() const
    {
        if (timer("showTimer")->isActive()) {
            timer("showTimer")->stop();
            icon()->slotShowTimeout();
        }
    }
    // A balloon that hides the icon when it ends: any refresh of the icon stops that.
    void armAutoHide() const
    {
        timer("showTimer")->stop();
        icon()->showBalloon(QStringLiteral("hiding soon"), QSystemTrayIcon::Information,
                            QStringLiteral("default"), 600000, true);
    }
    bool autoHiding() const { return timer("hideTimer")->isActive(); }

    QStringList balloons;

private:
    AnyItem() = default;
    std::unique_ptr<QObject> m_owner = std::make_unique<QObject>();
    std::unique_ptr<glyphd::CSystemTrayDataItem> m_item; // goes before the owner of its icon
};

// Table-driven tests name one data row after each table row and carry only its index.
template<class Rows, class Name>
void addIndexedRows(const Rows &rows, Name name)
{
    QTest::addColumn<int>("row");
    for (int i = 0; i < int(std::size(rows)); ++i)
        QTest::newRow(qPrintable(QString::number(i) + QLatin1Char(' ') + name(rows[i]))) << i;
}
inline int fetchedRow()
{
    QFETCH(int, row);
    return row;
}
