#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

class Client;

// Client::receive() blocks without a time limit. A DisconnectDeadline puts one on it: when
// the deadline passes before cancel() or destruction, it disconnects the client, which wakes
// the blocked receive with null.
class DisconnectDeadline
{
public:
    DisconnectDeadline(Client &client, int timeoutMs);
    ~DisconnectDeadline();

    DisconnectDeadline(const DisconnectDeadline &) = delete;
    DisconnectDeadline &operator=(const DisconnectDeadline &) = delete;

    void cancel();
    // True once the deadline passed and the client was disconnected.
    bool expired() const;

private:
    void watch(Client &client, int timeoutMs);

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_cancelled = false;
    bool m_expired = false;
    std::thread m_watcher;
};
