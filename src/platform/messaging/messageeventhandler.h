#pragma once

#include "libclient/messagehandler.h"

#include <QObject>

namespace platform::message {

// A message handler that lives in a Qt thread: messages accepted on the router client's
// receive thread are posted to the object's own thread and processed there.
class MessageEventHandler : public QObject, public MessageHandler
{
    Q_OBJECT
public:
    explicit MessageEventHandler(QObject *parent = nullptr);
    ~MessageEventHandler() override;

    // Receive thread: posts the message to this object's thread. A message still queued when
    // the object is destroyed is freed with the pending event.
    void handle(Message *message) override;
    void connectionClosed() override;

protected:
    // This object's thread: the message is freed after the call returns.
    virtual void processMessage(Message *message) = 0;

    void customEvent(QEvent *event) override;
};

} // namespace platform::message
