#include "router/router.h"

#include "platform/message/frame.h"
#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"
#include "router/connection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Tags of the epoll registrations; connections count up from kFirstConnectionId. A tag is
// never reused, so an event that arrives for a connection closed earlier in the same round
// finds nothing instead of a newer connection on the same file descriptor.
constexpr std::uint64_t kListenerId = 0;
constexpr std::uint64_t kWakeId = 1;
constexpr std::uint64_t kFirstConnectionId = 2;

constexpr int kMaxEvents = 64;
// What one client may feed the router per round before the others get their turn.
constexpr std::size_t kReadBudget = 1024 * 1024;

const char *const kNotRegistered = "\"Error: not registered\"";
const char *const kUnknownDestination = "\"Error: unknown destination\"";
const char *const kNameInUse = "\"Error: name in use\"";
const char *const kInvalidName = "\"Error: invalid name\"";
const char *const kNotSupported = "\"CMD not supported\"";

std::string errnoText(const char *what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

std::string peerText(const sockaddr_storage &address)
{
    char host[INET6_ADDRSTRLEN] = "?";
    int port = 0;
    if (address.ss_family == AF_INET) {
        const auto &in = reinterpret_cast<const sockaddr_in &>(address);
        inet_ntop(AF_INET, &in.sin_addr, host, sizeof host);
        port = ntohs(in.sin_port);
    } else if (address.ss_family == AF_INET6) {
        const auto &in6 = reinterpret_cast<const sockaddr_in6 &>(address);
        inet_ntop(AF_INET6, &in6.sin6_addr, host, sizeof host);
        port = ntohs(in6.sin6_port);
    }
    return std::string(host) + ":" + std::to_string(port);
}

std::string describe(const Connection &connection)
{
    if (connection.isRegistered())
        return connection.peer() + " (" + connection.name() + ")";
    return connection.peer();
}

bool awaitsReply(const Message &message)
{
    return message.type() == MessageType::Command && message.seqn() != 0;
}

// Whether the "register" parameters ask to take the name from another connection. The values
// of "proxyHost" and "proxyPort" are skipped: they are host names and ports, never options.
bool wantsForce(const std::string &params)
{
    StringParam_SCPI tokens(params);
    const int count = tokens.nbParams();
    for (int i = 0; i < count; ++i) {
        const std::string token = tokens.getString(i);
        if (token == "force")
            return true;
        if (token == "proxyHost" || token == "proxyPort")
            ++i;
    }
    return false;
}

std::vector<std::string> splitList(const std::string &list)
{
    std::vector<std::string> names;
    std::size_t begin = 0;
    while (begin <= list.size()) {
        std::size_t end = list.find(',', begin);
        if (end == std::string::npos)
            end = list.size();
        std::size_t first = begin;
        std::size_t last = end;
        while (first < last && (list[first] == ' ' || list[first] == '\t'))
            ++first;
        while (last > first && (list[last - 1] == ' ' || list[last - 1] == '\t'))
            --last;
        names.push_back(list.substr(first, last - first));
        begin = end + 1;
    }
    return names;
}

} // namespace

Router::Router(std::size_t queueLimit, bool verbose)
    : m_queueLimit(queueLimit)
    , m_verbose(verbose)
    , m_epollFd(epoll_create1(EPOLL_CLOEXEC))
    , m_wakeFd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    , m_spareFd(open("/dev/null", O_RDONLY | O_CLOEXEC))
    , m_nextId(kFirstConnectionId)
{
    if (m_epollFd >= 0 && m_wakeFd >= 0) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = kWakeId;
        epoll_ctl(m_epollFd, EPOLL_CTL_ADD, m_wakeFd, &event);
    }
}

Router::~Router()
{
    m_names.clear();
    m_connections.clear();
    m_closed.clear();
    for (const int fd : {m_listenFd, m_wakeFd, m_spareFd, m_epollFd}) {
        if (fd >= 0)
            ::close(fd);
    }
}

bool Router::listen(const std::string &host, int port, std::string &error)
{
    if (m_epollFd < 0 || m_wakeFd < 0) {
        error = "cannot set up the event loop";
        return false;
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo *addresses = nullptr;
    const std::string service = std::to_string(port);
    const int lookup = getaddrinfo(host.c_str(), service.c_str(), &hints, &addresses);
    if (lookup != 0) {
        error = "cannot resolve " + host + ": " + gai_strerror(lookup);
        return false;
    }

    error = "no address for " + host;
    for (addrinfo *address = addresses; address && m_listenFd < 0; address = address->ai_next) {
        const int fd = socket(address->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            error = errnoText("socket");
            continue;
        }
        const int on = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (bind(fd, address->ai_addr, address->ai_addrlen) != 0) {
            error = errnoText(("bind " + host + ":" + service).c_str());
            ::close(fd);
            continue;
        }
        if (::listen(fd, SOMAXCONN) != 0) {
            error = errnoText("listen");
            ::close(fd);
            continue;
        }
        m_listenFd = fd;
    }
    freeaddrinfo(addresses);
    if (m_listenFd < 0)
        return false;

    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    getsockname(m_listenFd, reinterpret_cast<sockaddr *>(&bound), &length);
    m_port = bound.ss_family == AF_INET6 ? ntohs(reinterpret_cast<sockaddr_in6 &>(bound).sin6_port)
                                         : ntohs(reinterpret_cast<sockaddr_in &>(bound).sin_port);

    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = kListenerId;
    if (epoll_ctl(m_epollFd, EPOLL_CTL_ADD, m_listenFd, &event) != 0) {
        error = errnoText("epoll_ctl");
        return false;
    }
    return true;
}

void Router::requestStop()
{
    const int savedErrno = errno; // may run inside a signal handler
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
    errno = savedErrno;
}

bool Router::run()
{
    if (m_listenFd < 0)
        return false;
    bool ok = true;
    bool stopping = false;
    epoll_event events[kMaxEvents];
    while (!stopping) {
        const int count = epoll_wait(m_epollFd, events, kMaxEvents, -1);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            log(errnoText("epoll_wait"));
            ok = false;
            break;
        }
        for (int i = 0; i < count; ++i) {
            const std::uint64_t id = events[i].data.u64;
            if (id == kListenerId)
                acceptClients();
            else if (id == kWakeId)
                stopping = true;
            else
                serviceConnection(id, events[i].events);
        }
        flushPending();
        m_closed.clear();
    }

    while (!m_connections.empty()) {
        Connection &connection = *m_connections.begin()->second;
        connection.flush(); // last chance, without waiting
        closeConnection(connection, "router shutting down", false);
    }
    m_closed.clear();
    if (m_verbose) {
        log("accepted " + std::to_string(m_counters.accepted) + ", routed " +
            std::to_string(m_counters.routed) + ", dropped " + std::to_string(m_counters.dropped) +
            ", malformed " + std::to_string(m_counters.malformed) + ", overflowed " +
            std::to_string(m_counters.overflowed));
    }
    return ok;
}

void Router::acceptClients()
{
    for (;;) {
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        const int fd = accept4(m_listenFd, reinterpret_cast<sockaddr *>(&address), &length,
                               SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            if ((errno == EMFILE || errno == ENFILE) && m_spareFd >= 0) {
                // Out of descriptors: the waiting client would make the level-triggered
                // listener fire forever. Free the spare one to accept it and hang up at once.
                log("out of file descriptors, refusing a client");
                ::close(m_spareFd);
                const int refused = accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
                if (refused >= 0)
                    ::close(refused);
                m_spareFd = open("/dev/null", O_RDONLY | O_CLOEXEC);
                continue;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK)
                log(errnoText("accept"));
            return;
        }
        // Frames are small and latency matters more than packet count.
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);

        const std::uint64_t id = m_nextId++;
        auto connection = std::make_unique<Connection>(id, fd, peerText(address));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = id;
        if (epoll_ctl(m_epollFd, EPOLL_CTL_ADD, fd, &event) != 0) {
            log(errnoText("epoll_ctl") + ", dropping " + connection->peer());
            continue;
        }
        ++m_counters.accepted;
        if (m_verbose)
            log("connection from " + connection->peer());
        m_connections.emplace(id, std::move(connection));
    }
}

void Router::serviceConnection(std::uint64_t id, std::uint32_t events)
{
    const auto found = m_connections.find(id);
    if (found == m_connections.end())
        return;
    Connection &connection = *found->second;

    if (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) {
        const Connection::ReadStatus status = connection.readAvailable(kReadBudget);
        // Frames that arrived before the peer hung up are still routed.
        processInput(connection);
        if (connection.isClosed())
            return;
        if (status == Connection::ReadStatus::Closed) {
            // A hang-up in the middle of a frame is a misbehaving client worth a line.
            const std::size_t partial = connection.pendingInputBytes();
            if (partial > 0)
                closeConnection(connection,
                                "peer closed the connection in the middle of a frame (" +
                                    std::to_string(partial) + " bytes)",
                                true);
            else
                closeConnection(connection, "peer closed the connection", false);
            return;
        }
    }
    if (events & EPOLLOUT) {
        if (!connection.flush())
            closeConnection(connection, errnoText("write failed"), true);
        else
            updateWriteInterest(connection);
    }
}

void Router::processInput(Connection &connection)
{
    while (!connection.isClosed()) {
        Message message;
        std::string error;
        switch (connection.takeFrame(message, error)) {
        case Connection::FrameStatus::NeedMore:
            return;
        case Connection::FrameStatus::Malformed:
            ++m_counters.malformed;
            closeConnection(connection, "malformed frame: " + error, true);
            return;
        case Connection::FrameStatus::Complete:
            handleFrame(connection, message);
            break;
        }
    }
}

void Router::closeConnection(Connection &connection, const std::string &reason, bool always)
{
    if (connection.isClosed())
        return;
    if (always || m_verbose)
        log("closing " + describe(connection) + ": " + reason);
    connection.flush(); // what was answered this round still goes out, as far as it can
    releaseName(connection);
    epoll_ctl(m_epollFd, EPOLL_CTL_DEL, connection.fd(), nullptr);
    connection.close();
    const auto found = m_connections.find(connection.id());
    if (found != m_connections.end()) {
        m_closed.push_back(std::move(found->second));
        m_connections.erase(found);
    }
}

void Router::updateWriteInterest(Connection &connection)
{
    const bool wantWrite = connection.queuedBytes() > 0;
    if (connection.isClosed() || wantWrite == connection.isWatchingWrite())
        return;
    epoll_event event{};
    event.events = EPOLLIN | (wantWrite ? EPOLLOUT : 0u);
    event.data.u64 = connection.id();
    if (epoll_ctl(m_epollFd, EPOLL_CTL_MOD, connection.fd(), &event) != 0) {
        closeConnection(connection, errnoText("epoll_ctl"), true);
        return;
    }
    connection.setWatchingWrite(wantWrite);
}

void Router::handleFrame(Connection &from, Message &message)
{
    if (!from.isRegistered()) {
        if (message.type() == MessageType::Command && message.destination() == kRouterName &&
            message.command() == "register" && !message.isFanOut()) {
            handleRegister(from, message);
        } else {
            refuse(from, message, MessageType::Error, kNotRegistered, "sender not registered");
        }
        return;
    }
    if (message.isFanOut()) {
        handleFanOut(from, message);
    } else if (message.destination() == kRouterName) {
        if (message.type() == MessageType::Command)
            handleRouterCommand(from, message);
        else
            drop(message, "a reply or notification addressed to the router");
    } else {
        forward(from, message);
    }
}

void Router::handleRouterCommand(Connection &from, const Message &request)
{
    if (request.command() == "register")
        handleRegister(from, request);
    else if (request.command() == "unregister")
        handleUnregister(from, request);
    else
        reply(from, request, MessageType::NAck, kNotSupported);
}

void Router::handleRegister(Connection &from, const Message &request)
{
    const std::string &name = request.source();
    if (!frame::isValidClientName(name)) {
        reply(from, request, MessageType::NAck, kInvalidName);
        return;
    }
    if (name == kRouterName) { // the router's own name never moves, not even by force
        reply(from, request, MessageType::NAck, kNameInUse);
        return;
    }
    Connection *holder = findByName(name);
    if (holder && holder != &from) {
        if (!wantsForce(request.params())) {
            reply(from, request, MessageType::NAck, kNameInUse);
            return;
        }
        closeConnection(*holder, "name taken over by " + from.peer(), true);
    }
    if (from.name() != name) {
        releaseName(from);
        from.setName(name);
        m_names[name] = &from;
        if (m_verbose)
            log(from.peer() + " registered as " + name);
    }
    reply(from, request, MessageType::Ack, std::string());
}

void Router::handleUnregister(Connection &from, const Message &request)
{
    reply(from, request, MessageType::Ack, std::string()); // while the name still addresses it
    if (m_verbose)
        log(describe(from) + " unregistered");
    releaseName(from);
}

void Router::handleFanOut(Connection &from, const Message &request)
{
    const std::vector<Connection *> receivers = fanOutReceivers(from, request.destination());
    StringParam_SCPI list;
    for (const Connection *receiver : receivers)
        list.addToken(receiver->name());
    reply(from, request, MessageType::Ack, list.getParams());
    if (from.isClosed())
        return; // the receivers' answers would have nowhere to go

    Message copy(request);
    copy.setSource(from.name());
    copy.setFanOut(false);
    for (Connection *receiver : receivers) {
        if (receiver->isClosed())
            continue;
        copy.setDestination(receiver->name());
        deliver(*receiver, copy);
    }
}

void Router::forward(Connection &from, Message &message)
{
    Connection *to = findByName(message.destination());
    if (!to) {
        refuse(from, message, MessageType::Error, kUnknownDestination, "unknown destination");
        return;
    }
    message.setSource(from.name());
    deliver(*to, message);
}

void Router::reply(Connection &to, const Message &request, MessageType type,
                   const std::string &text)
{
    if (!awaitsReply(request))
        return;
    Message answer;
    answer.setType(type);
    answer.setSeqn(request.seqn());
    answer.setCommand(request.command());
    answer.setSource(kRouterName);
    answer.setDestination(to.isRegistered() ? to.name() : request.source());
    answer.setParams(text);
    deliver(to, answer);
}

void Router::refuse(Connection &from, const Message &message, MessageType type,
                    const std::string &text, const char *why)
{
    if (awaitsReply(message))
        reply(from, message, type, text);
    else
        drop(message, why);
}

void Router::deliver(Connection &to, const Message &message)
{
    if (to.isClosed())
        return;
    std::string bytes;
    if (!frame::encode(message, bytes)) {
        drop(message, "cannot be framed");
        return;
    }
    ++m_counters.routed;
    if (m_verbose) {
        log(message.source() + " -> " + message.destination() +
            " type=" + std::to_string(static_cast<int>(message.type())) +
            " seqn=" + std::to_string(message.seqn()) + " command=" + message.command() +
            " bytes=" + std::to_string(bytes.size()));
    }
    to.appendFrame(bytes);
    // A queue over the limit gets one chance to drain before the client counts as stuck.
    if (to.queuedBytes() > m_queueLimit && !to.flush()) {
        closeConnection(to, errnoText("write failed"), true);
        return;
    }
    if (to.queuedBytes() > m_queueLimit) {
        ++m_counters.overflowed;
        closeConnection(to,
                        "outgoing queue passed " + std::to_string(m_queueLimit) +
                            " bytes, the client does not read",
                        true);
        return;
    }
    if (to.markFlushPending())
        m_unflushed.push_back(to.id());
}

void Router::flushPending()
{
    for (const std::uint64_t id : m_unflushed) {
        const auto found = m_connections.find(id);
        if (found == m_connections.end())
            continue; // closed during the round
        Connection &connection = *found->second;
        connection.clearFlushPending();
        if (!connection.flush())
            closeConnection(connection, errnoText("write failed"), true);
        else
            updateWriteInterest(connection);
    }
    m_unflushed.clear();
}

void Router::drop(const Message &message, const char *why)
{
    ++m_counters.dropped;
    if (m_verbose) {
        log("dropped " + message.source() + " -> " + message.destination() +
            " type=" + std::to_string(static_cast<int>(message.type())) +
            " command=" + message.command() + ": " + why);
    }
}

void Router::releaseName(Connection &connection)
{
    if (!connection.isRegistered())
        return;
    const auto found = m_names.find(connection.name());
    if (found != m_names.end() && found->second == &connection)
        m_names.erase(found);
    connection.setName(std::string());
}

Connection *Router::findByName(const std::string &name) const
{
    const auto found = m_names.find(name);
    return found == m_names.end() ? nullptr : found->second;
}

std::vector<Connection *> Router::fanOutReceivers(const Connection &from,
                                                  const std::string &destination) const
{
    std::vector<Connection *> receivers;
    const auto consider = [&](const std::string &name) {
        if (name == from.name() || name == kRouterName)
            return;
        Connection *receiver = findByName(name);
        if (receiver && std::find(receivers.begin(), receivers.end(), receiver) == receivers.end())
            receivers.push_back(receiver);
    };
    if (destination == "*") {
        for (const auto &entry : m_names)
            consider(entry.first);
    } else {
        for (const std::string &name : splitList(destination))
            consider(name);
    }
    return receivers;
}

void Router::log(const std::string &line) const
{
    std::fprintf(stderr, "clientmgr: %s\n", line.c_str());
}
