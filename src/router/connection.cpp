#include "router/connection.h"

#include "platform/message/frame.h"
#include "platform/message/message.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t kReadChunk = 64 * 1024;
// Consumed bytes at the front of a buffer are dropped once there are this many of them and
// they make up more than half of it, so compaction stays cheap on average.
constexpr std::size_t kCompactThreshold = 64 * 1024;

// An idle connection keeps at most this much buffer capacity; a burst's worth is given back
// once it has drained, so memory follows the traffic and not the number of clients.
constexpr std::size_t kIdleCapacity = 4 * 1024;

void compact(std::string &buffer, std::size_t &offset)
{
    if (offset == buffer.size()) {
        if (buffer.capacity() > kIdleCapacity)
            std::string().swap(buffer);
        else
            buffer.clear();
        offset = 0;
    } else if (offset >= kCompactThreshold && offset * 2 > buffer.size()) {
        buffer.erase(0, offset);
        offset = 0;
    }
}

} // namespace

Connection::Connection(std::uint64_t id, int fd, std::string peer)
    : m_id(id)
    , m_fd(fd)
    , m_peer(std::move(peer))
{}

Connection::~Connection()
{
    close();
}

void Connection::close()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
    m_output.clear();
    m_outputOffset = 0;
}

Connection::ReadStatus Connection::readAvailable(std::size_t maxBytes)
{
    std::size_t total = 0;
    // One scratch buffer for every connection of the loop: growing each connection's input
    // by a whole chunk per read would zero-fill 64 KiB per frame and keep it per client.
    thread_local char scratch[kReadChunk];
    while (m_fd >= 0 && total < maxBytes) {
        const ssize_t n = ::recv(m_fd, scratch, kReadChunk, 0);
        if (n > 0) {
            m_input.append(scratch, static_cast<std::size_t>(n));
            total += static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return ReadStatus::Open;
        return ReadStatus::Closed; // 0: orderly shutdown; otherwise a reset or another error
    }
    return m_fd >= 0 ? ReadStatus::Open : ReadStatus::Closed;
}

Connection::FrameStatus Connection::takeFrame(Message &message, std::string &error)
{
    const frame::DecodeResult result =
        frame::decode(m_input.data() + m_inputOffset, m_input.size() - m_inputOffset, message);
    switch (result.status) {
    case frame::DecodeStatus::Complete:
        m_inputOffset += result.consumed;
        compact(m_input, m_inputOffset);
        return FrameStatus::Complete;
    case frame::DecodeStatus::NeedMore:
        return FrameStatus::NeedMore;
    case frame::DecodeStatus::Malformed:
        error = result.error;
        return FrameStatus::Malformed;
    }
    return FrameStatus::Malformed;
}

bool Connection::flush()
{
    while (m_fd >= 0 && queuedBytes() > 0) {
        const ssize_t n = ::send(m_fd, m_output.data() + m_outputOffset, queuedBytes(),
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            m_outputOffset += static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        return false;
    }
    compact(m_output, m_outputOffset);
    return m_fd >= 0;
}
