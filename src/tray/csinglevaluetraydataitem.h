#pragma once

#include "csystemtraydataitem.h"
#include "servicenames.h"

#include <QVector>

class QObject;

namespace glyphd {

class CSystemTrayIcon;

// An item that shows one system-data value as one icon state: it asks the control panel for
// the value at start-up, follows the notifications of it, and refreshes its icon only when the
// state changes. A subclass describes its key, its value table and the few ways it departs
// from this pattern; what the description cannot say is an override of the virtuals here.
class CSingleValueTrayDataItem : public CSystemTrayDataItem
{
    Q_OBJECT
public:
    ~CSingleValueTrayDataItem() override;

    // Notifications from the item's source whose parameters begin with its prefix, and the
    // home page's commands that begin with its command prefix.
    bool acceptsMessage(const Message *message) override;
    // Shows the state of the key's value, or of an empty value for an item that asks nothing.
    void initialize() override;

protected:
    // One row of a value table: a value, compared whole and case-sensitively, and its state.
    struct ValueState
    {
        const char *value;
        int state;
    };

    struct Description
    {
        // Asked for at start-up. Without a key nothing is asked: the item starts from an empty
        // value and waits for its notifications.
        const char *key;
        // Accepted notifications' parameters begin with it. Without one nothing is accepted.
        const char *keyPrefix;
        // Raised by a tap on the icon. Without one the item takes the taps itself.
        const char *screenName;
        // Warning when the first value cannot be had.
        const char *initFailure;
        // The value table, first match wins, and the state of every other value.
        QVector<ValueState> states = {};
        int otherState = 0;
        // The only sender whose notifications are taken; without one, any sender's.
        const char *source = kControlPanelService;
        // Whether a notification's key must equal the item's key, not only begin with the
        // prefix, for its value to count.
        bool keyMustMatch = false;
        // Commands of the home page taken whatever their type (page shown or hidden, say).
        const char *homePageCommandPrefix = nullptr;
    };

    // The icon belongs to iconParent, or to the item when there is none. It starts hidden.
    CSingleValueTrayDataItem(SyncSenderClient *client, QObject *iconParent, const QString &title,
                             Description description);

    // The parameter after the key is the value; the key is compared again only when the
    // description asks for it.
    void processMessage(Message *message) override;

    // From the value table by default.
    virtual int stateForValue(const QByteArray &value) const;
    // Shows the state of the value, from start-up and from every notification.
    virtual void applyValue(const QByteArray &value);

    enum class Refresh { OnChange, Always };
    // By default sets and refreshes the icon only when the state changes, so that a repeated
    // value does not restart the icon's show timing.
    void showState(int state, Refresh refresh = Refresh::OnChange);

    // Whether the message is one of the home page's commands this item takes.
    bool isHomePageCommand(const Message *message) const;

    const Description &description() const { return m_description; }
    CSystemTrayIcon *trayIcon() const { return m_icon; }

private:
    const Description m_description;
    CSystemTrayIcon *const m_icon;
};

} // namespace glyphd
