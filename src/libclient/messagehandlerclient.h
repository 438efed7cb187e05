#pragma once

#include "libclient/messagehandler.h"
#include "libclient/sanitizervisiblelock.h"
#include "libclient/syncmessagehandler.h"
#include "platform/message/client.h"
#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"
#include "platform/message/syncsenderclient.h"

#include <QList>
#include <QThread>
#include <QtGlobal>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>

// The thread policy of the router client: a plain QThread.
class CThreadWrapper : public QThread
{};

// What a thread layer needs to create the receive thread: its name, priority and stack size.
struct ClientThreadDescriptor
{
    char name[128];
    int priority;
    std::uint32_t stackSize;
};

// Starts a receive thread of the policy Thread. A QThread keeps Qt's own name, priority and
// stack, so the descriptor is not applied; a policy with a thread layer of its own
// specialises this to apply it.
template<class Thread>
struct ClientThreadStarter
{
    static bool start(Thread *thread, const ClientThreadDescriptor & /*descriptor*/)
    {
        thread->start(QThread::InheritPriority);
        return true;
    }
};

template<class Thread, class Mutex>
class MessageHandlerClientTemplate;

// The receive thread: reads messages from the router and hands each to the client's
// dispatch() until the connection closes.
template<class Thread, class Mutex>
class ClientThreadTemplate : public Thread
{
public:
    ClientThreadTemplate(Client *connection, MessageHandlerClientTemplate<Thread, Mutex> *owner)
        : m_connection(connection)
        , m_owner(owner)
    {}

protected:
    void run() override
    {
        while (Message *message = m_connection->receive()) {
            m_owner->dispatch(message);
        }
        m_owner->notifyConnectionClosed();
        sanitizerHappensBefore(this); // see MessageHandlerClientTemplate::joinReceiveThread()
    }

private:
    Client *m_connection;
    MessageHandlerClientTemplate<Thread, Mutex> *m_owner;
};

// Takes every message no other handler accepted: a command is answered with the NACK
// "CMD not supported" so its sender does not wait in vain; anything else is dropped.
template<class Thread, class Mutex>
class DefaultMessageHandlerTemplate : public MessageHandler
{
public:
    explicit DefaultMessageHandlerTemplate(MessageHandlerClientTemplate<Thread, Mutex> *owner)
        : m_owner(owner)
    {}

    bool acceptsMessage(const Message * /*message*/) override { return true; }

    void handle(Message *message) override
    {
        if (message->type() == MessageType::Command) {
            Message *nack = Message::createNAckMessage(message, "\"CMD not supported\"");
            m_owner->send(nack->destination(), nack);
            delete nack;
        }
        delete message;
    }

    void connectionClosed() override {}

private:
    MessageHandlerClientTemplate<Thread, Mutex> *m_owner;
};

// The process's connection to the message router: registers with it, offers every incoming
// message to the registered handlers on a receive thread (first acceptor wins, then the
// default handler), and sends, asynchronously or waiting for the reply.
//
// Locks: m_handlerLock guards the handler list and the default handler and is held while
// acceptsMessage() runs, never during handle(); m_clientLock serialises every call into the
// connection. The two are never held together.
template<class Thread, class Mutex>
class MessageHandlerClientTemplate : public SyncSenderClient
{
public:
    explicit MessageHandlerClientTemplate(const std::string &clientName);
    ~MessageHandlerClientTemplate() override;

    MessageHandlerClientTemplate(const MessageHandlerClientTemplate &) = delete;
    MessageHandlerClientTemplate &operator=(const MessageHandlerClientTemplate &) = delete;

    Message *sendAndWait(const std::string &destination, Message *message, int timeoutMs) override;
    Message *takePendingReply() override;
    // scope: 0 none, -1 all, otherwise bit 0 local and bit 1 remote.
    bool connect(const std::string &host, int port, const std::string &text, int scope, bool force,
                 const std::string &proxyHost, int proxyPort) override;
    bool disconnect() override;
    bool isConnected() override { return m_connected; }
    std::uint32_t nextSeqn() override;
    bool send(Message *message) override;
    bool send(const std::string &destination, Message *message) override;
    Message *sendAndWait(Message *message, int timeoutMs) override;

    // Receive thread: offers message to the handlers; the one that takes it owns it.
    virtual void dispatch(Message *message);
    // Receive thread: tells every handler that the connection has closed.
    virtual void notifyConnectionClosed();

    // Handlers are searched front to back; the client never owns them.
    void registerHandler(MessageHandler *handler, bool atFront);
    // Removes every registration of handler.
    void unregisterHandler(MessageHandler *handler);
    // Takes what no handler accepts; the previous one is not deleted. May be null.
    void setDefaultHandler(MessageHandler *handler);

    int handlerCount();

private:
    using Lock = SanitizerVisibleLock<Mutex>;

    bool startReceiveThread();
    void joinReceiveThread();
    bool registerWithRouter(int scope, bool force, const std::string &proxyHost, int proxyPort);

    Client m_connection;
    ClientThreadTemplate<Thread, Mutex> *m_receiveThread = nullptr;
    QList<MessageHandler *> m_handlers;
    Lock m_handlerLock;
    Lock m_clientLock;
    MessageHandler *m_defaultHandler = nullptr;
    int m_threadPriority = 0;
    std::uint32_t m_threadStackSize = 61440;
    bool m_connected = false;
    // Further replies of the last sendAndWait(); the client never deletes them.
    QList<Message *> m_pendingReplies;
};

namespace messagehandlerclient_detail {
// Numbers the receive threads of the process: 1, 2, ...
inline std::atomic<int> threadCounter{0};
constexpr int kRouterRegistrationTimeoutMs = 120000;
const char kRouterName[] = "clientmgr";
} // namespace messagehandlerclient_detail

template<class Thread, class Mutex>
MessageHandlerClientTemplate<Thread, Mutex>::MessageHandlerClientTemplate(
    const std::string &clientName)
    : m_connection(clientName)
{}

template<class Thread, class Mutex>
MessageHandlerClientTemplate<Thread, Mutex>::~MessageHandlerClientTemplate()
{
    if (m_connected) {
        disconnect();
    } else if (m_receiveThread != nullptr && m_receiveThread->isRunning()) {
        // A failed router registration leaves the receive thread reading: stop it before
        // its object goes.
        m_connection.disconnect();
        joinReceiveThread();
    }
    m_pendingReplies.clear();
    m_handlers.clear();
    delete m_receiveThread;
}

template<class Thread, class Mutex>
Message *MessageHandlerClientTemplate<Thread, Mutex>::sendAndWait(const std::string &destination,
                                                                  Message *message, int timeoutMs)
{
    message->setDestination(destination);
    return sendAndWait(message, timeoutMs);
}

template<class Thread, class Mutex>
Message *MessageHandlerClientTemplate<Thread, Mutex>::takePendingReply()
{
    return m_pendingReplies.isEmpty() ? nullptr : m_pendingReplies.takeFirst();
}

template<class Thread, class Mutex>
bool MessageHandlerClientTemplate<Thread, Mutex>::connect(const std::string &host, int port,
                                                          const std::string &text, int scope,
                                                          bool force, const std::string &proxyHost,
                                                          int proxyPort)
{
    if (m_connected) {
        std::cerr << "Already connected " << host << " on port " << port << std::endl;
        return false;
    }
    if (!m_connection.connect(host, port, text)) {
        std::cerr << "Can't connected " << host << " on port " << port << std::endl;
        return false;
    }
    if (!startReceiveThread()) {
        std::cerr << "Failed to create client thread " << host << " on port " << port << std::endl;
        return false;
    }
    if (!registerWithRouter(scope, force, proxyHost, proxyPort)) {
        std::cerr << "Failed to register with host(s) " << host << "," << proxyHost
                  << " on port(s) " << port << "," << proxyPort << std::endl;
        return false;
    }
    m_connected = true;
    return true;
}

template<class Thread, class Mutex>
bool MessageHandlerClientTemplate<Thread, Mutex>::disconnect()
{
    if (!m_connected) {
        return false;
    }
    Message *unregister = Message::createMessage("unregister", std::string());
    send(messagehandlerclient_detail::kRouterName, unregister);
    delete unregister;
    {
        std::lock_guard<Lock> locker(m_clientLock);
        m_connection.disconnect();
    }
    m_connected = false;
    if (m_receiveThread != nullptr) {
        joinReceiveThread();
    }
    return true;
}

template<class Thread, class Mutex>
std::uint32_t MessageHandlerClientTemplate<Thread, Mutex>::nextSeqn()
{
    std::lock_guard<Lock> locker(m_clientLock);
    return m_connection.nextSeqn();
}

template<class Thread, class Mutex>
bool MessageHandlerClientTemplate<Thread, Mutex>::send(Message *message)
{
    std::lock_guard<Lock> locker(m_clientLock);
    return m_connection.send(message);
}

template<class Thread, class Mutex>
bool MessageHandlerClientTemplate<Thread, Mutex>::send(const std::string &destination,
                                                       Message *message)
{
    std::lock_guard<Lock> locker(m_clientLock);
    return m_connection.send(destination, message);
}

template<class Thread, class Mutex>
Message *MessageHandlerClientTemplate<Thread, Mutex>::sendAndWait(Message *message, int timeoutMs)
{
    message->setSeqn(nextSeqn());
    SyncMessageHandlerTemplate<Thread, Mutex> handler(this, message);
    // At the front: the reply must reach the waiting caller before any item sees it.
    registerHandler(&handler, true);
    m_pendingReplies.clear();

    if (send(message)) {
        while (Message *reply = handler.waitReply(timeoutMs)) {
            m_pendingReplies.append(reply);
        }
    }
    if (m_pendingReplies.isEmpty()) {
        m_pendingReplies.append(Message::createErrMessage(message, "\"Error: timeout\""));
    }
    return m_pendingReplies.takeFirst();
}

template<class Thread, class Mutex>
void MessageHandlerClientTemplate<Thread, Mutex>::dispatch(Message *message)
{
    std::unique_lock<Lock> locker(m_handlerLock);
    for (MessageHandler *handler : qAsConst(m_handlers)) {
        if (handler->acceptsMessage(message)) {
            locker.unlock();
            handler->handle(message);
            return;
        }
    }
    MessageHandler *fallback = m_defaultHandler;
    locker.unlock();
    if (fallback == nullptr) {
        delete message;
        return;
    }
    fallback->handle(message);
}

template<class Thread, class Mutex>
void MessageHandlerClientTemplate<Thread, Mutex>::notifyConnectionClosed()
{
    std::lock_guard<Lock> locker(m_handlerLock);
    for (MessageHandler *handler : qAsConst(m_handlers)) {
        handler->connectionClosed();
    }
}

template<class Thread, class Mutex>
void MessageHandlerClientTemplate<Thread, Mutex>::registerHandler(MessageHandler *handler,
                                                                  bool atFront)
{
    Q_ASSERT_X(handler != nullptr, "registerHandler(MessageHandler*, bool)", "pMessageHandler");
    std::lock_guard<Lock> locker(m_handlerLock);
    if (atFront) {
        m_handlers.prepend(handler);
    } else {
        m_handlers.append(handler);
    }
}

template<class Thread, class Mutex>
void MessageHandlerClientTemplate<Thread, Mutex>::unregisterHandler(MessageHandler *handler)
{
    if (handler == nullptr) {
        std::cerr << "MessageHandlerClientTemplate::unregisterHandler(MessageHandler "
                     "*pMessageHandler): "
                  << "pMessageHandler is NULL" << std::endl;
        return;
    }
    std::lock_guard<Lock> locker(m_handlerLock);
    m_handlers.removeAll(handler);
}

template<class Thread, class Mutex>
void MessageHandlerClientTemplate<Thread, Mutex>::setDefaultHandler(MessageHandler *handler)
{
    std::lock_guard<Lock> locker(m_handlerLock);
    m_defaultHandler = handler;
}

template<class Thread, class Mutex>
int MessageHandlerClientTemplate<Thread, Mutex>::handlerCount()
{
    std::lock_guard<Lock> locker(m_handlerLock);
    return m_handlers.size();
}

template<class Thread, class Mutex>
bool MessageHandlerClientTemplate<Thread, Mutex>::startReceiveThread()
{
    delete m_receiveThread;
    m_receiveThread = new ClientThreadTemplate<Thread, Mutex>(&m_connection, this);

    ClientThreadDescriptor descriptor{};
    std::snprintf(descriptor.name, sizeof descriptor.name, "MessageHandlerClientTemplate#%d",
                  ++messagehandlerclient_detail::threadCounter);
    descriptor.priority = m_threadPriority;
    descriptor.stackSize = m_threadStackSize;
    return ClientThreadStarter<Thread>::start(m_receiveThread, descriptor);
}

template<class Thread, class Mutex>
void MessageHandlerClientTemplate<Thread, Mutex>::joinReceiveThread()
{
    m_receiveThread->wait();
    // QThread::wait() joins through Qt's own wait condition, which the sanitizer cannot see.
    sanitizerHappensAfter(m_receiveThread);
}

template<class Thread, class Mutex>
bool MessageHandlerClientTemplate<Thread, Mutex>::registerWithRouter(int scope, bool force,
                                                                     const std::string &proxyHost,
                                                                     int proxyPort)
{
    StringParam_SCPI params;
    if (scope == 0) {
        params.addToken("none");
    } else if (scope == -1) {
        params.addToken("all");
    } else {
        if (scope & 1) {
            params.addToken("local");
        }
        if (scope & 2) {
            params.addToken("remote");
        }
    }
    if (force) {
        params.addToken("force");
    }
    if (!proxyHost.empty()) {
        params.addToken("proxyHost");
        params.addToken(proxyHost);
        params.addToken("proxyPort");
        params.addInt32(proxyPort);
    }

    Message *request = Message::createMessage("register", params.getParams());
    Message *reply = sendAndWait(messagehandlerclient_detail::kRouterName, request,
                                 messagehandlerclient_detail::kRouterRegistrationTimeoutMs);
    const bool registered = reply != nullptr && reply->type() == MessageType::Ack;
    delete request;
    delete reply;
    return registered;
}
