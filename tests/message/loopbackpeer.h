#pragma once

#include "platform/message/message.h"

#include <string>

// The far end of a Client in tests: a listening socket on 127.0.0.1 with a kernel-chosen port
// that accepts one connection and reads and writes raw frames. Every wait is bounded.
class LoopbackPeer
{
public:
    static constexpr int kTimeoutMs = 10000;

    LoopbackPeer();
    ~LoopbackPeer();

    LoopbackPeer(const LoopbackPeer &) = delete;
    LoopbackPeer &operator=(const LoopbackPeer &) = delete;

    int port() const { return m_port; }

    bool accept(int timeoutMs = kTimeoutMs);
    // The next frame from the client; false on time-out, end of stream or a malformed frame.
    bool readFrame(Message &message, int timeoutMs = kTimeoutMs);
    // True once the client has closed its side (end of stream) within the time-out.
    bool waitForClose(int timeoutMs = kTimeoutMs);
    bool write(const std::string &bytes);
    bool writeMessage(const Message &message);
    // Closes the accepted connection.
    void closeConnection();

private:
    // Appends what arrives next to m_buffer; false on time-out, end of stream or error.
    bool readMore(int timeoutMs);

    int m_listenFd = -1;
    int m_fd = -1;
    int m_port = 0;
    std::string m_buffer;
};
