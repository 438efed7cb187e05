#include "framesocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace framesocket {

namespace {

sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

int connectTo(int port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        if (fd >= 0)
            close(fd);
        return -1;
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

int listenOnAnyPort(int *port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, 16) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        if (fd >= 0)
            close(fd);
        return -1;
    }
    *port = ntohs(address.sin_port);
    return fd;
}

bool writeAll(int fd, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = send(fd, data, size, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool readExact(int fd, char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t got = recv(fd, data, size, 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        data += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool readFrame(int fd, std::string &frame)
{
    unsigned char length[4];
    if (!readExact(fd, reinterpret_cast<char *>(length), sizeof length))
        return false;
    const std::size_t body = (std::size_t(length[0]) << 24) | (std::size_t(length[1]) << 16) |
                             (std::size_t(length[2]) << 8) | length[3];
    frame.assign(reinterpret_cast<const char *>(length), sizeof length);
    frame.resize(sizeof length + body);
    return readExact(fd, frame.data() + sizeof length, body);
}

bool discard(int fd, std::size_t size)
{
    char buffer[65536];
    while (size > 0) {
        const std::size_t chunk = size < sizeof buffer ? size : sizeof buffer;
        if (!readExact(fd, buffer, chunk))
            return false;
        size -= chunk;
    }
    return true;
}

} // namespace framesocket
