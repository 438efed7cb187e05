#pragma once

#include "platform/message/message.h"

#include <cstdint>
#include <string>

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

// A TCP connection to 127.0.0.1 that reads and writes raw frames, so a test can be a router
// client that writes anything. No Qt; every wait is bounded.
class LoopbackPeer
{
public:
    static constexpr int kTimeoutMs = 10000;

    // Connects to port. receiveBuffer > 0 shrinks the receive buffer first, so that a peer
    // that stops reading backs up early.
    explicit LoopbackPeer(int port, int receiveBuffer = 0);
    ~LoopbackPeer();
    LoopbackPeer(const LoopbackPeer &) = delete;
    LoopbackPeer &operator=(const LoopbackPeer &) = delete;

    // The local port of the connection, as the router names it in its log.
    int port() const { return m_port; }
    bool isConnected() const { return m_fd >= 0; }
    // The next frame; false on time-out, end of stream or a malformed frame.
    bool readFrame(Message &message, int timeoutMs = kTimeoutMs);
    // True once the other side has closed the connection; what still arrives is discarded.
    bool waitForClose(int timeoutMs = kTimeoutMs);
    bool write(const std::string &bytes);
    bool writeMessage(const Message &message);
    void closeConnection();

private:
    // Appends what arrives within timeoutMs to m_buffer; false on time-out or end of stream.
    bool readMore(int timeoutMs);

    int m_fd = -1;
    int m_port = 0;
    bool m_ended = false;
    std::string m_buffer;
};
