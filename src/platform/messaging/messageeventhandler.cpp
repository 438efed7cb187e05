#include "messageeventhandler.h"

#include "platform/message/message.h"

#include <QCoreApplication>
#include <QEvent>

#include <memory>

namespace platform::message {

namespace {

// Carries one message across threads; the event owns it, so a message whose receiver is
// destroyed before delivery is freed with the discarded event.
class MessageEvent : public QEvent
{
public:
    static QEvent::Type eventType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    explicit MessageEvent(Message *message)
        : QEvent(eventType())
        , m_message(message)
    {}

    Message *message() const { return m_message.get(); }

private:
    std::unique_ptr<Message> m_message;
};

} // namespace

MessageEventHandler::MessageEventHandler(QObject *parent)
    : QObject(parent)
{
    MessageEvent::eventType(); // registered once, before any receive thread asks for it
}

MessageEventHandler::~MessageEventHandler() = default;

void MessageEventHandler::handle(Message *message)
{
    QCoreApplication::postEvent(this, new MessageEvent(message));
}

void MessageEventHandler::connectionClosed() {}

void MessageEventHandler::customEvent(QEvent *event)
{
    if (event->type() == MessageEvent::eventType()) {
        processMessage(static_cast<MessageEvent *>(event)->message());
        return;
    }
    QObject::customEvent(event);
}

} // namespace platform::message
