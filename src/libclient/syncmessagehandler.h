#pragma once

#include "libclient/messagehandler.h"
#include "libclient/sanitizervisiblelock.h"
#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"
#include "platform/os/cossemaphore.h"
#include "platform/os/intervalandduration.h"

#include <QList>
#include <QtGlobal>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

template<class Thread, class Mutex>
class MessageHandlerClientTemplate;

// Collects the replies to one request for MessageHandlerClientTemplate::sendAndWait(). It
// lives on the waiting thread's stack for exactly one request; the receive thread hands it
// the replies. For a fan-out request the router's acknowledgement names the receivers, and
// one reply per receiver is collected; a receiver that stays silent for one time-out is
// answered for by a synthetic "Error: timeout" reply carrying its name as source.
template<class Thread, class Mutex>
class SyncMessageHandlerTemplate : public MessageHandler
{
public:
    using Owner = MessageHandlerClientTemplate<Thread, Mutex>;

    SyncMessageHandlerTemplate(Owner *owner, Message *request);
    ~SyncMessageHandlerTemplate() override;

    SyncMessageHandlerTemplate(const SyncMessageHandlerTemplate &) = delete;
    SyncMessageHandlerTemplate &operator=(const SyncMessageHandlerTemplate &) = delete;

    bool acceptsMessage(const Message *message) override;
    void handle(Message *message) override;
    void connectionClosed() override;

    // The next reply, waiting up to timeoutMs for it, or null once no further reply is
    // expected. The caller owns the reply.
    Message *waitReply(int timeoutMs);

private:
    using Lock = SanitizerVisibleLock<Mutex>;

    bool timedTake(int timeoutMs);

    Owner *m_owner;
    // Its count equals the number of queued replies, plus one while a wake-up is pending.
    COsSemaphore m_replySignal;
    generic::timing::IntervalAndDuration m_waitTiming;

    Lock m_lock; // guards everything below
    Message *m_request;
    QList<Message *> m_replies;
    QList<std::string> m_outstanding;
    std::uint32_t m_expected;
    // Replies accepted on the receive thread and not yet through handle(): the handler
    // must not be destroyed under them.
    int m_inFlight = 0;
    std::condition_variable_any m_handedOver;
};

template<class Thread, class Mutex>
SyncMessageHandlerTemplate<Thread, Mutex>::SyncMessageHandlerTemplate(Owner *owner,
                                                                      Message *request)
    : m_owner(owner)
    , m_replySignal(0)
    , m_waitTiming(QStringLiteral("sendAndWait"))
    , m_request(request)
    , m_expected(request != nullptr && request->seqn() != 0 ? 1 : 0)
{
    Q_ASSERT_X(owner != nullptr,
               "SyncMessageHandlerTemplate(MessageHandlerClientTemplate<Thread, Mutex>*, "
               "Message*)",
               "m_pMessageHandlerClient");
}

template<class Thread, class Mutex>
SyncMessageHandlerTemplate<Thread, Mutex>::~SyncMessageHandlerTemplate()
{
    m_owner->unregisterHandler(this);
    // Unregistered, so nothing new is accepted; a reply accepted just before is let through.
    std::unique_lock<Lock> locker(m_lock);
    m_handedOver.wait(locker, [this] { return m_inFlight == 0; });
    // A reply that came after the caller stopped waiting belongs to nobody else.
    qDeleteAll(m_replies);
    m_replies.clear();
    m_outstanding.clear();
}

template<class Thread, class Mutex>
bool SyncMessageHandlerTemplate<Thread, Mutex>::acceptsMessage(const Message *message)
{
    std::lock_guard<Lock> locker(m_lock);
    const bool accepted = m_expected != 0 && m_request->seqn() != 0 &&
                          m_request->seqn() == message->seqn() && isReplyType(message->type());
    if (accepted) {
        ++m_inFlight;
    }
    return accepted;
}

template<class Thread, class Mutex>
void SyncMessageHandlerTemplate<Thread, Mutex>::handle(Message *message)
{
    std::lock_guard<Lock> locker(m_lock);
    m_replies.append(message);
    osSemaphoreGive(m_replySignal);

    if (m_request->isFanOut() && m_outstanding.isEmpty() && message->type() == MessageType::Ack) {
        // The router's acknowledgement lists the receivers, each of which answers too.
        StringParam_SCPI receivers(message->params());
        for (int i = 0; i < receivers.nbParams(); ++i) {
            m_outstanding.append(receivers.getString(i));
        }
        m_expected += static_cast<std::uint32_t>(m_outstanding.size());
    } else {
        m_outstanding.removeAll(message->source());
    }

    if (m_expected != 0) {
        --m_expected;
    }
    --m_inFlight;
    // Notified under the lock: the destructor may free the handler as soon as it sees 0.
    m_handedOver.notify_all();
}

template<class Thread, class Mutex>
void SyncMessageHandlerTemplate<Thread, Mutex>::connectionClosed()
{
    std::lock_guard<Lock> locker(m_lock);
    m_expected = 0;
    osSemaphoreGive(m_replySignal);
}

template<class Thread, class Mutex>
Message *SyncMessageHandlerTemplate<Thread, Mutex>::waitReply(int timeoutMs)
{
    std::unique_lock<Lock> locker(m_lock);
    if (m_replies.isEmpty() && m_expected != 0) {
        locker.unlock();
        const bool woken = timedTake(timeoutMs);
        locker.lock();
        if (woken) {
            // Put the count back: it belongs to the reply taken below.
            osSemaphoreGive(m_replySignal);
        } else {
            m_expected = 0;
            for (const std::string &silent : qAsConst(m_outstanding)) {
                Message *timeout = Message::createErrMessage(m_request, "\"Error: timeout\"");
                timeout->setSource(silent);
                m_replies.append(timeout);
            }
            m_outstanding.clear();
            osSemaphoreGive(m_replySignal);
        }
    }
    if (m_replies.isEmpty()) {
        return nullptr;
    }
    Message *reply = m_replies.takeFirst();
    timedTake(0);
    return reply;
}

template<class Thread, class Mutex>
bool SyncMessageHandlerTemplate<Thread, Mutex>::timedTake(int timeoutMs)
{
    m_waitTiming.start();
    const bool taken = osSemaphoreTake(m_replySignal, timeoutMs);
    m_waitTiming.stop();
    m_waitTiming.output();
    return taken;
}
