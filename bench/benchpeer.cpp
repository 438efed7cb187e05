// The far end of each round-trip benchmark, a program of its own so that every variant crosses
// the same process boundaries: requester -> intermediary -> this peer and back.
//
//   bench_peer answer PORT     registers as the control panel with clientmgr and answers "get"
//   bench_peer relay           the floor's intermediary: forwards bytes between the first two
//                              connections it accepts; prints "ready PORT"
//   bench_peer echo PORT       connects to the relay and answers every frame with the reply
//   bench_peer dbus ADDRESS    serves Get(key) on a private D-Bus daemon
// Each prints "ready" on standard error once it serves.
#include "benchframes.h"
#include "framesocket.h"
#include "platform/message/client.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QObject>

#include <cstdio>
#include <cstring>
#include <memory>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void ready(const std::string &detail = {})
{
    std::fprintf(stderr, "ready%s%s\n", detail.empty() ? "" : " ", detail.c_str());
    std::fflush(stderr);
}

int answer(int port)
{
    Client client(benchframes::kAnswerer);
    if (!client.connect("127.0.0.1", port, "bench"))
        return 1;
    std::unique_ptr<Message> registration(Message::createMessage("register", "local"));
    registration->setDestination("clientmgr");
    registration->setSeqn(client.nextSeqn());
    if (!client.send(registration.get()))
        return 1;
    std::unique_ptr<Message> registered(client.receive());
    if (!registered || registered->type() != MessageType::Ack)
        return 1;
    ready();
    while (Message *received = client.receive()) {
        std::unique_ptr<Message> request(received);
        if (request->type() == MessageType::Command && request->seqn() != 0) {
            std::unique_ptr<Message> reply(
                Message::createAckMessage(request.get(), benchframes::kValue));
            client.send(reply.get());
        }
    }
    return 0;
}

// Single-threaded and event-driven like the router, but it never looks inside a frame.
int relay()
{
    int port = 0;
    const int listener = framesocket::listenOnAnyPort(&port);
    if (listener < 0)
        return 1;
    ready(std::to_string(port));
    int ends[2];
    for (int &end : ends) {
        end = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (end < 0)
            return 1;
    }
    pollfd fds[2] = {{ends[0], POLLIN, 0}, {ends[1], POLLIN, 0}};
    char buffer[65536];
    for (;;) {
        if (poll(fds, 2, -1) < 0)
            return 1;
        for (int i = 0; i < 2; ++i) {
            if (!(fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
                continue;
            const ssize_t got = recv(ends[i], buffer, sizeof buffer, MSG_DONTWAIT);
            if (got <= 0)
                return 0;
            if (!framesocket::writeAll(ends[1 - i], buffer, static_cast<std::size_t>(got)))
                return 0;
        }
    }
}

int echo(int port)
{
    const int fd = framesocket::connectTo(port);
    if (fd < 0)
        return 1;
    const std::string reply = benchframes::encoded(benchframes::reply(benchframes::request(1)));
    ready();
    for (std::string frame; framesocket::readFrame(fd, frame);) {
        if (!framesocket::writeAll(fd, reply))
            break;
    }
    return 0;
}

class GetService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.glyphd.BenchPeer")
public slots:
    QString Get(const QString &key)
    {
        return key == QString::fromStdString(benchframes::kKey) ? QStringLiteral("ASSOCIATED")
                                                                : QString();
    }
};

int serveDBus(int argc, char **argv, const QString &address)
{
    QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("bench"));
    GetService service;
    if (!bus.registerObject(QStringLiteral("/"), &service, QDBusConnection::ExportAllSlots) ||
        !bus.registerService(QStringLiteral("org.glyphd.BenchPeer")))
        return 1;
    ready();
    return application.exec();
}

} // namespace

int main(int argc, char **argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "answer" && argc == 3)
        return answer(std::atoi(argv[2]));
    if (mode == "relay")
        return relay();
    if (mode == "echo" && argc == 3)
        return echo(std::atoi(argv[2]));
    if (mode == "dbus" && argc == 3)
        return serveDBus(argc, argv, QString::fromLocal8Bit(argv[2]));
    std::fprintf(stderr, "usage: bench_peer answer PORT | relay | echo PORT | dbus ADDRESS\n");
    return 64;
}

#include "benchpeer.moc"
