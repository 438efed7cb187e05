#pragma once

#include <QList>
#include <QStringList>
#include <QTemporaryDir>

// A unix datagram socket standing in for the service manager's notification socket
// ($NOTIFY_SOCKET). It records which process sent each datagram, as the manager does to
// accept readiness only from the service's main process.
class NotifySocket
{
public:
    NotifySocket();
    ~NotifySocket();

    NotifySocket(const NotifySocket &) = delete;
    NotifySocket &operator=(const NotifySocket &) = delete;

    QString path() const { return m_dir.filePath(QStringLiteral("notify")); }
    // Every datagram so far; "unbound" when the socket could not be set up.
    QStringList read();
    // The sender of each datagram of read(), in the same order.
    QList<qint64> senders() const { return m_senders; }

private:
    QTemporaryDir m_dir;
    int m_fd = -1;
    bool m_bound = false;
    QStringList m_datagrams;
    QList<qint64> m_senders;
};
