// msgpeer: sends one message through the router and prints the replies, one line each:
// <TYPE-NAME> <type-number> <source> <params>.

#include "msgpeeroptions.h"

#include "common/disconnectdeadline.h"
#include "common/routerregistration.h"
#include "platform/message/client.h"
#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <set>
#include <unistd.h>

namespace {

enum ExitStatus { kAck = 0, kRefused = 1, kNoReply = 2, kUsageError = 64 };

// Registering is not what --timeout is about; a slow start must not pass for a silent peer.
const int kRegistrationTimeoutMs = 5000;

const char *typeName(MessageType type)
{
    switch (type) {
    case MessageType::Command:
        return "COMMAND";
    case MessageType::Ack:
        return "ACK";
    case MessageType::NAck:
        return "NACK";
    case MessageType::Notification:
        return "NOTIFICATION";
    case MessageType::Error:
        return "ERROR";
    }
    return "UNKNOWN";
}

void printReply(const Message &reply)
{
    std::string line = std::string(typeName(reply.type())) + " " +
                       std::to_string(static_cast<int>(reply.type())) + " " + reply.source();
    if (!reply.params().empty()) {
        line += " " + reply.params();
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

// Receives until the next reply to request arrives; null when the connection ends first (the
// deadline closes it).
std::unique_ptr<Message> nextReply(Client &client, const Message &request)
{
    for (;;) {
        std::unique_ptr<Message> message(client.receive());
        if (!message || (isReplyType(message->type()) && message->seqn() == request.seqn() &&
                         message->command() == request.command())) {
            return message;
        }
    }
}

// The router acknowledges a fan-out with the list of receivers; each of them answers on its
// own. Returns the exit status.
int awaitFanOutReplies(Client &client, const Message &request)
{
    std::unique_ptr<Message> routerReply = nextReply(client, request);
    if (!routerReply) {
        return kNoReply;
    }
    printReply(*routerReply);
    if (routerReply->type() != MessageType::Ack) {
        return kRefused;
    }
    StringParam_SCPI receiverList(routerReply->params());
    std::set<std::string> waitingFor;
    for (int i = 0, count = receiverList.nbParams(); i < count; ++i) {
        waitingFor.insert(receiverList.getString(i));
    }
    int status = kAck;
    while (!waitingFor.empty()) {
        std::unique_ptr<Message> reply = nextReply(client, request);
        if (!reply) {
            return kNoReply;
        }
        if (waitingFor.erase(reply->source()) == 0) {
            continue; // not one of the receivers, or a second answer
        }
        printReply(*reply);
        if (reply->type() != MessageType::Ack) {
            status = kRefused;
        }
    }
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    MsgPeerOptions options;
    bool help = false;
    std::string error;
    if (!MsgPeerOptions::parse(argc, argv, options, help, error)) {
        std::fprintf(stderr, "msgpeer: %s\n%s", error.c_str(), MsgPeerOptions::usage());
        return kUsageError;
    }
    if (help) {
        std::fputs(MsgPeerOptions::usage(), stdout);
        return 0;
    }
    std::signal(SIGPIPE, SIG_IGN);
    if (options.name.empty()) {
        options.name = "msgpeer-" + std::to_string(::getpid());
    }

    Client client(options.name);
    if (!client.connect(options.host, options.port, "msgpeer")) {
        std::fprintf(stderr, "msgpeer: cannot connect to %s:%d\n", options.host.c_str(),
                     options.port);
        return kNoReply;
    }
    if (!registerWithRouter(client, kRegistrationTimeoutMs, error)) {
        std::fprintf(stderr, "msgpeer: %s\n", error.c_str());
        return kNoReply;
    }

    Message request;
    request.setType(static_cast<MessageType>(options.type));
    request.setDestination(options.destination);
    request.setCommand(options.command);
    request.setParams(options.params);
    request.setFanOut(options.fanOut);
    if (request.type() == MessageType::Command) {
        request.setSeqn(client.nextSeqn());
    }
    if (!client.send(&request)) {
        std::fprintf(stderr, "msgpeer: could not send the message\n");
        return kNoReply;
    }
    if (request.seqn() == 0) {
        client.disconnect();
        return kAck; // nothing to wait for
    }

    int status = kNoReply;
    {
        DisconnectDeadline deadline(client, options.timeoutMs);
        if (options.fanOut) {
            status = awaitFanOutReplies(client, request);
        } else if (std::unique_ptr<Message> reply = nextReply(client, request)) {
            printReply(*reply);
            status = reply->type() == MessageType::Ack ? kAck : kRefused;
        }
    }
    if (status == kNoReply) {
        std::fprintf(stderr, "msgpeer: no reply within %d ms\n", options.timeoutMs);
    }
    client.disconnect();
    return status;
}
