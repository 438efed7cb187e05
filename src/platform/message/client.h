#pragma once

#include "message.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

// One connection to the message router. send() may be called from any thread while another
// thread blocks in receive(); disconnect() wakes a blocked receive(), which then returns null.
class Client
{
public:
    explicit Client(const std::string &name);
    virtual ~Client();

    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    const std::string &name() const { return m_name; }

    // Opens the TCP connection to host:port. text is a free description of the connection,
    // used in log lines only. Returns false (and writes why on standard error) on failure.
    bool connect(const std::string &host, int port, const std::string &text);
    // Shuts the connection down. Returns false when it was not open.
    bool disconnect();
    bool isOpen() const;

    // 1, 2, 3, ...; skips 0 when it wraps.
    std::uint32_t nextSeqn();

    // Sets the message's source to this client's name and writes its frame. The message stays
    // the caller's. False when not connected, on a write error or when it cannot be framed.
    bool send(Message *message);
    // The same after setting the destination.
    bool send(const std::string &destination, Message *message);

    // Blocks until the next whole frame arrives and returns it (the caller owns it), or
    // returns null once the connection is closed, broken or sends a malformed frame.
    virtual Message *receive();

private:
    bool writeAll(const std::string &bytes);
    bool fillBuffer();
    // Ends the connection for both directions; the descriptor stays until closeSocket().
    void markBroken();
    // Closes the descriptor; only where no other thread can be using it any more.
    void closeSocket();
    void logError(const std::string &what) const;

    const std::string m_name;
    std::atomic<int> m_fd{-1};
    std::atomic<bool> m_open{false}; // connected and not yet shut down
    std::mutex m_sendMutex;          // one frame at a time on the socket
    std::mutex m_seqnMutex;
    std::uint32_t m_seqn = 0;
    std::string m_readBuffer; // touched only by the receiving thread
    std::size_t m_readOffset = 0;
    std::string m_peer; // host:port and description, for log lines
};
