#pragma once

#include "platform/message/message.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

// A message as a raw peer writes it, every field given.
inline Message makeMessage(const std::string &source, const std::string &destination,
                           const std::string &command, const std::string &params = {},
                           std::uint32_t seqn = 0, MessageType type = MessageType::Command)
{
    Message message;
    message.setSource(source);
    message.setDestination(destination);
    message.setCommand(command);
    message.setParams(params);
    message.setSeqn(seqn);
    message.setType(type);
    return message;
}

// A router client on a raw TCP connection to 127.0.0.1, so that a test can write anything: a
// false source, broken frames, or nothing read at all. Its requests carry its own name as source
// and count their seqns. No Qt; every wait is bounded.
class RouterPeer
{
public:
    static constexpr int kTimeoutMs = 10000;

    // Connects to port. receiveBuffer > 0 shrinks the receive buffer first, so that a peer
    // that stops reading backs up early.
    explicit RouterPeer(int port, int receiveBuffer = 0);
    ~RouterPeer();
    RouterPeer(const RouterPeer &) = delete;
    RouterPeer &operator=(const RouterPeer &) = delete;

    // The local port of the connection, as the router names it in its log.
    int port() const { return m_port; }
    // The next frame; nothing on time-out, end of stream or a malformed frame.
    std::optional<Message> receive(int timeoutMs = kTimeoutMs);
    // True once the other side has closed the connection; what still arrives is discarded.
    bool waitForClose(int timeoutMs = kTimeoutMs);
    bool write(const std::string &bytes);
    bool writeMessage(const Message &message);
    void closeConnection();

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

private:
    // Appends what arrives within timeoutMs to m_buffer; false on time-out or end of stream.
    bool readMore(int timeoutMs);

    int m_fd = -1;
    int m_port = 0;
    bool m_ended = false;
    std::string m_buffer;
};
