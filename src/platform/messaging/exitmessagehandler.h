#pragma once

#include "libclient/messagehandler.h"

class SyncSenderClient;

namespace platform::message {

// Ends the Qt event loop on the router's say-so. The command "exit" is acknowledged and ends
// the loop with status 0. When the router connection closes underneath the process, the loop
// ends with status 1, so that the service manager restarts the daemon and it registers anew.
class ExitMessageHandler : public MessageHandler
{
public:
    explicit ExitMessageHandler(SyncSenderClient *client);
    ~ExitMessageHandler() override;

    bool acceptsMessage(const Message *message) override;
    void handle(Message *message) override;
    void connectionClosed() override;

private:
    SyncSenderClient *m_client;
};

} // namespace platform::message
