#pragma once

#include "platform/message/message.h"

#include <cstdint>
#include <memory>
#include <string>

// How long a test waits for something that must happen; generous for loaded machines.
constexpr int kWaitMs = 10000;

// A command (or, with type, any message) as a client would write it.
Message makeMessage(const std::string &source, const std::string &destination,
                    const std::string &command, const std::string &params = std::string(),
                    std::uint32_t seqn = 0, MessageType type = MessageType::Command);

// A client of the router on a raw TCP socket, so tests can write anything (a false source,
// broken frames) and wait for answers with a time-out.
class TestPeer
{
public:
    TestPeer() = default;
    ~TestPeer();

    TestPeer(const TestPeer &) = delete;
    TestPeer &operator=(const TestPeer &) = delete;

    // receiveBuffer > 0 shrinks the socket's receive buffer (set before connecting, so the
    // advertised window stays small too).
    bool connect(int port, int receiveBuffer = 0);
    void close();

    bool send(const Message &message);
    bool sendRaw(const std::string &bytes);

    // The next frame, or null after timeoutMs, on a closed connection or a malformed frame.
    std::unique_ptr<Message> receive(int timeoutMs = kWaitMs);
    // True once the router has closed the connection; reads and discards until then.
    bool waitClosed(int timeoutMs = kWaitMs);

    // Sends "register" for name with the next seqn and returns the router's answer.
    std::unique_ptr<Message> sendRegister(const std::string &name,
                                          const std::string &params = std::string());
    // The same; true when the answer is an ACK.
    bool registerAs(const std::string &name, const std::string &params = std::string());
    // Sends a command with the next seqn (as name()) and returns the next frame received.
    std::unique_ptr<Message> request(const std::string &destination, const std::string &command,
                                     const std::string &params = std::string());
    // Proves nothing else is waiting: a round trip to the router whose answer must be the
    // very next frame.
    bool nothingPending();

    // The name of the last successful registration; the source this peer writes.
    const std::string &name() const { return m_name; }
    std::uint32_t nextSeqn() { return ++m_seqn; }
    int fd() const { return m_fd; }

private:
    bool fill(int timeoutMs);

    int m_fd = -1;
    std::string m_name;
    std::uint32_t m_seqn = 0;
    std::string m_buffer;
    bool m_closed = false;
};
