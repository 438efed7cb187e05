#include "routerpeer.h"

#include "platform/message/frame.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

int millisecondsLeft(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? int(left.count()) : 0;
}

bool waitReadable(int fd, int timeoutMs)
{
    pollfd entry{fd, POLLIN, 0};
    int ready;
    while ((ready = ::poll(&entry, 1, timeoutMs)) < 0 && errno == EINTR) {
    }
    return ready > 0;
}

// A socket connected to 127.0.0.1:port; -1 on failure.
int connectToLoopback(int port, int receiveBuffer)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const int on = 1;
    if (receiveBuffer > 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto *raw = reinterpret_cast<const sockaddr *>(&address);
    if (fd >= 0 && ::connect(fd, raw, sizeof address) == 0)
        return fd;
    if (fd >= 0)
        ::close(fd);
    return -1;
}

int localPort(int fd)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

} // namespace

RouterPeer::RouterPeer(int port, int receiveBuffer)
    : m_fd(connectToLoopback(port, receiveBuffer))
    , m_port(m_fd >= 0 ? localPort(m_fd) : 0)
{}

RouterPeer::~RouterPeer()
{
    closeConnection();
}

std::optional<Message> RouterPeer::receive(int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        Message message;
        const frame::DecodeResult result = frame::decode(m_buffer.data(), m_buffer.size(), message);
        if (result.status == frame::DecodeStatus::Complete) {
            m_buffer.erase(0, result.consumed);
            return message;
        }
        // Whatever the kernel already holds is taken even with a time-out of 0.
        if (result.status == frame::DecodeStatus::Malformed ||
            !readMore(millisecondsLeft(deadline)))
            return std::nullopt;
    }
}

bool RouterPeer::waitForClose(int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!m_ended && readMore(millisecondsLeft(deadline)))
        m_buffer.clear();
    return m_ended;
}

bool RouterPeer::write(const std::string &bytes)
{
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t count =
            ::send(m_fd, bytes.data() + written, bytes.size() - written, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        written += std::size_t(count);
    }
    return true;
}

bool RouterPeer::writeMessage(const Message &message)
{
    std::string bytes;
    return frame::encode(message, bytes) && write(bytes);
}

void RouterPeer::closeConnection()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

bool RouterPeer::readMore(int timeoutMs)
{
    if (m_fd < 0 || m_ended || !waitReadable(m_fd, timeoutMs))
        return false;
    char chunk[65536];
    ssize_t count;
    while ((count = ::recv(m_fd, chunk, sizeof chunk, 0)) < 0 && errno == EINTR) {
    }
    m_ended = count <= 0; // end of stream or reset
    if (!m_ended)
        m_buffer.append(chunk, std::size_t(count));
    return !m_ended;
}
