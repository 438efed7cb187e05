#pragma once

class Message;

// Something that takes messages from the router client's receive thread.
class MessageHandler
{
public:
    virtual ~MessageHandler() = default;

    // Called on the receive thread with the client's handler lock held: decide quickly, from
    // the message alone, and never (un)register handlers here.
    virtual bool acceptsMessage(const Message *message) = 0;
    // Called on the receive thread without the lock; the handler now owns message.
    virtual void handle(Message *message) = 0;
    // Called on every registered handler once the receive thread ends.
    virtual void connectionClosed() = 0;
};
