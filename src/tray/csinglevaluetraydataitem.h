#pragma once

#include "csystemtraydataitem.h"

class QObject;

namespace glyphd {

class CSystemTrayIcon;

// An item that shows one system-data value as one icon state: it asks the control panel for
// the value at start-up, follows the notifications of it, and refreshes its icon only when the
// state changes. A subclass states its key and how a value maps to a state; departures from
// this pattern are overrides of the few virtuals here.
class CSingleValueTrayDataItem : public CSystemTrayDataItem
{
    Q_OBJECT
public:
    ~CSingleValueTrayDataItem() override;

    bool acceptsMessage(const Message *message) override;
    void initialize() override;

protected:
    struct Description
    {
        const char *key;         // asked for at start-up
        const char *keyPrefix;   // accepted notifications' parameters begin with it
        const char *screenName;  // raised by a tap on the icon
        const char *initFailure; // warning when the first value cannot be had
    };

    // The icon belongs to iconParent, or to the item when there is none. It starts hidden.
    CSingleValueTrayDataItem(SyncSenderClient *client, QObject *iconParent, const QString &title,
                             const Description &description);

    // The parameter after the key is the value; the key is not compared again, acceptsMessage
    // has looked at it.
    void processMessage(Message *message) override;

    virtual int stateForValue(const QByteArray &value) const = 0;
    // Shows the state of the value, from start-up and from every notification.
    virtual void applyValue(const QByteArray &value);
    // Sets and refreshes the icon only when the state changes, so that a repeated value does
    // not restart the icon's show timing.
    void showState(int state);

    const Description &description() const { return m_description; }
    CSystemTrayIcon *trayIcon() const { return m_icon; }

private:
    const Description m_description;
    CSystemTrayIcon *const m_icon;
};

} // namespace glyphd
