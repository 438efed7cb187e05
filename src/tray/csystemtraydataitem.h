#pragma once

#include "platform/messaging/messageeventhandler.h"

#include <QByteArray>
#include <QFont>
#include <QString>

class SyncSenderClient;

namespace glyphd {

class CSystemTrayIcon;

// The base of every status item in the tray: it learns values from the control panel, shows
// them on its tray icon, and raises its settings page when the icon is tapped.
class CSystemTrayDataItem : public platform::message::MessageEventHandler
{
    Q_OBJECT
public:
    explicit CSystemTrayDataItem(SyncSenderClient *client);
    ~CSystemTrayDataItem() override;

    // Receive thread: decide from the message alone whether it is this item's.
    bool acceptsMessage(const Message *message) override = 0;
    // Asks the control panel for the item's first value and shows it.
    virtual void initialize() = 0;
    // Default: ask the home page to raise the item's screen.
    virtual void onIconClicked();

public slots:
    void slotIconClicked();

protected:
    // Connects the icon's taps to this item; screenName is what a tap raises.
    void attachTrayIcon(CSystemTrayIcon *icon, const QString &screenName);
    // Synchronous "get" of one system-data value from the control panel (1000 ms at most).
    QByteArray requestValue(const QByteArray &key, bool *ok = nullptr);

    // Sends a command to the home page without waiting: a silent home page must not hold up
    // the bar. The default tap sends "raise_screen" with the screen name through it.
    void sendToHomePage(const char *command, const QByteArray &params);

    SyncSenderClient *client() const { return m_client; }
    const QString &screenName() const { return m_screenName; }

    // The usual acceptsMessage(): a notification from the control panel whose parameters
    // begin with keyPrefix.
    static bool acceptsNotification(const Message *message, const char *keyPrefix);
    // For the items that take a key from any sender.
    static bool paramsBeginWith(const Message *message, const char *prefix);

    // The key and the value of a notification's parameter text (KEY,"value"), quotes removed.
    struct KeyValue
    {
        QByteArray key;
        QByteArray value;
    };
    static KeyValue readKeyValue(const Message *message);

    // Every item's icon uses it for the text it draws.
    static QFont iconFont();

private:
    SyncSenderClient *m_client;
    QString m_screenName;
};

} // namespace glyphd
