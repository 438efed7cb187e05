#pragma once

#include "platform/message/message.h"
#include "platform/message/syncsenderclient.h"

#include <functional>
#include <string>
#include <vector>

// Stands in for the router client in unit tests: records every synchronous send and answers
// it with whatever reply the test chooses (none by default).
class FakeSyncSender : public SyncSenderClient
{
public:
    struct Sent
    {
        std::string destination;
        Message message;
        int timeoutMs;
    };

    std::vector<Sent> sent;
    std::function<Message *(const Message &request)> answer;

    static std::function<Message *(const Message &)> replyWith(MessageType type,
                                                               const std::string &params)
    {
        return [type, params](const Message &request) {
            Message *reply = Message::createAckMessage(&request, params);
            reply->setType(type);
            return reply;
        };
    }

    Message *sendAndWait(const std::string &destination, Message *message, int timeoutMs) override
    {
        sent.push_back({destination, *message, timeoutMs});
        return answer ? answer(*message) : nullptr;
    }

    Message *takePendingReply() override { return nullptr; }
    bool connect(const std::string &, int, const std::string &, int, bool, const std::string &,
                 int) override
    {
        return false;
    }
    bool disconnect() override { return false; }
    bool isConnected() override { return false; }
    std::uint32_t nextSeqn() override { return 1; }
    bool send(Message *) override { return false; }
    bool send(const std::string &, Message *) override { return false; }
    Message *sendAndWait(Message *, int) override { return nullptr; }
};
