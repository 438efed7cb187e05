#pragma once

#include "libclient/messagehandlerclient.h"

#include <QList>
#include <QMutex>

#include <string>

class QObject;

namespace platform::message {
class ExitMessageHandler;
}

namespace glyphd {

class CSystemTrayDataItem;

// The process's one router client and the owner of every tray item: waits for the tray,
// creates the items that fit the instrument, and after connecting registers with the
// control panel.
class CSystemTrayDaemon : public MessageHandlerClientTemplate<CThreadWrapper, QMutex>
{
public:
    // Blocks until the desktop offers a system tray, then creates the items.
    CSystemTrayDaemon(const std::string &clientName, QObject *application);
    ~CSystemTrayDaemon() override;

    // Connects and registers with the router, then registers with the control panel, again
    // and again for as long as it answers NACK. False only when the router connection fails.
    bool connect(const std::string &host, int port, const std::string &text, int scope, bool force,
                 const std::string &proxyHost, int proxyPort) override;

    // Asks every item, in creation order, for its first value.
    void initializeItems();

    const QList<CSystemTrayDataItem *> &items() const { return m_items; }

private:
    void addItem(CSystemTrayDataItem *item);
    bool registerWithControlPanel();

    QList<CSystemTrayDataItem *> m_items;
    platform::message::ExitMessageHandler *m_exitHandler = nullptr;
    DefaultMessageHandlerTemplate<CThreadWrapper, QMutex> *m_defaultHandler = nullptr;
};

} // namespace glyphd
