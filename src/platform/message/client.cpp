#include "client.h"

#include "frame.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t kReadChunk = 64 * 1024;

// Opens a TCP connection to the first address of host:port that accepts one, or returns -1
// with why set.
int connectTo(const std::string &host, int port, std::string &why)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *addresses = nullptr;
    const int lookup =
        ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &addresses);
    if (lookup != 0) {
        why = ::gai_strerror(lookup);
        return -1;
    }

    int fd = -1;
    for (const addrinfo *address = addresses; address; address = address->ai_next) {
        fd =
            ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol);
        if (fd < 0) {
            why = std::strerror(errno);
            continue;
        }
        if (::connect(fd, address->ai_addr, address->ai_addrlen) == 0)
            break;
        why = std::strerror(errno);
        ::close(fd);
        fd = -1;
    }
    ::freeaddrinfo(addresses);

    if (fd >= 0) {
        // Messages are small and answered one by one: do not let them wait for more data.
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    return fd;
}

} // namespace

Client::Client(const std::string &name)
    : m_name(name)
{}

Client::~Client()
{
    disconnect();
    closeSocket();
}

bool Client::connect(const std::string &host, int port, const std::string &text)
{
    const std::string peer = host + ":" + std::to_string(port) + " (" + text + ")";
    if (isOpen()) {
        logError("already connected to " + m_peer + ", not connecting to " + peer);
        return false;
    }
    if (port < 0 || port > 65535) {
        logError("invalid port for " + peer);
        return false;
    }

    std::string why;
    const int fd = connectTo(host, port, why);
    if (fd < 0) {
        logError("cannot connect to " + peer + ": " + why);
        return false;
    }

    std::lock_guard<std::mutex> lock(m_sendMutex);
    closeSocket(); // the previous connection's, shut down already
    m_readBuffer.clear();
    m_readOffset = 0;
    m_peer = peer;
    m_fd = fd;
    m_open = true;
    return true;
}

bool Client::disconnect()
{
    if (!m_open.exchange(false))
        return false;
    // shutdown, not close: a thread blocked in receive() wakes up and the descriptor number
    // cannot be reused under it.
    ::shutdown(m_fd, SHUT_RDWR);
    return true;
}

bool Client::isOpen() const
{
    return m_open;
}

std::uint32_t Client::nextSeqn()
{
    std::lock_guard<std::mutex> lock(m_seqnMutex);
    if (++m_seqn == 0)
        ++m_seqn;
    return m_seqn;
}

bool Client::send(Message *message)
{
    if (!message)
        return false;
    message->setSource(m_name);
    std::string bytes;
    if (!frame::encode(*message, bytes)) {
        logError("cannot frame message \"" + message->command() + "\" to \"" +
                 message->destination() + "\"");
        return false;
    }

    std::lock_guard<std::mutex> lock(m_sendMutex);
    if (!isOpen()) {
        logError("not connected, message \"" + message->command() + "\" not sent");
        return false;
    }
    return writeAll(bytes);
}

bool Client::send(const std::string &destination, Message *message)
{
    if (!message)
        return false;
    message->setDestination(destination);
    return send(message);
}

Message *Client::receive()
{
    while (isOpen()) {
        Message message;
        const frame::DecodeResult result = frame::decode(
            m_readBuffer.data() + m_readOffset, m_readBuffer.size() - m_readOffset, message);
        switch (result.status) {
        case frame::DecodeStatus::Complete:
            m_readOffset += result.consumed;
            return new Message(std::move(message));
        case frame::DecodeStatus::Malformed:
            logError("malformed frame from " + m_peer + ": " + result.error);
            markBroken();
            return nullptr;
        case frame::DecodeStatus::NeedMore:
            if (!fillBuffer()) {
                markBroken();
                return nullptr;
            }
            break;
        }
    }
    return nullptr;
}

bool Client::writeAll(const std::string &bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::send(m_fd, bytes.data() + written, bytes.size() - written, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            if (isOpen())
                logError("cannot write to " + m_peer + ": " + std::strerror(errno));
            // Part of a frame may be on the wire: nothing sent after it could be understood.
            markBroken();
            return false;
        }
        written += static_cast<std::size_t>(count);
    }
    return true;
}

bool Client::fillBuffer()
{
    if (m_readOffset > 0) {
        m_readBuffer.erase(0, m_readOffset);
        m_readOffset = 0;
    }
    const std::size_t kept = m_readBuffer.size();
    m_readBuffer.resize(kept + kReadChunk);
    ssize_t count;
    do {
        count = ::recv(m_fd, &m_readBuffer[kept], kReadChunk, 0);
    } while (count < 0 && errno == EINTR);
    m_readBuffer.resize(kept + (count > 0 ? static_cast<std::size_t>(count) : 0));

    if (count > 0)
        return true;
    // After our own disconnect() the end of the stream is expected; say nothing then.
    if (isOpen())
        logError(count == 0 ? "connection closed by " + m_peer
                            : "cannot read from " + m_peer + ": " + std::strerror(errno));
    return false;
}

void Client::markBroken()
{
    if (m_open.exchange(false))
        ::shutdown(m_fd, SHUT_RDWR);
}

void Client::closeSocket()
{
    const int fd = m_fd.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

void Client::logError(const std::string &what) const
{
    std::cerr << "Client " << m_name << ": " << what << std::endl;
}
