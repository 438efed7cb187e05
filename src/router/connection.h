#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

class Message;

// One client socket of the router: a non-blocking TCP connection with the bytes read but not
// yet decoded and the frames written to it but not yet taken by the kernel. The connection
// does no routing; it only moves bytes and splits them into frames.
class Connection
{
public:
    // Takes ownership of fd, which must be a connected, non-blocking socket.
    Connection(std::uint64_t id, int fd, std::string peer);
    ~Connection();

    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    std::uint64_t id() const { return m_id; }
    int fd() const { return m_fd; }
    // "address:port" of the other end, for log lines.
    const std::string &peer() const { return m_peer; }

    // The name this connection registered, empty while it has none.
    const std::string &name() const { return m_name; }
    void setName(const std::string &name) { m_name = name; }
    bool isRegistered() const { return !m_name.empty(); }

    enum class ReadStatus {
        Open,   // everything the kernel had (up to the budget) is in the input buffer
        Closed, // the peer closed its end or the socket failed; buffered frames stay readable
    };
    // Reads what the socket holds, at most maxBytes, so one busy client cannot starve others.
    ReadStatus readAvailable(std::size_t maxBytes);

    enum class FrameStatus { Complete, NeedMore, Malformed };
    // Takes the next whole frame off the input buffer. On Malformed, error says why and the
    // connection must be closed.
    FrameStatus takeFrame(Message &message, std::string &error);

    // Appends an encoded frame to the output queue; flush() writes it.
    void appendFrame(const std::string &bytes) { m_output.append(bytes); }
    // True when this call marked the connection as waiting for the end-of-round flush.
    bool markFlushPending() { return !std::exchange(m_flushPending, true); }
    void clearFlushPending() { m_flushPending = false; }
    // Writes queued bytes until the kernel refuses more. Returns false when the socket failed.
    bool flush();
    // Bytes waiting in the output queue.
    std::size_t queuedBytes() const { return m_output.size() - m_outputOffset; }
    // Bytes received that do not yet make a whole frame.
    std::size_t pendingInputBytes() const { return m_input.size() - m_inputOffset; }

    // Whether the event loop currently watches this socket for writability; kept here so the
    // loop changes its registration only when the need changes.
    bool isWatchingWrite() const { return m_watchingWrite; }
    void setWatchingWrite(bool watching) { m_watchingWrite = watching; }

    // Closed connections stay alive until the event loop finishes its current round, so code
    // further up the stack may still look at them; they take no more input or output.
    bool isClosed() const { return m_fd < 0; }
    void close();

private:
    const std::uint64_t m_id;
    int m_fd;
    const std::string m_peer;
    std::string m_name;

    std::string m_input;
    std::size_t m_inputOffset = 0;
    std::string m_output;
    std::size_t m_outputOffset = 0;
    bool m_watchingWrite = false;
    bool m_flushPending = false;
};
