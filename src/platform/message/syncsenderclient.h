#pragma once

#include <cstdint>
#include <string>

class Message;

// What a component needs from the process's router client: asynchronous sends and a
// synchronous request that waits for its reply.
class SyncSenderClient
{
public:
    virtual ~SyncSenderClient();

    // Sets the destination and waits as sendAndWait(message, timeoutMs). Always returns a
    // reply, owned by the caller; success is MessageType::Ack. A time-out, a failed send or a
    // closed connection give the error reply "\"Error: timeout\"".
    virtual Message *sendAndWait(const std::string &destination, Message *message,
                                 int timeoutMs) = 0;
    // Further replies to the last fan-out request, oldest first; null when none is left.
    virtual Message *takePendingReply() = 0;

    virtual bool connect(const std::string &host, int port, const std::string &text, int scope,
                         bool force, const std::string &proxyHost, int proxyPort) = 0;
    virtual bool disconnect() = 0;
    virtual bool isConnected() = 0;
    virtual std::uint32_t nextSeqn() = 0;
    virtual bool send(Message *message) = 0;
    virtual bool send(const std::string &destination, Message *message) = 0;
    virtual Message *sendAndWait(Message *message, int timeoutMs) = 0;
};
