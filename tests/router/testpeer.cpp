#include "testpeer.h"

#include "platform/message/frame.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

Message makeMessage(const std::string &source, const std::string &destination,
                    const std::string &command, const std::string &params, std::uint32_t seqn,
                    MessageType type)
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

TestPeer::~TestPeer()
{
    close();
}

bool TestPeer::connect(int port, int receiveBuffer)
{
    m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0)
        return false;
    if (receiveBuffer > 0)
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    const int on = 1;
    ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::connect(m_fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
}

void TestPeer::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

bool TestPeer::send(const Message &message)
{
    std::string bytes;
    return frame::encode(message, bytes) && sendRaw(bytes);
}

bool TestPeer::sendRaw(const std::string &bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(m_fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

bool TestPeer::fill(int timeoutMs)
{
    if (m_closed || m_fd < 0)
        return false;
    pollfd waiting{m_fd, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, timeoutMs);
    if (ready <= 0)
        return false;
    char chunk[65536];
    const ssize_t n = ::recv(m_fd, chunk, sizeof chunk, 0);
    if (n <= 0) {
        m_closed = !(n < 0 && errno == EINTR);
        return false;
    }
    m_buffer.append(chunk, static_cast<std::size_t>(n));
    return true;
}

std::unique_ptr<Message> TestPeer::receive(int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        auto message = std::make_unique<Message>();
        const frame::DecodeResult result =
            frame::decode(m_buffer.data(), m_buffer.size(), *message);
        if (result.status == frame::DecodeStatus::Complete) {
            m_buffer.erase(0, result.consumed);
            return message;
        }
        if (result.status == frame::DecodeStatus::Malformed)
            return nullptr;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        // Even with no time left, take what the kernel already holds.
        if (!fill(static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0))))
            return nullptr;
    }
}

bool TestPeer::waitClosed(int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!m_closed) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        m_buffer.clear();
        fill(static_cast<int>(left.count()));
    }
    return true;
}

std::unique_ptr<Message> TestPeer::sendRegister(const std::string &name, const std::string &params)
{
    if (!send(makeMessage(name, "clientmgr", "register", params, nextSeqn())))
        return nullptr;
    auto answer = receive();
    if (answer && answer->type() == MessageType::Ack)
        m_name = name;
    return answer;
}

bool TestPeer::registerAs(const std::string &name, const std::string &params)
{
    const auto answer = sendRegister(name, params);
    return answer && answer->type() == MessageType::Ack;
}

std::unique_ptr<Message> TestPeer::request(const std::string &destination,
                                           const std::string &command, const std::string &params)
{
    if (!send(makeMessage(m_name, destination, command, params, nextSeqn())))
        return nullptr;
    return receive();
}

bool TestPeer::nothingPending()
{
    const std::uint32_t seqn = nextSeqn();
    if (!send(makeMessage(m_name, "clientmgr", "ping", std::string(), seqn)))
        return false;
    const auto answer = receive();
    return answer && answer->source() == "clientmgr" && answer->command() == "ping" &&
           answer->seqn() == seqn;
}
