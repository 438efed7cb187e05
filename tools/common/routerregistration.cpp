#include "common/routerregistration.h"

#include "common/disconnectdeadline.h"
#include "platform/message/client.h"
#include "platform/message/message.h"

#include <memory>

bool registerWithRouter(Client &client, int timeoutMs, std::string &error)
{
    std::unique_ptr<Message> request(Message::createMessage("register", "local"));
    request->setSeqn(client.nextSeqn());
    if (!client.send("clientmgr", request.get())) {
        error = "could not send \"register\" to clientmgr";
        return false;
    }

    DisconnectDeadline deadline(client, timeoutMs);
    for (;;) {
        std::unique_ptr<Message> reply(client.receive());
        if (!reply) {
            error = deadline.expired() ? "clientmgr did not answer \"register\" in time"
                                       : "the connection to clientmgr closed";
            return false;
        }
        // The router sends nothing else to a connection that has no name yet.
        if (reply->seqn() != request->seqn() || !isReplyType(reply->type())) {
            continue;
        }
        if (reply->type() != MessageType::Ack) {
            error = "clientmgr refused the name " + client.name() + ": " + reply->params();
            return false;
        }
        return true;
    }
}
