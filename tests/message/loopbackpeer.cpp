#include "loopbackpeer.h"

#include "platform/message/frame.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace {

bool waitReadable(int fd, int timeoutMs)
{
    pollfd entry{fd, POLLIN, 0};
    int ready;
    do {
        ready = ::poll(&entry, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace

LoopbackPeer::LoopbackPeer()
{
    m_listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (m_listenFd < 0 ||
        ::bind(m_listenFd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(m_listenFd, 4) != 0 ||
        ::getsockname(m_listenFd, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        throw std::runtime_error("cannot listen on loopback");
    m_port = ntohs(address.sin_port);
}

LoopbackPeer::~LoopbackPeer()
{
    closeConnection();
    ::close(m_listenFd);
}

bool LoopbackPeer::accept(int timeoutMs)
{
    if (!waitReadable(m_listenFd, timeoutMs))
        return false;
    m_fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    return m_fd >= 0;
}

bool LoopbackPeer::readFrame(Message &message, int timeoutMs)
{
    for (;;) {
        const frame::DecodeResult result = frame::decode(m_buffer.data(), m_buffer.size(), message);
        if (result.status == frame::DecodeStatus::Complete) {
            m_buffer.erase(0, result.consumed);
            return true;
        }
        if (result.status == frame::DecodeStatus::Malformed || !readMore(timeoutMs))
            return false;
    }
}

bool LoopbackPeer::waitForClose(int timeoutMs)
{
    // Whatever still arrives before the end of the stream is of no interest here.
    while (readMore(timeoutMs))
        m_buffer.clear();
    char byte;
    return waitReadable(m_fd, 0) && ::recv(m_fd, &byte, 1, MSG_DONTWAIT) <= 0;
}

bool LoopbackPeer::write(const std::string &bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::send(m_fd, bytes.data() + written, bytes.size() - written, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

bool LoopbackPeer::writeMessage(const Message &message)
{
    std::string bytes;
    return frame::encode(message, bytes) && write(bytes);
}

void LoopbackPeer::closeConnection()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

bool LoopbackPeer::readMore(int timeoutMs)
{
    if (m_fd < 0 || !waitReadable(m_fd, timeoutMs))
        return false;
    char chunk[65536];
    ssize_t count;
    do {
        count = ::recv(m_fd, chunk, sizeof chunk, 0);
    } while (count < 0 && errno == EINTR);
    if (count <= 0)
        return false;
    m_buffer.append(chunk, static_cast<std::size_t>(count));
    return true;
}
