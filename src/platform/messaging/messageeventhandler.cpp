#include "messageeventhandler.h"

#include "platform/message/message.h"

#include <QCoreApplication>
#include <QEvent>

#include <atomic>
#include <memory>

#include <malloc.h>

namespace platform::message {

namespace {

// Messages are allocated on the receive thread and freed on the handler's thread, so glibc
// keeps what a burst freed in the receive thread's arena and the daemon stays at its peak
// size. Once the last message of a busy stretch is gone, that memory goes back to the system.
// Counted per message, not by a timer, so that an idle daemon never wakes for it.
constexpr int kMessagesBetweenTrims = 4096;
std::atomic<int> messagesInFlight{0};
std::atomic<int> messagesSinceTrim{0};

void messageFinished()
{
    const bool lastInFlight = messagesInFlight.fetch_sub(1) == 1;
    if (messagesSinceTrim.fetch_add(1) + 1 >= kMessagesBetweenTrims && lastInFlight) {
        messagesSinceTrim = 0;
        malloc_trim(0);
    }
}

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
    {
        ++messagesInFlight;
    }
    ~MessageEvent() override
    {
        m_message.reset();
        messageFinished();
    }

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
