#pragma once

#include "platform/message/message.h"
#include "tray/csystemtraydataitem.h"
#include "tray/csystemtrayicon.h"

#include <QTimer>
#include <QtTest>

#include <memory>

class SyncSenderClient;

// What the user was told, as an icon handed it to the tray.
struct Balloon
{
    QString title;
    QString text;
    int kind = QSystemTrayIcon::Information;
    int milliseconds = 10000;
    bool operator==(const Balloon &other) const
    {
        return title == other.title && text == other.text && kind == other.kind &&
               milliseconds == other.milliseconds;
    }
};
using Balloons = QList<Balloon>;

// Found by QCOMPARE through argument-dependent lookup, for a readable failure.
inline char *toString(const Balloon &balloon)
{
    return qstrdup(qPrintable(QStringLiteral("%1 | %2 | kind %3 | %4 ms")
                                  .arg(balloon.title, balloon.text)
                                  .arg(balloon.kind)
                                  .arg(balloon.milliseconds)));
}

// Any status item as the daemon makes it: built with the client and an owner object for its
// icon, offered messages as the router client's receive thread offers them, and with the
// balloons its icon handed to the tray.
class AnyItem
{
public:
    template<class Item>
    static std::unique_ptr<AnyItem> make(SyncSenderClient *client = nullptr)
    {
        std::unique_ptr<AnyItem> any(new AnyItem);
        any->m_item = std::make_unique<Item>(client, any->m_owner.get());
        QObject::connect(any->icon(), &glyphd::CSystemTrayIcon::balloonPresented,
                         [balloons = &any->balloons](const QString &title, const QString &text,
                                                     QSystemTrayIcon::MessageIcon kind, int ms) {
                             balloons->append({title, text, int(kind), ms});
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

    Balloons balloons;

private:
    AnyItem() = default;
    std::unique_ptr<QObject> m_owner = std::make_unique<QObject>();
    std::unique_ptr<glyphd::CSystemTrayDataItem> m_item; // goes before the owner of its icon
};

// One message offered to a new item and what must come of it. "given" are control-panel
// notifications offered first ("initialize": the item's start-up; "hiding": a balloon that hides
// the icon when it ends, see armAutoHide), whose balloons do not count.
// The message is offered "times" times with the same outcome each time.
constexpr int kRefused = -1; // as a state: the item does not take the message
struct MessageRow
{
    const char *item;
    QByteArrayList given;
    QByteArray params;
    int state;
    Balloons balloons = {};
    bool autoHide = false; // the icon hides when the balloon ends, or at once when it is tapped
    const char *sender = "ctrlpanelsvc";
    MessageType type = MessageType::Notification;
    const char *command = "notify";
    const char *warning = nullptr; // logged by the item
    int times = 1;
};

inline void runMessageRow(AnyItem &item, const MessageRow &row)
{
    for (const QByteArray &given : row.given) {
        if (given == "initialize")
            item.item()->initialize();
        else if (given == "hiding")
            item.armAutoHide();
        else
            QVERIFY2(item.offer(given), given.constData());
    }
    item.settle();
    const int before = item.icon()->state();
    for (int time = 0; time < row.times; ++time) {
        item.balloons.clear();
        if (row.warning)
            QTest::ignoreMessage(QtWarningMsg, row.warning);
        QCOMPARE(item.offer(row.params, row.sender, row.type, row.command), row.state != kRefused);
        QCOMPARE(item.icon()->state(), row.state == kRefused ? before : row.state);
        QCOMPARE(item.balloons, row.balloons);
    }
    QCOMPARE(item.icon()->isVisible(), item.icon()->state() != 0);
    QCOMPARE(item.autoHiding(), row.autoHide);
    if (row.autoHide) {
        item.icon()->slotMessageClicked();
        QVERIFY(!item.icon()->isVisible());
    }
}

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
