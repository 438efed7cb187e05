#pragma once

#include "loopbackpeer.h"

#include <optional>
#include <utility>

// A router client on a raw socket that writes its own name as source and counts its seqns.
class RouterPeer : public LoopbackPeer
{
public:
    using LoopbackPeer::LoopbackPeer;

    std::optional<Message> receive(int timeoutMs = kTimeoutMs)
    {
        Message message;
        return readFrame(message, timeoutMs) ? std::optional<Message>(message) : std::nullopt;
    }
    // Sends a command with the next seqn and returns the next frame that arrives.
    std::optional<Message> request(const std::string &destination, const std::string &command,
                                   const std::string &params = {})
    {
        return writeMessage(makeMessage(name, destination, command, params, ++seqn)) ? receive()
                                                                                     : std::nullopt;
    }
    // The name is kept only when the router acknowledges it.
    std::optional<Message> registerAs(const std::string &newName, const std::string &params = {})
    {
        const std::string oldName = std::exchange(name, newName);
        auto answer = request("clientmgr", "register", params);
        if (!answer || answer->type() != MessageType::Ack)
            name = oldName;
        return answer;
    }
    // True when a ping to the router is answered by the very next frame: this client is
    // served, and nothing else was waiting for it.
    bool pingAnsweredNext()
    {
        const auto answer = request("clientmgr", "ping");
        return answer && answer->command() == "ping" && answer->seqn() == seqn;
    }

    std::string name = "anonymous";
    std::uint32_t seqn = 0;
};
