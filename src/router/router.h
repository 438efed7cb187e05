#pragma once

#include "platform/message/messagetype.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class Connection;
class Message;

// The message router: one epoll loop on one thread serves every client. It keeps the client
// names, answers "register" and "unregister", stamps the sender's name on every frame and
// hands it to its destination (or to each name of a fan-out list).
class Router
{
public:
    static constexpr std::size_t kDefaultQueueLimit = 8 * 1024 * 1024;
    static constexpr const char *kRouterName = "clientmgr";

    struct Counters
    {
        std::uint64_t accepted = 0;
        std::uint64_t routed = 0;     // frames written to a client, own replies included
        std::uint64_t dropped = 0;    // frames with nowhere to go and no reply to give
        std::uint64_t malformed = 0;  // connections closed for breaking the frame rules
        std::uint64_t overflowed = 0; // connections closed because they did not read
    };

    // A client whose outgoing queue grows past queueLimit bytes is disconnected. With verbose,
    // every routed frame gets a line on standard error, and the counters at exit.
    explicit Router(std::size_t queueLimit = kDefaultQueueLimit, bool verbose = false);
    ~Router();

    Router(const Router &) = delete;
    Router &operator=(const Router &) = delete;

    // Binds and listens. port 0 lets the kernel choose; port() tells which it chose.
    bool listen(const std::string &host, int port, std::string &error);
    int port() const { return m_port; }

    // Serves clients until requestStop(); then closes every connection. False when the event
    // loop itself failed.
    bool run();
    // Safe from any thread and from a signal handler.
    void requestStop();

    // Only meaningful once run() has returned, or from the loop's own thread.
    const Counters &counters() const { return m_counters; }

private:
    void acceptClients();
    void serviceConnection(std::uint64_t id, std::uint32_t events);
    void processInput(Connection &connection);
    // always: log the reason even without verbose (anything but an ordinary hang-up).
    void closeConnection(Connection &connection, const std::string &reason, bool always);
    void updateWriteInterest(Connection &connection);

    void handleFrame(Connection &from, Message &message);
    void handleRouterCommand(Connection &from, const Message &request);
    void handleRegister(Connection &from, const Message &request);
    void handleUnregister(Connection &from, const Message &request);
    void handleFanOut(Connection &from, const Message &request);
    void forward(Connection &from, Message &message);
    // Answers request if it awaits an answer (a command with seqn != 0); silent otherwise.
    void reply(Connection &to, const Message &request, MessageType type, const std::string &text);
    // Answers like reply(); a frame that awaits no answer is dropped and counted instead.
    void refuse(Connection &from, const Message &message, MessageType type, const std::string &text,
                const char *why);
    void deliver(Connection &to, const Message &message);
    // Writes what this round queued, one send per receiver instead of one per frame.
    void flushPending();
    void drop(const Message &message, const char *why);

    void releaseName(Connection &connection);
    Connection *findByName(const std::string &name) const;
    std::vector<Connection *> fanOutReceivers(const Connection &from,
                                              const std::string &destination) const;
    void log(const std::string &line) const;

    const std::size_t m_queueLimit;
    const bool m_verbose;
    int m_epollFd = -1;
    int m_listenFd = -1;
    int m_wakeFd = -1;  // an eventfd: requestStop() writes it
    int m_spareFd = -1; // held in reserve to turn clients away when descriptors run out
    int m_port = 0;
    std::uint64_t m_nextId;
    std::unordered_map<std::uint64_t, std::unique_ptr<Connection>> m_connections;
    // Closed this round; destroyed when the round ends so references up the stack stay valid.
    std::vector<std::unique_ptr<Connection>> m_closed;
    std::vector<std::uint64_t> m_unflushed;      // ids of connections with frames queued this round
    std::map<std::string, Connection *> m_names; // ordered: "*" fan-out goes in name order
    Counters m_counters;
};
