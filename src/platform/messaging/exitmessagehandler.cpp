#include "exitmessagehandler.h"

#include "platform/message/message.h"
#include "platform/message/syncsenderclient.h"

#include <QCoreApplication>
#include <QDebug>

#include <memory>

namespace platform::message {

namespace {

const char kExitCommand[] = "exit";

// The receive thread must not touch the event loop itself: the request is queued to the
// application's thread. Should the loop already be gone (the daemon is shutting down and
// closed the connection itself), the queued call is never run and nothing is logged.
void endEventLoop(int status, const char *why)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (app == nullptr) {
        return;
    }
    QMetaObject::invokeMethod(
        app,
        [status, why] {
            if (why != nullptr) {
                qWarning("%s", why);
            }
            QCoreApplication::exit(status);
        },
        Qt::QueuedConnection);
}

} // namespace

ExitMessageHandler::ExitMessageHandler(SyncSenderClient *client)
    : m_client(client)
{
    Q_ASSERT_X(client != nullptr, "ExitMessageHandler", "client");
}

ExitMessageHandler::~ExitMessageHandler() = default;

bool ExitMessageHandler::acceptsMessage(const Message *message)
{
    return message->type() == MessageType::Command && message->command() == kExitCommand;
}

void ExitMessageHandler::handle(Message *message)
{
    std::unique_ptr<Message> request(message);
    if (request->seqn() != 0) {
        std::unique_ptr<Message> ack(Message::createAckMessage(request.get(), std::string()));
        m_client->send(ack->destination(), ack.get());
    }
    endEventLoop(0, nullptr);
}

void ExitMessageHandler::connectionClosed()
{
    endEventLoop(1, "The connection to clientmgr was closed: exiting with status 1 so that the "
                    "service manager starts the daemon again.");
}

} // namespace platform::message
