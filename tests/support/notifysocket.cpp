#include "notifysocket.h"

#include <QFile>

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

NotifySocket::NotifySocket()
    : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path()).constData(), sizeof address.sun_path);
    const int on = 1;
    m_bound = setsockopt(m_fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0 &&
              bind(m_fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
}

NotifySocket::~NotifySocket()
{
    close(m_fd);
}

QStringList NotifySocket::read()
{
    for (;;) {
        char buffer[4096];
        iovec data = {buffer, sizeof buffer};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
        msghdr header = {};
        header.msg_iov = &data;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof control;
        const ssize_t size = recvmsg(m_fd, &header, 0);
        if (size <= 0) {
            break;
        }
        qint64 sender = 0;
        const cmsghdr *credentials = CMSG_FIRSTHDR(&header);
        if (credentials != nullptr && credentials->cmsg_type == SCM_CREDENTIALS) {
            ucred peer;
            memcpy(&peer, CMSG_DATA(credentials), sizeof peer);
            sender = peer.pid;
        }
        m_datagrams.append(QString::fromUtf8(buffer, int(size)));
        m_senders.append(sender);
    }
    return m_bound ? m_datagrams : QStringList{QStringLiteral("unbound")};
}
